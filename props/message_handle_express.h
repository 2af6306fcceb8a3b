// The express paths of set and inquire: the whole call, from the exported
// function's lock to its release, for the case that nearly every call is: a
// handle of a connection (no mutex) that the calling thread may lock, trace
// off, a name in the list's CCSID that is not a descriptor field, a value of
// a value type, an index that describes the list. Each path checks that it
// applies before it changes anything and returns false when it does not, so
// that the caller runs the general path from the start; once it has changed
// something it finishes the call with the general path's result.
//
// Included by the exported shells alone (message_handle_properties.cpp),
// so that each call's common case is one function from entry to return.
//
// The lock of a property call (type 0) is taken and given back within the
// call. On a handle that no thread holds, or that the calling thread holds,
// taking and giving back leave the owner fields as they were, so the express
// paths only check that the lock would be granted and write nothing.
#pragma once

#include <cstddef>
#include <cstring>

#include "props/byte_words.h"
#include "props/descriptor_fields.h"
#include "props/message_handle.h"
#include "props/message_handle_index.h"
#include "props/name_parts.h"
#include "props/property_names.h"
#include "props/property_store.h"
#include "zxvxcs2/xcs_ccsid.h"

namespace zxv::props {
namespace express_detail {

// The handle when the call's lock would be granted and given back with no
// trace and no change: a connection's handle without a mutex, free (count
// 0) or held by the calling thread (count neither 0 nor about to wrap).
[[gnu::always_inline]] inline MsgHandle* ExpressHandle(xihTHREAD* thread, KWHCONN hConn,
                                                       KWHMSG hMsg, MsgHandleAnchor* anchor) {
  if (IsUnassociated(hConn) || anchor == nullptr || hMsg == KWHM_NONE ||
      hMsg == KWHM_UNUSABLE_HMSG || VerifyHandle(hMsg, anchor) != KWRC_NONE) {
    return nullptr;
  }
  MsgHandle* handle = HandleOf(hMsg);
  if (handle->hMutex != nullptr) return nullptr;
  if (handle->OwningPid == 0 && handle->OwningTid == 0) {
    return handle->TidRecursionCount == 0 ? handle : nullptr;
  }
  const auto pid = static_cast<uint32_t>(xihCurrentProcessId());
  const uint32_t tid = (thread != nullptr ? thread : xihCurrentThread())->ThreadId;
  if (handle->OwningPid != pid || handle->OwningTid != tid) return nullptr;
  return handle->TidRecursionCount != 0 && handle->TidRecursionCount != UINT32_MAX ? handle
                                                                                   : nullptr;
}

// The name a KWCHARV gives with a length and a CCSID other than the
// application's; false for everything else (the general path resolves it).
[[gnu::always_inline]] inline bool ExpressName(const KWCHARV* v, PropertyName* out) {
  if (v == nullptr || v->VSPtr == nullptr || v->VSLength <= 0 || v->VSCCSID == KWCCSI_APPL) {
    return false;
  }
  out->data = static_cast<const uint8_t*>(v->VSPtr);
  out->length = static_cast<uint32_t>(v->VSLength);
  out->ccsid = v->VSCCSID;
  return true;
}

// The internal code of a value type (KWTYPE_NULL .. KWTYPE_STRING, each a
// power of two); ZRF_TYPE_AS_STORED for anything else.
inline uint32_t ExpressTypeOf(KWLONG type) {
  // By the bit that is set: 2 null, 4 boolean, 8 byte string, 16 int8, 32
  // int16, 64 int32, 128 int64, 256 float32, 512 float64, 1024 string.
  static constexpr uint8_t kByBit[11] = {ZRF_TYPE_AS_STORED,   ZRF_TYPE_NULL,  ZRF_TYPE_BOOLEAN,
                                         ZRF_TYPE_BYTE_STRING, ZRF_TYPE_INT8,  ZRF_TYPE_INT16,
                                         ZRF_TYPE_INT32,       ZRF_TYPE_INT64, ZRF_TYPE_FLOAT32,
                                         ZRF_TYPE_FLOAT64,     ZRF_TYPE_STRING};
  const auto t = static_cast<uint32_t>(type);
  if (t < KWTYPE_NULL || t > KWTYPE_STRING || (t & (t - 1)) != 0) return ZRF_TYPE_AS_STORED;
  return kByBit[__builtin_ctz(t)];
}

// The list when the express paths may work on it (see FastList in
// message_handle_fast_path.cpp, whose checks these are): usable, not
// verifying itself, taking a name of `nameCcsid` without conversion. An
// empty list without a CCSID takes the store's with its first node (*adopt).
[[gnu::always_inline]] inline ZRFPROPS* ExpressList(const MsgHandle* handle, int32_t nameCcsid,
                                                    int32_t* ccsid, uint8_t* ccsidType,
                                                    bool* adopt) {
  ZRFPROPS* list = handle->pProps;
  if (list == nullptr || handle->PropsSize < kHeaderLength ||
      std::memcmp(list->StrucId, ZRFP_STRUC_ID, sizeof list->StrucId) != 0 ||
      (list->VersionFlags & (ZRFP_VERSION_MASK | ZRFP_FLAG_VERIFY)) != ZRFP_VERSION_1 ||
      list->StrucLen < kHeaderLength || list->StrucLen > handle->PropsSize) {
    return nullptr;
  }
  *adopt = list->CCSID == 0;
  if (*adopt) {
    if (list->StrucLen != kHeaderLength) return nullptr;
    *ccsid = kStoreCcsid;
    *ccsidType = XCS_CCSID_TYPE_UTF8;
  } else {
    *ccsid = list->CCSID;
    *ccsidType = list->CCSIDType;
  }
  return NeedsConversion(nameCcsid, *ccsid) ? nullptr : list;
}

// The first characters of the names that live in the message descriptor.
class DescriptorInitials {
 public:
  DescriptorInitials() {
    for (NameId id = ZRF_NAME_FAMILY_KWMD * 100; id < (ZRF_NAME_FAMILY_PSC + 1) * 100; ++id) {
      if (FindDescriptorMapping(id) == nullptr) continue;
      if (const char* text = KnownNameText(id); text != nullptr) {
        initial_[static_cast<uint8_t>(text[0])] = true;
      }
    }
  }
  bool Has(uint8_t c) const { return initial_[c]; }

 private:
  bool initial_[256] = {};
};

// Built when the library is loaded, from constant tables: no guard on the
// path.
inline const DescriptorInitials kDescriptorInitials;

// True when the name may live in the descriptor: DescriptorMappingOf,
// answered at once for a name of an ASCII-based family whose first
// character begins no descriptor name.
[[gnu::always_inline]] inline bool MayBeDescriptorName(const PropertyName& name, uint8_t family) {
  if ((family == ZRF_CCSIDTYPE_ASCII || family == ZRF_CCSIDTYPE_UTF8) &&
      !kDescriptorInitials.Has(name.data[0])) {
    return false;
  }
  return DescriptorMappingOf(name.data, name.length, family) != nullptr;
}

// The external type of a value type's internal code (ExternalTypeOf).
inline KWLONG ExternalTypeOfValue(uint32_t code) {
  static constexpr KWLONG kExternal[ZRF_TYPE_NULL + 1] = {
      KWTYPE_STRING, KWTYPE_BOOLEAN, KWTYPE_BYTE_STRING, KWTYPE_INT8,    KWTYPE_INT16,
      KWTYPE_INT32,  KWTYPE_INT64,   KWTYPE_FLOAT32,     KWTYPE_FLOAT64, KWTYPE_NULL};
  return kExternal[code];
}

// WriteNodeAs for a value type (code 0..9), with the copies inline.
[[gnu::always_inline]] inline void WriteValueNode(uint8_t* at, const NodeSpec& spec,
                                                  const NodeLayout& layout, uint32_t paddedLength) {
  StoreU32(at + paddedLength - 4, 0);  // the padding, before the bytes over it
  StoreU32(at, spec.type_flags);
  StoreU32(at + 4, spec.support);
  uint8_t* value = at + layout.fixed_offset;
  switch (spec.type_flags & ZRF_TYPE_MASK) {
    case ZRF_TYPE_STRING:
    case ZRF_TYPE_BYTE_STRING:
      StoreU32(at + layout.length_offset, spec.value_length);
      break;
    case ZRF_TYPE_INT8:
      value[0] = spec.value[0];
      break;
    case ZRF_TYPE_INT16:
      std::memcpy(value, spec.value, 2);
      break;
    case ZRF_TYPE_BOOLEAN:  // stored as 0 or 1 whatever non-zero value it came as
      StoreU32(value, LoadU32(spec.value) != 0 ? 1u : 0u);
      break;
    case ZRF_TYPE_INT32:
    case ZRF_TYPE_FLOAT32:
      std::memcpy(value, spec.value, 4);
      break;
    case ZRF_TYPE_INT64:
    case ZRF_TYPE_FLOAT64:
      std::memcpy(value, spec.value, 8);
      break;
    default:  // null: no value
      break;
  }
  StoreU16(at + layout.name_length_offset, static_cast<uint16_t>(spec.name_length));
  at[layout.copy_offset] = spec.copy_options;
  uint8_t* cursor = at + layout.name_offset;
  CopyShort(cursor, spec.name, spec.name_length);
  if (layout.variable()) {
    cursor += spec.name_length;
    CopyShort(cursor, spec.value, spec.value_length);
    cursor[spec.value_length] = 0;
  }
}

// WriteValueNode as PlaceNode's writer, inline in both of the set's
// placements (a lambda's call stayed out of line in the second).
struct ValueNodeWriter {
  const NodeSpec& spec;
  const NodeLayout& layout;
  uint32_t paddedLength;
  [[gnu::always_inline]] void operator()(uint8_t* at) const {
    WriteValueNode(at, spec, layout, paddedLength);
  }
};

[[gnu::always_inline]] inline bool InsideList(const ZRFPROPS* list, uint32_t size, const void* p,
                                              uint32_t length) {
  if (p == nullptr || length == 0) return false;
  const uint8_t* begin = ListBytes(list);
  const auto* q = static_cast<const uint8_t*>(p);
  return q < begin + size && q + length > begin;
}

// The express record (PropertyIndex::express) says that the handle's list,
// as it was when recorded, passed ExpressList for names of one CCSID
// without taking a CCSID, that the index described it, and which family
// names of that CCSID are read in. It holds while the list's header bytes,
// its block and size, and the handle's change count are what they were:
// the record compares them all, so a change by any writer (the store, a
// header parser, a reset, a caller's hand) fails it without that writer
// knowing of it. The index follows the list only by raising the change
// count or by being emptied, which clears the record, so an index that
// held then describes the list still.
static_assert(sizeof(ZRFPROPS) == sizeof(PropertyIndex::ExpressStamp::header),
              "the record holds the whole header");

// The record's key of a list block of `size` bytes and names of `nameCcsid`.
inline uint64_t RecordKey(uint32_t size, int32_t nameCcsid) {
  return uint64_t{size} | uint64_t{static_cast<uint32_t>(nameCcsid)} << 32;
}

[[gnu::always_inline]] inline bool RecordHolds(const MsgHandle* handle, const PropertyIndex* index,
                                               int32_t nameCcsid) {
  if (index == nullptr) return false;
  const PropertyIndex::ExpressStamp& r = index->express;
  const ZRFPROPS* list = handle->pProps;
  // One test for the count, the block and the key; a record that exists
  // names a list, so the list is there when these agree.
  if (((r.change ^ handle->Work.ChangeCount) |
       (reinterpret_cast<uintptr_t>(r.list) ^ reinterpret_cast<uintptr_t>(list)) |
       (r.sizeCcsid ^ RecordKey(handle->PropsSize, nameCcsid))) != 0) {
    return false;
  }
  const auto* bytes = reinterpret_cast<const uint8_t*>(list);
  return ((Load64(bytes) ^ r.header[0]) | (Load64(bytes + 8) ^ r.header[1]) |
          (Load64(bytes + 16) ^ r.header[2])) == 0;
}

// Records the handle's list as it is now: it passed ExpressList for names
// of `nameCcsid` (not 0) with a CCSID of its own, and `index` describes it.
[[gnu::always_inline]] inline void RecordList(const MsgHandle* handle, PropertyIndex* index,
                                              int32_t nameCcsid, uint8_t family) {
  PropertyIndex::ExpressStamp& r = index->express;
  r.change = handle->Work.ChangeCount;
  r.list = handle->pProps;
  r.sizeCcsid = RecordKey(handle->PropsSize, nameCcsid);
  std::memcpy(r.header, handle->pProps, sizeof r.header);
  r.family = family;
}

// The record again after an express set on a list it held for: the set
// changed the list's lengths, perhaps its block, and the change count.
[[gnu::always_inline]] inline void RecordSet(const MsgHandle* handle, PropertyIndex* index,
                                             int32_t nameCcsid) {
  PropertyIndex::ExpressStamp& r = index->express;
  r.change = handle->Work.ChangeCount;
  r.list = handle->pProps;
  r.sizeCcsid = RecordKey(handle->PropsSize, nameCcsid);
  static_assert(offsetof(ZRFPROPS, StrucLen) == 8 && offsetof(ZRFPROPS, PropsLen) == 12,
                "the lengths are the header's second word");
  std::memcpy(&r.header[1], reinterpret_cast<const uint8_t*>(handle->pProps) + 8, 8);
}

enum class ValueLookup { kFound, kMissing, kOther };

// A value type's node (codes 0..8) as FindValueNode reads it: the layout's
// offsets, with a variable value's length and place taken by masks rather
// than by branches on the type, which changes from call to call. A fixed
// value's size is `fixed_size`; a variable one's is the word at offset 8
// (kValueLengthAt), and it follows the name with a terminating 0.
struct ValueNodeShape {
  uint8_t name_offset;
  uint8_t name_length_offset;
  uint8_t copy_offset;
  uint8_t fixed_offset;  // 0 for a variable value
  uint32_t fixed_size;   // 0 for a variable value
  int32_t variable;      // -1 (all ones) for a variable value, else 0
};

inline constexpr uint32_t kValueLengthAt = 8;

inline constexpr auto kValueNodeShapes = [] {
  struct Shapes {
    ValueNodeShape of[ZRF_TYPE_NULL];
  } shapes{};
  for (uint32_t code = 0; code < ZRF_TYPE_NULL; ++code) {
    const NodeLayout& l = kNodeLayouts[code];
    const bool variable = l.length_offset != NodeLayout::kNone;
    shapes.of[code] = {l.name_offset,
                       l.name_length_offset,
                       l.copy_offset,
                       variable ? uint8_t{0} : l.fixed_offset,
                       variable ? 0u : l.fixed_size,
                       variable ? -1 : 0};
  }
  return shapes;
}();

// The length word is where the variable layouts keep it, and inside every
// value type's fixed part, so that reading it is safe for any of them.
static_assert([] {
  for (uint32_t code = 0; code < ZRF_TYPE_NULL; ++code) {
    const NodeLayout& l = kNodeLayouts[code];
    if (l.length_offset != NodeLayout::kNone && l.length_offset != kValueLengthAt) return false;
    if (l.name_offset < kValueLengthAt + 4) return false;
  }
  return true;
}());

// IndexFind for a node of a value type (0..8) as stored in binary: kFound
// with the node in *node, kMissing when the list has no node of the name,
// kOther for any node the lean reading below does not take (another type,
// string form, a node that does not decode), which the general path reads.
[[gnu::always_inline]] inline ValueLookup FindValueNode(const PropertyIndex& index,
                                                        const ZRFPROPS* list,
                                                        const PropertyName& name, NodeView* node) {
  using namespace index_detail;
  const uint32_t hash = HashKey(name.data, name.length);
  const uint32_t mask = index.slotCount - 1;
  const uint8_t* bytes = ListBytes(list);
  const uint32_t end = list->StrucLen;
  for (uint32_t i = FirstSlot(index, hash);; i = (i + 1) & mask) {
    const IndexSlot& slot = index.slots[i];
    if (!SlotInUse(index, slot)) return ValueLookup::kMissing;
    if (slot.hash != hash || slot.keyLength != name.length || slot.exactId == 0) continue;
    const uint32_t offset = index.offsets[slot.exactId];
    if (offset < kHeaderLength || offset >= end || end - offset < 4) return ValueLookup::kOther;
    const uint8_t* at = bytes + offset;
    const uint32_t available = end - offset;
    const uint32_t typeFlags = LoadU32(at);
    const uint32_t code = typeFlags & ZRF_TYPE_MASK;
    if (code >= ZRF_TYPE_NULL || (typeFlags & ZRF_FLAG_STRING_FORM) != 0) {
      return ValueLookup::kOther;
    }
    const ValueNodeShape& shape = kValueNodeShapes.of[code];
    // The name follows the value length of the variable layouts.
    if (available < shape.name_offset) return ValueLookup::kOther;
    const uint32_t nameLength = LoadU16(at + shape.name_length_offset);
    const auto variable32 = static_cast<uint32_t>(shape.variable);
    const auto variable64 = static_cast<uint64_t>(int64_t{shape.variable});
    const uint32_t valueLength = (LoadU32(at + kValueLengthAt) & variable32) | shape.fixed_size;
    const uint32_t nameEnd = shape.name_offset + nameLength;
    // A variable value and its terminating 0 follow the name.
    const uint64_t raw = nameEnd + ((uint64_t{valueLength} + 1) & variable64);
    if (PadToNodeAlignment(raw) > available) return ValueLookup::kOther;
    const uint8_t* nodeName = at + shape.name_offset;
    if (nameLength != name.length || !KeyEquals(nodeName, name.data, name.length)) continue;
    node->node = at;
    node->type_flags = typeFlags;
    node->support = LoadU32(at + 4);
    node->copy_options = at[shape.copy_offset];
    node->name = nodeName;
    node->name_length = nameLength;
    node->value = at + ((nameEnd & variable32) | shape.fixed_offset);
    node->value_length = valueLength;
    return ValueLookup::kFound;
  }
}

}  // namespace express_detail

// The whole of zstSetMessageProperty for its common case, to be called
// while trace is off: false, having changed nothing, when the call is not
// that case (the caller then runs the general path); true with the call's
// reason otherwise.
[[gnu::always_inline]] inline bool SetPropertyExpress(xihTHREAD* thread, KWHCONN hConn, KWHMSG hMsg,
                                                      const KWCHARV* pName, const KWPD* pd,
                                                      KWLONG type, KWLONG valueLength,
                                                      const void* value, MsgHandleAnchor* anchor,
                                                      KWLONG* reason) {
  using namespace express_detail;
  MsgHandle* handle = ExpressHandle(thread, hConn, hMsg, anchor);
  if (handle == nullptr) return false;

  // The property descriptor as SetOnHandle takes it.
  KWLONG support = KWPD_SUPPORT_OPTIONAL;
  KWLONG context = KWPD_NO_CONTEXT;
  KWLONG copyOptions = KWCOPY_DEFAULT;
  if (pd != nullptr) {
    support = handle->ValidationOff ? KWPD_SUPPORT_OPTIONAL : pd->Support;
    context = pd->Context;
    copyOptions = pd->CopyOptions;
  }
  if ((context & ~KWPD_USER_CONTEXT) != 0 || (copyOptions & ~KWCOPY_VALID_MASK) != 0) return false;
  PropertyName name;
  if (!ExpressName(pName, &name) || valueLength < 0) return false;
  const uint32_t code = ExpressTypeOf(type);
  if (code > ZRF_TYPE_NULL) return false;

  int32_t listCcsid;
  uint8_t listType;
  bool adopt = false;
  uint8_t family;
  ZRFPROPS* list;
  PropertyIndex* index = index_detail::IndexOf(handle);
  const bool recorded = RecordHolds(handle, index, name.ccsid);
  if (recorded) {
    list = handle->pProps;
    listCcsid = list->CCSID;
    listType = list->CCSIDType;
    family = index->express.family;
  } else {
    list = ExpressList(handle, name.ccsid, &listCcsid, &listType, &adopt);
    if (list == nullptr) return false;
    // An index that needs no storage: the store's path builds or grows it.
    if (adopt) {
      index = EmptyIndexInPlace(handle, listType);
    } else if (!IndexDescribes(index, handle)) {
      return false;
    }
    if (index == nullptr) return false;
    const ZRFPAL pal = ListOf(handle);
    family = IndexNameFamily(*index, name.ccsid, &pal);
  }
  const ZRFPAL pal = ListOf(handle);

  // The store's order: the name, then where the value goes, then the value.
  if (!handle->ValidationOff) {
    NameId id = ZRF_NAME_NONE;
    const int32_t ccsid = name.ccsid != 0 ? name.ccsid : listCcsid;
    *reason = ValidatePropertyName(name.data, static_cast<KWLONG>(name.length), ccsid, family, &id);
    if (*reason != KWRC_NONE) return true;
  }
  if (MayBeDescriptorName(name, family)) return false;

  NodeSpec spec;
  spec.type_flags = code;
  spec.name = name.data;
  spec.name_length = name.length;
  const NodeLayout& layout = kNodeLayouts[code];
  if (code != ZRF_TYPE_NULL) {  // a null carries no value whatever length came with it
    spec.value = static_cast<const uint8_t*>(value);
    spec.value_length = static_cast<uint32_t>(valueLength);
    // A fixed-size value of another size, or none, is the store's to refuse.
    if (layout.variable() ? (value == nullptr && valueLength != 0)
                          : (value == nullptr || spec.value_length != layout.fixed_size)) {
      return false;
    }
  }
  if (name.length > kMaxNameLength) return false;
  const uint64_t length =
      PadToNodeAlignment(RawNodeLength(layout, spec.name_length, spec.value_length));
  if (length > kMaxListSize - kHeaderLength) return false;
  spec.support = static_cast<uint32_t>(support);
  spec.copy_options = static_cast<uint8_t>(copyOptions);
  if (context == KWPD_USER_CONTEXT) spec.type_flags |= ZRF_FLAG_USER_CONTEXT;
  spec.value_ccsid = listCcsid;
  // Bytes that come from the list itself would move under the copy.
  if (InsideList(list, pal.Size, spec.name, spec.name_length) ||
      InsideList(list, pal.Size, spec.value, spec.value_length)) {
    return false;
  }

  const auto newLength = static_cast<uint32_t>(length);
  IndexKeys keys;
  bool found;
  uint32_t offset;
  NodeView old;
  if (!IndexLocate(*index, list, spec.name, spec.name_length, &keys, &found, &offset, &old)) {
    return false;
  }
  if (found) {
    *reason =
        PlaceNode(handle, spec, newLength, offset, old.length, old.name_length + old.value_length,
                  ValueNodeWriter{spec, layout, newLength});
    if (*reason == KWRC_NONE) {
      IndexNoteReplaced(handle, keys, offset,
                        static_cast<int32_t>(newLength) - static_cast<int32_t>(old.length),
                        layout.name_offset);
    }
  } else {
    *reason =
        PlaceNode(handle, spec, newLength, offset, 0, 0, ValueNodeWriter{spec, layout, newLength});
    if (*reason == KWRC_NONE) {
      if (adopt) {  // the list takes the store's CCSID with its first node
        handle->pProps->CCSID = listCcsid;
        handle->pProps->CCSIDType = listType;
      }
      IndexNoteInserted(handle, offset, newLength, layout.name_offset, keys);
    }
  }
  // The node changed only the list's lengths and block, which the record
  // takes again; a list that took its CCSID here is checked afresh. The
  // index follows the list unless it was dropped.
  if (*reason == KWRC_NONE && index_detail::IndexOf(handle) == index) {
    if (recorded) {
      RecordSet(handle, index, name.ccsid);
    } else if (!adopt && name.ccsid != 0) {
      RecordList(handle, index, name.ccsid, family);
    }
  }
  return true;
}

// The whole of zstInquireMessageProperty for its common case, as
// SetPropertyExpress.
[[gnu::always_inline]] inline bool InquirePropertyExpress(xihTHREAD* thread, KWHCONN hConn,
                                                          KWHMSG hMsg, KWIMPO* impo,
                                                          const KWCHARV* pName, KWPD* pd,
                                                          KWLONG* type, KWLONG valueLength,
                                                          void* value, KWLONG* dataLength,
                                                          MsgHandleAnchor* anchor, KWLONG* reason) {
  using namespace express_detail;
  // The first property of an exact name, its value as stored, no name to
  // return.
  if (impo != nullptr &&
      ((impo->Options & (KWIMPO_CONVERT_TYPE | KWIMPO_QUERY_LENGTH | KWIMPO_INQ_NEXT |
                         KWIMPO_INQ_PROP_UNDER_CURSOR | KWIMPO_CONVERT_VALUE)) != 0 ||
       impo->ReturnedName.VSBufSize > 0)) {
    return false;
  }
  MsgHandle* handle = ExpressHandle(thread, hConn, hMsg, anchor);
  if (handle == nullptr) return false;
  PropertyName name;
  if (!ExpressName(pName, &name)) return false;
  int32_t listCcsid;
  uint8_t listType;
  uint8_t family;
  const ZRFPROPS* list;
  PropertyIndex* index = index_detail::IndexOf(handle);
  if (RecordHolds(handle, index, name.ccsid)) {
    list = handle->pProps;
    listCcsid = list->CCSID;
    listType = list->CCSIDType;
    family = index->express.family;
  } else {
    bool adopt;
    list = ExpressList(handle, name.ccsid, &listCcsid, &listType, &adopt);
    if (list == nullptr || adopt) return false;
    if (!IndexDescribes(index, handle)) return false;
    const ZRFPAL pal = ListOf(handle);
    // The store reads the name in the family of its CCSID, the list's for 0.
    family = IndexNameFamily(*index, name.ccsid != 0 ? name.ccsid : listCcsid, &pal);
    if (name.ccsid != 0) RecordList(handle, index, name.ccsid, family);
  }
  // The cursor the store's browse records the name in, without growing it.
  ZRFCURSOR* cursor = handle->pCursor;
  if (cursor == nullptr || cursor->Capacity < name.length) return false;
  if (MayBeDescriptorName(name, family)) return false;
  // A pattern is browsed by the store.
  if (index->hasPercent ? name.data[name.length - 1] == index->percent
                        : EndsWithPercentSign(name.data, name.length, listType)) {
    return false;
  }

  NodeView node;
  const ValueLookup found = FindValueNode(*index, list, name, &node);
  if (found == ValueLookup::kOther) return false;
  if (found == ValueLookup::kMissing) {
    if (dataLength != nullptr) *dataLength = 0;
    *reason = KWRC_PROPERTY_NOT_AVAILABLE;
    return true;
  }
  const uint32_t code = node.type_flags & ZRF_TYPE_MASK;

  // The browse's record of the property returned. The cursor's buffer is
  // the handle's own and its bytes past the name mean nothing, so a name of
  // up to 16 bytes moves as two whole words when the list's block holds
  // them: no turn on the name's length.
  if (node.name_length <= 16 && cursor->Capacity >= 16 &&
      ListBytes(list) + handle->PropsSize - node.name >= 16) {
    const uint64_t head = Load64(node.name);
    const uint64_t tail = Load64(node.name + 8);
    std::memcpy(cursor->pName, &head, 8);
    std::memcpy(cursor->pName + 8, &tail, 8);
  } else {
    CopyShort(cursor->pName, node.name, node.name_length);
  }
  cursor->NameLength = node.name_length;
  cursor->NameCCSID = listCcsid;
  cursor->NodeOffset = static_cast<KWULONG>(node.node - ListBytes(list));

  // CopyPropertyValue for a value as stored.
  if (pd != nullptr) {
    std::memcpy(pd->StrucId, KWPD_STRUC_ID, sizeof pd->StrucId);
    pd->Version = KWPD_VERSION_1;
    pd->Options = KWPD_NONE;
    pd->Support = static_cast<KWLONG>(node.support);
    pd->Context = (node.type_flags & ZRF_FLAG_USER_CONTEXT) ? KWPD_USER_CONTEXT : KWPD_NO_CONTEXT;
    pd->CopyOptions = static_cast<KWLONG>(node.copy_options);
  }
  if (impo != nullptr) {
    impo->ReturnedEncoding = KWENC_NATIVE;
    impo->ReturnedCCSID = code == ZRF_TYPE_STRING ? list->CCSID : 0;
  }
  if (dataLength != nullptr) *dataLength = static_cast<KWLONG>(node.value_length);
  *reason = KWRC_NONE;
  if (node.value_length != 0) {
    if (value == nullptr || valueLength < 0 ||
        static_cast<uint32_t>(valueLength) < node.value_length) {
      *reason = KWRC_PROPERTY_VALUE_TOO_BIG;
      return true;
    }
    CopyShort(static_cast<uint8_t*>(value), node.value, node.value_length);
  }
  if (type != nullptr) *type = ExternalTypeOfValue(code);
  return true;
}

}  // namespace zxv::props
