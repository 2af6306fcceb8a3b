// The lookup table's structure: prime capacities, the string hash, bucket
// chains and the insertion list, growth, entry lifetime, and creating and
// freeing a table.
#include <cinttypes>
#include <cstring>
#include <new>

#include "base/lookup_table_internal.h"
#include "zxvxcs2/xcs_erdp.h"
#include "zxvxcs2/xcs_memory.h"
#include "zxvxcs2/xcs_trace.h"

namespace zxv::lookup {

const uint32_t kPrimes[kPrimeCount] = {
    2,     3,     5,     7,      11,     13,     17,     19,     23,     29,     37,    41,
    47,    53,    59,    67,     79,     89,     101,    113,    127,    149,    167,   191,
    211,   233,   257,   283,    313,    347,    383,    431,    479,    541,    599,   659,
    727,   809,   907,   1009,   1117,   1229,   1361,   1499,   1657,   1823,   2011,  2213,
    2437,  2683,  2953,  3251,   3581,   3943,   4339,   4783,   5273,   5801,   6389,  7039,
    7753,  8537,  9391,  10331,  11369,  12511,  13763,  15149,  16673,  18341,  20177, 22229,
    24469, 26921, 29629, 32603,  35869,  39461,  43411,  47777,  52561,  57829,  63617, 69991,
    76991, 84691, 93169, 102497, 112757, 124067, 136481, 150131, 165161, 181693, 199873};

namespace {

// Failure-record probes of this file.
enum : uint32_t {
  kProbeAllocator = 101,
  kProbeCreateNoOutput = 102,
  kProbeFreeNoTable = 103,
  kProbeFreeRefused = 104,
  kProbeNegativeUseCount = 105,
};

// Allocates the first and last pointer arrays of `capacity` buckets, zeroed.
Rc AllocBuckets(uint32_t capacity, Entry*** first, Entry*** last) {
  const size_t bytes = sizeof(Entry*) * capacity;
  void* a = nullptr;
  void* b = nullptr;
  Rc rc = xcsGetMemFn(bytes, &a);
  if (rc != xcsRC_OK) return AllocFailure(kProbeAllocator, rc);
  rc = xcsGetMemFn(bytes, &b);
  if (rc != xcsRC_OK) {
    xcsFreeMemFn(a);
    return AllocFailure(kProbeAllocator, rc);
  }
  std::memset(a, 0, bytes);
  std::memset(b, 0, bytes);
  *first = static_cast<Entry**>(a);
  *last = static_cast<Entry**>(b);
  return ZXVRC_OK;
}

void FreeBuckets(Entry** first, Entry** last) {
  xcsFreeMemFn(first);
  xcsFreeMemFn(last);
}

// Doubly linked chains share one shape; the member pointers pick the links.
using Link = Entry* Entry::*;

void ChainAppend(Entry*& head, Entry*& tail, Entry* e, Link prev, Link next) {
  e->*prev = tail;
  e->*next = nullptr;
  if (tail != nullptr) {
    tail->*next = e;
  } else {
    head = e;
  }
  tail = e;
}

void ChainUnlink(Entry*& head, Entry*& tail, Entry* e, Link prev, Link next) {
  if (e->*prev != nullptr) {
    (e->*prev)->*next = e->*next;
  } else {
    head = e->*next;
  }
  if (e->*next != nullptr) {
    (e->*next)->*prev = e->*prev;
  } else {
    tail = e->*prev;
  }
  e->*prev = nullptr;
  e->*next = nullptr;
}

// Moves every entry of the old buckets, bucket by bucket from bucket 0 and
// in chain order, to the tail of its bucket in the new arrays.
void Rehash(Entry** oldFirst, uint32_t oldCapacity, Entry** newFirst, Entry** newLast,
            uint32_t newCapacity, Link prev, Link next, int32_t Entry::*key) {
  for (uint32_t b = 0; b < oldCapacity; ++b) {
    Entry* e = oldFirst[b];
    while (e != nullptr) {
      Entry* following = e->*next;
      uint32_t nb = BucketOf(e->*key, newCapacity);
      ChainAppend(newFirst[nb], newLast[nb], e, prev, next);
      e = following;
    }
  }
}

void FreeTableMemory(Table* table) {
  table->~Table();
  xcsFreeMemFn(table);
}

}  // namespace

uint32_t CapacityFor(uint64_t requested) {
  for (size_t i = 0; i + 1 < kPrimeCount; ++i) {
    if (kPrimes[i] >= requested) return kPrimes[i];
  }
  return kPrimes[kPrimeCount - 1];
}

int32_t StringHash(const char* s, uint32_t length) {
  int32_t sum = 0;
  for (uint32_t i = 0; i < length; ++i) sum += static_cast<int8_t>(s[i]);
  return sum;
}

Rc Misuse(uint32_t probe, const char* comment) {
  xcsERDPFn(kComponent, __FILE__, probe, zutLURC_MISUSE, comment, nullptr, 0);
  return zutLURC_MISUSE;
}

Rc AllocFailure(uint32_t probe, Rc rc) {
  if (rc != xcsRC_STORAGE_NOT_AVAILABLE && rc != xcsRC_STORAGE_NOT_AVAILABLE_2 &&
      rc != xcsRC_STORAGE_NOT_AVAILABLE_TRACE) {
    xcsERDPFn(kComponent, __FILE__, probe, rc, "Unexpected allocator code", nullptr, 0);
  }
  return rc;
}

// ---- Chains ----

void AppendKey(Table* table, Entry* e) {
  uint32_t b = BucketOf(e->key, table->Capacity);
  ChainAppend(table->keyFirst[b], table->keyLast[b], e, &Entry::keyPrev, &Entry::keyNext);
}

void UnlinkKey(Table* table, Entry* e) {
  uint32_t b = BucketOf(e->key, table->Capacity);
  ChainUnlink(table->keyFirst[b], table->keyLast[b], e, &Entry::keyPrev, &Entry::keyNext);
}

void AppendId(Table* table, Entry* e) {
  uint32_t b = BucketOf(e->identifier, table->Capacity);
  ChainAppend(table->idFirst[b], table->idLast[b], e, &Entry::idPrev, &Entry::idNext);
}

void AppendList(Table* table, Entry* e) {
  ChainAppend(table->listHead, table->listTail, e, &Entry::listPrev, &Entry::listNext);
}

void UnlinkEntry(Table* table, Entry* e) {
  if ((e->state & kStateIdOnly) == 0) {
    // A running walk must not be left pointing at an entry that goes.
    for (IterationFrame* f = table->iteration; f != nullptr; f = f->outer) {
      if (f->cursor == e) f->cursor = e->listNext;
    }
    UnlinkKey(table, e);
    ChainUnlink(table->listHead, table->listTail, e, &Entry::listPrev, &Entry::listNext);
  }
  if (e->identifier != 0 && table->idFirst != nullptr) {
    uint32_t b = BucketOf(e->identifier, table->Capacity);
    ChainUnlink(table->idFirst[b], table->idLast[b], e, &Entry::idPrev, &Entry::idNext);
  }
}

void ParkDeferred(Table* table, Entry* e) {
  e->state |= kStateRemovalDeferred | kStateDeleted;
  e->listPrev = nullptr;
  e->listNext = table->deferredHead;
  if (table->deferredHead != nullptr) table->deferredHead->listPrev = e;
  table->deferredHead = e;
}

// ---- Entry lifetime ----

Rc NewEntry(int32_t key, void* object, const char* string, uint32_t length, Entry** out) {
  void* mem = nullptr;
  Rc rc = xcsGetMemFn(sizeof(Entry) + length, &mem);
  if (rc != xcsRC_OK) return AllocFailure(kProbeAllocator, rc);
  Entry* e = new (mem) Entry{};
  e->key = key;
  e->object = object;
  e->stringLength = length;
  if (length != 0) std::memcpy(e->string(), string, length);
  *out = e;
  return ZXVRC_OK;
}

void FreeEntry(Entry* e) {
  e->~Entry();
  xcsFreeMemFn(e);
}

Rc ReleaseUse(Entry* e, int32_t* newCount, bool* freeNow) {
  *freeNow = false;
  // acq_rel: the uses given back by other threads happen before whoever
  // takes the count to 0 and then frees the entry or disposes of the object.
  int32_t before = e->useCount.fetch_sub(1, std::memory_order_acq_rel);
  if (before <= 0) {
    e->useCount.fetch_add(1, std::memory_order_relaxed);  // leave it as it was
    *newCount = before;
    return Misuse(kProbeNegativeUseCount, "Negative Use Count");
  }
  *newCount = before - 1;
  // The state bits change only under the write lock, which the caller's
  // read or write lock excludes.
  *freeNow = *newCount == 0 && (e->state & kStateRemovalDeferred) != 0;
  return ZXVRC_OK;
}

void FinishDeferred(Table* table, Entry* e) {
  if (e->listPrev != nullptr) {
    e->listPrev->listNext = e->listNext;
  } else {
    table->deferredHead = e->listNext;
  }
  if (e->listNext != nullptr) e->listNext->listPrev = e->listPrev;
  if (table->cache.load(std::memory_order_relaxed) == e) {
    table->cache.store(nullptr, std::memory_order_relaxed);
  }
  --table->Size;
  FreeEntry(e);
}

// ---- Growth ----

Rc Grow(Table* table) {
  xtr_parms(kComponent, kFnGrow, "Starting capacity: %u", table->Capacity);
  const uint32_t newCapacity = CapacityFor(3ull * table->Capacity);
  if (newCapacity <= table->Capacity) {
    xtr_parms(kComponent, kFnGrow, "Reached the maximum prime; rehashing not available");
    return ZXVRC_OK;
  }
  // Everything is allocated before anything moves, so a failure leaves the
  // table as it was.
  Entry** keyFirst = nullptr;
  Entry** keyLast = nullptr;
  Entry** idFirst = nullptr;
  Entry** idLast = nullptr;
  ZXV_RETURN_IF_ERROR(AllocBuckets(newCapacity, &keyFirst, &keyLast));
  if (table->idFirst != nullptr) {
    Rc rc = AllocBuckets(newCapacity, &idFirst, &idLast);
    if (rc != ZXVRC_OK) {
      FreeBuckets(keyFirst, keyLast);
      return rc;
    }
  }
  Rehash(table->keyFirst, table->Capacity, keyFirst, keyLast, newCapacity, &Entry::keyPrev,
         &Entry::keyNext, &Entry::key);
  FreeBuckets(table->keyFirst, table->keyLast);
  table->keyFirst = keyFirst;
  table->keyLast = keyLast;
  if (idFirst != nullptr) {
    Rehash(table->idFirst, table->Capacity, idFirst, idLast, newCapacity, &Entry::idPrev,
           &Entry::idNext, &Entry::identifier);
    FreeBuckets(table->idFirst, table->idLast);
    table->idFirst = idFirst;
    table->idLast = idLast;
  }
  table->Capacity = newCapacity;
  xtr_parms(kComponent, kFnGrow, "End capacity: %u", table->Capacity);
  return ZXVRC_OK;
}

Rc CreateIdBuckets(Table* table) {
  return AllocBuckets(table->Capacity, &table->idFirst, &table->idLast);
}

void DropIdBuckets(Table* table) {
  FreeBuckets(table->idFirst, table->idLast);
  table->idFirst = nullptr;
  table->idLast = nullptr;
}

// ---- Create and free ----

namespace {

Rc Create(uint32_t requestedCapacity, float loadFactor, hLook* out) {
  if (out == nullptr) return Misuse(kProbeCreateNoOutput, "Create without a return pointer");
  *out = nullptr;
  const uint32_t capacity = CapacityFor(requestedCapacity);

  void* mem = nullptr;
  Rc rc = xcsGetMemFn(sizeof(Table), &mem);
  if (rc != xcsRC_OK) return AllocFailure(kProbeAllocator, rc);
  Table* table = new (mem) Table{};
  table->LoadFactor = loadFactor;
  table->Capacity = capacity;
  table->FirstIdentifier = kFirstIdentifier;
  table->CurrentIdentifier = kFirstIdentifier;

  rc = xcsCreateMutex(&table->mutex);
  if (rc != xcsRC_OK) {
    FreeTableMemory(table);
    return AllocFailure(kProbeAllocator, rc);
  }
  rc = AllocBuckets(capacity, &table->keyFirst, &table->keyLast);
  if (rc != ZXVRC_OK) {
    xcsDestroyMutex(table->mutex);
    FreeTableMemory(table);
    return rc;
  }
  *out = ToHandle(table);
  xtr_parms(kComponent, kFnCreate, "hLook=%p", static_cast<void*>(table));
  xtr_parms(kComponent, kFnCreate, "RequestedCapacity=%u PrimeCapacity=%u", requestedCapacity,
            capacity);
  return ZXVRC_OK;
}

Rc Free(xihTHREAD* t, Table* table) {
  ZXV_RETURN_IF_ERROR(Lock(t, table, kWriteLock, 0));
  table->DeleteRequested.store(1, std::memory_order_seq_cst);
  // seq_cst: pairs with the announce-then-check in Lock (see there).
  uint32_t accessors = table->Accessors.load(std::memory_order_seq_cst);
  if (accessors != 1) {
    xcsERDPSFn(kComponent, __FILE__, kProbeFreeRefused, zutLURC_FREE_REFUSED, &accessors,
               sizeof accessors, "Lookup table free refused: %u accessors inside the table",
               accessors);
    Unlock(t, table, kWriteLock);
    return zutLURC_FREE_REFUSED;
  }
  Unlock(t, table, kWriteLock);

  xtr_parms(kComponent, kFnFree, "pLookup=%p", static_cast<void*>(table));
  // Entries indexed by identifier only are in no key bucket. They go first,
  // while every entry that the identifier chains pass through is still
  // allocated.
  if (table->idFirst != nullptr) {
    for (uint32_t b = 0; b < table->Capacity; ++b) {
      Entry* e = table->idFirst[b];
      while (e != nullptr) {
        Entry* next = e->idNext;
        if ((e->state & kStateIdOnly) != 0) FreeEntry(e);
        e = next;
      }
    }
    FreeBuckets(table->idFirst, table->idLast);
  }
  for (uint32_t b = 0; b < table->Capacity; ++b) {
    Entry* e = table->keyFirst[b];
    while (e != nullptr) {
      Entry* next = e->keyNext;
      xtr_parms(kComponent, kFnFree, "Freeing bucket %u: %p", b, static_cast<void*>(e));
      FreeEntry(e);
      e = next;
    }
  }
  // Entries removed while in use and not yet released.
  for (Entry* e = table->deferredHead; e != nullptr;) {
    Entry* next = e->listNext;
    FreeEntry(e);
    e = next;
  }
  FreeBuckets(table->keyFirst, table->keyLast);
  xcsDestroyMutex(table->mutex);
  FreeTableMemory(table);
  return ZXVRC_OK;
}

}  // namespace
}  // namespace zxv::lookup

using zxv::kComponent;
namespace lu = zxv::lookup;

extern "C" ZXV_API ZXVRC zutLookupCreateEx(ZUT_THREAD pThread, KWULONG requestedCapacity,
                                           float loadFactor, hLook* phLook) {
  (void)pThread;
  xtr_FNC_entry(kComponent, lu::kFnCreate);
  ZXVRC rc = lu::Create(requestedCapacity, loadFactor, phLook);
  xtr_FNC_retcode(kComponent, lu::kFnCreate, rc);
  return rc;
}

extern "C" ZXV_API ZXVRC zutLookupFree(ZUT_THREAD pThread, hLook table) {
  xtr_FNC_entry(kComponent, lu::kFnFree);
  ZXVRC rc;
  if (table == nullptr) {
    rc = lu::Misuse(lu::kProbeFreeNoTable, "Free without a lookup table");
  } else {
    rc = lu::Free(lu::ThreadOrCurrent(pThread), lu::FromHandle(table));
  }
  xtr_FNC_retcode(kComponent, lu::kFnFree, rc);
  return rc;
}
