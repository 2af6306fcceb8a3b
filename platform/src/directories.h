// Directory helpers shared by the parts of the layer that write files.
#pragma once

namespace zxv::platform {

// Creates `path` and any missing parents (mode 0775). True when the
// directory exists afterwards.
bool MakeDirectories(const char* path);

}  // namespace zxv::platform
