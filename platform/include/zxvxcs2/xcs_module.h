/* Common-services layer: module loading and entry-point lookup.
 *
 * A module name containing '/' is loaded as that path. Otherwise, with
 * XCS_LOAD_EXIT_SEARCH the directories of ZXV_EXIT_PATH (colon-separated)
 * and then "<data dir>/exits" are searched, trying the name as given and
 * with ".so" added; without it the dynamic loader's own search is used. The
 * search stops at the first file that exists: one that does not load is
 * reported, not skipped. Modules load with RTLD_NOW | RTLD_LOCAL.
 *
 *   void* mod; void* fn;
 *   if (xcsLoadFunction("myexit", XCS_LOAD_EXIT_SEARCH, &mod) == xcsRC_OK &&
 *       xcsQueryProcAddr(mod, "EntryPoint", &fn) == xcsRC_OK) { ... }
 *   xcsFreeLibrary(mod);
 */
#ifndef ZXVXCS2_XCS_MODULE_H
#define ZXVXCS2_XCS_MODULE_H

#include "xcs_base.h"

XCS_EXTERN_C_BEGIN

#define XCS_LOAD_EXIT_SEARCH 0x1u

/* Returns xcsRC_OK, xcsRC_MODULE_NOT_FOUND (also for a file that is not a
 * loadable module), or an allocator code. The loader's message for the last
 * failure on this thread is available from xcsLastLoadError. */
XCS_API xcsRC xcsLoadFunction(const char* module, uint32_t options, void** handle);
/* Returns xcsRC_OK or xcsRC_ENTRY_POINT_NOT_FOUND (also for a null handle or
 * name); a null `entry` gives xcsRC_INVALID_PARAMETER. */
XCS_API xcsRC xcsQueryProcAddr(void* handle, const char* name, void** entry);
/* Returns xcsRC_OK, xcsRC_INVALID_PARAMETER for null, or
 * xcsRC_UNEXPECTED_ERROR when the loader refuses. */
XCS_API xcsRC xcsFreeLibrary(void* handle);
XCS_API const char* xcsLastLoadError(void);

XCS_EXTERN_C_END

#endif
