// Converters of the name/value headers: the property header KWRFH2 (fixed
// integers by encoding, each folder by its NameValueCCSID, folder lengths
// kept multiples of 4) and its older form KWRFH (name/value text in the
// header's own CCSID, same length).
#include <cstddef>

#include "dataconv/fn_numbers.h"
#include "dataconv/header_converters.h"
#include "dataconv/header_fields.h"
#include "zxvxcs2/xcs_trace.h"
#include "zxvxzu/kwrfh2.h"

namespace zxv::dataconv {
namespace {

constexpr Field kRfhFields[] = {ZXV_STANDARD_PREFIX_FIELDS};
constexpr Field kRfh2Fields[] = {
    ZXV_STANDARD_PREFIX_FIELDS,
    {static_cast<uint16_t>(offsetof(KWRFH2, NameValueCCSID)), 4, FieldKind::kInt32}};

constexpr HeaderLayout kRfhLayout{KWRFH_STRUC_ID,    KWRFH_STRUC_LENGTH_FIXED,
                                  kRfhFields,        sizeof kRfhFields / sizeof kRfhFields[0],
                                  kPrefixEncodingAt, kPrefixCcsidAt,
                                  kPrefixFormatAt,   kPrefixStrucLengthAt};
constexpr HeaderLayout kRfh2Layout{KWRFH_STRUC_ID,    KWRFH_STRUC_LENGTH_FIXED_2,
                                   kRfh2Fields,       sizeof kRfh2Fields / sizeof kRfh2Fields[0],
                                   kPrefixEncodingAt, kPrefixCcsidAt,
                                   kPrefixFormatAt,   kPrefixStrucLengthAt};

constexpr size_t kLengthFieldBytes = 4;
constexpr size_t kFolderAlignment = 4;

bool InheritsCcsid(int32_t ccsid) { return ccsid == 0 || ccsid == -1 || ccsid == -2; }

// The largest StrucLength the 32-bit field can carry.
constexpr size_t kMaxStrucLength = 0x7FFFFFFF;

}  // namespace

int32_t ConvertRFH(Step& step) {
  size_t length = 0;
  int32_t reason = ConvertFixedHeader(step, kRfhLayout, true, &length);
  if (reason != KWRC_NONE) return reason;
  const size_t fixed = KWRFH_STRUC_LENGTH_FIXED;
  if (step.out_length < length) return KWRC_CONVERTED_MSG_TOO_BIG;
  // The name/value text is in the header's own CCSID and keeps its length.
  size_t used = 0;
  const Outcome o = ConvertChars(step.source_ccsid, step.source_encoding, step.target_ccsid,
                                 step.target_encoding, step.in + fixed, length - fixed,
                                 step.out + fixed, length - fixed, VXT_CHARS_FIELD, &used);
  xtr_text_detail(kComponent, kFnHeaderRFH, "KWRFH of %u bytes: reason %d",
                  static_cast<unsigned>(length), static_cast<int>(o.reason));
  if (o.comp_code == KWCC_FAILED) return o.reason;
  step.in_used = length;
  step.out_used = length;
  return KWRC_NONE;
}

int32_t ConvertRFH2(Step& step) {
  size_t length = 0;
  int32_t reason = ConvertFixedHeader(step, kRfh2Layout, true, &length);
  if (reason != KWRC_NONE) return reason;
  const size_t fixed = KWRFH_STRUC_LENGTH_FIXED_2;
  int32_t folder_ccsid = LoadI32(step.in + offsetof(KWRFH2, NameValueCCSID), step.source_encoding);
  if (InheritsCcsid(folder_ccsid)) folder_ccsid = step.source_ccsid;

  size_t in_at = fixed;
  size_t out_at = fixed;
  unsigned folders = 0;
  while (in_at < length) {
    if (length - in_at < kLengthFieldBytes) return KWRC_NOT_CONVERTED;
    const int32_t claimed = LoadI32(step.in + in_at, step.source_encoding);
    if (claimed < 0 || static_cast<size_t>(claimed) > length - in_at - kLengthFieldBytes) {
      xtr_text_detail(kComponent, kFnHeaderRFH2, "Folder %u: NameValueLength %d past %u bytes",
                      folders, static_cast<int>(claimed), static_cast<unsigned>(length));
      return KWRC_NOT_CONVERTED;
    }
    const size_t text_length = static_cast<size_t>(claimed);
    if (step.out_length - out_at < kLengthFieldBytes) return KWRC_CONVERTED_MSG_TOO_BIG;
    uint8_t* text_out = step.out + out_at + kLengthFieldBytes;
    const size_t room = step.out_length - out_at - kLengthFieldBytes;
    size_t used = 0;
    const Outcome o = ConvertChars(folder_ccsid, step.source_encoding, step.target_ccsid,
                                   step.target_encoding, step.in + in_at + kLengthFieldBytes,
                                   text_length, text_out, room, VXT_CHARS_MESSAGE, &used);
    if (o.comp_code != KWCC_OK) return o.reason;
    // Keep the folder a multiple of 4 with the target's blanks.
    const size_t padded = (used + kFolderAlignment - 1) / kFolderAlignment * kFolderAlignment;
    if (padded > room) return KWRC_CONVERTED_MSG_TOO_BIG;
    FillBlanks(text_out + used, padded - used, step.target_ccsid, step.target_encoding);
    StoreI32(step.out + out_at, static_cast<int32_t>(padded), step.target_encoding);
    in_at += kLengthFieldBytes + text_length;
    out_at += kLengthFieldBytes + padded;
    if (out_at > kMaxStrucLength) return KWRC_CONVERTED_MSG_TOO_BIG;
    ++folders;
  }
  StoreI32(step.out + kPrefixStrucLengthAt, static_cast<int32_t>(out_at), step.target_encoding);
  StoreI32(step.out + offsetof(KWRFH2, NameValueCCSID), step.target_ccsid, step.target_encoding);
  xtr_text_detail(kComponent, kFnHeaderRFH2,
                  "KWRFH2 %u folders from CCSID %d: %u bytes become %u bytes", folders,
                  static_cast<int>(folder_ccsid), static_cast<unsigned>(length),
                  static_cast<unsigned>(out_at));
  step.in_used = length;
  step.out_used = out_at;
  return KWRC_NONE;
}

}  // namespace zxv::dataconv
