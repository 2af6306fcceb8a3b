/* A data-conversion exit for the format "ZXVFAULT" that faults: it writes
 * through a null pointer. The sanitizers are kept out so that the fault
 * reaches the caller's guard. */
#include "zxvxzu/dataconv.h"

#define EXIT_ENTRY __attribute__((visibility("default")))

EXIT_ENTRY __attribute__((noinline, no_sanitize("address", "undefined"))) void KWDataConvExit(
    KWDXP* dxp, KWMD* md, KWLONG inLength, void* inBuffer, KWLONG outLength, void* outBuffer);

EXIT_ENTRY __attribute__((noinline, no_sanitize("address", "undefined"))) void KWDataConvExit(
    KWDXP* dxp, KWMD* md, KWLONG inLength, void* inBuffer, KWLONG outLength, void* outBuffer) {
  volatile int* volatile target = 0;
  (void)dxp;
  (void)md;
  (void)inLength;
  (void)inBuffer;
  (void)outLength;
  (void)outBuffer;
  *target = 1;
}
