// Conversions between blank-padded fields and C strings, and the blank tests.
#include "base/blank_fields.h"

#include <cstring>

#include "base/name_fn_numbers.h"
#include "zxvxcs2/xcs_trace.h"
#include "zxvxzu/names.h"

namespace zxv::base {

void CvtNameFromStr(const char* src, char* field, uint32_t width) {
  if (field == nullptr) return;
  uint32_t n = 0;
  if (src != nullptr) {
    while (n < width && src[n] != '\0') {
      field[n] = src[n];
      ++n;
    }
  }
  // Copying up to the NUL and blanking the rest is the same as NUL-filling
  // the tail and then blanking from the first NUL on.
  std::memset(field + n, kBlank, width - n);
}

void BlankPad(char* buf, uint32_t width) {
  if (buf == nullptr) return;
  void* nul = std::memchr(buf, '\0', width);
  if (nul == nullptr) return;
  char* from = static_cast<char*>(nul);
  std::memset(from, kBlank, static_cast<size_t>(buf + width - from));
}

void CvtName2Str(const char* field, char* out, uint32_t width) {
  if (out == nullptr) return;
  if (field == nullptr) {
    out[0] = '\0';
    return;
  }
  std::memmove(out, field, width);  // callers convert in place too
  out[width] = '\0';
  for (uint32_t i = 0; i < width; ++i) {
    if (IsBlankOrNul(out[i])) {
      out[i] = '\0';
      return;
    }
  }
}

void CvtUser2Str(const char* field, char* out, int32_t width) {
  if (out == nullptr) return;
  if (field == nullptr || width <= 0) {
    out[0] = '\0';
    return;
  }
  std::memmove(out, field, static_cast<size_t>(width));
  out[width] = '\0';
  // Stopping above index 0 keeps a lone blank for an all-blank identifier:
  // callers distinguish "blank user" from "no user" by it.
  for (int32_t i = width; i >= 1; --i) {
    if (!IsBlankOrNul(out[i])) break;
    out[i] = '\0';
  }
}

int32_t LengthNoBlanks(const char* field, int32_t width) {
  if (field == nullptr) return 0;
  int32_t n = 0;
  while (n < width && !IsBlankOrNul(field[n])) ++n;
  return n;
}

bool IsBlankName(const char* name) {
  if (name == nullptr) return true;
  for (int i = 0; i < KW_OBJECT_NAME_LENGTH; ++i) {
    if (name[i] == '\0') return true;
    if (name[i] != kBlank) return false;
  }
  return true;
}

}  // namespace zxv::base

namespace zb = zxv::base;

extern "C" {

ZXV_API void zutCvtKWNameFromStr(const char* src, char* field, KWULONG width) {
  xtr_FNC_entry(zxv::kComponent, zb::kFnCvtKWNameFromStr);
  zb::CvtNameFromStr(src, field, width);
  xtr_FNC_retcode(zxv::kComponent, zb::kFnCvtKWNameFromStr, 0);
}

ZXV_API void zutBlankPad(char* buf, KWULONG width) {
  xtr_FNC_entry(zxv::kComponent, zb::kFnBlankPad);
  zb::BlankPad(buf, width);
  xtr_FNC_retcode(zxv::kComponent, zb::kFnBlankPad, 0);
}

ZXV_API void zutCvtKWName2Str(const char* field, char* out, KWULONG width) {
  xtr_FNC_entry(zxv::kComponent, zb::kFnCvtKWName2Str);
  zb::CvtName2Str(field, out, width);
  xtr_FNC_retcode(zxv::kComponent, zb::kFnCvtKWName2Str, 0);
}

ZXV_API void zutCvtKWUser2Str(const char* field, char* out, KWLONG width) {
  xtr_FNC_entry(zxv::kComponent, zb::kFnCvtKWUser2Str);
  zb::CvtUser2Str(field, out, width);
  xtr_FNC_retcode(zxv::kComponent, zb::kFnCvtKWUser2Str, 0);
}

ZXV_API KWLONG zutGetLengthNoBlanks(const char* field, KWLONG width) {
  xtr_FNC_entry(zxv::kComponent, zb::kFnGetLengthNoBlanks);
  const KWLONG n = zb::LengthNoBlanks(field, width);
  xtr_FNC_retcode(zxv::kComponent, zb::kFnGetLengthNoBlanks, n);
  return n;
}

ZXV_API KWLONG zutIsItBlank(const char* name) {
  xtr_FNC_entry(zxv::kComponent, zb::kFnIsItBlank);
  const KWLONG blank = zb::IsBlankName(name) ? 1 : 0;
  xtr_FNC_retcode(zxv::kComponent, zb::kFnIsItBlank, blank);
  return blank;
}

}  // extern "C"
