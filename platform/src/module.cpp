// Module loading and entry-point lookup through the dynamic loader.
#include <dlfcn.h>
#include <limits.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <initializer_list>

#include "zxvxcs2/xcs_env.h"
#include "zxvxcs2/xcs_erdp.h"
#include "zxvxcs2/xcs_module.h"

namespace zxv::platform {
namespace {

constexpr size_t kErrorSize = 512;
constexpr const char* kExitPathVariable = "ZXV_EXIT_PATH";
constexpr const char* kModuleSuffix = ".so";

thread_local char t_last_error[kErrorSize];

void SetError(const char* text) {
  std::snprintf(t_last_error, sizeof t_last_error, "%s", text != nullptr ? text : "");
}

void* Open(const char* path) {
  void* handle = ::dlopen(path, RTLD_NOW | RTLD_LOCAL);
  if (handle == nullptr) {
    SetError(::dlerror());
  } else {
    SetError("");
  }
  return handle;
}

// Tries `dir`/`name` and `dir`/`name`.so. A file that exists but does not
// load ends the search: a broken exit must not be replaced silently by a
// namesake further down the path.
bool TryDirectory(const char* dir, size_t dir_length, const char* name, void** handle, bool* stop) {
  if (dir_length == 0) return false;
  for (const char* suffix : {"", kModuleSuffix}) {
    char path[PATH_MAX];
    const int n = std::snprintf(path, sizeof path, "%.*s/%s%s", static_cast<int>(dir_length), dir,
                                name, suffix);
    if (n < 0 || static_cast<size_t>(n) >= sizeof path) continue;
    if (::access(path, F_OK) != 0) continue;
    *handle = Open(path);
    *stop = true;
    return *handle != nullptr;
  }
  return false;
}

xcsRC SearchExitDirectories(const char* name, void** handle) {
  bool stop = false;
  const char* list = xcsGetEnv(kExitPathVariable);
  while (list != nullptr && *list != '\0') {
    const char* colon = std::strchr(list, ':');
    const size_t length = colon != nullptr ? static_cast<size_t>(colon - list) : std::strlen(list);
    if (TryDirectory(list, length, name, handle, &stop)) return xcsRC_OK;
    if (stop) return xcsRC_MODULE_NOT_FOUND;
    list = colon != nullptr ? colon + 1 : nullptr;
  }
  char exits[PATH_MAX];
  std::snprintf(exits, sizeof exits, "%s/exits", xcsDataDirectory());
  if (TryDirectory(exits, std::strlen(exits), name, handle, &stop)) return xcsRC_OK;
  if (!stop) {
    char text[kErrorSize];
    // A long search path may cut the message; the loader error is advisory.
    const int n =
        std::snprintf(text, sizeof text, "%s: not found in %s or %s", name, kExitPathVariable, exits);
    if (n < 0) text[0] = '\0';
    SetError(text);
  }
  return xcsRC_MODULE_NOT_FOUND;
}

xcsRC Load(const char* module, uint32_t options, void** handle) {
  if (handle == nullptr) return xcsRC_INVALID_PARAMETER;
  *handle = nullptr;
  if (module == nullptr || *module == '\0') {
    SetError("no module name");
    return xcsRC_MODULE_NOT_FOUND;
  }
  if (std::strchr(module, '/') == nullptr && (options & XCS_LOAD_EXIT_SEARCH) != 0) {
    return SearchExitDirectories(module, handle);
  }
  *handle = Open(module);
  return *handle != nullptr ? xcsRC_OK : xcsRC_MODULE_NOT_FOUND;
}

xcsRC Lookup(void* handle, const char* name, void** entry) {
  if (entry == nullptr) return xcsRC_INVALID_PARAMETER;
  *entry = nullptr;
  if (handle == nullptr || name == nullptr || *name == '\0') return xcsRC_ENTRY_POINT_NOT_FOUND;
  (void)::dlerror();
  void* address = ::dlsym(handle, name);
  // A symbol whose value is null is of no use as an entry point either.
  if (address == nullptr) return xcsRC_ENTRY_POINT_NOT_FOUND;
  *entry = address;
  return xcsRC_OK;
}

}  // namespace
}  // namespace zxv::platform

extern "C" XCS_API xcsRC xcsLoadFunction(const char* module, uint32_t options, void** handle) {
  return zxv::platform::Load(module, options, handle);
}

extern "C" XCS_API xcsRC xcsQueryProcAddr(void* handle, const char* name, void** entry) {
  return zxv::platform::Lookup(handle, name, entry);
}

extern "C" XCS_API xcsRC xcsFreeLibrary(void* handle) {
  if (handle == nullptr) return xcsRC_INVALID_PARAMETER;
  return ::dlclose(handle) == 0 ? xcsRC_OK : xcsRC_UNEXPECTED_ERROR;
}

extern "C" XCS_API const char* xcsLastLoadError(void) { return zxv::platform::t_last_error; }
