// The allocator: malloc underneath, process-wide failure injection and
// counters of allocations and outstanding blocks.
#include <atomic>
#include <cstdlib>

#include "zxvxcs2/xcs_memory.h"

namespace zxv::platform {
namespace {

// Injection state. `armed_nth` 0 means off. Calls are counted from the
// moment injection was armed so that "the nth allocation from now" holds
// even when other threads allocate in between.
std::atomic<uint32_t> g_armed_nth{0};
std::atomic<uint32_t> g_inject_code{0};
std::atomic<bool> g_inject_repeat{false};
std::atomic<uint64_t> g_calls_since_armed{0};

std::atomic<uint64_t> g_alloc_count{0};
std::atomic<int64_t> g_outstanding{0};

// Returns the code to fail this call with, or xcsRC_OK.
xcsRC InjectedFailure() {
  const uint32_t nth = g_armed_nth.load(std::memory_order_acquire);
  if (nth == 0) return xcsRC_OK;
  const uint64_t call = g_calls_since_armed.fetch_add(1, std::memory_order_acq_rel) + 1;
  const bool repeat = g_inject_repeat.load(std::memory_order_relaxed);
  if (call == nth || (repeat && call > nth)) {
    const xcsRC code = g_inject_code.load(std::memory_order_relaxed);
    // A success code would hand out a null block as if it were storage.
    return code == xcsRC_OK ? xcsRC_STORAGE_NOT_AVAILABLE : code;
  }
  return xcsRC_OK;
}

size_t AtLeastOne(size_t length) { return length == 0 ? 1 : length; }

xcsRC Allocate(size_t length, void** block) {
  if (block == nullptr) return xcsRC_INVALID_PARAMETER;
  *block = nullptr;
  if (const xcsRC injected = InjectedFailure(); injected != xcsRC_OK) return injected;
  void* p = std::malloc(AtLeastOne(length));
  if (p == nullptr) return xcsRC_STORAGE_NOT_AVAILABLE;
  g_alloc_count.fetch_add(1, std::memory_order_relaxed);
  g_outstanding.fetch_add(1, std::memory_order_relaxed);
  *block = p;
  return xcsRC_OK;
}

xcsRC Reallocate(void* block, size_t new_length, void** new_block) {
  if (new_block == nullptr) return xcsRC_INVALID_PARAMETER;
  if (block == nullptr) return Allocate(new_length, new_block);
  *new_block = nullptr;
  if (const xcsRC injected = InjectedFailure(); injected != xcsRC_OK) return injected;
  void* p = std::realloc(block, AtLeastOne(new_length));
  if (p == nullptr) return xcsRC_STORAGE_NOT_AVAILABLE;
  g_alloc_count.fetch_add(1, std::memory_order_relaxed);
  *new_block = p;
  return xcsRC_OK;
}

void Free(void* block) {
  if (block == nullptr) return;
  g_outstanding.fetch_sub(1, std::memory_order_relaxed);
  std::free(block);
}

void ArmInjection(uint32_t nth, xcsRC code, bool repeat) {
  // Disarm first so that no allocation sees a half-written setting.
  g_armed_nth.store(0, std::memory_order_release);
  if (nth == 0) return;
  g_inject_code.store(code, std::memory_order_relaxed);
  g_inject_repeat.store(repeat, std::memory_order_relaxed);
  g_calls_since_armed.store(0, std::memory_order_relaxed);
  g_armed_nth.store(nth, std::memory_order_release);
}

}  // namespace
}  // namespace zxv::platform

extern "C" XCS_API xcsRC xcsGetMemFn(size_t length, void** block) {
  return zxv::platform::Allocate(length, block);
}

extern "C" XCS_API xcsRC xcsReallocMemFn(void* block, size_t newLength, void** newBlock) {
  return zxv::platform::Reallocate(block, newLength, newBlock);
}

extern "C" XCS_API xcsRC xcsFreeMemFn(void* block) {
  zxv::platform::Free(block);
  return xcsRC_OK;
}

extern "C" XCS_API void xcsInjectAllocFailure(uint32_t nth, xcsRC code, int repeat) {
  zxv::platform::ArmInjection(nth, code, repeat != 0);
}

extern "C" XCS_API uint64_t xcsAllocCount(void) {
  return zxv::platform::g_alloc_count.load(std::memory_order_relaxed);
}

extern "C" XCS_API int64_t xcsOutstandingBlocks(void) {
  return zxv::platform::g_outstanding.load(std::memory_order_relaxed);
}
