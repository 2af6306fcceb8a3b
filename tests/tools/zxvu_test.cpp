// Runs the zxvu binary and checks what it prints and how it exits: results on
// stdout, "reason <code>" / "rc 0x<hex>" as the last stderr line of a refused
// input (exit 1), and exit 2 for a malformed command line. The rules behind
// the answers are the library's and are tested there; these cases cover the
// tool's own part: arguments, field widths, output forms and exit codes.
#include <string>
#include <vector>

#include "gtest/gtest.h"
#include "zxvu_runner.h"

namespace {

using zxv::test::RunZxvu;
using zxv::test::ZxvuRun;

struct Case {
  std::vector<std::string> args;
  int status;
  std::string out;       // whole stdout
  std::string last_err;  // prefix of stderr's last line ("" when stderr must be empty)
};

std::string Describe(const std::vector<std::string>& args) {
  std::string s = "zxvu";
  for (const auto& a : args) s += " '" + a + "'";
  return s;
}

void CheckCases(const std::vector<Case>& cases) {
  for (const Case& c : cases) {
    SCOPED_TRACE(Describe(c.args));
    const ZxvuRun r = RunZxvu(c.args);
    EXPECT_EQ(r.status, c.status);
    EXPECT_EQ(r.out, c.out);
    if (c.last_err.empty()) {
      EXPECT_EQ(r.err, "");
    } else {
      EXPECT_TRUE(r.err_starts(c.last_err)) << "stderr: " << r.err;
    }
  }
}

const std::string kInvalidName = "rc 0x10805202";
const std::string kTopicError = "reason 2425";

// clang-format off
TEST(ZxvuNames, CheckEachKindAndOptionForm) {
  CheckCases({
      {{"names", "check", "--kind", "object", "A.B/C%_1"}, 0, "valid\n", ""},
      {{"names", "check", "--kind", "object", "A-B"}, 1, "invalid\n", kInvalidName},
      {{"names", "check", "--kind", "object", "--options", "8", "A-B"}, 0, "valid\n", ""},
      {{"names", "check", "--kind", "object", "--options", "0x8", "--", "-AB"}, 1, "invalid\n", kInvalidName},
      {{"names", "check", "--kind", "object", "--options", "0x2", "AB*"}, 0, "valid asterisk=2\n", ""},
      // Generic names allowed but none given: plain "valid".
      {{"names", "check", "--kind", "object", "--options", "2", "AB"}, 0, "valid\n", ""},
      {{"names", "check", "--kind", "object", ""}, 1, "invalid\n", kInvalidName},
      {{"names", "check", "--kind", "qmgr", "QM.1/A"}, 0, "valid\n", ""},
      {{"names", "check", "--kind", "qmgr", "QM-1"}, 1, "invalid\n", "reason 2058"},
      {{"names", "check", "--kind", "installation", "Installation1"}, 0, "valid\n", ""},
      {{"names", "check", "--kind", "profile", "A.**.B"}, 0, "valid\n", ""},
      {{"names", "check", "--kind", "object", "--options", "0x2", "--json", "AB*"}, 0,
       "{\"asterisk\":2,\"kind\":\"object\",\"name\":\"AB*\",\"options\":2,\"rc\":0,"
       "\"valid\":true,\"width\":48}\n", ""},
      {{"names", "check", "--kind", "qmgr", "--json", "QM-1"}, 1,
       "{\"kind\":\"qmgr\",\"name\":\"QM-1\",\"reason\":2058,\"valid\":false,\"width\":48}\n",
       "reason 2058"},
  });
}
// clang-format on

TEST(ZxvuNames, NameIsCutToTheFieldWidth) {
  // 17 alphanumerics: the 16-byte installation field holds the first 16.
  const ZxvuRun r = RunZxvu({"names", "check", "--kind", "installation", "ABCDEFGHIJKLMNOPQ"});
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, "valid\n");
  EXPECT_NE(r.err.find("first 16 of 17"), std::string::npos) << r.err;
}

TEST(ZxvuNames, MapRcBothDirections) {
  CheckCases({
      {{"names", "map-rc", "--to-8bit", "0x40007072"}, 0, "0x72\n", ""},
      {{"names", "map-rc", "--to-8bit", "28677"}, 0, "0x05\n", ""},  // 0x7005
      {{"names", "map-rc", "--to-8bit", "0x12345678"}, 0, "0x47\n", ""},
      {{"names", "map-rc", "--from-8bit", "0x72"}, 0, "0x40007072\n", ""},
      {{"names", "map-rc", "--from-8bit", "4"}, 0, "0x00008083\n", ""},
  });
}

// clang-format off
TEST(ZxvuTopic, EscapeLiteralizeValidate) {
  CheckCases({
      {{"topic", "escape", "a*b"}, 0, "a%*b\n", ""},
      {{"topic", "escape", ""}, 0, "\n", ""},
      {{"topic", "escape", "--hex", "61 00 3f"}, 0, "6100253f\n", ""},
      {{"topic", "literalize", "a%*b%?"}, 0, "a*b?\n", ""},
      {{"topic", "literalize", "ab%"}, 1, "", kTopicError},
      {{"topic", "validate", "a%*b"}, 0, "valid\n", ""},
      {{"topic", "validate", "--hex", "25 62"}, 1, "invalid\n", kTopicError},
      // 'Sport/%*' in EBCDIC: the escape is found only after conversion.
      {{"topic", "literalize", "--ccsid", "37", "--hex", "e2979699a3616c5c"}, 0, "53706f72742f2a\n", ""},
      {{"topic", "literalize", "--ccsid", "819", "--json", "--hex", "41"}, 0,
       "{\"allocated\":1,\"bufferLength\":10240,\"ccsid\":1208,\"hex\":\"41\",\"length\":1,"
       "\"string\":\"A\"}\n", ""},
  });
}
// clang-format on

TEST(ZxvuUsage, MalformedCommandLinesExitTwo) {
  const std::vector<std::vector<std::string>> bad = {
      {},
      {"frobnicate"},
      {"names", "check", "NAME"},
      {"names", "check", "--kind", "queue", "NAME"},
      {"names", "check", "--kind", "object"},
      {"names", "check", "--kind", "object", "--options", "zz", "NAME"},
      {"names", "check", "--kind", "object", "--options", "0x100000000", "NAME"},
      {"names", "check", "--kind", "qmgr", "--options", "1", "QM1"},
      {"names", "map-rc"},
      {"names", "map-rc", "--to-8bit", "1", "--from-8bit", "2"},
      {"names", "map-rc", "--to-8bit", "0x"},
      {"topic", "escape", "--hex", "abc"},
      {"topic", "literalize", "--ccsid", "0", "abc"},
      {"demo", "extra"},
  };
  for (const auto& args : bad) {
    SCOPED_TRACE(Describe(args));
    const ZxvuRun r = RunZxvu(args);
    EXPECT_EQ(r.status, 2);
    EXPECT_EQ(r.out, "");
    EXPECT_FALSE(r.err.empty());
  }
}

TEST(ZxvuUsage, HelpEverywhere) {
  for (const std::vector<std::string>& args : std::vector<std::vector<std::string>>{
           {"--help"}, {"names", "map-rc", "-h"}, {"topic", "literalize", "--help"}}) {
    SCOPED_TRACE(Describe(args));
    const ZxvuRun r = RunZxvu(args);
    EXPECT_EQ(r.status, 0);
    EXPECT_NE(r.out.find("Usage:"), std::string::npos) << r.out;
  }
}

TEST(ZxvuDemo, RunsEverySectionAndExitsZero) {
  const ZxvuRun r = RunZxvu({"demo"});
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.err, "");
  for (const char* title :
       {"== 1. Blank-padded name fields", "== 2. Judging names", "== 3. Return codes in one byte",
        "== 4. Topic strings", "== 5. A topic string from an EBCDIC application",
        ". A command message from a big-endian EBCDIC sender",
        R"({"type":"string","id":3014,"ccsid":1208,"value":"Grüße aus Köln"})"}) {
    EXPECT_NE(r.out.find(title), std::string::npos) << title;
  }
  EXPECT_EQ(r.out.find("unexpected result"), std::string::npos) << r.out;
}

}  // namespace
