/* Common-services layer: the allocator.
 *
 * Every block the library allocates comes from here, so that out-of-storage
 * paths can be driven by tests through failure injection:
 *
 *   xcsInjectAllocFailure(3, xcsRC_STORAGE_NOT_AVAILABLE, 0);  // 3rd call fails
 *   ... run the code under test ...
 *   xcsInjectAllocFailure(0, 0, 0);                            // off again
 *
 * Blocks are not zeroed. The layer keeps counters of outstanding blocks so
 * tests can assert that nothing leaked.
 */
#ifndef ZXVXCS2_XCS_MEMORY_H
#define ZXVXCS2_XCS_MEMORY_H

#include "xcs_base.h"

XCS_EXTERN_C_BEGIN

/* Allocates `length` bytes (0 is treated as 1). On success *block is set and
 * xcsRC_OK returned; on failure *block is null and one of the allocator codes
 * (xcsRC_STORAGE_NOT_AVAILABLE, ..._2, ..._TRACE, xcsRC_RESOURCE_PROBLEM, or
 * whatever code was injected) is returned. */
XCS_API xcsRC xcsGetMemFn(size_t length, void** block);

/* Resizes a block from xcsGetMemFn. On failure the old block is untouched. */
XCS_API xcsRC xcsReallocMemFn(void* block, size_t newLength, void** newBlock);

/* Frees a block from xcsGetMemFn; a null block is ignored. */
XCS_API xcsRC xcsFreeMemFn(void* block);

/* Failure injection, process-wide. The `nth` allocation from now (1 = the
 * next one) fails with `code`; with `repeat` non-zero every allocation from
 * that one on fails. nth 0 switches injection off. Reallocations count. An
 * injected xcsRC_OK is replaced by xcsRC_STORAGE_NOT_AVAILABLE. */
XCS_API void xcsInjectAllocFailure(uint32_t nth, xcsRC code, int repeat);

/* Counters since process start: allocations made, blocks outstanding. */
XCS_API uint64_t xcsAllocCount(void);
XCS_API int64_t xcsOutstandingBlocks(void);

/* Maps an allocator code to a reason code: the three out-of-storage codes to
 * 2071, the resource-problem code to 2102, anything else to 2195 (for which
 * the caller writes a failure record). */
static inline int32_t xcsStorageReason(xcsRC rc) {
  if (rc == xcsRC_STORAGE_NOT_AVAILABLE || rc == xcsRC_STORAGE_NOT_AVAILABLE_2 ||
      rc == xcsRC_STORAGE_NOT_AVAILABLE_TRACE)
    return 2071;
  if (rc == xcsRC_RESOURCE_PROBLEM) return 2102;
  return 2195;
}

XCS_EXTERN_C_END

#endif
