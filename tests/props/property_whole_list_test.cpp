// Whole-list operations: merge and move, CCSID change, byte swap, the
// consistency check and the copy-options decision.
#include "tests/props/property_test_util.h"

namespace zxv::test {
namespace {

using Names_t = std::vector<std::string>;

class WholeListTest : public PropertyStoreTest {
 protected:
  // One property of every value type.
  void FillAllTypes(ZRFPAL* pal) {
    const uint8_t i8 = 0x81;
    const int16_t i16 = 0x1234;
    const int32_t i32 = 0x12345678;
    const int64_t i64 = 0x0102030405060708;
    const float f32 = 1.5f;
    const double f64 = -2.25;
    const int32_t yes = 1;
    ASSERT_EQ(PutString(pal, "grp.s", "h\xC3\xA9llo"), KWRC_NONE);
    ASSERT_EQ(Append(pal, "grp.b", ZRF_TYPE_BOOLEAN, &yes, 4), KWRC_NONE);
    ASSERT_EQ(Append(pal, "bytes", ZRF_TYPE_BYTE_STRING, "\x01\x02\x03", 3), KWRC_NONE);
    ASSERT_EQ(Append(pal, "i8", ZRF_TYPE_INT8, &i8, 1), KWRC_NONE);
    ASSERT_EQ(Append(pal, "i16", ZRF_TYPE_INT16, &i16, 2), KWRC_NONE);
    ASSERT_EQ(Append(pal, "i32", ZRF_TYPE_INT32, &i32, 4), KWRC_NONE);
    ASSERT_EQ(Append(pal, "i64", ZRF_TYPE_INT64, &i64, 8), KWRC_NONE);
    ASSERT_EQ(Append(pal, "f32", ZRF_TYPE_FLOAT32, &f32, 4), KWRC_NONE);
    ASSERT_EQ(Append(pal, "f64", ZRF_TYPE_FLOAT64, &f64, 8), KWRC_NONE);
    ASSERT_EQ(Append(pal, "nul", ZRF_TYPE_NULL, nullptr, 0), KWRC_NONE);
    ASSERT_EQ(Append(pal, "grp", ZRF_TYPE_NAME_ONLY, nullptr, 0), KWRC_NONE);
    ASSERT_EQ(Append(pal, "raw", ZRF_TYPE_AS_STORED, "zz", 2), KWRC_NONE);
    ASSERT_EQ(Append(pal, "txt", ZRF_TYPE_INT32 | ZRF_FLAG_STRING_FORM, "12", 2), KWRC_NONE);
  }
};

TEST_F(WholeListTest, MergeAddsReplacesOrKeeps) {
  ASSERT_EQ(PutInt("a", 1), KWRC_NONE);
  ASSERT_EQ(PutString("b", "from source"), KWRC_NONE);
  ASSERT_EQ(PutInt(&other_, "b", 2), KWRC_NONE);
  ASSERT_EQ(PutInt(&other_, "c", 3), KWRC_NONE);
  ZRFPAL keep{};
  ASSERT_EQ(zrfDuplicatePAL(&other_, &keep, &cc_, &rc_), KWRC_NONE);

  ASSERT_EQ(zrfMergeProperties(0, &pal_, &other_, &cc_, &rc_), KWRC_NONE);
  EXPECT_EQ(PropNames(other_), (Names_t{"b", "c", "a"}));
  ASSERT_EQ(zrfGetProperty(&other_, nullptr, "b", 1, 1208, &work_, nullptr, &cc_, &rc_),
            KWRC_UNEXPECTED_ERROR)
      << "no info structure";
  ZRFPROPINFO info{};
  ASSERT_EQ(zrfGetProperty(&other_, nullptr, "b", 1, 1208, &work_, &info, &cc_, &rc_), KWRC_NONE);
  EXPECT_EQ(info.TypeFlags, static_cast<KWULONG>(ZRF_TYPE_STRING));
  EXPECT_EQ(Names(), (Names_t{"a", "b"})) << "the source is untouched";

  ASSERT_EQ(zrfMergeProperties(ZRF_MERGE_KEEP_EXISTING, &pal_, &keep, &cc_, &rc_), KWRC_NONE);
  ASSERT_EQ(zrfGetProperty(&keep, nullptr, "b", 1, 1208, &work_, &info, &cc_, &rc_), KWRC_NONE);
  EXPECT_EQ(info.TypeFlags, static_cast<KWULONG>(ZRF_TYPE_INT32));
  EXPECT_EQ(zrfVerifyPropertiesFn(&keep, &cc_, &rc_), KWRC_NONE);
  EXPECT_EQ(zrfFreePAL(&keep, 0, &cc_, &rc_), KWRC_NONE);
}

TEST_F(WholeListTest, FailedMergeLeavesTheTargetAsItWas) {
  ASSERT_EQ(PutInt("a", 1), KWRC_NONE);
  ASSERT_EQ(PutInt(&other_, "b", 2), KWRC_NONE);
  const std::vector<uint8_t> before = InUse(other_);
  const ZRFPAL target = other_;
  for (uint32_t nth : {1u, 2u}) {  // the working copy, then the source's conversion space
    if (nth == 2) {
      ASSERT_EQ(zrfChangePropertiesCCSID(&pal_, 819, &cc_, &rc_), KWRC_NONE);
    }
    xcsInjectAllocFailure(nth, xcsRC_STORAGE_NOT_AVAILABLE, 0);
    EXPECT_EQ(zrfMergeProperties(0, &pal_, &other_, &cc_, &rc_), KWRC_STORAGE_NOT_AVAILABLE);
    xcsInjectAllocFailure(0, 0, 0);
    EXPECT_EQ(other_.pProps, target.pProps);
    EXPECT_EQ(InUse(other_), before);
  }
  ASSERT_EQ(zrfMergeProperties(0, &pal_, &other_, &cc_, &rc_), KWRC_NONE);
  EXPECT_EQ(PropNames(other_), (Names_t{"b", "a"}));
}

TEST_F(WholeListTest, MoveEmptiesTheSourceAndCreatesAMissingTarget) {
  ASSERT_EQ(PutInt("a", 1), KWRC_NONE);
  ASSERT_EQ(PutInt("b", 2), KWRC_NONE);
  ASSERT_EQ(zrfMoveProperties(0, &pal_, &other_, &cc_, &rc_), KWRC_NONE);
  EXPECT_EQ(PropNames(other_), (Names_t{"a", "b"}));
  EXPECT_EQ(other_.Size, 4096u);
  EXPECT_EQ(pal_.pProps->StrucLen, 24u);
  EXPECT_EQ(pal_.pProps->PropsLen, 0u);
  EXPECT_EQ(pal_.Size, 4096u);
}

TEST_F(WholeListTest, CcsidChangeRoundTripsAndConvertsNamesAndText) {
  TraceLines trace;
  FillAllTypes(&pal_);
  const std::vector<uint8_t> original = InUse(pal_);
  ASSERT_EQ(zrfChangePropertiesCCSID(&pal_, 500, &cc_, &rc_), KWRC_NONE);
  EXPECT_TRUE(trace.Contains("CurrentCCSID: 1208, RequestedCCSID: 500"));
  EXPECT_EQ(pal_.pProps->CCSID, 500);
  EXPECT_EQ(pal_.pProps->CCSIDType, 2);
  EXPECT_EQ(FirstNode()[15], 0x87) << "'g' in EBCDIC";
  EXPECT_EQ(FirstNode()[15 + 5 + 1], 0x51) << "e acute in code page 500";
  EXPECT_EQ(zrfVerifyPropertiesFn(&pal_, &cc_, &rc_), KWRC_NONE);
  // Groups still work with the EBCDIC full stop.
  ASSERT_EQ(PutInt("grp.z", 0), KWRC_NONE);
  ASSERT_EQ(zrfDeleteNamedProperty(&pal_, "grp.z", 5, 1208, &work_, &cc_, &rc_), KWRC_NONE);

  ASSERT_EQ(zrfChangePropertiesCCSID(&pal_, 1208, &cc_, &rc_), KWRC_NONE);
  EXPECT_EQ(InUse(pal_), original);
}

TEST_F(WholeListTest, GroupsFollowTheTwoByteFullStopInUcs2Lists) {
  ASSERT_EQ(PutInt("a.x", 0), KWRC_NONE);
  ASSERT_EQ(PutInt("b", 0), KWRC_NONE);
  ASSERT_EQ(zrfChangePropertiesCCSID(&pal_, 1200, &cc_, &rc_), KWRC_NONE);
  EXPECT_EQ(pal_.pProps->CCSIDType, 4);
  EXPECT_EQ(0, std::memcmp(FirstNode() + 15, "a\0.\0x\0", 6));
  ASSERT_EQ(PutInt("a.y", 0), KWRC_NONE);  // given in UTF-8, stored in UCS-2
  ASSERT_EQ(zrfChangePropertiesCCSID(&pal_, 1208, &cc_, &rc_), KWRC_NONE);
  EXPECT_EQ(Names(), (Names_t{"a.x", "a.y", "b"}));
}

TEST_F(WholeListTest, UnconvertibleValueGives2119AndNoChange) {
  ASSERT_EQ(PutString("price", "10 \xE2\x82\xAC"), KWRC_NONE);  // euro sign
  const std::vector<uint8_t> before = InUse(pal_);
  const ZRFPAL was = pal_;
  EXPECT_EQ(zrfChangePropertiesCCSID(&pal_, 819, &cc_, &rc_), KWRC_NOT_CONVERTED);
  EXPECT_EQ(rc_, KWRC_NOT_CONVERTED);
  EXPECT_EQ(pal_.pProps, was.pProps);
  EXPECT_EQ(InUse(pal_), before);
  EXPECT_EQ(zrfChangePropertiesCCSID(&pal_, 4242, &cc_, &rc_), KWRC_NOT_CONVERTED);
  xcsInjectAllocFailure(1, xcsRC_STORAGE_NOT_AVAILABLE, 0);
  EXPECT_EQ(zrfChangePropertiesCCSID(&pal_, 1200, &cc_, &rc_), KWRC_STORAGE_NOT_AVAILABLE);
  xcsInjectAllocFailure(0, 0, 0);
  EXPECT_EQ(InUse(pal_), before);
}

TEST_F(WholeListTest, ByteSwapTwiceIsTheIdentity) {
  FillAllTypes(&pal_);
  const std::vector<uint8_t> original = InUse(pal_);
  const uint32_t strucLen = pal_.pProps->StrucLen;
  ASSERT_EQ(zrfByteSwapProperties(ZRF_SWAP_LIST_IS_NATIVE, &pal_, &cc_, &rc_), KWRC_NONE);
  EXPECT_EQ(pal_.pProps->StrucLen, __builtin_bswap32(strucLen));
  EXPECT_EQ(U32At(FirstNode()), __builtin_bswap32(ZRF_TYPE_STRING));
  EXPECT_EQ(U32At(FirstNode() + 8), __builtin_bswap32(6u)) << "string length";
  ASSERT_EQ(zrfByteSwapProperties(ZRF_SWAP_LIST_IS_REVERSED, &pal_, &cc_, &rc_), KWRC_NONE);
  EXPECT_EQ(InUse(pal_), original);

  // Read in the wrong order the list cannot be walked, and stays as it was.
  EXPECT_EQ(zrfByteSwapProperties(ZRF_SWAP_LIST_IS_REVERSED, &pal_, &cc_, &rc_),
            KWRC_UNEXPECTED_ERROR);
  EXPECT_EQ(InUse(pal_), original);
}

// Damage done to a valid list, and what the check must say.
struct Damage {
  const char* label;
  void (*apply)(ZRFPAL* pal);
};

uint8_t* NodeOf(ZRFPAL* pal) { return reinterpret_cast<uint8_t*>(pal->pProps) + 24; }

const Damage kDamage[] = {
    {"eye-catcher", [](ZRFPAL* pal) { pal->pProps->StrucId[0] = 'z'; }},
    {"version", [](ZRFPAL* pal) { pal->pProps->VersionFlags = 0x01000002; }},
    {"StrucLen beyond size", [](ZRFPAL* pal) { pal->pProps->StrucLen = pal->Size + 4; }},
    {"StrucLen below header", [](ZRFPAL* pal) { pal->pProps->StrucLen = 20; }},
    {"PropsLen", [](ZRFPAL* pal) { pal->pProps->PropsLen += 1; }},
    {"node overruns", [](ZRFPAL* pal) { NodeOf(pal)[12] = 0xF0; }},  // name length of "s"
    {"unknown type", [](ZRFPAL* pal) { NodeOf(pal)[0] = 0x33; }},
    {"zero byte", [](ZRFPAL* pal) { NodeOf(pal)[15 + 1 + 5] = 'x'; }},
    {"empty name", [](ZRFPAL* pal) { NodeOf(pal)[12] = 0; }},
};

TEST_F(WholeListTest, VerifyCatchesEveryDamage) {
  ASSERT_EQ(PutString("s", "value"), KWRC_NONE);
  ASSERT_EQ(PutInt("t", 1), KWRC_NONE);
  EXPECT_EQ(zrfVerifyPropertiesFn(&pal_, &cc_, &rc_), KWRC_NONE);
  const std::vector<uint8_t> good = InUse(pal_);
  for (const Damage& d : kDamage) {
    SCOPED_TRACE(d.label);
    const uint32_t records = xcsFailureRecordCount();
    d.apply(&pal_);
    EXPECT_EQ(zrfVerifyPropertiesFn(&pal_, &cc_, &rc_), KWRC_UNEXPECTED_ERROR);
    EXPECT_EQ(cc_, KWCC_FAILED);
    EXPECT_EQ(xcsFailureRecordCount(), records + 1);
    std::memcpy(pal_.pProps, good.data(), good.size());
  }
  EXPECT_EQ(zrfVerifyPropertiesFn(&pal_, &cc_, &rc_), KWRC_NONE);
}

TEST_F(WholeListTest, DamagedListsAreRefusedWithoutHarm) {
  ASSERT_EQ(PutString("s", "value"), KWRC_NONE);
  const std::vector<uint8_t> good = InUse(pal_);
  for (const Damage& d : kDamage) {
    // Damage that leaves the nodes walkable is for the full check only.
    const std::string label = d.label;
    if (label == "PropsLen" || label == "zero byte" || label == "empty name") continue;
    SCOPED_TRACE(d.label);
    d.apply(&pal_);
    const std::vector<uint8_t> damaged(reinterpret_cast<uint8_t*>(pal_.pProps),
                                       reinterpret_cast<uint8_t*>(pal_.pProps) + good.size());
    ZRFPROPINFO info{};
    KWULONG offset;
    KWLONG modify;
    EXPECT_NE(PutInt("u", 1), KWRC_NONE);
    EXPECT_NE(zrfLocatePropertyNode(&pal_, "u", 1, &offset, &cc_, &rc_), KWRC_NONE);
    EXPECT_NE(zrfGetNamedProperty(0, &pal_, &cursor_, "%", 1, 1208, &work_, &info, &cc_, &rc_),
              KWRC_NONE);
    EXPECT_NE(zrfCheckCopyOptions(&pal_, KWCOPY_REPLY, &modify, &cc_, &rc_), KWRC_NONE);
    EXPECT_NE(zrfByteSwapProperties(0, &pal_, &cc_, &rc_), KWRC_NONE);
    EXPECT_NE(zrfChangePropertiesCCSID(&pal_, 500, &cc_, &rc_), KWRC_NONE);
    EXPECT_EQ(0, std::memcmp(pal_.pProps, damaged.data(), damaged.size()));
    std::memcpy(pal_.pProps, good.data(), good.size());
  }
}

TEST_F(WholeListTest, CopyOptionsDecideWhetherAListMustBeRewritten) {
  TraceLines trace;
  KWLONG required = -1;
  ASSERT_EQ(zrfCheckCopyOptions(&pal_, KWCOPY_REPLY, &required, &cc_, &rc_), KWRC_NONE);
  EXPECT_EQ(required, 0) << "no list";
  pd_ = MakePD(KWCOPY_DEFAULT);  // forward, publish, report
  ASSERT_EQ(PutInt("d", 1), KWRC_NONE);
  pd_ = MakePD(KWCOPY_ALL);
  ASSERT_EQ(PutInt("e", 1), KWRC_NONE);
  struct {
    KWLONG purpose;
    KWLONG required;
  } const cases[] = {{KWCOPY_FORWARD, 0},
                     {KWCOPY_PUBLISH, 0},
                     {KWCOPY_REPORT, 0},
                     {KWCOPY_REPLY, 1},
                     {KWCOPY_ALL, 0}};
  for (const auto& c : cases) {
    ASSERT_EQ(zrfCheckCopyOptions(&pal_, c.purpose, &required, &cc_, &rc_), KWRC_NONE);
    EXPECT_EQ(required, c.required) << "purpose " << c.purpose;
  }
  EXPECT_TRUE(trace.Contains("ModificationRequired: TRUE"));
  EXPECT_TRUE(trace.Contains("ModificationRequired: FALSE"));
}

}  // namespace
}  // namespace zxv::test
