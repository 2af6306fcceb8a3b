// Removing folders by name from a KWRFH2 in message data (zrfStripFolders).
//
// The caller names the folders: which ones go depends on who is asking (a
// receiver that must not see the queue manager's own folders, a back-level
// receiver, ...), and the name list keeps that policy with the caller.
#include <cstring>

#include "props/folder_iter.h"
#include "props/property_store.h"
#include "props/rfh2_chain.h"
#include "props/rfh2_family.h"
#include "zxvxcs2/xcs_ccsid.h"
#include "zxvxcs2/xcs_trace.h"

namespace zxv::props {
namespace {

constexpr uint32_t kProbeMissing = 1;
constexpr uint32_t kFn = kFnStripFolders;
constexpr uint32_t kMaxComparedName = 255;  // bytes of UTF-8

struct Names {
  const char* const* list;
  uint32_t count;
};

// True when the folder name (bytes of `ccsid`) is one of the caller's.
bool Listed(const uint8_t* name, uint32_t length, int32_t ccsid, int32_t encoding,
            const Names& names) {
  if (names.count == 0 || length == 0) return false;
  const uint8_t* utf8 = name;
  uint32_t utf8_length = length;
  uint8_t converted[kMaxComparedName];
  if (ccsid != kUtf8Ccsid) {
    if (xcsConvertString(ccsid, encoding, name, length, kUtf8Ccsid, kNativeEncodingValue, converted,
                         sizeof converted, &utf8_length) != xcsRC_OK) {
      return false;  // unreadable or too long: no caller's name can be meant
    }
    utf8 = converted;
  }
  for (uint32_t k = 0; k < names.count; ++k) {
    const char* wanted = names.list[k];
    if (wanted != nullptr && std::strlen(wanted) == utf8_length &&
        std::memcmp(wanted, utf8, utf8_length) == 0) {
      return true;
    }
  }
  return false;
}

// Checks every folder of the header; 2421 (traced) for the first bad one.
KWLONG CheckFolders(const uint8_t* header, uint32_t struc_length, bool reversed, uint8_t family) {
  FolderIterator folders(header, struc_length, reversed);
  Folder f;
  FolderIterator::Step step;
  while ((step = folders.Next(&f)) == FolderIterator::Step::kFolder) {
    FolderName name;
    const KWLONG reason = ScanFolderName(family, f.text, f.length, &name, kFn);
    if (reason != KWRC_NONE) return reason;
  }
  if (step == FolderIterator::Step::kMalformed) {
    xtr_text_detail(kComponent, kFn, "FolderLength is invalid for remaining data. FL: %u, RL: %d",
                    folders.bad_length(), folders.bad_remaining());
    return KWRC_RFH_FORMAT_ERROR;
  }
  return KWRC_NONE;
}

KWLONG Strip(uint8_t* data, uint32_t length, uint32_t offset, int32_t encoding, const Names& names,
             uint32_t* new_length) {
  const uint32_t remaining = offset < length ? length - offset : 0;
  if (remaining < kRfh2FixedLength) {
    xtr_text_detail(kComponent, kFn, "Minimal bytes of KWRFH2 not available: %u %u", remaining,
                    kRfh2FixedLength);
    return KWRC_HEADER_ERROR;
  }
  uint8_t* header = data + offset;
  const bool reversed = ReversedIntegers(encoding);
  const int32_t struc_length = LoadInt(header + kStrucLengthOffset, reversed);
  if (struc_length > 0 && static_cast<uint32_t>(struc_length) > remaining) {
    xtr_text_detail(kComponent, kFn, "Full KWRFH2 not available: %u %d %u", remaining, struc_length,
                    offset);
    return KWRC_HEADER_ERROR;
  }
  if (struc_length < static_cast<int32_t>(kRfh2FixedLength)) {
    xtr_text_detail(kComponent, kFn, "KWRFH2 StrucLength too short: %d", struc_length);
    return KWRC_RFH2_STRUC_LENGTH_SHORT;
  }
  const int32_t ccsid = LoadInt(header + kRfh2NameValueCcsidOffset, reversed);
  const uint8_t family = xcsGetCCSIDType(ccsid, encoding);
  if (!IsKnownFamily(family)) {
    xtr_text_detail(kComponent, kFn, "Invalid NameValueCCSID: %d", ccsid);
    return KWRC_SOURCE_CCSID_ERROR;
  }
  const auto header_length = static_cast<uint32_t>(struc_length);
  const KWLONG reason = CheckFolders(header, header_length, reversed, family);
  if (reason != KWRC_NONE) return reason;

  // Folders move down over the removed ones; each is read before anything
  // is written over it, as writing never passes the folder being read.
  FolderIterator folders(header, header_length, reversed);
  Folder f;
  uint32_t kept_end = kRfh2FixedLength;
  while (folders.Next(&f) == FolderIterator::Step::kFolder) {
    FolderName name{};
    ScanFolderName(family, f.text, f.length, &name, kFn);
    const uint32_t size = kFolderLengthBytes + f.length;
    if (Listed(f.text + name.start, name.length, ccsid, encoding, names)) {
      xtr_text_detail(kComponent, kFn, "Removing folder at offset %u, length %u", f.offset, size);
      continue;
    }
    if (kept_end != f.offset) std::memmove(header + kept_end, header + f.offset, size);
    kept_end += size;
  }
  const uint32_t removed = header_length - kept_end;
  if (removed != 0) {
    std::memmove(header + kept_end, header + header_length, remaining - header_length);
    StoreInt(header + kStrucLengthOffset, static_cast<int32_t>(kept_end), reversed);
  }
  *new_length = length - removed;
  return KWRC_NONE;
}

}  // namespace
}  // namespace zxv::props

namespace zp = zxv::props;

extern "C" {

ZXV_API KWLONG zrfStripFolders(void* pData, KWULONG DataLength, KWULONG Offset, KWLONG Encoding,
                               const char* const* ppFolderNames, KWULONG FolderNameCount,
                               KWULONG* pNewDataLength, KWLONG* pCompCode, KWLONG* pReason) {
  xtr_FNC_entry(zxv::kComponent, zp::kFn);
  KWLONG reason;
  KWULONG new_length = DataLength;
  if (pData == nullptr) {
    reason = zp::MissingParameter("pData", __FILE__, zp::kProbeMissing);
  } else if (ppFolderNames == nullptr && FolderNameCount != 0) {
    reason = zp::MissingParameter("ppFolderNames", __FILE__, zp::kProbeMissing);
  } else {
    xtr_parms(zxv::kComponent, zp::kFn, "DataLength: %u, Offset: %u, Encoding: %d, Names: %u",
              DataLength, Offset, Encoding, FolderNameCount);
    reason = zp::Strip(static_cast<uint8_t*>(pData), DataLength, Offset, Encoding,
                       zp::Names{ppFolderNames, FolderNameCount}, &new_length);
  }
  if (pNewDataLength != nullptr) *pNewDataLength = new_length;
  zp::SetCodes(reason, pCompCode, pReason);
  xtr_FNC_retcode(zxv::kComponent, zp::kFn, reason);
  return reason;
}

}  // extern "C"
