/* Common-services layer: CCSID conversion and classification.
 *
 * Conversion runs through ICU converters opened by CCSID number (819 is
 * ISO-8859-1, 1208 UTF-8, 1200/13488/17584 UTF-16 with the byte order taken
 * from the encoding or a byte-order mark). Converters are cached per thread.
 * An unmappable or invalid character stops the conversion with a code; a
 * CCSID without a table is reported as not supported, never guessed (this
 * ICU has none for 425 806 833 836 880 891 897 903 904 924 1027 1040-1043
 * 1046 1115 8612 9048 9061). The Mac code pages 1275 and 1280-1283 are
 * opened by their ICU names.
 *
 *   uint32_t used;
 *   xcsRC rc = xcsConvertString(37, 273, in, inLen, 1208, 546, out, sizeof out, &used);
 */
#ifndef ZXVXCS2_XCS_CCSID_H
#define ZXVXCS2_XCS_CCSID_H

#include "xcs_base.h"

XCS_EXTERN_C_BEGIN

/* Encoding families. The numbers are fixed: they index per-family tables. */
#define XCS_CCSID_TYPE_UNKNOWN 0
#define XCS_CCSID_TYPE_ASCII 1  /* ASCII-based single byte (and ASCII-based multi-byte) */
#define XCS_CCSID_TYPE_EBCDIC 2 /* EBCDIC single byte */
#define XCS_CCSID_TYPE_UTF8 3
#define XCS_CCSID_TYPE_LUCS2 4  /* UCS-2 / UTF-16 least significant byte first */
#define XCS_CCSID_TYPE_BUCS2 5  /* UCS-2 / UTF-16 most significant byte first */

/* The family of `ccsid`. For the two-byte sets the byte order comes from the
 * low four bits of `encoding` (1 big-endian, 2 little-endian; anything else
 * means the native order, little-endian). A single- or multi-byte set is
 * EBCDIC when it maps 'A' to 0xC1, ASCII when to 0x41; the sets without a
 * converter table have a fixed family (833 836 880 924 1027 8612 EBCDIC, the
 * others ASCII). Unknown CCSIDs give XCS_CCSID_TYPE_UNKNOWN. Results are
 * cached per process. */
XCS_API uint8_t xcsGetCCSIDType(int32_t ccsid, int32_t encoding);

/* Non-zero when `ccsid` is a two-byte set (UCS-2/UTF-16: 1200, 1201, 1202,
 * 13488, 13490, 17584), whose byte order depends on the encoding. */
XCS_API int xcsIsTwoByteCCSID(int32_t ccsid);

/* Non-zero when a converter for `ccsid` can be opened. */
XCS_API int xcsIsCCSIDSupported(int32_t ccsid);

/* Converts `inLength` bytes from (fromCcsid, fromEncoding) to (toCcsid,
 * toEncoding) into `out` of `outLength` bytes; *outUsed receives the bytes
 * written (on xcsRC_CONV_BUFFER_TOO_SMALL: the bytes that did fit, whole
 * characters only). Encodings matter only for two-byte sets; a byte-order
 * mark at the start of a two-byte source overrides the encoding and is not
 * copied. Returns xcsRC_OK or one of xcsRC_CONV_NOT_SUPPORTED,
 * xcsRC_CONV_INVALID_SOURCE, xcsRC_CONV_TRUNCATED_SOURCE,
 * xcsRC_CONV_UNMAPPABLE, xcsRC_CONV_BUFFER_TOO_SMALL, or an allocator code.
 * Equal CCSIDs and byte orders copy (whatever the bytes). On an invalid or
 * unmappable character *outUsed is what was converted before it. A null
 * outUsed, or a null buffer with a non-zero length, gives
 * xcsRC_INVALID_PARAMETER. */
XCS_API xcsRC xcsConvertString(int32_t fromCcsid, int32_t fromEncoding, const void* in,
                               uint32_t inLength, int32_t toCcsid, int32_t toEncoding,
                               void* out, uint32_t outLength, uint32_t* outUsed);

/* The machine's own CCSID (1208 on this platform) and encoding (546). */
#define XCS_NATIVE_CCSID 1208
#define XCS_NATIVE_ENCODING 546

XCS_EXTERN_C_END

#endif
