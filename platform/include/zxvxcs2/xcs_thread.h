/* Common-services layer: per-thread and per-process state.
 *
 * Each thread that calls into the layer owns one xihTHREAD block, created on
 * first use and valid until the thread ends. Internal functions that need
 * "the calling thread's state" take a pointer to it as their first argument:
 *
 *   xihTHREAD* t = xihGetThread();
 *   trace_something(t, ...);
 */
#ifndef ZXVXCS2_XCS_THREAD_H
#define ZXVXCS2_XCS_THREAD_H

#include "xcs_base.h"

XCS_EXTERN_C_BEGIN

typedef struct xihTHREAD {
  char StrucId[4];    /* "XIHT" */
  uint32_t ThreadId;  /* small, process-unique number, 1 for the first thread seen */
  uint64_t OsThreadId;
  int32_t TraceDepth; /* nesting of traced functions on this thread */
  int32_t Reserved;
  void* GuardTop;     /* innermost active fault guard frame, owned by the guard code */
} xihTHREAD;

typedef struct xihPROCESS {
  char StrucId[4]; /* "XIHP" */
  int32_t ProcessId;
} xihPROCESS;

/* The calling thread's state block; never null. */
XCS_API xihTHREAD* xihGetThread(void);

/* The process block (process id kept current across fork). Never null. */
XCS_API const xihPROCESS* xihGetProcess(void);

/* Hot-path accessors. The first xihGetThread on a thread caches the block's
 * address in an initial-exec thread-local pointer of the layer, so that
 * reading it afterwards is one load: no call and no dynamic TLS lookup. The
 * process block is read in place. Both return what xihGetThread and
 * xihGetProcess return. */
XCS_API extern __thread xihTHREAD* xihThreadSelf __attribute__((tls_model("initial-exec")));
XCS_API extern xihPROCESS xihProcessBlock;

static inline xihTHREAD* xihCurrentThread(void) {
  xihTHREAD* thread = xihThreadSelf;
  return thread != NULL ? thread : xihGetThread();
}

static inline int32_t xihCurrentProcessId(void) { return xihProcessBlock.ProcessId; }

/* Sleeps the calling thread for the given number of microseconds. */
XCS_API void xcsSleepMicros(uint32_t micros);

XCS_EXTERN_C_END

#endif
