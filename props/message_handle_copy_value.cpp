// Copying an inquired value into the caller's buffer (zstCopyPropertyValue):
// the type conversions of the convert-type option, text in the requested
// CCSID and numbers in the requested encoding, and the length checks.
#include <charconv>
#include <cstring>

#include "props/message_handle.h"
#include "props/property_store.h"
#include "zxvxcs2/xcs_ccsid.h"
#include "zxvxcs2/xcs_memory.h"
#include "zxvxcs2/xcs_trace.h"

namespace zxv::props {
namespace {

constexpr uint32_t kProbeWork = 1;

// Encoding bits of binary floating point numbers: IEEE, most significant
// byte first.
constexpr KWLONG kFloatEncodingMask = 0x00000F00;
constexpr KWLONG kFloatIeeeNormal = 0x00000100;

// Room for any number as text (a 64-bit float's shortest form is at most 24
// characters) or as binary.
constexpr uint32_t kLocalValueSize = 48;

// A conversion's output can be up to this many times its input: one byte of
// a single-byte set or of ASCII in UTF-8 becomes up to three bytes of UTF-8
// or two of UTF-16.
constexpr uint32_t kConversionGrowth = 4;

constexpr char kTrueText[] = "TRUE";
constexpr char kFalseText[] = "FALSE";

// The value to be returned.
struct Produced {
  uint32_t type = ZRF_TYPE_NULL;  // internal code
  const uint8_t* data = nullptr;
  uint32_t length = 0;
  bool text = false;  // data is text in `ccsid`
  int32_t ccsid = 0;
  uint8_t local[kLocalValueSize];
};

bool IsInteger(uint32_t code) { return code >= ZRF_TYPE_INT8 && code <= ZRF_TYPE_INT64; }
bool IsFloat(uint32_t code) { return code == ZRF_TYPE_FLOAT32 || code == ZRF_TYPE_FLOAT64; }

// Conversions from a binary scalar to another binary type: integers to
// wider integers, 32-bit floats to 64-bit floats.
bool Widens(uint32_t from, uint32_t to) {
  if (IsInteger(from) && IsInteger(to)) return FixedValueSize(to) >= FixedValueSize(from);
  return from == ZRF_TYPE_FLOAT32 && to == ZRF_TYPE_FLOAT64;
}

int64_t LoadInteger(uint32_t code, const uint8_t* p) {
  switch (code) {
    case ZRF_TYPE_INT8:
      return static_cast<int8_t>(p[0]);
    case ZRF_TYPE_INT16: {
      int16_t v;
      std::memcpy(&v, p, sizeof v);
      return v;
    }
    case ZRF_TYPE_INT64: {
      int64_t v;
      std::memcpy(&v, p, sizeof v);
      return v;
    }
    default: {  // 32-bit integers and booleans
      int32_t v;
      std::memcpy(&v, p, sizeof v);
      return v;
    }
  }
}

void StoreInteger(uint32_t code, int64_t v, uint8_t* out) {
  switch (code) {
    case ZRF_TYPE_INT8:
      out[0] = static_cast<uint8_t>(static_cast<int8_t>(v));
      break;
    case ZRF_TYPE_INT16: {
      const auto w = static_cast<int16_t>(v);
      std::memcpy(out, &w, sizeof w);
      break;
    }
    case ZRF_TYPE_INT64:
      std::memcpy(out, &v, sizeof v);
      break;
    default: {
      const auto w = static_cast<int32_t>(v);
      std::memcpy(out, &w, sizeof w);
      break;
    }
  }
}

bool FitsIn(uint32_t code, int64_t v) {
  switch (code) {
    case ZRF_TYPE_INT8:
      return v >= INT8_MIN && v <= INT8_MAX;
    case ZRF_TYPE_INT16:
      return v >= INT16_MIN && v <= INT16_MAX;
    case ZRF_TYPE_INT32:
      return v >= INT32_MIN && v <= INT32_MAX;
    default:
      return true;
  }
}

void SetBinary(Produced* out, uint32_t code) {
  out->type = code;
  out->data = out->local;
  out->length = FixedValueSize(code);
  out->text = false;
  out->ccsid = 0;
}

void SetText(Produced* out, const uint8_t* data, uint32_t length, int32_t ccsid) {
  out->type = ZRF_TYPE_STRING;
  out->data = data;
  out->length = length;
  out->text = true;
  out->ccsid = ccsid;
}

// Text in `ccsid` as UTF-8, which numbers and booleans are read from: the
// bytes themselves, or a conversion into the work area.
KWLONG TextAsUtf8(const uint8_t* data, uint32_t length, int32_t ccsid, ZRFWORKAREA* work,
                  const char** out, uint32_t* outLength) {
  if (ccsid == 0 || ccsid == XCS_NATIVE_CCSID || length == 0) {
    *out = reinterpret_cast<const char*>(data);
    *outLength = length;
    return KWRC_NONE;
  }
  const uint64_t room = uint64_t{length} * kConversionGrowth;
  if (const KWLONG reason = ReserveWork(work, room); reason != KWRC_NONE) return reason;
  uint32_t used = 0;
  if (xcsConvertString(ccsid, kNativeEncoding, data, length, XCS_NATIVE_CCSID, kNativeEncoding,
                       work->pBuffer, work->Capacity, &used) != xcsRC_OK) {
    return KWRC_PROP_NUMBER_FORMAT_ERROR;  // text that cannot even be read spells nothing
  }
  *out = reinterpret_cast<const char*>(work->pBuffer);
  *outLength = used;
  return KWRC_NONE;
}

bool EqualsIgnoringCase(const char* text, uint32_t length, const char* word) {
  if (std::strlen(word) != length) return false;
  for (uint32_t i = 0; i < length; ++i) {
    char c = text[i];
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    if (c != word[i]) return false;
  }
  return true;
}

// Reads text as a value of type `code` (boolean, integer or float) into
// out->local. 2472 when the text does not spell one.
KWLONG ParseText(const char* text, uint32_t length, uint32_t code, Produced* out) {
  const char* end = text + length;
  if (code == ZRF_TYPE_BOOLEAN) {
    int32_t v;
    if (EqualsIgnoringCase(text, length, kTrueText) || (length == 1 && text[0] == '1')) {
      v = 1;
    } else if (EqualsIgnoringCase(text, length, kFalseText) || (length == 1 && text[0] == '0')) {
      v = 0;
    } else {
      return KWRC_PROP_NUMBER_FORMAT_ERROR;
    }
    std::memcpy(out->local, &v, sizeof v);
    SetBinary(out, code);
    return KWRC_NONE;
  }
  // from_chars takes no plus sign; text written by others may carry one.
  if (length > 1 && text[0] == '+' && text[1] != '-') ++text;
  if (IsInteger(code)) {
    int64_t v = 0;
    const auto [ptr, ec] = std::from_chars(text, end, v);
    if (ec != std::errc() || ptr != end || !FitsIn(code, v)) return KWRC_PROP_NUMBER_FORMAT_ERROR;
    StoreInteger(code, v, out->local);
  } else if (code == ZRF_TYPE_FLOAT32) {
    float v = 0;
    const auto [ptr, ec] = std::from_chars(text, end, v);
    if (ec != std::errc() || ptr != end) return KWRC_PROP_NUMBER_FORMAT_ERROR;
    std::memcpy(out->local, &v, sizeof v);
  } else {
    double v = 0;
    const auto [ptr, ec] = std::from_chars(text, end, v);
    if (ec != std::errc() || ptr != end) return KWRC_PROP_NUMBER_FORMAT_ERROR;
    std::memcpy(out->local, &v, sizeof v);
  }
  SetBinary(out, code);
  return KWRC_NONE;
}

KWLONG ParseInto(const uint8_t* data, uint32_t length, int32_t ccsid, uint32_t code,
                 ZRFWORKAREA* work, Produced* out) {
  const char* text = nullptr;
  uint32_t textLength = 0;
  if (const KWLONG reason = TextAsUtf8(data, length, ccsid, work, &text, &textLength);
      reason != KWRC_NONE) {
    return reason;
  }
  if (textLength == 0) return KWRC_PROP_NUMBER_FORMAT_ERROR;
  return ParseText(text, textLength, code, out);
}

// A binary scalar written as text (UTF-8) into out->local.
void FormatScalar(uint32_t code, const uint8_t* value, Produced* out) {
  char* first = reinterpret_cast<char*>(out->local);
  char* last = first + sizeof out->local;
  char* end = first;
  if (code == ZRF_TYPE_BOOLEAN) {
    const char* word = LoadInteger(code, value) != 0 ? kTrueText : kFalseText;
    const size_t n = std::strlen(word);
    std::memcpy(first, word, n);
    end = first + n;
  } else if (IsInteger(code)) {
    end = std::to_chars(first, last, LoadInteger(code, value)).ptr;
  } else if (code == ZRF_TYPE_FLOAT32) {
    float v;
    std::memcpy(&v, value, sizeof v);
    end = std::to_chars(first, last, v).ptr;
  } else {
    double v;
    std::memcpy(&v, value, sizeof v);
    end = std::to_chars(first, last, v).ptr;
  }
  SetText(out, out->local, static_cast<uint32_t>(end - first), XCS_NATIVE_CCSID);
}

// The value of `info` in type `requested` (ZRF_TYPE_AS_STORED: its own).
KWLONG Produce(const ZRFPROPINFO& info, uint32_t requested, ZRFWORKAREA* work, Produced* out) {
  const uint32_t code = info.TypeFlags & ZRF_TYPE_MASK;
  const bool stringForm = (info.TypeFlags & ZRF_FLAG_STRING_FORM) != 0;
  if (code > ZRF_TYPE_NULL) return KWRC_PROP_TYPE_NOT_SUPPORTED;
  const auto* bytes = static_cast<const uint8_t*>(info.pValue);
  if (code == ZRF_TYPE_NULL) {  // null reads as null in every type
    out->type = ZRF_TYPE_NULL;
    out->length = 0;
    return KWRC_NONE;
  }
  const uint32_t target = requested == ZRF_TYPE_AS_STORED ? code : requested;
  if (target == ZRF_TYPE_NULL) return KWRC_PROP_CONV_NOT_SUPPORTED;

  if (code == ZRF_TYPE_STRING || code == ZRF_TYPE_BYTE_STRING) {
    if (target == code) {
      if (code == ZRF_TYPE_STRING) {
        SetText(out, bytes, info.ValueLength, info.ValueCCSID);
      } else {
        out->type = code;
        out->data = bytes;
        out->length = info.ValueLength;
      }
      return KWRC_NONE;
    }
    if (code == ZRF_TYPE_BYTE_STRING || target == ZRF_TYPE_BYTE_STRING) {
      return KWRC_PROP_CONV_NOT_SUPPORTED;
    }
    return ParseInto(bytes, info.ValueLength, info.ValueCCSID, target, work, out);
  }

  // A boolean, integer or float, in binary or as text (string form).
  if (target == ZRF_TYPE_BYTE_STRING) return KWRC_PROP_CONV_NOT_SUPPORTED;
  if (target == ZRF_TYPE_STRING) {
    if (stringForm) {
      SetText(out, bytes, info.ValueLength, info.ValueCCSID);
    } else {
      FormatScalar(code, bytes, out);
    }
    return KWRC_NONE;
  }
  if (target != code && !Widens(code, target)) return KWRC_PROP_CONV_NOT_SUPPORTED;
  if (stringForm) {
    if (const KWLONG reason = ParseInto(bytes, info.ValueLength, info.ValueCCSID, code, work, out);
        reason != KWRC_NONE) {
      return reason;
    }
  } else {
    std::memcpy(out->local, bytes, FixedValueSize(code));
    SetBinary(out, code);
  }
  if (target != code) {
    if (IsInteger(code)) {
      StoreInteger(target, LoadInteger(code, out->local), out->local);
    } else {
      float v;
      std::memcpy(&v, out->local, sizeof v);
      const double wide = v;
      std::memcpy(out->local, &wide, sizeof wide);
    }
    SetBinary(out, target);
  }
  return KWRC_NONE;
}

void ReverseBytes(uint8_t* p, uint32_t length) {
  for (uint32_t i = 0, j = length - 1; i < j; ++i, --j) {
    const uint8_t t = p[i];
    p[i] = p[j];
    p[j] = t;
  }
}

// Numbers in the requested encoding. Returns the encoding the value is in.
KWLONG ApplyEncoding(KWLONG requested, Produced* out) {
  if (requested == 0) return KWENC_NATIVE;
  const bool isFloat = IsFloat(out->type);
  const bool reverse = isFloat ? (requested & kFloatEncodingMask) == kFloatIeeeNormal
                               : (requested & KWENC_INTEGER_MASK) == KWENC_INTEGER_NORMAL;
  if (reverse && !out->text && out->type != ZRF_TYPE_BYTE_STRING && out->length > 1) {
    if (out->data != out->local) {
      std::memcpy(out->local, out->data, out->length);
      out->data = out->local;
    }
    ReverseBytes(out->local, out->length);
  }
  return requested;
}

// Text in the requested CCSID; 2466 (the text stays as it is) when it
// cannot be converted.
KWLONG ApplyCcsid(KWLONG requested, KWLONG encoding, ZRFWORKAREA* work, Produced* out) {
  const int32_t wanted = requested == KWCCSI_APPL ? XCS_NATIVE_CCSID : requested;
  if (!out->text || wanted == KWCCSI_AS_STORED || wanted == out->ccsid || out->ccsid == 0) {
    return KWRC_NONE;
  }
  if (out->length == 0) {
    out->ccsid = wanted;
    return KWRC_NONE;
  }
  const uint64_t room = uint64_t{out->length} * kConversionGrowth;
  if (const KWLONG reason = ReserveWork(work, room); reason != KWRC_NONE) return reason;
  uint32_t used = 0;
  if (xcsConvertString(out->ccsid, kNativeEncoding, out->data, out->length, wanted,
                       encoding != 0 ? encoding : kNativeEncoding, work->pBuffer, work->Capacity,
                       &used) != xcsRC_OK) {
    return KWRC_PROP_VALUE_NOT_CONVERTED;
  }
  out->data = work->pBuffer;
  out->length = used;
  out->ccsid = wanted;
  return KWRC_NONE;
}

void FillPropertyDescriptor(const ZRFPROPINFO& info, KWPD* pd) {
  std::memcpy(pd->StrucId, KWPD_STRUC_ID, sizeof pd->StrucId);
  pd->Version = KWPD_VERSION_1;
  pd->Options = KWPD_NONE;
  pd->Support = info.Support;
  pd->Context = info.Context;
  pd->CopyOptions = info.CopyOptions;
}

}  // namespace

KWLONG ReserveWork(ZRFWORKAREA* work, uint64_t size) {
  if (size <= work->Capacity) return KWRC_NONE;
  if (size > kMaxListSize) return KWRC_STORAGE_NOT_AVAILABLE;
  void* block = nullptr;
  if (const xcsRC rc = xcsGetMemFn(size, &block); rc != xcsRC_OK) {
    return StorageReason(rc, __FILE__, kProbeWork);
  }
  xcsFreeMemFn(work->pBuffer);
  work->pBuffer = static_cast<uint8_t*>(block);
  work->Capacity = static_cast<KWULONG>(size);
  return KWRC_NONE;
}

KWLONG CopyPropertyValue(const ZRFPROPINFO& info, KWIMPO* impo, uint32_t requestedType,
                         KWLONG* returnedType, KWPD* pd, KWLONG valueLength, void* value,
                         KWLONG* dataLength, ZRFWORKAREA* work) {
  if (pd != nullptr) FillPropertyDescriptor(info, pd);
  const KWLONG options = impo != nullptr ? impo->Options : KWIMPO_INQ_FIRST;
  // The common case, a value as it is stored: its bytes.
  const uint32_t code = info.TypeFlags & ZRF_TYPE_MASK;
  if (requestedType == ZRF_TYPE_AS_STORED && code < ZRF_TYPE_NULL &&
      (info.TypeFlags & ZRF_FLAG_STRING_FORM) == 0 &&
      (options & (KWIMPO_CONVERT_VALUE | KWIMPO_QUERY_LENGTH)) == 0) {
    if (impo != nullptr) {
      impo->ReturnedEncoding = KWENC_NATIVE;
      impo->ReturnedCCSID = code == ZRF_TYPE_STRING ? info.ValueCCSID : 0;
    }
    if (returnedType != nullptr) *returnedType = ExternalTypeOf(code);
    if (dataLength != nullptr) *dataLength = static_cast<KWLONG>(info.ValueLength);
    if (info.ValueLength == 0) return KWRC_NONE;
    if (value == nullptr || valueLength < 0 ||
        static_cast<uint32_t>(valueLength) < info.ValueLength) {
      return KWRC_PROPERTY_VALUE_TOO_BIG;
    }
    std::memcpy(value, info.pValue, info.ValueLength);
    return KWRC_NONE;
  }
  Produced out;
  KWLONG reason = Produce(info, requestedType, work, &out);
  if (reason != KWRC_NONE) return reason;

  KWLONG encoding = KWENC_NATIVE;
  if (impo != nullptr && (options & KWIMPO_CONVERT_VALUE)) {
    encoding = ApplyEncoding(impo->RequestedEncoding, &out);
    reason = ApplyCcsid(impo->RequestedCCSID, impo->RequestedEncoding, work, &out);
    if (reason != KWRC_NONE && reason != KWRC_PROP_VALUE_NOT_CONVERTED) return reason;
  }
  if (impo != nullptr) {
    impo->ReturnedEncoding = encoding;
    impo->ReturnedCCSID = out.text ? out.ccsid : 0;
  }
  if (returnedType != nullptr) *returnedType = ExternalTypeOf(out.type);
  if (dataLength != nullptr) *dataLength = static_cast<KWLONG>(out.length);
  if (options & KWIMPO_QUERY_LENGTH) return reason;
  if (out.length > 0) {
    if (value == nullptr || valueLength < 0 || static_cast<uint32_t>(valueLength) < out.length) {
      return KWRC_PROPERTY_VALUE_TOO_BIG;
    }
    std::memcpy(value, out.data, out.length);
  }
  return reason;
}

}  // namespace zxv::props

namespace zp = zxv::props;

namespace {

constexpr uint32_t kProbeMissingInfo = 10;

}  // namespace

extern "C" {

ZXV_API KWLONG zstCopyPropertyValue(ZST_THREAD, const ZRFPROPINFO* pInfo, KWIMPO* pInqPropOpts,
                                    KWLONG* pType, KWPD* pPropDesc, KWLONG ValueLength,
                                    void* pValue, KWLONG* pDataLength, ZRFWORKAREA* pWork,
                                    KWLONG* pCompCode, KWLONG* pReason) {
  constexpr uint32_t fn = zp::kFnCopyPropertyValue;
  xtr_FNC_entry(zxv::kComponent, fn);
  KWLONG reason;
  if (pInfo == nullptr) {
    reason = zp::MissingParameter("pInfo", __FILE__, kProbeMissingInfo);
  } else {
    ZRFWORKAREA own{};
    const KWLONG options = pInqPropOpts != nullptr ? pInqPropOpts->Options : 0;
    const uint32_t requested = (options & KWIMPO_CONVERT_TYPE) && pType != nullptr
                                   ? zp::InternalTypeOf(*pType)
                                   : uint32_t{ZRF_TYPE_AS_STORED};
    KWLONG returned = KWTYPE_AS_SET;
    reason =
        zp::CopyPropertyValue(*pInfo, pInqPropOpts, requested, &returned, pPropDesc, ValueLength,
                              pValue, pDataLength, pWork != nullptr ? pWork : &own);
    if (pType != nullptr && (reason == KWRC_NONE || reason == KWRC_PROP_VALUE_NOT_CONVERTED)) {
      *pType = returned;
    }
    xcsFreeMemFn(own.pBuffer);
  }
  if (pCompCode != nullptr) {
    *pCompCode = reason == KWRC_NONE                       ? KWCC_OK
                 : reason == KWRC_PROP_VALUE_NOT_CONVERTED ? KWCC_WARNING
                                                           : KWCC_FAILED;
  }
  if (pReason != nullptr) *pReason = reason;
  xtr_FNC_retcode(zxv::kComponent, fn, reason);
  return reason;
}

}  // extern "C"
