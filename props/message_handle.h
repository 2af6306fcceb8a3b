// Message handles inside the library: the handle object, its anchors, the
// lock protocol and the property operations that the exported zst* shells of
// include/zxvxzu/message_handle.h map onto.
//
//   MsgHandle* handle = nullptr;
//   KWLONG reason = AcquireHandle(hMsg, "set", nullptr, anchor, true, ZST_LOCK_THREAD,
//                                 KWHC_UNUSABLE_HCONN, KWHO_UNUSABLE_HOBJ, 0, &handle);
//   if (reason == KWRC_NONE) {
//     ... work on handle->pProps under the thread lock ...
//     ReleaseHandle(handle, ZST_LOCK_THREAD, KWHC_UNUSABLE_HCONN, KWHO_UNUSABLE_HOBJ);
//   }
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "base/trace_ids.h"
#include "props/property_store.h"
#include "zxvxcs2/xcs_mutex.h"
#include "zxvxcs2/xcs_thread.h"
#include "zxvxcs2/xcs_trace.h"
#include "zxvxzu/message_handle.h"
#include "zxvxzu/properties.h"

namespace zxv::props {

// ---------------------------------------------------------------------------
// Trace function numbers of message handles.
inline constexpr uint32_t kFnHandleBase = kFnBaseProps + 0x00;
inline constexpr uint32_t kFnCreateMessageHandle = kFnHandleBase + 0x00;
inline constexpr uint32_t kFnDeleteMessageHandle = kFnHandleBase + 0x01;
inline constexpr uint32_t kFnDeleteMessageHandleResources = kFnHandleBase + 0x02;
inline constexpr uint32_t kFnResetMessageHandle = kFnHandleBase + 0x03;
inline constexpr uint32_t kFnSetMessageProperty = kFnHandleBase + 0x04;
inline constexpr uint32_t kFnInquireMessageProperty = kFnHandleBase + 0x05;
inline constexpr uint32_t kFnDeleteMessageProperty = kFnHandleBase + 0x06;
inline constexpr uint32_t kFnVerifyMessageHandle = kFnHandleBase + 0x07;
inline constexpr uint32_t kFnAcquireMessageHandle = kFnHandleBase + 0x08;
inline constexpr uint32_t kFnReleaseMessageHandle = kFnHandleBase + 0x09;
inline constexpr uint32_t kFnLockMessageHandle = kFnHandleBase + 0x0A;
inline constexpr uint32_t kFnCopyPropertyValue = kFnHandleBase + 0x0B;
inline constexpr uint32_t kFnCalculatePropertyName = kFnHandleBase + 0x0C;
inline constexpr uint32_t kFnPropertyIndex = kFnHandleBase + 0x0D;

}  // namespace zxv::props

// ---------------------------------------------------------------------------
// The handle's property work area: the store's scratch space (ZRFWORKAREA:
// its Flags and Length are the handle's, cleared by a reset) and the index
// of the handle's list, a cache that makes lookups by exact name cheap (see
// message_handle_index.cpp).
struct MsgHandleWorkArea {
  ZRFWORKAREA Store;       // 0
  void* pIndex;            // 24 PropertyIndex block, or null
  uint64_t IndexedChange;  // 32 the ChangeCount the index describes
  uint64_t ChangeCount;    // 40 raised by every change to the list
  uint8_t Reserved[120];   // 48 zero
};
static_assert(sizeof(MsgHandleWorkArea) == 168, "work area is 168 bytes");

// The handle object. hMsg is its address. Fields in order; the owner fields
// are guarded by hMutex (unassociated handles), the list pointers by the
// anchor's mutex, and everything else by the thread lock.
struct MsgHandle {
  char StrucId[4];             // 0 "ZSTM"
  uint32_t Version;            // 4 2
  MsgHandle* pPrev;            // 8 null at the head
  MsgHandle* pNext;            // 16
  xcsMUTEX* hMutex;            // 24 unassociated handles only
  uint32_t PropsSize;          // 32 bytes allocated at pProps
  uint32_t Reserved0;          // 36
  ZRFPROPS* pProps;            // 40 the property list
  KWMD MsgDesc;                // 48 version 2, 364 bytes
  uint32_t MsgDescFieldsSet;   // 412 kMdf* bits of descriptor_fields.h
  uint32_t ValidationOff;      // 416 1: names not validated on set
  uint32_t Reserved1;          // 420
  MsgHandleWorkArea Work;      // 424
  ZRFCURSOR* pCursor;          // 592 browse cursor, from the first inquiry
  uint32_t ReservedWord;       // 600 0 at creation and after a reset
  int32_t ReservedHConn;       // 604 -3 at creation
  uint32_t OwningPid;          // 608 process holding the thread lock, 0 none
  uint32_t OwningTid;          // 612 thread holding the thread lock, 0 none
  uint32_t TidRecursionCount;  // 616
  int32_t OwningHConn;         // 620 object lock owner, -1 none
  int32_t OwningHObj;          // 624
  uint32_t Reserved2;          // 628
};
static_assert(sizeof(MsgHandle) == 632, "the handle object is 632 bytes");
static_assert(offsetof(MsgHandle, pProps) == 40, "property list at 40");
static_assert(offsetof(MsgHandle, MsgDesc) == 48, "descriptor at 48");
static_assert(offsetof(MsgHandle, MsgDescFieldsSet) == 412, "fields set after the descriptor");
static_assert(offsetof(MsgHandle, Work) == 424, "work area at 424");
static_assert(offsetof(MsgHandle, pCursor) == 592, "cursor at 592");
static_assert(offsetof(MsgHandle, OwningPid) == 608, "owner fields at 608");
static_assert(offsetof(MsgHandle, OwningHObj) == 624, "object owner at 624");
static_assert(offsetof(MsgHandleAnchor, pHead) == 16, "anchor head at 16");

namespace zxv::props {

inline constexpr char kHandleEyeCatcher[4] = {'Z', 'S', 'T', 'M'};
inline constexpr uint32_t kHandleVersion = 2;
inline constexpr int32_t kReservedHConnAtCreate = KWHC_UNASSOCIATED_HCONN;

inline bool IsUnassociated(KWHCONN hConn) { return hConn == KWHC_UNASSOCIATED_HCONN; }

// The handle a value stands for; no memory is read.
inline MsgHandle* HandleOf(KWHMSG hMsg) {
  return reinterpret_cast<MsgHandle*>(static_cast<intptr_t>(hMsg));
}
inline KWHMSG HandleValueOf(const MsgHandle* handle) {
  return static_cast<KWHMSG>(reinterpret_cast<intptr_t>(handle));
}

// The list of a handle as the store takes it; write it back with StoreList.
inline ZRFPAL ListOf(const MsgHandle* handle) {
  return ZRFPAL{handle->pProps, handle->PropsSize, 0};
}
inline void StoreList(MsgHandle* handle, const ZRFPAL& pal) {
  handle->pProps = pal.pProps;
  handle->PropsSize = pal.Size;
}

// Writes `spec` (`newLength` bytes padded, of `layout`) at `offset` in the
// handle's list, in place of a node of `oldLength` bytes there (0: a new
// node), through `write(at)`, keeping StrucLen and PropsLen. The list grows
// first when it must; nothing changes on failure.
template <typename WriteNode>
[[gnu::always_inline]] inline KWLONG PlaceNode(MsgHandle* handle, const NodeSpec& spec,
                                               uint32_t newLength, uint32_t offset,
                                               uint32_t oldLength, uint32_t oldPropsLen,
                                               WriteNode&& write) {
  if (newLength > oldLength &&
      newLength - oldLength > handle->PropsSize - handle->pProps->StrucLen) {
    ZRFPAL pal = ListOf(handle);
    if (const KWLONG reason = EnsureRoom(&pal, newLength - oldLength); reason != KWRC_NONE) {
      return reason;
    }
    StoreList(handle, pal);
  }
  ZRFPROPS* list = handle->pProps;
  uint8_t* bytes = ListBytes(list);
  const uint32_t tail = offset + oldLength;
  if (tail != list->StrucLen && newLength != oldLength) {
    std::memmove(bytes + offset + newLength, bytes + tail, list->StrucLen - tail);
  }
  write(bytes + offset);
  list->StrucLen = list->StrucLen - oldLength + newLength;
  list->PropsLen = list->PropsLen - oldPropsLen + spec.name_length + spec.value_length;
  return KWRC_NONE;
}

// ---------------------------------------------------------------------------
// Anchors and the handle's life (message_handle_create.cpp).

// The process-wide anchor of unassociated handles.
MsgHandleAnchor* ProcessAnchor();

// The anchor a call works on: for the unassociated connection handle the
// given anchor or, when null, the process-wide one; otherwise the given one.
inline MsgHandleAnchor* AnchorFor(KWHCONN hConn, MsgHandleAnchor* anchor) {
  return IsUnassociated(hConn) && anchor == nullptr ? ProcessAnchor() : anchor;
}

// The anchor's mutex as last published (null before the first unassociated
// create on it).
xcsMUTEX* AnchorMutex(const MsgHandleAnchor* anchor);

// Creates a handle on `anchor` and returns it in *out.
KWLONG CreateHandle(KWHCONN hConn, KWLONG createOptions, MsgHandleAnchor* anchor, MsgHandle** out);

// Unlinks and frees the handle; see zstDeleteMessageHandleResources.
KWLONG DeleteHandleResources(MsgHandleAnchor* anchor, MsgHandle* handle, bool releaseLock);

// Returns the handle's content to its state after create.
void ResetHandle(MsgHandle* handle, bool resetDescriptor);

// ---------------------------------------------------------------------------
// Locks (message_handle_lock.cpp).

// 0 when `hMsg` is on the anchor's list, else 2460; addresses only (a value
// that is no handle may point anywhere).
inline KWLONG VerifyHandle(KWHMSG hMsg, const MsgHandleAnchor* anchor) {
  if (anchor == nullptr) return KWRC_HMSG_ERROR;
  for (const MsgHandle* h = anchor->pHead; h != nullptr; h = h->pNext) {
    if (HandleValueOf(h) == hMsg) return KWRC_NONE;
  }
  return KWRC_HMSG_ERROR;
}

// See zstAcquireMessageHandle. `thread` may be null.
KWLONG AcquireHandle(xihTHREAD* thread, KWHMSG hMsg, const char* description,
                     MsgHandleAnchor* connAnchor, MsgHandleAnchor* unassocAnchor,
                     bool releaseAnchor, KWLONG lockType, KWHCONN hConn, KWHOBJ hObj,
                     KWLONG options, MsgHandle** out);

// See zstLockMessageHandle.
KWLONG LockHandle(xihTHREAD* thread, MsgHandle* handle, KWLONG lockType, KWHCONN hConn, KWHOBJ hObj,
                  bool mutexRequired);

// See zstReleaseMessageHandle.
ZXVRC ReleaseHandle(xihTHREAD* thread, MsgHandle* handle, KWLONG lockType, KWHCONN hConn,
                    KWHOBJ hObj);

// The lock of a property call: traces "Associated" or "Unassociated" under
// `fn`, then AcquireHandle with lock type 0, HConn and HObj -1, the anchor
// chosen by AnchorFor and released after locking. `thread` may be null.
KWLONG AcquireForCallTraced(xihTHREAD* thread, KWHCONN hConn, KWHMSG hMsg, MsgHandleAnchor* anchor,
                            const char* description, uint32_t fn, MsgHandle** out);

// ReleaseHandle with lock type 0 and HConn/HObj -1: the end of a property
// call.
ZXVRC ReleaseForCallTraced(xihTHREAD* thread, MsgHandle* handle);

// AcquireForCallTraced, with the common case inline: a handle of a
// connection's anchor (no mutex) while detail trace is off, so that the
// call's traces are none. Every other case, and any failure, goes through
// AcquireForCallTraced from the start; nothing has changed by then.
inline KWLONG AcquireForCall(xihTHREAD* thread, KWHCONN hConn, KWHMSG hMsg, MsgHandleAnchor* anchor,
                             const char* description, uint32_t fn, MsgHandle** out) {
  if (!IsUnassociated(hConn) && anchor != nullptr && !xtr_active(XTR_LEVEL_DETAIL) &&
      hMsg != KWHM_NONE && hMsg != KWHM_UNUSABLE_HMSG && VerifyHandle(hMsg, anchor) == KWRC_NONE) {
    MsgHandle* handle = HandleOf(hMsg);
    if (handle->hMutex == nullptr) {
      const auto pid = static_cast<uint32_t>(xihCurrentProcessId());
      const uint32_t tid = (thread != nullptr ? thread : xihCurrentThread())->ThreadId;
      if (handle->OwningPid == 0 && handle->OwningTid == 0) {
        handle->OwningPid = pid;
        handle->OwningTid = tid;
        ++handle->TidRecursionCount;
        *out = handle;
        return KWRC_NONE;
      }
      if (handle->OwningPid == pid && handle->OwningTid == tid) {
        ++handle->TidRecursionCount;
        *out = handle;
        return KWRC_NONE;
      }
    }
  }
  return AcquireForCallTraced(thread, hConn, hMsg, anchor, description, fn, out);
}

// ReleaseForCallTraced, with the common case inline as AcquireForCall.
inline ZXVRC ReleaseForCall(xihTHREAD* thread, MsgHandle* handle) {
  if (handle->hMutex == nullptr && !xtr_active(XTR_LEVEL_DETAIL) &&
      handle->OwningPid == static_cast<uint32_t>(xihCurrentProcessId()) &&
      handle->OwningTid == (thread != nullptr ? thread : xihCurrentThread())->ThreadId &&
      handle->TidRecursionCount > 0) {
    if (--handle->TidRecursionCount == 0) {
      handle->OwningPid = 0;
      handle->OwningTid = 0;
    }
    return ZXVRC_OK;
  }
  return ReleaseForCallTraced(thread, handle);
}

// Releases the anchor's mutex taken by AcquireHandle for a caller that kept
// it.
void ReleaseAnchor(MsgHandleAnchor* anchor);

// Writes a failure record with the handle's bytes (traced as "Message handle
// data"); the handle must be readable.
void RecordHandleFailure(const MsgHandle* handle, const char* file, uint32_t probe, xcsRC rc,
                         const char* comment, uint32_t fn);

// ---------------------------------------------------------------------------
// Types (message_handle_types.cpp).

// The store's internal type code of an external type (KWTYPE_*); 11 for
// KWTYPE_AS_SET and any value that is not a property type.
uint32_t InternalTypeOf(KWLONG externalType);

// The external type of an internal type code; -1 for codes 10 and 11,
// which have none.
KWLONG ExternalTypeOf(uint32_t internalType);

// ---------------------------------------------------------------------------
// Inquiry helpers (message_handle_copy_value.cpp, message_handle_name.cpp).

// See zstCopyPropertyValue. `requestedType` is an internal type code
// (ZRF_TYPE_AS_STORED: as stored); *returnedType receives the external type.
KWLONG CopyPropertyValue(const ZRFPROPINFO& info, KWIMPO* impo, uint32_t requestedType,
                         KWLONG* returnedType, KWPD* pd, KWLONG valueLength, void* value,
                         KWLONG* dataLength, ZRFWORKAREA* work);

// See zstCalculatePropertyName: KWRC_NONE or a warning reason.
KWLONG CalculatePropertyName(const ZRFPROPINFO& info, KWIMPO* impo, ZRFWORKAREA* work, uint32_t fn);

// Grows the work area's buffer to at least `size` bytes (content not
// kept). 2071/2102/2195 when it cannot.
KWLONG ReserveWork(ZRFWORKAREA* work, uint64_t size);

// ---------------------------------------------------------------------------
// The index of a handle's list (message_handle_index.cpp): nodes by name and
// by leading parts of names, so that finding a property and the place for a
// new one take no walk. A cache: it describes the list at a change count of
// the handle and is built again by one walk when the list changed behind it;
// every node it gives is checked against the list.

struct IndexSlot;

// The index's block: what it describes, its shape and its tables (see
// message_handle_index.cpp).
struct PropertyIndex {
  // What the index describes.
  const ZRFPROPS* list;
  uint32_t strucLen;
  uint32_t propsLen;
  uint64_t change;
  // The name family the index was built for (a one-byte full stop, or none).
  uint8_t ccsidType;
  uint8_t stop;
  bool hasStop;
  uint8_t percent;  // the family's percent sign when it is one byte
  bool hasPercent;
  // Capacity and use.
  uint16_t epoch;      // never 0: a zeroed slot is free
  uint32_t slotCount;  // a power of two
  uint32_t slotsUsed;
  uint32_t idCapacity;  // a multiple of kIdBlock
  uint32_t idCount;     // ids 1..idCount are in use
  IndexSlot* slots;
  uint32_t* offsets;   // node offset by id; offsets[0] unused, unused ids 0
  uint8_t* nameDelta;  // where the node's name starts, from the node, by id
  // The encoding family of names in one CCSID, as NameFamilyOf gives it.
  int32_t familyCcsid;
  uint8_t family;
  // The express paths' record of the list they last found usable for names
  // of one CCSID (message_handle_express.h). Emptying the index clears it.
  struct ExpressStamp {
    uint64_t change;       // the handle's ChangeCount then; kNoChange: no record
    const ZRFPROPS* list;  // the list then
    uint64_t sizeCcsid;    // the handle's PropsSize then, the names' CCSID (not 0) above
    uint64_t header[3];    // the list's header bytes then
    uint8_t family;        // NameFamilyOf(the names' CCSID)
    static constexpr uint64_t kNoChange = UINT64_MAX;  // a count never reached
  } express;
};

// Raises the handle's change count: call after every change to the handle's
// list that the index did not follow (IndexNote*), so that it is rebuilt.
inline void NoteListChanged(MsgHandle* handle) { ++handle->Work.ChangeCount; }

// True when `index` describes the handle's list as it is.
inline bool IndexDescribes(const PropertyIndex* index, const MsgHandle* handle) {
  const ZRFPROPS* list = handle->pProps;
  return index != nullptr && list != nullptr && index->change == handle->Work.ChangeCount &&
         index->list == list && index->strucLen == list->StrucLen &&
         index->propsLen == list->PropsLen && index->ccsidType == list->CCSIDType;
}

// Builds the index of the handle's list by one walk, into the handle's
// block when it is big enough; null when the list cannot be indexed (no
// list, a damaged one, names of two-byte units) or there is no storage for
// it: callers then walk.
PropertyIndex* BuildIndex(MsgHandle* handle);

// The index of the handle's list, built when it does not describe the list;
// null as BuildIndex.
inline PropertyIndex* CurrentIndex(MsgHandle* handle) {
  auto* index = static_cast<PropertyIndex*>(handle->Work.pIndex);
  return IndexDescribes(index, handle) ? index : BuildIndex(handle);
}

// NameFamilyOf for a CCSID other than 0, remembering the last asked about.
uint8_t IndexNameFamilyOf(PropertyIndex& index, int32_t nameCcsid, const ZRFPAL* pal);

// NameFamilyOf(nameCcsid, pal) (the family a name of that CCSID is read
// in), remembered for the last CCSID asked about.
inline uint8_t IndexNameFamily(PropertyIndex& index, int32_t nameCcsid, const ZRFPAL* pal) {
  if (nameCcsid == 0) return NameFamilyOf(nameCcsid, pal);
  return index.familyCcsid == nameCcsid ? index.family : IndexNameFamilyOf(index, nameCcsid, pal);
}

// The empty index of the handle's list, which is empty and about to take
// names of family `ccsidType` (a list that takes its CCSID with its first
// node); null as CurrentIndex.
PropertyIndex* EmptyIndexFor(MsgHandle* handle, uint8_t ccsidType);

// EmptyIndexFor when the handle's block is big enough for it; null (and
// nothing changed) when it would take storage.
PropertyIndex* EmptyIndexInPlace(MsgHandle* handle, uint8_t ccsidType);

// The keys of one name (its runs of leading parts, then itself) as the
// index holds them; IndexLocate (message_handle_index.h) fills it for
// IndexNoteInserted and IndexNoteReplaced.
struct IndexKeys {
  static constexpr uint32_t kMax = 32;
  uint32_t count;
  uint32_t foundId;  // the node of the whole name, when found
  uint32_t missing;  // keys without a slot, when not found
  uint32_t length[kMax];
  uint32_t hash[kMax];
  IndexSlot* slot[kMax];  // the key's slot, null when the index has none
  IndexSlot* free[kMax];  // for a key without a slot: where it would go
};

// Tells the index that the node IndexLocate found (`keys`) at `offset` was
// rewritten with its padded length changed by `delta` and its name now
// `nameDelta` bytes into it.
void IndexNoteReplaced(MsgHandle* handle, const IndexKeys& keys, uint32_t offset, int32_t delta,
                       uint8_t nameDelta);

// Frees the index.
void FreeIndex(MsgHandle* handle);

// ---------------------------------------------------------------------------
// Fast paths of set and inquire (message_handle_fast_path.cpp): the common
// cases done through the index, with the store's results, byte for byte.
// Each returns false, having changed nothing, when the call is not one of
// those cases; the caller then goes through the store.

struct PropertyName {
  const uint8_t* data = nullptr;
  uint32_t length = 0;
  int32_t ccsid = 0;
};

// The set of a property of a value type into the list (not a descriptor
// field), in the list's CCSID, on a list that does not ask for verification.
bool SetPropertyFast(MsgHandle* handle, const PropertyName& name, const KWPD& pd, uint32_t type,
                     const void* value, uint32_t valueLength, KWLONG* reason);

// The first inquiry of an exact name that is not a descriptor field, in the
// list's CCSID: *info describes the node, which is recorded in the cursor.
bool GetPropertyFast(MsgHandle* handle, const PropertyName& name, ZRFPROPINFO* info,
                     KWLONG* reason);

}  // namespace zxv::props
