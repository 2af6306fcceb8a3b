// Recursive thread mutexes with timed requests, and the process-wide
// registry of named mutexes.
#include <errno.h>
#include <pthread.h>
#include <time.h>

#include <atomic>
#include <cstring>
#include <mutex>
#include <new>

#include "zxvxcs2/xcs_memory.h"
#include "zxvxcs2/xcs_mutex.h"
#include "zxvxcs2/xcs_thread.h"

struct xcsMUTEX {
  char StrucId[4];  // "XMTX" while alive
  pthread_mutex_t mutex;
  // The holder's layer thread id (0: free) and its nesting; written only by
  // the holder, read by anyone asking "held by me?".
  std::atomic<uint32_t> owner;
  uint32_t depth;
  // Registry fields, used by named mutexes only.
  char* name;
  uint32_t use_count;
  xcsMUTEX* next;
};

namespace zxv::platform {
namespace {

constexpr char kMutexId[4] = {'X', 'M', 'T', 'X'};
constexpr long kNanosPerSecond = 1000000000L;
constexpr long kNanosPerMilli = 1000000L;

bool Valid(const xcsMUTEX* m) {
  return m != nullptr && std::memcmp(m->StrucId, kMutexId, sizeof kMutexId) == 0;
}

uint32_t Me() { return xihGetThread()->ThreadId; }

xcsRC Create(xcsMUTEX** result) {
  if (result == nullptr) return xcsRC_INVALID_PARAMETER;
  *result = nullptr;
  void* block = nullptr;
  if (const xcsRC rc = xcsGetMemFn(sizeof(xcsMUTEX), &block); rc != xcsRC_OK) return rc;
  auto* m = static_cast<xcsMUTEX*>(block);
  std::memcpy(m->StrucId, kMutexId, sizeof kMutexId);
  new (&m->owner) std::atomic<uint32_t>(0);
  m->depth = 0;
  m->name = nullptr;
  m->use_count = 0;
  m->next = nullptr;
  pthread_mutexattr_t attr;
  bool ok = ::pthread_mutexattr_init(&attr) == 0;
  ok = ok && ::pthread_mutexattr_settype(&attr, PTHREAD_MUTEX_RECURSIVE) == 0;
  ok = ok && ::pthread_mutex_init(&m->mutex, &attr) == 0;
  ::pthread_mutexattr_destroy(&attr);
  if (!ok) {
    xcsFreeMemFn(m);
    return xcsRC_MUTEX_ERROR;
  }
  *result = m;
  return xcsRC_OK;
}

timespec Deadline(int32_t timeout_ms) {
  timespec when;
  ::clock_gettime(CLOCK_REALTIME, &when);
  when.tv_sec += timeout_ms / 1000;
  when.tv_nsec += static_cast<long>(timeout_ms % 1000) * kNanosPerMilli;
  if (when.tv_nsec >= kNanosPerSecond) {
    when.tv_sec += 1;
    when.tv_nsec -= kNanosPerSecond;
  }
  return when;
}

// Injection state, as the allocator's: `armed_nth` 0 means off; requests
// are counted from the moment injection was armed.
std::atomic<uint32_t> g_armed_nth{0};
std::atomic<uint32_t> g_inject_code{0};
std::atomic<bool> g_inject_repeat{false};
std::atomic<uint64_t> g_requests_since_armed{0};

// The code to fail this request with, or xcsRC_OK.
xcsRC InjectedFailure() {
  const uint32_t nth = g_armed_nth.load(std::memory_order_acquire);
  if (nth == 0) return xcsRC_OK;
  const uint64_t call = g_requests_since_armed.fetch_add(1, std::memory_order_acq_rel) + 1;
  const bool repeat = g_inject_repeat.load(std::memory_order_relaxed);
  if (call == nth || (repeat && call > nth)) {
    const xcsRC code = g_inject_code.load(std::memory_order_relaxed);
    return code == xcsRC_OK ? xcsRC_MUTEX_ERROR : code;
  }
  return xcsRC_OK;
}

void ArmInjection(uint32_t nth, xcsRC code, bool repeat) {
  g_armed_nth.store(0, std::memory_order_release);
  if (nth == 0) return;
  g_inject_code.store(code, std::memory_order_relaxed);
  g_inject_repeat.store(repeat, std::memory_order_relaxed);
  g_requests_since_armed.store(0, std::memory_order_relaxed);
  g_armed_nth.store(nth, std::memory_order_release);
}

xcsRC Request(xcsMUTEX* m, int32_t timeout_ms) {
  if (!Valid(m)) return xcsRC_INVALID_PARAMETER;
  if (const xcsRC injected = InjectedFailure(); injected != xcsRC_OK) return injected;
  int err = 0;
  if (timeout_ms < 0) {
    err = ::pthread_mutex_lock(&m->mutex);
  } else if (timeout_ms == XCS_NO_WAIT) {
    err = ::pthread_mutex_trylock(&m->mutex);
  } else {
    const timespec deadline = Deadline(timeout_ms);
    do {
      err = ::pthread_mutex_timedlock(&m->mutex, &deadline);
    } while (err == EINTR);
  }
  if (err == ETIMEDOUT || err == EBUSY) return xcsRC_MUTEX_TIMEOUT;
  if (err != 0) return xcsRC_MUTEX_ERROR;
  m->owner.store(Me(), std::memory_order_relaxed);
  ++m->depth;
  return xcsRC_OK;
}

xcsRC Release(xcsMUTEX* m) {
  if (!Valid(m)) return xcsRC_INVALID_PARAMETER;
  if (m->owner.load(std::memory_order_relaxed) != Me()) return xcsRC_MUTEX_NOT_OWNER;
  if (--m->depth == 0) m->owner.store(0, std::memory_order_relaxed);
  return ::pthread_mutex_unlock(&m->mutex) == 0 ? xcsRC_OK : xcsRC_MUTEX_ERROR;
}

// Frees the mutex unless some thread holds it.
xcsRC Destroy(xcsMUTEX* m) {
  if (!Valid(m)) return xcsRC_INVALID_PARAMETER;
  if (m->owner.load(std::memory_order_relaxed) != 0) return xcsRC_MUTEX_ERROR;
  if (::pthread_mutex_destroy(&m->mutex) != 0) return xcsRC_MUTEX_ERROR;
  std::memset(m->StrucId, 0, sizeof m->StrucId);
  m->owner.~atomic();
  xcsFreeMemFn(m->name);
  xcsFreeMemFn(m);
  return xcsRC_OK;
}

// The named-mutex registry: a list guarded by a plain mutex (no storage of
// its own, so that it cannot fail).
std::mutex g_registry_mutex;
xcsMUTEX* g_registry = nullptr;

xcsRC CreateNamed(const char* name, xcsMUTEX** result) {
  if (name == nullptr || *name == '\0' || result == nullptr) return xcsRC_INVALID_PARAMETER;
  *result = nullptr;
  std::lock_guard<std::mutex> lock(g_registry_mutex);
  for (xcsMUTEX* m = g_registry; m != nullptr; m = m->next) {
    if (std::strcmp(m->name, name) == 0) {
      ++m->use_count;
      *result = m;
      return xcsRC_OK;
    }
  }
  const size_t length = std::strlen(name) + 1;
  void* copy = nullptr;
  if (const xcsRC rc = xcsGetMemFn(length, &copy); rc != xcsRC_OK) return rc;
  std::memcpy(copy, name, length);
  xcsMUTEX* m = nullptr;
  if (const xcsRC rc = Create(&m); rc != xcsRC_OK) {
    xcsFreeMemFn(copy);
    return rc;
  }
  m->name = static_cast<char*>(copy);
  m->use_count = 1;
  m->next = g_registry;
  g_registry = m;
  *result = m;
  return xcsRC_OK;
}

xcsRC DeleteNamed(xcsMUTEX* target) {
  if (!Valid(target)) return xcsRC_INVALID_PARAMETER;
  std::lock_guard<std::mutex> lock(g_registry_mutex);
  xcsMUTEX** link = &g_registry;
  while (*link != nullptr && *link != target) link = &(*link)->next;
  if (*link == nullptr) return xcsRC_INVALID_PARAMETER;  // not a named mutex
  if (target->use_count > 1) {
    --target->use_count;
    return xcsRC_OK;
  }
  // The last user: the mutex goes only when no thread holds it.
  xcsMUTEX* next = target->next;
  if (const xcsRC rc = Destroy(target); rc != xcsRC_OK) return rc;
  *link = next;
  return xcsRC_OK;
}

}  // namespace
}  // namespace zxv::platform

extern "C" XCS_API xcsRC xcsCreateMutex(xcsMUTEX** mutex) { return zxv::platform::Create(mutex); }

extern "C" XCS_API xcsRC xcsRequestMutex(xcsMUTEX* mutex, int32_t timeoutMs) {
  return zxv::platform::Request(mutex, timeoutMs);
}

extern "C" XCS_API void xcsInjectMutexFailure(uint32_t nth, xcsRC code, int repeat) {
  zxv::platform::ArmInjection(nth, code, repeat != 0);
}

extern "C" XCS_API xcsRC xcsReleaseMutex(xcsMUTEX* mutex) { return zxv::platform::Release(mutex); }

extern "C" XCS_API xcsRC xcsDestroyMutex(xcsMUTEX* mutex) {
  // A named mutex belongs to the registry and goes through xcsDeleteNamedMutex.
  if (zxv::platform::Valid(mutex) && mutex->name != nullptr) return xcsRC_INVALID_PARAMETER;
  return zxv::platform::Destroy(mutex);
}

extern "C" XCS_API int xcsMutexHeldByMe(const xcsMUTEX* mutex) {
  if (!zxv::platform::Valid(mutex)) return 0;
  return mutex->owner.load(std::memory_order_relaxed) == zxv::platform::Me() ? 1 : 0;
}

extern "C" XCS_API xcsRC xcsCreateNamedMutex(const char* name, xcsMUTEX** mutex) {
  return zxv::platform::CreateNamed(name, mutex);
}

extern "C" XCS_API xcsRC xcsDeleteNamedMutex(xcsMUTEX* mutex) {
  return zxv::platform::DeleteNamed(mutex);
}
