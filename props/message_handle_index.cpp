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
#include <algorithm>
#include <cstring>

#include "props/message_handle.h"
#include "props/name_parts.h"
#include "props/property_store.h"
#include "zxvxcs2/xcs_memory.h"

namespace zxv::props {

struct IndexSlot {
  uint32_t hash;
  uint32_t keyLength;  // bytes of the key: a whole name or its leading parts
  uint32_t exactId;    // node whose name is the key; 0 none
  uint32_t lastId;     // last node whose leading parts are the key; 0 none
};

struct PropertyIndex {
  // What the index describes.
  const ZRFPROPS* list;
  uint32_t strucLen;
  uint32_t propsLen;
  uint64_t change;
  // The name family the index was built for (a one-byte full stop, or none).
  uint8_t ccsidType;
  uint8_t stop;
  bool hasStop;
  // Capacity and use.
  uint32_t slotCount;  // a power of two
  uint32_t slotsUsed;
  uint32_t idCapacity;  // a multiple of kIdBlock
  uint32_t idCount;     // ids 1..idCount are in use
  IndexSlot* slots;
  uint32_t* offsets;   // node offset by id; offsets[0] unused, unused ids 0
  uint8_t* nameDelta;  // where the node's name starts, from the node, by id
  // The encoding family of names in one CCSID, as NameFamilyOf gives it.
  int32_t familyCcsid;
  uint8_t family;
};

namespace {

constexpr uint32_t kMinSlots = 64;
constexpr uint32_t kMinIds = 32;
// Offsets move in blocks of this many ids, a loop the compiler turns into
// vector instructions.
constexpr uint32_t kIdBlock = 8;

constexpr uint64_t kHashSeed = 0x9E3779B97F4A7C15ull;
constexpr uint64_t kHashMultiplier = 0xFF51AFD7ED558CCDull;

// A hash of `n` bytes, eight at a time; the last 1 to 7 bytes are read in
// overlapping pieces so that no read leaves the key.
inline uint32_t HashKey(const uint8_t* p, uint32_t n) {
  uint64_t h = kHashSeed ^ n;
  while (n >= 8) {
    uint64_t w;
    std::memcpy(&w, p, 8);
    h = (h ^ w) * kHashMultiplier;
    h ^= h >> 32;
    p += 8;
    n -= 8;
  }
  if (n != 0) {
    uint64_t w;
    if (n >= 4) {
      uint32_t first;
      uint32_t last;
      std::memcpy(&first, p, 4);
      std::memcpy(&last, p + n - 4, 4);
      w = first | (uint64_t{last} << 32);
    } else {
      w = p[0] | (uint64_t{p[n / 2]} << 8) | (uint64_t{p[n - 1]} << 16);
    }
    h = (h ^ w) * kHashMultiplier;
    h ^= h >> 29;
  }
  return static_cast<uint32_t>(h);
}

inline uint32_t FirstSlot(const PropertyIndex& index, uint32_t hash) {
  return (hash ^ (hash >> 16)) & (index.slotCount - 1);
}

PropertyIndex* IndexOf(const MsgHandle* handle) {
  return static_cast<PropertyIndex*>(handle->Work.pIndex);
}

uint64_t NextPowerOfTwo(uint64_t n) {
  uint64_t p = 1;
  while (p < n) p <<= 1;
  return p;
}

// The name of the node at `offset`, when a whole node with a known layout
// lies there inside the list.
bool NameAt(const ZRFPROPS* list, uint32_t offset, const uint8_t** name, uint32_t* length) {
  if (offset < kHeaderLength || offset >= list->StrucLen) return false;
  NodeView node;
  if (!DecodeNode(ListBytes(list) + offset, list->StrucLen - offset, &node)) return false;
  *name = node.name;
  *length = node.name_length;
  return true;
}

// True when the key of `slot` (the start of one of its nodes' names) is
// `key`.
bool SlotHoldsKey(const PropertyIndex& index, const ZRFPROPS* list, const IndexSlot& slot,
                  const uint8_t* key, uint32_t keyLength) {
  const uint32_t id = slot.exactId != 0 ? slot.exactId : slot.lastId;
  const uint64_t at = uint64_t{index.offsets[id]} + index.nameDelta[id];
  if (at + keyLength > list->StrucLen) return false;
  return SameName(ListBytes(list) + at, key, keyLength);
}

// The slot of a key, or null.
IndexSlot* FindSlot(const PropertyIndex& index, const ZRFPROPS* list, const uint8_t* key,
                    uint32_t keyLength, uint32_t hash) {
  const uint32_t mask = index.slotCount - 1;
  for (uint32_t i = FirstSlot(index, hash);; i = (i + 1) & mask) {
    IndexSlot& slot = index.slots[i];
    if (slot.exactId == 0 && slot.lastId == 0) return nullptr;  // empty: not there
    if (slot.hash == hash && slot.keyLength == keyLength &&
        SlotHoldsKey(index, list, slot, key, keyLength)) {
      return &slot;
    }
  }
}

// The slot of a key, made when missing (the caller keeps the table at most
// half full). Keys compare by bytes of `name`, which is the node's own.
IndexSlot* SlotForKey(PropertyIndex& index, const ZRFPROPS* list, const uint8_t* key,
                      uint32_t keyLength, uint32_t hash) {
  const uint32_t mask = index.slotCount - 1;
  for (uint32_t i = FirstSlot(index, hash);; i = (i + 1) & mask) {
    IndexSlot& slot = index.slots[i];
    if (slot.exactId == 0 && slot.lastId == 0) {
      slot.hash = hash;
      slot.keyLength = keyLength;
      ++index.slotsUsed;
      return &slot;
    }
    if (slot.hash == hash && slot.keyLength == keyLength &&
        SlotHoldsKey(index, list, slot, key, keyLength)) {
      return &slot;
    }
  }
}

// The keys of a name: the end of each run of leading parts, then the whole
// name, with their hashes. False for a name of more parts than IndexKeys
// holds.
bool ComputeKeys(const PropertyIndex& index, const uint8_t* name, uint32_t length,
                 IndexKeys* keys) {
  uint32_t count = 0;
  if (index.hasStop) {
    // Names are short: a plain loop beats a call per full stop.
    for (uint32_t at = 0; at < length; ++at) {
      if (name[at] != index.stop) continue;
      if (count == IndexKeys::kMax - 1) return false;
      keys->length[count] = at;
      keys->hash[count] = HashKey(name, at);
      keys->slot[count] = nullptr;
      ++count;
    }
  }
  keys->length[count] = length;
  keys->hash[count] = HashKey(name, length);
  keys->slot[count] = nullptr;
  keys->count = count + 1;
  return true;
}

// Records node `id` under its name and under each run of its leading parts,
// using the slots already found in `keys`. Nodes are recorded in list order,
// or after the offsets are up to date, so that the last member of a group
// is the one at the highest offset.
void RecordKeys(PropertyIndex& index, const ZRFPROPS* list, uint32_t id, const uint8_t* name,
                const IndexKeys& keys) {
  const uint32_t offset = index.offsets[id];
  IndexSlot* slot = nullptr;
  for (uint32_t k = 0; k < keys.count; ++k) {
    slot = keys.slot[k];
    if (slot == nullptr) slot = SlotForKey(index, list, name, keys.length[k], keys.hash[k]);
    // A slot made just now names its key through this node.
    if (slot->lastId == 0 || index.offsets[slot->lastId] <= offset) slot->lastId = id;
  }
  slot->exactId = id;  // the whole name's, last
}

// Number of full stops in a name, to size the table.
uint32_t StopsIn(const uint8_t* name, uint32_t length, const PropertyIndex& shape) {
  if (!shape.hasStop) return 0;
  uint32_t stops = 0;
  for (uint32_t i = 0; i < length; ++i) stops += name[i] == shape.stop ? 1u : 0u;
  return stops;
}

// The family's full stop when it is one byte (or there is none): the
// families the index serves.
bool ShapeFor(const ZRFPROPS* list, PropertyIndex* shape) {
  if (CharUnitOf(list->CCSIDType) != 1) return false;
  const FamilyChar stop = FullStopOf(list->CCSIDType);
  shape->ccsidType = list->CCSIDType;
  shape->hasStop = stop.length == 1;
  shape->stop = stop.length == 1 ? stop.bytes[0] : 0;
  return true;
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

// Builds the index of the handle's list into a block that fits it, reusing
// the old block when it is big enough. Null when the list cannot be indexed
// or there is no storage for it (callers then walk the list).
PropertyIndex* Build(MsgHandle* handle) {
  const ZRFPAL pal = ListOf(handle);
  if (pal.pProps == nullptr || !HeaderUsable(&pal)) return nullptr;
  const ZRFPROPS* list = pal.pProps;
  PropertyIndex shape{};
  if (!ShapeFor(list, &shape)) return nullptr;

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
  const uint64_t bytes = sizeof(PropertyIndex) + slotCount * sizeof(IndexSlot) +
                         idCapacity * (sizeof(uint32_t) + sizeof(uint8_t));
  if (slotCount > UINT32_MAX / 2 || bytes > kMaxListSize) return nullptr;

  PropertyIndex* index = IndexOf(handle);
  if (index == nullptr || index->slotCount < slotCount || index->idCapacity < idCapacity) {
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
    handle->Work.pIndex = index;
  }
  std::memset(index->slots, 0, index->slotCount * sizeof(IndexSlot));
  std::memset(index->offsets, 0, index->idCapacity * sizeof(uint32_t));
  index->slotsUsed = 0;
  index->idCount = 0;
  index->ccsidType = shape.ccsidType;
  index->hasStop = shape.hasStop;
  index->stop = shape.stop;
  index->familyCcsid = 0;
  index->family = 0;
  bool complete = true;
  ForEachNode(list, [&](const NodeView& node) {
    const uint32_t id = ++index->idCount;
    index->offsets[id] = static_cast<uint32_t>(node.node - ListBytes(list));
    index->nameDelta[id] = static_cast<uint8_t>(node.name - node.node);
    IndexKeys nodeKeys;
    complete = ComputeKeys(*index, node.name, node.name_length, &nodeKeys);
    if (complete) RecordKeys(*index, list, id, node.name, nodeKeys);
    return complete;
  });
  if (!complete) {
    FreeIndex(handle);
    return nullptr;
  }
  index->list = list;
  index->strucLen = list->StrucLen;
  index->propsLen = list->PropsLen;
  index->change = handle->Work.ChangeCount;
  return index;
}

bool Describes(const PropertyIndex* index, const MsgHandle* handle) {
  const ZRFPROPS* list = handle->pProps;
  return index != nullptr && list != nullptr && index->change == handle->Work.ChangeCount &&
         index->list == list && index->strucLen == list->StrucLen &&
         index->propsLen == list->PropsLen && index->ccsidType == list->CCSIDType;
}

// Brings the index's record of the list up to date after a change that the
// index followed.
void Follow(PropertyIndex* index, MsgHandle* handle) {
  ++handle->Work.ChangeCount;
  index->list = handle->pProps;
  index->strucLen = handle->pProps->StrucLen;
  index->propsLen = handle->pProps->PropsLen;
  index->change = handle->Work.ChangeCount;
}

}  // namespace

PropertyIndex* CurrentIndex(MsgHandle* handle) {
  PropertyIndex* index = IndexOf(handle);
  if (Describes(index, handle)) return index;
  return Build(handle);
}

uint8_t IndexNameFamily(PropertyIndex& index, int32_t nameCcsid, const ZRFPAL* pal) {
  if (nameCcsid == 0) return NameFamilyOf(nameCcsid, pal);
  if (index.familyCcsid != nameCcsid) {
    index.family = NameFamilyOf(nameCcsid, pal);  // depends on the CCSID only
    index.familyCcsid = nameCcsid;
  }
  return index.family;
}

bool IndexFind(const PropertyIndex& index, const ZRFPROPS* list, const uint8_t* name,
               uint32_t length, uint32_t* offset) {
  const IndexSlot* slot = FindSlot(index, list, name, length, HashKey(name, length));
  if (slot == nullptr || slot->exactId == 0) return false;
  // The slot's node begins with the name; it must be no longer.
  const uint8_t* found;
  uint32_t foundLength;
  const uint32_t at = index.offsets[slot->exactId];
  if (!NameAt(list, at, &found, &foundLength) || foundLength != length) return false;
  *offset = at;
  return true;
}

bool IndexLocate(const PropertyIndex& index, const ZRFPROPS* list, const uint8_t* name,
                 uint32_t length, IndexKeys* keys, bool* found, uint32_t* offset) {
  if (!ComputeKeys(index, name, length, keys)) return false;  // the walk will tell
  for (uint32_t k = 0; k < keys->count; ++k) {
    keys->slot[k] = FindSlot(index, list, name, keys->length[k], keys->hash[k]);
  }
  *found = false;
  const IndexSlot* whole = keys->slot[keys->count - 1];
  if (whole != nullptr && whole->exactId != 0) {
    const uint8_t* existing;
    uint32_t existingLength;
    const uint32_t at = index.offsets[whole->exactId];
    if (!NameAt(list, at, &existing, &existingLength)) return false;
    if (existingLength == length) {
      *found = true;
      *offset = at;
      return true;
    }
  }
  // A new name goes after the last node of the deepest group it joins.
  for (uint32_t k = keys->count; k-- > 0;) {
    const IndexSlot* slot = keys->slot[k];
    if (slot == nullptr || slot->lastId == 0) continue;
    const uint32_t at = index.offsets[slot->lastId];
    NodeView node;
    if (at < kHeaderLength || at >= list->StrucLen ||
        !DecodeNode(ListBytes(list) + at, list->StrucLen - at, &node)) {
      return false;
    }
    *offset = at + node.length;
    return true;
  }
  *offset = list->StrucLen;  // no group to join: the end of the list
  return true;
}

void IndexNoteInserted(MsgHandle* handle, uint32_t offset, uint32_t length, const IndexKeys& keys) {
  PropertyIndex* index = IndexOf(handle);
  const ZRFPROPS* list = handle->pProps;
  NodeView node;
  if (index == nullptr || offset >= list->StrucLen ||
      !DecodeNode(ListBytes(list) + offset, list->StrucLen - offset, &node)) {
    return FreeIndex(handle);
  }
  // A full table is built again, bigger, when next needed.
  uint32_t newKeys = 0;
  for (uint32_t k = 0; k < keys.count; ++k) newKeys += keys.slot[k] == nullptr ? 1u : 0u;
  if (index->idCount + 1 >= index->idCapacity ||
      2 * (index->slotsUsed + newKeys) > index->slotCount) {
    return FreeIndex(handle);
  }
  MoveOffsets(*index, offset, length);
  const uint32_t id = ++index->idCount;
  index->offsets[id] = offset;
  index->nameDelta[id] = static_cast<uint8_t>(node.name - node.node);
  RecordKeys(*index, list, id, node.name, keys);
  Follow(index, handle);
}

void IndexNoteResized(MsgHandle* handle, uint32_t offset, int32_t delta) {
  PropertyIndex* index = IndexOf(handle);
  if (index == nullptr) return;
  // The node itself stays where it is, its name where its new layout puts
  // it; the nodes after it move.
  NodeView node;
  const ZRFPROPS* list = handle->pProps;
  if (offset >= list->StrucLen ||
      !DecodeNode(ListBytes(list) + offset, list->StrucLen - offset, &node)) {
    return FreeIndex(handle);
  }
  for (uint32_t id = 1; id <= index->idCount; ++id) {
    if (index->offsets[id] == offset)
      index->nameDelta[id] = static_cast<uint8_t>(node.name - node.node);
  }
  if (delta != 0) MoveOffsets(*index, offset + 1, static_cast<uint32_t>(delta));
  Follow(index, handle);
}

void FreeIndex(MsgHandle* handle) {
  xcsFreeMemFn(handle->Work.pIndex);
  handle->Work.pIndex = nullptr;
}

}  // namespace zxv::props
