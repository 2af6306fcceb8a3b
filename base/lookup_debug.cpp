// zutLookupDebug: the lookup table header's state as text, to a caller's
// output or to the trace.
#include <cinttypes>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "base/lookup_table_internal.h"
#include "zxvxcs2/xcs_trace.h"

namespace zxv::lookup {
namespace {

class DebugWriter {
 public:
  DebugWriter(zutLOOKUP_OUTPUT output, void* context) : output_(output), context_(context) {}

  __attribute__((format(printf, 2, 3))) void Line(const char* format, ...) {
    char line[512];
    va_list args;
    va_start(args, format);
    std::vsnprintf(line, sizeof line, format, args);
    va_end(args);
    if (output_ != nullptr) {
      output_(context_, line);
      return;
    }
    // A trace record is one line already.
    size_t n = std::strlen(line);
    if (n > 0 && line[n - 1] == '\n') line[n - 1] = '\0';
    xtr_parms(kComponent, kFnDebug, "%s", line);
  }

 private:
  zutLOOKUP_OUTPUT output_;
  void* context_;
};

// The values are read without the lock, so that a table whose lock is
// stuck can still be looked at; counters that change under readers are
// atomics and read relaxed.
void Dump(const Table* table, const char* prefix, const char* trailer, DebugWriter& w) {
  const char* p = prefix != nullptr ? prefix : "";
  w.Line("%s{\n", p);
  w.Line("%s  LoadFactor:          %f\n", p, static_cast<double>(table->LoadFactor));
  w.Line("%s  Capacity:            %u\n", p, table->Capacity);
  w.Line("%s  Size    :            %u\n", p, table->Size);
  w.Line("%s  Accessors:           %u\n", p, table->Accessors.load(std::memory_order_relaxed));
  w.Line("%s  WriteRequested:      %u\n", p, table->WriteRequested.load(std::memory_order_relaxed));
  w.Line("%s  UnlockedAccessors:   %u\n", p,
         table->UnlockedAccessors.load(std::memory_order_relaxed));
  w.Line("%s  DeleteRequested:     %d\n", p,
         table->DeleteRequested.load(std::memory_order_relaxed));
  w.Line("%s  FirstIdentifier:     %d\n", p, table->FirstIdentifier);
  w.Line("%s  CurrentIdentifier:   %d\n", p, table->CurrentIdentifier);
  w.Line("%s  Wrapped:             %d\n", p, table->Wrapped);
  w.Line("%s  LoopCount            %" PRIu64 "\n", p, table->LoopCount);
  w.Line("%s  SleepCount           %" PRIu64 "\n", p, table->SleepCount);
  w.Line("%s  writeLockCount       %" PRIu64 "\n", p, table->writeLockCount);
  w.Line("%s  LookupMutex          %p HeldByCaller: %d\n", p, static_cast<void*>(table->mutex),
         xcsMutexHeldByMe(table->mutex));
  w.Line("%s}%s\n", p, trailer != nullptr ? trailer : "");
}

}  // namespace
}  // namespace zxv::lookup

using zxv::kComponent;
namespace lu = zxv::lookup;

extern "C" ZXV_API ZXVRC zutLookupDebug(ZUT_THREAD pThread, hLook table, const char* prefix,
                                        const char* trailer, zutLOOKUP_OUTPUT output,
                                        void* context) {
  (void)pThread;
  xtr_FNC_entry(kComponent, lu::kFnDebug);
  ZXVRC rc = ZXVRC_OK;
  if (table == nullptr) {
    rc = lu::Misuse(501, "Debug without a lookup table");
  } else {
    lu::DebugWriter w(output, context);
    lu::Dump(lu::FromHandle(table), prefix, trailer, w);
  }
  xtr_FNC_retcode(kComponent, lu::kFnDebug, rc);
  return rc;
}
