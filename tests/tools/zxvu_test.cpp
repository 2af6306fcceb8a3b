// Runs the zxvu binary and checks what it prints and how it exits: results on
// stdout, "reason <code>" / "rc 0x<hex>" as the last stderr line of a refused
// input (exit 1), and exit 2 for a malformed command line.
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "gtest/gtest.h"
#include "zxvu_runner.h"

namespace {

using zxv::test::ZxvuRun;

ZxvuRun run_zxvu(const std::vector<std::string>& args) { return zxv::test::RunZxvu(args); }

struct Case {
  std::vector<std::string> args;
  int status;
  std::string out;       // whole stdout
  std::string last_err;  // prefix of stderr's last line ("" when stderr must be empty)
};

std::string describe(const std::vector<std::string>& args) {
  std::string s = "zxvu";
  for (const auto& a : args) s += " '" + a + "'";
  return s;
}

void check_cases(const std::vector<Case>& cases) {
  for (const Case& c : cases) {
    SCOPED_TRACE(describe(c.args));
    const ZxvuRun r = run_zxvu(c.args);
    EXPECT_EQ(r.status, c.status);
    EXPECT_EQ(r.out, c.out);
    if (c.last_err.empty()) {
      EXPECT_EQ(r.err, "");
    } else {
      EXPECT_EQ(r.last_err_line().rfind(c.last_err, 0), 0u) << "stderr: " << r.err;
    }
  }
}

const std::string kInvalidName = "rc 0x10805202";
const std::string kTopicError = "reason 2425";

TEST(ZxvuNamesCheck, ObjectNames) {
  check_cases({
      {{"names", "check", "--kind", "object", "A.B/C%_1"}, 0, "valid\n", ""},
      {{"names", "check", "--kind", "object", "A-B"}, 1, "invalid\n", kInvalidName},
      {{"names", "check", "--kind", "object", "--options", "8", "A-B"}, 0, "valid\n", ""},
      {{"names", "check", "--kind", "object", "--options", "0x8", "--", "-AB"},
       1,
       "invalid\n",
       kInvalidName},
      {{"names", "check", "--kind", "object", "--options", "0x2", "AB*"},
       0,
       "valid asterisk=2\n",
       ""},
      // Generic names allowed but none given: plain "valid".
      {{"names", "check", "--kind", "object", "--options", "2", "AB"}, 0, "valid\n", ""},
      {{"names", "check", "--kind", "object", "AB*"}, 1, "invalid\n", kInvalidName},
      {{"names", "check", "--kind", "object", "--options", "0x2", "A*B"},
       1,
       "invalid\n",
       kInvalidName},
      {{"names", "check", "--kind", "object", ""}, 1, "invalid\n", kInvalidName},
      {{"names", "check", "--kind", "object", "--options", "1", ""}, 0, "valid\n", ""},
      {{"names", "check", "--kind", "object", "--options", "4", "A.B"},
       1,
       "invalid\n",
       kInvalidName},
  });
}

TEST(ZxvuNamesCheck, OtherKinds) {
  check_cases({
      {{"names", "check", "--kind", "qmgr", "QM.1/A"}, 0, "valid\n", ""},
      {{"names", "check", "--kind", "qmgr", ""}, 0, "valid\n", ""},
      {{"names", "check", "--kind", "qmgr", "QM-1"}, 1, "invalid\n", "reason 2058"},
      {{"names", "check", "--kind", "qmgr", "QM*"}, 1, "invalid\n", "reason 2058"},
      {{"names", "check", "--kind", "installation", "Installation1"}, 0, "valid\n", ""},
      {{"names", "check", "--kind", "installation", "Inst_1"}, 1, "invalid\n", kInvalidName},
      {{"names", "check", "--kind", "profile", "A.**.B"}, 0, "valid\n", ""},
      {{"names", "check", "--kind", "profile", "A**"}, 1, "invalid\n", kInvalidName},
  });
}

TEST(ZxvuNamesCheck, NameIsCutToTheFieldWidth) {
  // 17 alphanumerics: the 16-byte installation field holds the first 16.
  const ZxvuRun r = run_zxvu({"names", "check", "--kind", "installation", "ABCDEFGHIJKLMNOPQ"});
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, "valid\n");
  EXPECT_NE(r.err.find("first 16 of 17"), std::string::npos) << r.err;
}

TEST(ZxvuNamesCheck, Json) {
  check_cases({
      {{"names", "check", "--kind", "object", "--options", "0x2", "--json", "AB*"},
       0,
       "{\"asterisk\":2,\"kind\":\"object\",\"name\":\"AB*\",\"options\":2,\"rc\":0,"
       "\"valid\":true,\"width\":48}\n",
       ""},
      {{"names", "check", "--kind", "qmgr", "--json", "QM-1"},
       1,
       "{\"kind\":\"qmgr\",\"name\":\"QM-1\",\"reason\":2058,\"valid\":false,\"width\":48}\n",
       "reason 2058"},
  });
}

TEST(ZxvuNamesMapRc, BothDirections) {
  check_cases({
      {{"names", "map-rc", "--to-8bit", "0x40007072"}, 0, "0x72\n", ""},
      {{"names", "map-rc", "--to-8bit", "0x20803200"}, 0, "0x17\n", ""},
      {{"names", "map-rc", "--to-8bit", "28677"}, 0, "0x05\n", ""},  // 0x7005
      {{"names", "map-rc", "--to-8bit", "0x12345678"}, 0, "0x47\n", ""},
      {{"names", "map-rc", "--from-8bit", "0x72"}, 0, "0x40007072\n", ""},
      {{"names", "map-rc", "--from-8bit", "4"}, 0, "0x00008083\n", ""},
      {{"names", "map-rc", "--from-8bit", "0"}, 0, "0x00000000\n", ""},
  });
}

TEST(ZxvuTopic, EscapeLiteralizeValidate) {
  check_cases({
      {{"topic", "escape", "a*b"}, 0, "a%*b\n", ""},
      {{"topic", "escape", "abc"}, 0, "abc\n", ""},
      {{"topic", "escape", "%%"}, 0, "%%%%\n", ""},
      {{"topic", "escape", ""}, 0, "\n", ""},
      {{"topic", "escape", "--hex", "61 00 3f"}, 0, "6100253f\n", ""},
      {{"topic", "escape", "--hex", "613f"}, 0, "61253f\n", ""},
      {{"topic", "literalize", "%%%%"}, 0, "%%\n", ""},
      {{"topic", "literalize", "a%*b%?"}, 0, "a*b?\n", ""},
      {{"topic", "literalize", "ab%"}, 1, "", kTopicError},
      {{"topic", "literalize", "a%b"}, 1, "", kTopicError},
      {{"topic", "validate", "a%*b"}, 0, "valid\n", ""},
      {{"topic", "validate", "a*b?"}, 0, "valid\n", ""},
      {{"topic", "validate", "a%"}, 1, "invalid\n", kTopicError},
      {{"topic", "validate", "--hex", "25 62"}, 1, "invalid\n", kTopicError},
  });
}

TEST(ZxvuTopic, LiteralizeConvertsOtherCcsids) {
  check_cases({
      // 'Sport/%*' in EBCDIC: the escape is found only after conversion.
      {{"topic", "literalize", "--ccsid", "37", "--hex", "e2979699a3616c5c"},
       0,
       "53706f72742f2a\n",
       ""},
      {{"topic", "literalize", "--ccsid", "819", "--hex", "e9"}, 0, "c3a9\n", ""},
      {{"topic", "literalize", "--ccsid", "819", "--json", "--hex", "41"},
       0,
       "{\"allocated\":1,\"bufferLength\":10240,\"ccsid\":1208,\"hex\":\"41\",\"length\":1,"
       "\"string\":\"A\"}\n",
       ""},
      // Bytes that are not UTF-8 cannot be converted.
      {{"topic", "literalize", "--ccsid", "1200", "--hex", "00"}, 1, "", kTopicError},
  });
}

TEST(ZxvuUsage, MalformedCommandLinesExitTwo) {
  const std::vector<std::vector<std::string>> bad = {
      {},
      {"frobnicate"},
      {"names"},
      {"names", "check", "NAME"},
      {"names", "check", "--kind", "queue", "NAME"},
      {"names", "check", "--kind", "object"},
      {"names", "check", "--kind", "object", "--options", "zz", "NAME"},
      {"names", "check", "--kind", "object", "--options", "-1", "NAME"},
      {"names", "check", "--kind", "object", "--options", "0x100000000", "NAME"},
      {"names", "check", "--kind", "qmgr", "--options", "1", "QM1"},
      {"names", "map-rc"},
      {"names", "map-rc", "--to-8bit", "1", "--from-8bit", "2"},
      {"names", "map-rc", "--to-8bit", "0x"},
      {"topic"},
      {"topic", "escape"},
      {"topic", "escape", "--hex", "abc"},
      {"topic", "validate", "--hex", "zz"},
      {"topic", "literalize", "--ccsid", "0", "abc"},
      {"topic", "literalize", "--ccsid", "x", "abc"},
      {"demo", "extra"},
  };
  for (const auto& args : bad) {
    SCOPED_TRACE(describe(args));
    const ZxvuRun r = run_zxvu(args);
    EXPECT_EQ(r.status, 2);
    EXPECT_EQ(r.out, "");
    EXPECT_FALSE(r.err.empty());
  }
}

TEST(ZxvuUsage, HelpEverywhere) {
  const std::vector<std::vector<std::string>> helps = {
      {"--help"},
      {"names", "--help"},
      {"names", "check", "--help"},
      {"names", "map-rc", "-h"},
      {"topic", "--help"},
      {"topic", "escape", "--help"},
      {"topic", "literalize", "--help"},
      {"topic", "validate", "--help"},
      {"demo", "--help"},
  };
  for (const auto& args : helps) {
    SCOPED_TRACE(describe(args));
    const ZxvuRun r = run_zxvu(args);
    EXPECT_EQ(r.status, 0);
    EXPECT_NE(r.out.find("Usage:"), std::string::npos) << r.out;
  }
}

TEST(ZxvuDemo, RunsEverySectionAndExitsZero) {
  const ZxvuRun r = run_zxvu({"demo"});
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.err, "");
  for (const char* title :
       {"== 1. Blank-padded name fields", "== 2. Judging names", "== 3. Return codes in one byte",
        "== 4. Topic strings", "== 5. A topic string from an EBCDIC application"}) {
    EXPECT_NE(r.out.find(title), std::string::npos) << title;
  }
  EXPECT_EQ(r.out.find("unexpected result"), std::string::npos) << r.out;
}

}  // namespace
