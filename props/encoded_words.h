// Fixed words (reserved words, known names, family prefixes) held in every
// encoding family, built at compile time, so that a name is compared in its
// own encoding without converting it first.
//
// The words are written in ASCII in the source and consist of characters that
// every family encodes alike: letters, digits, '.', '_' and '%' (in EBCDIC the
// invariant code points shared by CCSIDs 37, 500, 1047 and their relatives).
//
//   constexpr std::array<std::string_view, 2> kWords = {"AND", "OR"};
//   constexpr EncodedWords<2, TotalChars(kWords)> kEncoded(kWords);
//   NameBytes w = kEncoded.Word(NameFamily::kEbcdic, 0);   // C1 D5 C4
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "props/property_names.h"

namespace zxv::props {

// Bytes per character unit in a family.
constexpr uint32_t UnitBytes(NameFamily f) {
  return f == NameFamily::kLucs2 || f == NameFamily::kBucs2 ? 2 : 1;
}

// The EBCDIC form of an invariant ASCII character; 0 for a character that has
// no invariant form (EncodedWords refuses to compile such a word).
constexpr uint8_t EbcdicInvariant(char c) {
  if (c >= 'a' && c <= 'i') return static_cast<uint8_t>(0x81 + (c - 'a'));
  if (c >= 'j' && c <= 'r') return static_cast<uint8_t>(0x91 + (c - 'j'));
  if (c >= 's' && c <= 'z') return static_cast<uint8_t>(0xA2 + (c - 's'));
  if (c >= 'A' && c <= 'I') return static_cast<uint8_t>(0xC1 + (c - 'A'));
  if (c >= 'J' && c <= 'R') return static_cast<uint8_t>(0xD1 + (c - 'J'));
  if (c >= 'S' && c <= 'Z') return static_cast<uint8_t>(0xE2 + (c - 'S'));
  if (c >= '0' && c <= '9') return static_cast<uint8_t>(0xF0 + (c - '0'));
  switch (c) {
    case '.':
      return 0x4B;
    case '_':
      return 0x6D;
    case '%':
      return 0x6C;
    default:
      return 0;
  }
}

// Writes `c` in family `f` at `out` (UnitBytes(f) bytes).
constexpr void EncodeChar(NameFamily f, char c, uint8_t* out) {
  const auto a = static_cast<uint8_t>(c);
  switch (f) {
    case NameFamily::kEbcdic:
      out[0] = EbcdicInvariant(c);
      break;
    case NameFamily::kLucs2:
      out[0] = a;
      out[1] = 0;
      break;
    case NameFamily::kBucs2:
      out[0] = 0;
      out[1] = a;
      break;
    default:
      out[0] = a;
      break;
  }
}

template <size_t N>
constexpr size_t TotalChars(const std::array<std::string_view, N>& words) {
  size_t n = 0;
  for (std::string_view w : words) n += w.size();
  return n;
}

template <size_t N>
constexpr bool AllInvariant(const std::array<std::string_view, N>& words) {
  for (std::string_view w : words)
    for (char c : w)
      if (EbcdicInvariant(c) == 0) return false;
  return true;
}

// N words in the four stored forms (ASCII, which UTF-8 shares, EBCDIC, UCS-2
// least and most significant byte first), each a pool of bytes with offsets.
template <size_t N, size_t kChars>
class EncodedWords {
 public:
  explicit constexpr EncodedWords(const std::array<std::string_view, N>& words) {
    Encode(words, NameFamily::kAscii, ascii_, ascii_pool_);
    Encode(words, NameFamily::kEbcdic, ebcdic_, ebcdic_pool_);
    Encode(words, NameFamily::kLucs2, lucs2_, lucs2_pool_);
    Encode(words, NameFamily::kBucs2, bucs2_, bucs2_pool_);
  }

  static constexpr size_t size() { return N; }

  // Word `i` in family `f` (ASCII bytes for kUnknown).
  constexpr NameBytes Word(NameFamily f, size_t i) const {
    switch (f) {
      case NameFamily::kEbcdic:
        return Make(ebcdic_pool_.data(), ebcdic_[i], f);
      case NameFamily::kLucs2:
        return Make(lucs2_pool_.data(), lucs2_[i], f);
      case NameFamily::kBucs2:
        return Make(bucs2_pool_.data(), bucs2_[i], f);
      default:
        return Make(ascii_pool_.data(), ascii_[i], f);
    }
  }

 private:
  struct Span {
    uint32_t offset = 0;
    uint32_t length = 0;
  };

  template <size_t kPool>
  static constexpr void Encode(const std::array<std::string_view, N>& words, NameFamily f,
                               std::array<Span, N>& spans, std::array<uint8_t, kPool>& pool) {
    const uint32_t unit = UnitBytes(f);
    uint32_t pos = 0;
    for (size_t i = 0; i < N; ++i) {
      spans[i].offset = pos;
      spans[i].length = static_cast<uint32_t>(words[i].size()) * unit;
      for (char c : words[i]) {
        EncodeChar(f, c, &pool[pos]);
        pos += unit;
      }
    }
  }

  static constexpr NameBytes Make(const uint8_t* pool, Span s, NameFamily f) {
    return NameBytes{pool + s.offset, s.length, f};
  }

  std::array<Span, N> ascii_{}, ebcdic_{}, lucs2_{}, bucs2_{};
  std::array<uint8_t, kChars> ascii_pool_{};
  std::array<uint8_t, kChars> ebcdic_pool_{};
  std::array<uint8_t, 2 * kChars> lucs2_pool_{};
  std::array<uint8_t, 2 * kChars> bucs2_pool_{};
};

// True when `name` and `word` (same family) are the same bytes.
inline bool SameBytes(const NameBytes& name, const NameBytes& word) {
  return name.length == word.length &&
         (word.length == 0 || std::memcmp(name.data, word.data, word.length) == 0);
}

// True when `name` begins with the bytes of `prefix` (same family).
inline bool HasPrefix(const NameBytes& name, const NameBytes& prefix) {
  return name.length >= prefix.length &&
         (prefix.length == 0 || std::memcmp(name.data, prefix.data, prefix.length) == 0);
}

// The character unit at byte offset `at` of `name` (a byte, or a 16-bit unit
// in the family's byte order). `at` + UnitBytes must not pass the end.
inline uint32_t UnitAt(const NameBytes& name, uint32_t at) {
  switch (name.family) {
    case NameFamily::kLucs2:
      return name.data[at] | (uint32_t{name.data[at + 1]} << 8);
    case NameFamily::kBucs2:
      return (uint32_t{name.data[at]} << 8) | name.data[at + 1];
    default:
      return name.data[at];
  }
}

}  // namespace zxv::props
