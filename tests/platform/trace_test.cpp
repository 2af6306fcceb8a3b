// Trace: off costs nothing and writes nothing; on, records reach the sink or
// the file in the documented line format with the thread's depth.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <regex>
#include <string>
#include <vector>

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

TEST_F(TraceTest, OffWritesNothing) {
  xtrSetLevel(XTR_LEVEL_OFF);
  const int32_t depth = xihGetThread()->TraceDepth;
  TracedCalls();
  EXPECT_TRUE(lines_.empty());
  EXPECT_EQ(xihGetThread()->TraceDepth, depth);
}

TEST_F(TraceTest, FlowLevelWritesEntriesExitsAndParameters) {
  xtrSetLevel(XTR_LEVEL_FLOW);
  TracedCalls();
  ASSERT_EQ(lines_.size(), 5u);
  const std::string thread =
      std::to_string(getpid()) + "." + std::to_string(xihGetThread()->ThreadId);
  const std::string prefix = R"(^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{6} )" + thread + " ";
  EXPECT_TRUE(std::regex_search(lines_[0], std::regex(prefix + "1 \\{  5A55:0101 TracedCalls$")))
      << lines_[0];
  EXPECT_TRUE(std::regex_search(lines_[1], std::regex(prefix + "1 -  5A55:0101 code=0x00002035$")))
      << lines_[1];
  EXPECT_TRUE(std::regex_search(lines_[2], std::regex(prefix + "2 \\{  5A55:0102 TracedCalls$")))
      << lines_[2];
  EXPECT_TRUE(std::regex_search(lines_[3], std::regex(prefix + "2 \\}  5A55:0102 rc=0x00000000$")))
      << lines_[3];
  EXPECT_TRUE(std::regex_search(lines_[4], std::regex(prefix + "1 \\}  5A55:0101 rc=0x20006118$")))
      << lines_[4];
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

TEST_F(TraceTest, ExitWithoutEntryKeepsDepthAtZero) {
  xtrSetLevel(XTR_LEVEL_FLOW);
  const int32_t depth = xihGetThread()->TraceDepth;
  xihGetThread()->TraceDepth = 0;
  xtr_FNC_retcode(kComp, kFnOuter, 0);
  EXPECT_EQ(xihGetThread()->TraceDepth, 0);
  xihGetThread()->TraceDepth = depth;
}

TEST_F(TraceTest, NewlinesInTextStayOnOneLine) {
  xtrSetLevel(XTR_LEVEL_FLOW);
  xtr_parms(kComp, kFnOuter, "a\nb");
  ASSERT_EQ(lines_.size(), 1u);
  EXPECT_EQ(lines_[0].find('\n'), std::string::npos);
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

}  // namespace
