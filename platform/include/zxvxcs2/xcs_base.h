/* Common-services layer: base types, the export macro and the return codes.
 *
 * Every operation of the layer returns an xcsRC: 0 for success, otherwise a
 * 32-bit code whose high bits give its class (0x1xxxxxxx warning-like,
 * 0x2xxxxxxx error). The codes below are the ones callers act on.
 */
#ifndef ZXVXCS2_XCS_BASE_H
#define ZXVXCS2_XCS_BASE_H

#include <stddef.h>
#include <stdint.h>

#if defined(ZXVXCS2_BUILDING)
#define XCS_API __attribute__((visibility("default")))
#else
#define XCS_API
#endif

#ifdef __cplusplus
#define XCS_EXTERN_C_BEGIN extern "C" {
#define XCS_EXTERN_C_END }
#else
#define XCS_EXTERN_C_BEGIN
#define XCS_EXTERN_C_END
#endif

typedef uint32_t xcsRC;

#define xcsRC_OK ((xcsRC)0x00000000u)

/* Allocator. The first three mean "out of storage", the fourth "resource problem". */
#define xcsRC_STORAGE_NOT_AVAILABLE ((xcsRC)0x20006035u)
#define xcsRC_STORAGE_NOT_AVAILABLE_2 ((xcsRC)0x20006037u)
#define xcsRC_STORAGE_NOT_AVAILABLE_TRACE ((xcsRC)0x20806036u)
#define xcsRC_RESOURCE_PROBLEM ((xcsRC)0x20806073u)

/* Generic. */
#define xcsRC_UNEXPECTED_ERROR ((xcsRC)0x20006118u)
#define xcsRC_INVALID_PARAMETER ((xcsRC)0x20006120u)

/* Character conversion (xcsConvertString). */
#define xcsRC_CONV_DEFAULT_CHAR_USED ((xcsRC)0x10806055u) /* substitution took place */
#define xcsRC_CONV_NOT_SUPPORTED ((xcsRC)0x20006047u)     /* a CCSID or the pair unknown */
#define xcsRC_CONV_INVALID_SOURCE ((xcsRC)0x20006048u)    /* source bytes not valid */
#define xcsRC_CONV_UNMAPPABLE ((xcsRC)0x20006050u)        /* no mapping in the target */
#define xcsRC_CONV_BUFFER_TOO_SMALL ((xcsRC)0x20006053u)  /* output did not fit */
#define xcsRC_CONV_TRUNCATED_SOURCE ((xcsRC)0x20806102u)  /* source ends inside a character */

/* Modules. */
#define xcsRC_MODULE_NOT_FOUND ((xcsRC)0x20006164u)
#define xcsRC_ENTRY_POINT_NOT_FOUND ((xcsRC)0x20006165u)

/* Files and configuration. */
#define xcsRC_FILE_NOT_FOUND ((xcsRC)0x20006166u)
#define xcsRC_FILE_ERROR ((xcsRC)0x20006167u)

/* Pointer probing and guarded calls. */
#define xcsRC_BAD_POINTER ((xcsRC)0x20006170u)
#define xcsRC_FAULT_IN_GUARDED_CALL ((xcsRC)0x20006171u)

/* Mutexes. */
#define xcsRC_MUTEX_TIMEOUT ((xcsRC)0x20006180u)
#define xcsRC_MUTEX_NOT_OWNER ((xcsRC)0x20006181u)
#define xcsRC_MUTEX_ERROR ((xcsRC)0x20006182u)

/* Shared-memory subpools (xcsQuerySubpool). */
#define xcsRC_SUBPOOL_NOT_FOUND ((xcsRC)0x10006164u)

/* Catalogue messages. */
#define xcsRC_MESSAGE_NOT_FOUND ((xcsRC)0x20006190u)

#endif
