// CCSID classification by family.
#include <gtest/gtest.h>

#include "zxvxcs2/xcs_ccsid.h"

namespace {

struct Family {
  int32_t ccsid;
  int32_t encoding;
  uint8_t type;
};

class ClassifyTest : public ::testing::TestWithParam<Family> {};

TEST_P(ClassifyTest, Family) {
  const Family& f = GetParam();
  EXPECT_EQ(xcsGetCCSIDType(f.ccsid, f.encoding), f.type) << f.ccsid << "/" << f.encoding;
  // The cached answer is the same.
  EXPECT_EQ(xcsGetCCSIDType(f.ccsid, f.encoding), f.type) << f.ccsid;
}

INSTANTIATE_TEST_SUITE_P(
    Table, ClassifyTest,
    ::testing::Values(
        Family{37, 546, XCS_CCSID_TYPE_EBCDIC}, Family{500, 546, XCS_CCSID_TYPE_EBCDIC},
        Family{1047, 546, XCS_CCSID_TYPE_EBCDIC},
        Family{930, 546, XCS_CCSID_TYPE_EBCDIC},  // mixed, shift-stateful
        Family{819, 546, XCS_CCSID_TYPE_ASCII}, Family{850, 546, XCS_CCSID_TYPE_ASCII},
        Family{1252, 546, XCS_CCSID_TYPE_ASCII},
        Family{943, 546, XCS_CCSID_TYPE_ASCII},  // ASCII-based multi-byte
        Family{1275, 546, XCS_CCSID_TYPE_ASCII}, Family{1208, 546, XCS_CCSID_TYPE_UTF8},
        Family{1208, 273, XCS_CCSID_TYPE_UTF8}, Family{1200, 273, XCS_CCSID_TYPE_BUCS2},
        Family{1200, 546, XCS_CCSID_TYPE_LUCS2}, Family{13488, 1, XCS_CCSID_TYPE_BUCS2},
        Family{17584, 0, XCS_CCSID_TYPE_LUCS2},  // native order
        Family{1201, 785, XCS_CCSID_TYPE_BUCS2},
        // Sets without a converter table have a known family.
        Family{924, 546, XCS_CCSID_TYPE_EBCDIC}, Family{1027, 546, XCS_CCSID_TYPE_EBCDIC},
        Family{425, 546, XCS_CCSID_TYPE_ASCII}, Family{1046, 546, XCS_CCSID_TYPE_ASCII},
        Family{4711, 546, XCS_CCSID_TYPE_UNKNOWN}, Family{0, 546, XCS_CCSID_TYPE_UNKNOWN},
        Family{-1, 546, XCS_CCSID_TYPE_UNKNOWN}, Family{100000, 546, XCS_CCSID_TYPE_UNKNOWN}));

TEST(TwoByteTest, OnlyTheUtf16Sets) {
  for (int32_t ccsid : {1200, 1201, 1202, 13488, 13490, 17584}) {
    EXPECT_TRUE(xcsIsTwoByteCCSID(ccsid)) << ccsid;
  }
  for (int32_t ccsid : {1208, 37, 819, 930, 0, -1200})
    EXPECT_FALSE(xcsIsTwoByteCCSID(ccsid)) << ccsid;
}

}  // namespace
