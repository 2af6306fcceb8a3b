// Wall-clock time stamps for trace lines, failure records and the error log.
#pragma once

#include <cstddef>

namespace zxv::platform {

// Writes the current local time as "YYYY-MM-DDTHH:MM:SS.uuuuuu" (26
// characters) into `buffer`, always NUL-terminated.
void FormatTimestamp(char* buffer, size_t size);

}  // namespace zxv::platform
