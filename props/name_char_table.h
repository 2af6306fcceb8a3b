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

// Bits of a row's byte table.
enum NameCharClass : uint8_t {
  kCharMayStart = 1,   // in the start set
  kCharMayFollow = 2,  // in the part set, or the row's full stop
};

struct NameCharRow {
  int32_t ccsid;  // 0 ends the table
  NameCharForm form;
  const uint64_t* start;  // characters that may begin a name
  const uint64_t* part;   // characters that may follow the first
  // The two sets again as 256 bytes of NameCharClass bits, one per byte
  // value (Unicode rows: per code point below 256), for checks that read a
  // byte per character. Unlike the part set, kCharMayFollow includes the full
  // stop (0x2E, or 0x4B in EBCDIC rows).
  const uint8_t* classes;
};

// Rows in their order, followed by one row with CCSID 0.
inline constexpr size_t kNameCharRowCount = 109;
extern const NameCharRow kNameCharTable[kNameCharRowCount + 1];

// Number of distinct pairs of 256-bit sets the single-byte rows share
// (generated; rows of related code pages point at the same pair).
extern const size_t kNameCharByteSetPairs;

// The row of `ccsid`; null when the CCSID has none.
const NameCharRow* FindNameCharRowByHash(int32_t ccsid);

// The first row is UTF-8's, the CCSID of nearly every name; a test keeps it
// there.
inline constexpr int32_t kFirstRowCcsid = 1208;

// The row of `ccsid`; null when the CCSID has none.
inline const NameCharRow* FindNameCharRow(int32_t ccsid) {
  return ccsid == kFirstRowCcsid ? &kNameCharTable[0] : FindNameCharRowByHash(ccsid);
}

// True when bit `index` is set in `set`.
inline bool TestCharBit(const uint64_t* set, uint32_t index) {
  return ((set[index >> 6] >> (index & 63u)) & 1u) != 0;
}

}  // namespace zxv::props
