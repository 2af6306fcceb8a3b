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
#include "props/message_handle_index.h"
#include "props/name_parts.h"
#include "props/property_store.h"
#include "zxvxcs2/xcs_memory.h"

namespace zxv::props {

using namespace index_detail;

namespace {

uint64_t NextPowerOfTwo(uint64_t n) {
  uint64_t p = 1;
  while (p < n) p <<= 1;
  return p;
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
  index->express.change = PropertyIndex::ExpressStamp::kNoChange;
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
