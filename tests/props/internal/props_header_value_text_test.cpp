// The text of typed values in headers against std::to_chars, which defines
// it: integers in decimal, floats in the shortest form that reads back. The
// writer formats short decimals itself; every shape of value here must come
// out as to_chars writes it.
#include <gtest/gtest.h>

#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <string>

#include "props/props_writer.h"

namespace zxv::props {
namespace {

template <typename V>
std::string Ours(uint32_t code, V v) {
  uint8_t bytes[sizeof v];
  std::memcpy(bytes, &v, sizeof v);
  char out[kMaxValueText];
  return std::string(out, FormatFixedValue(code, bytes, out));
}

template <typename V>
std::string Reference(V v) {
  char out[kMaxValueText];
  return std::string(out, std::to_chars(out, out + sizeof out, v).ptr);
}

template <typename F>
void ExpectFloatsAgree(uint32_t code, F v) {
  ASSERT_EQ(Ours(code, v), Reference(v)) << "value " << static_cast<double>(v);
}

// Values that a few decimals give, at every scale and sign, and their
// neighbours one unit in the last place away (which need many digits).
template <typename F>
void CheckFloatShapes(uint32_t code, std::mt19937_64& rng, int count) {
  for (int i = 0; i < count; ++i) {
    const int64_t m = static_cast<int64_t>(rng() % 10000000);
    const int scale = static_cast<int>(rng() % 40) - 20;
    const F v = static_cast<F>(static_cast<double>(m) * std::pow(10.0, scale));
    const F signedV = (rng() & 1) != 0 ? -v : v;
    ExpectFloatsAgree(code, signedV);
    ExpectFloatsAgree(code, std::nextafter(signedV, std::numeric_limits<F>::infinity()));
    ExpectFloatsAgree(code, static_cast<F>(static_cast<double>(m) / 100.0));
    ExpectFloatsAgree(code, static_cast<F>(rng() % 2000000000));
  }
}

TEST(PropsHeaderValueText, DoublesAreWrittenAsToCharsWritesThem) {
  std::mt19937_64 rng(7);
  CheckFloatShapes<double>(ZRF_TYPE_FLOAT64, rng, 200000);
  for (int i = 0; i < 200000; ++i) {
    const uint64_t bits = rng();
    double v;
    std::memcpy(&v, &bits, sizeof v);
    if (!std::isfinite(v)) continue;
    ExpectFloatsAgree(ZRF_TYPE_FLOAT64, v);
  }
  // Where fixed and scientific form change over, and the ends of the range.
  for (int e = -30; e <= 30; ++e) {
    for (const double d : {1.0, 1.5, 9.99, 123.0, 1234567.0, 999999999999999.0}) {
      ExpectFloatsAgree(ZRF_TYPE_FLOAT64, d * std::pow(10.0, e));
    }
  }
  for (const double v : {0.0, -0.0, 1e15, 1e15 - 1, 1e16, 0.1, 0.2, 0.3, 1.0 / 3, 2.5e-7, 5e-324,
                         std::numeric_limits<double>::max(), std::numeric_limits<double>::min()}) {
    ExpectFloatsAgree(ZRF_TYPE_FLOAT64, v);
  }
}

TEST(PropsHeaderValueText, FloatsAreWrittenAsToCharsWritesThem) {
  std::mt19937_64 rng(11);
  CheckFloatShapes<float>(ZRF_TYPE_FLOAT32, rng, 200000);
  for (int i = 0; i < 200000; ++i) {
    const auto bits = static_cast<uint32_t>(rng());
    float v;
    std::memcpy(&v, &bits, sizeof v);
    if (!std::isfinite(v)) continue;
    ExpectFloatsAgree(ZRF_TYPE_FLOAT32, v);
  }
  for (const float v : {0.0f, -0.0f, 1e6f, 999999.0f, 0.1f, 16777216.0f, 1e-45f}) {
    ExpectFloatsAgree(ZRF_TYPE_FLOAT32, v);
  }
}

TEST(PropsHeaderValueText, SpecialFloatsHaveTheirNames) {
  EXPECT_EQ(Ours(ZRF_TYPE_FLOAT64, std::numeric_limits<double>::quiet_NaN()), "NaN");
  EXPECT_EQ(Ours(ZRF_TYPE_FLOAT64, -std::numeric_limits<double>::infinity()), "-INF");
  EXPECT_EQ(Ours(ZRF_TYPE_FLOAT32, std::numeric_limits<float>::infinity()), "INF");
}

TEST(PropsHeaderValueText, IntegersOfEveryWidthAreDecimal) {
  std::mt19937_64 rng(3);
  for (int i = 0; i < 100000; ++i) {
    const uint64_t bits = rng() >> (rng() % 64);
    const auto v64 = static_cast<int64_t>((rng() & 1) != 0 ? bits : 0 - bits);
    ASSERT_EQ(Ours(ZRF_TYPE_INT64, v64), Reference(v64));
    ASSERT_EQ(Ours(ZRF_TYPE_INT32, static_cast<int32_t>(v64)),
              Reference(static_cast<int32_t>(v64)));
    ASSERT_EQ(Ours(ZRF_TYPE_INT16, static_cast<int16_t>(v64)),
              Reference(static_cast<int16_t>(v64)));
    ASSERT_EQ(Ours(ZRF_TYPE_INT8, static_cast<int8_t>(v64)), Reference(static_cast<int8_t>(v64)));
  }
  EXPECT_EQ(Ours(ZRF_TYPE_INT64, std::numeric_limits<int64_t>::min()), "-9223372036854775808");
  EXPECT_EQ(Ours(ZRF_TYPE_INT64, std::numeric_limits<int64_t>::max()), "9223372036854775807");
  EXPECT_EQ(Ours(ZRF_TYPE_INT8, int8_t{-128}), "-128");
  EXPECT_EQ(Ours(ZRF_TYPE_INT32, int32_t{0}), "0");
  EXPECT_EQ(Ours(ZRF_TYPE_BOOLEAN, int32_t{7}), "1");
}

}  // namespace
}  // namespace zxv::props
