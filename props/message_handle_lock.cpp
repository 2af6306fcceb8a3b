// Finding and locking handles: verify (membership of an anchor's list),
// acquire (find and lock), the lock itself with its four types, and release
// (zstVerifyMessageHandle, zstAcquireMessageHandle, zstLockMessageHandle,
// zstReleaseMessageHandle).
//
// The thread lock is a record in the handle (owning process, thread and a
// recursion count), not a mutex held for the duration: a handle's mutex
// guards only that record while it is read and changed, and the anchor's
// mutex only the anchor's list. Lock order: anchor mutex, then handle mutex.
#include <cstring>

#include "props/message_handle.h"
#include "props/property_store.h"
#include "zxvxcs2/xcs_erdp.h"
#include "zxvxcs2/xcs_trace.h"

namespace zxv::props {
namespace {

// Failure-record probes of this file.
constexpr uint32_t kProbeTakeHandleMutex = 1;
constexpr uint32_t kProbeTakeAnchorMutex = 2;
constexpr uint32_t kProbeReleaseMutex = 3;
constexpr uint32_t kProbeObjectNotOwner = 4;
constexpr uint32_t kProbeThreadNotOwner = 5;
constexpr uint32_t kProbeLockType = 6;

constexpr KWLONG kLockTypeLast = ZST_LOCK_OBJECT;

uint32_t ThreadIdOf(xihTHREAD* thread) {
  return (thread != nullptr ? thread : xihCurrentThread())->ThreadId;
}
uint32_t ProcessId() { return static_cast<uint32_t>(xihCurrentProcessId()); }

bool HeldByThread(const MsgHandle* handle) {
  return handle->OwningPid != 0 || handle->OwningTid != 0;
}

// The handle's mutex, when it has one, for the length of a scope.
class HandleMutex {
 public:
  explicit HandleMutex(const MsgHandle* handle) : mutex_(handle->hMutex) {}
  ~HandleMutex() {
    if (held_) xcsReleaseMutex(mutex_);
  }
  HandleMutex(const HandleMutex&) = delete;
  HandleMutex& operator=(const HandleMutex&) = delete;

  xcsRC Take() {
    if (mutex_ == nullptr) return xcsRC_OK;
    const xcsRC rc = xcsRequestMutex(mutex_, XCS_WAIT_FOREVER);
    held_ = rc == xcsRC_OK;
    return rc;
  }

 private:
  xcsMUTEX* mutex_;
  bool held_ = false;
};

// The object lock: granted when no object holds the handle.
KWLONG TakeObjectLock(MsgHandle* handle, KWHCONN hConn, KWHOBJ hObj) {
  if (handle->OwningHObj != KWHO_UNUSABLE_HOBJ) return KWRC_MSG_HANDLE_IN_USE;
  handle->OwningHConn = hConn;
  handle->OwningHObj = hObj;
  return KWRC_NONE;
}

// The lock's decision on the owner fields, under the handle's mutex when it
// has one. Inline: the property calls' lock (type 0) folds it.
[[gnu::always_inline]] inline KWLONG LockUnderMutex(xihTHREAD* thread, MsgHandle* handle,
                                                    KWLONG lockType, KWHCONN hConn, KWHOBJ hObj) {
  constexpr uint32_t fn = kFnLockMessageHandle;
  const uint32_t pid = ProcessId();
  const uint32_t tid = ThreadIdOf(thread);
  if (!HeldByThread(handle)) {
    xtr_text_detail(kComponent, fn, "OwningHConn: %d, OwningHObj: %d", handle->OwningHConn,
                    handle->OwningHObj);
    if (lockType == ZST_LOCK_OBJECT) return TakeObjectLock(handle, hConn, hObj);
    if (lockType == ZST_LOCK_EXCLUSIVE && handle->OwningHObj != KWHO_UNUSABLE_HOBJ) {
      xtr_text_detail(kComponent, fn, "Exclusive message handle access not achieved");
      return KWRC_MSG_HANDLE_IN_USE;
    }
    xtr_text_detail(kComponent, fn, "Message handle available for thread locking");
    handle->OwningPid = pid;
    handle->OwningTid = tid;
    ++handle->TidRecursionCount;
    return KWRC_NONE;
  }
  xtr_text_detail(kComponent, fn, "Message handle currently in use by Pid:%u, Tid:%u",
                  handle->OwningPid, handle->OwningTid);
  // The exclusive lock is not re-entrant: delete must not pull a handle
  // from under a call of its own thread that is still using it.
  if (lockType == ZST_LOCK_EXCLUSIVE) {
    xtr_text_detail(kComponent, fn, "Exclusive message handle access not achieved");
    return KWRC_MSG_HANDLE_IN_USE;
  }
  if (handle->OwningPid != pid || handle->OwningTid != tid) return KWRC_MSG_HANDLE_IN_USE;
  xtr_text_detail(kComponent, fn, "Message handle owned by executing thread, TidRecursionCount: %u",
                  handle->TidRecursionCount);
  if (lockType == ZST_LOCK_OBJECT) return TakeObjectLock(handle, hConn, hObj);
  ++handle->TidRecursionCount;
  return KWRC_NONE;
}

// The release's change of the owner fields, under the handle's mutex when
// it has one.
[[gnu::always_inline]] inline ZXVRC ReleaseUnderMutex(xihTHREAD* thread, MsgHandle* handle,
                                                      KWLONG lockType, KWHCONN hConn, KWHOBJ hObj) {
  constexpr uint32_t fn = kFnReleaseMessageHandle;
  if (lockType == ZST_LOCK_OBJECT) {
    if (handle->OwningHConn != hConn || handle->OwningHObj != hObj) {
      RecordHandleFailure(handle, __FILE__, kProbeObjectNotOwner, ZSTRC_UNEXPECTED_ERROR,
                          "Attempting to release MsgHandle hObj lock but not owner", fn);
      return ZSTRC_UNEXPECTED_ERROR;
    }
    handle->OwningHConn = KWHC_UNUSABLE_HCONN;
    handle->OwningHObj = KWHO_UNUSABLE_HOBJ;
    return ZXVRC_OK;
  }
  const bool mine = handle->OwningPid == ProcessId() && handle->OwningTid == ThreadIdOf(thread) &&
                    handle->TidRecursionCount > 0;
  if (mine) {
    --handle->TidRecursionCount;
    xtr_text_detail(kComponent, fn, "TidRecursionCount: %u", handle->TidRecursionCount);
  } else {
    RecordHandleFailure(handle, __FILE__, kProbeThreadNotOwner, ZSTRC_UNEXPECTED_ERROR,
                        "Attempting to release MsgHandle lock but not owner", fn);
    if (lockType != ZST_LOCK_THREAD_FORCED) return ZSTRC_UNEXPECTED_ERROR;
    handle->TidRecursionCount = 0;
  }
  if (handle->TidRecursionCount == 0) {
    handle->OwningPid = 0;
    handle->OwningTid = 0;
  }
  return ZXVRC_OK;
}

}  // namespace

void RecordHandleFailure(const MsgHandle* handle, const char* file, uint32_t probe, xcsRC rc,
                         const char* comment, uint32_t fn) {
  xtr_data_detail(kComponent, fn, "Message handle data", handle, sizeof *handle);
  xcsERDPFn(kComponent, file, probe, rc, comment, handle, sizeof *handle);
}

KWLONG LockHandle(xihTHREAD* thread, MsgHandle* handle, KWLONG lockType, KWHCONN hConn, KWHOBJ hObj,
                  bool mutexRequired) {
  constexpr uint32_t fn = kFnLockMessageHandle;
  if (lockType < ZST_LOCK_THREAD || lockType > kLockTypeLast) {
    xcsERDPSFn(kComponent, __FILE__, kProbeLockType, xcsRC_INVALID_PARAMETER, nullptr, 0,
               "Unknown lock type %d", lockType);
    return KWRC_UNEXPECTED_ERROR;
  }
  if (mutexRequired && handle->hMutex == nullptr) {
    xtr_text_detail(kComponent, fn, "Thread mutex is not valid");
    return KWRC_MSG_HANDLE_IN_USE;
  }
  HandleMutex mutex(handle);
  if (const xcsRC rc = mutex.Take(); rc != xcsRC_OK) {
    xcsERDPFn(kComponent, __FILE__, kProbeTakeHandleMutex, rc, "Cannot take pMsgHandle->hMutex",
              nullptr, 0);
    return KWRC_UNEXPECTED_ERROR;
  }
  return LockUnderMutex(thread, handle, lockType, hConn, hObj);
}

ZXVRC ReleaseHandle(xihTHREAD* thread, MsgHandle* handle, KWLONG lockType, KWHCONN hConn,
                    KWHOBJ hObj) {
  HandleMutex mutex(handle);
  if (const xcsRC rc = mutex.Take(); rc != xcsRC_OK) {
    xcsERDPFn(kComponent, __FILE__, kProbeTakeHandleMutex, rc, "Cannot take pMsgHandle->hMutex",
              nullptr, 0);
    return ZSTRC_UNEXPECTED_ERROR;
  }
  return ReleaseUnderMutex(thread, handle, lockType, hConn, hObj);
}

void ReleaseAnchor(MsgHandleAnchor* anchor) {
  if (xcsMUTEX* mutex = AnchorMutex(anchor); mutex != nullptr) {
    if (const xcsRC rc = xcsReleaseMutex(mutex); rc != xcsRC_OK) {
      xcsERDPFn(kComponent, __FILE__, kProbeReleaseMutex, rc,
                "Cannot release pMsgHandleAnchor->hMutex", nullptr, 0);
    }
  }
}

KWLONG AcquireHandle(xihTHREAD* thread, KWHMSG hMsg, const char* description,
                     MsgHandleAnchor* connAnchor, MsgHandleAnchor* unassocAnchor,
                     bool releaseAnchor, KWLONG lockType, KWHCONN hConn, KWHOBJ hObj,
                     KWLONG options, MsgHandle** out) {
  constexpr uint32_t fn = kFnAcquireMessageHandle;
  *out = nullptr;
  xtr_text_detail(kComponent, fn, "%s: hMsg 0x%llx, LockType %d",
                  description != nullptr ? description : "", static_cast<unsigned long long>(hMsg),
                  lockType);
  if (hMsg == KWHM_NONE || hMsg == KWHM_UNUSABLE_HMSG) return KWRC_HMSG_ERROR;
  const bool verify = (options & ZST_ACQUIRE_NO_VERIFY) == 0;

  if (unassocAnchor == nullptr) {
    if (verify && VerifyHandle(hMsg, connAnchor) != KWRC_NONE) return KWRC_HMSG_ERROR;
    if (connAnchor == nullptr && !verify) return KWRC_HMSG_ERROR;
    MsgHandle* handle = HandleOf(hMsg);
    const KWLONG reason = LockHandle(thread, handle, lockType, hConn, hObj, false);
    if (reason == KWRC_NONE) *out = handle;
    return reason;
  }

  // Before the first unassociated create the anchor has neither a mutex nor
  // handles.
  xcsMUTEX* anchorMutex = AnchorMutex(unassocAnchor);
  if (anchorMutex == nullptr) return KWRC_HMSG_ERROR;
  if (const xcsRC rc = xcsRequestMutex(anchorMutex, XCS_WAIT_FOREVER); rc != xcsRC_OK) {
    xcsERDPFn(kComponent, __FILE__, kProbeTakeAnchorMutex, rc,
              "Cannot take pMsgHandleAnchor->hMutex", nullptr, 0);
    return KWRC_UNEXPECTED_ERROR;
  }
  KWLONG reason = verify ? VerifyHandle(hMsg, unassocAnchor) : KWRC_NONE;
  MsgHandle* handle = HandleOf(hMsg);
  if (reason == KWRC_NONE) reason = LockHandle(thread, handle, lockType, hConn, hObj, true);
  if (reason != KWRC_NONE || releaseAnchor) xcsReleaseMutex(anchorMutex);
  if (reason == KWRC_NONE) *out = handle;
  return reason;
}

KWLONG AcquireForCallTraced(xihTHREAD* thread, KWHCONN hConn, KWHMSG hMsg, MsgHandleAnchor* anchor,
                            const char* description, uint32_t fn, MsgHandle** out) {
  const bool unassociated = IsUnassociated(hConn);
  xtr_text_detail(kComponent, fn, unassociated ? "Unassociated" : "Associated");
  MsgHandleAnchor* chosen = AnchorFor(hConn, anchor);
  if (unassociated) {
    return AcquireHandle(thread, hMsg, description, nullptr, chosen, true, ZST_LOCK_THREAD,
                         KWHC_UNUSABLE_HCONN, KWHO_UNUSABLE_HOBJ, 0, out);
  }
  // AcquireHandle and LockHandle for a connection's anchor and lock type 0,
  // folded: the same checks, traces and changes, without the general
  // paths' calls.
  *out = nullptr;
  xtr_text_detail(kComponent, kFnAcquireMessageHandle, "%s: hMsg 0x%llx, LockType %d",
                  description != nullptr ? description : "", static_cast<unsigned long long>(hMsg),
                  ZST_LOCK_THREAD);
  if (hMsg == KWHM_NONE || hMsg == KWHM_UNUSABLE_HMSG) return KWRC_HMSG_ERROR;
  if (VerifyHandle(hMsg, chosen) != KWRC_NONE) return KWRC_HMSG_ERROR;
  MsgHandle* handle = HandleOf(hMsg);
  const KWLONG reason = handle->hMutex != nullptr
                            ? LockHandle(thread, handle, ZST_LOCK_THREAD, KWHC_UNUSABLE_HCONN,
                                         KWHO_UNUSABLE_HOBJ, false)
                            : LockUnderMutex(thread, handle, ZST_LOCK_THREAD, KWHC_UNUSABLE_HCONN,
                                             KWHO_UNUSABLE_HOBJ);
  if (reason == KWRC_NONE) *out = handle;
  return reason;
}

ZXVRC ReleaseForCallTraced(xihTHREAD* thread, MsgHandle* handle) {
  if (handle->hMutex != nullptr) {
    return ReleaseHandle(thread, handle, ZST_LOCK_THREAD, KWHC_UNUSABLE_HCONN, KWHO_UNUSABLE_HOBJ);
  }
  return ReleaseUnderMutex(thread, handle, ZST_LOCK_THREAD, KWHC_UNUSABLE_HCONN,
                           KWHO_UNUSABLE_HOBJ);
}

}  // namespace zxv::props

namespace zp = zxv::props;

namespace {

constexpr uint32_t kProbeAnchorChoice = 20;

KWLONG Finish(KWLONG reason, uint32_t fn, KWLONG* pCompCode, KWLONG* pReason) {
  zp::SetCodes(reason, pCompCode, pReason);
  xtr_FNC_retcode(zxv::kComponent, fn, reason);
  return reason;
}

}  // namespace

extern "C" {

ZXV_API KWLONG zstVerifyMessageHandle(ZST_THREAD, KWHMSG hMsg, const MsgHandleAnchor* pAnchor,
                                      KWLONG* pCompCode, KWLONG* pReason) {
  constexpr uint32_t fn = zp::kFnVerifyMessageHandle;
  xtr_FNC_entry(zxv::kComponent, fn);
  return Finish(zp::VerifyHandle(hMsg, pAnchor), fn, pCompCode, pReason);
}

ZXV_API KWLONG zstAcquireMessageHandle(ZST_THREAD pThread, KWHMSG hMsg, const char* pDescription,
                                       MsgHandleAnchor* pConnAnchor,
                                       MsgHandleAnchor* pUnassocAnchor, KWLONG ReleaseAnchor,
                                       KWLONG LockType, KWHCONN hConn, KWHOBJ hObj, KWLONG Options,
                                       MsgHandle** ppMsgHandle, KWLONG* pCompCode,
                                       KWLONG* pReason) {
  constexpr uint32_t fn = zp::kFnAcquireMessageHandle;
  xtr_FNC_entry(zxv::kComponent, fn);
  MsgHandle* handle = nullptr;
  KWLONG reason;
  if ((pConnAnchor == nullptr) == (pUnassocAnchor == nullptr)) {
    reason = zp::MissingParameter("exactly one anchor", __FILE__, kProbeAnchorChoice);
  } else {
    reason = zp::AcquireHandle(pThread, hMsg, pDescription, pConnAnchor, pUnassocAnchor,
                               ReleaseAnchor != 0, LockType, hConn, hObj, Options, &handle);
  }
  if (ppMsgHandle != nullptr) *ppMsgHandle = handle;
  return Finish(reason, fn, pCompCode, pReason);
}

ZXV_API KWLONG zstLockMessageHandle(ZST_THREAD pThread, MsgHandle* pMsgHandle, KWLONG LockType,
                                    KWHCONN hConn, KWHOBJ hObj, KWLONG MutexRequired,
                                    KWLONG* pCompCode, KWLONG* pReason) {
  constexpr uint32_t fn = zp::kFnLockMessageHandle;
  xtr_FNC_entry(zxv::kComponent, fn);
  xtr_parms(zxv::kComponent, fn, "LockType: %d, hConn: %d, hObj: %d", LockType, hConn, hObj);
  const KWLONG reason = pMsgHandle == nullptr ? KWRC_HMSG_ERROR
                                              : zp::LockHandle(pThread, pMsgHandle, LockType, hConn,
                                                               hObj, MutexRequired != 0);
  return Finish(reason, fn, pCompCode, pReason);
}

ZXV_API ZXVRC zstReleaseMessageHandle(ZST_THREAD pThread, MsgHandle* pMsgHandle, KWLONG LockType,
                                      KWHCONN hConn, KWHOBJ hObj) {
  constexpr uint32_t fn = zp::kFnReleaseMessageHandle;
  xtr_FNC_entry(zxv::kComponent, fn);
  xtr_parms(zxv::kComponent, fn, "LockType: %d, hConn: %d, hObj: %d", LockType, hConn, hObj);
  const ZXVRC rc = pMsgHandle == nullptr
                       ? ZSTRC_UNEXPECTED_ERROR
                       : zp::ReleaseHandle(pThread, pMsgHandle, LockType, hConn, hObj);
  xtr_FNC_retcode(zxv::kComponent, fn, rc);
  return rc;
}

}  // extern "C"
