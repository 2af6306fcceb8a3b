/* zxvxzu: escaping of values in folder text, per encoding family.
 *
 * Folder text of a KWRFH2 (kwrfh2.h) is markup kept in its own CCSID, so
 * each routine exists once per encoding family and works on the text as it
 * stands: ASCII (ASCII-based CCSIDs), EBCDIC, UTF8, BUCS2 (UCS-2 most
 * significant byte first) and LUCS2 (UCS-2 least significant byte first).
 * The library itself reaches them through tables indexed by the CCSIDType
 * (property_names.h, ZRF_CCSIDTYPE_*); the exported names serve callers that
 * know their family.
 *
 * Escaping writes "&" as "&amp;" and "<" as "&lt;" and nothing else (">",
 * double quote and apostrophe stay as they are). Unescaping reads the five
 * entities lt, gt, amp, quot and apos; any other name between "&" and ";"
 * (numeric references included) is kept as it stands, and an "&" with no
 * ";" after it ends the output there. Lengths are in bytes; the UCS-2
 * families ignore a trailing odd byte, and in UTF-8 a multi-byte character
 * is stepped whole from its lead byte.
 *
 *   KWULONG need = zrfUTF8CalculateEscapedSize(value, len);   // size first
 *   KWULONG used = 0;
 *   zrfUTF8ExpandString(value, len, buffer, &used);          // then append
 *
 * The expansion routines do not check the output's size: size it with the
 * matching CalculateEscapedSize first. Each routine traces entry and exit;
 * a missing pointer (text or output null with a non-zero length, the
 * output length null) writes a failure record, and Expand/Compress then
 * return 2195 with nothing written; otherwise they return 0.
 */
#ifndef ZXVXZU_VALUE_ESCAPE_H
#define ZXVXZU_VALUE_ESCAPE_H

#include "zxvxzu_types.h"

ZXV_EXTERN_C_BEGIN

/* The length in bytes of the escaped form of Length bytes of text: 5 units
 * for "&", 4 for "<", 1 for any other unit (2-byte units in UCS-2). Sizes
 * beyond 4 GB - 1 are given as 0xFFFFFFFF. */
ZXV_API KWULONG zrfASCIICalculateEscapedSize(const void* pText, KWULONG Length);
ZXV_API KWULONG zrfEBCDICCalculateEscapedSize(const void* pText, KWULONG Length);
ZXV_API KWULONG zrfUTF8CalculateEscapedSize(const void* pText, KWULONG Length);
ZXV_API KWULONG zrfBUCS2CalculateEscapedSize(const void* pText, KWULONG Length);
ZXV_API KWULONG zrfLUCS2CalculateEscapedSize(const void* pText, KWULONG Length);

/* Appends the escaped form of Length bytes of text at pOut + *pOutLength
 * and adds the bytes written to *pOutLength. */
ZXV_API KWLONG zrfASCIIExpandString(const void* pText, KWULONG Length, void* pOut,
                                    KWULONG* pOutLength);
ZXV_API KWLONG zrfEBCDICExpandString(const void* pText, KWULONG Length, void* pOut,
                                     KWULONG* pOutLength);
ZXV_API KWLONG zrfUTF8ExpandString(const void* pText, KWULONG Length, void* pOut,
                                   KWULONG* pOutLength);
ZXV_API KWLONG zrfBUCS2ExpandString(const void* pText, KWULONG Length, void* pOut,
                                    KWULONG* pOutLength);
ZXV_API KWLONG zrfLUCS2ExpandString(const void* pText, KWULONG Length, void* pOut,
                                    KWULONG* pOutLength);

/* Writes the unescaped form of Length bytes of escaped text at pOut (never
 * longer than the input; pOut may equal pText) and sets *pOutLength to its
 * length. */
ZXV_API KWLONG zrfASCIICompressEscapedString(const void* pText, KWULONG Length, void* pOut,
                                             KWULONG* pOutLength);
ZXV_API KWLONG zrfEBCDICCompressEscapedString(const void* pText, KWULONG Length, void* pOut,
                                              KWULONG* pOutLength);
ZXV_API KWLONG zrfUTF8CompressEscapedString(const void* pText, KWULONG Length, void* pOut,
                                            KWULONG* pOutLength);
ZXV_API KWLONG zrfBUCS2CompressEscapedString(const void* pText, KWULONG Length, void* pOut,
                                             KWULONG* pOutLength);
ZXV_API KWLONG zrfLUCS2CompressEscapedString(const void* pText, KWULONG Length, void* pOut,
                                             KWULONG* pOutLength);

ZXV_EXTERN_C_END

#endif
