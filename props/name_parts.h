// Dotted parts of property names, per encoding family.
//
// A property name is split into parts at the full stop of its encoding
// family: byte 0x2E for ASCII-based single byte and UTF-8, 0x4B for EBCDIC,
// 2E 00 for UCS-2 little-endian and 00 2E for UCS-2 big-endian. The store
// uses the parts to keep name groups together; browsing uses the family's
// percent sign for patterns.
//
//   uint32_t shared = SharedLeadingParts(a, alen, b, blen, XCS_CCSID_TYPE_UTF8);
//   // "jms.Dst" and "jms.Exp" share 1 part; "a.b.c" and "a.b" share 2.
#pragma once

#include <cstdint>

namespace zxv::props {

// One character of an encoding family: `length` bytes (0 when the family
// has no such character).
struct FamilyChar {
  uint8_t bytes[2];
  uint8_t length;
};

// The full stop of family `ccsidType` (XCS_CCSID_TYPE_*); length 0 for the
// unknown family, whose names are one part.
FamilyChar FullStopOf(uint8_t ccsidType);

// The percent sign of the family; length 0 for the unknown family.
FamilyChar PercentSignOf(uint8_t ccsidType);

// Bytes per character unit: 2 for the UCS-2 families, else 1.
uint32_t CharUnitOf(uint8_t ccsidType);

// The end of the part that starts at `start` (a character boundary): the
// offset of the next full stop, or `length`.
uint32_t NamePartEnd(const uint8_t* name, uint32_t length, uint32_t start, uint8_t ccsidType);

// Number of parts of a name ("a.b.c" has 3, "a" 1, "" 0).
uint32_t CountNameParts(const uint8_t* name, uint32_t length, uint8_t ccsidType);

// Number of leading parts two names of one family have in common.
uint32_t SharedLeadingParts(const uint8_t* a, uint32_t aLength, const uint8_t* b, uint32_t bLength,
                            uint8_t ccsidType);

// True when the name's last character is the family's percent sign.
bool EndsWithPercentSign(const uint8_t* name, uint32_t length, uint8_t ccsidType);

}  // namespace zxv::props
