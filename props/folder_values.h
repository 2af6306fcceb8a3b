// Typed values from element text: the dt types of property folders read
// from text in the folder's own encoding. Numbers are spelled with
// characters every family encodes alike: integers and hex bytes are read
// unit by unit through the family's digit table, floats are mapped to
// ASCII and read with from_chars.
//
//   int64_t v;
//   if (ReadInteger<T>(text, length, INT16_MIN, INT16_MAX, &v)) ...
#pragma once

#include <charconv>
#include <cstdint>
#include <cstring>
#include <limits>
#include <system_error>

#include "props/folder_markup_words.h"
#include "props/folder_tokens.h"

namespace zxv::props {

// Longest number text read (digits, sign, point and exponent).
inline constexpr uint32_t kMaxNumberChars = 64;

// The values of the hex digit units of family T (-1 for any other unit),
// as a table over the units below 0x100.
template <typename T>
struct HexDigits {
  static constexpr auto kTable = [] {
    struct Table {
      int8_t v[256];
    } t{};
    for (uint32_t u = 0; u < 256; ++u) {
      const char c = NumberCharOf<T>(u);
      t.v[u] = c >= '0' && c <= '9'   ? static_cast<int8_t>(c - '0')
               : c >= 'a' && c <= 'f' ? static_cast<int8_t>(c - 'a' + 10)
               : c >= 'A' && c <= 'F' ? static_cast<int8_t>(c - 'A' + 10)
                                      : int8_t{-1};
    }
    return t;
  }();
};

// The value 0-15 of a hex digit unit; -1 for any other.
template <typename T>
int HexValue(uint32_t unit) {
  if constexpr (T::kUnitBytes == 1) {
    return HexDigits<T>::kTable.v[unit & 0xFF];
  } else {
    return unit < 0x80 ? HexDigits<T>::kTable.v[unit] : -1;
  }
}

// The value 0-9 of a decimal digit unit; -1 for any other.
template <typename T>
int DigitValue(uint32_t unit) {
  const int v = HexValue<T>(unit);
  return v < 10 ? v : -1;
}

// The text between blanks, in ASCII, into `out` (kMaxNumberChars + 1
// bytes); false when it is longer or holds a character that spells no
// number.
template <typename T>
bool NumberText(const uint8_t* text, uint32_t length, char* out, uint32_t* outLength) {
  using C = FolderCursor<T>;
  constexpr uint32_t kStep = T::kUnitBytes;
  uint32_t begin = 0;
  uint32_t end = length - length % kStep;
  while (begin < end && C::IsBlank(T::Load(text + begin))) begin += kStep;
  while (end > begin && C::IsBlank(T::Load(text + end - kStep))) end -= kStep;
  uint32_t n = 0;
  for (uint32_t at = begin; at < end; at += kStep) {
    if (n == kMaxNumberChars) return false;
    const char c = NumberChars<T>::Of(T::Load(text + at));
    if (c == 0) return false;
    out[n++] = c;
  }
  *outLength = n;
  return true;
}

// A decimal integer within [min, max] (an optional sign, digits; blanks
// around allowed; at most kMaxNumberChars units between the blanks). Read
// by hand straight from the text: std::from_chars for integers is a
// template whose instances the library would export.
template <typename T>
bool ReadInteger(const uint8_t* text, uint32_t length, int64_t min, int64_t max, int64_t* value) {
  using C = FolderCursor<T>;
  constexpr uint32_t kStep = T::kUnitBytes;
  uint32_t begin = 0;
  uint32_t end = length - length % kStep;
  while (begin < end && C::IsBlank(T::Load(text + begin))) begin += kStep;
  while (end > begin && C::IsBlank(T::Load(text + end - kStep))) end -= kStep;
  if (begin == end || (end - begin) / kStep > kMaxNumberChars) return false;
  const auto first = T::Load(text + begin);
  const bool negative = first == T::Char('-');
  if (negative || first == T::Char('+')) begin += kStep;
  if (begin == end) return false;
  // Accumulated as a negative number, whose range includes INT64_MIN.
  int64_t v = 0;
  for (uint32_t at = begin; at < end; at += kStep) {
    const int d = DigitValue<T>(T::Load(text + at));
    if (d < 0) return false;
    if (v < (INT64_MIN + d) / 10) return false;
    v = v * 10 - d;
  }
  if (!negative) {
    if (v == INT64_MIN) return false;
    v = -v;
  }
  if (v < min || v > max) return false;
  *value = v;
  return true;
}

// A float of type F (float or double): decimal or exponent form, INF, -INF,
// NaN, in range for F.
template <typename T, typename F>
bool ReadFloat(const uint8_t* text, uint32_t length, F* value) {
  char buf[kMaxNumberChars + 1];
  uint32_t n = 0;
  if (!NumberText<T>(text, length, buf, &n) || n == 0) return false;
  const char* first = buf;
  if (*first == '+') ++first;
  if (first == buf + n || *first == '+') return false;
  F v{};
  const auto [ptr, ec] = std::from_chars(first, buf + n, v, std::chars_format::general);
  if (ec != std::errc() || ptr != buf + n) return false;
  *value = v;
  return true;
}

// A boolean: "1" or "true", "0" or "false" (blanks around allowed).
template <typename T>
bool ReadBoolean(const uint8_t* text, uint32_t length, int32_t* value) {
  using C = FolderCursor<T>;
  using W = MarkupWords<T>;
  constexpr uint32_t kStep = T::kUnitBytes;
  uint32_t begin = 0;
  uint32_t end = length - length % kStep;
  while (begin < end && C::IsBlank(T::Load(text + begin))) begin += kStep;
  while (end > begin && C::IsBlank(T::Load(text + end - kStep))) end -= kStep;
  const uint8_t* t = text + begin;
  const uint32_t n = end - begin;
  if (n == kStep && T::Load(t) == T::Char('1')) {
    *value = 1;
  } else if (n == kStep && T::Load(t) == T::Char('0')) {
    *value = 0;
  } else if (W::kTrue.Is(t, n)) {
    *value = 1;
  } else if (W::kFalse.Is(t, n)) {
    *value = 0;
  } else {
    return false;
  }
  return true;
}

// Hex digit pairs into bytes at `out` (room for length / 2 / unit bytes);
// blanks around allowed. False for an odd count or a unit that is no digit.
template <typename T>
bool ReadHexBytes(const uint8_t* text, uint32_t length, uint8_t* out, uint32_t* outLength) {
  using C = FolderCursor<T>;
  constexpr uint32_t kStep = T::kUnitBytes;
  uint32_t begin = 0;
  uint32_t end = length - length % kStep;
  while (begin < end && C::IsBlank(T::Load(text + begin))) begin += kStep;
  while (end > begin && C::IsBlank(T::Load(text + end - kStep))) end -= kStep;
  if (((end - begin) / kStep) % 2 != 0) return false;
  uint32_t n = 0;
  for (uint32_t at = begin; at < end; at += 2 * kStep) {
    const int hi = HexValue<T>(T::Load(text + at));
    const int lo = HexValue<T>(T::Load(text + at + kStep));
    if (hi < 0 || lo < 0) return false;
    out[n++] = static_cast<uint8_t>((hi << 4) | lo);
  }
  *outLength = n;
  return true;
}

}  // namespace zxv::props
