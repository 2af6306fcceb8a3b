// Internal return codes squeezed into one byte and back, for channels that
// carry a result in a single byte (a process exit status, a one-byte field
// of a control message).
//
// To one byte: a code 0x7000 + b with b in 1..254 maps to b; a code of the
// table below maps to its chosen value; anything else maps to
// kRcByteUnknown (71). From one byte: 0 stays 0; b maps to the table code
// whose value is b, else to 0x20000000 + 0x7000 + b.
//
//   uint32_t code = 0x40007072;
//   code = MapRcTo8bit(code);    // 114
//   code = MapRcFrom8bit(code);  // 0x40007072
#pragma once

#include <cstdint>

namespace zxv::base {

struct RcByteEntry {
  uint32_t code;   // the full internal return code
  uint16_t value;  // its one-byte form (see kRcByteMaxValue)
};

// The byte of a code known neither to the range rule nor to the table.
inline constexpr uint32_t kRcByteUnknown = 71;
// Codes 0x7000 + b with b in [kRcByteRangeFirst, kRcByteRangeLast] carry
// their byte in their low bits.
inline constexpr uint32_t kRcByteRangeBase = 0x7000;
inline constexpr uint32_t kRcByteRangeFirst = 1;
inline constexpr uint32_t kRcByteRangeLast = 254;
// Values from one byte that match no table row come back in this class.
inline constexpr uint32_t kRcByteUnmappedClass = 0x20000000;
// A few 0x7xxx codes above 0x70FE stand for themselves, which is why the
// table's values reach past one byte.
inline constexpr uint32_t kRcByteMaxValue = 0x2D8;

// The library's table. Codes and values are each unique (checked at compile
// time), so MapRcFrom8bit(MapRcTo8bit(c)) == c for every row, and no row
// uses kRcByteUnknown.
inline constexpr RcByteEntry kRcByteTable[] = {
    // Queue-manager and process results.
    {0x00008106, 3},
    {0x00008083, 4},
    {0x10008107, 5},
    {0x20008110, 8},
    {0x20803200, 23},
    {0x20009847, 136},
    // Codes of the 0x7xxx family that keep their low bits, and ones whose
    // byte is their low byte but that carry a class.
    {0x00007030, 0x30},
    {0x00007083, 0x83},
    {0x00007267, 0x267},
    {0x00007268, 0x268},
    {0x40007069, 0x69},
    {0x20807070, 0x70},
    {0x40007072, 0x72},
    // Common services: allocator.
    {0x20006035, 0xC0},
    {0x20006037, 0xC1},
    {0x20806036, 0xC2},
    {0x20806073, 0xC3},
    // Common services: generic.
    {0x20006118, 0xC4},
    {0x20006120, 0xC5},
    // Common services: character conversion.
    {0x10806055, 0xC8},
    {0x20006047, 0xC9},
    {0x20006048, 0xCA},
    {0x20006050, 0xCB},
    {0x20006053, 0xCC},
    {0x20806102, 0xCD},
    {0x20006317, 0xCE},
    {0x20006318, 0xCF},
    {0x20806197, 0xD0},
    {0x20806198, 0xD1},
    {0x10806199, 0xD2},
    // Common services: modules, files, subpools, pointers and guards,
    // mutexes, catalogue messages.
    {0x20006164, 0xD4},
    {0x20006165, 0xD5},
    {0x20006166, 0xD6},
    {0x20006167, 0xD7},
    {0x10006164, 0xD8},
    {0x20006170, 0xD9},
    {0x20006171, 0xDA},
    {0x20006180, 0xDB},
    {0x20006181, 0xDC},
    {0x20006182, 0xDD},
    {0x20006190, 0xDE},
    // Foundations: names, lookup table, topic strings.
    {0x10805202, 0xE0},
    {0x0080520C, 0xE1},
    {0x20805214, 0xE2},
    {0x20805215, 0xE3},
    {0x10805216, 0xE4},
    {0x40406109, 0xE5},
    {0x10806079, 0xE6},
    {0x20806013, 0xE7},
    {0x20805220, 0xE8},
};

// Pure mappings; MapRcTo8bit never fails, MapRcFrom8bit accepts any value.
uint32_t MapRcTo8bit(uint32_t code);
uint32_t MapRcFrom8bit(uint32_t value);

}  // namespace zxv::base
