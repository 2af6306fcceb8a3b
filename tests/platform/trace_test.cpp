// Trace: off costs nothing and writes nothing; on, records reach the sink or
// the file in the documented line format with the thread's depth.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cctype>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "self_spawn.h"
#include "zxvxcs2/xcs_erdp.h"
#include "zxvxcs2/xcs_thread.h"
#include "zxvxcs2/xcs_trace.h"

namespace {

constexpr uint32_t kComp = 0x5A55;
constexpr uint32_t kFnOuter = 0x0101;
constexpr uint32_t kFnInner = 0x0102;

class TraceTest : public ::testing::Test {
 protected:
  void SetUp() override {
    saved_level_ = xtrLevel;
    xtrSetSink(&TraceTest::Collect, &lines_);
  }
  void TearDown() override {
    xtrSetLevel(saved_level_);
    xtrSetSink(nullptr, nullptr);
    xtrSetFile(nullptr);
  }
  static void Collect(void* context, const char* line) {
    static_cast<std::vector<std::string>*>(context)->push_back(line);
  }
  void TracedCalls() {
    xtr_FNC_entry(kComp, kFnOuter);
    xtr_parms(kComp, kFnOuter, "code=0x%08x", 0x2035u);
    xtr_FNC_entry(kComp, kFnInner);
    xtr_text_detail(kComp, kFnInner, "detail %d", 7);
    const unsigned char bytes[20] = {'A', 'B', 0x00, 0xFF};
    xtr_data_detail(kComp, kFnInner, "buffer", bytes, sizeof bytes);
    xtr_FNC_retcode(kComp, kFnInner, 0);
    xtr_FNC_retcode(kComp, kFnOuter, 0x20006118u);
  }
  std::vector<std::string> lines_;
  int saved_level_ = 0;
};

// A trace line cut into its fields.
struct Line {
  std::string time, thread, depth, mark, ident, rest;
};

Line Parse(const std::string& text) {
  Line line;
  std::istringstream in(text);
  in >> line.time >> line.thread >> line.depth >> line.mark >> line.ident;
  std::getline(in, line.rest);
  if (!line.rest.empty() && line.rest[0] == ' ') line.rest.erase(0, 1);
  return line;
}

// "YYYY-MM-DDTHH:MM:SS.uuuuuu"
bool IsTimestamp(const std::string& t) {
  const std::string shape = "dddd-dd-ddTdd:dd:dd.dddddd";
  if (t.size() != shape.size()) return false;
  for (size_t i = 0; i < t.size(); ++i) {
    if (shape[i] == 'd' ? !std::isdigit(static_cast<unsigned char>(t[i])) : t[i] != shape[i]) {
      return false;
    }
  }
  return true;
}

TEST_F(TraceTest, OffWritesNothingFlowWritesEntriesExitsAndParameters) {
  xtrSetLevel(XTR_LEVEL_OFF);
  const int32_t depth = xihGetThread()->TraceDepth;
  TracedCalls();
  EXPECT_TRUE(lines_.empty());
  EXPECT_EQ(xihGetThread()->TraceDepth, depth);
  xtrSetLevel(XTR_LEVEL_FLOW);
  TracedCalls();
  ASSERT_EQ(lines_.size(), 5u);
  const std::string thread =
      std::to_string(getpid()) + "." + std::to_string(xihGetThread()->ThreadId);
  const struct {
    const char* depth;
    const char* mark;
    const char* ident;
    const char* rest;
  } expected[] = {
      {"1", "{", "5A55:0101", "TracedCalls"},   {"1", "-", "5A55:0101", "code=0x00002035"},
      {"2", "{", "5A55:0102", "TracedCalls"},   {"2", "}", "5A55:0102", "rc=0x00000000"},
      {"1", "}", "5A55:0101", "rc=0x20006118"},
  };
  for (size_t i = 0; i < lines_.size(); ++i) {
    const Line line = Parse(lines_[i]);
    EXPECT_TRUE(IsTimestamp(line.time)) << lines_[i];
    EXPECT_EQ(line.thread, thread) << lines_[i];
    EXPECT_EQ(line.depth, expected[i].depth) << lines_[i];
    EXPECT_EQ(line.mark, expected[i].mark) << lines_[i];
    EXPECT_EQ(line.ident, expected[i].ident) << lines_[i];
    EXPECT_EQ(line.rest, expected[i].rest) << lines_[i];
    EXPECT_NE(lines_[i].find(" " + line.mark + "  " + line.ident), std::string::npos) << lines_[i];
  }
}

TEST_F(TraceTest, DetailLevelAddsTextAndHexDump) {
  xtrSetLevel(XTR_LEVEL_DETAIL);
  TracedCalls();
  ASSERT_EQ(lines_.size(), 9u);
  EXPECT_NE(lines_[3].find(" 2 -  5A55:0102 detail 7"), std::string::npos) << lines_[3];
  EXPECT_NE(lines_[4].find(" 2 D  5A55:0102 buffer (20 bytes)"), std::string::npos) << lines_[4];
  EXPECT_NE(lines_[5].find(" X  5A55:0102 00000000  41 42 00 ff 00"), std::string::npos)
      << lines_[5];
  EXPECT_NE(lines_[5].find("|AB.............."), std::string::npos) << lines_[5];
  EXPECT_NE(lines_[6].find(" X  5A55:0102 00000010  00 00 00 00"), std::string::npos) << lines_[6];
}

TEST_F(TraceTest, ExitWithoutEntryKeepsDepthAtZeroAndNewlinesStayOnOneLine) {
  xtrSetLevel(XTR_LEVEL_FLOW);
  const int32_t depth = xihGetThread()->TraceDepth;
  xihGetThread()->TraceDepth = 0;
  xtr_FNC_retcode(kComp, kFnOuter, 0);
  EXPECT_EQ(xihGetThread()->TraceDepth, 0);
  xihGetThread()->TraceDepth = depth;
  xtr_parms(kComp, kFnOuter, "a\nb");
  ASSERT_EQ(lines_.size(), 2u);
  EXPECT_EQ(lines_[1].find('\n'), std::string::npos);
}

TEST_F(TraceTest, WritesToTheFileWhenNoSink) {
  xtrSetSink(nullptr, nullptr);
  const std::string path =
      std::string(xcsDataDirectory()) + "/trace_test_" + std::to_string(getpid()) + ".trc";
  std::remove(path.c_str());
  xtrSetFile(path.c_str());
  xtrSetLevel(XTR_LEVEL_FLOW);
  xtr_FNC_entry(kComp, kFnOuter);
  xtr_FNC_retcode(kComp, kFnOuter, 0);
  xtrSetLevel(XTR_LEVEL_OFF);
  std::ifstream file(path);
  std::vector<std::string> read;
  for (std::string line; std::getline(file, line);) read.push_back(line);
  ASSERT_EQ(read.size(), 2u);
  EXPECT_NE(read[0].find("{  5A55:0101 "), std::string::npos);
  EXPECT_NE(read[1].find("}  5A55:0101 rc=0x00000000"), std::string::npos);
  std::remove(path.c_str());
}

TEST(TraceStartupTest, LevelComesFromTheEnvironmentAtLoad) {
  if (!zxv_test::IsSpawnedChild()) {
    for (const char* setting : {"1", "on", "ON", "2", "detail", "all", "0", "bogus"}) {
      EXPECT_EQ(zxv_test::RunThisTestInChild({{"ZXV_TRACE", setting},
                                              {"ZXV_TRACE_EXPECT", setting},
                                              {"ZXV_TRACE_PATH", testing::TempDir()}}),
                0)
          << setting;
    }
    EXPECT_EQ(zxv_test::RunThisTestInChild({{"ZXV_TRACE", ""}, {"ZXV_TRACE_EXPECT", "unset"}}), 0);
    return;
  }
  const std::string setting = std::getenv("ZXV_TRACE_EXPECT");
  int expected = XTR_LEVEL_OFF;
  if (setting == "1" || setting == "on" || setting == "ON") expected = XTR_LEVEL_FLOW;
  if (setting == "2" || setting == "detail" || setting == "all") expected = XTR_LEVEL_DETAIL;
  EXPECT_EQ(xtrLevel, expected);
}

// The default file is <ZXV_TRACE_PATH>/ZXV<pid>.TRC, one per process.
TEST(TraceStartupTest, EachProcessWritesItsOwnFile) {
  if (!zxv_test::IsSpawnedChild()) {
    const std::string dir = testing::TempDir() + "zxv_trace_" + std::to_string(getpid());
    EXPECT_EQ(zxv_test::RunThisTestInChild({{"ZXV_TRACE", "1"}, {"ZXV_TRACE_PATH", dir}}), 0);
    std::error_code ignored;
    std::filesystem::remove_all(dir, ignored);
    return;
  }
  const std::string dir = std::getenv("ZXV_TRACE_PATH");
  xtr_FNC_entry(kComp, kFnOuter);
  const pid_t child = ::fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    xtr_FNC_retcode(kComp, kFnOuter, 1);
    ::_exit(0);
  }
  int status = 0;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  xtr_FNC_retcode(kComp, kFnOuter, 0);
  const auto read = [](const std::string& path) {
    std::ifstream file(path);
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line);) lines.push_back(line);
    return lines;
  };
  const std::vector<std::string> mine = read(dir + "/ZXV" + std::to_string(getpid()) + ".TRC");
  const std::vector<std::string> childs = read(dir + "/ZXV" + std::to_string(child) + ".TRC");
  ASSERT_EQ(mine.size(), 2u);
  EXPECT_NE(mine[1].find("rc=0x00000000"), std::string::npos);
  ASSERT_EQ(childs.size(), 1u);
  EXPECT_NE(childs[0].find(" " + std::to_string(child) + "."), std::string::npos) << childs[0];
  EXPECT_NE(childs[0].find("rc=0x00000001"), std::string::npos);
}

}  // namespace
