// The data and errors directories, created on demand.
#include "directories.h"

#include <errno.h>
#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>

#include "zxvxcs2/xcs_erdp.h"

namespace zxv::platform {

bool MakeDirectories(const char* path) {
  if (path == nullptr || *path == '\0') return false;
  char partial[PATH_MAX];
  const size_t length = std::strlen(path);
  if (length >= sizeof partial) return false;
  std::memcpy(partial, path, length + 1);
  // Create each prefix in turn; EEXIST on the way is expected.
  for (size_t i = 1; i <= length; ++i) {
    if (partial[i] != '/' && partial[i] != '\0') continue;
    const char saved = partial[i];
    partial[i] = '\0';
    if (::mkdir(partial, 0775) != 0 && errno != EEXIST) return false;
    partial[i] = saved;
  }
  struct stat st;
  return ::stat(path, &st) == 0 && S_ISDIR(st.st_mode);
}

namespace {

char g_data_dir[PATH_MAX];
char g_errors_dir[PATH_MAX];
std::once_flag g_data_once;
std::once_flag g_errors_once;

bool UsableDirectory(const char* path) {
  return MakeDirectories(path) && ::access(path, W_OK | X_OK) == 0;
}

void ChooseDataDirectory() {
  const char* prefix = std::getenv("KWSPREFIX");
  const char* preferred = (prefix != nullptr && *prefix != '\0') ? prefix : "/var/kws";
  if (std::strlen(preferred) < sizeof g_data_dir && UsableDirectory(preferred)) {
    std::snprintf(g_data_dir, sizeof g_data_dir, "%s", preferred);
    return;
  }
  // Unprivileged processes cannot write /var; fall back to a private tree.
  const char* tmp = std::getenv("TMPDIR");
  if (tmp == nullptr || *tmp == '\0') tmp = "/tmp";
  std::snprintf(g_data_dir, sizeof g_data_dir, "%s/kws", tmp);
  (void)MakeDirectories(g_data_dir);
}

}  // namespace
}  // namespace zxv::platform

extern "C" XCS_API const char* xcsDataDirectory(void) {
  std::call_once(zxv::platform::g_data_once, zxv::platform::ChooseDataDirectory);
  return zxv::platform::g_data_dir;
}

extern "C" XCS_API const char* xcsErrorsDirectory(void) {
  std::call_once(zxv::platform::g_errors_once, [] {
    std::snprintf(zxv::platform::g_errors_dir, sizeof zxv::platform::g_errors_dir, "%s/errors",
                  xcsDataDirectory());
  });
  // Created on every call: the directory may have been removed since.
  (void)zxv::platform::MakeDirectories(zxv::platform::g_errors_dir);
  return zxv::platform::g_errors_dir;
}
