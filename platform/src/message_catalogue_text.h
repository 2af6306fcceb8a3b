// The message catalogue built into the layer (generated from
// platform/messages/zxvxzu.msg at build time).
#pragma once

namespace zxv::platform {

// The catalogue file's text, NUL-terminated.
extern const char kBuiltInCatalogue[];

}  // namespace zxv::platform
