// The property-name character table: which characters may start a property
// name and which may follow, per CCSID.
//
// The table itself (name_char_tables.cpp) is generated at build time by
// props/gen/name_char_tables_gen.cpp from the Unicode data of the build
// machine, so the library carries plain static bit sets and never calls a
// Unicode library at run time.
//
//   const NameCharRow* row = FindNameCharRow(37);
//   bool ok = row != nullptr && TestCharBit(row->start, 0x51);   // 'e acute'
#pragma once

#include <cstddef>
#include <cstdint>

namespace zxv::props {

// How the names of a row's CCSID are written, and so how the row's sets are
// indexed: the Unicode rows by UCS-2 code point (65,536 bits per set), the
// single-byte rows by byte value (256 bits per set).
enum class NameCharForm : uint8_t {
  kUtf8 = 0,        // 1208
  kUcs2 = 1,        // 1200, 13488, 17584; byte order from the CCSIDType
  kAsciiByte = 2,   // single byte, full stop 0x2E
  kEbcdicByte = 3,  // single byte, full stop 0x4B
};

struct NameCharRow {
  int32_t ccsid;  // 0 ends the table
  NameCharForm form;
  const uint64_t* start;  // characters that may begin a name
  const uint64_t* part;   // characters that may follow the first
};

// Rows in search order, followed by one row with CCSID 0.
inline constexpr size_t kNameCharRowCount = 109;
extern const NameCharRow kNameCharTable[kNameCharRowCount + 1];

// Number of distinct pairs of 256-bit sets the single-byte rows share
// (generated; rows of related code pages point at the same pair).
extern const size_t kNameCharByteSetPairs;

// The row of `ccsid`, searched in table order; null when the CCSID has none.
const NameCharRow* FindNameCharRow(int32_t ccsid);

// True when bit `index` is set in `set`.
inline bool TestCharBit(const uint64_t* set, uint32_t index) {
  return ((set[index >> 6] >> (index & 63u)) & 1u) != 0;
}

}  // namespace zxv::props
