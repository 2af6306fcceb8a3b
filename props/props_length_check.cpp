// Measuring and checking the headers an application puts in front of its
// data (zstCalculatePropsLength): which KWRFH2 headers a handle could take
// over, which it could not, what else the chain holds, and whether any
// header carries what an application may not write.
#include <cstring>

#include "props/folder_iter.h"
#include "props/folder_parser.h"
#include "props/props_writer.h"
#include "props/rfh2_family.h"
#include "zxvxcs2/xcs_trace.h"

namespace zxv::props {
namespace {

constexpr uint32_t kProbeMissing = 1;
constexpr uint32_t kFn = kFnCalculatePropsLength;
constexpr uint32_t kHeaderAlignment = 4;
constexpr uint32_t kSupportDigits = 8;

// Each part of an encoding (integers, packed decimals, floats) must hold one
// of its defined values.
bool ValidEncoding(int32_t encoding) {
  constexpr int32_t kDefinedBits = 0xFFF;
  constexpr int32_t kMaxInteger = 0x2;
  constexpr int32_t kMaxDecimal = 0x20;
  constexpr int32_t kMaxFloat = 0x400;
  return encoding >= 0 && (encoding & ~kDefinedBits) == 0 && (encoding & 0xF) <= kMaxInteger &&
         (encoding & 0xF0) <= kMaxDecimal && (encoding & 0xF00) <= kMaxFloat;
}

template <typename T>
int HexDigit(typename T::Unit u) {
  for (int d = 0; d < 16; ++d) {
    if (u == T::Char("0123456789abcdef"[d]) || u == T::Char("0123456789ABCDEF"[d])) return d;
  }
  return -1;
}

// True when a start tag of the folder text carries support='xxxxxxxx' with
// a bit outside the accept range. Attribute values and text are skipped
// whole, so the word in a value or in element text does not count.
template <typename T>
bool HoldsRequiredSupport(const uint8_t* text, uint32_t length) {
  constexpr uint32_t kStep = T::kUnitBytes;
  const uint32_t end = length - length % kStep;
  constexpr char kWord[] = "support";
  constexpr uint32_t kWordUnits = sizeof kWord - 1;
  bool inTag = false;
  for (uint32_t at = 0; at < end; at += kStep) {
    const auto u = T::Load(text + at);
    if (!inTag) {
      inTag = u == T::Char('<');
      continue;
    }
    if (u == T::Char('>')) {
      inTag = false;
      continue;
    }
    if (u == T::Char('\'') || u == T::Char('"')) {
      // Skip the quoted value.
      at += kStep;
      while (at < end && T::Load(text + at) != u) at += kStep;
      continue;
    }
    if (end - at < kWordUnits * kStep || T::Load(text + at - kStep) != T::Char(' ')) continue;
    bool word = true;
    for (uint32_t i = 0; i < kWordUnits && word; ++i) {
      word = T::Load(text + at + i * kStep) == T::Char(kWord[i]);
    }
    if (!word) continue;
    uint32_t p = at + kWordUnits * kStep;
    while (p < end && T::Load(text + p) == T::Char(' ')) p += kStep;
    if (p >= end || T::Load(text + p) != T::Char('=')) continue;
    p += kStep;
    while (p < end && T::Load(text + p) == T::Char(' ')) p += kStep;
    if (p >= end) continue;
    const auto quote = T::Load(text + p);
    if (quote != T::Char('\'') && quote != T::Char('"')) continue;
    p += kStep;
    uint32_t value = 0;
    uint32_t digits = 0;
    for (; digits < kSupportDigits && p < end; ++digits, p += kStep) {
      const int d = HexDigit<T>(T::Load(text + p));
      if (d < 0) break;
      value = (value << 4) | static_cast<uint32_t>(d);
    }
    if (digits == kSupportDigits && !IsCompatibleSupport(value)) return true;
    while (p < end && T::Load(text + p) != quote) p += kStep;
    at = p;  // the value's closing quote
  }
  return false;
}

struct HeaderFindings {
  bool required_support = false;
};

// Checks the folders of the KWRFH2 at `header` (StrucLength `length`).
// 2421 when a folder's length runs past the header.
KWLONG CheckFolders(const uint8_t* header, uint32_t length, bool reversed, uint8_t family,
                    HeaderFindings* findings) {
  FolderIterator folders(header, length, reversed);
  Folder folder;
  FolderIterator::Step step;
  while ((step = folders.Next(&folder)) == FolderIterator::Step::kFolder) {
    if (family == XCS_CCSID_TYPE_UNKNOWN) continue;
    FolderName name;
    if (ScanFolderName(family, folder.text, folder.length, &name, kFn) != KWRC_NONE) {
      xtr_text_detail(kComponent, kFn, "Ignoring folder as the start tag is invalid");
      continue;
    }
    bool required = false;
    WithFamily(family, [&](auto traits) {
      required = HoldsRequiredSupport<decltype(traits)>(folder.text, folder.length);
    });
    if (required && !findings->required_support) {
      xtr_text_detail(kComponent, kFn, "Non-optional property included");
      findings->required_support = true;
    }
  }
  if (step == FolderIterator::Step::kMalformed) {
    xtr_text_detail(kComponent, kFn, "FolderLength is invalid for remaining data. FL: %u, RL: %d",
                    folders.bad_length(), folders.bad_remaining());
    return KWRC_RFH_FORMAT_ERROR;
  }
  return KWRC_NONE;
}

KWLONG CalculatePropsLength(const uint8_t* data, uint32_t length, const char* format,
                            int32_t encoding, int32_t ccsid, uint32_t options,
                            ZSTPROPSLEN* lengths) {
  if (lengths == nullptr || format == nullptr || (data == nullptr && length != 0)) {
    return MissingParameter(lengths == nullptr ? "pLengths" : "pFormat or pData", __FILE__,
                            kProbeMissing);
  }
  *lengths = ZSTPROPSLEN{};
  lengths->MsgLength = length;
  bool internalSeen = false;
  bool inCompatibleRun = true;  // nothing but compatible KWRFH2s since the descriptor
  uint32_t start = 0;
  char current[kFormatLength];
  std::memcpy(current, format, kFormatLength);
  KWLONG reason = KWRC_NONE;
  for (;;) {
    ZRFLOC loc{};
    const KWLONG found = LocateKWRFH2(data, length, current, encoding, ccsid, start, &loc, nullptr);
    if (found != KWRC_NONE) {
      if (found != KWRC_PROPERTY_NOT_AVAILABLE) reason = found;
      if (found == KWRC_PROPERTY_NOT_AVAILABLE) lengths->NonPropsLength += loc.Offset - start;
      break;
    }
    if (loc.Offset != start) {
      lengths->NonPropsLength += loc.Offset - start;
      inCompatibleRun = false;
    }
    const uint8_t* header = data + loc.Offset;
    const bool reversed = ReversedIntegers(loc.Encoding);
    const int32_t headerCcsid = LoadInt(header + kCcsidOffset, reversed);
    const int32_t headerEncoding = LoadInt(header + kEncodingOffset, reversed);
    if (headerCcsid < -2 || loc.NameValueCCSID <= 0) {
      xtr_text_detail(kComponent, kFn, "KWRFH2 contains an invalid CCSID: %d",
                      headerCcsid < -2 ? headerCcsid : loc.NameValueCCSID);
      reason = KWRC_HEADER_ERROR;
      break;
    }
    if (!ValidEncoding(headerEncoding)) {
      xtr_text_detail(kComponent, kFn, "KWRFH2 contains an invalid encoding: %d", headerEncoding);
      reason = KWRC_HEADER_ERROR;
      break;
    }
    if (loc.StrucLength % kHeaderAlignment != 0) {
      xtr_text_detail(kComponent, kFn, "KWRFH2 contains bad struclength 0X%X", loc.StrucLength);
      reason = KWRC_HEADER_ERROR;
      break;
    }
    if (loc.InternalFlags != 0) {
      if (!internalSeen) xtr_text_detail(kComponent, kFn, "Found RFH2s flagged RFH_INTERNAL");
      internalSeen = true;
      if ((options & ZST_PROPSLEN_TO_XMIT_Q) == 0) {
        xtr_text_detail(kComponent, kFn, "KWRFH2 contains internal flags which are banned!");
        xtr_text_detail(kComponent, kFn, "Put allowed only to xmit queue");
        reason = KWRC_XMIT_Q_REQUIRED;
        break;
      }
    }
    const uint8_t family = FolderFamilyOf(loc.NameValueCCSID, loc.Encoding);
    HeaderFindings findings;
    reason = CheckFolders(header, loc.StrucLength, reversed, family, &findings);
    if (reason != KWRC_NONE) break;
    const bool compatible = inCompatibleRun && loc.NameValueCCSID == kUtf8Ccsid &&
                            loc.InternalFlags == 0 && !findings.required_support;
    if (compatible) {
      lengths->CompatLength += loc.StrucLength;
      lengths->OffsetEndRFH2Props = loc.NextOffset;
    } else {
      lengths->NonCompatLength += loc.StrucLength;
      inCompatibleRun = false;
    }
    start = loc.NextOffset;
    std::memcpy(current, loc.NextFormat, kFormatLength);
    encoding = loc.NextEncoding;
    ccsid = loc.NextCCSID;
  }
  lengths->EligibleForMerge = lengths->CompatLength != 0 ? 1 : 0;
  xtr_text_detail(
      kComponent, kFn,
      "MsgLength: %d, CompatLength: %d, NonCompatLength: %d, NonPropsLength: %d, "
      "EligibleForMerge: %d, OffsetEndRFH2Props: %d",
      static_cast<int32_t>(lengths->MsgLength), static_cast<int32_t>(lengths->CompatLength),
      static_cast<int32_t>(lengths->NonCompatLength), static_cast<int32_t>(lengths->NonPropsLength),
      static_cast<int32_t>(lengths->EligibleForMerge),
      static_cast<int32_t>(lengths->OffsetEndRFH2Props));
  return reason;
}

}  // namespace
}  // namespace zxv::props

extern "C" {

ZXV_API KWLONG zstCalculatePropsLength(ZST_THREAD pThread, const void* pData, KWULONG DataLength,
                                       const char* pFormat, KWLONG Encoding, KWLONG CCSID,
                                       KWULONG Options, ZSTPROPSLEN* pLengths, KWLONG* pCompCode,
                                       KWLONG* pReason) {
  namespace zp = zxv::props;
  constexpr uint32_t fn = zp::kFnCalculatePropsLength;
  (void)pThread;  // the calculation keeps no per-thread state
  xtr_FNC_entry(zxv::kComponent, fn);
  const KWLONG reason = zp::CalculatePropsLength(static_cast<const uint8_t*>(pData), DataLength,
                                                 pFormat, Encoding, CCSID, Options, pLengths);
  zp::SetCodes(reason, pCompCode, pReason);
  xtr_FNC_retcode(zxv::kComponent, fn, reason);
  return reason;
}

}  // extern "C"
