// Catalogue messages: texts looked up by number, inserts filled in, and the
// error log they are displayed to.
#include <fcntl.h>
#include <limits.h>
#include <strings.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <mutex>

#include "message_catalogue_text.h"
#include "timestamp.h"
#include "zxvxcs2/xcs_env.h"
#include "zxvxcs2/xcs_erdp.h"
#include "zxvxcs2/xcs_message.h"
#include "zxvxcs2/xcs_thread.h"

namespace zxv::platform {
namespace {

constexpr const char* kCatalogueVariable = "ZXV_MSG_CATALOGUE";
constexpr const char* kErrorLogName = "ZXVERR01.LOG";
constexpr size_t kIdSize = 16;
constexpr size_t kTextSize = 2048;
constexpr uint32_t kShortNumberLimit = 0x10000;

// Message numbers are written as given (7214 is ZXV7214); a full message
// code carries the number in the hex digits of its low half (0x20009030 is
// ZXV9030).
void MessageId(uint32_t number, char* id, size_t size) {
  if (number < kShortNumberLimit) {
    std::snprintf(id, size, "%u", number);
  } else {
    std::snprintf(id, size, "%04X", number & 0xFFFFu);
  }
}

// Copies the text of catalogue line `line` (length `length`) into `text`
// when the line holds message `id`.
bool MatchLine(const char* line, size_t length, const char* id, char* text, size_t size) {
  while (length > 0 && (line[length - 1] == '\n' || line[length - 1] == '\r' ||
                        line[length - 1] == ' ' || line[length - 1] == '\t')) {
    --length;
  }
  size_t key = 0;
  while (key < length && line[key] != ' ' && line[key] != '\t') ++key;
  if (key == 0 || line[0] == '#' || key != std::strlen(id) || strncasecmp(line, id, key) != 0) {
    return false;
  }
  size_t start = key;
  while (start < length && (line[start] == ' ' || line[start] == '\t')) ++start;
  std::snprintf(text, size, "%.*s", static_cast<int>(length - start), line + start);
  return true;
}

bool FindInBuiltIn(const char* id, char* text, size_t size) {
  for (const char* line = kBuiltInCatalogue; *line != '\0';) {
    const char* end = std::strchr(line, '\n');
    const size_t length = end != nullptr ? static_cast<size_t>(end - line) : std::strlen(line);
    if (MatchLine(line, length, id, text, size)) return true;
    line += length;
    if (*line == '\n') ++line;
  }
  return false;
}

bool FindInFile(const char* path, const char* id, char* text, size_t size) {
  FILE* file = std::fopen(path, "re");
  if (file == nullptr) return false;
  char line[kTextSize];
  bool found = false;
  while (!found && std::fgets(line, sizeof line, file) != nullptr) {
    const size_t length = std::strlen(line);
    found = MatchLine(line, length, id, text, size);
    // The rest of an over-long line is not a line of its own.
    bool rest = length > 0 && line[length - 1] != '\n';
    while (rest && std::fgets(line, sizeof line, file) != nullptr) {
      rest = std::strchr(line, '\n') == nullptr;
    }
  }
  std::fclose(file);
  return found;
}

// Appends to `out` (of `size`, `*at` used) without overrunning it.
void Append(char* out, size_t size, size_t* at, const char* text) {
  const int n = std::snprintf(out + *at, size - *at, "%s", text);
  if (n < 0) return;
  *at += static_cast<size_t>(n) < size - *at ? static_cast<size_t>(n) : size - *at - 1;
}

void FillInserts(const char* text, const xcsINSERTS* inserts, char* out, size_t size, size_t at) {
  constexpr int kFirstString = 3;
  constexpr int kLastString = 7;
  for (const char* c = text; *c != '\0' && at + 1 < size; ++c) {
    if (c[0] != '&' || c[1] < '1' || c[1] > '9') {
      out[at++] = *c;
      out[at] = '\0';
      continue;
    }
    const int insert = c[1] - '0';
    ++c;
    char number[16];
    const char* value = "";
    if (inserts != nullptr && insert <= 2) {
      std::snprintf(number, sizeof number, "%d", inserts->Numbers[insert - 1]);
      value = number;
    } else if (inserts != nullptr && insert >= kFirstString && insert <= kLastString &&
               inserts->Strings[insert - kFirstString] != nullptr) {
      value = inserts->Strings[insert - kFirstString];
    } else if (inserts == nullptr && insert <= 2) {
      value = "0";
    }
    Append(out, size, &at, value);
  }
}

xcsRC Format(uint32_t number, const xcsINSERTS* inserts, char* buffer, size_t size) {
  if (buffer == nullptr || size == 0) return xcsRC_INVALID_PARAMETER;
  char id[kIdSize];
  MessageId(number, id, sizeof id);
  char text[kTextSize];
  const char* file = xcsGetEnv(kCatalogueVariable);
  const bool found = (file != nullptr && *file != '\0') ? FindInFile(file, id, text, sizeof text)
                                                        : FindInBuiltIn(id, text, sizeof text);
  size_t at = 0;
  buffer[0] = '\0';
  Append(buffer, size, &at, "ZXV");
  Append(buffer, size, &at, id);
  Append(buffer, size, &at, ": ");
  if (found) {
    FillInserts(text, inserts, buffer, size, at);
    return xcsRC_OK;
  }
  // Keep the inserts: they are all an operator gets without the text.
  FillInserts(
      "No text for this message in the catalogue; inserts &1, &2, '&3', '&4', '&5', "
      "'&6', '&7'.",
      inserts, buffer, size, at);
  return xcsRC_MESSAGE_NOT_FOUND;
}

std::mutex g_display_mutex;
uint32_t g_displayed = 0;
char g_last_displayed[kTextSize];

xcsRC Display(uint32_t number, xcsRC rc, const xcsINSERTS* inserts) {
  char message[kTextSize];
  const xcsRC format_rc = Format(number, inserts, message, sizeof message);
  char stamp[40];
  FormatTimestamp(stamp, sizeof stamp);
  char code[32] = "";
  if (rc != xcsRC_OK) std::snprintf(code, sizeof code, " [rc=0x%08X]", rc);
  char line[kTextSize + 128];
  const int n = std::snprintf(line, sizeof line, "%s %d.%u %s%s\n", stamp,
                              xihGetProcess()->ProcessId, xihGetThread()->ThreadId, message, code);
  size_t length = n < 0 ? 0 : static_cast<size_t>(n);
  if (length >= sizeof line) {
    length = sizeof line - 1;
    line[length - 1] = '\n';
  }
  char path[PATH_MAX];
  std::snprintf(path, sizeof path, "%s/%s", xcsErrorsDirectory(), kErrorLogName);

  std::lock_guard<std::mutex> lock(g_display_mutex);
  ++g_displayed;
  std::snprintf(g_last_displayed, sizeof g_last_displayed, "%s", message);
  const int fd = ::open(path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0664);
  if (fd < 0) return xcsRC_FILE_ERROR;
  ssize_t written;
  do {
    written = ::write(fd, line, length);
  } while (written < 0 && errno == EINTR);
  ::close(fd);
  if (written != static_cast<ssize_t>(length)) return xcsRC_FILE_ERROR;
  return format_rc;
}

}  // namespace
}  // namespace zxv::platform

extern "C" XCS_API xcsRC xcsFormatMessage(uint32_t number, const xcsINSERTS* inserts, char* buffer,
                                          size_t bufferSize) {
  return zxv::platform::Format(number, inserts, buffer, bufferSize);
}

extern "C" XCS_API xcsRC xcsDisplayMessageForError(uint32_t number, xcsRC rc,
                                                   const xcsINSERTS* inserts) {
  return zxv::platform::Display(number, rc, inserts);
}

extern "C" XCS_API uint32_t xcsDisplayedMessageCount(void) {
  std::lock_guard<std::mutex> lock(zxv::platform::g_display_mutex);
  return zxv::platform::g_displayed;
}

extern "C" XCS_API void xcsLastDisplayedMessage(char* buffer, size_t bufferSize) {
  if (buffer == nullptr || bufferSize == 0) return;
  std::lock_guard<std::mutex> lock(zxv::platform::g_display_mutex);
  std::snprintf(buffer, bufferSize, "%s", zxv::platform::g_last_displayed);
}
