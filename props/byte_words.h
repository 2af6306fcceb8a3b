// Short byte runs read as words and copied without a library call: names,
// markup words and values are mostly a few bytes long, and a call to the
// library's copy or compare costs more than the bytes do then.
//
// Words are read in the machine's (little-endian) order: byte i of the text
// lands in bits 8i..8i+7.
//
//   uint64_t head = LoadUpTo8(name, length);   // the first up to 8 bytes, zero above
//   out = CopyShort(out, value, valueLength);  // out: the end of the copy
#pragma once

#include <cstdint>
#include <cstring>

namespace zxv::props {

inline uint64_t Load64(const uint8_t* p) {
  uint64_t v;
  std::memcpy(&v, p, sizeof v);
  return v;
}
inline uint64_t Load32(const uint8_t* p) {
  uint32_t v;
  std::memcpy(&v, p, sizeof v);
  return v;
}
inline uint64_t Load16(const uint8_t* p) {
  uint16_t v;
  std::memcpy(&v, p, sizeof v);
  return v;
}

// The first min(n, 8) bytes at `p` as a word, zero above; reads no byte at
// or past p + n. Two overlapping loads instead of a loop of varying length.
inline uint64_t LoadUpTo8(const uint8_t* p, uint32_t n) {
  if (n >= 8) return Load64(p);
  if (n >= 4) return Load32(p) | ((Load32(p + n - 4) >> (8 * (8 - n))) << 32);
  if (n >= 2) return Load16(p) | ((Load16(p + n - 2) >> (8 * (4 - n))) << 16);
  return n == 1 ? p[0] : 0;
}

// Copies `n` bytes and returns the end of the copy; up to 16 bytes in two
// overlapping word moves.
[[gnu::always_inline]] inline uint8_t* CopyShort(uint8_t* to, const uint8_t* from, uint32_t n) {
  if (n > 16) {
    std::memcpy(to, from, n);
  } else if (n >= 8) {
    const uint64_t a = Load64(from);
    const uint64_t b = Load64(from + n - 8);
    std::memcpy(to, &a, 8);
    std::memcpy(to + n - 8, &b, 8);
  } else if (n >= 4) {
    const uint32_t a = static_cast<uint32_t>(Load32(from));
    const uint32_t b = static_cast<uint32_t>(Load32(from + n - 4));
    std::memcpy(to, &a, 4);
    std::memcpy(to + n - 4, &b, 4);
  } else if (n != 0) {
    // 1 to 3 bytes: the first, the middle and the last, without a loop.
    const uint8_t first = from[0];
    const uint8_t middle = from[n / 2];
    const uint8_t last = from[n - 1];
    to[0] = first;
    to[n / 2] = middle;
    to[n - 1] = last;
  }
  return to + n;
}

}  // namespace zxv::props
