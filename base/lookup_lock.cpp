// The lookup table's reader/writer lock: one recursive mutex and three
// atomic counters.
//
// Readers never take the mutex while no writer is about: a reader announces
// itself in UnlockedAccessors and then checks that no writer is registered
// in WriteRequested. A writer takes the mutex, registers in WriteRequested
// and then waits for UnlockedAccessors to drain. Both sides store to one
// counter and then load the other (a Dekker-style handshake), which is only
// correct when the two stores and the two loads fall into one total order:
// those four accesses are seq_cst. Everything else is weaker and says why.
#include <atomic>
#include <cstdint>

#include "base/lookup_table_internal.h"
#include "zxvxcs2/xcs_erdp.h"
#include "zxvxcs2/xcs_mutex.h"
#include "zxvxcs2/xcs_thread.h"
#include "zxvxcs2/xcs_trace.h"

namespace zxv::lookup {
namespace {

// Failure-record probes of this file.
enum : uint32_t {
  kProbeLockType = 201,
  kProbeDeleteRequested = 202,
  kProbeStaleReader = 203,
  kProbeStaleWriter = 204,
  kProbeUnlockType = 205,
  kProbeNotWriter = 206,
  kProbeNoReader = 207,
};

int32_t WaitFor(uint32_t options) {
  return (options & zutLU_NO_WAIT) != 0 ? XCS_NO_WAIT : XCS_WAIT_FOREVER;
}

// A registration that is still there while the caller holds the mutex
// belongs to a writer that went away without unlocking (a writer holds the
// mutex for as long as it is registered). Called with the mutex held.
void RepairStaleWriter(Table* table, uint32_t probe, uint32_t staleId) {
  xcsERDPSFn(kComponent, __FILE__, probe, kRcStaleWriter, &staleId, sizeof staleId,
             "Stale write lock registration of thread %u cleared", staleId);
  table->writeLockCount = 0;
  table->WriteRequested.store(0, std::memory_order_relaxed);  // mutex orders it
}

Rc LockRead(xihTHREAD* t, Table* table, uint32_t options) {
  // A writer may read its own table: the read lock inside the write lock is
  // only counted, so that it stays held if the write lock goes first.
  if (HoldsWriteLock(t, table)) {
    table->UnlockedAccessors.fetch_add(1, std::memory_order_relaxed);
    return ZXVRC_OK;
  }
  for (;;) {
    // seq_cst: the load of the handshake (see below); when it reads 0 from
    // a writer's unlock it also acquires what that writer wrote.
    while (table->WriteRequested.load(std::memory_order_seq_cst) != 0) {
      Rc rc = xcsRequestMutex(table->mutex, WaitFor(options));
      if (rc != xcsRC_OK) {
        table->Accessors.fetch_sub(1, std::memory_order_release);
        return rc;
      }
      // Relaxed: a live writer clears its registration before it releases
      // the mutex, and acquiring the mutex made that store visible.
      uint32_t writer = table->WriteRequested.load(std::memory_order_relaxed);
      if (writer != 0) RepairStaleWriter(table, kProbeStaleReader, writer);
      xcsReleaseMutex(table->mutex);
    }
    // The handshake: announce, then look for a writer. A writer stores its
    // id and then loads this counter; in the single seq_cst order either it
    // sees our announcement and waits, or we see its id and back off.
    table->UnlockedAccessors.fetch_add(1, std::memory_order_seq_cst);
    if (table->WriteRequested.load(std::memory_order_seq_cst) == 0) return ZXVRC_OK;
    table->UnlockedAccessors.fetch_sub(1, std::memory_order_seq_cst);
  }
}

Rc LockWrite(xihTHREAD* t, Table* table, uint32_t options) {
  Rc rc = xcsRequestMutex(table->mutex, WaitFor(options));
  if (rc != xcsRC_OK) {
    table->Accessors.fetch_sub(1, std::memory_order_release);
    return rc;
  }
  // Relaxed: under the mutex nobody else changes the registration.
  uint32_t writer = table->WriteRequested.load(std::memory_order_relaxed);
  if (writer == t->ThreadId) {
    ++table->writeLockCount;  // nested; the mutex counted the request too
    return ZXVRC_OK;
  }
  if (writer != 0) RepairStaleWriter(table, kProbeStaleWriter, writer);

  // The handshake's other half (see LockRead). The load in the loop also
  // acquires the readers' release decrements, so their reads of the table
  // happen before what this writer changes.
  table->WriteRequested.store(t->ThreadId, std::memory_order_seq_cst);
  uint64_t passes = 0;
  uint64_t sleeps = 0;
  while (table->UnlockedAccessors.load(std::memory_order_seq_cst) != 0) {
    ++passes;
    if (passes % kSpinPassesPerSleep == 0) {
      xcsSleepMicros(1);
      ++sleeps;
    }
  }
  table->SleepCount += sleeps;
  table->LoopCount += passes;
  table->writeLockCount += 1;
  return ZXVRC_OK;
}

}  // namespace

Rc Lock(xihTHREAD* t, Table* table, int32_t lockType, uint32_t options) {
  if (lockType != kReadLock && lockType != kWriteLock) {
    return Misuse(kProbeLockType, "Invalid lock type");
  }
  // Announce first, then look at DeleteRequested: zutLookupFree stores
  // DeleteRequested and then loads Accessors, so in the seq_cst order either
  // it counts this thread and refuses, or this thread sees the request.
  table->Accessors.fetch_add(1, std::memory_order_seq_cst);
  if (table->DeleteRequested.load(std::memory_order_seq_cst) != 0) {
    table->Accessors.fetch_sub(1, std::memory_order_release);
    xcsERDPFn(kComponent, __FILE__, kProbeDeleteRequested, zutLURC_MISUSE,
              "Lock requested on a lookup table that is being freed", nullptr, 0);
    return zutLURC_MISUSE;
  }
  return lockType == kReadLock ? LockRead(t, table, options) : LockWrite(t, table, options);
}

Rc Unlock(xihTHREAD* t, Table* table, int32_t lockType) {
  if (lockType == kReadLock) {
    // Release: the reader's accesses happen before a writer that sees the
    // count drop (the writer's load acquires through the release sequence).
    uint32_t before = table->UnlockedAccessors.fetch_sub(1, std::memory_order_release);
    if (before == 0) {
      table->UnlockedAccessors.fetch_add(1, std::memory_order_relaxed);
      return Misuse(kProbeNoReader, "Unlock of a read lock that is not held");
    }
  } else if (lockType == kWriteLock) {
    uint32_t writer = table->WriteRequested.load(std::memory_order_relaxed);
    if (writer != t->ThreadId) {
      xcsERDPSFn(kComponent, __FILE__, kProbeNotWriter, kRcNotWriter, &writer, sizeof writer,
                 "Write unlock by thread %u; the writer is thread %u", t->ThreadId, writer);
      return kRcNotWriter;
    }
    if (--table->writeLockCount == 0) {
      // Release: a reader that loads 0 here acquires this writer's changes.
      table->WriteRequested.store(0, std::memory_order_release);
    }
    xcsReleaseMutex(table->mutex);
  } else {
    return Misuse(kProbeUnlockType, "Invalid lock type");
  }
  // Last touch of the table by this request. Release: zutLookupFree loads
  // Accessors and frees only when it sees this thread gone.
  table->Accessors.fetch_sub(1, std::memory_order_release);
  return ZXVRC_OK;
}

}  // namespace zxv::lookup

using zxv::kComponent;
using zxv::lookup::FromHandle;
using zxv::lookup::kFnLock;
using zxv::lookup::kFnUnlock;

extern "C" ZXV_API ZXVRC zutLookupLock(ZUT_THREAD pThread, hLook table, KWLONG lockType,
                                       KWULONG options) {
  xtr_FNC_entry(kComponent, kFnLock);
  ZXVRC rc;
  if (table == nullptr) {
    rc = zxv::lookup::Misuse(208, "Lock without a lookup table");
  } else {
    rc = zxv::lookup::Lock(zxv::lookup::ThreadOrCurrent(pThread), FromHandle(table), lockType,
                           options);
  }
  xtr_FNC_retcode(kComponent, kFnLock, rc);
  return rc;
}

extern "C" ZXV_API ZXVRC zutLookupUnlock(ZUT_THREAD pThread, hLook table, KWLONG lockType) {
  xtr_FNC_entry(kComponent, kFnUnlock);
  ZXVRC rc;
  if (table == nullptr) {
    rc = zxv::lookup::Misuse(209, "Unlock without a lookup table");
  } else {
    rc = zxv::lookup::Unlock(zxv::lookup::ThreadOrCurrent(pThread), FromHandle(table), lockType);
  }
  xtr_FNC_retcode(kComponent, kFnUnlock, rc);
  return rc;
}
