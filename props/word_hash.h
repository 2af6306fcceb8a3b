// A perfect hash over a fixed set of 64-bit keys, found at compile time: the
// keys' slots under (key * multiplier) >> (64 - kBits) are all distinct, so a
// lookup is one multiply, one table load and one compare with the single
// entry that can match.
//
//   constexpr std::array<uint64_t, 3> kKeys = {11, 22, 33};
//   constexpr WordHash<3, 6> kHash(kKeys);    // 64 slots
//   static_assert(kHash.ok());
//   int i = kHash.Find(22);                   // 1; -1 for a key not in the set
//                                             // (the caller confirms the entry)
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace zxv::props {

// Mixes two words into one key: distinct pairs give distinct keys in
// practice, and a set whose pairs collide is caught by WordHash's search.
constexpr uint64_t MixKey(uint64_t a, uint64_t b, uint64_t n) {
  const uint64_t x = a ^ (b * 0x9E3779B97F4A7C15ull) ^ (n << 59);
  return x ^ (x >> 29);
}

template <size_t N, unsigned kBits>
class WordHash {
  static_assert(N < 255 && kBits <= 16, "entries are held as bytes");

 public:
  explicit constexpr WordHash(const std::array<uint64_t, N>& keys) {
    // Multipliers from a fixed sequence until one spreads the keys apart.
    uint64_t state = 0x243F6A8885A308D3ull;
    for (int attempt = 0; attempt < 4096; ++attempt) {
      state = state * 6364136223846793005ull + 1442695040888963407ull;
      multiplier_ = state | 1;
      if (Place(keys)) {
        ok_ = true;
        return;
      }
    }
  }

  // False when no multiplier was found; users static_assert it.
  constexpr bool ok() const { return ok_; }

  // The index of the key that may equal `key`, or -1 when none can.
  constexpr int Find(uint64_t key) const { return static_cast<int>(slots_[SlotOf(key)]) - 1; }

 private:
  constexpr size_t SlotOf(uint64_t key) const {
    return static_cast<size_t>((key * multiplier_) >> (64 - kBits));
  }

  constexpr bool Place(const std::array<uint64_t, N>& keys) {
    for (uint8_t& s : slots_) s = 0;
    for (size_t i = 0; i < N; ++i) {
      uint8_t& s = slots_[SlotOf(keys[i])];
      if (s != 0) return false;
      s = static_cast<uint8_t>(i + 1);
    }
    return true;
  }

  uint64_t multiplier_ = 1;
  bool ok_ = false;
  std::array<uint8_t, size_t{1} << kBits> slots_{};
};

}  // namespace zxv::props
