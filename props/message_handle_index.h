// The inside of a handle's index (see message_handle_index.cpp): its slots,
// the hash of its keys, and the lookups and updates that the set and
// inquire paths run on every call, inline so that each call's path is one
// function.
#pragma once

#include <cstdint>
#include <cstring>

#include "props/byte_words.h"
#include "props/message_handle.h"
#include "props/property_store.h"

namespace zxv::props {

struct IndexSlot {
  uint32_t hash;
  uint16_t keyLength;  // bytes of the key: a whole name or its leading parts
  uint16_t epoch;      // in use when equal to the index's epoch
  uint32_t exactId;    // node whose name is the key; 0 none
  uint32_t lastId;     // last node whose leading parts are the key; 0 none
};
static_assert(sizeof(IndexSlot) == 16, "slots are 16 bytes");
static_assert(kMaxNameLength <= UINT16_MAX, "a key length fits its field");

namespace index_detail {

// Twice the slots of 24 keys at the most-used load (names of a few parts
// each, the common handful): short probes from the first property on.
inline constexpr uint32_t kMinSlots = 128;
inline constexpr uint32_t kMinIds = 32;
// Offsets move in blocks of this many ids, a loop the compiler turns into
// vector instructions.
inline constexpr uint32_t kIdBlock = 8;

inline constexpr uint64_t kHashSeed = 0x9E3779B97F4A7C15ull;
inline constexpr uint64_t kHashMultiplier = 0xFF51AFD7ED558CCDull;
inline constexpr uint64_t kOnes = 0x0101010101010101ull;
inline constexpr uint64_t kLow7 = 0x7F7F7F7F7F7F7F7Full;

// The hash of a key: its whole 8-byte words mixed in one by one, then the
// last 0 to 7 bytes (as one word, zero above) and the length. A name's
// prefixes share the state after their common whole words, so that the keys
// of one name take one pass.
inline uint64_t MixWord(uint64_t h, uint64_t w) {
  h = (h ^ w) * kHashMultiplier;
  return h ^ (h >> 32);
}

inline uint32_t FinishHash(uint64_t h, uint64_t tail, uint32_t length) {
  h = (h ^ tail ^ (uint64_t{length} << 40)) * kHashMultiplier;
  h ^= h >> 29;
  return static_cast<uint32_t>(h);
}

// The low `n` (0..7) bytes of `w`.
inline uint64_t LowBytes(uint64_t w, uint32_t n) { return w & ((uint64_t{1} << (8 * n)) - 1); }

inline uint32_t HashKey(const uint8_t* p, uint32_t n) {
  uint64_t h = kHashSeed;
  uint32_t at = 0;
  for (; at + 8 <= n; at += 8) h = MixWord(h, Load64(p + at));
  return FinishHash(h, LoadUpTo8(p + at, n - at), n);
}

// 0x80 in each byte of `w` that equals the byte repeated in `stops`, and
// in no other: exact, unlike the usual test for a zero byte.
inline uint64_t StopBytes(uint64_t w, uint64_t stops) {
  const uint64_t x = w ^ stops;
  return ~(((x & kLow7) + kLow7) | x | kLow7);
}

inline uint32_t FirstSlot(const PropertyIndex& index, uint32_t hash) {
  return (hash ^ (hash >> 16)) & (index.slotCount - 1);
}

inline bool SlotInUse(const PropertyIndex& index, const IndexSlot& slot) {
  return slot.epoch == index.epoch;
}

inline PropertyIndex* IndexOf(const MsgHandle* handle) {
  return static_cast<PropertyIndex*>(handle->Work.pIndex);
}

// The node at `offset`, when a whole node with a known layout lies there
// inside the list.
inline bool NodeAt(const ZRFPROPS* list, uint32_t offset, NodeView* node) {
  if (offset < kHeaderLength || offset >= list->StrucLen) return false;
  return DecodeNode(ListBytes(list) + offset, list->StrucLen - offset, node);
}

// The end of the node at `offset` (its offset plus its padded length),
// when a whole node with a known layout lies there inside the list.
[[gnu::always_inline]] inline bool NodeEnd(const ZRFPROPS* list, uint32_t offset, uint32_t* end) {
  if (offset < kHeaderLength || offset >= list->StrucLen) return false;
  const uint32_t available = list->StrucLen - offset;
  if (available < 4) return false;
  const uint8_t* node = ListBytes(list) + offset;
  const NodeLayout* layout = LayoutOf(LoadU32(node));
  if (layout == nullptr) return false;
  // The fixed part must lie inside the list before its lengths are read.
  const uint32_t lengthEnd = layout->variable() ? uint32_t{layout->length_offset} + 4 : 0;
  if (available < layout->name_offset || available < lengthEnd) return false;
  uint64_t raw = layout->name_offset + uint64_t{LoadU16(node + layout->name_length_offset)};
  if (layout->variable()) raw += uint64_t{LoadU32(node + layout->length_offset)} + 1;
  const uint64_t padded = PadToNodeAlignment(raw);
  if (padded > available) return false;
  *end = offset + static_cast<uint32_t>(padded);
  return true;
}

// SameName, always inline: every probe that meets its key compares it.
[[gnu::always_inline]] inline bool KeyEquals(const uint8_t* a, const uint8_t* b, uint32_t length) {
  if (length > 16) return SameName(a, b, length);
  if (length >= 8) {
    return ((Load64(a) ^ Load64(b)) | (Load64(a + length - 8) ^ Load64(b + length - 8))) == 0;
  }
  if (length >= 4) {
    return ((Load32(a) ^ Load32(b)) | (Load32(a + length - 4) ^ Load32(b + length - 4))) == 0;
  }
  if (length == 0) return true;
  return a[0] == b[0] && a[length / 2] == b[length / 2] && a[length - 1] == b[length - 1];
}

// True when the key of `slot` (the start of one of its nodes' names) is
// `key`.
[[gnu::always_inline]] inline bool SlotHoldsKey(const PropertyIndex& index, const ZRFPROPS* list,
                                                const IndexSlot& slot, const uint8_t* key,
                                                uint32_t keyLength) {
  const uint32_t id = slot.exactId != 0 ? slot.exactId : slot.lastId;
  const uint64_t at = uint64_t{index.offsets[id]} + index.nameDelta[id];
  if (at + keyLength > list->StrucLen) return false;
  return KeyEquals(ListBytes(list) + at, key, keyLength);
}

// The slot of a key, or null; *free receives the first free slot met (where
// the key would be made).
[[gnu::always_inline]] inline IndexSlot* FindSlot(const PropertyIndex& index, const ZRFPROPS* list,
                                                  const uint8_t* key, uint32_t keyLength,
                                                  uint32_t hash, IndexSlot** free) {
  const uint32_t mask = index.slotCount - 1;
  for (uint32_t i = FirstSlot(index, hash);; i = (i + 1) & mask) {
    IndexSlot& slot = index.slots[i];
    if (!SlotInUse(index, slot)) {
      *free = &slot;
      return nullptr;
    }
    if (slot.hash == hash && slot.keyLength == keyLength &&
        SlotHoldsKey(index, list, slot, key, keyLength)) {
      return &slot;
    }
  }
}

// Claims `slot` (free) for a key.
[[gnu::always_inline]] inline IndexSlot* ClaimSlot(PropertyIndex& index, IndexSlot* slot,
                                                   uint32_t keyLength, uint32_t hash) {
  slot->hash = hash;
  slot->keyLength = static_cast<uint16_t>(keyLength);
  slot->epoch = index.epoch;
  slot->exactId = 0;
  slot->lastId = 0;
  ++index.slotsUsed;
  return slot;
}

// The keys of a name: the end of each run of leading parts, then the whole
// name, with their hashes, in one pass over its words. False for a name of
// more parts than IndexKeys holds.
[[gnu::always_inline]] inline bool ComputeKeys(const PropertyIndex& index, const uint8_t* name,
                                               uint32_t length, IndexKeys* keys) {
  uint32_t count = 0;
  uint64_t h = kHashSeed;  // over the whole words before `word`
  uint32_t word = 0;
  const uint64_t stops = kOnes * index.stop;
  for (; word + 8 <= length; word += 8) {
    const uint64_t w = Load64(name + word);
    if (index.hasStop) {
      for (uint64_t found = StopBytes(w, stops); found != 0; found &= found - 1) {
        const uint32_t n = static_cast<uint32_t>(__builtin_ctzll(found) / 8);
        if (count == IndexKeys::kMax - 1) return false;
        keys->length[count] = word + n;
        keys->hash[count] = FinishHash(h, LowBytes(w, n), word + n);
        ++count;
      }
    }
    h = MixWord(h, w);
  }
  const uint32_t rest = length - word;
  const uint64_t w = LoadUpTo8(name + word, rest);
  if (index.hasStop && rest != 0) {
    // The bytes above the name's are 0, which a full stop never is.
    for (uint64_t found = StopBytes(w, stops); found != 0; found &= found - 1) {
      const uint32_t n = static_cast<uint32_t>(__builtin_ctzll(found) / 8);
      if (count == IndexKeys::kMax - 1) return false;
      keys->length[count] = word + n;
      keys->hash[count] = FinishHash(h, LowBytes(w, n), word + n);
      ++count;
    }
  }
  keys->length[count] = length;
  keys->hash[count] = FinishHash(h, w, length);
  keys->count = count + 1;
  keys->foundId = 0;
  return true;
}

// Records node `id` under its name and under each run of its leading parts,
// using the slots already found in `keys` (a null slot is made, at the free
// slot noted for it when that is still free). Nodes are recorded in list
// order, or after the offsets are up to date, so that the last member of a
// group is the one at the highest offset.
[[gnu::always_inline]] inline void RecordKeys(PropertyIndex& index, const ZRFPROPS* list,
                                              uint32_t id, const uint8_t* name, IndexKeys& keys) {
  const uint32_t offset = index.offsets[id];
  IndexSlot* slot = nullptr;
  for (uint32_t k = 0; k < keys.count; ++k) {
    slot = keys.slot[k];
    if (slot == nullptr) {
      IndexSlot* free = keys.free[k];
      // An earlier key of this name may have taken it, or it may hold this
      // very key when the name repeats a prefix; look again then.
      if (free == nullptr || SlotInUse(index, *free)) {
        slot = FindSlot(index, list, name, keys.length[k], keys.hash[k], &free);
      }
      if (slot == nullptr) slot = ClaimSlot(index, free, keys.length[k], keys.hash[k]);
    }
    // A slot made just now names its key through this node.
    if (slot->lastId == 0 || index.offsets[slot->lastId] <= offset) slot->lastId = id;
  }
  slot->exactId = id;  // the whole name's, last
}

// Adds `delta` to the offset of every node at or after `from`. Offsets of
// unused ids are 0 and stay so; the loop runs over whole blocks.
inline void MoveOffsets(PropertyIndex& index, uint32_t from, uint32_t delta) {
  // Offsets and `from` lie below kMaxListSize, so they compare as signed
  // words, which the vector instructions compare directly.
  static_assert(kMaxListSize <= INT32_MAX, "offsets compare as signed words");
  auto* offsets = reinterpret_cast<int32_t*>(index.offsets);
  const auto start = static_cast<int32_t>(from);
  const auto step = static_cast<int32_t>(delta);
  const uint32_t blocks = (index.idCount + kIdBlock) / kIdBlock;
  for (uint32_t b = 0; b < blocks; ++b) {
    int32_t* block = offsets + b * kIdBlock;
    for (uint32_t i = 0; i < kIdBlock; ++i) {
      block[i] += block[i] >= start ? step : 0;
    }
  }
}

// Records the list the index now describes.
inline void Follow(PropertyIndex* index, MsgHandle* handle) {
  index->list = handle->pProps;
  index->strucLen = handle->pProps->StrucLen;
  index->propsLen = handle->pProps->PropsLen;
  index->change = handle->Work.ChangeCount;
}

// Decodes into *node the node named exactly `name` (bytes in the list's
// CCSID). False when the list has no such node.
[[gnu::always_inline]] inline bool IndexFind(const PropertyIndex& index, const ZRFPROPS* list,
                                             const uint8_t* name, uint32_t length, NodeView* node) {
  // A key has one slot at most, so the first node of this exact name is
  // the answer, and a free slot ends the search.
  const uint32_t hash = HashKey(name, length);
  const uint32_t mask = index.slotCount - 1;
  for (uint32_t i = FirstSlot(index, hash);; i = (i + 1) & mask) {
    const IndexSlot& slot = index.slots[i];
    if (!SlotInUse(index, slot)) return false;
    if (slot.hash == hash && slot.keyLength == length && slot.exactId != 0 &&
        NodeAt(list, index.offsets[slot.exactId], node) && node->name_length == length &&
        KeyEquals(node->name, name, length)) {
      return true;
    }
  }
}

// Finds the node of `name` (*found true, *offset the node, decoded into
// *existing) or the place where a node of that new name goes, as
// zrfLocatePropertyNode places it. False when the index cannot tell (a name
// of very many parts, a node that does not decode).
[[gnu::always_inline]] inline bool IndexLocate(const PropertyIndex& index, const ZRFPROPS* list,
                                               const uint8_t* name, uint32_t length,
                                               IndexKeys* keys, bool* found, uint32_t* offset,
                                               NodeView* existing) {
  if (!ComputeKeys(index, name, length, keys)) return false;  // the walk will tell
  const uint32_t last = keys->count - 1;
  *found = false;
  IndexSlot* whole =
      FindSlot(index, list, name, keys->length[last], keys->hash[last], &keys->free[last]);
  keys->slot[last] = whole;
  keys->missing = whole == nullptr ? 1 : 0;
  if (whole != nullptr && whole->exactId != 0) {
    const uint32_t at = index.offsets[whole->exactId];
    if (!NodeAt(list, at, existing)) return false;
    if (existing->name_length == length) {
      *found = true;
      *offset = at;
      keys->foundId = whole->exactId;
      return true;
    }
  }
  // A new name goes after the last node of the deepest group it joins; the
  // keys of the groups it does not join are found too, for
  // IndexNoteInserted.
  uint32_t groupLast = whole != nullptr ? whole->lastId : 0;
  for (uint32_t k = last; k-- > 0;) {
    IndexSlot* slot = FindSlot(index, list, name, keys->length[k], keys->hash[k], &keys->free[k]);
    keys->slot[k] = slot;
    keys->missing += slot == nullptr ? 1 : 0;
    if (groupLast == 0 && slot != nullptr) groupLast = slot->lastId;
  }
  if (groupLast == 0) {
    *offset = list->StrucLen;  // no group to join: the end of the list
    return true;
  }
  uint32_t end;
  if (!NodeEnd(list, index.offsets[groupLast], &end)) return false;
  *offset = end;
  return true;
}

// Tells the index that a node of padded `length`, whose name starts
// `nameDelta` bytes into it, was inserted at `offset` (already written to
// the handle's list) for the name IndexLocate was asked about with `keys`.
[[gnu::always_inline]] inline void IndexNoteInserted(MsgHandle* handle, uint32_t offset,
                                                     uint32_t length, uint8_t nameDelta,
                                                     IndexKeys& keys) {
  PropertyIndex* index = IndexOf(handle);
  if (index == nullptr) return;
  // A full table is built again, bigger, when next needed.
  const uint32_t newKeys = keys.missing;
  if (index->idCount + 1 >= index->idCapacity ||
      2 * (index->slotsUsed + newKeys) > index->slotCount) {
    return FreeIndex(handle);
  }
  const ZRFPROPS* list = handle->pProps;
  // Nothing follows a node put at the end.
  if (offset + length < list->StrucLen) MoveOffsets(*index, offset, length);
  const uint32_t id = ++index->idCount;
  index->offsets[id] = offset;
  index->nameDelta[id] = nameDelta;
  RecordKeys(*index, list, id, ListBytes(list) + offset + nameDelta, keys);
  ++handle->Work.ChangeCount;
  Follow(index, handle);
}

}  // namespace index_detail

using index_detail::IndexFind;
using index_detail::IndexLocate;
using index_detail::IndexNoteInserted;

}  // namespace zxv::props
