// The allocator: malloc underneath, process-wide failure injection and
// counters of allocations and outstanding blocks.
#include <malloc.h>

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

// One freed block of a few kilobytes kept per thread for the next request of
// about its size. The library's work buffers (4 KB, grown by doubling) are
// allocated and freed once per call, and blocks that large are past malloc's
// per-thread cache: each would go through its bins and, grown, be copied.
// Only the thread's last block of kKeptMin bytes or more is a candidate, so
// that freeing any other costs one compare. A kept block is served to a
// request of an eighth of its usable size up to all of it; a candidate
// regrown within its usable size stays where it is. The counters and
// failure injection see every call as before. Off under AddressSanitizer,
// so that a use after free is still caught.
#if defined(__SANITIZE_ADDRESS__)
constexpr bool kKeepBlocks = false;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
constexpr bool kKeepBlocks = false;
#else
constexpr bool kKeepBlocks = true;
#endif
#else
constexpr bool kKeepBlocks = true;
#endif
constexpr size_t kKeptMin = 4096;
constexpr size_t kKeptMax = 64 * 1024;

// Plain thread-local words, read without a call. `t_large` is only ever
// compared: a block freed by another thread may leave it naming memory
// handed out again, which is why every decision asks malloc for the size.
__thread void* t_kept __attribute__((tls_model("initial-exec"))) = nullptr;
__thread size_t t_kept_usable __attribute__((tls_model("initial-exec"))) = 0;
__thread void* t_large __attribute__((tls_model("initial-exec"))) = nullptr;
// 0 before any block was kept, 1 while blocks may be kept, 2 once the
// thread's end has freed the kept block (later frees free at once).
__thread uint8_t t_kept_state __attribute__((tls_model("initial-exec"))) = 0;

// Frees the kept block when the thread ends; set up the first time one is
// kept.
struct KeptRelease {
  ~KeptRelease() {
    std::free(t_kept);
    t_kept = nullptr;
    t_kept_state = 2;
  }
};
thread_local KeptRelease t_kept_release;

// Whether a block of `usable` bytes serves a request of `length`.
bool Serves(size_t usable, size_t length) {
  return length >= kKeptMin && length <= usable && length >= usable / 8;
}

// The kept block for `length` bytes, or null.
void* TakeKept(size_t length) {
  void* p = t_kept;
  if (!kKeepBlocks || p == nullptr || !Serves(t_kept_usable, length)) return nullptr;
  t_kept = nullptr;
  return p;
}

// Notes a block handed out for `length` bytes.
void NoteHandedOut(void* p, size_t length) {
  if (kKeepBlocks && length >= kKeptMin) t_large = p;
}

// True when `block`, being freed, is kept instead.
bool Keep(void* block) {
  if (!kKeepBlocks || block != t_large) return false;
  t_large = nullptr;
  if (t_kept != nullptr || t_kept_state == 2) return false;
  const size_t usable = malloc_usable_size(block);
  if (usable < kKeptMin || usable > kKeptMax) return false;
  if (t_kept_state == 0) {
    static_cast<void>(&t_kept_release);
    t_kept_state = 1;
  }
  t_kept = block;
  t_kept_usable = usable;
  return true;
}

xcsRC Allocate(size_t length, void** block) {
  if (block == nullptr) return xcsRC_INVALID_PARAMETER;
  *block = nullptr;
  if (const xcsRC injected = InjectedFailure(); injected != xcsRC_OK) return injected;
  void* p = TakeKept(length);
  if (p == nullptr) p = std::malloc(AtLeastOne(length));
  if (p == nullptr) return xcsRC_STORAGE_NOT_AVAILABLE;
  NoteHandedOut(p, length);
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
  void* p = nullptr;
  if (kKeepBlocks && block == t_large) {
    p = Serves(malloc_usable_size(block), new_length) ? block : nullptr;
    t_large = nullptr;
  }
  if (p == nullptr) p = std::realloc(block, AtLeastOne(new_length));
  if (p == nullptr) return xcsRC_STORAGE_NOT_AVAILABLE;
  NoteHandedOut(p, new_length);
  g_alloc_count.fetch_add(1, std::memory_order_relaxed);
  *new_block = p;
  return xcsRC_OK;
}

void Free(void* block) {
  if (block == nullptr) return;
  g_outstanding.fetch_sub(1, std::memory_order_relaxed);
  if (!Keep(block)) std::free(block);
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
