// Pointer probing that never faults: the kernel copies the bytes for us and
// reports EFAULT for memory that cannot be read or written.
#include <errno.h>
#include <fcntl.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cstdint>

#include "zxvxcs2/xcs_guard.h"

namespace zxv::platform {
namespace {

// One probe per page is enough: protection is per page.
size_t PageSize() {
  static const size_t size = static_cast<size_t>(::sysconf(_SC_PAGESIZE));
  return size;
}

// process_vm_readv/writev on the own process; a pipe round trip where those
// are not allowed (seccomp, old kernels).
enum class Probe { kOk, kFault, kUnavailable };

Probe VmRead(uintptr_t address, uint8_t* byte) {
  struct iovec local = {byte, 1};
  struct iovec remote = {reinterpret_cast<void*>(address), 1};
  const ssize_t n = ::process_vm_readv(::getpid(), &local, 1, &remote, 1, 0);
  if (n == 1) return Probe::kOk;
  return errno == EFAULT ? Probe::kFault : Probe::kUnavailable;
}

Probe VmWrite(uintptr_t address, uint8_t byte) {
  struct iovec local = {&byte, 1};
  struct iovec remote = {reinterpret_cast<void*>(address), 1};
  const ssize_t n = ::process_vm_writev(::getpid(), &local, 1, &remote, 1, 0);
  if (n == 1) return Probe::kOk;
  return errno == EFAULT ? Probe::kFault : Probe::kUnavailable;
}

class Pipe {
 public:
  Pipe() { ok_ = ::pipe2(fds_, O_CLOEXEC) == 0; }
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;
  ~Pipe() {
    if (ok_) {
      ::close(fds_[0]);
      ::close(fds_[1]);
    }
  }
  // write() from the address fails with EFAULT instead of faulting.
  bool ReadThrough(uintptr_t address, uint8_t* byte) {
    if (!ok_ || ::write(fds_[1], reinterpret_cast<const void*>(address), 1) != 1) return false;
    return ::read(fds_[0], byte, 1) == 1;
  }
  // read() into the address fails with EFAULT instead of faulting; the byte
  // stays in the pipe then and is drained.
  bool WriteThrough(uintptr_t address, uint8_t byte) {
    if (!ok_ || ::write(fds_[1], &byte, 1) != 1) return false;
    if (::read(fds_[0], reinterpret_cast<void*>(address), 1) == 1) return true;
    uint8_t drain;
    (void)::read(fds_[0], &drain, 1);
    return false;
  }

 private:
  int fds_[2] = {-1, -1};
  bool ok_ = false;
};

bool ProbeByte(uintptr_t address, bool write) {
  uint8_t byte = 0;
  Probe read = VmRead(address, &byte);
  if (read == Probe::kUnavailable) {
    Pipe pipe;
    if (!pipe.ReadThrough(address, &byte)) return false;
    return !write || pipe.WriteThrough(address, byte);
  }
  if (read == Probe::kFault) return false;
  if (!write) return true;
  // Put back the byte just read.
  Probe written = VmWrite(address, byte);
  if (written == Probe::kUnavailable) {
    Pipe pipe;
    return pipe.WriteThrough(address, byte);
  }
  return written == Probe::kOk;
}

xcsRC Check(const void* address, size_t length, int mode) {
  constexpr int kAllModes = XCS_PTR_READ | XCS_PTR_WRITE | XCS_PTR_READWRITE;
  if (mode == 0 || (mode & ~kAllModes) != 0) return xcsRC_INVALID_PARAMETER;
  if (address == nullptr) return xcsRC_BAD_POINTER;
  if (length == 0) length = 1;
  const auto first = reinterpret_cast<uintptr_t>(address);
  if (first + (length - 1) < first) return xcsRC_BAD_POINTER;  // wraps around
  const uintptr_t last = first + (length - 1);
  const bool write = (mode & (XCS_PTR_WRITE | XCS_PTR_READWRITE)) != 0;
  const uintptr_t page = PageSize();
  // The first byte, then the first byte of every further page in range.
  for (uintptr_t at = first;;) {
    if (!ProbeByte(at, write)) return xcsRC_BAD_POINTER;
    const uintptr_t next_page = (at & ~(page - 1)) + page;
    if (next_page == 0 || next_page > last) break;
    at = next_page;
  }
  return xcsRC_OK;
}

}  // namespace
}  // namespace zxv::platform

extern "C" XCS_API xcsRC xcsCheckPointer(const void* address, size_t length, int mode) {
  return zxv::platform::Check(address, length, mode);
}
