// The allocator's kept block: a freed work buffer served again and regrown
// in place must look to callers exactly like fresh storage (content of a
// regrown block, counters, failure injection), also across threads.
#include <gtest/gtest.h>

#include <cstring>
#include <thread>
#include <vector>

#include "zxvxcs2/xcs_memory.h"

namespace {

class MemoryKeepTest : public ::testing::Test {
 protected:
  void TearDown() override { xcsInjectAllocFailure(0, 0, 0); }
};

// A 4 KB buffer grown twice by doubling, as the header writers grow theirs:
// twice in a row, so that the second round is served from what the first
// freed.
TEST_F(MemoryKeepTest, RegrownBufferKeepsItsBytesAndTheCountersHold) {
  const int64_t outstanding = xcsOutstandingBlocks();
  for (int round = 0; round < 2; ++round) {
    const uint64_t allocations = xcsAllocCount();
    void* block = nullptr;
    ASSERT_EQ(xcsGetMemFn(4096, &block), xcsRC_OK);
    std::memset(block, 'a' + round, 4096);
    for (size_t size : {8192u, 16384u}) {
      void* grown = nullptr;
      ASSERT_EQ(xcsReallocMemFn(block, size, &grown), xcsRC_OK);
      block = grown;
      std::memset(static_cast<char*>(block) + size / 2, 'z', size / 2);
    }
    const auto* bytes = static_cast<const char*>(block);
    EXPECT_EQ(bytes[0], 'a' + round);
    EXPECT_EQ(bytes[4095], 'a' + round);
    EXPECT_EQ(bytes[16383], 'z');
    EXPECT_EQ(xcsAllocCount(), allocations + 3);
    EXPECT_EQ(xcsOutstandingBlocks(), outstanding + 1);
    EXPECT_EQ(xcsFreeMemFn(block), xcsRC_OK);
    EXPECT_EQ(xcsOutstandingBlocks(), outstanding);
  }
}

TEST_F(MemoryKeepTest, InjectedFailuresCountAllocationsThatReuseABlock) {
  void* block = nullptr;
  ASSERT_EQ(xcsGetMemFn(4096, &block), xcsRC_OK);
  xcsFreeMemFn(block);
  xcsInjectAllocFailure(1, xcsRC_RESOURCE_PROBLEM, 0);
  EXPECT_EQ(xcsGetMemFn(4096, &block), xcsRC_RESOURCE_PROBLEM);
  EXPECT_EQ(block, nullptr);
  ASSERT_EQ(xcsGetMemFn(4096, &block), xcsRC_OK);
  // A regrowth that the block would hold fails as injected all the same.
  xcsInjectAllocFailure(1, xcsRC_STORAGE_NOT_AVAILABLE_2, 0);
  void* grown = block;
  EXPECT_EQ(xcsReallocMemFn(block, 4100, &grown), xcsRC_STORAGE_NOT_AVAILABLE_2);
  EXPECT_EQ(grown, nullptr);
  xcsFreeMemFn(block);
}

// Threads that end holding a kept block free it on the way out (a double
// free or a leak here shows under the sanitizers and in the counters).
TEST_F(MemoryKeepTest, ThreadsEndingWithAKeptBlock) {
  const int64_t outstanding = xcsOutstandingBlocks();
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([] {
      for (int i = 0; i < 3; ++i) {
        void* block = nullptr;
        if (xcsGetMemFn(4096 << i, &block) != xcsRC_OK) return;
        std::memset(block, i, 4096);
        xcsFreeMemFn(block);
      }
    });
  }
  for (std::thread& t : threads) t.join();
  EXPECT_EQ(xcsOutstandingBlocks(), outstanding);
}

}  // namespace
