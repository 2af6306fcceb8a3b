/* Common-services layer: configuration files.
 *
 * A configuration file holds stanzas: a line "Name:" followed by indented
 * "Key=Value" lines; '#' and ';' start comments. Browsing calls back once per
 * key of every stanza whose name matches (xcsCompareKeyStrings; a null
 * stanza name matches all), in file order, then once with xusEENDOFFILE. The
 * callback answers with an instruction.
 *
 *   static int32_t cb(void* ctx, const char* stanza, uint32_t stanzaIndex,
 *                     const char* key, const char* value, int32_t code) {
 *     if (code == xusEENDOFFILE) return xusIFINISHBROWSE;
 *     ...; return xusICONTINUEBROWSE;
 *   }
 *   xcsBrowseIniFile("/var/kws/kws.ini", "QueueManager", cb, &ctx);
 */
#ifndef ZXVXCS2_XCS_INI_H
#define ZXVXCS2_XCS_INI_H

#include "xcs_base.h"

XCS_EXTERN_C_BEGIN

/* Browse codes passed to a callback or returned by a browse. */
#define xusSUCCESS 0
#define xusEENDOFFILE 1
#define xusEFILEERROR 2
#define xusENOATTRIBUTE 3 /* a key line without '=' */
#define xusENOVALUE 4     /* a key with an empty value */
#define xusECANCEL 5
#define xusEKEY_NOT_FOUND 6
#define xusEBROWSEFAILED 7
/* Instructions a callback returns. */
#define xusICONTINUEBROWSE 100
#define xusICANCELBROWSE 101
#define xusIFINISHBROWSE 102
#define xusIDELETE_AND_CONTINUE 103 /* remove this key from the file, go on */
#define xusIDELETE_AND_FINISH 104   /* remove this key from the file, stop */

/* `stanzaIndex` counts the matching stanzas from 0 (at the end: the number
 * of matching stanzas); `code` is xusSUCCESS for an ordinary key,
 * xusENOATTRIBUTE for a line without '=' or with nothing before it (key is
 * the trimmed text before any '=', value ""), xusENOVALUE for an empty value,
 * and xusEENDOFFILE once at the end (stanza, key and value then null). Keys
 * and values are trimmed of blanks. A stanza line is "Name:" starting in
 * column 0; any other non-comment line is a key line of the current stanza
 * (lines before the first stanza are skipped). The strings are valid during
 * the callback only. */
typedef int32_t (*xusBROWSE_CB)(void* context, const char* stanza, uint32_t stanzaIndex,
                                const char* key, const char* value, int32_t code);

/* Returns xusSUCCESS when the browse ran to its end or was finished by the
 * callback, xusECANCEL when cancelled, xusEFILEERROR when the file cannot be
 * read (or rewritten after a delete), xusEBROWSEFAILED on an allocator
 * failure, a null path or callback, or a callback answer that is not an
 * instruction. Deletes are applied once the browse ends (to its end or by a
 * finish): the file is written to a temporary beside it and renamed over
 * it, keeping its permissions. A cancelled or failed browse changes nothing.
 * A finish or delete-and-finish ends the browse without the end-of-file
 * call. */
XCS_API int32_t xcsBrowseIniFile(const char* path, const char* stanzaName, xusBROWSE_CB callback,
                                 void* context);

/* Compares two keys: case-insensitive, leading and trailing blanks ignored;
 * null compares as "". Returns <0, 0 or >0. */
XCS_API int xcsCompareKeyStrings(const char* a, const char* b);

XCS_EXTERN_C_END

#endif
