// The lookup table's reader/writer lock across threads: nesting, the
// no-wait option, writers draining readers, stale registrations, unlock by
// a non-writer, and a free refused while another thread is inside. (Use
// counts held across threads are the stress test's business.)
#include <atomic>
#include <chrono>
#include <functional>
#include <thread>

#include "tests/base/lookup_test_util.h"
#include "zxvxcs2/xcs_thread.h"

namespace {

using lookup_test::LastFailureRecord;
using lookup_test::LookupFixture;

int object;

// Polls `done` for up to five seconds.
bool WaitUntil(const std::function<bool()>& done) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
  while (!done()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(std::chrono::microseconds(200));
  }
  return true;
}

// A thread that takes a lock, holds it until told, and gives it back.
class Holder {
 public:
  Holder(hLook table, KWLONG type) : table_(table), type_(type) {
    thread_ = std::thread([this] {
      rc_ = zutLookupLock(nullptr, table_, type_, 0);
      held_ = true;
      while (!release_) std::this_thread::yield();
      if (rc_ == zutLURC_OK) zutLookupUnlock(nullptr, table_, type_);
    });
    EXPECT_TRUE(WaitUntil([this] { return held_.load(); }));
    EXPECT_EQ(rc_, zutLURC_OK);
  }
  ~Holder() { Release(); }
  void Release() {
    release_ = true;
    if (thread_.joinable()) thread_.join();
  }

 private:
  hLook table_;
  KWLONG type_;
  std::atomic<bool> held_{false};
  std::atomic<bool> release_{false};
  ZXVRC rc_ = 0;
  std::thread thread_;
};

ZXVRC TryLockFromOtherThread(hLook table, KWLONG type) {
  ZXVRC rc = 0;
  std::thread([&] {
    rc = zutLookupLock(nullptr, table, type, zutLU_NO_WAIT);
    if (rc == zutLURC_OK) zutLookupUnlock(nullptr, table, type);
  }).join();
  return rc;
}

TEST_F(LookupFixture, WriteLockNestsForItsOwner) {
  ASSERT_EQ(zutLookupLock(nullptr, table_, zutLU_WRITE_LOCK, 0), zutLURC_OK);
  ASSERT_EQ(zutLookupLock(nullptr, table_, zutLU_WRITE_LOCK, zutLU_NO_WAIT), zutLURC_OK);
  EXPECT_EQ(H()->writeLockCount, 2u);
  EXPECT_EQ(H()->WriteRequested.load(), xihGetThread()->ThreadId);
  // Puts and gets inside the caller's write lock do not wait for themselves.
  ASSERT_EQ(Put(1, &object), zutLURC_OK);
  EXPECT_EQ(Get(1), &object);

  EXPECT_EQ(TryLockFromOtherThread(table_, zutLU_WRITE_LOCK), xcsRC_MUTEX_TIMEOUT);
  EXPECT_EQ(TryLockFromOtherThread(table_, zutLU_READ_LOCK), xcsRC_MUTEX_TIMEOUT);
  ASSERT_EQ(zutLookupUnlock(nullptr, table_, zutLU_WRITE_LOCK), zutLURC_OK);
  EXPECT_EQ(TryLockFromOtherThread(table_, zutLU_WRITE_LOCK), xcsRC_MUTEX_TIMEOUT);
  ASSERT_EQ(zutLookupUnlock(nullptr, table_, zutLU_WRITE_LOCK), zutLURC_OK);
  EXPECT_EQ(H()->WriteRequested.load(), 0u);
  EXPECT_EQ(TryLockFromOtherThread(table_, zutLU_WRITE_LOCK), zutLURC_OK);
  EXPECT_EQ(H()->Accessors.load(), 0u);  // failed requests gave theirs back
}

TEST_F(LookupFixture, ReadersShareAndReadInsideOwnWriteLockIsCounted) {
  {
    Holder reader(table_, zutLU_READ_LOCK);
    EXPECT_EQ(TryLockFromOtherThread(table_, zutLU_READ_LOCK), zutLURC_OK);
    ASSERT_EQ(zutLookupLock(nullptr, table_, zutLU_READ_LOCK, 0), zutLURC_OK);
    EXPECT_EQ(H()->UnlockedAccessors.load(), 2u);
    ASSERT_EQ(zutLookupUnlock(nullptr, table_, zutLU_READ_LOCK), zutLURC_OK);
  }
  ASSERT_EQ(zutLookupLock(nullptr, table_, zutLU_WRITE_LOCK, 0), zutLURC_OK);
  ASSERT_EQ(zutLookupLock(nullptr, table_, zutLU_READ_LOCK, 0), zutLURC_OK);
  EXPECT_EQ(H()->UnlockedAccessors.load(), 1u);
  ASSERT_EQ(zutLookupUnlock(nullptr, table_, zutLU_WRITE_LOCK), zutLURC_OK);
  // The read lock outlives the write lock: a writer must still wait.
  EXPECT_EQ(H()->UnlockedAccessors.load(), 1u);
  ASSERT_EQ(zutLookupUnlock(nullptr, table_, zutLU_READ_LOCK), zutLURC_OK);
  EXPECT_EQ(H()->Accessors.load(), 0u);
}

TEST_F(LookupFixture, WriterSpinsUntilReadersDrain) {
  Holder reader(table_, zutLU_READ_LOCK);
  std::atomic<bool> written{false};
  std::thread writer([&] {
    EXPECT_EQ(Put(1, &object), zutLURC_OK);
    written = true;
  });
  ASSERT_TRUE(WaitUntil([&] { return H()->WriteRequested.load() != 0; }));
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  EXPECT_FALSE(written.load());
  reader.Release();
  writer.join();
  EXPECT_TRUE(written.load());
  EXPECT_GE(H()->LoopCount, 512u);
  EXPECT_GE(H()->SleepCount, 1u);
  EXPECT_EQ(H()->SleepCount, H()->LoopCount / 512);
}

TEST_F(LookupFixture, StaleWriterRegistrationIsRepaired) {
  for (KWLONG type : {zutLU_READ_LOCK, zutLU_WRITE_LOCK}) {
    SCOPED_TRACE(type);
    H()->WriteRequested.store(4242);  // a writer that vanished without unlocking
    const uint32_t records = xcsFailureRecordCount();
    ASSERT_EQ(zutLookupLock(nullptr, table_, type, 0), zutLURC_OK);
    EXPECT_EQ(xcsFailureRecordCount(), records + 1);
    EXPECT_EQ(LastFailureRecord().rc, zxv::lookup::kRcStaleWriter);
    EXPECT_EQ(H()->WriteRequested.load(), type == zutLU_WRITE_LOCK ? xihGetThread()->ThreadId : 0u);
    ASSERT_EQ(zutLookupUnlock(nullptr, table_, type), zutLURC_OK);
  }
}

TEST_F(LookupFixture, WriteUnlockByAnotherThreadIsRefused) {
  Holder writer(table_, zutLU_WRITE_LOCK);
  EXPECT_EQ(zutLookupUnlock(nullptr, table_, zutLU_WRITE_LOCK), zutLURC_NOT_WRITER);
  EXPECT_EQ(LastFailureRecord().rc, zutLURC_NOT_WRITER);
  EXPECT_EQ(H()->writeLockCount, 1u);  // the writer's lock is untouched
  EXPECT_NE(H()->WriteRequested.load(), 0u);
  writer.Release();
  EXPECT_EQ(H()->WriteRequested.load(), 0u);
}

TEST_F(LookupFixture, FreeRefusedWhileAnotherThreadIsInsideThenEveryLockRefused) {
  ASSERT_EQ(Put(1, &object), zutLURC_OK);
  Holder reader(table_, zutLU_READ_LOCK);

  // The freeing thread registers as writer and waits for the reader.
  ZXVRC freed = 0;
  std::thread freer([&] { freed = zutLookupFree(nullptr, table_); });
  ASSERT_TRUE(WaitUntil([&] { return H()->WriteRequested.load() != 0; }));
  // A get arriving now waits for the mutex, inside the table.
  ZXVRC got = 0;
  void* found = nullptr;
  std::thread getter([&] { got = zutLookupGet(nullptr, table_, 0, 1, &found, nullptr, nullptr); });
  ASSERT_TRUE(WaitUntil([&] { return H()->Accessors.load() == 3; }));

  reader.Release();
  freer.join();
  getter.join();
  EXPECT_EQ(freed, zutLURC_FREE_REFUSED);
  EXPECT_EQ(LastFailureRecord().rc, zutLURC_FREE_REFUSED);
  EXPECT_EQ(got, zutLURC_OK);  // it was inside already
  EXPECT_EQ(found, &object);
  EXPECT_EQ(H()->Accessors.load(), 0u);

  // From now on the table takes no lock, and so no operation that locks.
  EXPECT_EQ(zutLookupLock(nullptr, table_, zutLU_READ_LOCK, 0), zutLURC_MISUSE);
  EXPECT_EQ(LastFailureRecord().comment, "Lock requested on a lookup table that is being freed");
  EXPECT_EQ(zutLookupLock(nullptr, table_, zutLU_WRITE_LOCK, 0), zutLURC_MISUSE);
  EXPECT_EQ(Put(2, &object), zutLURC_MISUSE);
  EXPECT_EQ(zutLookupGet(nullptr, table_, 0, 1, &found, nullptr, nullptr), zutLURC_MISUSE);
  EXPECT_EQ(zutLookupRemove(nullptr, table_, 0, 1, nullptr), zutLURC_MISUSE);
  EXPECT_EQ(zutLookupFree(nullptr, table_), zutLURC_MISUSE);
  EXPECT_EQ(H()->Accessors.load(), 0u);

  // Only the test can take the request back, so the fixture can free it.
  H()->DeleteRequested.store(0);
}

}  // namespace
