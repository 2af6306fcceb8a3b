/* Common-services layer: failure records.
 *
 * An unexpected internal state is written as a failure record: one text file
 * per record, "<data dir>/errors/ZXV<pid>.<seq>.FRC", carrying the component,
 * source file, probe, return code, comment, the thread and any dumped data as
 * hex. The call returns; the caller goes on.
 *
 *   xcsERDPFn(ZXV_COMP, __FILE__, 12, rc, "Unexpected allocator code", NULL, 0);
 */
#ifndef ZXVXCS2_XCS_ERDP_H
#define ZXVXCS2_XCS_ERDP_H

#include "xcs_base.h"

XCS_EXTERN_C_BEGIN

XCS_API void xcsERDPFn(uint32_t comp, const char* sourceFile, uint32_t probe, xcsRC rc,
                       const char* comment, const void* dump, size_t dumpLength);

/* As xcsERDPFn with a printf-style comment. */
XCS_API void xcsERDPSFn(uint32_t comp, const char* sourceFile, uint32_t probe, xcsRC rc,
                        const void* dump, size_t dumpLength, const char* format, ...)
    __attribute__((format(printf, 7, 8)));

/* For tests: records written by this process, and the path and comment of
 * the last one (empty strings when none). */
XCS_API uint32_t xcsFailureRecordCount(void);
XCS_API void xcsLastFailureRecord(char* path, size_t pathSize, char* comment,
                                  size_t commentSize, uint32_t* probe, xcsRC* rc);

/* The directories the layer writes to: data dir = KWSPREFIX, else "/var/kws";
 * when that cannot be created or written, "$TMPDIR/kws" (TMPDIR defaulting to
 * "/tmp"). Both return a NUL-terminated path valid for the process's life. */
XCS_API const char* xcsDataDirectory(void);
XCS_API const char* xcsErrorsDirectory(void);

XCS_EXTERN_C_END

#endif
