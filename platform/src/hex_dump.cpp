// Hex dump lines.
#include "hex_dump.h"

#include <cstdio>

namespace zxv::platform {

void FormatHexDumpLine(char* line, size_t size, size_t offset, const uint8_t* data, size_t count) {
  if (line == nullptr || size == 0) return;
  if (count > kHexDumpBytesPerLine) count = kHexDumpBytesPerLine;
  static const char kHex[] = "0123456789abcdef";
  char text[kHexDumpLineSize];
  size_t at = static_cast<size_t>(std::snprintf(text, sizeof text, "%08zx  ", offset));
  for (size_t i = 0; i < kHexDumpBytesPerLine; ++i) {
    if (i < count) {
      text[at++] = kHex[data[i] >> 4];
      text[at++] = kHex[data[i] & 0x0F];
    } else {
      text[at++] = ' ';
      text[at++] = ' ';
    }
    text[at++] = ' ';
  }
  text[at++] = ' ';
  text[at++] = '|';
  for (size_t i = 0; i < count; ++i) {
    text[at++] = (data[i] >= 0x20 && data[i] < 0x7F) ? static_cast<char>(data[i]) : '.';
  }
  text[at++] = '|';
  text[at] = '\0';
  std::snprintf(line, size, "%s", text);
}

}  // namespace zxv::platform
