/* Common-services layer: trace.
 *
 * Off unless the environment variable ZXV_TRACE is set when the layer loads:
 * "1" or "on" traces entries, exits and parameter lines; "2", "detail" or
 * "all" adds detail lines and data dumps. Lines go to the file
 * "<trace dir>/ZXV<pid>.TRC" (trace dir: ZXV_TRACE_PATH, else
 * "<data dir>/trace"), one line per record, each carrying the component and
 * function number, the thread id and the trace depth. `zxvu trace` formats it.
 *
 * Line format (fields separated by one blank, comp and fn four hex digits):
 *   <time> <pid>.<thread> <depth> <mark>  <comp>:<fn> <rest>
 * with <time> "YYYY-MM-DDTHH:MM:SS.uuuuuu" (local), <thread> the layer's
 * thread number (xihTHREAD.ThreadId), <depth> the nesting after an entry
 * (an exit shows the depth of its entry), and by <mark>:
 *   {  entry          <rest> = the function name
 *   }  exit           <rest> = "rc=0x%08X"
 *   -  text           <rest> = the parameter or detail text (newlines blanked)
 *   D  data header    <rest> = "<label> (<n> bytes)"
 *   X  data line      <rest> = "OOOOOOOO  xx xx .. (16 bytes)  |printable|"
 * A forked child writes its own default file. A sink is called with the output lock
 * held, one line at a time, and must not trace.
 *
 * When trace is off a trace point costs one load and one predictable branch:
 * the macros below test xtrLevel before calling anything.
 *
 *   xtr_FNC_entry(ZXV_COMP, FN_MY_FUNCTION);
 *   xtr_parms(ZXV_COMP, FN_MY_FUNCTION, "in=0x%08x", code);
 *   xtr_FNC_retcode(ZXV_COMP, FN_MY_FUNCTION, rc);
 */
#ifndef ZXVXCS2_XCS_TRACE_H
#define ZXVXCS2_XCS_TRACE_H

#include "xcs_base.h"

XCS_EXTERN_C_BEGIN

#define XTR_LEVEL_OFF 0
#define XTR_LEVEL_FLOW 1   /* entry, exit, parameter lines */
#define XTR_LEVEL_DETAIL 2 /* plus detail text and data dumps */

/* Current level; read it only through the macros. */
XCS_API extern volatile int xtrLevel;

/* Record writers; call them through the macros. `comp` is the caller's
 * component number, `fn` its function number. */
XCS_API void xtrEntry(uint32_t comp, uint32_t fn, const char* name);
XCS_API void xtrExit(uint32_t comp, uint32_t fn, uint32_t rc);
XCS_API void xtrText(uint32_t comp, uint32_t fn, int level, const char* format, ...)
    __attribute__((format(printf, 4, 5)));
XCS_API void xtrData(uint32_t comp, uint32_t fn, const char* label, const void* data,
                     size_t length);

/* Switches trace at run time (tests, tools). `path` null keeps the default
 * file. A sink, when set, receives every line (without newline) in place of
 * the file. */
typedef void (*xtrSINK)(void* context, const char* line);
XCS_API void xtrSetLevel(int level);
XCS_API void xtrSetSink(xtrSINK sink, void* context);
XCS_API void xtrSetFile(const char* path);

#define xtr_active(level) (xtrLevel >= (level))

#define xtr_FNC_entry(comp, fn) \
  do { if (xtr_active(XTR_LEVEL_FLOW)) xtrEntry((comp), (fn), __func__); } while (0)
#define xtr_FNC_retcode(comp, fn, rc) \
  do { if (xtr_active(XTR_LEVEL_FLOW)) xtrExit((comp), (fn), (uint32_t)(rc)); } while (0)
#define xtr_parms(comp, fn, ...) \
  do { if (xtr_active(XTR_LEVEL_FLOW)) xtrText((comp), (fn), XTR_LEVEL_FLOW, __VA_ARGS__); } while (0)
#define xtr_text_detail(comp, fn, ...) \
  do { if (xtr_active(XTR_LEVEL_DETAIL)) xtrText((comp), (fn), XTR_LEVEL_DETAIL, __VA_ARGS__); } while (0)
#define xtr_data_detail(comp, fn, label, data, length) \
  do { if (xtr_active(XTR_LEVEL_DETAIL)) xtrData((comp), (fn), (label), (data), (length)); } while (0)

XCS_EXTERN_C_END

#endif
