// The machine-wide lock: an fcntl write lock on a file in the data directory.
#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <pthread.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "zxvxcs2/xcs_erdp.h"
#include "zxvxcs2/xcs_memory.h"
#include "zxvxcs2/xcs_mutex.h"

struct xcsFILELOCK {
  char StrucId[4];  // "XFLK" while held
  int fd;           // -1 in a child process that inherited the lock
  xcsFILELOCK* prev;
  xcsFILELOCK* next;
};

namespace zxv::platform {
namespace {

constexpr char kLockId[4] = {'X', 'F', 'L', 'K'};

// Locks held by this process. A forked child inherits the descriptors, and
// with them the open-file-description locks; the child closes its copies
// so that it does not hold its parent's locks (the parent keeps them).
pthread_mutex_t g_held_mutex = PTHREAD_MUTEX_INITIALIZER;
xcsFILELOCK* g_held = nullptr;

void BeforeFork() { ::pthread_mutex_lock(&g_held_mutex); }
void AfterForkInParent() { ::pthread_mutex_unlock(&g_held_mutex); }
void AfterForkInChild() {
  for (xcsFILELOCK* lock = g_held; lock != nullptr; lock = lock->next) {
    if (lock->fd >= 0) ::close(lock->fd);
    lock->fd = -1;
  }
  ::pthread_mutex_unlock(&g_held_mutex);
}

[[maybe_unused]] const bool g_fork_handlers =
    ::pthread_atfork(BeforeFork, AfterForkInParent, AfterForkInChild) == 0;

void Remember(xcsFILELOCK* lock) {
  ::pthread_mutex_lock(&g_held_mutex);
  lock->prev = nullptr;
  lock->next = g_held;
  if (g_held != nullptr) g_held->prev = lock;
  g_held = lock;
  ::pthread_mutex_unlock(&g_held_mutex);
}

// Unlinks the lock and returns its descriptor (-1 when inherited).
int Forget(xcsFILELOCK* lock) {
  ::pthread_mutex_lock(&g_held_mutex);
  if (lock->prev != nullptr) lock->prev->next = lock->next;
  if (lock->next != nullptr) lock->next->prev = lock->prev;
  if (g_held == lock) g_held = lock->next;
  const int fd = lock->fd;
  ::pthread_mutex_unlock(&g_held_mutex);
  return fd;
}

// Locks the whole file, waiting. Open-file-description locks serialise
// threads of one process as well as processes; older kernels only offer
// the per-process kind.
bool LockWholeFile(int fd) {
  struct flock region;
  std::memset(&region, 0, sizeof region);
  region.l_type = F_WRLCK;
  region.l_whence = SEEK_SET;
  int err = 0;
  do {
    err = ::fcntl(fd, F_OFD_SETLKW, &region) == 0 ? 0 : errno;
  } while (err == EINTR);
  if (err != EINVAL) return err == 0;
  region.l_pid = 0;
  do {
    err = ::fcntl(fd, F_SETLKW, &region) == 0 ? 0 : errno;
  } while (err == EINTR);
  return err == 0;
}

xcsRC Lock(const char* name, xcsFILELOCK** result) {
  if (result == nullptr) return xcsRC_INVALID_PARAMETER;
  *result = nullptr;
  if (name == nullptr || *name == '\0' || std::strchr(name, '/') != nullptr) {
    return xcsRC_INVALID_PARAMETER;
  }
  char path[PATH_MAX];
  const int n = std::snprintf(path, sizeof path, "%s/%s.lck", xcsDataDirectory(), name);
  if (n < 0 || static_cast<size_t>(n) >= sizeof path) return xcsRC_INVALID_PARAMETER;
  void* block = nullptr;
  if (const xcsRC rc = xcsGetMemFn(sizeof(xcsFILELOCK), &block); rc != xcsRC_OK) return rc;
  auto* lock = static_cast<xcsFILELOCK*>(block);
  lock->fd = ::open(path, O_RDWR | O_CREAT | O_CLOEXEC, 0664);
  if (lock->fd < 0 || !LockWholeFile(lock->fd)) {
    if (lock->fd >= 0) ::close(lock->fd);
    xcsFreeMemFn(lock);
    return xcsRC_FILE_ERROR;
  }
  std::memcpy(lock->StrucId, kLockId, sizeof kLockId);
  Remember(lock);
  *result = lock;
  return xcsRC_OK;
}

xcsRC Unlock(xcsFILELOCK* lock) {
  if (lock == nullptr || std::memcmp(lock->StrucId, kLockId, sizeof kLockId) != 0) {
    return xcsRC_INVALID_PARAMETER;
  }
  // Closing the descriptor drops the lock.
  const int fd = Forget(lock);
  const int rc = fd >= 0 ? ::close(fd) : 0;
  std::memset(lock->StrucId, 0, sizeof lock->StrucId);
  xcsFreeMemFn(lock);
  return rc == 0 ? xcsRC_OK : xcsRC_FILE_ERROR;
}

}  // namespace
}  // namespace zxv::platform

extern "C" XCS_API xcsRC xcsLockFile(const char* name, xcsFILELOCK** lock) {
  return zxv::platform::Lock(name, lock);
}

extern "C" XCS_API xcsRC xcsUnlockFile(xcsFILELOCK* lock) { return zxv::platform::Unlock(lock); }
