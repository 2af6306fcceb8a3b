/* Common-services layer: catalogue messages.
 *
 * Operator messages are kept by number in the catalogue shipped with the
 * project (platform/messages/zxvxzu.msg, built into the layer; the file named
 * by ZXV_MSG_CATALOGUE, when set, is read instead). A text holds inserts &1
 * to &9: &1 and &2 are the numeric inserts, &3 to &7 the string inserts.
 * Displayed messages are appended to "<errors dir>/ZXVERR01.LOG" with time,
 * process and thread, one line each:
 *   <time> <pid>.<thread> ZXV<number>: <text>[ [rc=0x%08X]]
 *
 * A message is named by its number (7214 is ZXV7214) or by its full message
 * code, whose low 16 bits written as four hex digits give the number
 * (0x20009030 is ZXV9030). Catalogue lines are "<number> <text>"; '#' starts
 * a comment line. Inserts &8 and &9, and any insert without a value, print
 * as "" (numeric inserts as 0 when `inserts` is null).
 *
 *   xcsINSERTS ins = {0};
 *   ins.Strings[0] = exitName; ins.Strings[1] = module;
 *   xcsDisplayMessageForError(7214, rc, &ins);
 */
#ifndef ZXVXCS2_XCS_MESSAGE_H
#define ZXVXCS2_XCS_MESSAGE_H

#include "xcs_base.h"

XCS_EXTERN_C_BEGIN

typedef struct xcsINSERTS {
  int32_t Numbers[2];     /* &1, &2 */
  const char* Strings[5]; /* &3 .. &7; null prints as "" */
} xcsINSERTS;

/* Formats message `number` ("ZXV<number>: <text>" with inserts filled in)
 * into `buffer`, cut to fit and always NUL-terminated. Returns xcsRC_OK or
 * xcsRC_MESSAGE_NOT_FOUND (the buffer then holds a text saying so, with the
 * inserts); a null buffer or size 0 gives xcsRC_INVALID_PARAMETER. With
 * ZXV_MSG_CATALOGUE set, only that file is searched. */
XCS_API xcsRC xcsFormatMessage(uint32_t number, const xcsINSERTS* inserts, char* buffer,
                               size_t bufferSize);

/* Formats message `number` and writes it to the error log, with the return
 * code `rc` (0 for none) shown beside it. Returns what xcsFormatMessage
 * returned, or xcsRC_FILE_ERROR when the log could not be written (the
 * message still counts as displayed). */
XCS_API xcsRC xcsDisplayMessageForError(uint32_t number, xcsRC rc, const xcsINSERTS* inserts);

/* For tests: messages displayed by this process and the last text. */
XCS_API uint32_t xcsDisplayedMessageCount(void);
XCS_API void xcsLastDisplayedMessage(char* buffer, size_t bufferSize);

XCS_EXTERN_C_END

#endif
