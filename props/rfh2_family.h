// The characters of folder text per encoding family.
//
// Folder text is processed in its own CCSID, so every routine that scans or
// writes markup is a template over the family's traits: the size and byte
// order of a character unit, how many units a character takes, and the unit
// values of the markup characters. The families are the CCSIDType numbers
// (XCS_CCSID_TYPE_*), which also index the per-family routine tables.
//
//   using T = FamilyTraits<XCS_CCSID_TYPE_EBCDIC>;
//   static_assert(T::Char('&') == 0x50);
//   T::Unit u = T::Load(p);   // one unit of text at p
#pragma once

#include <cstddef>
#include <cstdint>

#include "zxvxcs2/xcs_ccsid.h"

namespace zxv::props {

// The EBCDIC unit of a character of the invariant set (letters, digits and
// the punctuation that markup uses), the same in every EBCDIC code page the
// library meets. Any other character gives '?' (0x6F).
constexpr uint8_t EbcdicOf(char c) {
  if (c >= 'a' && c <= 'i') return static_cast<uint8_t>(0x81 + (c - 'a'));
  if (c >= 'j' && c <= 'r') return static_cast<uint8_t>(0x91 + (c - 'j'));
  if (c >= 's' && c <= 'z') return static_cast<uint8_t>(0xA2 + (c - 's'));
  if (c >= 'A' && c <= 'I') return static_cast<uint8_t>(0xC1 + (c - 'A'));
  if (c >= 'J' && c <= 'R') return static_cast<uint8_t>(0xD1 + (c - 'J'));
  if (c >= 'S' && c <= 'Z') return static_cast<uint8_t>(0xE2 + (c - 'S'));
  if (c >= '0' && c <= '9') return static_cast<uint8_t>(0xF0 + (c - '0'));
  // Punctuation and the whitespace controls, each beside its EBCDIC unit.
  constexpr char kAscii[] = " .<(+&*);-/,%_>:#'=\"\t\n\r";
  constexpr uint8_t kEbcdic[] = {0x40, 0x4B, 0x4C, 0x4D, 0x4E, 0x50, 0x5C, 0x5D,
                                 0x5E, 0x60, 0x61, 0x6B, 0x6C, 0x6D, 0x6E, 0x7A,
                                 0x7B, 0x7D, 0x7E, 0x7F, 0x05, 0x25, 0x0D};
  static_assert(sizeof kAscii - 1 == sizeof kEbcdic);
  for (size_t i = 0; i < sizeof kEbcdic; ++i) {
    if (kAscii[i] == c) return kEbcdic[i];
  }
  return 0x6F;
}

template <uint8_t kType>
struct FamilyTraits;

// Single-byte families share everything but the code page.
template <uint8_t kType, bool kEbcdic>
struct ByteFamily {
  using Unit = uint8_t;
  static constexpr uint8_t kCcsidType = kType;
  static constexpr uint32_t kUnitBytes = 1;
  // True when a unit may start a character of several units (CharUnits).
  static constexpr bool kHasLeadBytes = false;
  // Units below this are control characters (EBCDIC keeps 0x00-0x3F for them).
  static constexpr Unit kControlLimit = kEbcdic ? 0x40 : 0x20;
  static constexpr Unit Char(char c) {
    return kEbcdic ? EbcdicOf(c) : static_cast<Unit>(static_cast<unsigned char>(c));
  }
  static Unit Load(const uint8_t* p) { return *p; }
  static void Store(uint8_t* p, Unit u) { *p = u; }
  // Units that the character starting at p takes (at most `left`).
  static uint32_t CharUnits(const uint8_t*, uint32_t) { return 1; }
};

template <>
struct FamilyTraits<XCS_CCSID_TYPE_ASCII> : ByteFamily<XCS_CCSID_TYPE_ASCII, false> {};
template <>
struct FamilyTraits<XCS_CCSID_TYPE_EBCDIC> : ByteFamily<XCS_CCSID_TYPE_EBCDIC, true> {};

// UTF-8: byte units, but a multi-byte character is stepped whole from its
// lead byte (110xxxxx two bytes, 1110xxxx three, 1111xxxx four), never
// looking at what follows the lead byte, so that a malformed sequence is
// counted and copied the same way by every routine.
template <>
struct FamilyTraits<XCS_CCSID_TYPE_UTF8> : ByteFamily<XCS_CCSID_TYPE_UTF8, false> {
  static constexpr bool kHasLeadBytes = true;  // 0xC0 and above
  static uint32_t CharUnits(const uint8_t* p, uint32_t left) {
    const uint8_t b = *p;
    uint32_t n = 1;
    if (b >= 0xF0) {
      n = 4;
    } else if (b >= 0xE0) {
      n = 3;
    } else if (b >= 0xC0) {
      n = 2;
    }
    return n < left ? n : left;
  }
};

// UCS-2: 16-bit units in either byte order; every unit is a character (a
// surrogate pair is two units, neither of them markup).
template <uint8_t kType, bool kBigEndian>
struct TwoByteFamily {
  using Unit = uint16_t;
  static constexpr uint8_t kCcsidType = kType;
  static constexpr uint32_t kUnitBytes = 2;
  static constexpr bool kHasLeadBytes = false;
  static constexpr Unit kControlLimit = 0x20;
  static constexpr Unit Char(char c) { return static_cast<Unit>(static_cast<unsigned char>(c)); }
  static Unit Load(const uint8_t* p) {
    return kBigEndian ? static_cast<Unit>((p[0] << 8) | p[1])
                      : static_cast<Unit>(p[0] | (p[1] << 8));
  }
  static void Store(uint8_t* p, Unit u) {
    const auto hi = static_cast<uint8_t>(u >> 8);
    const auto lo = static_cast<uint8_t>(u & 0xFF);
    p[0] = kBigEndian ? hi : lo;
    p[1] = kBigEndian ? lo : hi;
  }
  static uint32_t CharUnits(const uint8_t*, uint32_t) { return 1; }
};

template <>
struct FamilyTraits<XCS_CCSID_TYPE_LUCS2> : TwoByteFamily<XCS_CCSID_TYPE_LUCS2, false> {};
template <>
struct FamilyTraits<XCS_CCSID_TYPE_BUCS2> : TwoByteFamily<XCS_CCSID_TYPE_BUCS2, true> {};

// True for the CCSIDType numbers that have traits.
constexpr bool IsKnownFamily(uint32_t type) {
  return type >= XCS_CCSID_TYPE_ASCII && type <= XCS_CCSID_TYPE_BUCS2;
}

// Calls f(FamilyTraits<type>{}) for a known family; false for any other.
template <typename F>
bool WithFamily(uint32_t type, F&& f) {
  switch (type) {
    case XCS_CCSID_TYPE_ASCII:
      f(FamilyTraits<XCS_CCSID_TYPE_ASCII>{});
      return true;
    case XCS_CCSID_TYPE_EBCDIC:
      f(FamilyTraits<XCS_CCSID_TYPE_EBCDIC>{});
      return true;
    case XCS_CCSID_TYPE_UTF8:
      f(FamilyTraits<XCS_CCSID_TYPE_UTF8>{});
      return true;
    case XCS_CCSID_TYPE_LUCS2:
      f(FamilyTraits<XCS_CCSID_TYPE_LUCS2>{});
      return true;
    case XCS_CCSID_TYPE_BUCS2:
      f(FamilyTraits<XCS_CCSID_TYPE_BUCS2>{});
      return true;
    default:
      return false;
  }
}

}  // namespace zxv::props
