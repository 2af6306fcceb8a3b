// `zxvu convert`: a message file through the conversion engine, with and
// without a descriptor in front; refused inputs end with "reason <code>".
#include <cstdint>
#include <cstring>
#include <sstream>
#include <string>
#include <vector>

#include "gtest/gtest.h"
#include "zxvu_runner.h"

namespace {

using zxv::test::ZxvuRun;

class ConvertCmdTest : public zxv::test::ZxvuFileTest {
 protected:
  // Runs zxvu convert with the blank-separated `args`, then the input file
  // holding `in` and an output file; the output's bytes land in out_.
  ZxvuRun Run(const std::string& in, const std::string& args) {
    std::vector<std::string> argv = {"convert"};
    std::istringstream words(args);
    for (std::string w; words >> w;) argv.push_back(w);
    const std::string out_path = File("");
    argv.push_back(File(in));
    argv.push_back(out_path);
    const ZxvuRun r = zxv::test::RunZxvu(argv);
    out_ = zxv::test::SlurpFile(out_path);
    return r;
  }
  std::string out_;
};

const std::string kHelloEbcdic = "\xC8\xC5\xD3\xD3\xD6";
const std::string kFromEbcdic = "--from-encoding 273 --from-ccsid 37 --to-encoding 546 ";

TEST_F(ConvertCmdTest, RawDataConvertsOrEndsWithTheReason) {
  EXPECT_EQ(Run(kHelloEbcdic, kFromEbcdic + "--to-ccsid 850 --format KWSTR").status, 0);
  EXPECT_EQ(out_, "HELLO");
  const ZxvuRun bad = Run(kHelloEbcdic, kFromEbcdic + "--to-ccsid 850 --format KWHRF2");
  EXPECT_EQ(bad.status, 1);
  EXPECT_TRUE(bad.err_starts("reason 2119")) << bad.err;
  const ZxvuRun big =
      Run(kHelloEbcdic, kFromEbcdic + "--to-ccsid 1208 --format KWSTR --max-length 3");
  EXPECT_EQ(big.status, 1);
  EXPECT_TRUE(big.err_starts("reason 2120")) << big.err;
  EXPECT_EQ(Run(kHelloEbcdic, kFromEbcdic + "--to-ccsid 1208 --format KWSTR --max-length 3 "
                                            "--accept-truncation")
                .status,
            0);
  EXPECT_EQ(out_, "HEL");
}

TEST_F(ConvertCmdTest, DescriptorInFrontStartsTheWalkAndIsUpdated) {
  // The fields of a version 2 descriptor the command reads and updates.
  constexpr size_t kMdLength = 364, kEncodingAt = 24, kCcsidAt = 28;
  const auto put32 = [](std::string& s, size_t at, int32_t v) { std::memcpy(&s[at], &v, 4); };
  std::string file(kMdLength, '\0');
  std::memcpy(file.data(), "MD  ", 4);
  put32(file, 4, 2);
  put32(file, kEncodingAt, 273);
  put32(file, kCcsidAt, 37);
  std::memcpy(&file[32], "KWSTR   ", 8);
  std::string expected = file;
  put32(expected, kEncodingAt, 546);
  put32(expected, kCcsidAt, 819);
  EXPECT_EQ(Run(file + kHelloEbcdic, "--md --to-encoding 546 --to-ccsid 819").status, 0);
  EXPECT_EQ(out_, expected + "HELLO");
}

TEST_F(ConvertCmdTest, UsageErrors) {
  EXPECT_EQ(Run(kHelloEbcdic, "--to-encoding 546 --to-ccsid 850").status, 2);       // no source
  EXPECT_EQ(Run(kHelloEbcdic, "--md --to-encoding 546 --to-ccsid 850").status, 2);  // too short
  EXPECT_EQ(Run(kHelloEbcdic,
                "--from-encoding 273 --from-ccsid 37 --to-encoding x --to-ccsid 850 "
                "--format KWSTR")
                .status,
            2);
  EXPECT_EQ(Run(kHelloEbcdic, kFromEbcdic + "--to-ccsid 850 --format TOOLONGNAME").status, 2);
}

}  // namespace
