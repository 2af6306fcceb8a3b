// The list as a block: header, creation, growth, allocation failures during
// growth, and the PAL operations (allocate, free, duplicate, reallocate).
#include <algorithm>
#include <string>

#include "tests/props/property_test_util.h"

namespace zxv::test {
namespace {

uint32_t Padded(uint32_t raw) { return (raw + 3) & ~3u; }

TEST_F(PropertyStoreTest, FirstAppendCreatesA4096ByteListInUtf8) {
  TraceLines trace;
  ASSERT_EQ(PutInt("a", 1), KWRC_NONE);
  EXPECT_EQ(cc_, KWCC_OK);
  EXPECT_EQ(rc_, KWRC_NONE);
  EXPECT_TRUE(trace.Contains("Initialising properties to default values"));
  ASSERT_NE(pal_.pProps, nullptr);
  EXPECT_EQ(pal_.Size, 4096u);
  EXPECT_EQ(0, std::memcmp(pal_.pProps->StrucId, "ZRFP", 4));
  EXPECT_EQ(pal_.pProps->VersionFlags, 0x01000001u);
  EXPECT_EQ(pal_.pProps->CCSID, 1208);
  EXPECT_EQ(pal_.pProps->CCSIDType, 3);
  EXPECT_EQ(pal_.pProps->StrucLen, 24u + 16u);
  EXPECT_EQ(pal_.pProps->PropsLen, 5u);

  // Deleting the only property gives the empty list: 24 bytes, PropsLen 0.
  ASSERT_EQ(zrfDeleteNamedProperty(&pal_, "a", 1, 1208, nullptr, &cc_, &rc_), KWRC_NONE);
  EXPECT_EQ(pal_.pProps->StrucLen, 24u);
  EXPECT_EQ(pal_.pProps->PropsLen, 0u);
  EXPECT_EQ(pal_.Size, 4096u);
}

TEST_F(PropertyStoreTest, DefaultHeaderOfCcsidZeroTakesUtf8AtFirstAppend) {
  // The header a message handle writes: "ZRFP", 0x01000001, 24, 0, CCSID 0.
  ASSERT_EQ(PutInt("seed", 0), KWRC_NONE);
  ASSERT_EQ(zrfDeleteNamedProperty(&pal_, "seed", 4, 0, nullptr, nullptr, nullptr), KWRC_NONE);
  pal_.pProps->CCSID = 0;
  pal_.pProps->CCSIDType = 0;
  ASSERT_EQ(PutString("a", "b", 819), KWRC_NONE);
  EXPECT_EQ(pal_.pProps->CCSID, 1208);
  EXPECT_EQ(pal_.pProps->CCSIDType, 3);
}

TEST_F(PropertyStoreTest, GrowthDoublesNodePlusSizeAndKeepsEarlierNodes) {
  const std::string big(1000, 'v');
  const uint32_t node = Padded(16 + 2 + 1000);  // byte string named "pN"
  std::vector<uint8_t> before;
  KWULONG sizeBefore = 0;
  for (int i = 0; i < 10; ++i) {
    const std::string name = "p" + std::to_string(i);
    before = InUse(pal_);
    sizeBefore = pal_.Size;
    const uint32_t inUse = pal_.pProps == nullptr ? 0 : pal_.pProps->StrucLen;
    ASSERT_EQ(Append(name, ZRF_TYPE_BYTE_STRING, big.data(), 1000), KWRC_NONE);
    if (sizeBefore != 0 && inUse + node > sizeBefore) {
      EXPECT_EQ(pal_.Size, 2 * (node + sizeBefore)) << "growth at property " << i;
      ASSERT_GE(InUse(pal_).size(), before.size());
      const std::vector<uint8_t> after = InUse(pal_);
      EXPECT_TRUE(std::equal(before.begin() + ZRFP_HEADER_LENGTH, before.end(),
                             after.begin() + ZRFP_HEADER_LENGTH))
          << "earlier nodes stay where they were relative to the start";
      return;
    }
  }
  FAIL() << "the list never grew";
}

struct StorageCase {
  xcsRC code;
  KWLONG reason;
  bool record;
};

const StorageCase kStorageCases[] = {
    {xcsRC_STORAGE_NOT_AVAILABLE, KWRC_STORAGE_NOT_AVAILABLE, false},
    {xcsRC_STORAGE_NOT_AVAILABLE_2, KWRC_STORAGE_NOT_AVAILABLE, false},
    {xcsRC_STORAGE_NOT_AVAILABLE_TRACE, KWRC_STORAGE_NOT_AVAILABLE, false},
    {xcsRC_RESOURCE_PROBLEM, KWRC_RESOURCE_PROBLEM, false},
    {0x20001234u, KWRC_UNEXPECTED_ERROR, true},
};

TEST_F(PropertyStoreTest, FailedGrowthLeavesTheListExactlyAsItWas) {
  const std::string big(1500, 'v');
  ASSERT_EQ(Append("x.a", ZRF_TYPE_BYTE_STRING, big.data(), 1500), KWRC_NONE);
  ASSERT_EQ(Append("y", ZRF_TYPE_BYTE_STRING, big.data(), 1500), KWRC_NONE);
  for (const StorageCase& c : kStorageCases) {
    SCOPED_TRACE(testing::Message() << std::hex << c.code);
    const std::vector<uint8_t> before = InUse(pal_);
    const ZRFPAL palBefore = pal_;
    const uint32_t records = xcsFailureRecordCount();
    xcsInjectAllocFailure(1, c.code, 0);
    // Lands in the middle (group "x"), so a move of later nodes was due.
    EXPECT_EQ(Append("x.b", ZRF_TYPE_BYTE_STRING, big.data(), 1500), c.reason);
    xcsInjectAllocFailure(0, 0, 0);
    EXPECT_EQ(cc_, KWCC_FAILED);
    EXPECT_EQ(pal_.pProps, palBefore.pProps);
    EXPECT_EQ(pal_.Size, palBefore.Size);
    EXPECT_EQ(InUse(pal_), before);
    EXPECT_EQ(xcsFailureRecordCount(), records + (c.record ? 1u : 0u));
  }
  ASSERT_EQ(Append("x.b", ZRF_TYPE_BYTE_STRING, big.data(), 1500), KWRC_NONE);
  EXPECT_EQ(Names(), (std::vector<std::string>{"x.a", "x.b", "y"}));
}

TEST_F(PropertyStoreTest, FailedCreationLeavesNoList) {
  xcsInjectAllocFailure(1, xcsRC_STORAGE_NOT_AVAILABLE, 0);
  EXPECT_EQ(PutInt("a", 1), KWRC_STORAGE_NOT_AVAILABLE);
  xcsInjectAllocFailure(0, 0, 0);
  EXPECT_EQ(pal_.pProps, nullptr);
  EXPECT_EQ(pal_.Size, 0u);

  // A first node too big for 4096 bytes: creation works, growth fails.
  const std::string big(5000, 'v');
  xcsInjectAllocFailure(2, xcsRC_RESOURCE_PROBLEM, 0);
  EXPECT_EQ(Append("a", ZRF_TYPE_BYTE_STRING, big.data(), 5000), KWRC_RESOURCE_PROBLEM);
  xcsInjectAllocFailure(0, 0, 0);
  EXPECT_EQ(pal_.pProps, nullptr);
}

TEST_F(PropertyStoreTest, CopyOptions256FailsAndLeavesTheListUnchanged) {
  ASSERT_EQ(PutInt("a", 1), KWRC_NONE);
  const std::vector<uint8_t> before = InUse(pal_);
  const uint32_t records = xcsFailureRecordCount();
  pd_ = MakePD(256);
  EXPECT_EQ(PutInt("b", 2), KWRC_UNEXPECTED_ERROR);
  EXPECT_EQ(PutInt("a", 2), KWRC_UNEXPECTED_ERROR);
  EXPECT_EQ(InUse(pal_), before);
  EXPECT_EQ(xcsFailureRecordCount(), records + 2);
  char path[512];
  char comment[256];
  uint32_t probe;
  xcsRC rc;
  xcsLastFailureRecord(path, sizeof path, comment, sizeof comment, &probe, &rc);
  EXPECT_STREQ(comment, "CopyOptions cannot be stored");
}

TEST_F(PropertyStoreTest, UnknownTypeIsRefusedWithARecord) {
  TraceLines trace;
  const uint32_t records = xcsFailureRecordCount();
  const int32_t v = 0;
  EXPECT_EQ(Append("a", 12, &v, 4), KWRC_UNEXPECTED_ERROR);
  EXPECT_TRUE(trace.Contains("Unrecognized property type"));
  EXPECT_EQ(xcsFailureRecordCount(), records + 1);
}

TEST_F(PropertyStoreTest, AllocatePalFillsTheDescriptor) {
  TraceLines trace;
  ASSERT_EQ(PutInt("a", 1), KWRC_NONE);
  ZRFPAL* pal = nullptr;
  ASSERT_EQ(zrfAllocatePAL(pal_.pProps, pal_.Size, &pal, &cc_, &rc_), KWRC_NONE);
  EXPECT_TRUE(trace.Contains("pPAL: "));
  EXPECT_EQ(pal->pProps, pal_.pProps);
  EXPECT_EQ(pal->Size, 4096u);
  pal_ = ZRFPAL{};  // the descriptor owns the list now
  EXPECT_EQ(zrfFreePAL(pal, ZRF_FREE_DESCRIPTOR, &cc_, &rc_), KWRC_NONE);

  ASSERT_EQ(zrfAllocatePAL(nullptr, 77, &pal, &cc_, &rc_), KWRC_NONE);
  EXPECT_EQ(pal->pProps, nullptr);
  EXPECT_EQ(pal->Size, 0u);
  EXPECT_EQ(zrfFreePAL(pal, ZRF_FREE_DESCRIPTOR, &cc_, &rc_), KWRC_NONE);

  xcsInjectAllocFailure(1, xcsRC_STORAGE_NOT_AVAILABLE_2, 0);
  EXPECT_EQ(zrfAllocatePAL(nullptr, 0, &pal, &cc_, &rc_), KWRC_STORAGE_NOT_AVAILABLE);
  EXPECT_EQ(pal, nullptr);
}

TEST_F(PropertyStoreTest, FreeRefusesAListWithoutItsEyeCatcher) {
  ASSERT_EQ(PutInt("a", 1), KWRC_NONE);
  const uint32_t records = xcsFailureRecordCount();
  Bytes()[0] = 'X';
  EXPECT_EQ(zrfFreePAL(&pal_, 0, &cc_, &rc_), KWRC_UNEXPECTED_ERROR);
  EXPECT_EQ(xcsFailureRecordCount(), records + 1);
  ASSERT_NE(pal_.pProps, nullptr) << "nothing freed";
  Bytes()[0] = 'Z';
}

TEST_F(PropertyStoreTest, DuplicateIsAnIndependentCopyOfTheSameSize) {
  TraceLines trace;
  ASSERT_EQ(PutInt("a", 1), KWRC_NONE);
  ASSERT_EQ(PutString("b", "text"), KWRC_NONE);
  ASSERT_EQ(zrfDuplicatePAL(&pal_, &other_, &cc_, &rc_), KWRC_NONE);
  EXPECT_TRUE(trace.Contains("pPALin: "));
  EXPECT_TRUE(trace.Contains("pPALout: "));
  EXPECT_NE(other_.pProps, pal_.pProps);
  EXPECT_EQ(other_.Size, pal_.Size);
  EXPECT_EQ(InUse(other_), InUse(pal_));
  ASSERT_EQ(PutInt("c", 3), KWRC_NONE);
  EXPECT_EQ(PropNames(other_), (std::vector<std::string>{"a", "b"}));

  ZRFPAL empty{};
  ZRFPAL out{reinterpret_cast<ZRFPROPS*>(&empty), 99, 0};
  ASSERT_EQ(zrfDuplicatePAL(&empty, &out, &cc_, &rc_), KWRC_NONE);
  EXPECT_EQ(out.pProps, nullptr);
  EXPECT_EQ(out.Size, 0u);

  ZRFPAL failed{};
  xcsInjectAllocFailure(1, xcsRC_STORAGE_NOT_AVAILABLE, 0);
  EXPECT_EQ(zrfDuplicatePAL(&pal_, &failed, &cc_, &rc_), KWRC_STORAGE_NOT_AVAILABLE);
  EXPECT_EQ(failed.pProps, nullptr);
}

TEST_F(PropertyStoreTest, ReallocateMakesTheTargetEqualToTheSource) {
  ASSERT_EQ(PutInt("a", 1), KWRC_NONE);
  // Missing target: duplicated.
  ASSERT_EQ(zrfReallocatePAL(&pal_, &other_, &cc_, &rc_), KWRC_NONE);
  EXPECT_EQ(InUse(other_), InUse(pal_));
  EXPECT_EQ(other_.Size, pal_.Size);

  // Larger source: the target grows to its size, then takes its bytes.
  const std::string big(6000, 'v');
  ASSERT_EQ(Append("big", ZRF_TYPE_BYTE_STRING, big.data(), 6000), KWRC_NONE);
  const std::vector<uint8_t> target = InUse(other_);
  xcsInjectAllocFailure(1, xcsRC_STORAGE_NOT_AVAILABLE, 0);
  EXPECT_EQ(zrfReallocatePAL(&pal_, &other_, &cc_, &rc_), KWRC_STORAGE_NOT_AVAILABLE);
  xcsInjectAllocFailure(0, 0, 0);
  EXPECT_EQ(InUse(other_), target);
  ASSERT_EQ(zrfReallocatePAL(&pal_, &other_, &cc_, &rc_), KWRC_NONE);
  EXPECT_EQ(other_.Size, pal_.Size);
  EXPECT_EQ(InUse(other_), InUse(pal_));

  // Source of size 0: the target is freed and left empty.
  const ZRFPAL none{};
  ASSERT_EQ(zrfReallocatePAL(&none, &other_, &cc_, &rc_), KWRC_NONE);
  EXPECT_EQ(other_.pProps, nullptr);
  EXPECT_EQ(other_.Size, 0u);
}

TEST_F(PropertyStoreTest, VerifySettingMarksNewListsAndGuardsEveryChange) {
  {
    const ScopedEnv on("ZXV_VERIFY_PROPERTIES", "1");
    ASSERT_EQ(PutInt("a", 1), KWRC_NONE);
  }
  EXPECT_EQ(pal_.pProps->VersionFlags, 0x01000001u | ZRFP_FLAG_VERIFY);

  pal_.pProps->PropsLen += 1;  // damage the bookkeeping
  const std::vector<uint8_t> before = InUse(pal_);
  EXPECT_EQ(PutInt("b", 2), KWRC_UNEXPECTED_ERROR);
  EXPECT_EQ(zrfDeleteNamedProperty(&pal_, "a", 1, 1208, nullptr, &cc_, &rc_),
            KWRC_UNEXPECTED_ERROR);
  EXPECT_EQ(InUse(pal_), before);
  pal_.pProps->PropsLen -= 1;
  EXPECT_EQ(PutInt("b", 2), KWRC_NONE);
}

}  // namespace
}  // namespace zxv::test
