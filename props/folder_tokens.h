// Reading folder text in its own encoding: a cursor over the units of one
// family, the character classes of the folder grammar, and the scanner of a
// folder's name. Templated on the family's traits (rfh2_family.h) so that
// the single-byte families compile to plain byte loops.
//
//   FolderCursor<FamilyTraits<XCS_CCSID_TYPE_UTF8>> c(text, length);
//   c.SkipBlanks();
//   if (c.Is('<')) ...
#pragma once

#include <cstdint>
#include <cstring>

#include "props/rfh2_family.h"
#include "zxvxzu/zxvxzu_types.h"

namespace zxv::props {

// Longest tag name kept, in characters; longer names are cut to it.
inline constexpr uint32_t kMaxTagChars = 255;

template <typename T>
class FolderCursor {
 public:
  using Unit = typename T::Unit;
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
  bool Is(char c) const { return !AtEnd() && Peek() == T::Char(c); }

  static bool IsBlank(Unit u) {
    return u == T::Char(' ') || u == T::Char('\n') || u == T::Char('\r') || u == T::Char('\t');
  }
  // True for a unit that ends a name: blank, "/", ">", "<", "=", quotes.
  static bool EndsName(Unit u) {
    return IsBlank(u) || u == T::Char('/') || u == T::Char('>') || u == T::Char('<') ||
           u == T::Char('=') || u == T::Char('\'') || u == T::Char('"');
  }
  static bool IsControl(Unit u) { return u < T::kControlLimit; }

  void SkipBlanks() {
    while (!AtEnd() && IsBlank(Peek())) Advance();
  }

  // Moves to the next "<" (or the end); true when anything but blanks was
  // passed. Text runs are long in value-heavy folders, so the byte families
  // search with memchr.
  bool SkipToMarkupStart() {
    bool nonBlank = false;
    if constexpr (kStep == 1) {
      const uint8_t open = static_cast<uint8_t>(T::Char('<'));
      const void* hit = std::memchr(text_ + pos_, open, end_ - pos_);
      const uint32_t stop =
          hit != nullptr ? static_cast<uint32_t>(static_cast<const uint8_t*>(hit) - text_) : end_;
      for (uint32_t i = pos_; i < stop; ++i) {
        if (!IsBlank(text_[i])) {
          nonBlank = true;
          break;
        }
      }
      pos_ = stop;
    } else {
      while (!AtEnd()) {
        const Unit u = Peek();
        if (u == T::Char('<')) break;
        if (!IsBlank(u)) nonBlank = true;
        Advance();
      }
    }
    return nonBlank;
  }

  // Reads a name from here to the first unit that ends it. *chars receives
  // the name's length in characters; *cut the byte length of its first
  // kMaxTagChars characters. False (cursor at the offending unit) for a
  // control character; *control then holds it.
  bool ReadName(uint32_t* start, uint32_t* bytes, uint32_t* chars, uint32_t* cut,
                uint32_t* control) {
    *start = pos_;
    uint32_t n = 0;
    uint32_t cutAt = 0;
    while (!AtEnd()) {
      const Unit u = Peek();
      if (EndsName(u)) break;
      if (IsControl(u)) {
        *control = u;
        return false;
      }
      // UTF-8 continuation bytes belong to the character before them.
      const bool newChar =
          T::kCcsidType != XCS_CCSID_TYPE_UTF8 || (static_cast<uint32_t>(u) & 0xC0) != 0x80;
      if (newChar) {
        if (n == kMaxTagChars) cutAt = pos_ - *start;
        ++n;
      }
      Advance();
    }
    *bytes = pos_ - *start;
    *chars = n;
    *cut = n > kMaxTagChars ? cutAt : *bytes;
    return true;
  }

 private:
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
