// The integer primitives: 16-, 32- and 64-bit values and arrays between
// encodings.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "dataconv_test_util.h"
#include "zxvxzu/dataconv.h"

namespace {

using ConvertFn = KWLONG (*)(KWLONG, KWLONG, KWLONG, const void*, void*, KWLONG*, KWLONG*);

struct Width {
  const char* name;
  ConvertFn fn;
  size_t bytes;
};
const Width kWidths[] = {
    {"short", vxtConvertShort, 2}, {"long", vxtConvertLong, 4}, {"int64", vxtConvertInt64, 8}};

// `count` values of `bytes` bytes: 0x01 0x02 ... in each.
std::vector<uint8_t> Values(size_t count, size_t bytes) {
  std::vector<uint8_t> v(count * bytes);
  for (size_t i = 0; i < v.size(); ++i) v[i] = static_cast<uint8_t>(i + 1);
  return v;
}
std::vector<uint8_t> Reversed(std::vector<uint8_t> v, size_t bytes) {
  for (size_t at = 0; at < v.size(); at += bytes) {
    for (size_t i = 0; i < bytes / 2; ++i) std::swap(v[at + i], v[at + bytes - 1 - i]);
  }
  return v;
}

TEST(IntegerConvert, OrdersByEncodingPairsAsideAndInPlace) {
  struct Case {
    KWLONG from, to;
    bool swapped;
  } cases[] = {{273, 546, true},  {546, 273, true}, {546, 546, false},
               {273, 785, false}, {1, 2, true},     {0x112, 0x222, false}};
  for (const Width& w : kWidths) {
    for (const Case& c : cases) {
      const std::vector<uint8_t> in = Values(3, w.bytes);
      const std::vector<uint8_t> expected = c.swapped ? Reversed(in, w.bytes) : in;
      std::vector<uint8_t> out(in.size(), 0);
      KWLONG cc = -1, rc = -1;
      EXPECT_EQ(w.fn(c.from, c.to, 3, in.data(), out.data(), &cc, &rc), 0) << w.name;
      EXPECT_EQ(cc, KWCC_OK);
      EXPECT_EQ(out, expected) << w.name << " " << c.from;
      std::vector<uint8_t> data = in;
      ASSERT_EQ(w.fn(c.from, c.to, 3, data.data(), data.data(), &cc, &rc), 0);
      EXPECT_EQ(data, expected) << w.name << " " << c.from << " in place";
    }
  }
  // Zero values need no buffers.
  KWLONG cc = -1, rc = -1;
  EXPECT_EQ(vxtConvertInt64(273, 546, 0, nullptr, nullptr, &cc, &rc), 0);
  EXPECT_EQ(cc, KWCC_OK);
}

TEST(IntegerConvert, InvalidEncodingsAndArgumentsWriteNothing) {
  struct Case {
    KWLONG from, to, count;
    bool null_in;
    KWLONG reason;
  } cases[] = {
      {546, 0, 1, false, KWRC_TARGET_INTEGER_ENC_ERROR},
      {0, 546, 1, false, KWRC_SOURCE_INTEGER_ENC_ERROR},
      {0, 0, 1, false, KWRC_TARGET_INTEGER_ENC_ERROR},  // the target is checked first
      {546, 273, -1, false, KWRC_BUFFER_LENGTH_ERROR},
      {546, 273, 1, true, KWRC_BUFFER_ERROR},
  };
  for (const Width& w : kWidths) {
    for (const Case& c : cases) {
      const std::vector<uint8_t> in = Values(1, w.bytes);
      std::vector<uint8_t> out(w.bytes, 0xEE);
      KWLONG cc = -1, rc = -1;
      EXPECT_EQ(w.fn(c.from, c.to, c.count, c.null_in ? nullptr : in.data(), out.data(), &cc, &rc),
                c.reason)
          << w.name << " " << c.from << "->" << c.to;
      EXPECT_EQ(cc, KWCC_FAILED);
      EXPECT_EQ(rc, c.reason);
      EXPECT_EQ(out, std::vector<uint8_t>(w.bytes, 0xEE));
    }
  }
}

TEST(IntegerConvert, TracesItsEncodingsAndCount) {
  dctest::TraceLines trace;
  uint8_t data[16] = {};
  KWLONG cc, rc;
  vxtConvertLong(273, 546, 3, data, data, &cc, &rc);
  vxtConvertShort(546, 785, 2, data, data, &cc, &rc);
  EXPECT_TRUE(trace.Contains("ConvertLong from 111 to 222 for 3"));
  EXPECT_TRUE(trace.Contains("ConvertShort from 222 to 311 for 2"));
  vxtConvertCharInt(37, 273, 850, 546, "\xF1", data, 1, &cc, &rc);
  vxtConvertCharIntOL(850, 546, 37, 273, "1", 1, data, 2, &cc, &rc);
  vxtConvertVarCharInt(850, 546, 37, 273, "1", 1, data, 2, nullptr, nullptr, &cc, &rc);
  EXPECT_TRUE(trace.Contains("ConvertCharInt from 37 to 850"));
  EXPECT_TRUE(trace.Contains("ConvertCharIntOL from 850 to 37"));
  EXPECT_TRUE(trace.Contains("ConvertVarCharInt"));
}

}  // namespace
