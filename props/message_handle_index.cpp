// The index of a handle's property list: a hash table from names, and from
// the leading parts of names, to nodes, kept beside the list in the
// handle's work area. It answers in constant time what the store finds by
// walking the list: the node of a name, and the place where a new name goes
// (after the last node that shares the most leading parts with it, see
// "Order of the nodes" in properties.h).
//
// The index is a cache. It describes the list as it was at a change count
// of the handle, and is rebuilt by one walk when the list has changed in a
// way it did not follow. Every node it names is checked against the list
// before use, so a stale index never reads outside the list.
//
// Layout: one block from the platform allocator holding the header, the
// slots (open addressing, linear probing) and the table of node offsets.
// Slots name nodes by id, and ids map to offsets: moving the later nodes on
// an insert changes the offset table only, a tight loop over 4-byte words.
// A slot is in use when it carries the index's epoch, so that emptying the
// index (a reset handle, a rebuild) is one increment, not a clear of the
// whole table.
#include <algorithm>
#include <cstring>

#include "props/byte_words.h"
#include "props/message_handle.h"
#include "props/name_parts.h"
#include "props/property_store.h"
#include "zxvxcs2/xcs_memory.h"

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

namespace {

constexpr uint32_t kMinSlots = 64;
constexpr uint32_t kMinIds = 32;
// Offsets move in blocks of this many ids, a loop the compiler turns into
// vector instructions.
constexpr uint32_t kIdBlock = 8;

constexpr uint64_t kHashSeed = 0x9E3779B97F4A7C15ull;
constexpr uint64_t kHashMultiplier = 0xFF51AFD7ED558CCDull;
constexpr uint64_t kOnes = 0x0101010101010101ull;
constexpr uint64_t kLow7 = 0x7F7F7F7F7F7F7F7Full;

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

PropertyIndex* IndexOf(const MsgHandle* handle) {
  return static_cast<PropertyIndex*>(handle->Work.pIndex);
}

uint64_t NextPowerOfTwo(uint64_t n) {
  uint64_t p = 1;
  while (p < n) p <<= 1;
  return p;
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

// True when the key of `slot` (the start of one of its nodes' names) is
// `key`.
[[gnu::always_inline]] inline bool SlotHoldsKey(const PropertyIndex& index, const ZRFPROPS* list,
                                                const IndexSlot& slot, const uint8_t* key,
                                                uint32_t keyLength) {
  const uint32_t id = slot.exactId != 0 ? slot.exactId : slot.lastId;
  const uint64_t at = uint64_t{index.offsets[id]} + index.nameDelta[id];
  if (at + keyLength > list->StrucLen) return false;
  return SameName(ListBytes(list) + at, key, keyLength);
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

// The family's full stop when it is one byte (or there is none): the
// families the index serves.
bool ShapeFor(uint8_t ccsidType, PropertyIndex* shape) {
  if (CharUnitOf(ccsidType) != 1) return false;
  const FamilyChar stop = FullStopOf(ccsidType);
  shape->ccsidType = ccsidType;
  shape->hasStop = stop.length == 1;
  shape->stop = stop.length == 1 ? stop.bytes[0] : 0;
  const FamilyChar percent = PercentSignOf(ccsidType);
  shape->hasPercent = percent.length == 1;
  shape->percent = percent.length == 1 ? percent.bytes[0] : 0;
  return true;
}

// Number of full stops in a name, to size the table.
uint32_t StopsIn(const uint8_t* name, uint32_t length, const PropertyIndex& shape) {
  if (!shape.hasStop) return 0;
  uint32_t stops = 0;
  for (uint32_t i = 0; i < length; ++i) stops += name[i] == shape.stop ? 1u : 0u;
  return stops;
}

// Adds `delta` to the offset of every node at or after `from`. Offsets of
// unused ids are 0 and stay so; the loop runs over whole blocks.
void MoveOffsets(PropertyIndex& index, uint32_t from, uint32_t delta) {
  uint32_t* offsets = index.offsets;
  const uint32_t blocks = (index.idCount + kIdBlock) / kIdBlock;
  for (uint32_t b = 0; b < blocks; ++b) {
    uint32_t* block = offsets + b * kIdBlock;
    for (uint32_t i = 0; i < kIdBlock; ++i) {
      block[i] += block[i] >= from ? delta : 0u;
    }
  }
}

// Empties the index (shape from `shape`) in its present block.
void Empty(PropertyIndex* index, const PropertyIndex& shape) {
  // Ids in use (and the rest of their block, which MoveOffsets reads).
  const uint32_t usedIds =
      std::min(index->idCapacity, (index->idCount + kIdBlock) / kIdBlock * kIdBlock);
  std::memset(index->offsets, 0, usedIds * sizeof(uint32_t));
  if (++index->epoch == 0) {  // wrapped: clear the slots for real once
    std::memset(index->slots, 0, index->slotCount * sizeof(IndexSlot));
    index->epoch = 1;
  }
  index->slotsUsed = 0;
  index->idCount = 0;
  index->ccsidType = shape.ccsidType;
  index->hasStop = shape.hasStop;
  index->stop = shape.stop;
  index->hasPercent = shape.hasPercent;
  index->percent = shape.percent;
  index->familyCcsid = 0;
  index->family = 0;
}

// An empty index of at least the given capacities: the handle's block when
// it is big enough, else a new one. Null without storage.
PropertyIndex* EmptyBlock(MsgHandle* handle, const PropertyIndex& shape, uint64_t slotCount,
                          uint64_t idCapacity) {
  PropertyIndex* index = IndexOf(handle);
  if (index != nullptr && index->slotCount >= slotCount && index->idCapacity >= idCapacity) {
    Empty(index, shape);
    return index;
  }
  const uint64_t bytes = sizeof(PropertyIndex) + slotCount * sizeof(IndexSlot) +
                         idCapacity * (sizeof(uint32_t) + sizeof(uint8_t));
  if (slotCount > UINT32_MAX / 2 || bytes > kMaxListSize) return nullptr;
  FreeIndex(handle);
  void* block = nullptr;
  if (xcsGetMemFn(bytes, &block) != xcsRC_OK) return nullptr;
  index = static_cast<PropertyIndex*>(block);
  uint8_t* at = static_cast<uint8_t*>(block) + sizeof(PropertyIndex);
  index->slotCount = static_cast<uint32_t>(slotCount);
  index->idCapacity = static_cast<uint32_t>(idCapacity);
  index->slots = reinterpret_cast<IndexSlot*>(at);
  at += slotCount * sizeof(IndexSlot);
  index->offsets = reinterpret_cast<uint32_t*>(at);
  at += idCapacity * sizeof(uint32_t);
  index->nameDelta = at;
  std::memset(index->slots, 0, index->slotCount * sizeof(IndexSlot));
  std::memset(index->offsets, 0, index->idCapacity * sizeof(uint32_t));
  index->epoch = 1;
  index->idCount = 0;
  Empty(index, shape);
  handle->Work.pIndex = index;
  return index;
}

// Records the list the index now describes.
void Follow(PropertyIndex* index, MsgHandle* handle) {
  index->list = handle->pProps;
  index->strucLen = handle->pProps->StrucLen;
  index->propsLen = handle->pProps->PropsLen;
  index->change = handle->Work.ChangeCount;
}

}  // namespace

PropertyIndex* BuildIndex(MsgHandle* handle) {
  const ZRFPAL pal = ListOf(handle);
  if (pal.pProps == nullptr || !HeaderUsable(&pal)) return nullptr;
  const ZRFPROPS* list = pal.pProps;
  PropertyIndex shape{};
  if (!ShapeFor(list->CCSIDType, &shape)) return nullptr;

  uint64_t nodes = 0;
  uint64_t keys = 0;
  const bool walked = ForEachNode(list, [&](const NodeView& node) {
    ++nodes;
    keys += 1 + StopsIn(node.name, node.name_length, shape);
    return true;
  });
  if (!walked) return nullptr;

  // Room to grow before the next build: twice the present need.
  const uint64_t slotCount = NextPowerOfTwo(std::max<uint64_t>(kMinSlots, 4 * keys));
  const uint64_t idCapacity =
      (std::max<uint64_t>(kMinIds, 2 * nodes + 1) + kIdBlock - 1) / kIdBlock * kIdBlock;
  PropertyIndex* index = EmptyBlock(handle, shape, slotCount, idCapacity);
  if (index == nullptr) return nullptr;
  bool complete = true;
  ForEachNode(list, [&](const NodeView& node) {
    const uint32_t id = ++index->idCount;
    index->offsets[id] = static_cast<uint32_t>(node.node - ListBytes(list));
    index->nameDelta[id] = static_cast<uint8_t>(node.name - node.node);
    IndexKeys nodeKeys;
    complete = ComputeKeys(*index, node.name, node.name_length, &nodeKeys);
    if (complete) {
      for (uint32_t k = 0; k < nodeKeys.count; ++k) {
        nodeKeys.slot[k] = FindSlot(*index, list, node.name, nodeKeys.length[k], nodeKeys.hash[k],
                                    &nodeKeys.free[k]);
      }
      RecordKeys(*index, list, id, node.name, nodeKeys);
    }
    return complete;
  });
  if (!complete) {
    FreeIndex(handle);
    return nullptr;
  }
  Follow(index, handle);
  return index;
}

PropertyIndex* EmptyIndexFor(MsgHandle* handle, uint8_t ccsidType) {
  PropertyIndex shape{};
  if (!ShapeFor(ccsidType, &shape)) return nullptr;
  PropertyIndex* index = EmptyBlock(handle, shape, kMinSlots, kMinIds);
  if (index != nullptr) Follow(index, handle);
  return index;
}

PropertyIndex* EmptyIndexInPlace(MsgHandle* handle, uint8_t ccsidType) {
  PropertyIndex* index = IndexOf(handle);
  if (index == nullptr || index->slotCount < kMinSlots || index->idCapacity < kMinIds) {
    return nullptr;
  }
  return EmptyIndexFor(handle, ccsidType);
}

uint8_t IndexNameFamilyOf(PropertyIndex& index, int32_t nameCcsid, const ZRFPAL* pal) {
  index.family = NameFamilyOf(nameCcsid, pal);  // depends on the CCSID only
  index.familyCcsid = nameCcsid;
  return index.family;
}

bool IndexFind(const PropertyIndex& index, const ZRFPROPS* list, const uint8_t* name,
               uint32_t length, NodeView* node) {
  // A key has one slot at most, so the first node of this exact name is
  // the answer, and a free slot ends the search.
  const uint32_t hash = HashKey(name, length);
  const uint32_t mask = index.slotCount - 1;
  for (uint32_t i = FirstSlot(index, hash);; i = (i + 1) & mask) {
    const IndexSlot& slot = index.slots[i];
    if (!SlotInUse(index, slot)) return false;
    if (slot.hash == hash && slot.keyLength == length && slot.exactId != 0 &&
        NodeAt(list, index.offsets[slot.exactId], node) && node->name_length == length &&
        SameName(node->name, name, length)) {
      return true;
    }
  }
}

bool IndexLocate(const PropertyIndex& index, const ZRFPROPS* list, const uint8_t* name,
                 uint32_t length, IndexKeys* keys, bool* found, uint32_t* offset,
                 NodeView* existing) {
  if (!ComputeKeys(index, name, length, keys)) return false;  // the walk will tell
  const uint32_t last = keys->count - 1;
  *found = false;
  IndexSlot* whole =
      FindSlot(index, list, name, keys->length[last], keys->hash[last], &keys->free[last]);
  keys->slot[last] = whole;
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

void IndexNoteInserted(MsgHandle* handle, uint32_t offset, uint32_t length, uint8_t nameDelta,
                       IndexKeys& keys) {
  PropertyIndex* index = IndexOf(handle);
  if (index == nullptr) return;
  // A full table is built again, bigger, when next needed.
  uint32_t newKeys = 0;
  for (uint32_t k = 0; k < keys.count; ++k) newKeys += keys.slot[k] == nullptr ? 1u : 0u;
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

void IndexNoteReplaced(MsgHandle* handle, const IndexKeys& keys, uint32_t offset, int32_t delta,
                       uint8_t nameDelta) {
  PropertyIndex* index = IndexOf(handle);
  if (index == nullptr) return;
  // The node itself stays where it is, its name where its new layout puts
  // it; the nodes after it move.
  index->nameDelta[keys.foundId] = nameDelta;
  if (delta != 0) MoveOffsets(*index, offset + 1, static_cast<uint32_t>(delta));
  ++handle->Work.ChangeCount;
  Follow(index, handle);
}

void FreeIndex(MsgHandle* handle) {
  xcsFreeMemFn(handle->Work.pIndex);
  handle->Work.pIndex = nullptr;
}

}  // namespace zxv::props
