// Wall-clock time stamps.
#include "timestamp.h"

#include <time.h>

#include <cstdio>

namespace zxv::platform {

void FormatTimestamp(char* buffer, size_t size) {
  if (buffer == nullptr || size == 0) return;
  struct timespec now;
  ::clock_gettime(CLOCK_REALTIME, &now);
  struct tm local;
  ::localtime_r(&now.tv_sec, &local);
  std::snprintf(buffer, size, "%04d-%02d-%02dT%02d:%02d:%02d.%06ld", local.tm_year + 1900,
                local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec,
                now.tv_nsec / 1000L);
}

}  // namespace zxv::platform
