// Reading folder text in its own encoding: a cursor over the units of one
// family, the character classes of the folder grammar, and the scanner of a
// folder's name. Templated on the family's traits (rfh2_family.h) so that
// the single-byte families compile to plain byte loops.
//
//   FolderCursor<FamilyTraits<XCS_CCSID_TYPE_UTF8>> c(text, length);
//   c.SkipBlanks();
//   if (c.Is('<')) ...
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>
#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "props/rfh2_family.h"
#include "zxvxzu/zxvxzu_types.h"

namespace zxv::props {

// Longest tag name kept, in characters; longer names are cut to it.
inline constexpr uint32_t kMaxTagChars = 255;

// The classes of the units that markup scanning stops at, as bits; one
// table per family, so that each unit costs one load.
inline constexpr uint8_t kUnitBlank = 1;         // blank, tab, line feed, carriage return
inline constexpr uint8_t kUnitEndsName = 2;      // blank, "/", ">", "<", "=", quotes
inline constexpr uint8_t kUnitControl = 4;       // below the family's control limit
inline constexpr uint8_t kUnitContinuation = 8;  // UTF-8 continuation byte

template <typename T>
struct UnitClasses {
  using Unit = typename T::Unit;
  static constexpr uint8_t Classify(uint32_t u) {
    uint8_t c = 0;
    const bool blank =
        u == T::Char(' ') || u == T::Char('\n') || u == T::Char('\r') || u == T::Char('\t');
    if (blank) c |= kUnitBlank | kUnitEndsName;
    if (u == T::Char('/') || u == T::Char('>') || u == T::Char('<') || u == T::Char('=') ||
        u == T::Char('\'') || u == T::Char('"')) {
      c |= kUnitEndsName;
    }
    if (u < T::kControlLimit) c |= kUnitControl;
    if (T::kCcsidType == XCS_CCSID_TYPE_UTF8 && (u & 0xC0) == 0x80) c |= kUnitContinuation;
    return c;
  }
  static constexpr auto kTable = [] {
    struct Table {
      uint8_t c[256];
    } t{};
    for (uint32_t u = 0; u < 256; ++u) t.c[u] = Classify(u);
    return t;
  }();
  // Units above 0xFF (two-byte families) are never markup.
  static uint8_t Of(Unit u) {
    if constexpr (T::kUnitBytes == 1) {
      return kTable.c[u];
    } else {
      return u < 0x100 ? kTable.c[u] : uint8_t{0};
    }
  }
};

template <typename T>
class FolderCursor {
 public:
  using Unit = typename T::Unit;
  using K = UnitClasses<T>;
  static constexpr uint32_t kStep = T::kUnitBytes;

  // A trailing odd byte of a two-byte family is not part of the text.
  FolderCursor(const uint8_t* text, uint32_t length)
      : text_(text), end_(length - length % kStep), pos_(0) {}

  const uint8_t* text() const { return text_; }
  uint32_t pos() const { return pos_; }
  uint32_t end() const { return end_; }
  void set_pos(uint32_t pos) { pos_ = pos; }
  bool AtEnd() const { return pos_ >= end_; }
  Unit Peek() const { return T::Load(text_ + pos_); }
  // The unit after the current one; 0 at the end.
  Unit PeekNext() const { return pos_ + kStep < end_ ? T::Load(text_ + pos_ + kStep) : Unit{0}; }
  void Advance() { pos_ += kStep; }
  void Advance(uint32_t bytes) { pos_ += bytes; }
  bool Is(char c) const { return !AtEnd() && Peek() == T::Char(c); }
  // True when `bytes` more bytes lie before the end.
  bool Has(uint32_t bytes) const { return end_ - pos_ >= bytes; }

  static bool IsBlank(Unit u) { return (K::Of(u) & kUnitBlank) != 0; }
  // True for a unit that ends a name: blank, "/", ">", "<", "=", quotes.
  static bool EndsName(Unit u) { return (K::Of(u) & kUnitEndsName) != 0; }
  static bool IsControl(Unit u) { return u < T::kControlLimit; }

  void SkipBlanks() {
    while (!AtEnd() && IsBlank(Peek())) Advance();
  }

  // Moves to the next "<" (or the end); true when anything but blanks was
  // passed. *entity (may be null) is set when an "&" was passed. Text runs
  // are long in value-heavy folders, so the byte families look at sixteen
  // bytes a step, for "<" and "&" at once.
  bool SkipToMarkupStart(bool* entity = nullptr) {
    const uint32_t from = pos_;
    bool amp = false;
    if constexpr (kStep == 1) {
      pos_ = FindOpenByte(from, &amp);
    } else {
      while (!AtEnd()) {
        const Unit u = Peek();
        if (u == T::Char('<')) break;
        amp = amp || u == T::Char('&');
        Advance();
      }
    }
    if (entity != nullptr) *entity = amp;
    // Mostly the first unit decides: text starts with a non-blank.
    for (uint32_t i = from; i < pos_; i += kStep) {
      if (!IsBlank(T::Load(text_ + i))) return true;
    }
    return false;
  }

  // Reads a name from here to the first unit that ends it. *chars receives
  // the name's length in characters; *cut the byte length of its first
  // kMaxTagChars characters. False (cursor at the offending unit) for a
  // control character; *control then holds it.
  bool ReadName(uint32_t* start, uint32_t* bytes, uint32_t* chars, uint32_t* cut,
                uint32_t* control) {
    const uint32_t from = pos_;
    *start = from;
    uint32_t p = from;
    uint32_t continuations = 0;
    uint8_t stop = 0;
    // ASCII and UTF-8 names step eight bytes at a time while every byte is
    // one that cannot end a name: 0x30-0x7F without "<", "=", ">" and "?"
    // (the last only to keep the test short); any other byte ends the fast
    // steps and the table decides.
    if constexpr (T::kUnitBytes == 1 && T::Char('<') == '<' &&
                  std::endian::native == std::endian::little) {
      constexpr uint64_t kOnes = 0x0101010101010101ull;
      constexpr uint64_t kHigh = 0x8080808080808080ull;
      while (end_ - p >= 8) {
        uint64_t w;
        std::memcpy(&w, text_ + p, 8);
        const uint64_t below30 = (w - 0x30 * kOnes) & ~w;
        const uint64_t q = w ^ (0x3C * kOnes);  // "<" "=" ">" "?" become 0-3
        const uint64_t below4 = (q - 4 * kOnes) & ~q;
        // The lowest flagged byte is exact (borrows only run upwards).
        const uint64_t stops = (below30 | below4 | w) & kHigh;
        if (stops != 0) {
          p += static_cast<uint32_t>(__builtin_ctzll(stops)) / 8;
          break;
        }
        p += 8;
      }
    }
    // One table load per unit; the scan stops at a unit that ends the name
    // or is a control character (a blank control ends it first).
    while (p < end_) {
      const uint8_t k = K::Of(T::Load(text_ + p));
      if (k & (kUnitEndsName | kUnitControl)) {
        stop = k;
        break;
      }
      if constexpr (T::kCcsidType == XCS_CCSID_TYPE_UTF8) continuations += k >> 3;
      p += kStep;
    }
    pos_ = p;
    if (stop != 0 && !(stop & kUnitEndsName)) {
      *control = T::Load(text_ + p);
      return false;
    }
    const uint32_t n = (p - from) / kStep - continuations;
    *bytes = p - from;
    *chars = n;
    *cut = n > kMaxTagChars ? CutAt(from) : *bytes;
    return true;
  }

 private:
  // The offset of the first "<" from `p` on (or the end) in byte-family
  // text; *amp is set when an "&" lies before it.
  uint32_t FindOpenByte(uint32_t p, bool* amp) const {
    const auto open = static_cast<uint8_t>(T::Char('<'));
    const auto ampersand = static_cast<uint8_t>(T::Char('&'));
#if defined(__SSE2__)
    const __m128i opens = _mm_set1_epi8(static_cast<char>(open));
    const __m128i ampersands = _mm_set1_epi8(static_cast<char>(ampersand));
    for (; end_ - p >= 16; p += 16) {
      const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text_ + p));
      const auto openMask = static_cast<uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(v, opens)));
      const auto ampMask = static_cast<uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(v, ampersands)));
      if (openMask != 0) {
        const auto i = static_cast<uint32_t>(__builtin_ctz(openMask));
        if ((ampMask & ((1u << i) - 1)) != 0) *amp = true;
        return p + i;
      }
      if (ampMask != 0) *amp = true;
    }
#endif
    for (; p < end_; ++p) {
      const uint8_t u = text_[p];
      if (u == open) break;
      if (u == ampersand) *amp = true;
    }
    return p;
  }

  // The byte length of the first kMaxTagChars characters of a longer name.
  uint32_t CutAt(uint32_t from) const {
    uint32_t n = 0;
    for (uint32_t p = from;; p += kStep) {
      const bool newChar = !(K::Of(T::Load(text_ + p)) & kUnitContinuation);
      if (newChar && n++ == kMaxTagChars) return p - from;
    }
  }

  const uint8_t* text_;
  uint32_t end_;
  uint32_t pos_;
};

// Where a folder's name lies in its text, in bytes; `after` is the offset
// of the unit that ended the name.
struct FolderNameSpan {
  uint32_t offset;
  uint32_t length;
  uint32_t after;
};

// Scans a folder's start tag for its name (the work of the
// zrfParse*FolderName scanners). KWRC_NONE, or 2421 with the reason traced
// under `fn`. Defined in folder_name_scan.cpp for the five families.
template <typename T>
KWLONG ScanFolderName(const uint8_t* text, uint32_t length, FolderNameSpan* out, uint32_t fn);

}  // namespace zxv::props
