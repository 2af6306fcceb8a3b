// The machine-wide lock: an fcntl write lock on a file in the data directory.
#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "zxvxcs2/xcs_erdp.h"
#include "zxvxcs2/xcs_memory.h"
#include "zxvxcs2/xcs_mutex.h"

struct xcsFILELOCK {
  char StrucId[4];  // "XFLK" while held
  int fd;
};

namespace zxv::platform {
namespace {

constexpr char kLockId[4] = {'X', 'F', 'L', 'K'};

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
  *result = lock;
  return xcsRC_OK;
}

xcsRC Unlock(xcsFILELOCK* lock) {
  if (lock == nullptr || std::memcmp(lock->StrucId, kLockId, sizeof kLockId) != 0) {
    return xcsRC_INVALID_PARAMETER;
  }
  // Closing the descriptor drops the lock.
  const int rc = ::close(lock->fd);
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
