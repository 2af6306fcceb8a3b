// CCSID conversion: source bytes to UTF-16 to target bytes through ICU.
#include <unicode/ucnv.h>

#include <cstring>

#include "converter_cache.h"
#include "zxvxcs2/xcs_ccsid.h"
#include "zxvxcs2/xcs_memory.h"

namespace zxv::platform {
namespace {

constexpr int32_t kCcsidUtf8 = 1208;
// Pivot text up to this many UTF-16 units stays on the stack.
constexpr size_t kStackPivotUnits = 512;

// A block from the allocator, freed on scope exit.
class Block {
 public:
  Block() = default;
  Block(const Block&) = delete;
  Block& operator=(const Block&) = delete;
  ~Block() { xcsFreeMemFn(data_); }
  xcsRC Allocate(size_t length) {
    xcsFreeMemFn(data_);
    data_ = nullptr;
    return xcsGetMemFn(length, &data_);
  }
  xcsRC Grow(size_t length) {
    void* grown = nullptr;
    const xcsRC rc = xcsReallocMemFn(data_, length, &grown);
    if (rc == xcsRC_OK) data_ = grown;
    return rc;
  }
  void* get() const { return data_; }

 private:
  void* data_ = nullptr;
};

xcsRC SourceError(UErrorCode err) {
  switch (err) {
    case U_TRUNCATED_CHAR_FOUND:
      return xcsRC_CONV_TRUNCATED_SOURCE;
    case U_ILLEGAL_CHAR_FOUND:
    case U_INVALID_CHAR_FOUND:
    case U_ILLEGAL_ESCAPE_SEQUENCE:
    case U_UNSUPPORTED_ESCAPE_SEQUENCE:
      return xcsRC_CONV_INVALID_SOURCE;
    default:
      return xcsRC_UNEXPECTED_ERROR;
  }
}

xcsRC TargetError(UErrorCode err) {
  switch (err) {
    case U_INVALID_CHAR_FOUND:
      return xcsRC_CONV_UNMAPPABLE;
    case U_ILLEGAL_CHAR_FOUND:  // an unpaired surrogate from the source
    case U_TRUNCATED_CHAR_FOUND:
      return xcsRC_CONV_INVALID_SOURCE;
    default:
      return xcsRC_UNEXPECTED_ERROR;
  }
}

// Length of the longest prefix of `text` (at most `limit` bytes) that ends
// on a UTF-8 character boundary.
size_t Utf8Boundary(const uint8_t* text, size_t limit) {
  size_t cut = limit;
  while (cut > 0 && (text[cut] & 0xC0) == 0x80) --cut;
  return cut;
}

// Equal CCSIDs (and byte orders): the bytes are copied as they are.
xcsRC Copy(int32_t ccsid, const uint8_t* in, size_t length, uint8_t* out, size_t capacity,
           uint32_t* used) {
  xcsRC rc = xcsRC_OK;
  if (IsTwoByteSet(ccsid) && length % 2 != 0) {
    length -= 1;
    rc = xcsRC_CONV_TRUNCATED_SOURCE;
  }
  size_t n = length;
  if (n > capacity) {
    n = capacity;
    if (IsTwoByteSet(ccsid)) n &= ~static_cast<size_t>(1);
    if (ccsid == kCcsidUtf8) n = Utf8Boundary(in, n);
    rc = xcsRC_CONV_BUFFER_TOO_SMALL;
  }
  if (n > 0) std::memmove(out, in, n);
  *used = static_cast<uint32_t>(n);
  return rc;
}

// Converts the source into UTF-16 held by `pivot` (or the stack buffer).
xcsRC ToPivot(UConverter* from, const char* in, size_t length, UChar* stack, Block& heap,
              UChar** pivot, size_t* units) {
  size_t capacity = length + 16;  // grown when a table yields more units than bytes
  UChar* buffer = stack;
  if (capacity > kStackPivotUnits) {
    if (const xcsRC rc = heap.Allocate(capacity * sizeof(UChar)); rc != xcsRC_OK) return rc;
    buffer = static_cast<UChar*>(heap.get());
  } else {
    capacity = kStackPivotUnits;
  }
  const char* source = in;
  const char* source_end = in + length;
  size_t produced = 0;
  for (;;) {
    UChar* target = buffer + produced;
    UErrorCode err = U_ZERO_ERROR;
    ucnv_toUnicode(from, &target, buffer + capacity, &source, source_end, nullptr, true, &err);
    produced = static_cast<size_t>(target - buffer);
    if (err != U_BUFFER_OVERFLOW_ERROR) {
      if (U_FAILURE(err)) return SourceError(err);
      break;
    }
    const size_t grown = capacity * 2;
    if (buffer == stack) {
      if (const xcsRC rc = heap.Allocate(grown * sizeof(UChar)); rc != xcsRC_OK) return rc;
      std::memcpy(heap.get(), stack, produced * sizeof(UChar));
    } else if (const xcsRC rc = heap.Grow(grown * sizeof(UChar)); rc != xcsRC_OK) {
      return rc;
    }
    buffer = static_cast<UChar*>(heap.get());
    capacity = grown;
  }
  *pivot = buffer;
  *units = produced;
  return xcsRC_OK;
}

// The target did not have room: convert the whole pivot into scratch
// storage with offsets and keep the longest prefix of whole characters.
xcsRC FitWholeCharacters(UConverter* to, const UChar* pivot, size_t units, uint8_t* out,
                         size_t capacity, uint32_t* used) {
  const size_t most = static_cast<size_t>(
      UCNV_GET_MAX_BYTES_FOR_STRING(static_cast<int32_t>(units), ucnv_getMaxCharSize(to)));
  Block bytes;
  Block offsets;
  if (const xcsRC rc = bytes.Allocate(most); rc != xcsRC_OK) return rc;
  if (const xcsRC rc = offsets.Allocate(most * sizeof(int32_t)); rc != xcsRC_OK) return rc;
  char* const begin = static_cast<char*>(bytes.get());
  char* target = begin;
  const UChar* source = pivot;
  auto* const offset_of = static_cast<int32_t*>(offsets.get());
  UErrorCode err = U_ZERO_ERROR;
  ucnv_reset(to);
  ucnv_fromUnicode(to, &target, begin + most, &source, pivot + units, offset_of, true, &err);
  const size_t total = static_cast<size_t>(target - begin);
  if (U_FAILURE(err) && total <= capacity) return TargetError(err);
  // A character starts where the source offset changes; bytes without an
  // offset (-1, e.g. a closing shift) belong with what precedes them.
  size_t cut = capacity < total ? capacity : total;
  while (cut > 0 && cut < total && (offset_of[cut] == offset_of[cut - 1] || offset_of[cut] < 0)) {
    --cut;
  }
  std::memcpy(out, begin, cut);
  *used = static_cast<uint32_t>(cut);
  return xcsRC_CONV_BUFFER_TOO_SMALL;
}

xcsRC Convert(int32_t from_ccsid, int32_t from_encoding, const void* in, uint32_t in_length,
              int32_t to_ccsid, int32_t to_encoding, void* out, uint32_t out_length,
              uint32_t* out_used) {
  if (out_used == nullptr) return xcsRC_INVALID_PARAMETER;
  *out_used = 0;
  if ((in == nullptr && in_length > 0) || (out == nullptr && out_length > 0)) {
    return xcsRC_INVALID_PARAMETER;
  }
  const auto* source = static_cast<const uint8_t*>(in);
  size_t source_length = in_length;
  auto* target = static_cast<uint8_t*>(out);

  ByteOrder from_order = OrderFromEncoding(from_encoding);
  const ByteOrder to_order = OrderFromEncoding(to_encoding);
  if (IsTwoByteSet(from_ccsid) && source_length >= 2) {
    // A byte-order mark overrides the encoding and is not copied.
    if (source[0] == 0xFE && source[1] == 0xFF) {
      from_order = ByteOrder::kBig;
      source += 2;
      source_length -= 2;
    } else if (source[0] == 0xFF && source[1] == 0xFE) {
      from_order = ByteOrder::kLittle;
      source += 2;
      source_length -= 2;
    }
  }

  const bool both_two_byte = IsTwoByteSet(from_ccsid) && IsTwoByteSet(to_ccsid);
  if ((from_ccsid == to_ccsid && !both_two_byte) || (both_two_byte && from_order == to_order)) {
    return Copy(from_ccsid, source, source_length, target, out_length, out_used);
  }

  UConverter* from = ThreadConverter(from_ccsid, from_order);
  if (from == nullptr) return xcsRC_CONV_NOT_SUPPORTED;
  UConverter* to = ThreadConverter(to_ccsid, to_order);
  if (to == nullptr) return xcsRC_CONV_NOT_SUPPORTED;
  if (source_length == 0) return xcsRC_OK;

  UChar stack[kStackPivotUnits];
  Block heap;
  UChar* pivot = nullptr;
  size_t units = 0;
  if (const xcsRC rc = ToPivot(from, reinterpret_cast<const char*>(source), source_length, stack,
                               heap, &pivot, &units);
      rc != xcsRC_OK) {
    return rc;
  }

  char* written = reinterpret_cast<char*>(target);
  const UChar* pivot_at = pivot;
  UErrorCode err = U_ZERO_ERROR;
  ucnv_fromUnicode(to, &written, reinterpret_cast<char*>(target) + out_length, &pivot_at,
                   pivot + units, nullptr, true, &err);
  if (err == U_BUFFER_OVERFLOW_ERROR) {
    return FitWholeCharacters(to, pivot, units, target, out_length, out_used);
  }
  // On a failure the characters before the bad one are reported as written.
  *out_used = static_cast<uint32_t>(written - reinterpret_cast<char*>(target));
  return U_FAILURE(err) ? TargetError(err) : xcsRC_OK;
}

}  // namespace
}  // namespace zxv::platform

extern "C" XCS_API xcsRC xcsConvertString(int32_t fromCcsid, int32_t fromEncoding, const void* in,
                                          uint32_t inLength, int32_t toCcsid, int32_t toEncoding,
                                          void* out, uint32_t outLength, uint32_t* outUsed) {
  return zxv::platform::Convert(fromCcsid, fromEncoding, in, inLength, toCcsid, toEncoding, out,
                                outLength, outUsed);
}
