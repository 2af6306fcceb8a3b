// Failure records: one text file per record in the errors directory.
#include <fcntl.h>
#include <limits.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <mutex>

#include "hex_dump.h"
#include "timestamp.h"
#include "zxvxcs2/xcs_erdp.h"
#include "zxvxcs2/xcs_thread.h"

namespace zxv::platform {
namespace {

constexpr size_t kCommentSize = 1024;

std::atomic<uint32_t> g_sequence{0};
std::atomic<uint32_t> g_written{0};

// The last record, for tests.
std::mutex g_last_mutex;
char g_last_path[PATH_MAX];
char g_last_comment[kCommentSize];
uint32_t g_last_probe = 0;
xcsRC g_last_rc = xcsRC_OK;

// Writes the whole of `text`, retrying short writes.
bool WriteAll(int fd, const char* text, size_t length) {
  while (length > 0) {
    const ssize_t n = ::write(fd, text, length);
    if (n < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    text += n;
    length -= static_cast<size_t>(n);
  }
  return true;
}

bool WriteFormatted(int fd, const char* format, ...) __attribute__((format(printf, 2, 3)));
bool WriteFormatted(int fd, const char* format, ...) {
  char line[PATH_MAX + kCommentSize + 64];
  va_list args;
  va_start(args, format);
  const int n = std::vsnprintf(line, sizeof line, format, args);
  va_end(args);
  if (n < 0) return false;
  const size_t length =
      static_cast<size_t>(n) < sizeof line ? static_cast<size_t>(n) : sizeof line - 1;
  return WriteAll(fd, line, length);
}

void WriteRecord(uint32_t comp, const char* source_file, uint32_t probe, xcsRC rc,
                 const char* comment, const void* dump, size_t dump_length) {
  const xihTHREAD* thread = xihGetThread();
  const int32_t pid = xihGetProcess()->ProcessId;
  const uint32_t seq = g_sequence.fetch_add(1, std::memory_order_relaxed) + 1;
  if (source_file == nullptr) source_file = "";
  if (comment == nullptr) comment = "";
  if (dump == nullptr) dump_length = 0;

  char path[PATH_MAX];
  std::snprintf(path, sizeof path, "%s/ZXV%d.%u.FRC", xcsErrorsDirectory(), pid, seq);
  char stamp[40];
  FormatTimestamp(stamp, sizeof stamp);

  const int fd = ::open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0664);
  if (fd >= 0) {
    bool ok = WriteFormatted(fd,
                             "ZXV failure record\n"
                             "Time         : %s\n"
                             "Process      : %d\n"
                             "Thread       : %u (os %llu)\n"
                             "Component    : 0x%04X\n"
                             "Source file  : %s\n"
                             "Probe        : %u\n"
                             "Return code  : 0x%08X\n"
                             "Comment      : %s\n"
                             "Dump length  : %zu\n",
                             stamp, pid, thread->ThreadId,
                             static_cast<unsigned long long>(thread->OsThreadId), comp, source_file,
                             probe, rc, comment, dump_length);
    const auto* bytes = static_cast<const uint8_t*>(dump);
    for (size_t offset = 0; ok && offset < dump_length; offset += kHexDumpBytesPerLine) {
      char line[kHexDumpLineSize];
      const size_t count =
          dump_length - offset < kHexDumpBytesPerLine ? dump_length - offset : kHexDumpBytesPerLine;
      FormatHexDumpLine(line, sizeof line, offset, bytes + offset, count);
      ok = WriteFormatted(fd, "  %s\n", line);
    }
    ::close(fd);
  }
  // Counted even when the file could not be written: the caller's failure
  // happened all the same, and tests look at the count.
  g_written.fetch_add(1, std::memory_order_relaxed);
  std::lock_guard<std::mutex> lock(g_last_mutex);
  std::snprintf(g_last_path, sizeof g_last_path, "%s", fd >= 0 ? path : "");
  std::snprintf(g_last_comment, sizeof g_last_comment, "%s", comment);
  g_last_probe = probe;
  g_last_rc = rc;
}

}  // namespace
}  // namespace zxv::platform

extern "C" XCS_API void xcsERDPFn(uint32_t comp, const char* sourceFile, uint32_t probe, xcsRC rc,
                                  const char* comment, const void* dump, size_t dumpLength) {
  zxv::platform::WriteRecord(comp, sourceFile, probe, rc, comment, dump, dumpLength);
}

extern "C" XCS_API void xcsERDPSFn(uint32_t comp, const char* sourceFile, uint32_t probe, xcsRC rc,
                                   const void* dump, size_t dumpLength, const char* format, ...) {
  char comment[zxv::platform::kCommentSize] = "";
  if (format != nullptr) {
    va_list args;
    va_start(args, format);
    std::vsnprintf(comment, sizeof comment, format, args);
    va_end(args);
  }
  zxv::platform::WriteRecord(comp, sourceFile, probe, rc, comment, dump, dumpLength);
}

extern "C" XCS_API uint32_t xcsFailureRecordCount(void) {
  return zxv::platform::g_written.load(std::memory_order_relaxed);
}

extern "C" XCS_API void xcsLastFailureRecord(char* path, size_t pathSize, char* comment,
                                             size_t commentSize, uint32_t* probe, xcsRC* rc) {
  std::lock_guard<std::mutex> lock(zxv::platform::g_last_mutex);
  if (path != nullptr && pathSize > 0) {
    std::snprintf(path, pathSize, "%s", zxv::platform::g_last_path);
  }
  if (comment != nullptr && commentSize > 0) {
    std::snprintf(comment, commentSize, "%s", zxv::platform::g_last_comment);
  }
  if (probe != nullptr) *probe = zxv::platform::g_last_probe;
  if (rc != nullptr) *rc = zxv::platform::g_last_rc;
}
