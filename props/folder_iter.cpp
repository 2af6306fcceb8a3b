// The folder iterator and the folder-name scanner of every encoding family.
#include "props/folder_iter.h"

#include "props/rfh2_chain.h"
#include "props/rfh2_family.h"
#include "zxvxcs2/xcs_trace.h"

namespace zxv::props {

FolderIterator::FolderIterator(const uint8_t* header, uint32_t struc_length, bool reversed)
    : header_(header), end_(struc_length), at_(kRfh2FixedLength), reversed_(reversed) {}

FolderIterator::Step FolderIterator::Next(Folder* folder) {
  if (malformed_) return Step::kMalformed;
  if (at_ >= end_) return Step::kEnd;
  const uint32_t remaining = end_ - at_;
  if (remaining < kFolderLengthBytes) {
    malformed_ = true;
    bad_length_ = 0;
    bad_remaining_ = static_cast<int32_t>(remaining) - static_cast<int32_t>(kFolderLengthBytes);
    return Step::kMalformed;
  }
  const auto length = static_cast<uint32_t>(LoadInt(header_ + at_, reversed_));
  const uint32_t room = remaining - kFolderLengthBytes;
  if (length > room) {
    malformed_ = true;
    bad_length_ = length;
    bad_remaining_ = static_cast<int32_t>(room);
    return Step::kMalformed;
  }
  folder->offset = at_;
  folder->text = header_ + at_ + kFolderLengthBytes;
  folder->length = length;
  at_ += kFolderLengthBytes + length;
  return Step::kFolder;
}

namespace {

template <typename T>
KWLONG Scan(const uint8_t* text, uint32_t length, FolderName* name, uint32_t fn) {
  using Unit = typename T::Unit;
  constexpr uint32_t kB = T::kUnitBytes;
  const uint32_t units = length / kB;
  auto at = [&](uint32_t i) { return T::Load(text + i * kB); };
  auto refuse = [&](const char* format, Unit u) {
    xtr_text_detail(kComponent, fn, format, static_cast<int>(u));
    return KWRC_RFH_FORMAT_ERROR;
  };

  uint32_t i = 0;
  bool only_blanks = true;
  for (; i < units; ++i) {
    const Unit u = at(i);
    if (u == T::Char(' ')) continue;
    if (u == T::Char('\t') || u == T::Char('\n') || u == T::Char('\r')) {
      only_blanks = false;
      continue;
    }
    break;
  }
  if (i == units) {
    xtr_text_detail(
        kComponent, fn,
        only_blanks ? "Folder contains no data" : "End of folder reached before tag start");
    return KWRC_RFH_FORMAT_ERROR;
  }
  if (at(i) != T::Char('<'))
    return refuse("Invalid character 0x%d reached before tag start", at(i));
  if (++i == units) {
    xtr_text_detail(kComponent, fn, "End of folder reached before folder name");
    return KWRC_RFH_FORMAT_ERROR;
  }
  if (at(i) < T::kControlLimit) {
    return refuse("Invalid control character 0x%d reached before folder name", at(i));
  }
  const uint32_t start = i;
  while (i < units) {
    const Unit u = at(i);
    if (u == T::Char(' ') || u == T::Char('/') || u == T::Char('>')) break;
    if (u < T::kControlLimit) {
      return refuse("Invalid control character 0x%d reached before folder name end", u);
    }
    i += T::CharUnits(text + i * kB, units - i);
  }
  if (i >= units) {
    xtr_text_detail(kComponent, fn, "End of folder reached before folder name end");
    return KWRC_RFH_FORMAT_ERROR;
  }
  name->start = start * kB;
  name->length = (i - start) * kB;
  return KWRC_NONE;
}

}  // namespace

KWLONG ScanFolderName(uint32_t ccsid_type, const uint8_t* text, uint32_t length, FolderName* name,
                      uint32_t fn) {
  KWLONG reason = KWRC_RFH_FORMAT_ERROR;
  WithFamily(ccsid_type,
             [&](auto traits) { reason = Scan<decltype(traits)>(text, length, name, fn); });
  return reason;
}

}  // namespace zxv::props
