// Message handles: creation (object layout, defaults, storage and mutex
// failures at each step), the anchor's list, refusing values that are not
// handles, reset, delete and the freeing of a connection's handles.
#include "tests/props/message_handle_test_util.h"

namespace zxv::test {
namespace {

using MessageHandleLifecycleTest = MessageHandleTest;

TEST_F(MessageHandleLifecycleTest, NewHandleHasItsDefaults) {
  const KWHMSG hMsg = Create(kConn, KWCMHO_DEFAULT_VALIDATION);
  const MsgHandle* h = HandleAt(hMsg);
  EXPECT_EQ(std::memcmp(h->StrucId, "ZSTM", 4), 0);
  EXPECT_EQ(h->Version, 2u);
  EXPECT_EQ(h->hMutex, nullptr);  // associated: no mutex
  EXPECT_EQ(h->PropsSize, static_cast<uint32_t>(ZRFP_INITIAL_SIZE));
  EXPECT_EQ(std::memcmp(h->pProps->StrucId, "ZRFP", 4), 0);
  EXPECT_EQ(h->pProps->StrucLen, static_cast<KWULONG>(ZRFP_HEADER_LENGTH));
  EXPECT_EQ(h->pProps->VersionFlags & ~ZRFP_FLAG_VERIFY, ZRFP_DEFAULT_FLAGS);
  EXPECT_EQ(h->ValidationOff, 1u);  // options without the validate bit
  EXPECT_EQ(h->MsgDescFieldsSet, 0u);
  EXPECT_EQ(h->ReservedWord, 0u);
  EXPECT_EQ(h->ReservedHConn, -3);
  EXPECT_EQ(h->OwningPid, 0u);
  EXPECT_EQ(h->OwningTid, 0u);
  EXPECT_EQ(h->TidRecursionCount, 0u);
  EXPECT_EQ(h->OwningHConn, -1);
  EXPECT_EQ(h->OwningHObj, -1);
  EXPECT_EQ(h->pCursor, nullptr);

  const KWMD& md = h->MsgDesc;
  EXPECT_EQ(std::memcmp(md.StrucId, "MD  ", 4), 0);
  EXPECT_EQ(md.Version, 2);
  EXPECT_EQ(md.MsgType, KWMT_DATAGRAM);
  EXPECT_EQ(md.Expiry, -1);
  EXPECT_EQ(md.Encoding, 546);
  EXPECT_EQ(md.CodedCharSetId, 0);
  EXPECT_EQ(std::memcmp(md.Format, "        ", 8), 0);
  EXPECT_EQ(md.Priority, -1);
  EXPECT_EQ(md.Persistence, 2);
  EXPECT_EQ(md.MsgSeqNumber, 1);
  EXPECT_EQ(md.OriginalLength, -1);
  EXPECT_EQ(md.BackoutCount, 0);

  EXPECT_EQ(HandleAt(Create(kConn, KWCMHO_VALIDATE))->ValidationOff, 0u);
  EXPECT_EQ(HandleAt(Create(kConn, KWCMHO_NO_VALIDATION))->ValidationOff, 1u);
}

TEST_F(MessageHandleLifecycleTest, AnchorListKeepsNewestFirst) {
  KWHMSG first = Create();
  KWHMSG middle = Create();
  KWHMSG last = Create();
  EXPECT_EQ(anchor_.MsgHandleCount, 3u);
  EXPECT_EQ(anchor_.pHead, HandleAt(last));
  EXPECT_EQ(HandleAt(last)->pNext, HandleAt(middle));
  EXPECT_EQ(HandleAt(middle)->pPrev, HandleAt(last));

  ASSERT_EQ(Delete(&middle), KWRC_NONE);
  EXPECT_EQ(middle, KWHM_UNUSABLE_HMSG);
  EXPECT_EQ(HandleAt(last)->pNext, HandleAt(first));
  EXPECT_EQ(HandleAt(first)->pPrev, HandleAt(last));
  ASSERT_EQ(Delete(&last), KWRC_NONE);
  EXPECT_EQ(anchor_.MsgHandleCount, 1u);
  EXPECT_EQ(anchor_.pHead, HandleAt(first));
  EXPECT_EQ(HandleAt(first)->pPrev, nullptr);

  ASSERT_EQ(Delete(&first), KWRC_NONE);
  EXPECT_EQ(anchor_.MsgHandleCount, 0u);
  EXPECT_EQ(anchor_.pHead, nullptr);
}

TEST_F(MessageHandleLifecycleTest, UnassociatedHandlesHaveMutexes) {
  KWHMSG hMsg = Create(kUnassoc);
  EXPECT_NE(HandleAt(hMsg)->hMutex, nullptr);
  EXPECT_NE(unassoc_.hMutex, nullptr);
  xcsMUTEX* anchorMutex = unassoc_.hMutex;
  Create(kUnassoc);
  EXPECT_EQ(unassoc_.hMutex, anchorMutex);  // created once
  EXPECT_EQ(unassoc_.MsgHandleCount, 2u);
  ASSERT_EQ(SetInt32(hMsg, "n", 1, kUnassoc), KWRC_NONE);
  ASSERT_EQ(Delete(&hMsg, kUnassoc), KWRC_NONE);
  EXPECT_EQ(unassoc_.MsgHandleCount, 1u);
}

TEST_F(MessageHandleLifecycleTest, ProcessAnchorServesANullAnchor) {
  KWHMSG hMsg = KWHM_NONE;
  // A connection's handles need the connection's anchor.
  EXPECT_EQ(zstCreateMessageHandle(nullptr, kConn, nullptr, nullptr, &hMsg, &cc_, &rc_),
            KWRC_UNEXPECTED_ERROR);
  EXPECT_EQ(hMsg, KWHM_NONE);
  // The process-wide anchor keeps the mutex its first create made.
  ASSERT_EQ(zstCreateMessageHandle(nullptr, kUnassoc, nullptr, nullptr, &hMsg, &cc_, &rc_),
            KWRC_NONE);
  ASSERT_EQ(zstDeleteMessageHandle(nullptr, kUnassoc, &hMsg, nullptr, nullptr, &cc_, &rc_),
            KWRC_NONE);
  blocks_ = xcsOutstandingBlocks();
  ASSERT_EQ(zstCreateMessageHandle(nullptr, kUnassoc, nullptr, nullptr, &hMsg, &cc_, &rc_),
            KWRC_NONE);
  const int32_t v = 5;
  const KWCHARV name = NameOf("n");
  EXPECT_EQ(zstSetMessageProperty(nullptr, kUnassoc, hMsg, nullptr, &name, nullptr, KWTYPE_INT32,
                                  sizeof v, &v, nullptr, &cc_, &rc_),
            KWRC_NONE);
  // Not on the test's own unassociated anchor.
  EXPECT_EQ(SetInt32(hMsg, "n", 1, kUnassoc), KWRC_HMSG_ERROR);
  EXPECT_EQ(zstDeleteMessageHandle(nullptr, kUnassoc, &hMsg, nullptr, nullptr, &cc_, &rc_),
            KWRC_NONE);
  EXPECT_EQ(hMsg, KWHM_UNUSABLE_HMSG);
}

TEST_F(MessageHandleLifecycleTest, ValuesThatAreNotHandlesAreRefused) {
  KWHMSG freed = Create();
  const KWHMSG live = Create();
  const KWHMSG copyOfFreed = freed;
  ASSERT_EQ(Delete(&freed), KWRC_NONE);
  MsgHandleAnchor otherConnection{};
  KWHMSG foreign = KWHM_NONE;
  ASSERT_EQ(zstCreateMessageHandle(nullptr, 9, nullptr, &otherConnection, &foreign, &cc_, &rc_),
            KWRC_NONE);

  // Reading any of these would fault (the address is unmapped) or, for the
  // freed handle, be a use after free that the sanitizers report.
  const KWHMSG unmapped = static_cast<KWHMSG>(0xDEAD0000LL);
  const KWHMSG misaligned = live + 3;
  for (KWHMSG bad : {KWHMSG{0}, KWHMSG{-1}, copyOfFreed, unmapped, misaligned, foreign}) {
    SCOPED_TRACE(bad);
    EXPECT_EQ(SetInt32(bad, "n", 1), KWRC_HMSG_ERROR);
    EXPECT_EQ(cc_, KWCC_FAILED);
    EXPECT_EQ(Inquire(bad, "n").reason, KWRC_HMSG_ERROR);
    EXPECT_EQ(DeleteProperty(bad, "n"), KWRC_HMSG_ERROR);
    EXPECT_EQ(zstVerifyMessageHandle(nullptr, bad, &anchor_, &cc_, &rc_), KWRC_HMSG_ERROR);
    KWHMSG variable = bad;
    EXPECT_EQ(Delete(&variable), KWRC_HMSG_ERROR);
    EXPECT_EQ(variable, bad);
  }
  // The same values on the unassociated anchor, before and after it has
  // a mutex.
  EXPECT_EQ(SetInt32(unmapped, "n", 1, kUnassoc), KWRC_HMSG_ERROR);
  Create(kUnassoc);
  EXPECT_EQ(SetInt32(unmapped, "n", 1, kUnassoc), KWRC_HMSG_ERROR);
  EXPECT_EQ(SetInt32(live, "n", 1, kUnassoc), KWRC_HMSG_ERROR);
  EXPECT_EQ(zstVerifyMessageHandle(nullptr, live, &anchor_, &cc_, &rc_), KWRC_NONE);

  while (otherConnection.pHead != nullptr) {
    zstDeleteMessageHandleResources(nullptr, &otherConnection, otherConnection.pHead, 0, nullptr,
                                    nullptr);
  }
}

// Each allocation of a create fails in turn, with each kind of allocator
// code: the reason follows the code and nothing is left behind.
TEST_F(MessageHandleLifecycleTest, StorageFailureAtEachStepOfCreate) {
  struct Step {
    KWHCONN hConn;
    uint32_t nth;  // which allocation of the create fails
    const char* what;
  };
  // Unassociated, first create: handle, list, handle mutex, anchor mutex.
  const Step steps[] = {{kConn, 1, "handle"},          {kConn, 2, "list"},
                        {kUnassoc, 1, "handle"},       {kUnassoc, 2, "list"},
                        {kUnassoc, 3, "handle mutex"}, {kUnassoc, 4, "anchor mutex"}};
  struct Code {
    xcsRC rc;
    KWLONG reason;
  };
  const Code codes[] = {{xcsRC_STORAGE_NOT_AVAILABLE, KWRC_STORAGE_NOT_AVAILABLE},
                        {xcsRC_STORAGE_NOT_AVAILABLE_2, KWRC_STORAGE_NOT_AVAILABLE},
                        {xcsRC_STORAGE_NOT_AVAILABLE_TRACE, KWRC_STORAGE_NOT_AVAILABLE},
                        {xcsRC_RESOURCE_PROBLEM, KWRC_RESOURCE_PROBLEM},
                        {xcsRC_UNEXPECTED_ERROR, KWRC_UNEXPECTED_ERROR}};
  for (const Step& step : steps) {
    for (const Code& code : codes) {
      SCOPED_TRACE(std::string(step.what) + " " + std::to_string(code.rc));
      const int64_t before = xcsOutstandingBlocks();
      const uint32_t records = xcsFailureRecordCount();
      KWHMSG hMsg = 12345;
      xcsInjectAllocFailure(step.nth, code.rc, 0);
      const KWLONG reason = zstCreateMessageHandle(nullptr, step.hConn, nullptr,
                                                   AnchorOf(step.hConn), &hMsg, &cc_, &rc_);
      xcsInjectAllocFailure(0, 0, 0);
      // A mutex that cannot be created is an unexpected error whatever the
      // allocator said.
      const bool mutexStep = step.nth >= 3;
      const KWLONG expected = mutexStep ? KWRC_UNEXPECTED_ERROR : code.reason;
      EXPECT_EQ(reason, expected);
      EXPECT_EQ(cc_, KWCC_FAILED);
      EXPECT_EQ(rc_, expected);
      EXPECT_EQ(hMsg, 12345);
      EXPECT_EQ(xcsOutstandingBlocks(), before);
      EXPECT_EQ(AnchorOf(step.hConn)->MsgHandleCount, 0u);
      EXPECT_EQ(AnchorOf(step.hConn)->pHead, nullptr);
      if (expected == KWRC_UNEXPECTED_ERROR) {
        EXPECT_GT(xcsFailureRecordCount(), records);
      }
    }
  }
  // After the failures a create goes through.
  Create(kUnassoc);
  EXPECT_EQ(unassoc_.MsgHandleCount, 1u);
}

TEST_F(MessageHandleLifecycleTest, VerifySettingReachesNewLists) {
  KWHMSG verified = KWHM_NONE;
  KWHMSG plain = KWHM_NONE;
  {
    const ScopedEnv on("ZXV_VERIFY_PROPERTIES", "1");
    verified = Create();
  }
  {
    const ScopedEnv negative("ZXV_VERIFY_PROPERTIES", "-4");  // counts as 0
    plain = Create();
  }
  EXPECT_NE(HandleAt(verified)->pProps->VersionFlags & ZRFP_FLAG_VERIFY, 0u);
  EXPECT_EQ(HandleAt(plain)->pProps->VersionFlags & ZRFP_FLAG_VERIFY, 0u);
  // A verifying handle works as any other.
  ASSERT_EQ(SetInt32(verified, "a.b", 3), KWRC_NONE);
  EXPECT_EQ(ValueAs<int32_t>(Inquire(verified, "a.b")), 3);
}

TEST_F(MessageHandleLifecycleTest, ResetEmptiesTheListAndOptionallyTheDescriptor) {
  const KWHMSG hMsg = Create();
  for (int i = 0; i < 300; ++i) ASSERT_EQ(SetInt32(hMsg, "p" + std::to_string(i), i), KWRC_NONE);
  ASSERT_EQ(SetInt32(hMsg, "Root.KWMD.Priority", 4), KWRC_NONE);
  MsgHandle* h = HandleAt(hMsg);
  const uint32_t grownSize = h->PropsSize;
  ASSERT_GT(grownSize, static_cast<uint32_t>(ZRFP_INITIAL_SIZE));
  h->Work.Store.Flags = 5;
  h->ReservedWord = 9;

  EXPECT_EQ(zstResetMessageHandle(nullptr, h, 0), KWRC_NONE);
  EXPECT_EQ(h->pProps->StrucLen, static_cast<KWULONG>(ZRFP_HEADER_LENGTH));
  EXPECT_EQ(h->pProps->PropsLen, 0u);
  EXPECT_EQ(h->PropsSize, grownSize);  // the allocation stays
  EXPECT_EQ(h->Work.Store.Flags, 0u);
  EXPECT_EQ(h->ReservedWord, 0u);
  EXPECT_EQ(h->MsgDesc.Priority, 4);  // kept, with its bit
  EXPECT_NE(h->MsgDescFieldsSet, 0u);
  EXPECT_EQ(Inquire(hMsg, "p1").reason, KWRC_PROPERTY_NOT_AVAILABLE);

  EXPECT_EQ(zstResetMessageHandle(nullptr, h, 1), KWRC_NONE);
  EXPECT_EQ(h->MsgDesc.Priority, -1);
  EXPECT_EQ(h->MsgDescFieldsSet, 0u);
  ASSERT_EQ(SetInt32(hMsg, "p1", 11), KWRC_NONE);
  EXPECT_EQ(ValueAs<int32_t>(Inquire(hMsg, "p1")), 11);
}

TEST_F(MessageHandleLifecycleTest, DeleteResourcesRefusesWhatIsNotAHandleAndUnheldLocks) {
  const KWHMSG hMsg = Create();
  MsgHandle* h = HandleAt(hMsg);
  const int64_t blocks = xcsOutstandingBlocks();

  MsgHandleAnchor empty{};
  uint32_t records = xcsFailureRecordCount();
  EXPECT_EQ(zstDeleteMessageHandleResources(nullptr, &empty, h, 0, &cc_, &rc_),
            KWRC_UNEXPECTED_ERROR);
  EXPECT_EQ(cc_, KWCC_FAILED);
  EXPECT_EQ(xcsFailureRecordCount(), records + 1);

  h->StrucId[0] = 'X';
  records = xcsFailureRecordCount();
  EXPECT_EQ(zstDeleteMessageHandleResources(nullptr, &anchor_, h, 0, &cc_, &rc_),
            KWRC_UNEXPECTED_ERROR);
  EXPECT_EQ(xcsFailureRecordCount(), records + 1);
  EXPECT_EQ(xcsOutstandingBlocks(), blocks);  // nothing freed
  EXPECT_EQ(anchor_.MsgHandleCount, 1u);
  h->StrucId[0] = 'Z';

  // A list whose eye-catcher the caller overwrote is recorded by the store
  // but still freed with its handle.
  ASSERT_EQ(SetString(hMsg, "s", "v"), KWRC_NONE);
  h->pProps->StrucId[0] ^= 0x20;
  records = xcsFailureRecordCount();
  EXPECT_EQ(zstDeleteMessageHandleResources(nullptr, &anchor_, h, 0, &cc_, &rc_), KWRC_NONE);
  EXPECT_EQ(xcsFailureRecordCount(), records + 1);
  EXPECT_EQ(anchor_.MsgHandleCount, 0u);
  EXPECT_EQ(xcsOutstandingBlocks(), blocks_);

  // Asked to release a lock the caller does not hold, the freeing still
  // happens but the call reports an unexpected error.
  const KWHMSG unassociated = Create(kUnassoc);
  records = xcsFailureRecordCount();
  ASSERT_EQ(xcsRequestMutex(unassoc_.hMutex, XCS_WAIT_FOREVER), xcsRC_OK);
  EXPECT_EQ(
      zstDeleteMessageHandleResources(nullptr, &unassoc_, HandleAt(unassociated), 1, &cc_, &rc_),
      KWRC_UNEXPECTED_ERROR);
  ASSERT_EQ(xcsReleaseMutex(unassoc_.hMutex), xcsRC_OK);
  EXPECT_EQ(cc_, KWCC_FAILED);
  EXPECT_GT(xcsFailureRecordCount(), records);
  EXPECT_EQ(unassoc_.MsgHandleCount, 0u);
  EXPECT_EQ(unassoc_.pHead, nullptr);
}

TEST_F(MessageHandleLifecycleTest, ConnectionCleanUpFreesEveryHandle) {
  for (int i = 0; i < 5; ++i) {
    const KWHMSG hMsg = Create();
    ASSERT_EQ(SetString(hMsg, "s", std::string(100, 'x')), KWRC_NONE);
    Inquire(hMsg, "s");  // gives it a cursor
  }
  // One of them is still locked by an object when the connection ends.
  ASSERT_EQ(zstLockMessageHandle(nullptr, anchor_.pHead, ZST_LOCK_OBJECT, kConn, 4, 0, &cc_, &rc_),
            KWRC_NONE);
  while (anchor_.pHead != nullptr) {
    ASSERT_EQ(zstDeleteMessageHandleResources(nullptr, &anchor_, anchor_.pHead, 0, &cc_, &rc_),
              KWRC_NONE);
  }
  EXPECT_EQ(anchor_.MsgHandleCount, 0u);
  EXPECT_EQ(xcsOutstandingBlocks(), blocks_);
}

}  // namespace
}  // namespace zxv::test
