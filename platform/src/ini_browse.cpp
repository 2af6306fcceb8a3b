// Configuration files: browsing stanzas key by key, deleting keys on the
// callback's instruction, and comparing key names.
#include <fcntl.h>
#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "zxvxcs2/xcs_ini.h"
#include "zxvxcs2/xcs_memory.h"
#include "zxvxcs2/xcs_thread.h"

namespace zxv::platform {
namespace {

bool IsBlank(char c) { return c == ' ' || c == '\t'; }

// Trims blanks (and a carriage return) at both ends of [*begin, *end).
void Trim(const char** begin, const char** end) {
  while (*begin < *end && IsBlank(**begin)) ++*begin;
  while (*end > *begin && (IsBlank((*end)[-1]) || (*end)[-1] == '\r')) --*end;
}

// A block from the allocator, freed on scope exit.
class Block {
 public:
  Block() = default;
  Block(const Block&) = delete;
  Block& operator=(const Block&) = delete;
  ~Block() { xcsFreeMemFn(data_); }
  bool Allocate(size_t length) { return xcsGetMemFn(length, &data_) == xcsRC_OK; }
  bool Grow(size_t length) {
    void* grown = nullptr;
    if (xcsReallocMemFn(data_, length, &grown) != xcsRC_OK) return false;
    data_ = grown;
    return true;
  }
  char* chars() const { return static_cast<char*>(data_); }
  size_t* offsets() const { return static_cast<size_t*>(data_); }

 private:
  void* data_ = nullptr;
};

enum class ReadResult { kOk, kFileError, kNoStorage };

ReadResult ReadWholeFile(const char* path, Block& text, size_t* length, mode_t* mode) {
  const int fd = ::open(path, O_RDONLY | O_CLOEXEC);
  if (fd < 0) return ReadResult::kFileError;
  struct stat st;
  if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
    ::close(fd);
    return ReadResult::kFileError;
  }
  *mode = st.st_mode & 07777;
  const size_t size = static_cast<size_t>(st.st_size);
  if (!text.Allocate(size + 1)) {
    ::close(fd);
    return ReadResult::kNoStorage;
  }
  size_t got = 0;
  while (got < size) {
    const ssize_t n = ::read(fd, text.chars() + got, size - got);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) break;  // the file shrank under us: browse what was there
    got += static_cast<size_t>(n);
  }
  ::close(fd);
  text.chars()[got] = '\0';
  *length = got;
  return ReadResult::kOk;
}

// Writes the file again without the lines starting at `deleted` offsets
// (ascending), through a temporary file renamed over the original.
bool Rewrite(const char* path, mode_t mode, const char* text, size_t length, const size_t* deleted,
             size_t deleted_count) {
  char temporary[PATH_MAX];
  const int n =
      std::snprintf(temporary, sizeof temporary, "%s.%d.tmp", path, xihGetProcess()->ProcessId);
  if (n < 0 || static_cast<size_t>(n) >= sizeof temporary) return false;
  const int fd = ::open(temporary, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, mode);
  if (fd < 0) return false;
  bool ok = true;
  size_t next_deleted = 0;
  for (size_t at = 0; ok && at < length;) {
    const char* newline = static_cast<const char*>(std::memchr(text + at, '\n', length - at));
    const size_t end = newline != nullptr ? static_cast<size_t>(newline - text) + 1 : length;
    if (next_deleted < deleted_count && deleted[next_deleted] == at) {
      ++next_deleted;
    } else {
      for (size_t done = at; ok && done < end;) {
        const ssize_t w = ::write(fd, text + done, end - done);
        if (w < 0 && errno == EINTR) continue;
        ok = w > 0;
        if (ok) done += static_cast<size_t>(w);
      }
    }
    at = end;
  }
  ok = ::fsync(fd) == 0 && ok;
  ok = ::close(fd) == 0 && ok;
  if (ok && ::rename(temporary, path) == 0) return true;
  ::unlink(temporary);
  return false;
}

bool IsInstruction(int32_t answer) {
  return answer == xusICONTINUEBROWSE || answer == xusICANCELBROWSE || answer == xusIFINISHBROWSE ||
         answer == xusIDELETE_AND_CONTINUE || answer == xusIDELETE_AND_FINISH;
}

int32_t Browse(const char* path, const char* stanza_name, xusBROWSE_CB callback, void* context) {
  if (path == nullptr || callback == nullptr) return xusEBROWSEFAILED;
  Block text;
  size_t length = 0;
  mode_t mode = 0;
  switch (ReadWholeFile(path, text, &length, &mode)) {
    case ReadResult::kFileError:
      return xusEFILEERROR;
    case ReadResult::kNoStorage:
      return xusEBROWSEFAILED;
    case ReadResult::kOk:
      break;
  }
  // Key, value and stanza name are handed out NUL-terminated from here.
  Block scratch;
  Block stanza;
  if (!scratch.Allocate(length + 2) || !stanza.Allocate(length + 1)) return xusEBROWSEFAILED;
  Block deleted;
  size_t deleted_count = 0;
  size_t deleted_capacity = 0;

  bool in_matching_stanza = false;
  uint32_t matches = 0;
  int32_t answer = xusICONTINUEBROWSE;
  const char* const all = text.chars();
  for (size_t at = 0; at < length;) {
    const char* line = all + at;
    const char* newline = static_cast<const char*>(std::memchr(line, '\n', length - at));
    const char* line_end = newline != nullptr ? newline : all + length;
    const size_t line_start = at;
    at = static_cast<size_t>(line_end - all) + (newline != nullptr ? 1 : 0);

    const char* begin = line;
    const char* end = line_end;
    Trim(&begin, &end);
    if (begin == end || *begin == '#' || *begin == ';') continue;

    if (!IsBlank(*line) && end[-1] == ':') {
      // A stanza line: "Name:" at the start of the line.
      const char* name_end = end - 1;
      Trim(&begin, &name_end);
      const size_t name_length = static_cast<size_t>(name_end - begin);
      std::memcpy(stanza.chars(), begin, name_length);
      stanza.chars()[name_length] = '\0';
      in_matching_stanza =
          stanza_name == nullptr || xcsCompareKeyStrings(stanza.chars(), stanza_name) == 0;
      if (in_matching_stanza) ++matches;
      continue;
    }
    if (!in_matching_stanza) continue;

    // A key line. Key and value go into the scratch area back to back.
    char* key = scratch.chars();
    char* value = nullptr;
    int32_t code = xusSUCCESS;
    const char* equals =
        static_cast<const char*>(std::memchr(begin, '=', static_cast<size_t>(end - begin)));
    const char* key_end = equals != nullptr ? equals : end;
    const char* key_begin = begin;
    Trim(&key_begin, &key_end);
    const size_t key_length = static_cast<size_t>(key_end - key_begin);
    std::memcpy(key, key_begin, key_length);
    key[key_length] = '\0';
    value = key + key_length + 1;
    value[0] = '\0';
    if (equals == nullptr || key_length == 0) {
      code = xusENOATTRIBUTE;
    } else {
      const char* value_begin = equals + 1;
      const char* value_end = end;
      Trim(&value_begin, &value_end);
      const size_t value_length = static_cast<size_t>(value_end - value_begin);
      std::memcpy(value, value_begin, value_length);
      value[value_length] = '\0';
      if (value_length == 0) code = xusENOVALUE;
    }

    answer = callback(context, stanza.chars(), matches - 1, key, value, code);
    if (!IsInstruction(answer)) return xusEBROWSEFAILED;
    if (answer == xusICANCELBROWSE) return xusECANCEL;
    if (answer == xusIDELETE_AND_CONTINUE || answer == xusIDELETE_AND_FINISH) {
      if (deleted_count == deleted_capacity) {
        deleted_capacity = deleted_capacity == 0 ? 8 : deleted_capacity * 2;
        if (!deleted.Grow(deleted_capacity * sizeof(size_t))) return xusEBROWSEFAILED;
      }
      deleted.offsets()[deleted_count++] = line_start;
    }
    if (answer == xusIFINISHBROWSE || answer == xusIDELETE_AND_FINISH) break;
  }

  if (answer != xusIFINISHBROWSE && answer != xusIDELETE_AND_FINISH) {
    answer = callback(context, nullptr, matches, nullptr, nullptr, xusEENDOFFILE);
    if (!IsInstruction(answer)) return xusEBROWSEFAILED;
    if (answer == xusICANCELBROWSE) return xusECANCEL;
  }
  if (deleted_count > 0 &&
      !Rewrite(path, mode, text.chars(), length, deleted.offsets(), deleted_count)) {
    return xusEFILEERROR;
  }
  return xusSUCCESS;
}

int CompareKeys(const char* a, const char* b) {
  if (a == nullptr) a = "";
  if (b == nullptr) b = "";
  const char* a_end = a + std::strlen(a);
  const char* b_end = b + std::strlen(b);
  Trim(&a, &a_end);
  Trim(&b, &b_end);
  for (; a < a_end && b < b_end; ++a, ++b) {
    const int ca = std::tolower(static_cast<unsigned char>(*a));
    const int cb = std::tolower(static_cast<unsigned char>(*b));
    if (ca != cb) return ca - cb;
  }
  if (a < a_end) return 1;
  if (b < b_end) return -1;
  return 0;
}

}  // namespace
}  // namespace zxv::platform

extern "C" XCS_API int32_t xcsBrowseIniFile(const char* path, const char* stanzaName,
                                            xusBROWSE_CB callback, void* context) {
  return zxv::platform::Browse(path, stanzaName, callback, context);
}

extern "C" XCS_API int xcsCompareKeyStrings(const char* a, const char* b) {
  return zxv::platform::CompareKeys(a, b);
}
