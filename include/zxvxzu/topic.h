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

/* Option bit: the caller's topic strings are in the escaped form. */
#define ZUT_TOPIC_ESCAPED 0x100000

/* The escape character and the size of the buffer that receives a topic
 * string converted to UTF-8. */
#define ZUT_TOPIC_ESCAPE_CHAR '%'
#define ZUT_TOPIC_CONVERT_BUFFER_LENGTH 10240

/* Internal return code of zutLiteralizeTopicString for a dangling escape or
 * an invalid character after one (reason 2425). */
#define ZXVRC_TOPIC_STRING_INVALID ((ZXVRC)0x20805220u)

/* Escapes '%', '*' and '?' when ZUT_TOPIC_ESCAPED is set in `options`;
 * without it, or when nothing needs escaping, *outString is `string` itself
 * and *allocated 0. A zero length or null string with the bit set gives
 * *outLength 0 and *outString null. Returns the allocator's code (0 on
 * success); on failure *compCode 2 and *reason 2071, 2102 or 2195 (the last
 * with a failure record), *outString null, *outLength 0, *allocated 0. */
ZXV_API ZXVRC zutEscapeTopicString(KWLONG options, KWULONG length, const char* string,
                                   KWULONG* outLength, char** outString, KWULONG* allocated,
                                   KWLONG* compCode, KWLONG* reason);

/* Converts the string to UTF-8 (when *ccsid is not 1208, into a new buffer
 * of ZUT_TOPIC_CONVERT_BUFFER_LENGTH bytes) and removes its escapes ("%%",
 * "%*", "%?" become one character; a string with escapes and no conversion
 * is copied first, the caller's bytes are never changed). On success the
 * in/out values describe the literal string: length, address, size of the
 * buffer holding it, CCSID (1208 after a conversion); *allocated 1 when the
 * caller now owns a new buffer (free it with xcsFreeMemFn). A length below 1
 * or a null string gives length 0 and a null string.
 * Returns 0; ZXVRC_TOPIC_STRING_INVALID (reason 2425) for a dangling or
 * invalid escape; the conversion service's code (reason 2425 when the text
 * cannot be converted, 2441 when substitution was needed, else 2195); or the
 * allocator's code (2071, 2102, 2195). On failure *compCode is 2, nothing
 * allocated by the call is kept and *allocated is 0. */
ZXV_API ZXVRC zutLiteralizeTopicString(KWLONG* length, char** string, KWULONG* bufferLength,
                                       KWLONG* ccsid, KWULONG* allocated, KWLONG* compCode,
                                       KWLONG* reason);

/* 1 when every escape in the string is well formed (or ZUT_TOPIC_ESCAPED is
 * clear, or the string is empty or null), else 0. Sets no reason code. */
ZXV_API KWLONG zutValidateTopicString(KWLONG options, KWULONG length, const char* string);

ZXV_EXTERN_C_END

#endif
