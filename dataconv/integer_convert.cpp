// Integer primitives: 16-, 32- and 64-bit integers between encodings.
#include <cstring>

#include "dataconv/converter.h"
#include "dataconv/fn_numbers.h"
#include "zxvxcs2/xcs_trace.h"
#include "zxvxzu/dataconv.h"

namespace zxv::dataconv {
namespace {

// Converts `count` integers of type T: a copy when the byte orders agree,
// otherwise each value reversed. Works in place.
template <typename T, T (*Swap)(T)>
int32_t ConvertIntegers(int32_t source_encoding, int32_t target_encoding, const void* in, void* out,
                        size_t count) {
  const int32_t reason = CheckEncodings(source_encoding, target_encoding);
  if (reason != KWRC_NONE) return reason;
  if (IntegerPart(source_encoding) == IntegerPart(target_encoding)) {
    if (in != out && count > 0) std::memmove(out, in, count * sizeof(T));
    return KWRC_NONE;
  }
  const auto* src = static_cast<const uint8_t*>(in);
  auto* dst = static_cast<uint8_t*>(out);
  for (size_t i = 0; i < count; ++i) {
    T v;
    std::memcpy(&v, src + i * sizeof(T), sizeof(T));
    v = Swap(v);
    std::memcpy(dst + i * sizeof(T), &v, sizeof(T));
  }
  return KWRC_NONE;
}

uint16_t Swap16(uint16_t v) { return __builtin_bswap16(v); }
uint32_t Swap32(uint32_t v) { return __builtin_bswap32(v); }
uint64_t Swap64(uint64_t v) { return __builtin_bswap64(v); }

// The exported shells share their argument checks and result reporting.
template <int32_t (*Convert)(int32_t, int32_t, const void*, void*, size_t)>
KWLONG ExportedConvert(uint32_t fn, KWLONG source_encoding, KWLONG target_encoding, KWLONG count,
                       const void* input, void* output, KWLONG* comp_code, KWLONG* reason) {
  xtr_FNC_entry(kComponent, fn);
  KWLONG result = KWRC_NONE;
  if (count < 0) {
    result = KWRC_BUFFER_LENGTH_ERROR;
  } else if (count > 0 && (input == nullptr || output == nullptr)) {
    result = KWRC_BUFFER_ERROR;
  } else {
    result = Convert(source_encoding, target_encoding, input, output, static_cast<size_t>(count));
  }
  if (comp_code != nullptr) *comp_code = result == KWRC_NONE ? KWCC_OK : KWCC_FAILED;
  if (reason != nullptr) *reason = result;
  xtr_FNC_retcode(kComponent, fn, result);
  return result;
}

}  // namespace

int32_t ConvertShorts(int32_t source_encoding, int32_t target_encoding, const void* in, void* out,
                      size_t count) {
  xtr_text_detail(kComponent, kFnConvertShort, "ConvertShort from %x to %x for %d",
                  static_cast<unsigned>(source_encoding), static_cast<unsigned>(target_encoding),
                  static_cast<int>(count));
  return ConvertIntegers<uint16_t, Swap16>(source_encoding, target_encoding, in, out, count);
}

int32_t ConvertLongs(int32_t source_encoding, int32_t target_encoding, const void* in, void* out,
                     size_t count) {
  xtr_text_detail(kComponent, kFnConvertLong, "ConvertLong from %x to %x for %d",
                  static_cast<unsigned>(source_encoding), static_cast<unsigned>(target_encoding),
                  static_cast<int>(count));
  return ConvertIntegers<uint32_t, Swap32>(source_encoding, target_encoding, in, out, count);
}

int32_t ConvertInt64s(int32_t source_encoding, int32_t target_encoding, const void* in, void* out,
                      size_t count) {
  // 64-bit values are traced as two longs each, as the callers count them.
  xtr_text_detail(kComponent, kFnConvertInt64, "ConvertLong from %x to %x for %d",
                  static_cast<unsigned>(source_encoding), static_cast<unsigned>(target_encoding),
                  static_cast<int>(count * 2));
  return ConvertIntegers<uint64_t, Swap64>(source_encoding, target_encoding, in, out, count);
}

}  // namespace zxv::dataconv

extern "C" ZXV_API KWLONG vxtConvertShort(KWLONG sourceEncoding, KWLONG targetEncoding,
                                          KWLONG count, const void* input, void* output,
                                          KWLONG* compCode, KWLONG* reason) {
  using namespace zxv::dataconv;
  return ExportedConvert<ConvertShorts>(kFnConvertShort, sourceEncoding, targetEncoding, count,
                                        input, output, compCode, reason);
}

extern "C" ZXV_API KWLONG vxtConvertLong(KWLONG sourceEncoding, KWLONG targetEncoding, KWLONG count,
                                         const void* input, void* output, KWLONG* compCode,
                                         KWLONG* reason) {
  using namespace zxv::dataconv;
  return ExportedConvert<ConvertLongs>(kFnConvertLong, sourceEncoding, targetEncoding, count, input,
                                       output, compCode, reason);
}

extern "C" ZXV_API KWLONG vxtConvertInt64(KWLONG sourceEncoding, KWLONG targetEncoding,
                                          KWLONG count, const void* input, void* output,
                                          KWLONG* compCode, KWLONG* reason) {
  using namespace zxv::dataconv;
  return ExportedConvert<ConvertInt64s>(kFnConvertInt64, sourceEncoding, targetEncoding, count,
                                        input, output, compCode, reason);
}
