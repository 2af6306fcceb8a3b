// Temporary link-level definitions, replaced one by one by the real files.
#include "zxvxcs2/zxvxcs2.h"

extern "C" {
XCS_API xcsRC xcsCreateMutex(xcsMUTEX**) { return xcsRC_UNEXPECTED_ERROR; }
XCS_API xcsRC xcsRequestMutex(xcsMUTEX*, int32_t) { return xcsRC_UNEXPECTED_ERROR; }
XCS_API xcsRC xcsReleaseMutex(xcsMUTEX*) { return xcsRC_UNEXPECTED_ERROR; }
XCS_API xcsRC xcsDestroyMutex(xcsMUTEX*) { return xcsRC_UNEXPECTED_ERROR; }
XCS_API int xcsMutexHeldByMe(const xcsMUTEX*) { return 0; }
XCS_API xcsRC xcsCreateNamedMutex(const char*, xcsMUTEX**) { return xcsRC_UNEXPECTED_ERROR; }
XCS_API xcsRC xcsDeleteNamedMutex(xcsMUTEX*) { return xcsRC_UNEXPECTED_ERROR; }
XCS_API xcsRC xcsLockFile(const char*, xcsFILELOCK**) { return xcsRC_UNEXPECTED_ERROR; }
XCS_API xcsRC xcsUnlockFile(xcsFILELOCK*) { return xcsRC_UNEXPECTED_ERROR; }
XCS_API xcsRC xcsLoadFunction(const char*, uint32_t, void**) { return xcsRC_UNEXPECTED_ERROR; }
XCS_API xcsRC xcsQueryProcAddr(void*, const char*, void**) { return xcsRC_UNEXPECTED_ERROR; }
XCS_API xcsRC xcsFreeLibrary(void*) { return xcsRC_UNEXPECTED_ERROR; }
XCS_API const char* xcsLastLoadError(void) { return ""; }
XCS_API xcsRC xcsCheckPointer(const void*, size_t, int) { return xcsRC_UNEXPECTED_ERROR; }
XCS_API xcsRC xcsCallGuarded(xcsGUARDED_FN fn, void* argument, int*) {
  fn(argument);
  return xcsRC_OK;
}
XCS_API xcsRC xcsFormatMessage(uint32_t, const xcsINSERTS*, char* buffer, size_t size) {
  if (buffer != nullptr && size > 0) buffer[0] = '\0';
  return xcsRC_UNEXPECTED_ERROR;
}
XCS_API xcsRC xcsDisplayMessageForError(uint32_t, xcsRC, const xcsINSERTS*) {
  return xcsRC_UNEXPECTED_ERROR;
}
XCS_API uint32_t xcsDisplayedMessageCount(void) { return 0; }
XCS_API void xcsLastDisplayedMessage(char* buffer, size_t size) {
  if (buffer != nullptr && size > 0) buffer[0] = '\0';
}
XCS_API int32_t xcsBrowseIniFile(const char*, const char*, xusBROWSE_CB, void*) {
  return xusEBROWSEFAILED;
}
XCS_API int xcsCompareKeyStrings(const char*, const char*) { return 0; }
}
