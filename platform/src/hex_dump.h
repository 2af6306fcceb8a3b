// One line of a hex dump, shared by trace data records and failure records.
#pragma once

#include <cstddef>
#include <cstdint>

namespace zxv::platform {

inline constexpr size_t kHexDumpBytesPerLine = 16;
// Enough for "00000000  " + 16 * "xx " + " " + 16 characters + NUL.
inline constexpr size_t kHexDumpLineSize = 80;

// Formats up to kHexDumpBytesPerLine bytes of `data` (at `offset` within the
// dumped area) as "OOOOOOOO  xx xx ...  |printable|" into `line`.
void FormatHexDumpLine(char* line, size_t size, size_t offset, const uint8_t* data, size_t count);

}  // namespace zxv::platform
