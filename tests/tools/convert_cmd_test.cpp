// `zxvu convert`: a message file through the conversion engine, with and
// without a descriptor in front; refused inputs end with "reason <code>".
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "gtest/gtest.h"

namespace {

using Vec = std::vector<uint8_t>;

class ConvertCmdTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char dir[] = "/tmp/zxvu_convert_XXXXXX";
    ASSERT_NE(mkdtemp(dir), nullptr);
    dir_ = dir;
  }
  void TearDown() override {
    for (const char* f : {"/in", "/out", "/stdout", "/stderr"}) unlink((dir_ + f).c_str());
    rmdir(dir_.c_str());
  }
  void Write(const Vec& bytes) {
    std::ofstream out(dir_ + "/in", std::ios::binary);
    out.write(reinterpret_cast<const char*>(bytes.data()),
              static_cast<std::streamsize>(bytes.size()));
  }
  Vec Output() const {
    std::ifstream in(dir_ + "/out", std::ios::binary);
    return Vec((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  }
  std::string LastErrorLine() const {
    std::ifstream in(dir_ + "/stderr");
    std::string line, last;
    while (std::getline(in, line)) {
      if (!line.empty()) last = line;
    }
    return last;
  }
  // Runs zxvu convert with `args` then IN and OUT; returns the exit status.
  int Run(const std::string& args) {
    const std::string cmd = std::string(ZXVU_PATH) + " convert " + args + " " + dir_ + "/in " +
                            dir_ + "/out >" + dir_ + "/stdout 2>" + dir_ + "/stderr";
    const int status = std::system(cmd.c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }
  std::string dir_;
};

const Vec kHelloEbcdic = {0xC8, 0xC5, 0xD3, 0xD3, 0xD6};

TEST_F(ConvertCmdTest, ConvertsRawData) {
  Write(kHelloEbcdic);
  EXPECT_EQ(Run("--from-encoding 273 --from-ccsid 37 --to-encoding 546 --to-ccsid 850 "
                "--format KWSTR"),
            0);
  EXPECT_EQ(Output(), (Vec{'H', 'E', 'L', 'L', 'O'}));
}

// The fields of a version 2 descriptor the command reads and updates.
constexpr size_t kMdLength = 364;
constexpr size_t kMdVersionAt = 4;
constexpr size_t kMdEncodingAt = 24;
constexpr size_t kMdCcsidAt = 28;
constexpr size_t kMdFormatAt = 32;

void Put32(Vec& v, size_t at, int32_t value) { std::memcpy(v.data() + at, &value, 4); }
int32_t Get32(const Vec& v, size_t at) {
  int32_t value;
  std::memcpy(&value, v.data() + at, 4);
  return value;
}

TEST_F(ConvertCmdTest, DescriptorInFrontStartsTheWalkAndIsUpdated) {
  Vec file(kMdLength, 0);
  std::memcpy(file.data(), "MD  ", 4);
  Put32(file, kMdVersionAt, 2);
  Put32(file, kMdEncodingAt, 273);
  Put32(file, kMdCcsidAt, 37);
  std::memcpy(file.data() + kMdFormatAt, "KWSTR   ", 8);
  file.insert(file.end(), kHelloEbcdic.begin(), kHelloEbcdic.end());
  Write(file);
  EXPECT_EQ(Run("--md --to-encoding 546 --to-ccsid 819"), 0);
  const Vec out = Output();
  ASSERT_EQ(out.size(), kMdLength + 5);
  EXPECT_EQ(Get32(out, kMdEncodingAt), 546);
  EXPECT_EQ(Get32(out, kMdCcsidAt), 819);
  EXPECT_EQ(Vec(out.begin() + kMdLength, out.end()), (Vec{'H', 'E', 'L', 'L', 'O'}));
}

TEST_F(ConvertCmdTest, RefusedInputEndsWithTheReason) {
  Write(kHelloEbcdic);
  EXPECT_EQ(Run("--from-encoding 273 --from-ccsid 37 --to-encoding 546 --to-ccsid 850 "
                "--format KWHRF2"),
            1);
  EXPECT_EQ(LastErrorLine().rfind("reason 2119", 0), 0u) << LastErrorLine();
  EXPECT_EQ(Run("--from-encoding 273 --from-ccsid 37 --to-encoding 546 --to-ccsid 1208 "
                "--format KWSTR --max-length 3"),
            1);
  EXPECT_EQ(LastErrorLine().rfind("reason 2120", 0), 0u) << LastErrorLine();
}

TEST_F(ConvertCmdTest, TruncationAccepted) {
  Write(kHelloEbcdic);
  EXPECT_EQ(Run("--from-encoding 273 --from-ccsid 37 --to-encoding 546 --to-ccsid 1208 "
                "--format KWSTR --max-length 3 --accept-truncation"),
            0);
  EXPECT_EQ(Output(), (Vec{'H', 'E', 'L'}));
}

TEST_F(ConvertCmdTest, UsageErrors) {
  Write(kHelloEbcdic);
  EXPECT_EQ(Run("--to-encoding 546 --to-ccsid 850"), 2);       // no source without --md
  EXPECT_EQ(Run("--md --to-encoding 546 --to-ccsid 850"), 2);  // shorter than a descriptor
  EXPECT_EQ(Run("--from-encoding 273 --from-ccsid 37 --to-encoding x --to-ccsid 850 "
                "--format KWSTR"),
            2);
  EXPECT_EQ(Run("--from-encoding 273 --from-ccsid 37 --to-encoding 546 --to-ccsid 850 "
                "--format TOOLONGNAME"),
            2);
}

}  // namespace
