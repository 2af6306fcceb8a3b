// vxtConvertCharsFn: conversions, two-byte sets (byte orders, marks, odd
// lengths), equal-CCSID copies and swaps, and the mapping of the platform's
// failure codes.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "dataconv_test_util.h"
#include "zxvxcs2/xcs_base.h"
#include "zxvxcs2/xcs_memory.h"
#include "zxvxzu/dataconv.h"

namespace {

using Vec = std::vector<uint8_t>;

struct Result {
  KWLONG reason = -1;
  KWLONG cc = -1;
  KWLONG length = -1;
  Vec out;
};

Result Convert(KWLONG from, KWLONG from_enc, KWLONG to, KWLONG to_enc, const Vec& in, size_t room,
               KWLONG options = VXT_CHARS_MESSAGE) {
  Result r;
  r.out.assign(room, 0xEE);
  r.reason = vxtConvertCharsFn(from, to, in.data(), static_cast<KWLONG>(in.size()), r.out.data(),
                               static_cast<KWLONG>(room), from_enc, to_enc, options, &r.length,
                               &r.cc, &r.reason);
  if (r.length >= 0 && static_cast<size_t>(r.length) <= room) r.out.resize(r.length);
  return r;
}

Vec Ascii(const std::string& s) { return Vec(s.begin(), s.end()); }
Vec Ebc(const std::string& s) {
  Vec v;
  for (char c : s) v.push_back(dctest::Ebcdic(c));
  return v;
}

TEST(ConvertChars, SingleByteSetsBothWays) {
  Result r = Convert(37, 273, 850, 546, Ebc("HELLO, World 42"), 64);
  EXPECT_EQ(r.reason, 0);
  EXPECT_EQ(r.cc, KWCC_OK);
  EXPECT_EQ(r.out, Ascii("HELLO, World 42"));
  r = Convert(850, 546, 37, 273, Ascii("a.b_c=1"), 64);
  EXPECT_EQ(r.out, Ebc("a.b_c=1"));
  // A character that becomes two bytes: cent sign of code page 37 to UTF-8.
  r = Convert(37, 273, 1208, 546, Vec{0x4A, 0xC1}, 8);
  EXPECT_EQ(r.out, (Vec{0xC2, 0xA2, 'A'}));
}

TEST(ConvertChars, EqualCcsidsCopyOrSwap) {
  dctest::TraceCapture trace;
  Result r = Convert(850, 546, 850, 273, Ascii("ABCDE"), 8);
  EXPECT_EQ(r.out, Ascii("ABCDE"));
  EXPECT_TRUE(trace.Has("Copy 5 bytes without conversion (from CCSID 850 to CCSID 850)"));
  r = Convert(1200, 273, 1200, 546, Vec{0x00, 'A', 0x00, 'B'}, 8);
  EXPECT_EQ(r.out, (Vec{'A', 0x00, 'B', 0x00}));
  EXPECT_TRUE(trace.Has("Byte swap 4 bytes (from CCSID 1200 to CCSID 1200)"));
  r = Convert(13488, 546, 13488, 785, Vec{'A', 0x00}, 8);  // 785: integer part 1
  EXPECT_EQ(r.out, (Vec{0x00, 'A'}));
  r = Convert(1200, 546, 1200, 546, Vec{'A', 0x00}, 8);
  EXPECT_EQ(r.out, (Vec{'A', 0x00}));
}

TEST(ConvertChars, TwoByteSourceAndTargetSwapInAndOut) {
  dctest::TraceCapture trace;
  Result r = Convert(1200, 273, 850, 546, Vec{0x00, 'A', 0x00, 'B'}, 8);
  EXPECT_EQ(r.reason, 0);
  EXPECT_EQ(r.out, Ascii("AB"));
  EXPECT_TRUE(trace.Has("Byte swap in-coming 4 bytes (from CCSID 1200 to CCSID 850)"));
  r = Convert(850, 546, 1200, 273, Ascii("AB"), 8);
  EXPECT_EQ(r.out, (Vec{0x00, 'A', 0x00, 'B'}));
  EXPECT_TRUE(trace.Has("Byte swap out-going 4 bytes (from CCSID 850 to CCSID 1200)"));
  r = Convert(850, 546, 1200, 546, Ascii("AB"), 8);
  EXPECT_EQ(r.out, (Vec{'A', 0x00, 'B', 0x00}));
}

TEST(ConvertChars, ByteOrderMarkDecidesTheSourceOrder) {
  // The mark contradicts the encoding and wins.
  Result r = Convert(1200, 546, 850, 546, Vec{0xFE, 0xFF, 0x00, 'A'}, 8);
  EXPECT_EQ(r.reason, 0);
  EXPECT_EQ(r.out, Ascii("A"));
  r = Convert(1200, 273, 850, 546, Vec{0xFF, 0xFE, 'A', 0x00}, 8);
  EXPECT_EQ(r.out, Ascii("A"));
  // Equal CCSIDs: the marked order against the target's decides the swap.
  r = Convert(1200, 546, 1200, 546, Vec{0xFE, 0xFF, 0x00, 'A'}, 8);
  EXPECT_EQ(r.out, (Vec{0xFF, 0xFE, 'A', 0x00}));
}

TEST(ConvertChars, OddTwoByteSourceLosesItsLastByteWithAWarning) {
  Result r = Convert(1200, 546, 850, 546, Vec{'A', 0x00, 'B'}, 8);
  EXPECT_EQ(r.reason, KWRC_DBCS_ERROR);
  EXPECT_EQ(r.cc, KWCC_WARNING);
  EXPECT_EQ(r.out, Ascii("A"));
  r = Convert(1200, 273, 1200, 546, Vec{0x00, 'A', 0x00}, 8);
  EXPECT_EQ(r.reason, KWRC_DBCS_ERROR);
  EXPECT_EQ(r.out, (Vec{'A', 0x00}));
}

TEST(ConvertChars, EncodingChecks) {
  struct Case {
    KWLONG from, from_enc, to, to_enc, reason;
  } cases[] = {
      {850, 546, 37, 0, KWRC_TARGET_INTEGER_ENC_ERROR},
      {850, 546, 37, 0x113, KWRC_TARGET_INTEGER_ENC_ERROR},
      {1200, 0, 850, 546, KWRC_SOURCE_INTEGER_ENC_ERROR},
      {1200, 0x10F, 1200, 546, KWRC_SOURCE_INTEGER_ENC_ERROR},
      {850, 0, 37, 273, 0},  // a single-byte source's encoding does not matter
  };
  for (const Case& c : cases) {
    const Result r = Convert(c.from, c.from_enc, c.to, c.to_enc, Vec{'A', 0, 'B', 0}, 8);
    EXPECT_EQ(r.reason, c.reason) << c.from << "/" << c.from_enc << "->" << c.to << "/" << c.to_enc;
    EXPECT_EQ(r.cc, c.reason == 0 ? KWCC_OK : KWCC_FAILED);
  }
}

TEST(ConvertChars, PlatformFailuresMapToReasons) {
  struct Case {
    const char* what;
    KWLONG from, to;
    Vec in;
    KWLONG reason;
  } cases[] = {
      {"source without a table", 425, 850, Ascii("A"), KWRC_NOT_CONVERTED},
      {"target without a table", 850, 425, Ascii("A"), KWRC_TARGET_CCSID_ERROR},
      {"unknown CCSID", 99999, 850, Ascii("A"), KWRC_NOT_CONVERTED},
      {"invalid source", 1208, 850, Vec{'A', 0xFF, 'B'}, KWRC_NOT_CONVERTED},
      {"source ends inside a character", 1208, 850, Vec{'A', 0xE2, 0x82}, KWRC_NOT_CONVERTED},
      {"no mapping in the target", 1208, 819, Vec{0xE2, 0x82, 0xAC}, KWRC_NOT_CONVERTED},
  };
  for (const auto& c : cases) {
    const Result r = Convert(c.from, 546, c.to, 546, c.in, 16);
    EXPECT_EQ(r.reason, c.reason) << c.what;
    EXPECT_EQ(r.cc, KWCC_FAILED) << c.what;
    EXPECT_EQ(r.length, 0) << c.what;
  }
}

TEST(ConvertChars, OutputTooSmallByOption) {
  // A whole message: 2120.
  Result r = Convert(37, 273, 850, 546, Ebc("ABCDEF"), 4);
  EXPECT_EQ(r.reason, KWRC_CONVERTED_MSG_TOO_BIG);
  EXPECT_EQ(r.cc, KWCC_FAILED);
  r = Convert(850, 546, 850, 546, Ascii("ABCDEF"), 4);
  EXPECT_EQ(r.reason, KWRC_CONVERTED_MSG_TOO_BIG);
  // A field: 2190.
  r = Convert(37, 273, 850, 546, Ebc("ABCDEF"), 4, VXT_CHARS_FIELD);
  EXPECT_EQ(r.reason, KWRC_CONVERTED_STRING_TOO_BIG);
  // Truncation accepted: the whole characters that fit.
  r = Convert(37, 273, 850, 546, Ebc("ABCDEF"), 4, VXT_CHARS_ACCEPT_TRUNCATION);
  EXPECT_EQ(r.reason, KWRC_TRUNCATED_MSG_ACCEPTED);
  EXPECT_EQ(r.cc, KWCC_WARNING);
  EXPECT_EQ(r.out, Ascii("ABCD"));
  r = Convert(819, 546, 1208, 546, Vec{0xA2, 0xA2}, 3, VXT_CHARS_ACCEPT_TRUNCATION);
  EXPECT_EQ(r.reason, KWRC_TRUNCATED_MSG_ACCEPTED);
  EXPECT_EQ(r.out, (Vec{0xC2, 0xA2}));
  r = Convert(1208, 546, 1208, 546, Vec{'A', 0xC2, 0xA2}, 2, VXT_CHARS_ACCEPT_TRUNCATION);
  EXPECT_EQ(r.reason, KWRC_TRUNCATED_MSG_ACCEPTED);
  EXPECT_EQ(r.out, Ascii("A"));
}

TEST(ConvertChars, FieldsArePaddedWithTheTargetsBlank) {
  Result r = Convert(37, 273, 850, 546, Ebc("AB"), 5, VXT_CHARS_FIELD);
  EXPECT_EQ(r.reason, 0);
  EXPECT_EQ(r.out, Ascii("AB   "));
  r = Convert(850, 546, 37, 273, Ascii("AB"), 4, VXT_CHARS_FIELD);
  EXPECT_EQ(r.out, (Vec{0xC1, 0xC2, 0x40, 0x40}));
  r = Convert(850, 546, 1200, 273, Ascii("A"), 6, VXT_CHARS_FIELD);
  EXPECT_EQ(r.out, (Vec{0x00, 'A', 0x00, ' ', 0x00, ' '}));
  r = Convert(850, 546, 850, 546, Vec{}, 3, VXT_CHARS_FIELD);
  EXPECT_EQ(r.out, Ascii("   "));
}

TEST(ConvertChars, StorageFailureOfTheSwapBuffer) {
  // Big-endian two-byte data of more than the stack buffer is swapped in a
  // block from the allocator.
  Vec in;
  for (int i = 0; i < 600; ++i) {
    in.push_back(0x00);
    in.push_back('A');
  }
  xcsInjectAllocFailure(1, xcsRC_STORAGE_NOT_AVAILABLE, 0);
  Result r = Convert(1200, 273, 850, 546, in, 1024);
  xcsInjectAllocFailure(0, 0, 0);
  EXPECT_EQ(r.reason, KWRC_STORAGE_NOT_AVAILABLE);
  EXPECT_EQ(r.cc, KWCC_FAILED);
  xcsInjectAllocFailure(1, xcsRC_RESOURCE_PROBLEM, 0);
  r = Convert(1200, 273, 850, 546, in, 1024);
  xcsInjectAllocFailure(0, 0, 0);
  EXPECT_EQ(r.reason, KWRC_RESOURCE_PROBLEM);
  r = Convert(1200, 273, 850, 546, in, 1024);
  EXPECT_EQ(r.reason, 0);
  EXPECT_EQ(r.out, Vec(600, 'A'));
}

TEST(ConvertChars, ArgumentChecks) {
  KWLONG length = -1, cc = -1, rc = -1;
  char out[4];
  EXPECT_EQ(vxtConvertCharsFn(850, 37, nullptr, 1, out, 4, 546, 273, 0, &length, &cc, &rc),
            KWRC_BUFFER_ERROR);
  EXPECT_EQ(vxtConvertCharsFn(850, 37, "A", 1, nullptr, 4, 546, 273, 0, &length, &cc, &rc),
            KWRC_BUFFER_ERROR);
  EXPECT_EQ(vxtConvertCharsFn(850, 37, "A", -1, out, 4, 546, 273, 0, &length, &cc, &rc),
            KWRC_BUFFER_LENGTH_ERROR);
  EXPECT_EQ(cc, KWCC_FAILED);
  EXPECT_EQ(vxtConvertCharsFn(850, 37, nullptr, 0, nullptr, 0, 546, 273, 0, &length, &cc, &rc), 0);
  EXPECT_EQ(length, 0);
}

}  // namespace
