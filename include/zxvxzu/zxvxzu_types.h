/* zxvxzu: shared types and constants of the library's C interface.
 *
 * Completion and reason codes, the widths of the fixed-width name fields,
 * integer encodings and the CCSIDs the library refers to by number. Every
 * other public header includes this one.
 */
#ifndef ZXVXZU_ZXVXZU_TYPES_H
#define ZXVXZU_ZXVXZU_TYPES_H

#include <stddef.h>
#include <stdint.h>

#if defined(ZXV_BUILDING_LIBRARY)
#define ZXV_API __attribute__((visibility("default")))
#else
#define ZXV_API
#endif

#ifdef __cplusplus
#define ZXV_EXTERN_C_BEGIN extern "C" {
#define ZXV_EXTERN_C_END }
#else
#define ZXV_EXTERN_C_BEGIN
#define ZXV_EXTERN_C_END
#endif

typedef int32_t KWLONG;
typedef uint32_t KWULONG;
typedef int64_t KWINT64;
typedef uint32_t ZXVRC; /* internal return code: 0 success, high bits the class */

/* Completion codes. */
#define KWCC_OK 0
#define KWCC_WARNING 1
#define KWCC_FAILED 2

/* Reason codes (the public numbers). Further codes are defined beside the
 * family that gives them. */
#define KWRC_NONE 0
#define KWRC_BUFFER_ERROR 2004
#define KWRC_BUFFER_LENGTH_ERROR 2005
#define KWRC_Q_MGR_NAME_ERROR 2058
#define KWRC_STORAGE_NOT_AVAILABLE 2071
#define KWRC_TRUNCATED_MSG_ACCEPTED 2079
#define KWRC_RESOURCE_PROBLEM 2102
#define KWRC_FORMAT_ERROR 2110
#define KWRC_SOURCE_CCSID_ERROR 2111
#define KWRC_SOURCE_INTEGER_ENC_ERROR 2112
#define KWRC_TARGET_INTEGER_ENC_ERROR 2116
#define KWRC_NOT_CONVERTED 2119
#define KWRC_CONVERTED_MSG_TOO_BIG 2120
#define KWRC_API_EXIT_NOT_FOUND 2182
#define KWRC_API_EXIT_LOAD_ERROR 2183
#define KWRC_CONVERTED_STRING_TOO_BIG 2190
#define KWRC_UNEXPECTED_ERROR 2195
#define KWRC_API_EXIT_ERROR 2374
#define KWRC_API_EXIT_INIT_ERROR 2375
#define KWRC_TOPIC_STRING_ERROR 2425
#define KWRC_TOPIC_STRING_CONVERSION 2441
#define KWRC_PROPERTY_NAME_ERROR 2442
#define KWRC_HMSG_ERROR 2460

/* Internal return codes shared across families. */
#define ZXVRC_OK ((ZXVRC)0x00000000u)
#define ZXVRC_INVALID_NAME ((ZXVRC)0x10805202u)
#define ZXVRC_NOT_FOUND ((ZXVRC)0x0080520Cu)
#define ZXVRC_MISUSE ((ZXVRC)0x20805214u)

/* Widths of blank-padded name fields, in bytes. */
#define KW_Q_MGR_NAME_LENGTH 48
#define KW_OBJECT_NAME_LENGTH 48
#define KW_PROFILE_NAME_LENGTH 48
#define KW_USER_ID_LENGTH 12
#define KW_INSTALLATION_NAME_LENGTH 16
#define KW_FORMAT_LENGTH 8

/* Encodings: the low four bits give the integer byte order. */
#define KWENC_INTEGER_MASK 0x0000000F
#define KWENC_INTEGER_NORMAL 0x00000001   /* most significant byte first */
#define KWENC_INTEGER_REVERSED 0x00000002 /* least significant byte first */
#define KWENC_NATIVE 546

/* CCSIDs the library names. */
#define KWCCSI_ISO8859_1 819
#define KWCCSI_UTF8 1208
#define KWCCSI_UTF16 1200
#define KWCCSI_UCS2 13488
#define KWCCSI_UTF16_ALT 17584
#define KWCCSI_EBCDIC_US 37
#define KWCCSI_EBCDIC_DE 273
#define KWCCSI_EBCDIC_INTL 500
#define KWCCSI_EBCDIC_1047 1047
#define KWCCSI_PC_LATIN1 850

#endif
