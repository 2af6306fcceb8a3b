// The process-wide cache of byte-for-byte translation tables.
#include "dataconv/single_byte_map.h"

#include <atomic>

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
bool Fill(int32_t from_ccsid, int32_t to_ccsid, SingleByteMap& map) {
  for (unsigned b = 0; b < 256; ++b) {
    const uint8_t in = static_cast<uint8_t>(b);
    uint8_t out[4] = {};
    uint32_t used = 0;
    const xcsRC rc = xcsConvertString(from_ccsid, KWENC_NATIVE, &in, 1, to_ccsid, KWENC_NATIVE, out,
                                      sizeof out, &used);
    if (!IsCharacterOutcome(rc)) return false;
    // A substitution is reported with a code; the service decides how, so
    // such a byte goes through the service each time.
    const bool alone = rc == xcsRC_OK && used == 1;
    map.to[b] = alone ? out[0] : 0;
    map.alone[b] = alone ? 1 : 0;
  }
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
