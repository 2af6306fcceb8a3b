/* zxvxzu: object names and blank-padded fields.
 *
 * Names cross the interface as fixed-width fields padded on the right with
 * blanks and never NUL-terminated. These functions convert between such
 * fields and C strings, judge names by the product's character rules, and
 * squeeze internal return codes into one byte and back. They are stateless
 * and take no locks.
 *
 *   char field[KW_Q_MGR_NAME_LENGTH];
 *   zutCvtKWNameFromStr("QM1", field, sizeof field);     // "QM1" + 45 blanks
 *   KWLONG cc, rc;
 *   zutCheckQMName(field, &cc, &rc);                     // cc 0, rc 0
 */
#ifndef ZXVXZU_NAMES_H
#define ZXVXZU_NAMES_H

#include "zxvxzu_types.h"

ZXV_EXTERN_C_BEGIN

/* Option bits of zutCheckValidName. */
#define ZUT_NAME_ALLOW_BLANK 0x1    /* an all-blank name is accepted */
#define ZUT_NAME_ALLOW_GENERIC 0x2  /* one trailing '*' is accepted */
#define ZUT_NAME_NO_DOT_SLASH 0x4   /* '.' and '/' are refused */
#define ZUT_NAME_ALLOW_HYPHEN 0x8   /* '-' accepted, not as first character */

/* The conversions trust the widths they are given; a null pointer or a
 * negative width counts as an empty field. The checks refuse a null name.
 * A NUL inside a field ends its meaningful part as a blank would. */

/* Copies the NUL-terminated `src` into `field` of `width` bytes and pads it
 * with blanks; a longer source is cut at `width`. */
ZXV_API void zutCvtKWNameFromStr(const char* src, char* field, KWULONG width);

/* Blanks `buf` from its first NUL to the end of `width` bytes. */
ZXV_API void zutBlankPad(char* buf, KWULONG width);

/* Copies a `width`-byte object-name field into `out` (width + 1 bytes) and
 * ends the string at the first blank or NUL. */
ZXV_API void zutCvtKWName2Str(const char* field, char* out, KWULONG width);

/* Copies a `width`-byte user-identifier field into `out` (width + 1 bytes)
 * and removes trailing blanks and NULs; byte 0 is always kept, so an
 * all-blank field gives " ". */
ZXV_API void zutCvtKWUser2Str(const char* field, char* out, KWLONG width);

/* Characters before the first blank or NUL, at most `width`. */
ZXV_API KWLONG zutGetLengthNoBlanks(const char* field, KWLONG width);

/* 1 when the name is blank (its first byte NUL, or blanks up to a NUL or
 * over all 48 bytes), else 0. */
ZXV_API KWLONG zutIsItBlank(const char* name);

/* Judges a 48-byte object name under the ZUT_NAME_* options. Returns 0 or
 * ZXVRC_INVALID_NAME. With ZUT_NAME_ALLOW_GENERIC and a valid name,
 * *asteriskPos (when not null) receives the '*' position or -1. */
ZXV_API ZXVRC zutCheckValidName(const char* name, KWLONG options, KWLONG* asteriskPos);

/* Judges a 48-byte queue-manager name; returns the completion code, with
 * *compCode 2 and *reason 2058 for an invalid name, else both 0. */
ZXV_API KWLONG zutCheckQMName(const char* name, KWLONG* compCode, KWLONG* reason);

/* Judges a 16-byte installation name. Returns 0 or ZXVRC_INVALID_NAME. */
ZXV_API ZXVRC zutCheckValidInstallationName(const char* name);

/* Judges a 48-byte generic security profile. Returns 0 or ZXVRC_INVALID_NAME. */
ZXV_API ZXVRC zutCheckValidProfile(const char* profile);

/* Maps an internal return code to one byte, in place, and back: codes
 * 0x7001-0x70FE to their low byte, the library's own codes to the byte its
 * table gives them, any other code to 71. Back, 0 stays 0, a table byte
 * gives its code, and any other value b gives 0x20000000 + 0x7000 + b. */
ZXV_API void zutMapRCTo8bit(KWULONG* code);
ZXV_API void zutMapRCFrom8bit(KWULONG* code);

ZXV_EXTERN_C_END

#endif
