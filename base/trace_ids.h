// Trace identity of the library: its component number and the function
// numbers of each family. Each subsystem numbers its functions from its own
// base so that a trace line names its function uniquely.
#pragma once

#include <cstdint>

namespace zxv {

inline constexpr uint32_t kComponent = 0x5A55;  // "ZU"

// Function-number bases per subsystem.
inline constexpr uint32_t kFnBaseNames = 0x0100;     // base/ names
inline constexpr uint32_t kFnBaseTopic = 0x0140;     // base/ topic strings
inline constexpr uint32_t kFnBaseLookup = 0x0180;    // base/ lookup table
inline constexpr uint32_t kFnBaseProps = 0x0200;     // props/
inline constexpr uint32_t kFnBaseApiExit = 0x0400;   // apiexit/
inline constexpr uint32_t kFnBaseDataConv = 0x0600;  // dataconv/
inline constexpr uint32_t kFnBaseProtect = 0x0800;   // protect/
inline constexpr uint32_t kFnBaseConfig = 0x0A00;    // config/
inline constexpr uint32_t kFnBaseActivity = 0x0C00;  // activity/

}  // namespace zxv
