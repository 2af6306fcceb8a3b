// Character integers: fixed fields, fields of another width, variable ones.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "dataconv_test_util.h"
#include "zxvxzu/dataconv.h"

namespace {

using dctest::Ascii;
using dctest::Ebc;
using dctest::Utf16;
using dctest::Vec;

TEST(CharInteger, FixedFieldBetweenFamilies) {
  struct Case {
    KWLONG from, from_enc, to, to_enc;
    Vec in, expected;
  } cases[] = {
      {37, 273, 850, 546, Ebc(" -0042"), Ascii(" -0042")},
      {850, 546, 500, 273, Ascii("+17  "), Ebc("+17  ")},
      {1208, 546, 1200, 273, Ascii("12"), Utf16("12", true)},
      {1200, 546, 37, 273, Utf16("9 ", false), Ebc("9 ")},
      {13488, 273, 13488, 546, Utf16("-5", true), Utf16("-5", false)},
  };
  for (const Case& c : cases) {
    Vec out(c.expected.size(), 0xEE);
    KWLONG cc = -1, rc = -1;
    const KWLONG chars =
        static_cast<KWLONG>(c.expected.size() / (c.to >= 1200 && c.to != 1208 ? 2 : 1));
    EXPECT_EQ(vxtConvertCharInt(c.from, c.from_enc, c.to, c.to_enc, c.in.data(), out.data(), chars,
                                &cc, &rc),
              0)
        << c.from << "->" << c.to;
    EXPECT_EQ(out, c.expected) << c.from << "->" << c.to;
  }
}

TEST(CharInteger, RefusesWhatIsNotANumberAndWritesNothing) {
  Vec out(3, 0xEE);
  KWLONG cc = -1, rc = -1;
  EXPECT_EQ(vxtConvertCharInt(850, 546, 37, 273, "1A3", out.data(), 3, &cc, &rc),
            KWRC_NOT_CONVERTED);
  EXPECT_EQ(cc, KWCC_FAILED);
  EXPECT_EQ(out, Vec(3, 0xEE));
  // A CCSID without a family, and a two-byte set with no valid encoding.
  EXPECT_EQ(vxtConvertCharInt(99999, 546, 37, 273, "123", out.data(), 3, &cc, &rc),
            KWRC_NOT_CONVERTED);
  EXPECT_EQ(vxtConvertCharInt(850, 546, 1200, 0, "123", out.data(), 1, &cc, &rc),
            KWRC_TARGET_INTEGER_ENC_ERROR);
  EXPECT_EQ(vxtConvertCharInt(1200, 0, 850, 546, "1\0", out.data(), 1, &cc, &rc),
            KWRC_SOURCE_INTEGER_ENC_ERROR);
  EXPECT_EQ(vxtConvertCharInt(850, 546, 37, 273, nullptr, out.data(), 3, &cc, &rc),
            KWRC_BUFFER_ERROR);
  EXPECT_EQ(vxtConvertCharInt(850, 546, 37, 273, "1", out.data(), -1, &cc, &rc),
            KWRC_BUFFER_LENGTH_ERROR);
}

TEST(CharInteger, OtherOutputLengthRightAligns) {
  struct Case {
    std::string in;
    size_t out_chars;
    KWLONG reason;
    std::string expected;
  } cases[] = {
      {"  42 ", 6, 0, "    42"},
      {"-007", 4, 0, "-007"},
      {"+1", 3, 0, " +1"},
      {"   ", 2, 0, "  "},
      {"12345", 4, KWRC_CONVERTED_STRING_TOO_BIG, ""},
      {"1 2", 4, KWRC_NOT_CONVERTED, ""},
      {"4-", 4, KWRC_NOT_CONVERTED, ""},
  };
  for (const Case& c : cases) {
    Vec out(c.out_chars, 0xEE);
    KWLONG cc = -1, rc = -1;
    const Vec in = Ascii(c.in);
    EXPECT_EQ(vxtConvertCharIntOL(850, 546, 37, 273, in.data(), static_cast<KWLONG>(in.size()),
                                  out.data(), static_cast<KWLONG>(out.size()), &cc, &rc),
              c.reason)
        << "'" << c.in << "'";
    const Vec expected = c.reason == 0 ? Ebc(c.expected) : Vec(c.out_chars, 0xEE);
    EXPECT_EQ(out, expected) << "'" << c.in << "'";
  }
}

TEST(CharInteger, VariableLengthStopsAtTheFirstNonDigit) {
  Vec out(8, 0xEE);
  KWLONG consumed = -1, written = -1, cc = -1, rc = -1;
  const Vec in = Ebc("-123ABC");
  EXPECT_EQ(vxtConvertVarCharInt(37, 273, 1200, 546, in.data(), static_cast<KWLONG>(in.size()),
                                 out.data(), 8, &consumed, &written, &cc, &rc),
            0);
  EXPECT_EQ(consumed, 4);
  EXPECT_EQ(written, 8);
  EXPECT_EQ(out, Utf16("-123", false));
  // No digit at all, and no room.
  EXPECT_EQ(vxtConvertVarCharInt(37, 273, 850, 546, in.data() + 4, 3, out.data(), 8, &consumed,
                                 &written, &cc, &rc),
            KWRC_NOT_CONVERTED);
  EXPECT_EQ(vxtConvertVarCharInt(37, 273, 850, 546, in.data(), 4, out.data(), 3, &consumed,
                                 &written, &cc, &rc),
            KWRC_CONVERTED_STRING_TOO_BIG);
}

}  // namespace
