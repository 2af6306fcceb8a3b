// The text of typed values in headers: decimal numbers, floats in the
// shortest form that reads back exactly, and the dt attribute of each type.
#include <charconv>
#include <cmath>
#include <cstring>

#include "props/props_writer.h"

namespace zxv::props {
namespace {

template <typename F>
uint32_t FormatFloat(F value, char* out) {
  if (std::isnan(value)) {
    std::memcpy(out, "NaN", 3);
    return 3;
  }
  if (std::isinf(value)) {
    if (value < 0) {
      std::memcpy(out, "-INF", 4);
      return 4;
    }
    std::memcpy(out, "INF", 3);
    return 3;
  }
  // Without a precision to_chars gives the shortest text that reads back as
  // the same value of F.
  const auto result = std::to_chars(out, out + kMaxValueText, value);
  return static_cast<uint32_t>(result.ptr - out);
}

template <typename I>
uint32_t FormatInteger(const uint8_t* value, char* out) {
  I v;
  std::memcpy(&v, value, sizeof v);
  const auto result = std::to_chars(out, out + kMaxValueText, v);
  return static_cast<uint32_t>(result.ptr - out);
}

}  // namespace

uint32_t FormatFixedValue(uint32_t code, const uint8_t* value, char* out) {
  switch (code) {
    case ZRF_TYPE_BOOLEAN: {
      int32_t v;
      std::memcpy(&v, value, sizeof v);
      out[0] = v != 0 ? '1' : '0';
      return 1;
    }
    case ZRF_TYPE_INT8:
      return FormatInteger<int8_t>(value, out);
    case ZRF_TYPE_INT16:
      return FormatInteger<int16_t>(value, out);
    case ZRF_TYPE_INT32:
      return FormatInteger<int32_t>(value, out);
    case ZRF_TYPE_INT64:
      return FormatInteger<int64_t>(value, out);
    case ZRF_TYPE_FLOAT32: {
      float v;
      std::memcpy(&v, value, sizeof v);
      return FormatFloat(v, out);
    }
    case ZRF_TYPE_FLOAT64: {
      double v;
      std::memcpy(&v, value, sizeof v);
      return FormatFloat(v, out);
    }
    default:
      return 0;
  }
}

std::string_view DtOf(uint32_t code) {
  switch (code) {
    case ZRF_TYPE_BOOLEAN:
      return "boolean";
    case ZRF_TYPE_BYTE_STRING:
    case ZRF_TYPE_AS_STORED:
      return "bin.hex";
    case ZRF_TYPE_INT8:
      return "i1";
    case ZRF_TYPE_INT16:
      return "i2";
    case ZRF_TYPE_INT32:
      return "i4";
    case ZRF_TYPE_INT64:
      return "i8";
    case ZRF_TYPE_FLOAT32:
      return "r4";
    case ZRF_TYPE_FLOAT64:
      return "r8";
    default:
      return {};
  }
}

}  // namespace zxv::props
