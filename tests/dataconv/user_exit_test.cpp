// User data-conversion exits through vpiConvertData, with the exit modules
// built for the tests (tests/dataconv/exit_module).
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "dataconv_test_util.h"
#include "zxvxcs2/xcs_memory.h"
#include "zxvxzu/dataconv.h"

namespace {

using dctest::Bytes;
using dctest::Conversion;
using dctest::kBigEbcdic;
using dctest::kLittleAscii;
using dctest::ScopedEnv;
using dctest::Vec;

class UserExitTest : public ::testing::Test {
 protected:
  ScopedEnv exit_path_{"ZXV_EXIT_PATH", ZXV_TEST_DATACONV_EXIT_DIR};
  ScopedEnv no_exits_{"ZXV_NO_USER_DATACONV", nullptr};
};

Vec Ints(bool big, std::initializer_list<int32_t> values) {
  Bytes b(big ? kBigEbcdic : kLittleAscii);
  for (int32_t v : values) b.I32(v);
  return b.bytes();
}

// The exit named after the format converts, alone or behind a header.
TEST_F(UserExitTest, ExitNamedAfterTheFormatConverts) {
  Conversion c(Ints(true, {1, -2, 0x01020304}), kBigEbcdic, kLittleAscii, "ZXVSWAP ", 64);
  EXPECT_EQ(c.Run(), 0);
  EXPECT_EQ(c.req.CompCode, KWCC_OK);
  EXPECT_EQ(c.Result(), Ints(false, {1, -2, 0x01020304}));
  EXPECT_EQ(c.req.ResultEncoding, kLittleAscii.encoding);
  EXPECT_EQ(c.req.ResultCCSID, kLittleAscii.ccsid);
  Conversion h(dctest::Dlh(kBigEbcdic, "ZXVSWAP").Raw(Ints(true, {7, 8})).bytes(), kBigEbcdic,
               kLittleAscii, "KWDEAD  ", 512);
  EXPECT_EQ(h.Run(), 0);
  EXPECT_EQ(h.Result(), dctest::Dlh(kLittleAscii, "ZXVSWAP").Raw(Ints(false, {7, 8})).bytes());
}

TEST_F(UserExitTest, ExitFailureReasonsAndTruncation) {
  // The exit fails with the reason that follows "FAIL".
  const Vec fail = Bytes(kLittleAscii).Text("FAIL").I32(KWRC_CONVERTED_STRING_TOO_BIG).bytes();
  Conversion f(fail, kBigEbcdic, kLittleAscii, "ZXVSWAP ", 64);
  EXPECT_EQ(f.Run(), KWRC_CONVERTED_STRING_TOO_BIG);
  EXPECT_EQ(f.req.CompCode, KWCC_WARNING);
  EXPECT_EQ(f.Result(), fail);

  // Failing without a reason of its own: 2119.
  const Vec odd = {1, 2, 3};
  Conversion o(odd, kBigEbcdic, kLittleAscii, "ZXVSWAP ", 64);
  EXPECT_EQ(o.Run(), KWRC_NOT_CONVERTED);
  EXPECT_EQ(o.Result(), odd);

  // Too small: 2120, or what fits when truncation is accepted.
  const Vec three = Ints(true, {1, 2, 3});
  Conversion small(three, kBigEbcdic, kLittleAscii, "ZXVSWAP ", 8);
  EXPECT_EQ(small.Run(), KWRC_CONVERTED_MSG_TOO_BIG);
  Conversion cut(three, kBigEbcdic, kLittleAscii, "ZXVSWAP ", 8);
  cut.req.Options = KWGMO_ACCEPT_TRUNCATED_MSG;
  EXPECT_EQ(cut.Run(), KWRC_TRUNCATED_MSG_ACCEPTED);
  EXPECT_EQ(cut.req.CompCode, KWCC_WARNING);
  EXPECT_EQ(cut.Result(), Ints(false, {1, 2}));
}

TEST_F(UserExitTest, FaultingExitGivesTheGuardsReasonAndTheDataAsGiven) {
  const Vec data = Ints(true, {1, 2});
  Conversion c(data, kBigEbcdic, kLittleAscii, "ZXVFAULT", 64);
  EXPECT_EQ(c.Run(), KWRC_API_EXIT_ERROR);
  EXPECT_EQ(c.req.CompCode, KWCC_WARNING);
  EXPECT_EQ(c.Result(), data);
  // The process goes on converting.
  Conversion after(data, kBigEbcdic, kLittleAscii, "ZXVSWAP ", 64);
  EXPECT_EQ(after.Run(), 0);
}

TEST_F(UserExitTest, MissingModuleOrEntryPointIsOneCondition) {
  const Vec data = {1, 2, 3, 4};
  for (const char* format : {"ZXVNOENT", "NOSUCHX ", "ZXV/SWAP"}) {
    Conversion c(data, kBigEbcdic, kLittleAscii, format, 64);
    EXPECT_EQ(c.Run(), KWRC_FORMAT_ERROR) << format;
    EXPECT_EQ(c.Result(), data) << format;
  }
  // An earlier reason of the get stands.
  Conversion pending(data, kBigEbcdic, kLittleAscii, "ZXVNOENT", 64);
  pending.req.CompCode = KWCC_WARNING;
  pending.req.Reason = KWRC_TRUNCATED_MSG_ACCEPTED;
  EXPECT_EQ(pending.Run(), KWRC_TRUNCATED_MSG_ACCEPTED);
  EXPECT_EQ(pending.Result(), data);
}

TEST_F(UserExitTest, NoUserExitsSwitchKeepsTheExitUnloaded) {
  ScopedEnv off("ZXV_NO_USER_DATACONV", "");
  const Vec data = Ints(true, {5});
  Conversion c(data, kBigEbcdic, kLittleAscii, "ZXVFAULT", 64);
  EXPECT_EQ(c.Run(), 0);
  EXPECT_EQ(c.Result(), data);
  EXPECT_EQ(c.req.ResultEncoding, kBigEbcdic.encoding);
}

TEST_F(UserExitTest, StorageFailureAroundTheExit) {
  const Vec data = Ints(true, {1});
  Conversion c(data, kBigEbcdic, kLittleAscii, "ZXVSWAP ", 64);
  xcsInjectAllocFailure(1, xcsRC_STORAGE_NOT_AVAILABLE, 1);
  const KWLONG reason = c.Run();
  xcsInjectAllocFailure(0, 0, 0);
  EXPECT_EQ(reason, KWRC_STORAGE_NOT_AVAILABLE);
  EXPECT_EQ(c.req.CompCode, KWCC_FAILED);
  EXPECT_EQ(c.Result(), data);
}

}  // namespace
