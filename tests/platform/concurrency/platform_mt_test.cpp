// The layer's shared state under concurrent use: converter caches, the
// environment cache, the named-mutex registry, allocator counters, failure
// records and trace output.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "zxvxcs2/zxvxcs2.h"

namespace {

constexpr int kThreads = 4;

template <typename Body>
void RunOnThreads(Body body) {
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) threads.emplace_back(body, t);
  for (std::thread& thread : threads) thread.join();
}

TEST(ConcurrencyTest, ConvertersAreCachedPerThread) {
  RunOnThreads([](int t) {
    const int32_t ebcdic[] = {37, 500, 1047, 273};
    const int32_t ccsid = ebcdic[t % 4];
    for (int i = 0; i < 200; ++i) {
      const char text[] = "Hello, world 0123456789";
      uint8_t there[64];
      char back[64];
      uint32_t used = 0;
      ASSERT_EQ(xcsConvertString(1208, 546, text, sizeof text - 1, ccsid, 546, there, sizeof there,
                                 &used),
                xcsRC_OK);
      ASSERT_EQ(xcsConvertString(ccsid, 546, there, used, 1208, 546, back, sizeof back, &used),
                xcsRC_OK);
      ASSERT_EQ(std::string(back, used), text);
      ASSERT_EQ(xcsGetCCSIDType(ccsid, 546), XCS_CCSID_TYPE_EBCDIC);
    }
  });
}

TEST(ConcurrencyTest, EnvironmentCacheIsShared) {
  ::setenv("ZXV_MT_TEST", "shared", 1);
  xcsClearEnvCache();
  std::atomic<const char*> first{nullptr};
  RunOnThreads([&first](int) {
    for (int i = 0; i < 500; ++i) {
      const char* value = xcsGetEnv("ZXV_MT_TEST");
      ASSERT_NE(value, nullptr);
      ASSERT_STREQ(value, "shared");
      const char* expected = nullptr;
      first.compare_exchange_strong(expected, value);
      ASSERT_EQ(first.load(), value);  // one cached copy for every thread
      ASSERT_EQ(xcsGetEnv("ZXV_MT_ABSENT"), nullptr);
    }
  });
  ::unsetenv("ZXV_MT_TEST");
  xcsClearEnvCache();
}

TEST(ConcurrencyTest, NamedMutexSerialisesThreads) {
  long counter = 0;
  RunOnThreads([&counter](int) {
    xcsMUTEX* m = nullptr;
    ASSERT_EQ(xcsCreateNamedMutex("ZxvMtCounter", &m), xcsRC_OK);
    for (int i = 0; i < 1000; ++i) {
      ASSERT_EQ(xcsRequestMutex(m, XCS_WAIT_FOREVER), xcsRC_OK);
      ASSERT_EQ(xcsRequestMutex(m, XCS_NO_WAIT), xcsRC_OK);  // recursive
      ++counter;
      ASSERT_EQ(xcsReleaseMutex(m), xcsRC_OK);
      ASSERT_EQ(xcsReleaseMutex(m), xcsRC_OK);
    }
    ASSERT_EQ(xcsDeleteNamedMutex(m), xcsRC_OK);
  });
  EXPECT_EQ(counter, kThreads * 1000L);
}

TEST(ConcurrencyTest, AllocatorCountsStayExact) {
  const int64_t outstanding = xcsOutstandingBlocks();
  const uint64_t count = xcsAllocCount();
  RunOnThreads([](int) {
    for (int i = 0; i < 1000; ++i) {
      void* p = nullptr;
      ASSERT_EQ(xcsGetMemFn(32, &p), xcsRC_OK);
      ASSERT_EQ(xcsReallocMemFn(p, 64, &p), xcsRC_OK);
      xcsFreeMemFn(p);
    }
  });
  EXPECT_EQ(xcsOutstandingBlocks(), outstanding);
  EXPECT_EQ(xcsAllocCount(), count + kThreads * 2000u);
}

TEST(ConcurrencyTest, RepeatedInjectionFailsEveryThread) {
  xcsInjectAllocFailure(1, xcsRC_STORAGE_NOT_AVAILABLE, 1);
  std::atomic<int> failures{0};
  RunOnThreads([&failures](int) {
    for (int i = 0; i < 100; ++i) {
      void* p = nullptr;
      if (xcsGetMemFn(8, &p) == xcsRC_STORAGE_NOT_AVAILABLE) ++failures;
      xcsFreeMemFn(p);
    }
  });
  xcsInjectAllocFailure(0, 0, 0);
  EXPECT_EQ(failures, kThreads * 100);
}

TEST(ConcurrencyTest, FailureRecordsGetDistinctFiles) {
  const uint32_t before = xcsFailureRecordCount();
  RunOnThreads([](int t) {
    for (int i = 0; i < 10; ++i) xcsERDPSFn(0x5A55, __FILE__, __LINE__, 0, nullptr, 0, "t%d", t);
  });
  EXPECT_EQ(xcsFailureRecordCount(), before + kThreads * 10);
}

std::atomic<int> g_lines{0};
void CountLine(void*, const char* line) {
  if (std::strchr(line, '{') != nullptr || std::strchr(line, '}') != nullptr) ++g_lines;
}

TEST(ConcurrencyTest, TraceFromManyThreads) {
  xtrSetSink(CountLine, nullptr);
  xtrSetLevel(XTR_LEVEL_FLOW);
  RunOnThreads([](int) {
    const int32_t depth = xihGetThread()->TraceDepth;
    for (int i = 0; i < 100; ++i) {
      xtr_FNC_entry(0x5A55, 1);
      xtr_FNC_retcode(0x5A55, 1, 0);
    }
    ASSERT_EQ(xihGetThread()->TraceDepth, depth);
  });
  xtrSetLevel(XTR_LEVEL_OFF);
  xtrSetSink(nullptr, nullptr);
  EXPECT_EQ(g_lines, kThreads * 200);
}

}  // namespace
