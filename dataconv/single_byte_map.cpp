// The process-wide cache of byte-for-byte translation tables.
#include "dataconv/single_byte_map.h"

#include <atomic>
#include <cstring>

#include "zxvxcs2/xcs_ccsid.h"
#include "zxvxzu/zxvxzu_types.h"

namespace zxv::dataconv {
namespace {

// A place in the cache. Claimed by one thread (kFree -> kBuilding), filled,
// then published (kReady, release); readers look at from/to/map only after
// seeing kReady (acquire), and a ready place never changes again.
enum SlotState : int { kFree = 0, kBuilding = 1, kReady = 2 };

struct Slot {
  std::atomic<int> state{kFree};
  int32_t from = 0;
  int32_t to = 0;
  SingleByteMap map;
};

constexpr size_t kSlots = 32;
Slot g_slots[kSlots];

bool Qualifies(int32_t from_ccsid, int32_t to_ccsid) {
  return from_ccsid != to_ccsid && !xcsIsTwoByteCCSID(from_ccsid) && !xcsIsTwoByteCCSID(to_ccsid);
}

// Codes that say something about the byte converted rather than about the
// service: the byte then simply does not convert alone.
bool IsCharacterOutcome(xcsRC rc) {
  return rc == xcsRC_OK || rc == xcsRC_CONV_DEFAULT_CHAR_USED || rc == xcsRC_CONV_NOT_SUPPORTED ||
         rc == xcsRC_CONV_INVALID_SOURCE || rc == xcsRC_CONV_UNMAPPABLE ||
         rc == xcsRC_CONV_BUFFER_TOO_SMALL || rc == xcsRC_CONV_TRUNCATED_SOURCE;
}

// Converts each byte on its own. False when the service failed otherwise.
bool ConvertAlone(int32_t from_ccsid, int32_t to_ccsid, SingleByteMap& map) {
  for (unsigned b = 0; b < 256; ++b) {
    const uint8_t in = static_cast<uint8_t>(b);
    uint8_t out[2 * SingleByteMap::kMaxOut] = {};
    uint32_t used = 0;
    const xcsRC rc = xcsConvertString(from_ccsid, KWENC_NATIVE, &in, 1, to_ccsid, KWENC_NATIVE, out,
                                      sizeof out, &used);
    if (!IsCharacterOutcome(rc)) return false;
    // A substitution is reported with a code; the service decides how, so
    // such a byte goes through the service each time.
    const bool alone = rc == xcsRC_OK && used >= 1 && used <= SingleByteMap::kMaxOut;
    map.length[b] = alone ? static_cast<uint8_t>(used) : 0;
    std::memcpy(map.to[b], out, SingleByteMap::kMaxOut);
  }
  return true;
}

// True when the service converts the bytes that convert alone, all in one
// string, to their outputs one after another: a target with shift states
// (or anything else that looks at neighbours) writes something else.
bool Concatenates(int32_t from_ccsid, int32_t to_ccsid, const SingleByteMap& map) {
  uint8_t in[256];
  uint8_t expected[256 * SingleByteMap::kMaxOut];
  uint8_t out[256 * SingleByteMap::kMaxOut + 16];
  size_t n = 0;
  size_t expected_length = 0;
  for (unsigned b = 0; b < 256; ++b) {
    if (map.length[b] == 0) continue;
    in[n++] = static_cast<uint8_t>(b);
    std::memcpy(expected + expected_length, map.to[b], map.length[b]);
    expected_length += map.length[b];
  }
  if (n == 0) return true;
  uint32_t used = 0;
  const xcsRC rc = xcsConvertString(from_ccsid, KWENC_NATIVE, in, static_cast<uint32_t>(n),
                                    to_ccsid, KWENC_NATIVE, out, sizeof out, &used);
  return rc == xcsRC_OK && used == expected_length &&
         std::memcmp(out, expected, expected_length) == 0;
}

// False when the service failed for a reason other than a character.
bool Fill(int32_t from_ccsid, int32_t to_ccsid, SingleByteMap& map) {
  if (!ConvertAlone(from_ccsid, to_ccsid, map)) return false;
  if (!Concatenates(from_ccsid, to_ccsid, map)) {
    // Keep the bytes that give one byte each, if they at least behave.
    for (uint8_t& length : map.length) length = length == 1 ? 1 : 0;
    if (!Concatenates(from_ccsid, to_ccsid, map)) std::memset(map.length, 0, sizeof map.length);
  }
  map.one_to_one = true;
  for (uint8_t length : map.length) map.one_to_one = map.one_to_one && length <= 1;
  return true;
}

}  // namespace

const SingleByteMap* FindSingleByteMap(int32_t from_ccsid, int32_t to_ccsid) {
  for (Slot& slot : g_slots) {
    if (slot.state.load(std::memory_order_acquire) == kReady && slot.from == from_ccsid &&
        slot.to == to_ccsid) {
      return &slot.map;
    }
  }
  return nullptr;
}

const SingleByteMap* GetSingleByteMap(int32_t from_ccsid, int32_t to_ccsid) {
  if (const SingleByteMap* found = FindSingleByteMap(from_ccsid, to_ccsid)) return found;
  if (!Qualifies(from_ccsid, to_ccsid)) return nullptr;
  for (Slot& slot : g_slots) {
    int expected = kFree;
    if (!slot.state.compare_exchange_strong(expected, kBuilding, std::memory_order_acq_rel)) {
      continue;
    }
    if (!Fill(from_ccsid, to_ccsid, slot.map)) {
      // Nobody has seen the place: give it back for a later attempt.
      slot.state.store(kFree, std::memory_order_release);
      return nullptr;
    }
    slot.from = from_ccsid;
    slot.to = to_ccsid;
    slot.state.store(kReady, std::memory_order_release);
    return &slot.map;
  }
  return nullptr;
}

}  // namespace zxv::dataconv
