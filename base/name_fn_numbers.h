// Trace function numbers of the names family (blank-padded fields, name
// checks, one-byte return codes), kept in one list so each is unique.
#pragma once

#include <cstdint>

#include "base/trace_ids.h"

namespace zxv::base {

inline constexpr uint32_t kFnCvtKWNameFromStr = kFnBaseNames + 0x00;
inline constexpr uint32_t kFnBlankPad = kFnBaseNames + 0x01;
inline constexpr uint32_t kFnCvtKWName2Str = kFnBaseNames + 0x02;
inline constexpr uint32_t kFnCvtKWUser2Str = kFnBaseNames + 0x03;
inline constexpr uint32_t kFnGetLengthNoBlanks = kFnBaseNames + 0x04;
inline constexpr uint32_t kFnIsItBlank = kFnBaseNames + 0x05;
inline constexpr uint32_t kFnCheckValidName = kFnBaseNames + 0x10;
inline constexpr uint32_t kFnCheckQMName = kFnBaseNames + 0x11;
inline constexpr uint32_t kFnCheckValidInstallationName = kFnBaseNames + 0x12;
inline constexpr uint32_t kFnCheckValidProfile = kFnBaseNames + 0x13;
inline constexpr uint32_t kFnMapRCTo8bit = kFnBaseNames + 0x20;
inline constexpr uint32_t kFnMapRCFrom8bit = kFnBaseNames + 0x21;

}  // namespace zxv::base
