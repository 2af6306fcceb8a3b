// Locking handles: the four lock types in the states a handle can be in,
// release by owners and non-owners, the trace texts, and the property calls
// and delete meeting a handle that another thread or an object holds.
#include <thread>

#include "tests/props/message_handle_test_util.h"

namespace zxv::test {
namespace {

constexpr KWHOBJ kObj = 4;

class MessageHandleLockTest : public MessageHandleTest {
 protected:
  KWLONG Lock(MsgHandle* h, KWLONG type, KWHOBJ hObj = KWHO_UNUSABLE_HOBJ,
              KWLONG mutexRequired = 0) {
    return zstLockMessageHandle(nullptr, h, type, type == ZST_LOCK_OBJECT ? kConn : -1, hObj,
                                mutexRequired, &cc_, &rc_);
  }
  ZXVRC Release(MsgHandle* h, KWLONG type, KWHOBJ hObj = KWHO_UNUSABLE_HOBJ) {
    return zstReleaseMessageHandle(nullptr, h, type, type == ZST_LOCK_OBJECT ? kConn : -1, hObj);
  }
  // Takes a thread lock of `type` on another thread, which then ends: the
  // handle stays held by a thread that is not the caller.
  static KWLONG LockOnOtherThread(MsgHandle* h, KWLONG type) {
    KWLONG reason = -1;
    std::thread([&] {
      reason = zstLockMessageHandle(nullptr, h, type, -1, -1, 0, nullptr, nullptr);
    }).join();
    return reason;
  }
};

// The state a lock request meets, the request, and the outcome.
TEST_F(MessageHandleLockTest, LockTypesAgainstHandleStates) {
  enum class State { kFree, kHeldByMe, kHeldByOther, kObjectLocked, kMineAndObject };
  struct Case {
    State state;
    KWLONG type;
    KWLONG reason;
  };
  const Case cases[] = {
      {State::kFree, ZST_LOCK_THREAD, KWRC_NONE},
      {State::kFree, ZST_LOCK_EXCLUSIVE, KWRC_NONE},
      {State::kFree, ZST_LOCK_THREAD_FORCED, KWRC_NONE},
      {State::kFree, ZST_LOCK_OBJECT, KWRC_NONE},
      {State::kHeldByMe, ZST_LOCK_THREAD, KWRC_NONE},  // re-entrant
      {State::kHeldByMe, ZST_LOCK_EXCLUSIVE, KWRC_MSG_HANDLE_IN_USE},
      {State::kHeldByMe, ZST_LOCK_THREAD_FORCED, KWRC_NONE},
      {State::kHeldByMe, ZST_LOCK_OBJECT, KWRC_NONE},  // granted to the holder
      {State::kHeldByOther, ZST_LOCK_THREAD, KWRC_MSG_HANDLE_IN_USE},
      {State::kHeldByOther, ZST_LOCK_EXCLUSIVE, KWRC_MSG_HANDLE_IN_USE},
      {State::kHeldByOther, ZST_LOCK_OBJECT, KWRC_MSG_HANDLE_IN_USE},
      {State::kObjectLocked, ZST_LOCK_THREAD, KWRC_NONE},
      {State::kObjectLocked, ZST_LOCK_EXCLUSIVE, KWRC_MSG_HANDLE_IN_USE},
      {State::kObjectLocked, ZST_LOCK_OBJECT, KWRC_MSG_HANDLE_IN_USE},
      {State::kMineAndObject, ZST_LOCK_OBJECT, KWRC_MSG_HANDLE_IN_USE},
      {State::kMineAndObject, ZST_LOCK_THREAD, KWRC_NONE},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(::testing::Message()
                 << "state " << static_cast<int>(c.state) << " type " << c.type);
    MsgHandle* h = HandleAt(Create(kUnassoc));
    switch (c.state) {
      case State::kFree:
        break;
      case State::kHeldByMe:
        ASSERT_EQ(Lock(h, ZST_LOCK_THREAD), KWRC_NONE);
        break;
      case State::kHeldByOther:
        ASSERT_EQ(LockOnOtherThread(h, ZST_LOCK_THREAD), KWRC_NONE);
        break;
      case State::kObjectLocked:
        ASSERT_EQ(Lock(h, ZST_LOCK_OBJECT, kObj), KWRC_NONE);
        break;
      case State::kMineAndObject:
        ASSERT_EQ(Lock(h, ZST_LOCK_THREAD), KWRC_NONE);
        ASSERT_EQ(Lock(h, ZST_LOCK_OBJECT, kObj), KWRC_NONE);
        break;
    }
    const MsgHandle before = *h;
    EXPECT_EQ(Lock(h, c.type, c.type == ZST_LOCK_OBJECT ? kObj + 1 : KWHO_UNUSABLE_HOBJ,
                   /*mutexRequired=*/1),
              c.reason);
    if (c.reason != KWRC_NONE) {
      EXPECT_EQ(cc_, KWCC_FAILED);
      EXPECT_EQ(std::memcmp(&before, h, sizeof before), 0) << "a refused lock changed the handle";
    }
  }
}

TEST_F(MessageHandleLockTest, ThreadLockCountsReleasesAndTraces) {
  MsgHandle* h = HandleAt(Create(kUnassoc));
  TraceLines trace;
  ASSERT_EQ(Lock(h, ZST_LOCK_THREAD), KWRC_NONE);
  ASSERT_EQ(Lock(h, ZST_LOCK_THREAD), KWRC_NONE);
  ASSERT_EQ(Lock(h, ZST_LOCK_THREAD_FORCED), KWRC_NONE);
  EXPECT_EQ(h->TidRecursionCount, 3u);
  EXPECT_NE(h->OwningTid, 0u);
  EXPECT_NE(h->OwningPid, 0u);
  ASSERT_EQ(Lock(h, ZST_LOCK_EXCLUSIVE), KWRC_MSG_HANDLE_IN_USE);
  for (uint32_t left : {2u, 1u, 0u}) {
    EXPECT_EQ(Release(h, ZST_LOCK_THREAD), ZXVRC_OK);
    EXPECT_EQ(h->TidRecursionCount, left);
    EXPECT_EQ(h->OwningTid != 0u, left != 0u);
  }
  EXPECT_EQ(h->OwningPid, 0u);
  for (const char* text :
       {"OwningHConn: -1, OwningHObj: -1", "Message handle available for thread locking",
        "Message handle currently in use by Pid:",
        "Message handle owned by executing thread, TidRecursionCount: 1",
        "Exclusive message handle access not achieved", "TidRecursionCount: 2"}) {
    EXPECT_TRUE(trace.Contains(text)) << text;
  }
}

TEST_F(MessageHandleLockTest, ObjectLockBelongsToItsObject) {
  KWHMSG hMsg = Create();
  MsgHandle* h = HandleAt(hMsg);
  ASSERT_EQ(Lock(h, ZST_LOCK_OBJECT, kObj), KWRC_NONE);
  EXPECT_EQ(h->OwningHConn, kConn);
  EXPECT_EQ(h->OwningHObj, kObj);
  EXPECT_EQ(h->OwningTid, 0u);                   // no thread holds it
  EXPECT_EQ(SetInt32(hMsg, "n", 1), KWRC_NONE);  // the thread lock is still free
  EXPECT_EQ(Delete(&hMsg), KWRC_MSG_HANDLE_IN_USE);

  const uint32_t records = xcsFailureRecordCount();
  EXPECT_EQ(Release(h, ZST_LOCK_OBJECT, kObj + 1), ZSTRC_UNEXPECTED_ERROR);
  EXPECT_EQ(xcsFailureRecordCount(), records + 1);
  EXPECT_EQ(h->OwningHObj, kObj);
  EXPECT_EQ(Release(h, ZST_LOCK_OBJECT, kObj), ZXVRC_OK);
  EXPECT_EQ(h->OwningHConn, -1);
  EXPECT_EQ(h->OwningHObj, -1);
  EXPECT_EQ(Delete(&hMsg), KWRC_NONE);
}

TEST_F(MessageHandleLockTest, ReleaseByNonOwnerChangesNothingUnlessForced) {
  MsgHandle* h = HandleAt(Create(kUnassoc));
  ASSERT_EQ(LockOnOtherThread(h, ZST_LOCK_THREAD), KWRC_NONE);
  const MsgHandle held = *h;
  uint32_t records = xcsFailureRecordCount();
  for (KWLONG type : {ZST_LOCK_THREAD, ZST_LOCK_EXCLUSIVE}) {
    EXPECT_EQ(Release(h, type), ZSTRC_UNEXPECTED_ERROR);
    EXPECT_EQ(std::memcmp(&held, h, sizeof held), 0);
  }
  EXPECT_EQ(xcsFailureRecordCount(), records + 2);
  // The forced release frees the handle whoever holds it.
  records = xcsFailureRecordCount();
  EXPECT_EQ(Release(h, ZST_LOCK_THREAD_FORCED), ZXVRC_OK);
  EXPECT_EQ(xcsFailureRecordCount(), records + 1);
  EXPECT_EQ(h->TidRecursionCount, 0u);
  EXPECT_EQ(h->OwningTid, 0u);
  EXPECT_EQ(Lock(h, ZST_LOCK_EXCLUSIVE), KWRC_NONE);
}

TEST_F(MessageHandleLockTest, MutexRequiredButMissingAndUnknownLockType) {
  MsgHandle* h = HandleAt(Create(kConn));
  TraceLines trace;
  EXPECT_EQ(Lock(h, ZST_LOCK_THREAD, KWHO_UNUSABLE_HOBJ, 1), KWRC_MSG_HANDLE_IN_USE);
  EXPECT_TRUE(trace.Contains("Thread mutex is not valid"));
  EXPECT_EQ(h->OwningTid, 0u);
  // A lock type that does not exist is a failure on record.
  const uint32_t records = xcsFailureRecordCount();
  EXPECT_EQ(Lock(h, 7), KWRC_UNEXPECTED_ERROR);
  EXPECT_EQ(xcsFailureRecordCount(), records + 1);
}

TEST_F(MessageHandleLockTest, PropertyCallsMeetAHandleHeldElsewhere) {
  for (KWHCONN hConn : {kConn, kUnassoc}) {
    SCOPED_TRACE(hConn);
    KWHMSG hMsg = Create(hConn);
    ASSERT_EQ(SetInt32(hMsg, "n", 1, hConn), KWRC_NONE);
    MsgHandle* h = HandleAt(hMsg);
    ASSERT_EQ(LockOnOtherThread(h, ZST_LOCK_THREAD), KWRC_NONE);
    const std::vector<uint8_t> list = ListBytes(hMsg);
    EXPECT_EQ(SetInt32(hMsg, "n", 2, hConn), KWRC_MSG_HANDLE_IN_USE);
    EXPECT_EQ(cc_, KWCC_FAILED);
    EXPECT_EQ(Inquire(hMsg, "n", 0, KWTYPE_AS_SET, 256, 0, hConn).reason, KWRC_MSG_HANDLE_IN_USE);
    EXPECT_EQ(DeleteProperty(hMsg, "n", 0, hConn), KWRC_MSG_HANDLE_IN_USE);
    EXPECT_EQ(Delete(&hMsg, hConn), KWRC_MSG_HANDLE_IN_USE);
    EXPECT_EQ(ListBytes(hMsg), list);
    EXPECT_EQ(h->TidRecursionCount, 1u);
    ASSERT_EQ(Release(h, ZST_LOCK_THREAD_FORCED), ZXVRC_OK);
    EXPECT_EQ(Delete(&hMsg, hConn), KWRC_NONE);
  }
}

// A thread may use a handle it holds under lock type 0, and leaves the lock
// as it found it; delete by that same thread is refused.
TEST_F(MessageHandleLockTest, HolderUsesItsHandleButCannotDeleteIt) {
  KWHMSG hMsg = Create(kUnassoc);
  MsgHandle* h = HandleAt(hMsg);
  ASSERT_EQ(Lock(h, ZST_LOCK_THREAD), KWRC_NONE);
  EXPECT_EQ(SetInt32(hMsg, "n", 3, kUnassoc), KWRC_NONE);
  EXPECT_EQ(ValueAs<int32_t>(Inquire(hMsg, "n", 0, KWTYPE_AS_SET, 256, 0, kUnassoc)), 3);
  EXPECT_EQ(DeleteProperty(hMsg, "n", 0, kUnassoc), KWRC_NONE);
  EXPECT_EQ(DeleteProperty(hMsg, "n", 0, kUnassoc), KWRC_PROPERTY_NOT_AVAILABLE);
  EXPECT_EQ(h->TidRecursionCount, 1u);
  EXPECT_EQ(Delete(&hMsg, kUnassoc), KWRC_MSG_HANDLE_IN_USE);
  ASSERT_EQ(Release(h, ZST_LOCK_THREAD), ZXVRC_OK);
  EXPECT_EQ(Delete(&hMsg, kUnassoc), KWRC_NONE);
}

TEST_F(MessageHandleLockTest, AcquireKeepsTheAnchorLockedWhenAsked) {
  const KWHMSG hMsg = Create(kUnassoc);
  MsgHandle* h = nullptr;
  ASSERT_EQ(zstAcquireMessageHandle(nullptr, hMsg, "test", nullptr, &unassoc_, 0, ZST_LOCK_THREAD,
                                    -1, -1, 0, &h, &cc_, &rc_),
            KWRC_NONE);
  EXPECT_EQ(h, HandleAt(hMsg));
  EXPECT_TRUE(xcsMutexHeldByMe(unassoc_.hMutex));
  // Another thread cannot get at the anchor meanwhile.
  bool other = true;
  std::thread([&] { other = xcsRequestMutex(unassoc_.hMutex, XCS_NO_WAIT) == xcsRC_OK; }).join();
  EXPECT_FALSE(other);
  EXPECT_EQ(xcsReleaseMutex(unassoc_.hMutex), xcsRC_OK);
  EXPECT_EQ(Release(h, ZST_LOCK_THREAD), ZXVRC_OK);

  // On failure the pointer is null and the anchor free.
  ASSERT_EQ(LockOnOtherThread(h, ZST_LOCK_THREAD), KWRC_NONE);
  h = HandleAt(hMsg);
  EXPECT_EQ(zstAcquireMessageHandle(nullptr, hMsg, "test", nullptr, &unassoc_, 0, ZST_LOCK_THREAD,
                                    -1, -1, 0, &h, &cc_, &rc_),
            KWRC_MSG_HANDLE_IN_USE);
  EXPECT_EQ(h, nullptr);
  EXPECT_FALSE(xcsMutexHeldByMe(unassoc_.hMutex));
  EXPECT_EQ(Release(HandleAt(hMsg), ZST_LOCK_THREAD_FORCED), ZXVRC_OK);

  // Two anchors, or none, is a caller's mistake.
  EXPECT_EQ(zstAcquireMessageHandle(nullptr, hMsg, "test", &anchor_, &unassoc_, 1, ZST_LOCK_THREAD,
                                    -1, -1, 0, &h, &cc_, &rc_),
            KWRC_UNEXPECTED_ERROR);
  // Without verification the value is taken on trust.
  EXPECT_EQ(zstAcquireMessageHandle(nullptr, hMsg, "test", &anchor_, nullptr, 1, ZST_LOCK_THREAD,
                                    -1, -1, ZST_ACQUIRE_NO_VERIFY, &h, &cc_, &rc_),
            KWRC_NONE);
  EXPECT_EQ(Release(h, ZST_LOCK_THREAD), ZXVRC_OK);
}

// A mutex that exists but cannot be taken gives 2195 with a failure record:
// the anchor's or the handle's in a property call's acquire (the anchor's
// first, then the handle's), the handle's in a release, the anchor's in a
// create. Nothing else changes, and the next call works.
TEST_F(MessageHandleLockTest, MutexThatCannotBeTakenGives2195) {
  const KWHMSG hMsg = Create(kUnassoc);
  MsgHandle* h = HandleAt(hMsg);
  for (uint32_t nth : {1u, 2u}) {
    SCOPED_TRACE(nth);
    const uint32_t records = xcsFailureRecordCount();
    xcsInjectMutexFailure(nth, xcsRC_MUTEX_ERROR, 0);
    EXPECT_EQ(SetInt32(hMsg, "a", 1, kUnassoc), KWRC_UNEXPECTED_ERROR);
    xcsInjectMutexFailure(0, 0, 0);
    EXPECT_EQ(cc_, KWCC_FAILED);
    EXPECT_EQ(xcsFailureRecordCount(), records + 1);
    EXPECT_EQ(h->OwningTid, 0u);
    EXPECT_EQ(h->TidRecursionCount, 0u);
    EXPECT_FALSE(xcsMutexHeldByMe(unassoc_.hMutex));
    EXPECT_FALSE(xcsMutexHeldByMe(h->hMutex));
    EXPECT_TRUE(ListNames(hMsg).empty());
  }

  // The release at the end of a property call (third request): the
  // property is set and the failure recorded, but the thread keeps the lock.
  uint32_t records = xcsFailureRecordCount();
  xcsInjectMutexFailure(3, xcsRC_MUTEX_ERROR, 0);
  EXPECT_EQ(SetInt32(hMsg, "a", 1, kUnassoc), KWRC_NONE);
  xcsInjectMutexFailure(0, 0, 0);
  EXPECT_EQ(xcsFailureRecordCount(), records + 2);  // the mutex, then the release
  EXPECT_EQ(ListNames(hMsg), std::vector<std::string>{"a"});
  EXPECT_EQ(h->TidRecursionCount, 1u);
  // The exported release: 2195's internal code, the count unchanged.
  xcsInjectMutexFailure(1, xcsRC_MUTEX_ERROR, 0);
  EXPECT_EQ(Release(h, ZST_LOCK_THREAD), ZSTRC_UNEXPECTED_ERROR);
  xcsInjectMutexFailure(0, 0, 0);
  EXPECT_EQ(h->TidRecursionCount, 1u);
  EXPECT_EQ(Release(h, ZST_LOCK_THREAD), ZXVRC_OK);
  EXPECT_EQ(h->OwningTid, 0u);

  // A create that cannot take the anchor's mutex leaves nothing behind.
  records = xcsFailureRecordCount();
  const int64_t blocks = xcsOutstandingBlocks();
  const KWCMHO cmho{{'C', 'M', 'H', 'O'}, KWCMHO_VERSION_1, KWCMHO_VALIDATE};
  KWHMSG other = KWHM_NONE;
  xcsInjectMutexFailure(1, xcsRC_MUTEX_TIMEOUT, 0);
  EXPECT_EQ(zstCreateMessageHandle(nullptr, kUnassoc, &cmho, &unassoc_, &other, &cc_, &rc_),
            KWRC_UNEXPECTED_ERROR);
  xcsInjectMutexFailure(0, 0, 0);
  EXPECT_EQ(other, KWHM_NONE);
  EXPECT_EQ(unassoc_.MsgHandleCount, 1u);
  EXPECT_EQ(xcsOutstandingBlocks(), blocks);
  EXPECT_EQ(xcsFailureRecordCount(), records + 1);
  EXPECT_EQ(ValueAs<int32_t>(Inquire(hMsg, "a", KWIMPO_INQ_FIRST, KWTYPE_AS_SET, 256, 0, kUnassoc)),
            1);
}

}  // namespace
}  // namespace zxv::test
