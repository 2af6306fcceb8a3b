// `zxvu pcf dump` run as a child process: the JSON it prints for messages
// built here byte by byte, "reason <code>" as the last stderr line of a
// malformed message (exit 1), and exit 2 for a malformed command line.
#include <string>
#include <vector>

#include "dataconv/pcf_message_builder.h"
#include "gtest/gtest.h"
#include "zxvu_runner.h"

namespace {

using zxv::test::RunZxvu;
using zxv::test::ZxvuRun;
using zxv::testing::kBigEndian;
using zxv::testing::kLittleEndian;
using zxv::testing::PcfMessage;

using PcfDumpTest = zxv::test::ZxvuFileTest;

TEST_F(PcfDumpTest, EveryTypeFromABigEndianEbcdicMessage) {
  // EBCDIC (CCSID 37): "AB" C1 C2, '"' 7F, '\' E0, blank 40, "*" 5C.
  PcfMessage m(kBigEndian);
  m.Header(42)
      .Integer(1001, -7)
      .String(1002, 0, "\xC1\xC2\x7F\xE0", '\x40')
      .IntegerList(1003, {1, -2, 2147483647})
      .StringList(1004, 37, 2, {"\xC1\xC2", "\xC3\x40"})
      .Bytes(1005, std::string("\x00\x01\xAB", 3))
      .IntegerFilter(1006, 4, 100)
      .StringFilter(1007, 18, 37, "\xC1\x5C")
      .BytesFilter(1008, 2, "\xFF")
      .Group(1009, 2)
      .Integer64(1010, -5000000000LL)
      .Group(1011, 1)
      .Integer64List(1012, {1, -1})
      .String(1013, 1208, "\xC3\xA4\x01");
  const ZxvuRun r = RunZxvu({"pcf", "dump", "--encoding", "273", "--ccsid", "37", File(m.bytes())});
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out,
            R"({"header":{"type":1,"length":36,"version":3,"command":42,"msgseq":1,"control":1,)"
            R"("compcode":0,"reason":0,"count":10},"parameters":[)"
            R"({"type":"integer","id":1001,"value":-7},)"
            R"({"type":"string","id":1002,"ccsid":37,"value":"AB\"\\"},)"
            R"({"type":"integer-list","id":1003,"values":[1,-2,2147483647]},)"
            R"({"type":"string-list","id":1004,"ccsid":37,"values":["AB","C "]},)"
            R"({"type":"bytes","id":1005,"value":"0001ab"},)"
            R"({"type":"integer-filter","id":1006,"operator":4,"value":100},)"
            R"({"type":"string-filter","id":1007,"operator":18,"ccsid":37,"value":"A*"},)"
            R"({"type":"bytes-filter","id":1008,"operator":2,"value":"ff"},)"
            R"({"type":"group","id":1009,"parameters":[)"
            R"({"type":"integer64","id":1010,"value":-5000000000},)"
            R"({"type":"group","id":1011,"parameters":[)"
            R"({"type":"integer64-list","id":1012,"values":[1,-1]}]}]},)"
            R"({"type":"string","id":1013,"ccsid":1208,"value":"ä\u0001"}]})"
            "\n");
}

TEST_F(PcfDumpTest, DefaultsAreTheLocalEncodingAndUtf8) {
  PcfMessage m(kLittleEndian);
  m.Header(3, 2).String(7, 0, "h\xC3\xA9");
  const ZxvuRun r = RunZxvu({"pcf", "dump", File(m.bytes())});
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out,
            R"({"header":{"type":2,"length":36,"version":3,"command":3,"msgseq":1,"control":1,)"
            R"("compcode":0,"reason":0,"count":1},"parameters":[)"
            R"({"type":"string","id":7,"ccsid":1208,"value":"hé"}]})"
            "\n");
}

TEST_F(PcfDumpTest, GroupsNestTenThousandDeep) {
  constexpr int kDepth = 10000;
  PcfMessage m(kLittleEndian);
  m.Header(1);
  for (int level = 0; level < kDepth; ++level) m.Group(level, 1);
  m.Integer(kDepth, 5);
  const ZxvuRun r = RunZxvu({"pcf", "dump", File(m.bytes())});
  ASSERT_EQ(r.status, 0) << r.err;
  const std::string innermost = R"({"type":"integer","id":10000,"value":5})";
  const size_t at = r.out.find(innermost);
  ASSERT_NE(at, std::string::npos);
  std::string closing;
  for (int level = 0; level <= kDepth; ++level) closing += "]}";
  EXPECT_EQ(r.out.substr(at + innermost.size()), closing + "\n");
}

TEST_F(PcfDumpTest, MalformedMessagesAreRefusedWith2119) {
  PcfMessage good(kLittleEndian);
  good.Header(1).Integer(1, 1).String(2, 1208, "abc");
  const std::string& g = good.bytes();
  PcfMessage unknown(kLittleEndian);
  unknown.Header(1, 1, 1).Raw32(99).Raw32(16).Raw32(1).Raw32(1);
  PcfMessage long_header(kLittleEndian);
  long_header.Header(1, 1, 0).Raw32(0).Patch32(4, 40);
  PcfMessage bad_string(kLittleEndian);
  bad_string.Header(1).String(2, 1208, "\xC3");
  PcfMessage too_many(kLittleEndian);
  too_many.Header(1, 1, 2).Integer(1, 1);
  PcfMessage empty_strings(kLittleEndian);
  empty_strings.Header(1).StringList(9, 1208, 0, {}).Patch32(36 + 16, 0x7FFFFFFF);
  struct Case {
    const char* what;
    std::string bytes;
  } const cases[] = {
      {"shorter than a header", g.substr(0, 35)},
      {"header length 40", long_header.bytes()},
      {"a parameter one byte past the end", g.substr(0, g.size() - 1)},
      {"more parameters counted than present", too_many.bytes()},
      {"an unknown type", unknown.bytes()},
      {"a string that is not UTF-8", bad_string.bytes()},
      {"more empty strings than the tool prints", empty_strings.bytes()},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    const ZxvuRun r = RunZxvu({"pcf", "dump", File(c.bytes)});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.out, "");
    EXPECT_TRUE(r.err_starts("reason 2119")) << r.err;
  }
}

TEST_F(PcfDumpTest, EncodingWithoutAByteOrderIsRefused) {
  PcfMessage m(kLittleEndian);
  m.Header(1, 1, 0);
  const ZxvuRun r = RunZxvu({"pcf", "dump", "--encoding", "0x220", File(m.bytes())});
  EXPECT_EQ(r.status, 1);
  EXPECT_TRUE(r.err_starts("reason 2112")) << r.err;
}

TEST_F(PcfDumpTest, MalformedCommandLinesAreUsageErrors) {
  const std::vector<std::vector<std::string>> cases = {
      {"pcf", "dump"},
      {"pcf", "dump", "/nonexistent/pcf/message"},
      {"pcf", "dump", "--encoding", "big", "/dev/null"},
      {"pcf", "dump", "--ccsid", "-1", "/dev/null"},
  };
  for (const auto& args : cases) {
    SCOPED_TRACE(args.size() > 2 ? args[2] : "");
    EXPECT_EQ(RunZxvu(args).status, 2);
  }
}

}  // namespace
