// Sixteen bytes at a time over single-byte folder text, for the header
// writer: loading a short tail without reading past it, and escaping a value
// into its folder. Escaping gives exactly what the family's expand routine
// (value_escape.h) gives: "&" as &amp;, "<" as &lt;, and in UTF-8 a
// multi-byte character stepped whole from its lead byte, the bytes behind
// the lead byte copied unlooked-at.
//
//   using T = FamilyTraits<XCS_CCSID_TYPE_UTF8>;
//   uint8_t* w = out;                            // room for 5 bytes per byte of text
//   w = scan::EscapeBytes<T>(w, text, length);   // w: the end of what was written
#pragma once

#include <cstdint>
#include <cstring>

#include "props/byte_words.h"
#include "props/rfh2_family.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace zxv::props::scan {

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
      if (left < 16) return CopyShort(w, text + i, left);
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
      w = CopyShort(w, text + i, run);
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
      w = CopyShort(w, kAmpEntity, sizeof kAmpEntity);
      ++i;
    } else if (u == T::Char('<')) {
      w = CopyShort(w, kLtEntity, sizeof kLtEntity);
      ++i;
    } else {
      const uint32_t step = T::CharUnits(text + i, n - i);
      w = CopyShort(w, text + i, step);
      i += step;
    }
  }
  return w;
}

}  // namespace zxv::props::scan
