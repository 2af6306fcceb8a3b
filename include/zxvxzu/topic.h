/* zxvxzu: topic strings.
 *
 * A literal '%', '*' or '?' in a topic string is written with the escape
 * character '%' in front of it when the caller asks for character-level
 * wildcard matching (option bit ZUT_TOPIC_ESCAPED). Strings carry explicit
 * lengths and may hold NULs. When an operation has to change a string it
 * returns a new buffer from the common-services allocator and sets
 * *allocated to 1; the caller then owns it.
 *
 *   KWULONG outLen, alloc; char* out; KWLONG cc, rc;
 *   zutEscapeTopicString(ZUT_TOPIC_ESCAPED, 3, "a*b", &outLen, &out, &alloc, &cc, &rc);
 *   // out "a%*b", outLen 4, alloc 1; free it with the platform's xcsFreeMemFn
 */
#ifndef ZXVXZU_TOPIC_H
#define ZXVXZU_TOPIC_H

#include "zxvxzu_types.h"

ZXV_EXTERN_C_BEGIN

#define ZUT_TOPIC_ESCAPED 0x100000

/* Escapes '%', '*' and '?' when ZUT_TOPIC_ESCAPED is set in `options`.
 * Returns the allocator's code (0 on success); on failure *compCode 2 and
 * *reason 2071, 2102 or 2195, *outString null and *outLength 0. */
ZXV_API ZXVRC zutEscapeTopicString(KWLONG options, KWULONG length, const char* string,
                                   KWULONG* outLength, char** outString, KWULONG* allocated,
                                   KWLONG* compCode, KWLONG* reason);

/* Converts the string to UTF-8 (when *ccsid is not 1208) and removes its
 * escapes. On success the in/out values describe the literal string. Reasons:
 * 2425 malformed escape or unconvertible text, 2441, 2071, 2102, 2195. */
ZXV_API ZXVRC zutLiteralizeTopicString(KWLONG* length, char** string, KWULONG* bufferLength,
                                       KWLONG* ccsid, KWULONG* allocated, KWLONG* compCode,
                                       KWLONG* reason);

/* 1 when every escape in the string is well formed (or ZUT_TOPIC_ESCAPED is
 * clear), else 0. */
ZXV_API KWLONG zutValidateTopicString(KWLONG options, KWULONG length, const char* string);

ZXV_EXTERN_C_END

#endif
