// vxtConvertCharsFn: conversions, two-byte sets (byte orders, marks, odd
// lengths), equal-CCSID copies and swaps, output too small by option, field
// padding, and the mapping of the platform's failure codes.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "dataconv_test_util.h"
#include "zxvxcs2/xcs_base.h"
#include "zxvxcs2/xcs_memory.h"
#include "zxvxzu/dataconv.h"

namespace {

using dctest::Ascii;
using dctest::Ebc;
using dctest::Utf16;
using dctest::Vec;

constexpr KWLONG kMsg = VXT_CHARS_MESSAGE;
constexpr KWLONG kField = VXT_CHARS_FIELD;
constexpr KWLONG kTrunc = VXT_CHARS_ACCEPT_TRUNCATION;

struct Result {
  KWLONG reason = -1;
  KWLONG cc = -1;
  KWLONG length = -1;
  Vec out;
};

Result Convert(KWLONG from, KWLONG from_enc, KWLONG to, KWLONG to_enc, const Vec& in, size_t room,
               KWLONG options = kMsg) {
  Result r;
  r.out.assign(room, 0xEE);
  r.reason = vxtConvertCharsFn(from, to, in.data(), static_cast<KWLONG>(in.size()), r.out.data(),
                               static_cast<KWLONG>(room), from_enc, to_enc, options, &r.length,
                               &r.cc, &r.reason);
  if (r.length >= 0 && static_cast<size_t>(r.length) <= room) r.out.resize(r.length);
  return r;
}

struct Case {
  const char* what;
  KWLONG from, from_enc, to, to_enc;
  Vec in;
  size_t room;
  KWLONG options;
  KWLONG reason;
  Vec out;  // checked when the call succeeds or warns
};

// clang-format off
TEST(ConvertChars, Table) {
  const Case cases[] = {
      {"EBCDIC to ASCII", 37, 273, 850, 546, Ebc("HELLO, World 42"), 64, kMsg, 0, Ascii("HELLO, World 42")},
      {"ASCII to EBCDIC", 850, 546, 37, 273, Ascii("a.b_c=1"), 64, kMsg, 0, Ebc("a.b_c=1")},
      {"cent sign grows in UTF-8", 37, 273, 1208, 546, {0x4A, 0xC1}, 8, kMsg, 0, {0xC2, 0xA2, 'A'}},
      {"equal CCSIDs copy", 850, 546, 850, 273, Ascii("ABCDE"), 8, kMsg, 0, Ascii("ABCDE")},
      {"equal two-byte CCSIDs swap", 1200, 273, 1200, 546, Utf16("AB", true), 8, kMsg, 0, Utf16("AB", false)},
      {"integer part of 785 is 1", 13488, 546, 13488, 785, Utf16("A", false), 8, kMsg, 0, Utf16("A", true)},
      {"equal orders copy", 1200, 546, 1200, 546, Utf16("A", false), 8, kMsg, 0, Utf16("A", false)},
      {"big-endian source", 1200, 273, 850, 546, Utf16("AB", true), 8, kMsg, 0, Ascii("AB")},
      {"big-endian target", 850, 546, 1200, 273, Ascii("AB"), 8, kMsg, 0, Utf16("AB", true)},
      {"little-endian target", 850, 546, 1200, 546, Ascii("AB"), 8, kMsg, 0, Utf16("AB", false)},
      // A byte-order mark contradicts the encoding and wins.
      {"big-endian mark", 1200, 546, 850, 546, {0xFE, 0xFF, 0x00, 'A'}, 8, kMsg, 0, Ascii("A")},
      {"little-endian mark", 1200, 273, 850, 546, {0xFF, 0xFE, 'A', 0x00}, 8, kMsg, 0, Ascii("A")},
      {"mark decides an equal-CCSID swap", 1200, 546, 1200, 546, {0xFE, 0xFF, 0x00, 'A'}, 8, kMsg, 0, {0xFF, 0xFE, 'A', 0x00}},
      {"odd two-byte source", 1200, 546, 850, 546, {'A', 0x00, 'B'}, 8, kMsg, KWRC_DBCS_ERROR, Ascii("A")},
      {"odd two-byte swap", 1200, 273, 1200, 546, {0x00, 'A', 0x00}, 8, kMsg, KWRC_DBCS_ERROR, Utf16("A", false)},
      {"message too big", 37, 273, 850, 546, Ebc("ABCDEF"), 4, kMsg, KWRC_CONVERTED_MSG_TOO_BIG, {}},
      {"copy too big", 850, 546, 850, 546, Ascii("ABCDEF"), 4, kMsg, KWRC_CONVERTED_MSG_TOO_BIG, {}},
      {"field too big", 37, 273, 850, 546, Ebc("ABCDEF"), 4, kField, KWRC_CONVERTED_STRING_TOO_BIG, {}},
      {"truncation accepted", 37, 273, 850, 546, Ebc("ABCDEF"), 4, kTrunc, KWRC_TRUNCATED_MSG_ACCEPTED, Ascii("ABCD")},
      {"truncation keeps whole characters", 819, 546, 1208, 546, {0xA2, 0xA2}, 3, kTrunc, KWRC_TRUNCATED_MSG_ACCEPTED, {0xC2, 0xA2}},
      {"truncated copy keeps whole characters", 1208, 546, 1208, 546, {'A', 0xC2, 0xA2}, 2, kTrunc, KWRC_TRUNCATED_MSG_ACCEPTED, Ascii("A")},
      {"field padded with ASCII blanks", 37, 273, 850, 546, Ebc("AB"), 5, kField, 0, Ascii("AB   ")},
      {"field padded with EBCDIC blanks", 850, 546, 37, 273, Ascii("AB"), 4, kField, 0, {0xC1, 0xC2, 0x40, 0x40}},
      {"field padded with UTF-16 blanks", 850, 546, 1200, 273, Ascii("A"), 6, kField, 0, Utf16("A  ", true)},
      {"empty field all blanks", 850, 546, 850, 546, {}, 3, kField, 0, Ascii("   ")},
      {"target encoding 0", 850, 546, 37, 0, Ascii("AB"), 8, kMsg, KWRC_TARGET_INTEGER_ENC_ERROR, {}},
      {"two-byte source encoding 0", 1200, 0, 850, 546, Utf16("A", false), 8, kMsg, KWRC_SOURCE_INTEGER_ENC_ERROR, {}},
      {"single-byte source encoding ignored", 850, 0, 37, 273, Ascii("AB"), 8, kMsg, 0, Ebc("AB")},
      {"source without a table", 425, 546, 850, 546, Ascii("A"), 16, kMsg, KWRC_NOT_CONVERTED, {}},
      {"target without a table", 850, 546, 425, 546, Ascii("A"), 16, kMsg, KWRC_TARGET_CCSID_ERROR, {}},
      {"invalid source", 1208, 546, 850, 546, {'A', 0xFF, 'B'}, 16, kMsg, KWRC_NOT_CONVERTED, {}},
      {"source ends inside a character", 1208, 546, 850, 546, {'A', 0xE2, 0x82}, 16, kMsg, KWRC_NOT_CONVERTED, {}},
      {"no mapping in the target", 1208, 546, 819, 546, {0xE2, 0x82, 0xAC}, 16, kMsg, KWRC_NOT_CONVERTED, {}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    const Result r = Convert(c.from, c.from_enc, c.to, c.to_enc, c.in, c.room, c.options);
    EXPECT_EQ(r.reason, c.reason);
    const bool warning = c.reason == KWRC_DBCS_ERROR || c.reason == KWRC_TRUNCATED_MSG_ACCEPTED;
    EXPECT_EQ(r.cc, c.reason == 0 ? KWCC_OK : warning ? KWCC_WARNING : KWCC_FAILED);
    if (c.reason == 0 || warning) {
      EXPECT_EQ(r.out, c.out);
    }
    if (c.reason == KWRC_NOT_CONVERTED) {
      EXPECT_EQ(r.length, 0);
    }
  }
}
// clang-format on

TEST(ConvertChars, CopiesAndSwapsAreTraced) {
  dctest::TraceLines trace;
  Convert(850, 546, 850, 273, Ascii("ABCDE"), 8);
  Convert(1200, 273, 1200, 546, Utf16("AB", true), 8);
  Convert(1200, 273, 850, 546, Utf16("AB", true), 8);
  Convert(850, 546, 1200, 273, Ascii("AB"), 8);
  EXPECT_TRUE(trace.Contains("Copy 5 bytes without conversion (from CCSID 850 to CCSID 850)"));
  EXPECT_TRUE(trace.Contains("Byte swap 4 bytes (from CCSID 1200 to CCSID 1200)"));
  EXPECT_TRUE(trace.Contains("Byte swap in-coming 4 bytes (from CCSID 1200 to CCSID 850)"));
  EXPECT_TRUE(trace.Contains("Byte swap out-going 4 bytes (from CCSID 850 to CCSID 1200)"));
}

TEST(ConvertChars, StorageFailureOfTheSwapBuffer) {
  // Big-endian two-byte data of more than the stack buffer is swapped in a
  // block from the allocator.
  const Vec in = Utf16(std::string(600, 'A'), true);
  for (xcsRC code : {xcsRC_STORAGE_NOT_AVAILABLE, xcsRC_RESOURCE_PROBLEM}) {
    xcsInjectAllocFailure(1, code, 0);
    const Result r = Convert(1200, 273, 850, 546, in, 1024);
    xcsInjectAllocFailure(0, 0, 0);
    EXPECT_EQ(r.reason,
              code == xcsRC_RESOURCE_PROBLEM ? KWRC_RESOURCE_PROBLEM : KWRC_STORAGE_NOT_AVAILABLE);
    EXPECT_EQ(r.cc, KWCC_FAILED);
  }
  const Result r = Convert(1200, 273, 850, 546, in, 1024);
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
