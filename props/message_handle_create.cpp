// The handle object and its anchors: creating a handle, resetting its
// content, and deleting it (zstCreateMessageHandle, zstResetMessageHandle,
// zstDeleteMessageHandle, zstDeleteMessageHandleResources).
#include <atomic>
#include <cstring>

#include "props/message_handle.h"
#include "props/property_store.h"
#include "zxvxcs2/xcs_erdp.h"
#include "zxvxcs2/xcs_memory.h"
#include "zxvxcs2/xcs_trace.h"

namespace zxv::props {
namespace {

// Failure-record probes of this file.
constexpr uint32_t kProbeHandleStorage = 1;
constexpr uint32_t kProbeListStorage = 2;
constexpr uint32_t kProbeHandleMutex = 3;
constexpr uint32_t kProbeAnchorMutex = 4;
constexpr uint32_t kProbeTakeAnchor = 5;
constexpr uint32_t kProbeNoAnchor = 6;
constexpr uint32_t kProbeDeleteCount = 7;
constexpr uint32_t kProbeDeleteEyeCatcher = 8;
constexpr uint32_t kProbeDeleteRelease = 9;
constexpr uint32_t kProbeDestroyMutex = 10;
constexpr uint32_t kProbeMissing = 11;

// The anchor's mutex is created by whichever unassociated create comes
// first, while other threads may already read it: it is published once.
std::atomic_ref<xcsMUTEX*> MutexSlot(MsgHandleAnchor* anchor) {
  return std::atomic_ref<xcsMUTEX*>(anchor->hMutex);
}

KWLONG AllocatorFailure(xcsRC rc, uint32_t probe) { return StorageReason(rc, __FILE__, probe); }

KWLONG MutexFailure(xcsRC rc, uint32_t probe, const char* comment) {
  xcsERDPFn(kComponent, __FILE__, probe, rc, comment, nullptr, 0);
  return KWRC_UNEXPECTED_ERROR;
}

// The anchor's mutex, created when the anchor has none yet.
KWLONG EnsureAnchorMutex(MsgHandleAnchor* anchor, xcsMUTEX** out) {
  xcsMUTEX* mutex = AnchorMutex(anchor);
  if (mutex == nullptr) {
    xtr_text_detail(kComponent, kFnCreateMessageHandle, "Creating %s", "pMsgHandleAnchor->hMutex");
    xcsMUTEX* created = nullptr;
    if (const xcsRC rc = xcsCreateMutex(&created); rc != xcsRC_OK) {
      return MutexFailure(rc, kProbeAnchorMutex, "Cannot create pMsgHandleAnchor->hMutex");
    }
    // Another thread may have published one meanwhile; keep the first.
    if (MutexSlot(anchor).compare_exchange_strong(mutex, created, std::memory_order_acq_rel)) {
      mutex = created;
    } else {
      xcsDestroyMutex(created);
    }
  }
  *out = mutex;
  return KWRC_NONE;
}

void InitialiseHandle(MsgHandle* handle, KWLONG createOptions) {
  std::memset(handle, 0, sizeof *handle);
  std::memcpy(handle->StrucId, kHandleEyeCatcher, sizeof handle->StrucId);
  handle->Version = kHandleVersion;
  handle->MsgDesc = DefaultMessageDescriptor();
  handle->ValidationOff = (createOptions & KWCMHO_VALIDATE) == 0 ? 1 : 0;
  handle->ReservedWord = 0;
  handle->ReservedHConn = kReservedHConnAtCreate;
  handle->OwningPid = 0;
  handle->OwningTid = 0;
  handle->TidRecursionCount = 0;
  handle->OwningHConn = KWHC_UNUSABLE_HCONN;
  handle->OwningHObj = KWHO_UNUSABLE_HOBJ;
}

void PushOnAnchor(MsgHandleAnchor* anchor, MsgHandle* handle) {
  handle->pPrev = nullptr;
  handle->pNext = anchor->pHead;
  if (anchor->pHead != nullptr) anchor->pHead->pPrev = handle;
  anchor->pHead = handle;
  ++anchor->MsgHandleCount;
  xtr_text_detail(kComponent, kFnCreateMessageHandle, "MsgHandleCount: %u", anchor->MsgHandleCount);
}

void Unlink(MsgHandleAnchor* anchor, MsgHandle* handle) {
  --anchor->MsgHandleCount;
  xtr_text_detail(kComponent, kFnDeleteMessageHandleResources, "MsgHandleCount: %u",
                  anchor->MsgHandleCount);
  if (handle->pPrev == nullptr) {
    anchor->pHead = handle->pNext;
  } else {
    handle->pPrev->pNext = handle->pNext;
  }
  if (handle->pNext != nullptr) handle->pNext->pPrev = handle->pPrev;
  handle->pPrev = nullptr;
  handle->pNext = nullptr;
}

// Frees what a handle owns besides its mutex and itself.
void FreeContent(MsgHandle* handle) {
  if (handle->pProps != nullptr) {
    ZRFPAL pal = ListOf(handle);
    if (FreeList(&pal) != KWRC_NONE) {
      // The store refuses (and records) a list whose eye-catcher was
      // overwritten, but the block is still the one this handle allocated:
      // free it here rather than leak it with the handle.
      xcsFreeMemFn(handle->pProps);
    }
    handle->pProps = nullptr;
    handle->PropsSize = 0;
  }
  zrfFreeCursor(&handle->pCursor);
  xcsFreeMemFn(handle->Work.Store.pBuffer);
  handle->Work.Store.pBuffer = nullptr;
  handle->Work.Store.Capacity = 0;
  FreeIndex(handle);
}

}  // namespace

MsgHandleAnchor* ProcessAnchor() {
  // Zero-initialised before any code runs: no construction order issue.
  static MsgHandleAnchor anchor{};
  return &anchor;
}

xcsMUTEX* AnchorMutex(const MsgHandleAnchor* anchor) {
  return std::atomic_ref<xcsMUTEX*>(const_cast<MsgHandleAnchor*>(anchor)->hMutex)
      .load(std::memory_order_acquire);
}

KWLONG CreateHandle(KWHCONN hConn, KWLONG createOptions, MsgHandleAnchor* anchor, MsgHandle** out) {
  constexpr uint32_t fn = kFnCreateMessageHandle;
  if (anchor == nullptr) return MissingParameter("pAnchor", __FILE__, kProbeNoAnchor);

  void* block = nullptr;
  if (const xcsRC rc = xcsGetMemFn(sizeof(MsgHandle), &block); rc != xcsRC_OK) {
    return AllocatorFailure(rc, kProbeHandleStorage);
  }
  auto* handle = static_cast<MsgHandle*>(block);
  InitialiseHandle(handle, createOptions);

  KWLONG reason = KWRC_NONE;
  void* list = nullptr;
  if (const xcsRC rc = xcsGetMemFn(kInitialListSize, &list); rc != xcsRC_OK) {
    reason = AllocatorFailure(rc, kProbeListStorage);
  } else {
    handle->pProps = static_cast<ZRFPROPS*>(list);
    handle->PropsSize = kInitialListSize;
    WriteDefaultHeader(handle->pProps, fn);
  }

  xcsMUTEX* anchorMutex = nullptr;
  if (reason == KWRC_NONE && IsUnassociated(hConn)) {
    xtr_text_detail(kComponent, fn, "Creating %s", "pMsgHandle->hMutex");
    if (const xcsRC rc = xcsCreateMutex(&handle->hMutex); rc != xcsRC_OK) {
      handle->hMutex = nullptr;
      reason = MutexFailure(rc, kProbeHandleMutex, "Cannot create pMsgHandle->hMutex");
    }
    if (reason == KWRC_NONE) reason = EnsureAnchorMutex(anchor, &anchorMutex);
    if (reason == KWRC_NONE) {
      if (const xcsRC rc = xcsRequestMutex(anchorMutex, XCS_WAIT_FOREVER); rc != xcsRC_OK) {
        anchorMutex = nullptr;
        reason = MutexFailure(rc, kProbeTakeAnchor, "Cannot take pMsgHandleAnchor->hMutex");
      }
    }
  }

  if (reason != KWRC_NONE) {
    if (handle->hMutex != nullptr) xcsDestroyMutex(handle->hMutex);
    xcsFreeMemFn(handle->pProps);
    xcsFreeMemFn(handle);
    return reason;
  }
  PushOnAnchor(anchor, handle);
  *out = handle;
  if (anchorMutex != nullptr) xcsReleaseMutex(anchorMutex);
  return KWRC_NONE;
}

void ResetHandle(MsgHandle* handle, bool resetDescriptor) {
  if (handle->pProps != nullptr) WriteDefaultHeader(handle->pProps, kFnResetMessageHandle);
  handle->Work.Store.Flags = 0;
  handle->Work.Store.Length = 0;
  handle->ReservedWord = 0;
  NoteListChanged(handle);
  if (resetDescriptor) {
    handle->MsgDesc = DefaultMessageDescriptor();
    handle->MsgDescFieldsSet = 0;
  }
}

KWLONG DeleteHandleResources(MsgHandleAnchor* anchor, MsgHandle* handle, bool releaseLock) {
  constexpr uint32_t fn = kFnDeleteMessageHandleResources;
  if (anchor == nullptr || handle == nullptr) {
    return MissingParameter(anchor == nullptr ? "pAnchor" : "pMsgHandle", __FILE__, kProbeMissing);
  }
  if (anchor->MsgHandleCount == 0) {
    RecordHandleFailure(handle, __FILE__, kProbeDeleteCount, xcsRC_UNEXPECTED_ERROR,
                        "MsgHandleCount is 0", fn);
    return KWRC_UNEXPECTED_ERROR;
  }
  if (std::memcmp(handle->StrucId, kHandleEyeCatcher, sizeof handle->StrucId) != 0) {
    RecordHandleFailure(handle, __FILE__, kProbeDeleteEyeCatcher, xcsRC_UNEXPECTED_ERROR,
                        "Message handle eye-catcher not valid", fn);
    return KWRC_UNEXPECTED_ERROR;
  }
  Unlink(anchor, handle);
  FreeContent(handle);

  KWLONG reason = KWRC_NONE;
  if (releaseLock && ReleaseHandle(nullptr, handle, ZST_LOCK_EXCLUSIVE, KWHC_UNUSABLE_HCONN,
                                   KWHO_UNUSABLE_HOBJ) != ZXVRC_OK) {
    xcsERDPFn(kComponent, __FILE__, kProbeDeleteRelease, xcsRC_UNEXPECTED_ERROR,
              "Cannot release the message handle lock", nullptr, 0);
    reason = KWRC_UNEXPECTED_ERROR;
  }
  if (handle->hMutex != nullptr) {
    if (const xcsRC rc = xcsDestroyMutex(handle->hMutex); rc != xcsRC_OK) {
      xcsERDPFn(kComponent, __FILE__, kProbeDestroyMutex, rc, "Cannot destroy pMsgHandle->hMutex",
                nullptr, 0);
    }
  }
  // A stale hMsg must not find the eye-catcher in memory that is reused.
  std::memset(handle->StrucId, 0, sizeof handle->StrucId);
  xcsFreeMemFn(handle);
  return reason;
}

}  // namespace zxv::props

namespace zp = zxv::props;

namespace {

constexpr uint32_t kProbeMissingHandleVariable = 12;

KWLONG Finish(KWLONG reason, uint32_t fn, KWLONG* pCompCode, KWLONG* pReason) {
  zp::SetCodes(reason, pCompCode, pReason);
  xtr_FNC_retcode(zxv::kComponent, fn, reason);
  return reason;
}

}  // namespace

extern "C" {

ZXV_API KWLONG zstCreateMessageHandle(ZST_THREAD, KWHCONN hConn, const KWCMHO* pCrtMsgHOpts,
                                      MsgHandleAnchor* pAnchor, KWHMSG* phMsg, KWLONG* pCompCode,
                                      KWLONG* pReason) {
  constexpr uint32_t fn = zp::kFnCreateMessageHandle;
  xtr_FNC_entry(zxv::kComponent, fn);
  const KWLONG options = pCrtMsgHOpts != nullptr ? pCrtMsgHOpts->Options : 0;
  xtr_parms(zxv::kComponent, fn, "hConn: %d, Options: 0x%X, %s", hConn, options,
            zp::IsUnassociated(hConn) ? "Unassociated" : "Associated");
  if (phMsg == nullptr) {
    return Finish(zp::MissingParameter("phMsg", __FILE__, kProbeMissingHandleVariable), fn,
                  pCompCode, pReason);
  }
  MsgHandle* handle = nullptr;
  const KWLONG reason = zp::CreateHandle(hConn, options, zp::AnchorFor(hConn, pAnchor), &handle);
  if (reason == KWRC_NONE) {
    *phMsg = zp::HandleValueOf(handle);
    xtr_parms(zxv::kComponent, fn, "hMsg: 0x%llx", static_cast<unsigned long long>(*phMsg));
  }
  return Finish(reason, fn, pCompCode, pReason);
}

ZXV_API KWLONG zstDeleteMessageHandle(ZST_THREAD pThread, KWHCONN hConn, KWHMSG* phMsg,
                                      const KWDMHO* pDltMsgHOpts, MsgHandleAnchor* pAnchor,
                                      KWLONG* pCompCode, KWLONG* pReason) {
  constexpr uint32_t fn = zp::kFnDeleteMessageHandle;
  xtr_FNC_entry(zxv::kComponent, fn);
  xtr_parms(zxv::kComponent, fn, "hConn: %d, Options: 0x%X", hConn,
            pDltMsgHOpts != nullptr ? pDltMsgHOpts->Options : 0);
  if (phMsg == nullptr) {
    return Finish(KWRC_HMSG_ERROR, fn, pCompCode, pReason);
  }
  MsgHandleAnchor* anchor = zp::AnchorFor(hConn, pAnchor);
  const bool unassociated = zp::IsUnassociated(hConn);
  MsgHandle* handle = nullptr;
  // The unassociated anchor stays locked from the lock to the unlinking, so
  // that no other thread finds the handle in between.
  KWLONG reason =
      zp::AcquireHandle(pThread, *phMsg, "zstDeleteMessageHandle", unassociated ? nullptr : anchor,
                        unassociated ? anchor : nullptr, false, ZST_LOCK_EXCLUSIVE,
                        KWHC_UNUSABLE_HCONN, KWHO_UNUSABLE_HOBJ, 0, &handle);
  if (reason == KWRC_NONE) {
    reason = zp::DeleteHandleResources(anchor, handle, true);
    *phMsg = KWHM_UNUSABLE_HMSG;
    if (unassociated) zp::ReleaseAnchor(anchor);
  }
  return Finish(reason, fn, pCompCode, pReason);
}

ZXV_API KWLONG zstDeleteMessageHandleResources(ZST_THREAD, MsgHandleAnchor* pAnchor,
                                               MsgHandle* pMsgHandle, KWLONG ReleaseLock,
                                               KWLONG* pCompCode, KWLONG* pReason) {
  constexpr uint32_t fn = zp::kFnDeleteMessageHandleResources;
  xtr_FNC_entry(zxv::kComponent, fn);
  const KWLONG reason = zp::DeleteHandleResources(pAnchor, pMsgHandle, ReleaseLock != 0);
  return Finish(reason, fn, pCompCode, pReason);
}

ZXV_API KWLONG zstResetMessageHandle(ZST_THREAD, MsgHandle* pMsgHandle, KWLONG ResetDescriptor) {
  constexpr uint32_t fn = zp::kFnResetMessageHandle;
  xtr_FNC_entry(zxv::kComponent, fn);
  xtr_parms(zxv::kComponent, fn, "ResetDescriptor: %d", ResetDescriptor);
  if (pMsgHandle != nullptr) zp::ResetHandle(pMsgHandle, ResetDescriptor != 0);
  xtr_FNC_retcode(zxv::kComponent, fn, 0);
  return KWRC_NONE;
}

}  // extern "C"
