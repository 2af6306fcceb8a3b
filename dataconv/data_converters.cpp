// Converters of the formats that end the chain, other than PCF: the trigger
// message, TRX bridge variable strings, text, and the formats copied as they
// are.
#include <cstddef>
#include <cstring>

#include "dataconv/fn_numbers.h"
#include "dataconv/header_converters.h"
#include "dataconv/header_fields.h"
#include "zxvxcs2/xcs_trace.h"
#include "zxvxzu/headers.h"

namespace zxv::dataconv {
namespace {

#define ZXV_FIELD(T, m, kind) \
  Field { static_cast<uint16_t>(offsetof(T, m)), static_cast<uint16_t>(sizeof(T::m)), kind }

constexpr Field kTmFields[] = {
    ZXV_FIELD(KWTM, StrucId, FieldKind::kChars),
    ZXV_FIELD(KWTM, Version, FieldKind::kInt32),
    ZXV_FIELD(KWTM, QName, FieldKind::kChars),
    ZXV_FIELD(KWTM, ProcessName, FieldKind::kChars),
    ZXV_FIELD(KWTM, TriggerData, FieldKind::kChars),
    ZXV_FIELD(KWTM, ApplType, FieldKind::kInt32),
    ZXV_FIELD(KWTM, ApplId, FieldKind::kChars),
    ZXV_FIELD(KWTM, EnvData, FieldKind::kChars),
    ZXV_FIELD(KWTM, UserData, FieldKind::kChars),
};

#undef ZXV_FIELD

constexpr size_t kLLMax = 0x7FFF;

}  // namespace

int32_t ConvertTrigger(Step& step) {
  char eye[5] = {};
  if (step.in_length >= 4) NameToLocal(step.in, 4, step.source_ccsid, eye);
  xtr_text_detail(kComponent, kFnTrigger, "TM Eyecatcher %s", eye);
  if (step.in_length < KWTM_LENGTH) return KWRC_NOT_CONVERTED;
  int32_t reason = CheckStrucId(step, KWTM_STRUC_ID);
  if (reason != KWRC_NONE) return reason;
  reason = CheckEncodings(step.source_encoding, step.target_encoding);
  if (reason != KWRC_NONE) return reason;
  // Anything behind the trigger message is carried along unchanged.
  if (step.out_length < step.in_length) return KWRC_CONVERTED_MSG_TOO_BIG;
  reason = ConvertFields(step, kTmFields, sizeof kTmFields / sizeof kTmFields[0], KWTM_LENGTH);
  if (reason != KWRC_NONE) return reason;
  std::memcpy(step.out + KWTM_LENGTH, step.in + KWTM_LENGTH, step.in_length - KWTM_LENGTH);
  step.in_used = step.in_length;
  step.out_used = step.in_length;
  return KWRC_NONE;
}

int32_t ConvertTrxVarString(Step& step) {
  int32_t reason = CheckEncodings(step.source_encoding, step.target_encoding);
  if (reason != KWRC_NONE) return reason;
  size_t in_at = 0;
  size_t out_at = 0;
  while (in_at < step.in_length) {
    if (step.in_length - in_at < KWLLZZ_LENGTH) return KWRC_NOT_CONVERTED;
    const size_t ll = LoadU16(step.in + in_at, step.source_encoding);
    if (ll < KWLLZZ_LENGTH || ll > kLLMax || ll > step.in_length - in_at) {
      xtr_text_detail(kComponent, kFnTrxVarString, "Bad LL %u at %u", static_cast<unsigned>(ll),
                      static_cast<unsigned>(in_at));
      return KWRC_NOT_CONVERTED;
    }
    if (step.out_length - out_at < KWLLZZ_LENGTH) return KWRC_CONVERTED_MSG_TOO_BIG;
    ConvertShorts(step.source_encoding, step.target_encoding, step.in + in_at + 2,
                  step.out + out_at + 2, 1);
    size_t used = 0;
    const Outcome o = ConvertChars(
        step.source_ccsid, step.source_encoding, step.target_ccsid, step.target_encoding,
        step.in + in_at + KWLLZZ_LENGTH, ll - KWLLZZ_LENGTH, step.out + out_at + KWLLZZ_LENGTH,
        step.out_length - out_at - KWLLZZ_LENGTH, VXT_CHARS_MESSAGE, &used);
    if (o.comp_code != KWCC_OK) return o.reason;
    const size_t new_ll = used + KWLLZZ_LENGTH;
    if (new_ll > kLLMax) return KWRC_CONVERTED_STRING_TOO_BIG;
    StoreU16(step.out + out_at, static_cast<uint16_t>(new_ll), step.target_encoding);
    in_at += ll;
    out_at += new_ll;
  }
  step.in_used = step.in_length;
  step.out_used = out_at;
  return KWRC_NONE;
}

int32_t ConvertWholeText(Step& step) {
  size_t used = 0;
  const Outcome o =
      ConvertChars(step.source_ccsid, step.source_encoding, step.target_ccsid, step.target_encoding,
                   step.in, step.in_length, step.out, step.out_length, VXT_CHARS_MESSAGE, &used);
  xtr_text_detail(kComponent, kFnWholeText, "Text %.8s of %u bytes: reason %d, %u bytes",
                  step.format, static_cast<unsigned>(step.in_length), static_cast<int>(o.reason),
                  static_cast<unsigned>(used));
  if (o.comp_code != KWCC_OK) return o.reason;
  step.in_used = step.in_length;
  step.out_used = used;
  return KWRC_NONE;
}

int32_t CopyWithoutConversion(Step& step) {
  char start[5] = {};
  if (step.in_length > 0) std::memcpy(start, step.in, step.in_length < 4 ? step.in_length : 4);
  xtr_text_detail(kComponent, kFnCopy, "Copy %d bytes starting with string '%4.4s'",
                  static_cast<int>(step.in_length), start);
  if (step.out_length < step.in_length) return KWRC_CONVERTED_MSG_TOO_BIG;
  if (step.in_length > 0) std::memcpy(step.out, step.in, step.in_length);
  step.in_used = step.in_length;
  step.out_used = step.in_length;
  step.copied = true;
  return KWRC_NONE;
}

}  // namespace zxv::dataconv
