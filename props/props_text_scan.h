// Sixteen bytes at a time over single-byte folder text, for the header
// writer: loading a short tail without reading past it, short copies
// without a call, and escaping a value into its folder. Escaping gives
// exactly what the family's expand routine (value_escape.h) gives: "&" as
// &amp;, "<" as &lt;, and in UTF-8 a multi-byte character stepped whole from
// its lead byte, the bytes behind the lead byte copied unlooked-at.
//
//   using T = FamilyTraits<XCS_CCSID_TYPE_UTF8>;
//   uint8_t* w = out;                            // room for 5 bytes per byte of text
//   w = scan::EscapeBytes<T>(w, text, length);   // w: the end of what was written
#pragma once

#include <cstdint>
#include <cstring>

#include "props/rfh2_family.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace zxv::props::scan {

// Copies n bytes and returns to + n; runs of up to 16 bytes inline, the
// short runs that markup is made of.
inline uint8_t* CopyBytes(uint8_t* to, const uint8_t* from, uint32_t n) {
  if (n <= 16) {
    if (n >= 8) {
      uint64_t a;
      uint64_t b;
      std::memcpy(&a, from, 8);
      std::memcpy(&b, from + n - 8, 8);
      std::memcpy(to, &a, 8);
      std::memcpy(to + n - 8, &b, 8);
    } else if (n >= 4) {
      uint32_t a;
      uint32_t b;
      std::memcpy(&a, from, 4);
      std::memcpy(&b, from + n - 4, 4);
      std::memcpy(to, &a, 4);
      std::memcpy(to + n - 4, &b, 4);
    } else {
      for (uint32_t i = 0; i < n; ++i) to[i] = from[i];
    }
    return to + n;
  }
  std::memcpy(to, from, n);
  return to + n;
}

// The first n bytes at p (n at most 8) in the low bytes of the result
// (byte i of the text in bits 8i..8i+7), the rest zero; reads nothing
// outside [p, p + n).
inline uint64_t LoadUpTo8(const uint8_t* p, uint32_t n) {
  if (n >= 4) {
    uint32_t lo;
    uint32_t hi;
    std::memcpy(&lo, p, 4);
    std::memcpy(&hi, p + n - 4, 4);
    return uint64_t{lo} | (uint64_t{hi} << (8 * (n - 4)));
  }
  uint64_t v = 0;
  for (uint32_t i = 0; i < n; ++i) v |= uint64_t{p[i]} << (8 * i);
  return v;
}

#if defined(__SSE2__)
// Sixteen bytes at p, or the first n (below 16) followed by zeros.
inline __m128i LoadBlock(const uint8_t* p, uint32_t n) {
  if (n >= 16) return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
  if (n > 8) {
    uint64_t lo;
    uint64_t hi;
    std::memcpy(&lo, p, 8);
    std::memcpy(&hi, p + n - 8, 8);
    hi >>= 8 * (16 - n);
    return _mm_set_epi64x(static_cast<long long>(hi), static_cast<long long>(lo));
  }
  return _mm_cvtsi64_si128(static_cast<long long>(LoadUpTo8(p, n)));
}

// Bit i set where byte i of a block is one the escape stops at: "&", "<",
// or a lead byte (0xC0 and above) in a family that has them.
template <typename T>
inline uint32_t EscapeStops(__m128i v) {
  __m128i hit = _mm_or_si128(_mm_cmpeq_epi8(v, _mm_set1_epi8(static_cast<char>(T::Char('&')))),
                             _mm_cmpeq_epi8(v, _mm_set1_epi8(static_cast<char>(T::Char('<')))));
  if constexpr (T::kHasLeadBytes) {
    const __m128i top = _mm_set1_epi8(static_cast<char>(0xC0));
    hit = _mm_or_si128(hit, _mm_cmpeq_epi8(_mm_and_si128(v, top), top));
  }
  return static_cast<uint32_t>(_mm_movemask_epi8(hit));
}
#endif

// Appends the escaped form of n bytes of text of the single-byte family T
// at w and returns the end; w needs room for 5 bytes per byte of text.
template <typename T>
uint8_t* EscapeBytes(uint8_t* w, const uint8_t* text, uint32_t n) {
  static_assert(T::kUnitBytes == 1);
  static constexpr uint8_t kAmpEntity[] = {T::Char('&'), T::Char('a'), T::Char('m'), T::Char('p'),
                                           T::Char(';')};
  static constexpr uint8_t kLtEntity[] = {T::Char('&'), T::Char('l'), T::Char('t'), T::Char(';')};
  uint32_t i = 0;
  while (i < n) {
    const uint32_t left = n - i;
#if defined(__SSE2__)
    const __m128i v = LoadBlock(text + i, left);
    uint32_t stops = EscapeStops<T>(v);
    if (left < 16) stops &= (1u << left) - 1;
    if (stops == 0) {
      if (left < 16) return CopyBytes(w, text + i, left);
      _mm_storeu_si128(reinterpret_cast<__m128i*>(w), v);
      w += 16;
      i += 16;
      continue;
    }
    const auto run = static_cast<uint32_t>(__builtin_ctz(stops));
    if (left >= 16) {
      // The whole block fits: the rest of the text alone needs 16 bytes.
      _mm_storeu_si128(reinterpret_cast<__m128i*>(w), v);
      w += run;
    } else {
      w = CopyBytes(w, text + i, run);
    }
    i += run;
#else
    (void)left;
    const uint8_t c = text[i];
    if (c != T::Char('&') && c != T::Char('<') && !(T::kHasLeadBytes && c >= 0xC0)) {
      *w++ = c;
      ++i;
      continue;
    }
#endif
    const uint8_t u = text[i];
    if (u == T::Char('&')) {
      w = CopyBytes(w, kAmpEntity, sizeof kAmpEntity);
      ++i;
    } else if (u == T::Char('<')) {
      w = CopyBytes(w, kLtEntity, sizeof kLtEntity);
      ++i;
    } else {
      const uint32_t step = T::CharUnits(text + i, n - i);
      w = CopyBytes(w, text + i, step);
      i += step;
    }
  }
  return w;
}

}  // namespace zxv::props::scan
