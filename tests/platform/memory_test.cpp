// The allocator: failure injection and counters.
#include <gtest/gtest.h>

#include "zxvxcs2/xcs_memory.h"

namespace {

class MemoryTest : public ::testing::Test {
 protected:
  void TearDown() override { xcsInjectAllocFailure(0, 0, 0); }
};

TEST_F(MemoryTest, AllocatesAndCountsOutstandingBlocks) {
  const int64_t outstanding = xcsOutstandingBlocks();
  const uint64_t allocations = xcsAllocCount();
  void* a = nullptr;
  void* b = nullptr;
  void* c = nullptr;
  ASSERT_EQ(xcsGetMemFn(16, &a), xcsRC_OK);
  ASSERT_EQ(xcsGetMemFn(0, &b), xcsRC_OK);               // zero is served as one byte
  ASSERT_EQ(xcsReallocMemFn(nullptr, 8, &c), xcsRC_OK);  // a realloc of null allocates
  ASSERT_NE(a, nullptr);
  ASSERT_NE(b, nullptr);
  EXPECT_EQ(xcsOutstandingBlocks(), outstanding + 3);
  void* grown = nullptr;
  ASSERT_EQ(xcsReallocMemFn(a, 4096, &grown), xcsRC_OK);
  EXPECT_EQ(xcsOutstandingBlocks(), outstanding + 3);  // a realloc moves, not adds
  EXPECT_EQ(xcsAllocCount(), allocations + 4);
  EXPECT_EQ(xcsFreeMemFn(grown), xcsRC_OK);
  EXPECT_EQ(xcsFreeMemFn(b), xcsRC_OK);
  EXPECT_EQ(xcsFreeMemFn(c), xcsRC_OK);
  EXPECT_EQ(xcsFreeMemFn(nullptr), xcsRC_OK);
  EXPECT_EQ(xcsOutstandingBlocks(), outstanding);
  EXPECT_EQ(xcsGetMemFn(8, nullptr), xcsRC_INVALID_PARAMETER);
  EXPECT_EQ(xcsReallocMemFn(nullptr, 8, nullptr), xcsRC_INVALID_PARAMETER);
}

TEST_F(MemoryTest, NthAllocationFailsOnceOrFromThenOn) {
  const int64_t outstanding = xcsOutstandingBlocks();
  xcsInjectAllocFailure(2, xcsRC_STORAGE_NOT_AVAILABLE_2, 0);
  void* first = nullptr;
  void* second = reinterpret_cast<void*>(1);
  void* third = nullptr;
  EXPECT_EQ(xcsGetMemFn(8, &first), xcsRC_OK);
  EXPECT_EQ(xcsGetMemFn(8, &second), xcsRC_STORAGE_NOT_AVAILABLE_2);
  EXPECT_EQ(second, nullptr);
  EXPECT_EQ(xcsGetMemFn(8, &third), xcsRC_OK);
  xcsFreeMemFn(first);
  xcsFreeMemFn(third);
  EXPECT_EQ(xcsOutstandingBlocks(), outstanding);

  xcsInjectAllocFailure(1, xcsRC_RESOURCE_PROBLEM, 1);
  for (int i = 0; i < 3; ++i) {
    void* p = nullptr;
    EXPECT_EQ(xcsGetMemFn(8, &p), xcsRC_RESOURCE_PROBLEM);
  }
  // An injected 0 must not hand out a null block as success.
  xcsInjectAllocFailure(1, xcsRC_OK, 0);
  void* p = nullptr;
  EXPECT_EQ(xcsGetMemFn(8, &p), xcsRC_STORAGE_NOT_AVAILABLE);
  EXPECT_EQ(xcsOutstandingBlocks(), outstanding);
}

TEST_F(MemoryTest, FailedReallocLeavesTheBlockAlone) {
  void* p = nullptr;
  ASSERT_EQ(xcsGetMemFn(4, &p), xcsRC_OK);
  static_cast<char*>(p)[0] = 'k';
  xcsInjectAllocFailure(1, xcsRC_STORAGE_NOT_AVAILABLE_TRACE, 0);
  void* grown = p;
  EXPECT_EQ(xcsReallocMemFn(p, 64, &grown), xcsRC_STORAGE_NOT_AVAILABLE_TRACE);
  EXPECT_EQ(grown, nullptr);
  EXPECT_EQ(static_cast<char*>(p)[0], 'k');
  xcsFreeMemFn(p);
}

}  // namespace
