// Character integers: integers written as characters, converted character by
// character between the families of two CCSIDs.
#include <cstring>

#include "dataconv/converter.h"
#include "dataconv/fn_numbers.h"
#include "zxvxcs2/xcs_ccsid.h"
#include "zxvxcs2/xcs_trace.h"
#include "zxvxzu/dataconv.h"

namespace zxv::dataconv {
namespace {

// The characters a character integer may hold, as indices into the code
// tables below.
enum CharIndex : uint8_t { kDigit0 = 0, kPlus = 10, kMinus = 11, kBlank = 12, kNotChar = 0xFF };

// How one family writes those characters.
struct Family {
  uint8_t width;  // bytes per character
  bool big;       // two-byte: most significant byte first
  bool ebcdic;
};

constexpr uint8_t kAsciiCodes[13] = {'0', '1', '2', '3', '4', '5', '6',
                                     '7', '8', '9', '+', '-', ' '};
constexpr uint8_t kEbcdicCodes[13] = {0xF0, 0xF1, 0xF2, 0xF3, 0xF4, 0xF5, 0xF6,
                                      0xF7, 0xF8, 0xF9, 0x4E, 0x60, 0x40};

// Finds the family of a CCSID; the reason when it has none for this use.
int32_t FamilyOf(int32_t ccsid, int32_t encoding, bool target, Family* family) {
  if (xcsIsTwoByteCCSID(ccsid)) {
    if (!IsValidIntegerEncoding(encoding)) {
      return target ? KWRC_TARGET_INTEGER_ENC_ERROR : KWRC_SOURCE_INTEGER_ENC_ERROR;
    }
    *family = Family{2, IntegerPart(encoding) == KWENC_INTEGER_NORMAL, false};
    return KWRC_NONE;
  }
  switch (xcsGetCCSIDType(ccsid, encoding)) {
    case XCS_CCSID_TYPE_ASCII:
    case XCS_CCSID_TYPE_UTF8:
      *family = Family{1, false, false};
      return KWRC_NONE;
    case XCS_CCSID_TYPE_EBCDIC:
      *family = Family{1, false, true};
      return KWRC_NONE;
    default:
      return KWRC_NOT_CONVERTED;
  }
}

uint8_t Decode(const Family& f, const uint8_t* p) {
  uint8_t code = p[0];
  if (f.width == 2) {
    const uint8_t high = f.big ? p[0] : p[1];
    if (high != 0) return kNotChar;
    code = f.big ? p[1] : p[0];
  }
  const uint8_t* table = f.ebcdic ? kEbcdicCodes : kAsciiCodes;
  for (uint8_t i = 0; i < 13; ++i) {
    if (table[i] == code) return i;
  }
  return kNotChar;
}

void Encode(const Family& f, uint8_t index, uint8_t* p) {
  const uint8_t code = (f.ebcdic ? kEbcdicCodes : kAsciiCodes)[index];
  if (f.width == 1) {
    p[0] = code;
  } else if (f.big) {
    p[0] = 0;
    p[1] = code;
  } else {
    p[0] = code;
    p[1] = 0;
  }
}

// Both families, or the reason.
int32_t Families(int32_t source_ccsid, int32_t source_encoding, int32_t target_ccsid,
                 int32_t target_encoding, Family* source, Family* target) {
  int32_t reason = FamilyOf(target_ccsid, target_encoding, true, target);
  if (reason == KWRC_NONE) reason = FamilyOf(source_ccsid, source_encoding, false, source);
  return reason;
}

int32_t CharInt(int32_t source_ccsid, int32_t source_encoding, int32_t target_ccsid,
                int32_t target_encoding, const uint8_t* in, uint8_t* out, size_t length) {
  Family src, dst;
  const int32_t reason =
      Families(source_ccsid, source_encoding, target_ccsid, target_encoding, &src, &dst);
  if (reason != KWRC_NONE) return reason;
  // Check everything before writing: a failure leaves the output untouched.
  for (size_t i = 0; i < length; ++i) {
    if (Decode(src, in + i * src.width) == kNotChar) return KWRC_NOT_CONVERTED;
  }
  for (size_t i = 0; i < length; ++i) {
    Encode(dst, Decode(src, in + i * src.width), out + i * dst.width);
  }
  return KWRC_NONE;
}

}  // namespace

int32_t ConvertCharIntField(int32_t source_ccsid, int32_t source_encoding, int32_t target_ccsid,
                            int32_t target_encoding, const uint8_t* in, size_t in_chars,
                            uint8_t* out, size_t out_chars) {
  Family src, dst;
  const int32_t reason =
      Families(source_ccsid, source_encoding, target_ccsid, target_encoding, &src, &dst);
  if (reason != KWRC_NONE) return reason;
  // The value: blanks, an optional sign, digits, blanks.
  size_t first = 0;
  while (first < in_chars && Decode(src, in + first * src.width) == kBlank) ++first;
  size_t end = first;
  if (end < in_chars) {
    const uint8_t c = Decode(src, in + end * src.width);
    if (c == kPlus || c == kMinus) ++end;
  }
  while (end < in_chars && Decode(src, in + end * src.width) < kPlus) ++end;
  for (size_t i = end; i < in_chars; ++i) {
    if (Decode(src, in + i * src.width) != kBlank) return KWRC_NOT_CONVERTED;
  }
  const size_t value_chars = end - first;
  if (value_chars > out_chars) return KWRC_CONVERTED_STRING_TOO_BIG;
  const size_t pad = out_chars - value_chars;
  for (size_t i = 0; i < pad; ++i) Encode(dst, kBlank, out + i * dst.width);
  for (size_t i = 0; i < value_chars; ++i) {
    Encode(dst, Decode(src, in + (first + i) * src.width), out + (pad + i) * dst.width);
  }
  return KWRC_NONE;
}

namespace {

int32_t VarCharInt(int32_t source_ccsid, int32_t source_encoding, int32_t target_ccsid,
                   int32_t target_encoding, const uint8_t* in, size_t in_bytes, uint8_t* out,
                   size_t out_bytes, size_t* consumed, size_t* written) {
  Family src, dst;
  const int32_t reason =
      Families(source_ccsid, source_encoding, target_ccsid, target_encoding, &src, &dst);
  if (reason != KWRC_NONE) return reason;
  const size_t in_chars = in_bytes / src.width;
  size_t end = 0;
  if (end < in_chars) {
    const uint8_t c = Decode(src, in);
    if (c == kPlus || c == kMinus) ++end;
  }
  const size_t digits_from = end;
  while (end < in_chars && Decode(src, in + end * src.width) < kPlus) ++end;
  if (end == digits_from) return KWRC_NOT_CONVERTED;
  if (end * dst.width > out_bytes) return KWRC_CONVERTED_STRING_TOO_BIG;
  for (size_t i = 0; i < end; ++i) {
    Encode(dst, Decode(src, in + i * src.width), out + i * dst.width);
  }
  *consumed = end * src.width;
  *written = end * dst.width;
  return KWRC_NONE;
}

void Report(int32_t result, KWLONG* comp_code, KWLONG* reason) {
  if (comp_code != nullptr) *comp_code = result == KWRC_NONE ? KWCC_OK : KWCC_FAILED;
  if (reason != nullptr) *reason = result;
}

}  // namespace
}  // namespace zxv::dataconv

extern "C" ZXV_API KWLONG vxtConvertCharInt(KWLONG sourceCCSID, KWLONG sourceEncoding,
                                            KWLONG targetCCSID, KWLONG targetEncoding,
                                            const void* input, void* output, KWLONG length,
                                            KWLONG* compCode, KWLONG* reason) {
  using namespace zxv::dataconv;
  xtr_FNC_entry(zxv::kComponent, kFnConvertCharInt);
  xtr_text_detail(zxv::kComponent, kFnConvertCharInt, "ConvertCharInt from %d to %d",
                  static_cast<int>(sourceCCSID), static_cast<int>(targetCCSID));
  int32_t result = KWRC_NONE;
  if (length < 0) {
    result = KWRC_BUFFER_LENGTH_ERROR;
  } else if (length > 0 && (input == nullptr || output == nullptr)) {
    result = KWRC_BUFFER_ERROR;
  } else {
    result = CharInt(sourceCCSID, sourceEncoding, targetCCSID, targetEncoding,
                     static_cast<const uint8_t*>(input), static_cast<uint8_t*>(output),
                     static_cast<size_t>(length));
  }
  Report(result, compCode, reason);
  xtr_FNC_retcode(zxv::kComponent, kFnConvertCharInt, result);
  return result;
}

extern "C" ZXV_API KWLONG vxtConvertCharIntOL(KWLONG sourceCCSID, KWLONG sourceEncoding,
                                              KWLONG targetCCSID, KWLONG targetEncoding,
                                              const void* input, KWLONG inputLength, void* output,
                                              KWLONG outputLength, KWLONG* compCode,
                                              KWLONG* reason) {
  using namespace zxv::dataconv;
  xtr_FNC_entry(zxv::kComponent, kFnConvertCharIntOL);
  xtr_text_detail(zxv::kComponent, kFnConvertCharIntOL, "ConvertCharIntOL from %d to %d",
                  static_cast<int>(sourceCCSID), static_cast<int>(targetCCSID));
  int32_t result = KWRC_NONE;
  if (inputLength < 0 || outputLength < 0) {
    result = KWRC_BUFFER_LENGTH_ERROR;
  } else if ((inputLength > 0 && input == nullptr) || (outputLength > 0 && output == nullptr)) {
    result = KWRC_BUFFER_ERROR;
  } else {
    result =
        ConvertCharIntField(sourceCCSID, sourceEncoding, targetCCSID, targetEncoding,
                            static_cast<const uint8_t*>(input), static_cast<size_t>(inputLength),
                            static_cast<uint8_t*>(output), static_cast<size_t>(outputLength));
  }
  Report(result, compCode, reason);
  xtr_FNC_retcode(zxv::kComponent, kFnConvertCharIntOL, result);
  return result;
}

extern "C" ZXV_API KWLONG vxtConvertVarCharInt(KWLONG sourceCCSID, KWLONG sourceEncoding,
                                               KWLONG targetCCSID, KWLONG targetEncoding,
                                               const void* input, KWLONG inputLength, void* output,
                                               KWLONG outputLength, KWLONG* consumed,
                                               KWLONG* dataLength, KWLONG* compCode,
                                               KWLONG* reason) {
  using namespace zxv::dataconv;
  xtr_FNC_entry(zxv::kComponent, kFnConvertVarCharInt);
  xtr_text_detail(zxv::kComponent, kFnConvertVarCharInt, "ConvertVarCharInt");
  int32_t result = KWRC_NONE;
  size_t used = 0, written = 0;
  if (inputLength < 0 || outputLength < 0) {
    result = KWRC_BUFFER_LENGTH_ERROR;
  } else if ((inputLength > 0 && input == nullptr) || (outputLength > 0 && output == nullptr)) {
    result = KWRC_BUFFER_ERROR;
  } else {
    result = VarCharInt(sourceCCSID, sourceEncoding, targetCCSID, targetEncoding,
                        static_cast<const uint8_t*>(input), static_cast<size_t>(inputLength),
                        static_cast<uint8_t*>(output), static_cast<size_t>(outputLength), &used,
                        &written);
  }
  if (consumed != nullptr) *consumed = static_cast<KWLONG>(used);
  if (dataLength != nullptr) *dataLength = static_cast<KWLONG>(written);
  Report(result, compCode, reason);
  xtr_FNC_retcode(zxv::kComponent, kFnConvertVarCharInt, result);
  return result;
}
