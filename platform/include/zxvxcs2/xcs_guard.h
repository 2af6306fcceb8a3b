/* Common-services layer: pointer probing and the fault guard.
 *
 * xcsCheckPointer tells whether memory can be read or written without ever
 * faulting, whatever address it is given; a write probe puts back what it
 * read.
 *
 * xcsCallGuarded runs user code (exits, conversion exits) so that SIGSEGV,
 * SIGBUS, SIGILL or SIGFPE inside it returns to the caller as
 * xcsRC_FAULT_IN_GUARDED_CALL instead of ending the process. Guards nest and
 * are per thread; a signal outside any guard goes to the handler that was
 * installed before the layer's.
 *
 *   int sig = 0;
 *   if (xcsCallGuarded(call_exit, &args, &sig) != xcsRC_OK) reason = 2374;
 */
#ifndef ZXVXCS2_XCS_GUARD_H
#define ZXVXCS2_XCS_GUARD_H

#include "xcs_base.h"

XCS_EXTERN_C_BEGIN

#define XCS_PTR_READ 1
#define XCS_PTR_WRITE 2
#define XCS_PTR_READWRITE 4

/* Returns xcsRC_OK when all `length` bytes from `address` allow `mode`, else
 * xcsRC_BAD_POINTER. A null address is bad; a length of 0 checks one byte; a
 * range that wraps around the address space is bad. `mode` is one or more of
 * the XCS_PTR_* bits (WRITE and READWRITE both probe writing); 0 or another
 * bit gives xcsRC_INVALID_PARAMETER. */
XCS_API xcsRC xcsCheckPointer(const void* address, size_t length, int mode);

typedef void (*xcsGUARDED_FN)(void* argument);

/* Calls fn(argument). Returns xcsRC_OK (*signalNumber 0), or
 * xcsRC_FAULT_IN_GUARDED_CALL with the signal number in *signalNumber (which
 * may be null); a null fn gives xcsRC_INVALID_PARAMETER. The first call
 * installs the handlers and gives the calling thread an alternate signal
 * stack (unless it has one), so a stack overflow inside fn is caught too. */
XCS_API xcsRC xcsCallGuarded(xcsGUARDED_FN fn, void* argument, int* signalNumber);

XCS_EXTERN_C_END

#endif
