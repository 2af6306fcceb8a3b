// Typed values from element text: the dt types of property folders read
// from text in the folder's own encoding. Numbers are spelled with
// characters every family encodes alike, so each unit is mapped to its
// ASCII character through the family's table and read with from_chars.
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

// A decimal integer within [min, max] (an optional sign, digits). Read by
// hand: std::from_chars for integers is a template whose instances the
// library would export.
template <typename T>
bool ReadInteger(const uint8_t* text, uint32_t length, int64_t min, int64_t max, int64_t* value) {
  char buf[kMaxNumberChars + 1];
  uint32_t n = 0;
  if (!NumberText<T>(text, length, buf, &n) || n == 0) return false;
  uint32_t i = 0;
  const bool negative = buf[0] == '-';
  if (buf[0] == '-' || buf[0] == '+') ++i;
  if (i == n) return false;
  // Accumulated as a negative number, whose range includes INT64_MIN.
  int64_t v = 0;
  for (; i < n; ++i) {
    const char c = buf[i];
    if (c < '0' || c > '9') return false;
    if (v < (INT64_MIN + (c - '0')) / 10) return false;
    v = v * 10 - (c - '0');
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

// The value 0-15 of a hex digit unit; -1 for any other.
template <typename T>
int HexValue(uint32_t unit) {
  const char c = NumberChars<T>::Of(unit);
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
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
