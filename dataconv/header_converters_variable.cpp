// Converters of the headers with a variable part other than the name/value
// headers: the reference message header (strings placed by length and
// offset) and the embedded PCF header (a PCF message within StrucLength).
#include <cstddef>
#include <cstring>

#include "dataconv/fn_numbers.h"
#include "dataconv/header_converters.h"
#include "dataconv/header_fields.h"
#include "zxvxcs2/xcs_trace.h"
#include "zxvxzu/headers.h"
#include "zxvxzu/kwrfh2.h"

namespace zxv::dataconv {
namespace {

#define ZXV_FIELD(T, m, kind) \
  Field { static_cast<uint16_t>(offsetof(T, m)), static_cast<uint16_t>(sizeof(T::m)), kind }

constexpr FieldKind kI = FieldKind::kInt32;

constexpr Field kRmhFields[] = {
    ZXV_STANDARD_PREFIX_FIELDS,
    ZXV_FIELD(KWRMH, ObjectType, FieldKind::kChars),
    ZXV_FIELD(KWRMH, ObjectInstanceId, FieldKind::kBytes),
    ZXV_FIELD(KWRMH, SrcEnvLength, kI),
    ZXV_FIELD(KWRMH, SrcEnvOffset, kI),
    ZXV_FIELD(KWRMH, SrcNameLength, kI),
    ZXV_FIELD(KWRMH, SrcNameOffset, kI),
    ZXV_FIELD(KWRMH, DestEnvLength, kI),
    ZXV_FIELD(KWRMH, DestEnvOffset, kI),
    ZXV_FIELD(KWRMH, DestNameLength, kI),
    ZXV_FIELD(KWRMH, DestNameOffset, kI),
    ZXV_FIELD(KWRMH, DataLogicalLength, kI),
    ZXV_FIELD(KWRMH, DataLogicalOffset, kI),
    ZXV_FIELD(KWRMH, DataLogicalOffset2, kI),
};

constexpr Field kEphFields[] = {ZXV_STANDARD_PREFIX_FIELDS};

#undef ZXV_FIELD

constexpr HeaderLayout kRmhLayout{KWRMH_STRUC_ID,    KWRMH_LENGTH_FIXED,
                                  kRmhFields,        sizeof kRmhFields / sizeof kRmhFields[0],
                                  kPrefixEncodingAt, kPrefixCcsidAt,
                                  kPrefixFormatAt,   kPrefixStrucLengthAt};
// The EPH's table covers its prefix; the PCF header behind it belongs to the
// PCF converter.
constexpr HeaderLayout kEphLayout{
    KWEPH_STRUC_ID,    kPrefixLength,  kEphFields,      sizeof kEphFields / sizeof kEphFields[0],
    kPrefixEncodingAt, kPrefixCcsidAt, kPrefixFormatAt, kPrefixStrucLengthAt};

// The (length, offset) pairs of the reference header's strings.
constexpr size_t kRmhStrings[][2] = {
    {offsetof(KWRMH, SrcEnvLength), offsetof(KWRMH, SrcEnvOffset)},
    {offsetof(KWRMH, SrcNameLength), offsetof(KWRMH, SrcNameOffset)},
    {offsetof(KWRMH, DestEnvLength), offsetof(KWRMH, DestEnvOffset)},
    {offsetof(KWRMH, DestNameLength), offsetof(KWRMH, DestNameOffset)},
};

}  // namespace

int32_t ConvertRMH(Step& step) {
  size_t length = 0;
  int32_t reason = ConvertFixedHeader(step, kRmhLayout, true, &length);
  if (reason != KWRC_NONE) return reason;
  const size_t fixed = KWRMH_LENGTH_FIXED;
  if (step.out_length < length) return KWRC_CONVERTED_MSG_TOO_BIG;
  // Bytes between and around the strings are copied; each string is
  // converted in its place and keeps its length.
  std::memcpy(step.out + fixed, step.in + fixed, length - fixed);
  for (const auto& pair : kRmhStrings) {
    const int32_t string_length = LoadI32(step.in + pair[0], step.source_encoding);
    const int32_t string_offset = LoadI32(step.in + pair[1], step.source_encoding);
    if (string_length == 0) continue;
    if (string_length < 0 || string_offset < static_cast<int32_t>(fixed) ||
        static_cast<size_t>(string_offset) > length ||
        static_cast<size_t>(string_length) > length - static_cast<size_t>(string_offset)) {
      xtr_text_detail(kComponent, kFnHeaderRMH, "KWRMH string %d at %d outside %u bytes",
                      static_cast<int>(string_length), static_cast<int>(string_offset),
                      static_cast<unsigned>(length));
      return KWRC_NOT_CONVERTED;
    }
    size_t used = 0;
    const size_t at = static_cast<size_t>(string_offset);
    const size_t n = static_cast<size_t>(string_length);
    const Outcome o = ConvertChars(step.source_ccsid, step.source_encoding, step.target_ccsid,
                                   step.target_encoding, step.in + at, n, step.out + at, n,
                                   VXT_CHARS_FIELD, &used);
    if (o.comp_code == KWCC_FAILED) return o.reason;
  }
  step.in_used = length;
  step.out_used = length;
  return KWRC_NONE;
}

int32_t ConvertEPH(Step& step) {
  if (step.in_length < KWEPH_LENGTH_FIXED) return KWRC_NOT_CONVERTED;
  size_t length = 0;
  int32_t reason = ConvertFixedHeader(step, kEphLayout, true, &length);
  if (reason != KWRC_NONE) return reason;
  if (length < KWEPH_LENGTH_FIXED) return KWRC_NOT_CONVERTED;
  // The PCF message inside: its header at 32 and its parameters up to
  // StrucLength, in the encoding and CCSID of the EPH itself.
  Step pcf;
  pcf.source_encoding = step.source_encoding;
  pcf.source_ccsid = step.source_ccsid;
  pcf.target_encoding = step.target_encoding;
  pcf.target_ccsid = step.target_ccsid;
  std::memcpy(pcf.format, KWFMT_EMBEDDED_PCF, KW_FORMAT_LENGTH);
  pcf.in = step.in + kPrefixLength;
  pcf.in_length = length - kPrefixLength;
  pcf.out = step.out + kPrefixLength;
  pcf.out_length = step.out_length - kPrefixLength;
  pcf.accept_truncation = false;
  reason = vwb_admin(pcf);
  xtr_text_detail(kComponent, kFnHeaderEPH, "KWEPH PCF part of %u bytes: reason %d, %u bytes",
                  static_cast<unsigned>(pcf.in_length), static_cast<int>(reason),
                  static_cast<unsigned>(pcf.out_used));
  if (reason != KWRC_NONE)
    return reason == KWRC_TRUNCATED_MSG_ACCEPTED ? KWRC_CONVERTED_MSG_TOO_BIG : reason;
  const size_t out_length = kPrefixLength + pcf.out_used;
  if (out_length > 0x7FFFFFFF) return KWRC_CONVERTED_MSG_TOO_BIG;
  StoreI32(step.out + kPrefixStrucLengthAt, static_cast<int32_t>(out_length), step.target_encoding);
  step.in_used = length;
  step.out_used = out_length;
  return KWRC_NONE;
}

}  // namespace zxv::dataconv
