// Environment variables: a per-process cache of values and absences (with a
// memo per thread of its latest answers), and a copy of the whole
// environment.
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>

#include "zxvxcs2/xcs_env.h"
#include "zxvxcs2/xcs_memory.h"

extern char** environ;

namespace zxv::platform {
namespace {

// The cache is kept off the injectable allocator: xcsGetEnv has no way to
// report a storage failure, and a lookup must not disturb the allocation
// count a test is injecting against. Node-based map: a cached value's
// address stays put until the cache is cleared.
struct EnvCache {
  std::mutex mutex;
  std::unordered_map<std::string, std::optional<std::string>> entries;
};

EnvCache& Cache() {
  // Never destroyed: other static destructors may still read variables.
  static EnvCache* cache = new EnvCache;
  return *cache;
}

// Bumped by every clearing of the cache (under its mutex): an answer taken
// from the cache in an earlier generation may point at a freed string.
std::atomic<uint64_t> g_generation{1};

// Each thread remembers the last answers it had from the cache, so that the
// variables read on every call of a hot path (a parse reads two or three)
// cost a compare instead of the mutex, a string key and a hash. Plain data:
// no constructor, nothing to destroy, nothing allocated.
struct Memo {
  static constexpr uint32_t kNameBytes = 40;  // longer names take the cache
  uint64_t generation;                        // 0: empty slot
  const char* value;
  char name[kNameBytes];
};
constexpr uint32_t kMemoSlots = 4;
struct MemoSet {
  Memo slots[kMemoSlots];
  uint32_t next;
};
thread_local MemoSet t_memo;

const char* CachedGet(const char* name) {
  if (name == nullptr || *name == '\0') return nullptr;
  const uint64_t generation = g_generation.load(std::memory_order_acquire);
  MemoSet& memo = t_memo;
  for (const Memo& slot : memo.slots) {
    if (slot.generation == generation && std::strcmp(slot.name, name) == 0) return slot.value;
  }
  EnvCache& cache = Cache();
  const char* answer;
  uint64_t seen;
  {
    std::lock_guard<std::mutex> lock(cache.mutex);
    auto found = cache.entries.find(name);
    if (found == cache.entries.end()) {
      const char* value = std::getenv(name);
      std::optional<std::string> entry;
      if (value != nullptr) entry.emplace(value);
      found = cache.entries.emplace(name, std::move(entry)).first;
    }
    answer = found->second ? found->second->c_str() : nullptr;
    // Read under the mutex: the answer is good for this generation.
    seen = g_generation.load(std::memory_order_relaxed);
  }
  const size_t length = std::strlen(name);
  if (length < Memo::kNameBytes) {
    Memo& slot = memo.slots[memo.next];
    memo.next = (memo.next + 1) % kMemoSlots;
    std::memcpy(slot.name, name, length + 1);
    slot.value = answer;
    slot.generation = seen;
  }
  return answer;
}

void FreeList(char** list) {
  if (list == nullptr) return;
  for (char** entry = list; *entry != nullptr; ++entry) xcsFreeMemFn(*entry);
  xcsFreeMemFn(list);
}

xcsRC CopyEnvironment(char*** list, uint32_t* count) {
  if (list == nullptr || count == nullptr) return xcsRC_INVALID_PARAMETER;
  *list = nullptr;
  *count = 0;
  uint32_t n = 0;
  for (char** entry = environ; entry != nullptr && *entry != nullptr; ++entry) ++n;
  void* block = nullptr;
  xcsRC rc = xcsGetMemFn((static_cast<size_t>(n) + 1) * sizeof(char*), &block);
  if (rc != xcsRC_OK) return rc;
  char** copy = static_cast<char**>(block);
  // Kept null-terminated throughout so that a failure part-way frees cleanly.
  copy[0] = nullptr;
  for (uint32_t i = 0; i < n; ++i) {
    const size_t length = std::strlen(environ[i]) + 1;
    rc = xcsGetMemFn(length, &block);
    if (rc != xcsRC_OK) {
      FreeList(copy);
      return rc;
    }
    std::memcpy(block, environ[i], length);
    copy[i] = static_cast<char*>(block);
    copy[i + 1] = nullptr;
  }
  *list = copy;
  *count = n;
  return xcsRC_OK;
}

}  // namespace
}  // namespace zxv::platform

extern "C" XCS_API const char* xcsGetEnv(const char* name) {
  return zxv::platform::CachedGet(name);
}

extern "C" XCS_API void xcsClearEnvCache(void) {
  zxv::platform::EnvCache& cache = zxv::platform::Cache();
  std::lock_guard<std::mutex> lock(cache.mutex);
  cache.entries.clear();
  zxv::platform::g_generation.fetch_add(1, std::memory_order_release);
}

extern "C" XCS_API xcsRC xcsReadEnvironment(char*** list, uint32_t* count) {
  return zxv::platform::CopyEnvironment(list, count);
}

extern "C" XCS_API void xcsFreeEnvironment(char** list) { zxv::platform::FreeList(list); }
