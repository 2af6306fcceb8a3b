// Environment variables: a per-process cache of values and absences, and a
// copy of the whole environment.
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

const char* CachedGet(const char* name) {
  if (name == nullptr || *name == '\0') return nullptr;
  EnvCache& cache = Cache();
  std::lock_guard<std::mutex> lock(cache.mutex);
  auto found = cache.entries.find(name);
  if (found == cache.entries.end()) {
    const char* value = std::getenv(name);
    std::optional<std::string> entry;
    if (value != nullptr) entry.emplace(value);
    found = cache.entries.emplace(name, std::move(entry)).first;
  }
  return found->second ? found->second->c_str() : nullptr;
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
}

extern "C" XCS_API xcsRC xcsReadEnvironment(char*** list, uint32_t* count) {
  return zxv::platform::CopyEnvironment(list, count);
}

extern "C" XCS_API void xcsFreeEnvironment(char** list) { zxv::platform::FreeList(list); }
