// Trace function numbers of the engine side of data conversion, kept in one
// list so each is unique. The PCF converter numbers its own from kFnPcfBase.
#pragma once

#include <cstdint>

#include "dataconv/converter.h"

namespace zxv::dataconv {

inline constexpr uint32_t kFnConvertData = kFnEngineBase + 0x00;
inline constexpr uint32_t kFnKWXDX = kFnEngineBase + 0x01;
inline constexpr uint32_t kFnWalk = kFnEngineBase + 0x02;
inline constexpr uint32_t kFnUserExit = kFnEngineBase + 0x03;
inline constexpr uint32_t kFnConvertCharsFn = kFnEngineBase + 0x10;
inline constexpr uint32_t kFnConvertChars = kFnEngineBase + 0x11;
inline constexpr uint32_t kFnNameToLocal = kFnEngineBase + 0x12;
inline constexpr uint32_t kFnConvertShort = kFnEngineBase + 0x20;
inline constexpr uint32_t kFnConvertLong = kFnEngineBase + 0x21;
inline constexpr uint32_t kFnConvertInt64 = kFnEngineBase + 0x22;
inline constexpr uint32_t kFnConvertCharInt = kFnEngineBase + 0x28;
inline constexpr uint32_t kFnConvertCharIntOL = kFnEngineBase + 0x29;
inline constexpr uint32_t kFnConvertVarCharInt = kFnEngineBase + 0x2A;
// Header converters.
inline constexpr uint32_t kFnHeaderXQH = kFnEngineBase + 0x40;
inline constexpr uint32_t kFnHeaderDLH = kFnEngineBase + 0x41;
inline constexpr uint32_t kFnHeaderMDE = kFnEngineBase + 0x42;
inline constexpr uint32_t kFnHeaderRFH2 = kFnEngineBase + 0x43;
inline constexpr uint32_t kFnHeaderRFH = kFnEngineBase + 0x44;
inline constexpr uint32_t kFnHeaderEPH = kFnEngineBase + 0x45;
inline constexpr uint32_t kFnHeaderRMH = kFnEngineBase + 0x46;
inline constexpr uint32_t kFnHeaderTIH = kFnEngineBase + 0x47;
inline constexpr uint32_t kFnHeaderSAP = kFnEngineBase + 0x48;
inline constexpr uint32_t kFnTrigger = kFnEngineBase + 0x49;
inline constexpr uint32_t kFnTrxVarString = kFnEngineBase + 0x4A;
inline constexpr uint32_t kFnWholeText = kFnEngineBase + 0x4B;
inline constexpr uint32_t kFnCopy = kFnEngineBase + 0x4C;

}  // namespace zxv::dataconv
