// Failure records: the file written for each record and the directories.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "self_spawn.h"
#include "zxvxcs2/xcs_erdp.h"
#include "zxvxcs2/xcs_thread.h"

namespace {

constexpr uint32_t kComp = 0x5A55;

std::string ReadFile(const std::string& path) {
  std::ifstream file(path);
  std::stringstream text;
  text << file.rdbuf();
  return text.str();
}

bool IsDirectory(const std::string& path) {
  struct stat st;
  return ::stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

TEST(FailureRecordTest, WritesOneFileWithEveryField) {
  const uint32_t before = xcsFailureRecordCount();
  const unsigned char dump[18] = {0x4B, 0x57, 0x4D, 0x44, 0x00, 0x01, 0x02, 0xFE, 0xFF,
                                  'h',  'e',  'l',  'l',  'o',  ' ',  'w',  'o',  'r'};
  xcsERDPFn(kComp, "props/folder_parser.cpp", 12, 0x20006118u, "Unexpected allocator code", dump,
            sizeof dump);
  EXPECT_EQ(xcsFailureRecordCount(), before + 1);

  char path[4096];
  char comment[256];
  uint32_t probe = 0;
  xcsRC rc = 0;
  xcsLastFailureRecord(path, sizeof path, comment, sizeof comment, &probe, &rc);
  EXPECT_STREQ(comment, "Unexpected allocator code");
  EXPECT_EQ(probe, 12u);
  EXPECT_EQ(rc, 0x20006118u);

  const std::string expected_prefix =
      std::string(xcsErrorsDirectory()) + "/ZXV" + std::to_string(getpid()) + ".";
  const std::string file = path;
  ASSERT_EQ(file.rfind(expected_prefix, 0), 0u) << file;
  EXPECT_EQ(file.substr(file.size() - 4), ".FRC");

  const std::string text = ReadFile(file);
  EXPECT_NE(text.find("Component    : 0x5A55\n"), std::string::npos) << text;
  EXPECT_NE(text.find("Source file  : props/folder_parser.cpp\n"), std::string::npos);
  EXPECT_NE(text.find("Probe        : 12\n"), std::string::npos);
  EXPECT_NE(text.find("Return code  : 0x20006118\n"), std::string::npos);
  EXPECT_NE(text.find("Comment      : Unexpected allocator code\n"), std::string::npos);
  EXPECT_NE(text.find("Process      : " + std::to_string(getpid()) + "\n"), std::string::npos);
  EXPECT_NE(text.find("Thread       : " + std::to_string(xihGetThread()->ThreadId) + " "),
            std::string::npos);
  EXPECT_NE(text.find("Dump length  : 18\n"), std::string::npos);
  EXPECT_NE(
      text.find("00000000  4b 57 4d 44 00 01 02 fe ff 68 65 6c 6c 6f 20 77  |KWMD.....hello w|"),
      std::string::npos)
      << text;
  EXPECT_NE(text.find("00000010  6f 72 "), std::string::npos);
}

TEST(FailureRecordTest, FormattedCommentSequenceNumbersAndNullArguments) {
  char first[4096];
  xcsERDPSFn(kComp, "a.cpp", 1, 1, nullptr, 0, "reason %d in %s", 2195, "Lookup");
  xcsLastFailureRecord(first, sizeof first, nullptr, 0, nullptr, nullptr);
  char second[4096];
  char comment[64];
  xcsERDPSFn(kComp, "a.cpp", 2, 1, nullptr, 0, "%s", "second");
  xcsLastFailureRecord(second, sizeof second, comment, sizeof comment, nullptr, nullptr);
  EXPECT_STRNE(first, second);
  EXPECT_STREQ(comment, "second");
  const std::string text = ReadFile(first);
  EXPECT_NE(text.find("Comment      : reason 2195 in Lookup\n"), std::string::npos) << text;
  EXPECT_NE(text.find("Dump length  : 0\n"), std::string::npos);

  // Null arguments are written as empty.
  xcsERDPFn(kComp, nullptr, 3, 0, nullptr, nullptr, 100);
  xcsLastFailureRecord(first, sizeof first, comment, sizeof comment, nullptr, nullptr);
  EXPECT_STREQ(comment, "");
  EXPECT_NE(ReadFile(first).find("Dump length  : 0\n"), std::string::npos);
}

TEST(FailureRecordTest, ErrorsDirectoryIsRecreatedWhenRemoved) {
  const std::string errors = xcsErrorsDirectory();
  EXPECT_EQ(errors, std::string(xcsDataDirectory()) + "/errors");
  // Only an empty directory can go; records of other tests may be there.
  if (::rmdir(errors.c_str()) == 0) {
    EXPECT_FALSE(IsDirectory(errors));
  }
  EXPECT_EQ(xcsErrorsDirectory(), errors);
  EXPECT_TRUE(IsDirectory(errors));
}

TEST(DataDirectoryTest, UsesKwsPrefix) {
  if (!zxv_test::IsSpawnedChild()) {
    const std::string prefix = testing::TempDir() + "zxv_prefix_" + std::to_string(getpid());
    EXPECT_EQ(zxv_test::RunThisTestInChild({{"KWSPREFIX", prefix + "/deep/er"}}), 0);
    EXPECT_TRUE(IsDirectory(prefix + "/deep/er/errors"));
    std::error_code ignored;
    std::filesystem::remove_all(prefix, ignored);
    return;
  }
  const char* prefix = std::getenv("KWSPREFIX");
  ASSERT_NE(prefix, nullptr);
  EXPECT_STREQ(xcsDataDirectory(), prefix);
  EXPECT_EQ(std::string(xcsErrorsDirectory()), std::string(prefix) + "/errors");
}

TEST(DataDirectoryTest, FallsBackToTmpdirWhenPrefixUnusable) {
  if (!zxv_test::IsSpawnedChild()) {
    const std::string tmp = testing::TempDir() + "zxv_tmp_" + std::to_string(getpid());
    ASSERT_TRUE(::mkdir(tmp.c_str(), 0775) == 0 || errno == EEXIST);
    // A path below a regular file can never be created.
    EXPECT_EQ(
        zxv_test::RunThisTestInChild({{"KWSPREFIX", "/proc/self/status/kws"}, {"TMPDIR", tmp}}), 0);
    EXPECT_TRUE(IsDirectory(tmp + "/kws"));
    std::error_code ignored;
    std::filesystem::remove_all(tmp, ignored);
    return;
  }
  EXPECT_EQ(std::string(xcsDataDirectory()), std::string(std::getenv("TMPDIR")) + "/kws");
}

}  // namespace
