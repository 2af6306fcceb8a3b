// A property name's characters read as ASCII bytes, for comparing it with
// the fixed words (reserved words, prefixes, known names) by whole 64-bit
// loads instead of unit by unit.
//
// The fixed words use only characters that every encoding family writes
// alike (encoded_words.h): letters, digits, '.', '_' and '%'. A name unit is
// read as the ASCII byte of that character when it is one, and as 0 when it
// is anything else, which no fixed word contains; so a name equals (or
// begins with) a fixed word in its own encoding exactly when its ASCII
// reading does. The ASCII-based families and UTF-8 are read in place.
//
//   constexpr PackedPrefix kBody("Body.");
//   if (FirstAscii(name) == 'B' && NameHead(name).StartsWith(kBody)) ...
#pragma once

#include <array>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "props/byte_words.h"
#include "props/encoded_words.h"
#include "props/property_names.h"

namespace zxv::props {

// The low `n` bytes of a word set (n <= 8).
constexpr uint64_t Mask(uint32_t n) { return n >= 8 ? ~uint64_t{0} : (uint64_t{1} << (8 * n)) - 1; }

// Up to eight ASCII characters packed as LoadUpTo8 packs bytes.
constexpr uint64_t Pack(std::string_view s, size_t from = 0) {
  uint64_t v = 0;
  for (size_t i = 0; i < 8 && from + i < s.size(); ++i) {
    v |= uint64_t{static_cast<uint8_t>(s[from + i])} << (8 * i);
  }
  return v;
}

// The ASCII character of each EBCDIC invariant code point, 0 for every other
// byte.
inline constexpr std::array<uint8_t, 256> kEbcdicInvariantToAscii = [] {
  std::array<uint8_t, 256> table{};
  for (int c = 1; c < 128; ++c) {
    const uint8_t e = EbcdicInvariant(static_cast<char>(c));
    if (e != 0) table[e] = static_cast<uint8_t>(c);
  }
  return table;
}();

// The ASCII reading of units [from, from + count) of `name` (EBCDIC or
// UCS-2; count <= 8) packed into a word as LoadUpTo8 packs bytes. The name
// must hold those units. The word is gathered in a register: bytes stored
// one by one and loaded as a word would stall the load.
inline uint64_t GatherAscii(const NameBytes& name, uint32_t from, uint32_t count) {
  uint64_t w = 0;
  switch (name.family) {
    case NameFamily::kEbcdic: {
      const uint8_t* p = name.data + from;
      for (uint32_t i = 0; i < count; ++i) {
        w |= uint64_t{kEbcdicInvariantToAscii[p[i]]} << (8 * i);
      }
      break;
    }
    case NameFamily::kLucs2:
    case NameFamily::kBucs2: {
      const uint8_t* p = name.data + 2 * from;
      const bool little = name.family == NameFamily::kLucs2;
      for (uint32_t i = 0; i < count; ++i) {
        const uint32_t u = little ? p[2 * i] | (uint32_t{p[2 * i + 1]} << 8)
                                  : (uint32_t{p[2 * i]} << 8) | p[2 * i + 1];
        w |= uint64_t{u < 0x80 ? u : 0u} << (8 * i);
      }
      break;
    }
    default:
      w = LoadUpTo8(name.data + from, count);
      break;
  }
  return w;
}

// True for the families whose bytes are their own ASCII reading.
constexpr bool ReadInPlace(NameFamily f) {
  return f != NameFamily::kEbcdic && f != NameFamily::kLucs2 && f != NameFamily::kBucs2;
}

// A prefix of at most 16 ASCII characters packed for NameHead::StartsWith;
// built at compile time.
struct PackedPrefix {
  explicit constexpr PackedPrefix(std::string_view s)
      : lo(Pack(s)),
        hi(Pack(s, 8)),
        loMask(Mask(static_cast<uint32_t>(s.size()))),
        hiMask(s.size() > 8 ? Mask(static_cast<uint32_t>(s.size() - 8)) : 0),
        units(static_cast<uint32_t>(s.size())) {}
  uint64_t lo;
  uint64_t hi;
  uint64_t loMask;
  uint64_t hiMask;
  uint32_t units;
};

// The first character of a name in ASCII (0 when it has none, or one that
// no fixed word contains).
inline uint8_t FirstAscii(const NameBytes& name) {
  if (name.length < UnitBytes(name.family)) return 0;
  if (ReadInPlace(name.family)) return name.data[0];
  return static_cast<uint8_t>(GatherAscii(name, 0, 1));
}

// The first 16 characters of a name in ASCII, as two words, and how many of
// them the name has (whole units only: a trailing odd byte of a UCS-2 name
// is not a character).
inline constexpr uint32_t kNameHeadUnits = 16;
struct NameHead {
  explicit NameHead(const NameBytes& name) {
    if (!ReadInPlace(name.family)) {
      ReadConverted(name);
      return;
    }
    units = name.length < kNameHeadUnits ? name.length : kNameHeadUnits;
    lo = LoadUpTo8(name.data, units);
    hi = units > 8 ? LoadUpTo8(name.data + 8, units - 8) : 0;
  }

  // Character `i` (< 16) in ASCII; 0 past the name.
  uint8_t At(uint32_t i) const {
    return static_cast<uint8_t>((i < 8 ? lo >> (8 * i) : hi >> (8 * (i - 8))) & 0xFF);
  }

  // True when the name begins with `prefix`.
  bool StartsWith(const PackedPrefix& prefix) const {
    return units >= prefix.units && (lo & prefix.loMask) == prefix.lo &&
           (hi & prefix.hiMask) == prefix.hi;
  }

  // The families read unit by unit, kept out of line so that the in-place
  // reading above stays small enough to inline.
  [[gnu::noinline]] void ReadConverted(const NameBytes& name) {
    const uint32_t all = name.length / UnitBytes(name.family);
    units = all < kNameHeadUnits ? all : kNameHeadUnits;
    lo = GatherAscii(name, 0, units < 8 ? units : 8);
    hi = units > 8 ? GatherAscii(name, 8, units - 8) : 0;
  }

  uint64_t lo = 0;  // characters 0-7, character 0 in the low byte
  uint64_t hi = 0;  // characters 8-15
  uint32_t units = 0;
};

}  // namespace zxv::props
