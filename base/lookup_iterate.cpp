// Walking a lookup table: a callback per entry, in insertion order, under
// the write lock.
#include "base/lookup_table_internal.h"
#include "zxvxcs2/xcs_trace.h"

namespace zxv::lookup {
namespace {

enum : uint32_t {
  kProbeIterateArgs = 401,
  kProbeIterateNoLock = 402,
};

Rc Iterate(xihTHREAD* t, Table* table, uint32_t flags, zutLOOKUP_CALLBACK callback, void* context1,
           void* context2) {
  if (table == nullptr || callback == nullptr) {
    return Misuse(kProbeIterateArgs, "Iterate without a table or a callback");
  }
  // A walk started from a callback of this thread's walk nests in it and
  // needs no lock of its own.
  const bool outermost = !IsIterating(t, table);
  bool locked = false;
  if (outermost) {
    if ((flags & zutLUF_NO_LOCK) != 0) {
      if (!HoldsWriteLock(t, table)) {
        return Misuse(kProbeIterateNoLock, "zutLUF_NO_LOCK flag without holding the write lock");
      }
    } else {
      ZXV_RETURN_IF_ERROR(Lock(t, table, kWriteLock, 0));
      locked = true;
    }
    // Recorded in either case, so that the callback's gets, releases and
    // removes know that this thread already holds the table.
    table->iteratingThread.store(t, std::memory_order_relaxed);
  }

  const bool useCount = (flags & zutLUF_USE_COUNT) != 0;
  IterationFrame frame{table->listHead, table->iteration};
  table->iteration = &frame;
  while (frame.cursor != nullptr) {
    Entry* e = frame.cursor;
    if (useCount) e->useCount.fetch_add(1, std::memory_order_relaxed);
    // The successor is taken before the callback; a removal from the
    // callback moves it on if it is the one removed.
    frame.cursor = e->listNext;
    xtr_parms(kComponent, kFnIterate, "Issuing callback: hLook=%p, Identifier=0x%.8x, Object=%p",
              static_cast<void*>(table), static_cast<uint32_t>(e->key), e->object);
    KWULONG stop = 0;
    callback(t, ToHandle(table), e->key, e->object, ToHandle(e), context1, context2, &stop);
    // Without a use held, `e` may be gone now; with one it is still here,
    // and giving the use back may be what frees it.
    if (useCount) {
      int32_t count = 0;
      bool freeNow = false;
      if (ReleaseUse(e, &count, &freeNow) == ZXVRC_OK && freeNow) FinishDeferred(table, e);
    }
    if ((stop & zutLU_STOP_ITERATION) != 0) break;
  }
  table->iteration = frame.outer;

  if (outermost) table->iteratingThread.store(nullptr, std::memory_order_relaxed);
  if (locked) Unlock(t, table, kWriteLock);
  return ZXVRC_OK;
}

}  // namespace
}  // namespace zxv::lookup

using zxv::kComponent;
namespace lu = zxv::lookup;

extern "C" ZXV_API ZXVRC zutLookupIterate(ZUT_THREAD pThread, hLook table, KWULONG flags,
                                          zutLOOKUP_CALLBACK callback, void* context1,
                                          void* context2) {
  xtr_FNC_entry(kComponent, lu::kFnIterate);
  ZXVRC rc = lu::Iterate(lu::ThreadOrCurrent(pThread), lu::FromHandle(table), flags, callback,
                         context1, context2);
  xtr_FNC_retcode(kComponent, lu::kFnIterate, rc);
  return rc;
}
