/* Common-services layer: mutexes.
 *
 * Thread mutexes are recursive. Named mutexes live in a process-wide
 * registry: creating a name that exists returns the same mutex with its use
 * count raised; deleting lowers it and frees at zero. The machine-wide file
 * lock serialises processes through fcntl locking on a lock file.
 *
 *   xcsMUTEX* m;
 *   xcsCreateMutex(&m);
 *   if (xcsRequestMutex(m, XCS_WAIT_FOREVER) == xcsRC_OK) { ...; xcsReleaseMutex(m); }
 *   xcsDestroyMutex(m);
 */
#ifndef ZXVXCS2_XCS_MUTEX_H
#define ZXVXCS2_XCS_MUTEX_H

#include "xcs_base.h"

XCS_EXTERN_C_BEGIN

typedef struct xcsMUTEX xcsMUTEX;
typedef struct xcsFILELOCK xcsFILELOCK;

#define XCS_WAIT_FOREVER (-1)
#define XCS_NO_WAIT 0

/* Recursive mutexes. Request returns xcsRC_MUTEX_TIMEOUT when `timeoutMs`
 * passed (0: try once; any negative value waits forever); Release by a
 * thread that does not hold it returns xcsRC_MUTEX_NOT_OWNER. Destroy
 * refuses a held mutex (xcsRC_MUTEX_ERROR) and a named one
 * (xcsRC_INVALID_PARAMETER). A null handle gives xcsRC_INVALID_PARAMETER. Storage failures return the allocator's code. */
XCS_API xcsRC xcsCreateMutex(xcsMUTEX** mutex);
XCS_API xcsRC xcsRequestMutex(xcsMUTEX* mutex, int32_t timeoutMs);
XCS_API xcsRC xcsReleaseMutex(xcsMUTEX* mutex);
XCS_API xcsRC xcsDestroyMutex(xcsMUTEX* mutex);
/* Non-zero when the calling thread holds the mutex. */
XCS_API int xcsMutexHeldByMe(const xcsMUTEX* mutex);

/* Failure injection for tests, process-wide, as xcsInjectAllocFailure: the
 * `nth` xcsRequestMutex from now (1 = the next one) fails with `code` and
 * leaves the mutex untaken; with `repeat` non-zero every request from that
 * one on fails. nth 0 switches injection off. An injected xcsRC_OK is
 * replaced by xcsRC_MUTEX_ERROR. When off a request pays one predictable
 * branch for it. */
XCS_API void xcsInjectMutexFailure(uint32_t nth, xcsRC code, int repeat);

/* Named mutexes (process-wide registry). Delete of the last user refuses a
 * held mutex (xcsRC_MUTEX_ERROR); a mutex not from the registry gives
 * xcsRC_INVALID_PARAMETER. */
XCS_API xcsRC xcsCreateNamedMutex(const char* name, xcsMUTEX** mutex);
XCS_API xcsRC xcsDeleteNamedMutex(xcsMUTEX* mutex);

/* Machine-wide lock: an fcntl write lock on "<data dir>/<name>.lck" (the
 * file is created when missing). Lock waits; Unlock closes the file. The
 * lock is per open file, so it serialises threads of one process as well as
 * processes; a forked child does not inherit its parent's locks. A name that
 * is empty or holds '/' gives xcsRC_INVALID_PARAMETER; a file that cannot be
 * opened or locked xcsRC_FILE_ERROR. */
XCS_API xcsRC xcsLockFile(const char* name, xcsFILELOCK** lock);
XCS_API xcsRC xcsUnlockFile(xcsFILELOCK* lock);

XCS_EXTERN_C_END

#endif
