// Trace: records written as text lines to a per-process file or a sink.
//
// Every line starts "<time> <pid>.<thread> <depth> <mark>  <comp>:<fn>"
// (comp and fn as four hex digits); the mark says what follows:
//   {  entry, then the function name
//   }  exit, then "rc=0x%08X"
//   -  a parameter or detail text
//   D  a data dump header, then "<label> (<n> bytes)"
//   X  one dump line, "OOOOOOOO  xx xx ...  |text|"
#include <fcntl.h>
#include <limits.h>
#include <strings.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>

#include "directories.h"
#include "hex_dump.h"
#include "timestamp.h"
#include "zxvxcs2/xcs_erdp.h"
#include "zxvxcs2/xcs_thread.h"
#include "zxvxcs2/xcs_trace.h"

volatile int xtrLevel = XTR_LEVEL_OFF;

namespace zxv::platform {
namespace {

constexpr size_t kLineSize = 1024;

struct TraceOutput {
  std::mutex mutex;
  xtrSINK sink = nullptr;
  void* sink_context = nullptr;
  char explicit_path[PATH_MAX] = "";  // set by xtrSetFile
  int fd = -1;
  int32_t fd_pid = 0;  // the process the file was opened for (fork)
};

TraceOutput& Output() {
  // Never destroyed: trace points may run in other static destructors.
  static TraceOutput* output = new TraceOutput;
  return *output;
}

int LevelFromText(const char* text) {
  if (text == nullptr) return XTR_LEVEL_OFF;
  if (std::strcmp(text, "1") == 0 || strcasecmp(text, "on") == 0) return XTR_LEVEL_FLOW;
  if (std::strcmp(text, "2") == 0 || strcasecmp(text, "detail") == 0 ||
      strcasecmp(text, "all") == 0) {
    return XTR_LEVEL_DETAIL;
  }
  return XTR_LEVEL_OFF;
}

[[maybe_unused]] const bool g_level_from_environment = [] {
  xtrLevel = LevelFromText(std::getenv("ZXV_TRACE"));
  return true;
}();

// Opens the trace file for this process when needed. Called with the
// output mutex held.
void EnsureFileOpen(TraceOutput& out, int32_t pid) {
  if (out.fd >= 0 && out.fd_pid == pid) return;
  if (out.fd >= 0) {
    // Inherited across fork: the child writes its own file.
    ::close(out.fd);
    out.fd = -1;
  }
  char path[PATH_MAX + 32];  // room for the directory plus the file name
  if (out.explicit_path[0] != '\0') {
    std::snprintf(path, sizeof path, "%s", out.explicit_path);
  } else {
    char dir[PATH_MAX];
    const char* configured = std::getenv("ZXV_TRACE_PATH");
    if (configured != nullptr && *configured != '\0') {
      std::snprintf(dir, sizeof dir, "%s", configured);
    } else {
      std::snprintf(dir, sizeof dir, "%s/trace", xcsDataDirectory());
    }
    (void)MakeDirectories(dir);
    std::snprintf(path, sizeof path, "%s/ZXV%d.TRC", dir, pid);
  }
  out.fd = ::open(path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0664);
  out.fd_pid = pid;
}

void Emit(const char* line) {
  TraceOutput& out = Output();
  const int32_t pid = xihGetProcess()->ProcessId;
  std::lock_guard<std::mutex> lock(out.mutex);
  if (out.sink != nullptr) {
    out.sink(out.sink_context, line);
    return;
  }
  EnsureFileOpen(out, pid);
  if (out.fd < 0) return;
  char record[kLineSize + 1];
  size_t length = std::strlen(line);
  if (length > kLineSize - 1) length = kLineSize - 1;
  std::memcpy(record, line, length);
  record[length++] = '\n';
  // One write per line so that lines of concurrent writers never interleave.
  while (::write(out.fd, record, length) < 0 && errno == EINTR) {
  }
}

// Formats the common line prefix; returns its length.
size_t Prefix(char* line, const xihTHREAD* thread, int32_t depth, char mark, uint32_t comp,
              uint32_t fn) {
  char stamp[40];
  FormatTimestamp(stamp, sizeof stamp);
  const int n = std::snprintf(line, kLineSize, "%s %d.%u %d %c  %04X:%04X", stamp,
                              xihGetProcess()->ProcessId, thread->ThreadId, depth, mark, comp, fn);
  return n < 0 ? 0 : (static_cast<size_t>(n) < kLineSize ? static_cast<size_t>(n) : kLineSize - 1);
}

void Entry(uint32_t comp, uint32_t fn, const char* name) {
  xihTHREAD* thread = xihGetThread();
  const int32_t depth = ++thread->TraceDepth;
  char line[kLineSize];
  const size_t at = Prefix(line, thread, depth, '{', comp, fn);
  std::snprintf(line + at, kLineSize - at, " %s", name != nullptr ? name : "");
  Emit(line);
}

void Exit(uint32_t comp, uint32_t fn, uint32_t rc) {
  xihTHREAD* thread = xihGetThread();
  const int32_t depth = thread->TraceDepth;
  // An exit without its entry (trace switched on mid-call) must not drive
  // the depth negative.
  if (thread->TraceDepth > 0) --thread->TraceDepth;
  char line[kLineSize];
  const size_t at = Prefix(line, thread, depth, '}', comp, fn);
  std::snprintf(line + at, kLineSize - at, " rc=0x%08X", rc);
  Emit(line);
}

void Text(uint32_t comp, uint32_t fn, const char* format, va_list args) {
  const xihTHREAD* thread = xihGetThread();
  char line[kLineSize];
  size_t at = Prefix(line, thread, thread->TraceDepth, '-', comp, fn);
  if (at + 1 < kLineSize) line[at++] = ' ';
  line[at] = '\0';
  if (format != nullptr) std::vsnprintf(line + at, kLineSize - at, format, args);
  // A text carrying newlines would break the one-record-per-line rule.
  for (char* c = line; *c != '\0'; ++c) {
    if (*c == '\n' || *c == '\r') *c = ' ';
  }
  Emit(line);
}

void Data(uint32_t comp, uint32_t fn, const char* label, const void* data, size_t length) {
  const xihTHREAD* thread = xihGetThread();
  if (data == nullptr) length = 0;
  char line[kLineSize];
  size_t at = Prefix(line, thread, thread->TraceDepth, 'D', comp, fn);
  std::snprintf(line + at, kLineSize - at, " %s (%zu bytes)", label != nullptr ? label : "",
                length);
  Emit(line);
  const auto* bytes = static_cast<const uint8_t*>(data);
  for (size_t offset = 0; offset < length; offset += kHexDumpBytesPerLine) {
    at = Prefix(line, thread, thread->TraceDepth, 'X', comp, fn);
    char dump[kHexDumpLineSize];
    const size_t count =
        length - offset < kHexDumpBytesPerLine ? length - offset : kHexDumpBytesPerLine;
    FormatHexDumpLine(dump, sizeof dump, offset, bytes + offset, count);
    std::snprintf(line + at, kLineSize - at, " %s", dump);
    Emit(line);
  }
}

}  // namespace
}  // namespace zxv::platform

extern "C" XCS_API void xtrEntry(uint32_t comp, uint32_t fn, const char* name) {
  zxv::platform::Entry(comp, fn, name);
}

extern "C" XCS_API void xtrExit(uint32_t comp, uint32_t fn, uint32_t rc) {
  zxv::platform::Exit(comp, fn, rc);
}

extern "C" XCS_API void xtrText(uint32_t comp, uint32_t fn, int level, const char* format, ...) {
  if (xtrLevel < level) return;
  va_list args;
  va_start(args, format);
  zxv::platform::Text(comp, fn, format, args);
  va_end(args);
}

extern "C" XCS_API void xtrData(uint32_t comp, uint32_t fn, const char* label, const void* data,
                                size_t length) {
  zxv::platform::Data(comp, fn, label, data, length);
}

extern "C" XCS_API void xtrSetLevel(int level) {
  if (level < XTR_LEVEL_OFF) level = XTR_LEVEL_OFF;
  if (level > XTR_LEVEL_DETAIL) level = XTR_LEVEL_DETAIL;
  xtrLevel = level;
}

extern "C" XCS_API void xtrSetSink(xtrSINK sink, void* context) {
  zxv::platform::TraceOutput& out = zxv::platform::Output();
  std::lock_guard<std::mutex> lock(out.mutex);
  out.sink = sink;
  out.sink_context = context;
}

extern "C" XCS_API void xtrSetFile(const char* path) {
  zxv::platform::TraceOutput& out = zxv::platform::Output();
  std::lock_guard<std::mutex> lock(out.mutex);
  std::snprintf(out.explicit_path, sizeof out.explicit_path, "%s", path != nullptr ? path : "");
  if (out.fd >= 0) {
    ::close(out.fd);
    out.fd = -1;
  }
}
