// CCSID classification by family.
#include <gtest/gtest.h>

#include "zxvxcs2/xcs_ccsid.h"

namespace {

struct Family {
  int32_t ccsid;
  int32_t encoding;
  uint8_t type;
};

// clang-format off
TEST(ClassifyTest, Families) {
  const Family families[] = {
      {37, 546, XCS_CCSID_TYPE_EBCDIC},   {500, 546, XCS_CCSID_TYPE_EBCDIC},
      {1047, 546, XCS_CCSID_TYPE_EBCDIC}, {930, 546, XCS_CCSID_TYPE_EBCDIC},  // mixed, shifts
      {819, 546, XCS_CCSID_TYPE_ASCII},   {850, 546, XCS_CCSID_TYPE_ASCII},
      {1252, 546, XCS_CCSID_TYPE_ASCII},  {943, 546, XCS_CCSID_TYPE_ASCII},  // multi-byte
      {1275, 546, XCS_CCSID_TYPE_ASCII},  {1208, 546, XCS_CCSID_TYPE_UTF8},
      {1208, 273, XCS_CCSID_TYPE_UTF8},   {1200, 273, XCS_CCSID_TYPE_BUCS2},
      {1200, 546, XCS_CCSID_TYPE_LUCS2},  {13488, 1, XCS_CCSID_TYPE_BUCS2},
      {17584, 0, XCS_CCSID_TYPE_LUCS2},   {1201, 785, XCS_CCSID_TYPE_BUCS2},  // 0: native order
      // Sets without a converter table have a known family.
      {924, 546, XCS_CCSID_TYPE_EBCDIC},  {1027, 546, XCS_CCSID_TYPE_EBCDIC},
      {425, 546, XCS_CCSID_TYPE_ASCII},   {1046, 546, XCS_CCSID_TYPE_ASCII},
      {4711, 546, XCS_CCSID_TYPE_UNKNOWN}, {0, 546, XCS_CCSID_TYPE_UNKNOWN},
      {-1, 546, XCS_CCSID_TYPE_UNKNOWN},  {100000, 546, XCS_CCSID_TYPE_UNKNOWN},
  };
  // clang-format on
  for (int round = 0; round < 2; ++round) {  // the second time from the cache
    for (const Family& f : families) {
      EXPECT_EQ(xcsGetCCSIDType(f.ccsid, f.encoding), f.type) << f.ccsid << "/" << f.encoding;
    }
  }
}

TEST(TwoByteTest, OnlyTheUtf16Sets) {
  for (int32_t ccsid : {1200, 1201, 1202, 13488, 13490, 17584}) {
    EXPECT_TRUE(xcsIsTwoByteCCSID(ccsid)) << ccsid;
  }
  for (int32_t ccsid : {1208, 37, 819, 930, 0, -1200})
    EXPECT_FALSE(xcsIsTwoByteCCSID(ccsid)) << ccsid;
}

}  // namespace
