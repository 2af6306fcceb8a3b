// Validity rules for object, queue-manager and installation names and for
// generic profiles.
#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "zxvxzu/names.h"

namespace {

constexpr KWLONG kUnset = -99;

std::string Field(std::string_view text, size_t width) {
  std::string f(text.substr(0, width));
  f.resize(width, ' ');
  return f;
}

std::string Name48(std::string_view text) { return Field(text, 48); }

// `text` with byte `at` replaced by `c`, then padded to 48.
std::string WithByte(std::string_view text, size_t at, char c) {
  std::string f = Name48(text);
  f[at] = c;
  return f;
}

struct NameCase {
  std::string name;
  KWLONG options;
  bool valid;
  KWLONG asterisk;  // expected *asteriskPos, kUnset when it must stay untouched
};

TEST(CheckValidName, OptionsAndCharacterRules) {
  const std::vector<NameCase> cases = {
      {Name48("A.B/C%_1"), 0, true, kUnset},
      {Name48("A.B"), ZUT_NAME_NO_DOT_SLASH, false, kUnset},
      {Name48("A/B"), ZUT_NAME_NO_DOT_SLASH, false, kUnset},
      {Name48("A-B"), 0, false, kUnset},
      {Name48("A-B"), ZUT_NAME_ALLOW_HYPHEN, true, kUnset},
      {Name48("-AB"), ZUT_NAME_ALLOW_HYPHEN, false, kUnset},
      {Name48("AB*"), 0, false, kUnset},
      {Name48("AB*"), ZUT_NAME_ALLOW_GENERIC, true, 2},
      {Name48("*"), ZUT_NAME_ALLOW_GENERIC, true, 0},
      {Name48("AB"), ZUT_NAME_ALLOW_GENERIC, true, -1},
      {Name48("A*B"), ZUT_NAME_ALLOW_GENERIC, false, kUnset},
      {std::string(47, 'A') + "*", ZUT_NAME_ALLOW_GENERIC, true, 47},
      {Name48(""), 0, false, kUnset},
      {Name48(""), ZUT_NAME_ALLOW_BLANK, true, kUnset},
      {Name48(""), ZUT_NAME_ALLOW_BLANK | ZUT_NAME_ALLOW_GENERIC, true, -1},
      {Name48("A B"), ZUT_NAME_ALLOW_BLANK, false, kUnset},
      {std::string(48, 'Z'), 0, true, kUnset},
      {Name48("A+B"), 0xF, false, kUnset},
      {Name48("A\xC1"), 0xF, false, kUnset},
      // A NUL is invalid wherever it stands, the padding included.
      {WithByte("AB", 0, '\0'), ZUT_NAME_ALLOW_BLANK, false, kUnset},
      {WithByte("AB", 47, '\0'), 0, false, kUnset},
      {WithByte("AB*", 47, '\0'), ZUT_NAME_ALLOW_GENERIC, false, kUnset},
  };
  for (const NameCase& c : cases) {
    KWLONG pos = kUnset;
    const ZXVRC rc = zutCheckValidName(c.name.data(), c.options, &pos);
    EXPECT_EQ(rc, c.valid ? ZXVRC_OK : ZXVRC_INVALID_NAME)
        << "name '" << c.name << "' options " << c.options;
    EXPECT_EQ(pos, c.asterisk) << "name '" << c.name << "' options " << c.options;
  }
  EXPECT_EQ(zutCheckValidName(Name48("AB*").data(), ZUT_NAME_ALLOW_GENERIC, nullptr), ZXVRC_OK);
  EXPECT_EQ(zutCheckValidName(nullptr, 0xF, nullptr), ZXVRC_INVALID_NAME);
}

TEST(CheckQMName, AcceptsBlankAndDotsRefusesHyphenAndAsterisk) {
  struct Case {
    std::string name;
    bool valid;
  };
  const std::vector<Case> cases = {
      {Name48(""), true},
      {Name48("QM.1/A_%"), true},
      {Name48("QM-1"), false},
      {Name48("QM*"), false},
  };
  for (const Case& c : cases) {
    KWLONG cc = kUnset, reason = kUnset;
    const KWLONG ret = zutCheckQMName(c.name.data(), &cc, &reason);
    EXPECT_EQ(ret, cc);
    EXPECT_EQ(cc, c.valid ? KWCC_OK : KWCC_FAILED) << "name '" << c.name << "'";
    EXPECT_EQ(reason, c.valid ? KWRC_NONE : KWRC_Q_MGR_NAME_ERROR) << "name '" << c.name << "'";
  }
}

TEST(CheckValidInstallationName, AlphanumericsEndedByNulOrBlanks) {
  struct Case {
    std::string name;  // 16 bytes
    bool valid;
  };
  const std::vector<Case> cases = {
      {std::string("Installation1\0\0\0", 16), true},
      {std::string("Installation1\0XY", 16), true},  // nothing after the NUL is read
      {"Installation1234", true},
      {Field("Inst1", 16), true},
      {Field("Inst_1", 16), false},
      {Field("Inst 1", 16), false},
      {std::string("Inst \0          ", 16), false},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(zutCheckValidInstallationName(c.name.data()), c.valid ? ZXVRC_OK : ZXVRC_INVALID_NAME)
        << "name '" << c.name << "'";
  }
}

TEST(CheckValidProfile, DoubleAsteriskRules) {
  struct Case {
    std::string profile;
    bool valid;
  };
  const std::vector<Case> cases = {
      {Name48("**"), true},
      {Name48("A.**"), true},
      {Name48("A.**.B"), true},
      {Name48("**.B"), true},
      {Name48("A.*.B?"), true},
      {std::string(45, 'A') + ".**", true},  // ends the field
      {Name48("A**"), false},
      {Name48("A.**B"), false},
      {Name48("A.**.**"), false},
      {Name48("***"), false},
      {Name48(""), false},
      {Name48("A B"), false},
      {Name48("A-B"), false},
      {WithByte("A.B", 20, '\0'), false},
      {std::string(48, 'P'), true},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(zutCheckValidProfile(c.profile.data()), c.valid ? ZXVRC_OK : ZXVRC_INVALID_NAME)
        << "profile '" << c.profile << "'";
  }
}

TEST(NameChecks, EveryByteValueJudgedAsTheTablesSay) {
  // One character at position 0 of an otherwise blank field: with options 0
  // only the 64 name characters and '.' and '/' pass; profiles take 68.
  int names = 0, profiles = 0;
  for (int b = 0; b < 256; ++b) {
    std::string name = Name48("");
    name[0] = static_cast<char>(b);
    names += zutCheckValidName(name.data(), 0, nullptr) == ZXVRC_OK;
    profiles += zutCheckValidProfile(name.data()) == ZXVRC_OK;
  }
  EXPECT_EQ(names, 64 + 2);
  EXPECT_EQ(profiles, 68);
}

}  // namespace
