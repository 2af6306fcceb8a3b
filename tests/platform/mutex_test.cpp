// Mutexes: recursion, timeouts, ownership, the named registry, and the
// machine-wide file lock across processes.
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>

#include "zxvxcs2/xcs_memory.h"
#include "zxvxcs2/xcs_mutex.h"

namespace {

class MutexTest : public ::testing::Test {
 protected:
  void SetUp() override {
    outstanding_ = xcsOutstandingBlocks();
    ASSERT_EQ(xcsCreateMutex(&mutex_), xcsRC_OK);
  }
  void TearDown() override {
    if (mutex_ != nullptr) {
      EXPECT_EQ(xcsDestroyMutex(mutex_), xcsRC_OK);
    }
    xcsInjectAllocFailure(0, 0, 0);
    EXPECT_EQ(xcsOutstandingBlocks(), outstanding_);
  }
  // Runs `body` on another thread and waits for it.
  template <typename Body>
  static void OnOtherThread(Body body) {
    std::thread other(body);
    other.join();
  }
  xcsMUTEX* mutex_ = nullptr;
  int64_t outstanding_ = 0;
};

TEST_F(MutexTest, IsRecursiveForItsHolderAndNotDestroyedWhileHeld) {
  EXPECT_FALSE(xcsMutexHeldByMe(mutex_));
  ASSERT_EQ(xcsRequestMutex(mutex_, XCS_WAIT_FOREVER), xcsRC_OK);
  ASSERT_EQ(xcsRequestMutex(mutex_, XCS_NO_WAIT), xcsRC_OK);
  EXPECT_TRUE(xcsMutexHeldByMe(mutex_));
  EXPECT_EQ(xcsDestroyMutex(mutex_), xcsRC_MUTEX_ERROR);
  EXPECT_EQ(xcsReleaseMutex(mutex_), xcsRC_OK);
  EXPECT_TRUE(xcsMutexHeldByMe(mutex_));  // still held once
  EXPECT_EQ(xcsReleaseMutex(mutex_), xcsRC_OK);
  EXPECT_FALSE(xcsMutexHeldByMe(mutex_));
  EXPECT_EQ(xcsReleaseMutex(mutex_), xcsRC_MUTEX_NOT_OWNER);
}

TEST_F(MutexTest, OtherThreadsTimeOutAndCannotRelease) {
  ASSERT_EQ(xcsRequestMutex(mutex_, XCS_WAIT_FOREVER), xcsRC_OK);
  OnOtherThread([this] {
    EXPECT_FALSE(xcsMutexHeldByMe(mutex_));
    EXPECT_EQ(xcsRequestMutex(mutex_, XCS_NO_WAIT), xcsRC_MUTEX_TIMEOUT);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(xcsRequestMutex(mutex_, 50), xcsRC_MUTEX_TIMEOUT);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(45));
    EXPECT_EQ(xcsReleaseMutex(mutex_), xcsRC_MUTEX_NOT_OWNER);
  });
  EXPECT_EQ(xcsReleaseMutex(mutex_), xcsRC_OK);
  OnOtherThread([this] {
    EXPECT_EQ(xcsRequestMutex(mutex_, 50), xcsRC_OK);
    EXPECT_EQ(xcsReleaseMutex(mutex_), xcsRC_OK);
  });
}

TEST_F(MutexTest, WaiterGetsTheMutexWhenReleased) {
  ASSERT_EQ(xcsRequestMutex(mutex_, XCS_WAIT_FOREVER), xcsRC_OK);
  std::atomic<bool> got{false};
  std::thread waiter([&] {
    EXPECT_EQ(xcsRequestMutex(mutex_, 5000), xcsRC_OK);
    got = true;
    EXPECT_EQ(xcsReleaseMutex(mutex_), xcsRC_OK);
  });
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  EXPECT_FALSE(got);
  EXPECT_EQ(xcsReleaseMutex(mutex_), xcsRC_OK);
  waiter.join();
  EXPECT_TRUE(got);
}

TEST_F(MutexTest, BadArgumentsAreRefused) {
  EXPECT_EQ(xcsCreateMutex(nullptr), xcsRC_INVALID_PARAMETER);
  EXPECT_EQ(xcsRequestMutex(nullptr, 0), xcsRC_INVALID_PARAMETER);
  EXPECT_EQ(xcsReleaseMutex(nullptr), xcsRC_INVALID_PARAMETER);
  EXPECT_EQ(xcsDestroyMutex(nullptr), xcsRC_INVALID_PARAMETER);
  EXPECT_FALSE(xcsMutexHeldByMe(nullptr));
  xcsMUTEX* named = nullptr;
  EXPECT_EQ(xcsCreateNamedMutex(nullptr, &named), xcsRC_INVALID_PARAMETER);
  EXPECT_EQ(xcsCreateNamedMutex("", &named), xcsRC_INVALID_PARAMETER);
  EXPECT_EQ(xcsCreateNamedMutex("Name", nullptr), xcsRC_INVALID_PARAMETER);
  EXPECT_EQ(xcsDeleteNamedMutex(nullptr), xcsRC_INVALID_PARAMETER);
  xcsFILELOCK* lock = nullptr;
  EXPECT_EQ(xcsLockFile(nullptr, &lock), xcsRC_INVALID_PARAMETER);
  EXPECT_EQ(xcsLockFile("", &lock), xcsRC_INVALID_PARAMETER);
  EXPECT_EQ(xcsLockFile("../escape", &lock), xcsRC_INVALID_PARAMETER);
  EXPECT_EQ(xcsLockFile("zxv_lock", nullptr), xcsRC_INVALID_PARAMETER);
  EXPECT_EQ(xcsLockFile(std::string(5000, 'n').c_str(), &lock), xcsRC_INVALID_PARAMETER);
  EXPECT_EQ(xcsUnlockFile(nullptr), xcsRC_INVALID_PARAMETER);
}

// Each allocation of a mutex, a named mutex (registry entry and mutex) and a
// file lock fails cleanly with the allocator's code.
TEST_F(MutexTest, StorageFailuresArePassedUpAndLeaveNothing) {
  xcsMUTEX* m = reinterpret_cast<xcsMUTEX*>(1);
  xcsInjectAllocFailure(1, xcsRC_STORAGE_NOT_AVAILABLE, 0);
  EXPECT_EQ(xcsCreateMutex(&m), xcsRC_STORAGE_NOT_AVAILABLE);
  EXPECT_EQ(m, nullptr);
  for (uint32_t nth : {1u, 2u}) {
    xcsInjectAllocFailure(nth, xcsRC_STORAGE_NOT_AVAILABLE_2, 0);
    EXPECT_EQ(xcsCreateNamedMutex("Starved", &m), xcsRC_STORAGE_NOT_AVAILABLE_2) << nth;
    EXPECT_EQ(m, nullptr);
  }
  xcsFILELOCK* lock = reinterpret_cast<xcsFILELOCK*>(1);
  xcsInjectAllocFailure(1, xcsRC_RESOURCE_PROBLEM, 0);
  EXPECT_EQ(xcsLockFile("zxv_starved", &lock), xcsRC_RESOURCE_PROBLEM);
  EXPECT_EQ(lock, nullptr);
  xcsInjectAllocFailure(0, 0, 0);
  ASSERT_EQ(xcsCreateNamedMutex("Starved", &m), xcsRC_OK);
  EXPECT_EQ(xcsDeleteNamedMutex(m), xcsRC_OK);
}

TEST_F(MutexTest, NamedMutexesAreSharedByName) {
  xcsMUTEX* a = nullptr;
  xcsMUTEX* b = nullptr;
  xcsMUTEX* c = nullptr;
  ASSERT_EQ(xcsCreateNamedMutex("IniFileLock", &a), xcsRC_OK);
  ASSERT_EQ(xcsCreateNamedMutex("IniFileLock", &b), xcsRC_OK);
  ASSERT_EQ(xcsCreateNamedMutex("OtherLock", &c), xcsRC_OK);
  EXPECT_EQ(a, b);
  EXPECT_NE(a, c);
  EXPECT_EQ(xcsDestroyMutex(a), xcsRC_INVALID_PARAMETER);           // owned by the registry
  EXPECT_EQ(xcsDeleteNamedMutex(mutex_), xcsRC_INVALID_PARAMETER);  // not a named one
  EXPECT_EQ(xcsDeleteNamedMutex(a), xcsRC_OK);
  // Still alive for the second user.
  ASSERT_EQ(xcsRequestMutex(b, XCS_NO_WAIT), xcsRC_OK);
  // The last user cannot delete it while it is held.
  EXPECT_EQ(xcsDeleteNamedMutex(b), xcsRC_MUTEX_ERROR);
  EXPECT_EQ(xcsReleaseMutex(b), xcsRC_OK);
  EXPECT_EQ(xcsDeleteNamedMutex(b), xcsRC_OK);
  EXPECT_EQ(xcsDeleteNamedMutex(c), xcsRC_OK);
}

class FileLockTest : public ::testing::Test {
 protected:
  std::string name_ = "zxv_file_lock_test_" + std::to_string(getpid());
};

TEST_F(FileLockTest, ChildProcessWaitsUntilParentUnlocks) {
  xcsFILELOCK* lock = nullptr;
  ASSERT_EQ(xcsLockFile(name_.c_str(), &lock), xcsRC_OK);
  int report[2];
  ASSERT_EQ(::pipe(report), 0);
  const pid_t child = ::fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    xcsFILELOCK* mine = nullptr;
    const char got = xcsLockFile(name_.c_str(), &mine) == xcsRC_OK ? 'L' : 'E';
    (void)::write(report[1], &got, 1);
    xcsUnlockFile(mine);
    ::_exit(0);
  }
  ::close(report[1]);
  struct pollfd waiting = {report[0], POLLIN, 0};
  EXPECT_EQ(::poll(&waiting, 1, 150), 0) << "the child got the lock while the parent held it";
  EXPECT_EQ(xcsUnlockFile(lock), xcsRC_OK);
  char got = 0;
  EXPECT_EQ(::read(report[0], &got, 1), 1);
  EXPECT_EQ(got, 'L');
  ::close(report[0]);
  int status = 0;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
}

TEST_F(FileLockTest, ThreadsOfOneProcessAreSerialisedToo) {
  xcsFILELOCK* lock = nullptr;
  ASSERT_EQ(xcsLockFile(name_.c_str(), &lock), xcsRC_OK);
  std::atomic<bool> got{false};
  std::thread other([&] {
    xcsFILELOCK* mine = nullptr;
    EXPECT_EQ(xcsLockFile(name_.c_str(), &mine), xcsRC_OK);
    got = true;
    EXPECT_EQ(xcsUnlockFile(mine), xcsRC_OK);
  });
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  EXPECT_FALSE(got);
  EXPECT_EQ(xcsUnlockFile(lock), xcsRC_OK);
  other.join();
  EXPECT_TRUE(got);
}

}  // namespace
