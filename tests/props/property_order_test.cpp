// Where nodes go: replacing in place, the group order that locate imposes,
// deleting, and the two locate entry points.
#include "tests/props/property_test_util.h"

namespace zxv::test {
namespace {

using Names_t = std::vector<std::string>;

TEST_F(PropertyStoreTest, ReplacingKeepsThePlaceAndTheBookkeeping) {
  ASSERT_EQ(PutInt("a", 1), KWRC_NONE);
  ASSERT_EQ(PutInt("b", 2), KWRC_NONE);
  ASSERT_EQ(PutString("a", "a longer value"), KWRC_NONE);
  EXPECT_EQ(Names(), (Names_t{"a", "b"}));
  EXPECT_EQ(U32At(FirstNode()), static_cast<uint32_t>(ZRF_TYPE_STRING));
  EXPECT_EQ(pal_.pProps->PropsLen, (1u + 14u) + (1u + 4u));
  EXPECT_EQ(pal_.pProps->StrucLen, 24u + 32u + 16u);
  ASSERT_EQ(PutInt("a", 3), KWRC_NONE);  // and shorter again
  EXPECT_EQ(pal_.pProps->StrucLen, 24u + 16u + 16u);
  EXPECT_EQ(zrfVerifyPropertiesFn(&pal_, &cc_, &rc_), KWRC_NONE);
}

TEST_F(PropertyStoreTest, NameGroupsStayContiguous) {
  for (const char* name : {"a.x", "b", "a.y", "c.d.e", "a.x.z", "c.d.f", "c.g", "a", "b.q"}) {
    ASSERT_EQ(PutInt(name, 0), KWRC_NONE) << name;
  }
  EXPECT_EQ(Names(), (Names_t{"a.x", "a.x.z", "a.y", "a", "b", "b.q", "c.d.e", "c.d.f", "c.g"}));
}

TEST_F(PropertyStoreTest, LocateGivesTheNodeOrItsPlace) {
  ASSERT_EQ(PutInt("a.x", 0), KWRC_NONE);
  ASSERT_EQ(PutInt("b", 0), KWRC_NONE);
  KWULONG offset = 0;
  EXPECT_EQ(zrfLocatePropertyNode(&pal_, "b", 1, &offset, &cc_, &rc_), KWRC_NONE);
  EXPECT_EQ(offset, 24u + 20u);
  EXPECT_EQ(zrfLocatePropertyNode(&pal_, "a.q", 3, &offset, &cc_, &rc_),
            KWRC_PROPERTY_NOT_AVAILABLE);
  EXPECT_EQ(offset, 24u + 20u) << "at the end of group a";
  EXPECT_EQ(zrfLocatePropertyNode(&pal_, "z", 1, &offset, &cc_, &rc_), KWRC_PROPERTY_NOT_AVAILABLE);
  EXPECT_EQ(offset, pal_.pProps->StrucLen);

  // The same name in EBCDIC ("b" is 0x82) is converted before the search.
  const char ebcdicB = static_cast<char>(0x82);
  EXPECT_EQ(zrfLocateProperty(&pal_, &ebcdicB, 1, 500, &work_, &offset, &cc_, &rc_), KWRC_NONE);
  EXPECT_EQ(offset, 24u + 20u);

  const ZRFPAL none{};
  EXPECT_EQ(zrfLocatePropertyNode(&none, "b", 1, &offset, &cc_, &rc_), KWRC_PROPERTY_NOT_AVAILABLE);
  EXPECT_EQ(offset, 24u);
}

TEST_F(PropertyStoreTest, DeleteRemovesTheNodeOrReports2471) {
  EXPECT_EQ(zrfDeleteNamedProperty(&pal_, "a", 1, 1208, &work_, &cc_, &rc_),
            KWRC_PROPERTY_NOT_AVAILABLE);
  ASSERT_EQ(PutInt("a", 1), KWRC_NONE);
  ASSERT_EQ(PutString("b", "bee"), KWRC_NONE);
  ASSERT_EQ(PutInt("c", 3), KWRC_NONE);
  ASSERT_EQ(zrfDeleteNamedProperty(&pal_, "b", 1, 1208, &work_, &cc_, &rc_), KWRC_NONE);
  EXPECT_EQ(Names(), (Names_t{"a", "c"}));
  EXPECT_EQ(pal_.pProps->PropsLen, 10u);
  EXPECT_EQ(zrfDeleteNamedProperty(&pal_, "b", 1, 1208, &work_, &cc_, &rc_),
            KWRC_PROPERTY_NOT_AVAILABLE);
  EXPECT_EQ(cc_, KWCC_FAILED);
  EXPECT_EQ(rc_, KWRC_PROPERTY_NOT_AVAILABLE);
}

TEST_F(PropertyStoreTest, NameInAnotherCcsidIsStoredInTheListCcsid) {
  const char latin1[] = "caf\xE9";  // "café" in 819
  ASSERT_EQ(PutString(latin1, "v", 819), KWRC_NONE);
  EXPECT_EQ(Names(), (Names_t{"caf\xC3\xA9"}));
  EXPECT_EQ(pal_.pProps->PropsLen, 6u);

  // A name with no form in the list's CCSID.
  ASSERT_EQ(zrfChangePropertiesCCSID(&pal_, 819, &cc_, &rc_), KWRC_NONE);
  const std::vector<uint8_t> before = InUse(pal_);
  TraceLines trace;
  EXPECT_EQ(PutInt("\xE2\x82\xAC", 1), KWRC_NOT_CONVERTED);  // the euro sign
  EXPECT_TRUE(trace.Contains("Value failed to be converted into properties CCSID"));
  EXPECT_EQ(InUse(pal_), before);

  // Out of storage for the conversion space.
  xcsInjectAllocFailure(1, xcsRC_STORAGE_NOT_AVAILABLE, 0);
  EXPECT_EQ(PutInt("plain", 1), KWRC_STORAGE_NOT_AVAILABLE);
  xcsInjectAllocFailure(0, 0, 0);
  EXPECT_EQ(InUse(pal_), before);
}

TEST_F(PropertyStoreTest, AsStoredNodeRecordsHowToReadItsBytes) {
  ASSERT_EQ(Append("u", ZRF_TYPE_AS_STORED, "raw", 3), KWRC_NONE);
  EXPECT_EQ(U32At(FirstNode() + 8), 546u);
  EXPECT_EQ(U32At(FirstNode() + 12), 1208u);
  EXPECT_EQ(U32At(FirstNode() + 16), 3u);
  // The handle set path does not store untyped values or name-only entries.
  EXPECT_EQ(zrfSetNamedProperty(&pal_, "v", 1, 1208, &pd_, ZRF_TYPE_AS_STORED, "x", 1, &work_, &cc_,
                                &rc_),
            KWRC_PROPERTY_TYPE_ERROR);
  EXPECT_EQ(zrfSetNamedProperty(&pal_, "v", 1, 1208, &pd_, ZRF_TYPE_NAME_ONLY, nullptr, 0, &work_,
                                &cc_, &rc_),
            KWRC_PROPERTY_TYPE_ERROR);
  EXPECT_EQ(Names(), (Names_t{"u"}));
}

}  // namespace
}  // namespace zxv::test
