// The text of typed values in headers: decimal numbers, and floats in the
// shortest form that reads back exactly.
#include <charconv>
#include <cmath>
#include <cstring>

#include "props/props_writer.h"

namespace zxv::props {
namespace {

uint32_t DecimalDigits(uint64_t v) {
  uint32_t n = 1;
  for (;;) {
    if (v < 10) return n;
    if (v < 100) return n + 1;
    if (v < 1000) return n + 2;
    if (v < 10000) return n + 3;
    v /= 10000;
    n += 4;
  }
}

// The n decimal digits of v (n = DecimalDigits(v)) at out, two at a time
// from the end.
void PutDigits(char* out, uint64_t v, uint32_t n) {
  char* p = out + n;
  while (v >= 100) {
    const auto r = static_cast<uint32_t>(v % 100);
    v /= 100;
    p -= 2;
    std::memcpy(p, kDigitPairs.pair[r], 2);
  }
  if (v >= 10) {
    std::memcpy(p - 2, kDigitPairs.pair[v], 2);
  } else {
    p[-1] = static_cast<char>('0' + v);
  }
}

template <typename I>
uint32_t FormatInteger(const uint8_t* value, char* out) {
  I v;
  std::memcpy(&v, value, sizeof v);
  uint32_t sign = 0;
  uint64_t magnitude = static_cast<uint64_t>(v);
  if (v < 0) {
    out[0] = '-';
    sign = 1;
    magnitude = uint64_t{0} - magnitude;  // INT64_MIN included
  }
  const uint32_t n = DecimalDigits(magnitude);
  PutDigits(out + sign, magnitude, n);
  return sign + n;
}

// Floats that a few decimals give exactly are written here; std::to_chars
// (Ryu) writes the rest. A value v is such a float when, for the fewest
// decimals k that do, the integer m nearest to |v| * 10^k reads back as v
// (m / 10^k rounds to v) while m stays below kMaxDigits digits. Then m with
// k decimals is the shortest text of v: with m that small, the rounding
// interval of v holds one integer at each scale, so no fewer digits read
// back, and the digits at any larger scale are m's followed by zeros.
// The text is std::to_chars' own choice between fixed and scientific form:
// the shorter, fixed on a tie.
template <typename F>
struct FloatShape;
template <>
struct FloatShape<double> {
  static constexpr uint32_t kMaxDecimals = 15;
  static constexpr double kLimit = 1e15;  // m below 2^50: see above
};
template <>
struct FloatShape<float> {
  static constexpr uint32_t kMaxDecimals = 10;  // powers of ten exact in a float
  static constexpr double kLimit = 1e6;         // m below 2^21
};

constexpr double kPowersOfTen[] = {1e0, 1e1, 1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                   1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};

// True when |v| is m / 10^k as above; *m and *k receive them.
template <typename F>
bool ShortDecimal(F v, uint64_t* m, uint32_t* k) {
  using Shape = FloatShape<F>;
  const F a = std::fabs(v);
  for (uint32_t decimals = 0; decimals <= Shape::kMaxDecimals; ++decimals) {
    const double scaled = static_cast<double>(a) * kPowersOfTen[decimals];
    if (!(scaled < Shape::kLimit)) return false;
    const auto nearest = static_cast<uint64_t>(scaled + 0.5);
    // One correctly rounded division in F: the value m / 10^k reads as.
    if (static_cast<F>(nearest) / static_cast<F>(kPowersOfTen[decimals]) == a) {
      *m = nearest;
      *k = decimals;
      return true;
    }
  }
  return false;
}

// Writes |v| = m / 10^k (sign apart) in the form std::to_chars chooses;
// returns its length.
uint32_t PutShortDecimal(char* out, uint64_t m, uint32_t k) {
  // The significant digits and the exponent of the first of them.
  uint64_t digits = m;
  uint32_t trailingZeros = 0;
  if (k == 0 && m != 0) {
    while (digits % 10 == 0) {
      digits /= 10;
      ++trailingZeros;
    }
  }
  const uint32_t count = DecimalDigits(digits);
  const int32_t exponent =
      static_cast<int32_t>(count + trailingZeros) - 1 - static_cast<int32_t>(k);
  const uint32_t absExponent = static_cast<uint32_t>(exponent < 0 ? -exponent : exponent);
  const uint32_t scientific = count + (count > 1 ? 1 : 0) + 2 + (absExponent >= 100 ? 3 : 2);
  uint32_t fixed;
  if (exponent >= 0) {
    fixed = count > static_cast<uint32_t>(exponent) + 1 ? count + 1
                                                        : static_cast<uint32_t>(exponent) + 1;
  } else {
    fixed = count + 1 + absExponent;
  }
  if (fixed <= scientific) {
    if (k == 0) {
      PutDigits(out, m, count + trailingZeros);
      return count + trailingZeros;
    }
    if (count > k) {
      // The integer part, the point and k decimals (zeros first where the
      // remainder has fewer digits).
      const auto scale = static_cast<uint64_t>(kPowersOfTen[k]);
      const uint32_t whole = count - k;
      PutDigits(out, m / scale, whole);
      out[whole] = '.';
      const uint64_t rest = m % scale;
      const uint32_t restDigits = DecimalDigits(rest);
      std::memset(out + whole + 1, '0', k - restDigits);
      PutDigits(out + whole + 1 + (k - restDigits), rest, restDigits);
      return count + 1;
    }
    out[0] = '0';
    out[1] = '.';
    std::memset(out + 2, '0', k - count);
    PutDigits(out + 2 + (k - count), m, count);
    return 2 + k;
  }
  // d[.ddd]e+XX
  char all[24];
  PutDigits(all, digits, count);
  uint32_t n = 0;
  out[n++] = all[0];
  if (count > 1) {
    out[n++] = '.';
    std::memcpy(out + n, all + 1, count - 1);
    n += count - 1;
  }
  out[n++] = 'e';
  out[n++] = exponent < 0 ? '-' : '+';
  if (absExponent >= 100) {
    out[n++] = static_cast<char>('0' + absExponent / 100);
  }
  std::memcpy(out + n, kDigitPairs.pair[absExponent % 100], 2);
  return n + 2;
}

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
  uint64_t m = 0;
  uint32_t k = 0;
  if (ShortDecimal(value, &m, &k)) {
    const uint32_t sign = std::signbit(value) ? 1 : 0;
    out[0] = '-';
    return sign + PutShortDecimal(out + sign, m, k);
  }
  // Without a precision to_chars gives the shortest text that reads back as
  // the same value of F.
  const auto result = std::to_chars(out, out + kMaxValueText, value);
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

}  // namespace zxv::props
