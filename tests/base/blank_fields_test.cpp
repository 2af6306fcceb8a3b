// Conversions between blank-padded fields and C strings, and the blank tests.
#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "zxvxzu/names.h"

namespace {

constexpr char kGuard = '\x5A';

// A field of `width` bytes: `text` then blanks.
std::string Field(std::string_view text, size_t width) {
  std::string f(text.substr(0, width));
  f.resize(width, ' ');
  return f;
}

// An output buffer of width + 1 bytes followed by guard bytes, so writes past
// the documented end are caught.
struct GuardedOut {
  explicit GuardedOut(size_t usable) : bytes(usable + 4, kGuard), usable_(usable) {}
  char* data() { return bytes.data(); }
  bool GuardIntact() const {
    for (size_t i = usable_; i < bytes.size(); ++i) {
      if (bytes[i] != kGuard) return false;
    }
    return true;
  }
  std::vector<char> bytes;
  size_t usable_;
};

struct StrCase {
  std::string field;  // exactly `width` bytes
  std::string expect;
};

TEST(CvtKWName2Str, EndsAtFirstBlankOrNul) {
  const std::vector<StrCase> cases = {
      {Field("QM1", 48), "QM1"},
      {Field(" QM1", 48), ""},
      {Field("AB CD", 48), "AB"},
      {Field(std::string("AB\0CD", 5), 48), "AB"},
      {std::string(48, 'Q'), std::string(48, 'Q')},
  };
  for (const StrCase& c : cases) {
    GuardedOut out(49);
    zutCvtKWName2Str(c.field.data(), out.data(), 48);
    EXPECT_EQ(std::string(out.data()), c.expect) << "field '" << c.field << "'";
    EXPECT_TRUE(out.GuardIntact());
  }
}

TEST(CvtKWUser2Str, DropsOnlyTrailingBlanksAndKeepsByteZero) {
  const std::vector<StrCase> cases = {
      {std::string(12, ' '), " "},
      {Field("ab cd", 12), "ab cd"},
      {std::string("ab\0 \0       ", 12), "ab"},
      {std::string(12, '\0'), ""},
      {"abcdefghijkl", "abcdefghijkl"},
      {Field("a", 12), "a"},
  };
  for (const StrCase& c : cases) {
    GuardedOut out(13);
    zutCvtKWUser2Str(c.field.data(), out.data(), 12);
    // Every byte after the string, up to and including index 12, is NUL.
    std::string want = c.expect;
    want.resize(13, '\0');
    EXPECT_EQ(std::string(out.data(), 13), want) << "field '" << c.field << "'";
    EXPECT_TRUE(out.GuardIntact());
  }
}

TEST(CvtKWNameFromStr, PadsWithBlanksAndCutsAtWidth) {
  struct Case {
    std::string src;
    std::string expect;
  };
  const std::vector<Case> cases = {
      {"Q", Field("Q", 48)},
      {"", std::string(48, ' ')},
      {std::string(60, 'X'), std::string(48, 'X')},
      {std::string(48, 'Y'), std::string(48, 'Y')},
  };
  for (const Case& c : cases) {
    GuardedOut out(48);
    zutCvtKWNameFromStr(c.src.c_str(), out.data(), 48);
    EXPECT_EQ(std::string(out.data(), 48), c.expect);
    EXPECT_TRUE(out.GuardIntact()) << "wrote past the field for '" << c.src << "'";
  }
}

TEST(BlankPad, BlanksFromFirstNulOnly) {
  std::string buf("AB\0x\0z", 6);
  zutBlankPad(buf.data(), 6);
  EXPECT_EQ(buf, "AB    ");

  std::string full = "ABCDEF";
  zutBlankPad(full.data(), 6);
  EXPECT_EQ(full, "ABCDEF");

  // A NUL beyond the width is not looked at.
  std::string beyond("ABC\0", 4);
  zutBlankPad(beyond.data(), 3);
  EXPECT_EQ(beyond, std::string("ABC\0", 4));
}

TEST(GetLengthNoBlanks, CountsToFirstBlankOrNulWithinWidth) {
  EXPECT_EQ(zutGetLengthNoBlanks("ABC DEF", 7), 3);
  EXPECT_EQ(zutGetLengthNoBlanks("ABC\0DEF", 7), 3);
  EXPECT_EQ(zutGetLengthNoBlanks("ABCDEFG", 5), 5);
  EXPECT_EQ(zutGetLengthNoBlanks(" ABC", 4), 0);
  EXPECT_EQ(zutGetLengthNoBlanks("ABC", 0), 0);
  EXPECT_EQ(zutGetLengthNoBlanks("ABC", -3), 0);
}

TEST(IsItBlank, BlankUpToNulOrFortyEightBytes) {
  struct Case {
    std::string name;
    KWLONG expect;
  };
  const std::vector<Case> cases = {
      {std::string(1, '\0'), 1},
      {std::string(48, ' '), 1},
      {std::string("  \0X", 4), 1},
      {" A", 0},
      {std::string(47, ' ') + "A", 0},
      // Only 48 bytes are examined.
      {std::string(48, ' ') + "A", 1},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(zutIsItBlank(c.name.c_str()), c.expect) << "name '" << c.name << "'";
  }
}

TEST(BlankFields, NullArgumentsAndZeroWidthsAreHarmless) {
  char out[4] = "xy";
  zutCvtKWUser2Str("abc", out, 0);  // an empty string, nothing more written
  EXPECT_EQ(out[0], '\0');
  EXPECT_EQ(out[1], 'y');
  zutCvtKWNameFromStr(nullptr, out, 3);
  EXPECT_EQ(std::string(out, 3), "   ");
  zutCvtKWName2Str(nullptr, out, 3);
  EXPECT_EQ(out[0], '\0');
  zutCvtKWUser2Str(nullptr, out, 3);
  EXPECT_EQ(out[0], '\0');
  zutBlankPad(nullptr, 3);
  EXPECT_EQ(zutGetLengthNoBlanks(nullptr, 3), 0);
  EXPECT_EQ(zutIsItBlank(nullptr), 1);
}

}  // namespace
