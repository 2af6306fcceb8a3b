/* Common-services layer: environment.
 *
 * xcsGetEnv reads a variable once per process and caches the answer
 * (presence and value); later changes to the environment are not seen until
 * xcsClearEnvCache, which exists for tests.
 *
 *   const char* v = xcsGetEnv("ZXV_NO_USER_DATACONV");  // null when unset
 */
#ifndef ZXVXCS2_XCS_ENV_H
#define ZXVXCS2_XCS_ENV_H

#include "xcs_base.h"

XCS_EXTERN_C_BEGIN

/* The cached value, or null when the variable was unset at first read. The
 * string lives until xcsClearEnvCache. */
XCS_API const char* xcsGetEnv(const char* name);
XCS_API void xcsClearEnvCache(void);

/* A copy of the whole process environment as "NAME=value" strings, every
 * string and the array allocated through xcsGetMemFn; *count excludes the
 * terminating null entry. Free with xcsFreeEnvironment. On failure nothing
 * stays allocated, *list is null and *count 0. */
XCS_API xcsRC xcsReadEnvironment(char*** list, uint32_t* count);
XCS_API void xcsFreeEnvironment(char** list);

XCS_EXTERN_C_END

#endif
