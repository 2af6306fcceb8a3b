// Lookup table entries: put, get, release, remove and move, by identifier
// key or by string.
#include <climits>
#include <cstring>

#include "base/lookup_table_internal.h"
#include "zxvxcs2/xcs_trace.h"

namespace zxv::lookup {
namespace {

// Failure-record probes of this file.
enum : uint32_t {
  kProbePutNoTable = 301,
  kProbePutFromCallback = 302,
  kProbePutUseCount = 303,
  kProbePutIdOnly = 304,
  kProbeBadString = 305,
  kProbeGetUseCount = 306,
  kProbeGetByEntry = 307,
  kProbeReleaseArgs = 308,
  kProbeRemoveNoTable = 309,
  kProbeRemoveMismatch = 310,
  kProbeMoveArgs = 311,
};

// A key as the callers give it: an identifier, or a string and its hash.
struct Key {
  int32_t value = 0;
  const char* string = nullptr;  // null for an identifier key
  uint32_t length = 0;
};

Rc StringKey(KWLONG length, const char* string, Key* key) {
  if (length < 1 || string == nullptr) return Misuse(kProbeBadString, "Invalid string key");
  key->string = string;
  key->length = static_cast<uint32_t>(length);
  key->value = StringHash(string, key->length);
  return ZXVRC_OK;
}

// An identifier key matches every entry with that key; a string key also
// needs the same bytes.
bool Matches(const Entry* e, const Key& k) {
  if (e->key != k.value) return false;
  if (k.string == nullptr) return true;
  return e->stringLength == k.length && std::memcmp(e->string(), k.string, k.length) == 0;
}

Entry* FindByKey(const Table* table, const Key& k, bool skipDeleted) {
  for (Entry* e = table->keyFirst[BucketOf(k.value, table->Capacity)]; e != nullptr;
       e = e->keyNext) {
    if (skipDeleted && (e->state & kStateDeleted) != 0) continue;
    if (Matches(e, k)) return e;
  }
  return nullptr;
}

Entry* FindById(const Table* table, int32_t identifier) {
  if (table->idFirst == nullptr) return nullptr;
  for (Entry* e = table->idFirst[BucketOf(identifier, table->Capacity)]; e != nullptr;
       e = e->idNext) {
    if (e->identifier == identifier) return e;
  }
  return nullptr;
}

// The cache first, then the bucket. Generated identifiers are never 0, so
// identifier 0 cannot match an entry that has none.
Entry* Search(const Table* table, const Key& k, bool byId, bool skipDeleted, bool* fromCache) {
  Entry* cached = table->cache.load(std::memory_order_relaxed);
  *fromCache = false;
  if (byId) {
    if (table->idFirst == nullptr) return nullptr;
    if (cached != nullptr && k.value != 0 && cached->identifier == k.value) {
      *fromCache = true;
      return cached;
    }
    return FindById(table, k.value);
  }
  if (cached != nullptr && Matches(cached, k) &&
      !(skipDeleted && (cached->state & kStateDeleted) != 0)) {
    *fromCache = true;
    return cached;
  }
  return FindByKey(table, k, skipDeleted);
}

// Next generated identifier. Until generation first runs past the largest
// positive value every value is fresh; after that, values still carried by
// an entry are skipped.
int32_t NextIdentifier(Table* table) {
  for (;;) {
    if (table->CurrentIdentifier == INT32_MAX) {
      table->CurrentIdentifier = table->FirstIdentifier;
      table->Wrapped = 1;
    } else {
      ++table->CurrentIdentifier;
    }
    if (table->Wrapped == 0 || FindById(table, table->CurrentIdentifier) == nullptr) {
      return table->CurrentIdentifier;
    }
  }
}

// Put, both forms. Runs under the write lock from step 5 on.
Rc PutLocked(Table* table, uint32_t flags, Entry* e, const Key& k, hLookEntry* phEntry, uint32_t fn,
             bool* keepEntry) {
  *keepEntry = false;
  const bool generate = (flags & zutLUF_GENERATE_ID) != 0;
  const bool createdIdBuckets = generate && table->idFirst == nullptr;
  if (createdIdBuckets) ZXV_RETURN_IF_ERROR(CreateIdBuckets(table));

  if ((flags & zutLUF_ID_ONLY) != 0) {
    e->state |= kStateIdOnly;
  } else {
    Entry* live = FindByKey(table, k, /*skipDeleted=*/true);
    if (live != nullptr) {
      live->object = e->object;
      if ((flags & zutLUF_USE_COUNT) != 0) live->useCount.fetch_add(1, std::memory_order_relaxed);
      if (phEntry != nullptr) *phEntry = ToHandle(live);
      if (createdIdBuckets) DropIdBuckets(table);
      return zutLURC_REPLACED;
    }
    AppendList(table, e);
    AppendKey(table, e);
  }

  const int32_t savedCurrent = table->CurrentIdentifier;
  const int32_t savedWrapped = table->Wrapped;
  if (generate) {
    e->identifier = NextIdentifier(table);
    AppendId(table, e);
  }
  ++table->Size;
  if (static_cast<float>(table->Size) / static_cast<float>(table->Capacity) > table->LoadFactor) {
    Rc rc = Grow(table);
    if (rc != ZXVRC_OK) {
      // Leave the table as it was before this put.
      UnlinkEntry(table, e);
      --table->Size;
      table->CurrentIdentifier = savedCurrent;
      table->Wrapped = savedWrapped;
      if (createdIdBuckets) DropIdBuckets(table);
      return rc;
    }
  }
  int32_t uses = 0;
  if ((flags & zutLUF_USE_COUNT) != 0) {
    uses = e->useCount.fetch_add(1, std::memory_order_relaxed) + 1;
  }
  xtr_parms(kComponent, fn, "Size: %u, UseCount: %d", table->Size, uses);
  if (phEntry != nullptr) *phEntry = ToHandle(e);
  *keepEntry = true;
  return ZXVRC_OK;
}

Rc Put(xihTHREAD* t, Table* table, uint32_t flags, const Key& k, void* object, hLookEntry* phEntry,
       uint32_t fn) {
  if (table == nullptr) return Misuse(kProbePutNoTable, "Put without a lookup table");
  if (IsIterating(t, table)) {
    return Misuse(kProbePutFromCallback,
                  "Attempt to add/replace an entry from an iterator callback");
  }
  if ((flags & zutLUF_USE_COUNT) != 0 && phEntry == nullptr) {
    return Misuse(kProbePutUseCount, "zutLUF_USE_COUNT flag without providing an entry handle ptr");
  }
  if ((flags & zutLUF_ID_ONLY) != 0 && (flags & zutLUF_GENERATE_ID) == 0) {
    return Misuse(kProbePutIdOnly, "zutLUF_ID_ONLY flag without zutLUF_GENERATE_ID");
  }
  // The entry is built before the lock is taken, to keep allocation out of
  // the time other threads wait.
  Entry* e = nullptr;
  ZXV_RETURN_IF_ERROR(NewEntry(k.value, object, k.string, k.length, &e));
  Rc rc = Lock(t, table, kWriteLock, 0);
  if (rc != ZXVRC_OK) {
    FreeEntry(e);
    return rc;
  }
  bool keep = false;
  rc = PutLocked(table, flags, e, k, phEntry, fn, &keep);
  Unlock(t, table, kWriteLock);
  if (!keep) FreeEntry(e);
  return rc;
}

void ClearGetOutputs(void** ppObject, KWLONG* pUseCount, hLookEntry* phEntry) {
  if (ppObject != nullptr) *ppObject = nullptr;
  if (pUseCount != nullptr) *pUseCount = 0;
  if (phEntry != nullptr) *phEntry = nullptr;
}

Rc Get(xihTHREAD* t, Table* table, uint32_t flags, const Key& k, void** ppObject, KWLONG* pUseCount,
       hLookEntry* phEntry, uint32_t fn) {
  if ((flags & zutLUF_USE_COUNT) != 0 && phEntry == nullptr) {
    return Misuse(kProbeGetUseCount, "zutLUF_USE_COUNT flag without providing return pointers");
  }
  const bool byEntry = (flags & zutLUF_BY_ENTRY) != 0;
  if (byEntry && (phEntry == nullptr || *phEntry == nullptr)) {
    return Misuse(kProbeGetByEntry, "zutLUF_BY_ENTRY flag without an entry handle");
  }
  if (table == nullptr) {
    ClearGetOutputs(ppObject, pUseCount, phEntry);
    return zutLURC_NOT_FOUND;
  }
  const bool lock = !IsIterating(t, table) && !HoldsWriteLock(t, table);
  if (lock) ZXV_RETURN_IF_ERROR(LockForRead(t, table));

  Entry* e = nullptr;
  bool fromCache = false;
  if (byEntry) {
    e = FromHandle(*phEntry);
  } else {
    const bool byId = (flags & zutLUF_BY_ID) != 0 && k.string == nullptr;
    e = Search(table, k, byId, /*skipDeleted=*/true, &fromCache);
  }
  int32_t uses = -1;
  void* object = nullptr;
  if (e != nullptr) {
    // A removed entry is not cached: its last release frees it, and a
    // reader must never find freed memory there. Storing only on change
    // keeps repeated gets of one entry from writing a shared line.
    if ((e->state & kStateRemovalDeferred) == 0 &&
        table->cache.load(std::memory_order_relaxed) != e) {
      table->cache.store(e, std::memory_order_relaxed);
    }
    if ((flags & zutLUF_USE_COUNT) != 0) {
      // Relaxed: the read lock keeps removal (a writer) away meanwhile; the
      // ordering that disposal needs comes from the releasing decrement.
      uses = e->useCount.fetch_add(1, std::memory_order_relaxed) + 1;
    }
    object = e->object;
  }
  if (lock) UnlockForRead(table);
  xtr_parms(kComponent, fn, "pEntry=%p *ppObject=%p UseCount=%d FromCache=%d",
            static_cast<void*>(e), object, uses, fromCache ? 1 : 0);
  if (e == nullptr) {
    ClearGetOutputs(ppObject, pUseCount, phEntry);
    return zutLURC_NOT_FOUND;
  }
  if (ppObject != nullptr) *ppObject = object;
  if (pUseCount != nullptr) *pUseCount = uses;
  if (phEntry != nullptr) *phEntry = ToHandle(e);
  return ZXVRC_OK;
}

Rc Release(xihTHREAD* t, Table* table, Entry* e, KWLONG* pUseCount, KWLONG* pStillInTable) {
  if (table == nullptr || e == nullptr) {
    return Misuse(kProbeReleaseArgs, "Release without a table or an entry handle");
  }
  // The count goes down under the read lock so that it cannot cross a
  // removal, which looks at it under the write lock: otherwise a removal
  // could mark an entry deferred just after its last use went, and nobody
  // would ever free it.
  const bool iterating = IsIterating(t, table);
  const bool lock = !iterating && !HoldsWriteLock(t, table);
  if (lock) ZXV_RETURN_IF_ERROR(LockForRead(t, table));
  int32_t count = 0;
  bool freeNow = false;
  Rc rc = ReleaseUse(e, &count, &freeNow);
  const bool inTable = (e->state & kStateRemovalDeferred) == 0;
  if (lock) UnlockForRead(table);
  if (pUseCount != nullptr) *pUseCount = rc == ZXVRC_OK ? count : 0;
  if (pStillInTable != nullptr) *pStillInTable = inTable ? 1 : 0;
  if (rc != ZXVRC_OK || !freeNow) return rc;

  // The last use of a removed entry: nobody else can reach it any more.
  if (!iterating) ZXV_RETURN_IF_ERROR(Lock(t, table, kWriteLock, 0));
  FinishDeferred(table, e);
  if (!iterating) Unlock(t, table, kWriteLock);
  return ZXVRC_OK;
}

Rc RemoveLocked(xihTHREAD* t, Table* table, uint32_t flags, const Key& k, Entry* given,
                uint32_t fn) {
  (void)t;
  const bool byId = (flags & zutLUF_BY_ID) != 0 && k.string == nullptr;
  Entry* e = given;
  if (e != nullptr) {
    const bool same = byId ? e->identifier == k.value : Matches(e, k);
    if (!same) return Misuse(kProbeRemoveMismatch, "Identifier does not match entry");
    if ((e->state & kStateRemovalDeferred) != 0) return zutLURC_NOT_FOUND;  // removed already
  } else {
    bool fromCache = false;
    e = Search(table, k, byId, /*skipDeleted=*/false, &fromCache);
    if (e == nullptr) return zutLURC_NOT_FOUND;
  }
  if (table->cache.load(std::memory_order_relaxed) == e) {
    table->cache.store(nullptr, std::memory_order_relaxed);
  }
  UnlinkEntry(table, e);
  // Relaxed: gets and releases change the count only under the read lock,
  // which this writer excludes.
  const int32_t uses = e->useCount.load(std::memory_order_relaxed);
  if (uses != 0) {
    ParkDeferred(table, e);
    xtr_parms(kComponent, fn, "Removal deferred. UseCount=%d", uses);
    return zutLURC_REMOVAL_DEFERRED;
  }
  --table->Size;
  FreeEntry(e);
  return ZXVRC_OK;
}

Rc Remove(xihTHREAD* t, Table* table, uint32_t flags, const Key& k, Entry* given, uint32_t fn) {
  if (table == nullptr) return Misuse(kProbeRemoveNoTable, "Remove without a lookup table");
  // A walk's callback may remove any entry: its walk holds the write lock.
  const bool lock = !IsIterating(t, table);
  if (lock) ZXV_RETURN_IF_ERROR(Lock(t, table, kWriteLock, 0));
  Rc rc = RemoveLocked(t, table, flags, k, given, fn);
  if (lock) Unlock(t, table, kWriteLock);
  return rc;
}

Rc Move(xihTHREAD* t, Table* table, Entry* e, Entry* newKey) {
  if (table == nullptr || e == nullptr || newKey == nullptr) {
    return Misuse(kProbeMoveArgs, "Move without a table or an entry handle");
  }
  const bool lock = !IsIterating(t, table);
  if (lock) ZXV_RETURN_IF_ERROR(Lock(t, table, kWriteLock, 0));
  Rc rc = ZXVRC_OK;
  const int32_t key = newKey->key;
  if (e->key != key) {
    Entry* found = table->keyFirst[BucketOf(e->key, table->Capacity)];
    while (found != nullptr && found != e) found = found->keyNext;
    if (found == nullptr) {
      rc = zutLURC_NOT_FOUND;
    } else {
      UnlinkKey(table, e);
      e->key = key;
      AppendKey(table, e);
    }
  }
  if (lock) Unlock(t, table, kWriteLock);
  return rc;
}

}  // namespace
}  // namespace zxv::lookup

using zxv::kComponent;
namespace lu = zxv::lookup;

extern "C" ZXV_API ZXVRC zutLookupPut(ZUT_THREAD pThread, hLook table, KWULONG flags,
                                      KWLONG identifier, void* pObject, hLookEntry* phEntry) {
  xtr_FNC_entry(kComponent, lu::kFnPut);
  lu::Key k;
  k.value = identifier;
  ZXVRC rc = lu::Put(lu::ThreadOrCurrent(pThread), lu::FromHandle(table), flags, k, pObject,
                     phEntry, lu::kFnPut);
  xtr_FNC_retcode(kComponent, lu::kFnPut, rc);
  return rc;
}

extern "C" ZXV_API ZXVRC zutLookupPutString(ZUT_THREAD pThread, hLook table, KWULONG flags,
                                            KWLONG length, const char* string, void* pObject,
                                            hLookEntry* phEntry) {
  xtr_FNC_entry(kComponent, lu::kFnPutString);
  lu::Key k;
  ZXVRC rc = lu::StringKey(length, string, &k);
  if (rc == ZXVRC_OK) {
    rc = lu::Put(lu::ThreadOrCurrent(pThread), lu::FromHandle(table), flags, k, pObject, phEntry,
                 lu::kFnPutString);
  }
  xtr_FNC_retcode(kComponent, lu::kFnPutString, rc);
  return rc;
}

extern "C" ZXV_API ZXVRC zutLookupGet(ZUT_THREAD pThread, hLook table, KWULONG flags,
                                      KWLONG identifier, void** ppObject, KWLONG* pUseCount,
                                      hLookEntry* phEntry) {
  xtr_FNC_entry(kComponent, lu::kFnGet);
  lu::Key k;
  k.value = identifier;
  ZXVRC rc = lu::Get(lu::ThreadOrCurrent(pThread), lu::FromHandle(table), flags, k, ppObject,
                     pUseCount, phEntry, lu::kFnGet);
  xtr_FNC_retcode(kComponent, lu::kFnGet, rc);
  return rc;
}

extern "C" ZXV_API ZXVRC zutLookupGetString(ZUT_THREAD pThread, hLook table, KWULONG flags,
                                            KWLONG length, const char* string, void** ppObject,
                                            KWLONG* pUseCount, hLookEntry* phEntry) {
  xtr_FNC_entry(kComponent, lu::kFnGetString);
  lu::Key k;
  ZXVRC rc = lu::StringKey(length, string, &k);
  if (rc == ZXVRC_OK) {
    rc = lu::Get(lu::ThreadOrCurrent(pThread), lu::FromHandle(table), flags, k, ppObject, pUseCount,
                 phEntry, lu::kFnGetString);
  }
  xtr_FNC_retcode(kComponent, lu::kFnGetString, rc);
  return rc;
}

extern "C" ZXV_API ZXVRC zutLookupRelease(ZUT_THREAD pThread, hLook table, KWULONG flags,
                                          hLookEntry hEntry, KWLONG* pUseCount,
                                          KWLONG* pStillInTable) {
  (void)flags;
  xtr_FNC_entry(kComponent, lu::kFnRelease);
  ZXVRC rc = lu::Release(lu::ThreadOrCurrent(pThread), lu::FromHandle(table),
                         lu::FromHandle(hEntry), pUseCount, pStillInTable);
  xtr_FNC_retcode(kComponent, lu::kFnRelease, rc);
  return rc;
}

extern "C" ZXV_API ZXVRC zutLookupRemove(ZUT_THREAD pThread, hLook table, KWULONG flags,
                                         KWLONG identifier, hLookEntry hEntry) {
  xtr_FNC_entry(kComponent, lu::kFnRemove);
  lu::Key k;
  k.value = identifier;
  ZXVRC rc = lu::Remove(lu::ThreadOrCurrent(pThread), lu::FromHandle(table), flags, k,
                        lu::FromHandle(hEntry), lu::kFnRemove);
  xtr_FNC_retcode(kComponent, lu::kFnRemove, rc);
  return rc;
}

extern "C" ZXV_API ZXVRC zutLookupRemoveString(ZUT_THREAD pThread, hLook table, KWULONG flags,
                                               KWLONG length, const char* string,
                                               hLookEntry hEntry) {
  xtr_FNC_entry(kComponent, lu::kFnRemoveString);
  lu::Key k;
  ZXVRC rc = lu::StringKey(length, string, &k);
  if (rc == ZXVRC_OK) {
    rc = lu::Remove(lu::ThreadOrCurrent(pThread), lu::FromHandle(table), flags, k,
                    lu::FromHandle(hEntry), lu::kFnRemoveString);
  }
  xtr_FNC_retcode(kComponent, lu::kFnRemoveString, rc);
  return rc;
}

extern "C" ZXV_API ZXVRC zutLookupMove(ZUT_THREAD pThread, hLook table, hLookEntry hEntry,
                                       hLookEntry newKey) {
  xtr_FNC_entry(kComponent, lu::kFnMove);
  ZXVRC rc = lu::Move(lu::ThreadOrCurrent(pThread), lu::FromHandle(table), lu::FromHandle(hEntry),
                      lu::FromHandle(newKey));
  xtr_FNC_retcode(kComponent, lu::kFnMove, rc);
  return rc;
}
