// Failure injection for mutex requests, and the inline accessors of the
// calling thread's and the process's blocks that the lock paths read.
#include <gtest/gtest.h>
#include <unistd.h>

#include <thread>

#include "zxvxcs2/xcs_mutex.h"
#include "zxvxcs2/xcs_thread.h"

namespace {

class MutexInjectionTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(xcsCreateMutex(&mutex_), xcsRC_OK); }
  void TearDown() override {
    xcsInjectMutexFailure(0, 0, 0);
    EXPECT_EQ(xcsDestroyMutex(mutex_), xcsRC_OK);
  }
  xcsMUTEX* mutex_ = nullptr;
};

// The nth request fails with the chosen code and leaves the mutex free;
// with repeat every later one fails too.
TEST_F(MutexInjectionTest, InjectedRequestFailuresLeaveTheMutexFree) {
  xcsInjectMutexFailure(2, xcsRC_MUTEX_TIMEOUT, 0);
  ASSERT_EQ(xcsRequestMutex(mutex_, XCS_WAIT_FOREVER), xcsRC_OK);
  EXPECT_EQ(xcsRequestMutex(mutex_, XCS_WAIT_FOREVER), xcsRC_MUTEX_TIMEOUT);
  EXPECT_EQ(xcsReleaseMutex(mutex_), xcsRC_OK);
  EXPECT_FALSE(xcsMutexHeldByMe(mutex_));
  EXPECT_EQ(xcsRequestMutex(mutex_, XCS_NO_WAIT), xcsRC_OK);  // the 3rd: not armed
  EXPECT_EQ(xcsReleaseMutex(mutex_), xcsRC_OK);

  xcsInjectMutexFailure(1, xcsRC_OK, 1);  // a success code becomes an error
  EXPECT_EQ(xcsRequestMutex(mutex_, XCS_NO_WAIT), xcsRC_MUTEX_ERROR);
  EXPECT_EQ(xcsRequestMutex(mutex_, XCS_NO_WAIT), xcsRC_MUTEX_ERROR);
  EXPECT_FALSE(xcsMutexHeldByMe(mutex_));
  xcsInjectMutexFailure(0, 0, 0);
  EXPECT_EQ(xcsRequestMutex(mutex_, XCS_NO_WAIT), xcsRC_OK);
  EXPECT_EQ(xcsReleaseMutex(mutex_), xcsRC_OK);
}

// The inline accessors give what the calls give, on every thread, whether
// or not the thread has called into the layer before.
TEST(ThreadAccessors, MatchTheCalls) {
  auto check = [] {
    const uint32_t id = xihCurrentThread()->ThreadId;
    EXPECT_EQ(xihCurrentThread(), xihGetThread());
    EXPECT_EQ(xihCurrentThread()->ThreadId, id);
    EXPECT_EQ(xihCurrentProcessId(), xihGetProcess()->ProcessId);
    EXPECT_EQ(xihCurrentProcessId(), static_cast<int32_t>(::getpid()));
  };
  check();
  const uint32_t main = xihCurrentThread()->ThreadId;
  uint32_t other = 0;
  std::thread([&] {
    check();
    other = xihCurrentThread()->ThreadId;
  }).join();
  EXPECT_NE(other, 0u);
  EXPECT_NE(other, main);
}

}  // namespace
