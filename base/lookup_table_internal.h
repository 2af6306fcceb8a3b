// Lookup table internals: the table header, the entry, the prime capacities,
// the string hash and the bucket rule, and the routines that the exported
// shells and the lock share.
//
// The header and the entry keep their fields in the documented order so that
// a dump or a debugger reads them the same way everywhere; fields that the
// implementation adds come after the documented ones.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "base/result.h"
#include "base/trace_ids.h"
#include "zxvxcs2/xcs_mutex.h"
#include "zxvxcs2/xcs_thread.h"
#include "zxvxzu/lookup.h"

namespace zxv::lookup {

// Codes written into failure records by the lock; never returned by a
// successful path.
inline constexpr Rc kRcStaleWriter = 0x10806079u;  // a writer registration was left behind
inline constexpr Rc kRcNotWriter = zutLURC_NOT_WRITER;

// State bits of an entry.
inline constexpr uint32_t kStateRemovalDeferred = 0x1;  // removed while in use
inline constexpr uint32_t kStateDeleted = 0x2;          // invisible to a get by key
inline constexpr uint32_t kStateIdOnly = 0x4;           // in the identifier buckets only

// Trace function numbers.
inline constexpr uint32_t kFnCreate = kFnBaseLookup + 0;
inline constexpr uint32_t kFnPut = kFnBaseLookup + 1;
inline constexpr uint32_t kFnPutString = kFnBaseLookup + 2;
inline constexpr uint32_t kFnGet = kFnBaseLookup + 3;
inline constexpr uint32_t kFnGetString = kFnBaseLookup + 4;
inline constexpr uint32_t kFnRelease = kFnBaseLookup + 5;
inline constexpr uint32_t kFnRemove = kFnBaseLookup + 6;
inline constexpr uint32_t kFnRemoveString = kFnBaseLookup + 7;
inline constexpr uint32_t kFnIterate = kFnBaseLookup + 8;
inline constexpr uint32_t kFnMove = kFnBaseLookup + 9;
inline constexpr uint32_t kFnLock = kFnBaseLookup + 10;
inline constexpr uint32_t kFnUnlock = kFnBaseLookup + 11;
inline constexpr uint32_t kFnFree = kFnBaseLookup + 12;
inline constexpr uint32_t kFnDebug = kFnBaseLookup + 13;
inline constexpr uint32_t kFnGrow = kFnBaseLookup + 14;

inline constexpr int32_t kFirstIdentifier = 100;
inline constexpr uint32_t kSpinPassesPerSleep = 512;

struct Entry {
  Entry* keyPrev;
  Entry* keyNext;
  Entry* idPrev;
  Entry* idNext;
  // Insertion list links. Once an entry is removal-deferred it is off the
  // insertion list and these two link it into the table's deferred list.
  Entry* listPrev;
  Entry* listNext;
  int32_t key;         // caller's identifier, or the string's hash
  int32_t identifier;  // generated identifier, or 0
  void* object;        // the caller's; never freed here
  std::atomic<int32_t> useCount;
  uint32_t state;         // kState* bits; changed only under the write lock
  uint32_t stringLength;  // 0 for an identifier key
  // The key string (stringLength bytes, unterminated) follows the struct.

  const char* string() const { return reinterpret_cast<const char*>(this + 1); }
  char* string() { return reinterpret_cast<char*>(this + 1); }
};

// One running zutLookupIterate. Frames of nested walks on the iterating
// thread are chained so that a removal can move every cursor that points at
// the entry being removed.
struct IterationFrame {
  Entry* cursor;  // the entry this walk visits next
  IterationFrame* outer;
};

// Padding keeps the fields that readers write (the lock counters and the
// cache) off the cache lines of the fields that every reader only reads
// (Capacity, the bucket arrays), so that readers on different cores do not
// take those lines from each other. 64 bytes of padding separate two fields
// whatever the block's alignment.
inline constexpr size_t kLinePad = 64;

struct Table {
  float LoadFactor;
  uint32_t Capacity;
  uint32_t Size;
  xcsMUTEX* mutex;  // "LookupMutex", recursive
  char padBeforeCounters[kLinePad];
  std::atomic<uint32_t> Accessors;
  std::atomic<uint32_t> WriteRequested;  // thread id of the writer, 0 when none
  std::atomic<uint32_t> UnlockedAccessors;
  int32_t FirstIdentifier;
  int32_t CurrentIdentifier;
  int32_t Wrapped;
  std::atomic<int32_t> DeleteRequested;
  uint64_t SleepCount;
  uint64_t LoopCount;
  uint64_t writeLockCount;
  char padAfterCounters[kLinePad];
  // Written only by the thread that runs the walk, compared by every thread
  // against itself; a thread can only ever see its own pointer here if it
  // stored it, so relaxed access is enough.
  std::atomic<xihTHREAD*> iteratingThread;
  Entry** keyFirst;
  Entry** keyLast;
  Entry** idFirst;  // null until the first identifier is generated
  Entry** idLast;
  char padBeforeCache[kLinePad];
  // Written by readers under the read lock; what it points to is kept alive
  // by the lock (a writer clears it before freeing the entry), so relaxed
  // access is enough.
  std::atomic<Entry*> cache;
  char padAfterCache[kLinePad];
  Entry* listHead;
  Entry* listTail;
  IterationFrame* iteration;  // innermost running walk, its cursor first
  // Added by the implementation: removal-deferred entries, linked through
  // listPrev/listNext, so that freeing the table frees them too.
  Entry* deferredHead;
};

inline Table* FromHandle(hLook h) { return reinterpret_cast<Table*>(h); }
inline hLook ToHandle(Table* t) { return reinterpret_cast<hLook>(t); }
inline Entry* FromHandle(hLookEntry h) { return reinterpret_cast<Entry*>(h); }
inline hLookEntry ToHandle(Entry* e) { return reinterpret_cast<hLookEntry>(e); }

// ---- Capacities, hash, buckets (lookup_table.cpp) ----

inline constexpr size_t kPrimeCount = 95;
extern const uint32_t kPrimes[kPrimeCount];

// The first of the first 94 primes that is `requested` or more; above the
// 94th, the 95th (199873), which is the maximum.
uint32_t CapacityFor(uint64_t requested);

// Sum of the bytes, each taken as a signed 8-bit value.
int32_t StringHash(const char* s, uint32_t length);

// k mod capacity for k >= 0, (-k) mod capacity for k < 0.
inline uint32_t BucketOf(int32_t key, uint32_t capacity) {
  // Negated as unsigned, so that INT32_MIN gives 2^31; a 32-bit division
  // is much cheaper than a 64-bit one on every get.
  const uint32_t k = static_cast<uint32_t>(key);
  const uint32_t magnitude = key < 0 ? 0u - k : k;
  return magnitude % capacity;
}

// ---- Calling-thread identity ----

inline xihTHREAD* ThreadOrCurrent(xihTHREAD* t) { return t != nullptr ? t : xihGetThread(); }

// ---- Reader/writer lock (lookup_lock.cpp) ----

inline constexpr int32_t kReadLock = zutLU_READ_LOCK;
inline constexpr int32_t kWriteLock = zutLU_WRITE_LOCK;

Rc Lock(xihTHREAD* t, Table* table, int32_t lockType, uint32_t options);
Rc Unlock(xihTHREAD* t, Table* table, int32_t lockType);

// The read lock for a caller that knows it is neither the writer nor the
// iterating thread (a get or a release): the common case, where no writer
// is about, inline; anything else through Lock. Same protocol and memory
// orders as Lock (see lookup_lock.cpp).
inline Rc LockForRead(xihTHREAD* t, Table* table) {
  table->Accessors.fetch_add(1, std::memory_order_seq_cst);
  if (table->DeleteRequested.load(std::memory_order_seq_cst) == 0 &&
      table->WriteRequested.load(std::memory_order_seq_cst) == 0) {
    table->UnlockedAccessors.fetch_add(1, std::memory_order_seq_cst);
    if (table->WriteRequested.load(std::memory_order_seq_cst) == 0) return ZXVRC_OK;
    table->UnlockedAccessors.fetch_sub(1, std::memory_order_seq_cst);
  }
  table->Accessors.fetch_sub(1, std::memory_order_release);
  return Lock(t, table, kReadLock, 0);
}

// Gives back a read lock taken by LockForRead (or Lock).
inline void UnlockForRead(Table* table) {
  table->UnlockedAccessors.fetch_sub(1, std::memory_order_release);
  table->Accessors.fetch_sub(1, std::memory_order_release);
}

// True when the calling thread is the registered writer.
inline bool HoldsWriteLock(const xihTHREAD* t, const Table* table) {
  // Only this thread stores its own id there, so a relaxed load cannot see
  // it unless this thread holds the lock.
  return table->WriteRequested.load(std::memory_order_relaxed) == t->ThreadId;
}
inline bool IsIterating(const xihTHREAD* t, const Table* table) {
  return table->iteratingThread.load(std::memory_order_relaxed) == t;
}

// ---- Failure records and allocation (lookup_table.cpp) ----

// Writes a failure record for a misuse and returns zutLURC_MISUSE.
Rc Misuse(uint32_t probe, const char* comment);

// Passes an allocator code back; codes other than the out-of-storage ones
// are written as a failure record first.
Rc AllocFailure(uint32_t probe, Rc rc);

// ---- Entry bookkeeping (lookup_table.cpp); callers hold the write lock ----

// Allocates a zeroed entry with the key, object and a copy of the string.
Rc NewEntry(int32_t key, void* object, const char* string, uint32_t length, Entry** out);

// Tail of the entry's key bucket / identifier bucket / the insertion list.
void AppendKey(Table* table, Entry* e);
void UnlinkKey(Table* table, Entry* e);
void AppendId(Table* table, Entry* e);
void AppendList(Table* table, Entry* e);

// Unlinks `e` from every chain and list it is on (the cursors of running
// walks are moved past it first).
void UnlinkEntry(Table* table, Entry* e);

// Marks an unlinked entry removal-deferred and keeps it on the deferred list.
void ParkDeferred(Table* table, Entry* e);

// The identifier buckets, made the first time an identifier is generated.
Rc CreateIdBuckets(Table* table);
void DropIdBuckets(Table* table);

// Gives back one use of `e`; the caller holds the lock that it needs (the
// read lock, or the write lock as writer or iterating thread). When the last
// use of a removal-deferred entry goes, *freeNow is set and the caller must
// call FinishDeferred under the write lock.
Rc ReleaseUse(Entry* e, int32_t* newCount, bool* freeNow);

// Lowers Size and frees a removal-deferred entry after its last use; the
// caller holds the write lock.
void FinishDeferred(Table* table, Entry* e);

void FreeEntry(Entry* e);

// Grows the table to the prime for three times its capacity; the caller
// holds the write lock. On failure the table is unchanged.
Rc Grow(Table* table);

}  // namespace zxv::lookup
