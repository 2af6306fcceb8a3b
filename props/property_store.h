// The property store inside the library: node layouts, list bookkeeping,
// locating, conversion into the list's CCSID and the checks that every
// exported zrf* shell of include/zxvxzu/properties.h builds on. Message
// handles call these directly.
//
// Every function returning KWLONG returns a reason code (KWRC_NONE on
// success) and, on failure, leaves the list exactly as it was.
//
//   ZRFPAL pal{};
//   NodeSpec spec = ...;
//   KWLONG reason = InsertOrReplaceNode(&pal, spec, kFnAppendProperty);
#pragma once

#include <cstdint>
#include <cstring>

#include "base/trace_ids.h"
#include "zxvxcs2/xcs_base.h"
#include "zxvxzu/kwmd.h"
#include "zxvxzu/properties.h"

namespace zxv::props {

// ---------------------------------------------------------------------------
// Trace function numbers of the store.
inline constexpr uint32_t kFnStoreBase = kFnBaseProps + 0x40;
inline constexpr uint32_t kFnAllocatePAL = kFnStoreBase + 0x00;
inline constexpr uint32_t kFnFreePAL = kFnStoreBase + 0x01;
inline constexpr uint32_t kFnDuplicatePAL = kFnStoreBase + 0x02;
inline constexpr uint32_t kFnReallocatePAL = kFnStoreBase + 0x03;
inline constexpr uint32_t kFnVerifyProperties = kFnStoreBase + 0x04;
inline constexpr uint32_t kFnAppendProperty = kFnStoreBase + 0x08;
inline constexpr uint32_t kFnSetNamedProperty = kFnStoreBase + 0x09;
inline constexpr uint32_t kFnSetProperty = kFnStoreBase + 0x0A;
inline constexpr uint32_t kFnDeleteNamedProperty = kFnStoreBase + 0x0B;
inline constexpr uint32_t kFnDeleteProperty = kFnStoreBase + 0x0C;
inline constexpr uint32_t kFnLocatePropertyNode = kFnStoreBase + 0x10;
inline constexpr uint32_t kFnLocateProperty = kFnStoreBase + 0x11;
inline constexpr uint32_t kFnGetProperty = kFnStoreBase + 0x12;
inline constexpr uint32_t kFnGetProperty2 = kFnStoreBase + 0x13;
inline constexpr uint32_t kFnGetNamedProperty = kFnStoreBase + 0x14;
inline constexpr uint32_t kFnGetPropertyWithBrowse = kFnStoreBase + 0x15;
inline constexpr uint32_t kFnFreeCursor = kFnStoreBase + 0x16;
inline constexpr uint32_t kFnMergeProperties = kFnStoreBase + 0x18;
inline constexpr uint32_t kFnMoveProperties = kFnStoreBase + 0x19;
inline constexpr uint32_t kFnChangePropertiesCCSID = kFnStoreBase + 0x1A;
inline constexpr uint32_t kFnByteSwapProperties = kFnStoreBase + 0x1B;
inline constexpr uint32_t kFnCheckCopyOptions = kFnStoreBase + 0x1C;
inline constexpr uint32_t kFnGetPropLength = kFnStoreBase + 0x20;
inline constexpr uint32_t kFnGetPropName = kFnStoreBase + 0x21;
inline constexpr uint32_t kFnGetPropNameLength = kFnStoreBase + 0x22;

// ---------------------------------------------------------------------------
// Unaligned access: nodes start on 4-byte boundaries only, so 64-bit values
// and 16-bit lengths sit wherever the layout puts them.
inline uint32_t LoadU32(const uint8_t* p) {
  uint32_t v;
  std::memcpy(&v, p, sizeof v);
  return v;
}
inline uint16_t LoadU16(const uint8_t* p) {
  uint16_t v;
  std::memcpy(&v, p, sizeof v);
  return v;
}
inline void StoreU32(uint8_t* p, uint32_t v) { std::memcpy(p, &v, sizeof v); }
inline void StoreU16(uint8_t* p, uint16_t v) { std::memcpy(p, &v, sizeof v); }

inline uint64_t LoadU64(const uint8_t* p) {
  uint64_t v;
  std::memcpy(&v, p, sizeof v);
  return v;
}

// True when two names of `length` bytes are equal. Names of one group share
// their start, so the last eight bytes are compared first; short names are
// read in overlapping pieces rather than byte by byte, whose loop of
// varying length costs more in mispredicted branches than the bytes do.
// Inline because every walk compares names at every node.
inline bool SameName(const uint8_t* a, const uint8_t* b, uint32_t length) {
  if (length >= 8) {
    if (LoadU64(a + length - 8) != LoadU64(b + length - 8)) return false;
    for (uint32_t at = 0; at + 8 < length; at += 8) {
      if (LoadU64(a + at) != LoadU64(b + at)) return false;
    }
    return true;
  }
  if (length >= 4) {
    return ((LoadU32(a) ^ LoadU32(b)) | (LoadU32(a + length - 4) ^ LoadU32(b + length - 4))) == 0;
  }
  if (length == 0) return true;
  return a[0] == b[0] && a[length / 2] == b[length / 2] && a[length - 1] == b[length - 1];
}

inline constexpr uint32_t kHeaderLength = ZRFP_HEADER_LENGTH;
inline constexpr uint32_t kInitialListSize = ZRFP_INITIAL_SIZE;
inline constexpr uint32_t kNodeAlignment = 4;
inline constexpr uint32_t kMaxNameLength = 0xFFFF;  // the name length is a u16
inline constexpr uint32_t kMaxCopyOptions = 0xFF;   // CopyOptions is one byte
// Largest list the store builds: sizes travel as u32 and grow by doubling.
inline constexpr uint64_t kMaxListSize = 0x7FFFFFFFu;
inline constexpr int32_t kNativeEncoding = 546;
inline constexpr int32_t kStoreCcsid = 1208;  // CCSID of the lists the store creates

inline uint64_t PadToNodeAlignment(uint64_t length) {
  return (length + (kNodeAlignment - 1)) & ~uint64_t{kNodeAlignment - 1};
}

// ---------------------------------------------------------------------------
// Node layouts (building nodes: property_node.cpp).

// Byte positions within a node of one layout; kNone where the layout has no
// such field.
struct NodeLayout {
  static constexpr uint8_t kNone = 0xFF;
  uint8_t fixed_offset;        // fixed-size value (code 11: encoding and CCSID)
  uint8_t fixed_size;          // its bytes; 0 when none
  uint8_t length_offset;       // u32 value length of a variable value
  uint8_t name_length_offset;  // u16
  uint8_t copy_offset;         // u8 CopyOptions
  uint8_t name_offset;
  bool variable() const { return length_offset != kNone; }
};

// Indexed by internal type code; see the layout table in properties.h. In
// the header so that the walks, which run over every node, inline it.
inline constexpr uint8_t kNoField = NodeLayout::kNone;
inline constexpr NodeLayout kNodeLayouts[ZRF_TYPE_COUNT] = {
    /* string      */ {kNoField, 0, 8, 12, 14, 15},
    /* boolean     */ {8, 4, kNoField, 12, 14, 15},
    /* byte string */ {kNoField, 0, 8, 12, 14, 15},
    /* int8        */ {10, 1, kNoField, 8, 11, 12},
    /* int16       */ {8, 2, kNoField, 10, 12, 13},
    /* int32       */ {8, 4, kNoField, 12, 14, 15},
    /* int64       */ {8, 8, kNoField, 16, 18, 19},
    /* float32     */ {8, 4, kNoField, 12, 14, 15},
    /* float64     */ {8, 8, kNoField, 16, 18, 19},
    /* null        */ {kNoField, 0, kNoField, 8, 10, 11},
    /* name only   */ {kNoField, 0, kNoField, 8, kNoField, 10},
    /* as stored   */ {8, 8, 16, 20, 22, 23},
};

// The layout a type word reads with (the string layout under
// ZRF_FLAG_STRING_FORM); null for an unknown type code.
inline const NodeLayout* LayoutOf(uint32_t typeFlags) {
  if (typeFlags & ZRF_FLAG_STRING_FORM) return &kNodeLayouts[ZRF_TYPE_STRING];
  const uint32_t code = typeFlags & ZRF_TYPE_MASK;
  return code < ZRF_TYPE_COUNT ? &kNodeLayouts[code] : nullptr;
}

// Bytes of a fixed-size value of type `code` (1 for int8, 4 for boolean...),
// 0 for null and name-only entries and for the variable layouts.
inline uint32_t FixedValueSize(uint32_t code) {
  if (code >= ZRF_TYPE_COUNT || kNodeLayouts[code].variable()) return 0;
  return kNodeLayouts[code].fixed_size;
}

// Bytes of a node before padding: the fixed part, the name and, for the
// variable layouts, the value and its zero byte.
inline uint64_t RawNodeLength(const NodeLayout& layout, uint64_t nameLength, uint64_t valueLength) {
  uint64_t length = layout.name_offset + nameLength;
  if (layout.variable()) length += valueLength + 1;
  return length;
}

// A node read from a list, bounds-checked.
struct NodeView {
  const uint8_t* node;
  uint32_t type_flags;
  uint32_t support;
  uint32_t copy_options;  // KWCOPY_ALL for a name-only entry
  const uint8_t* name;
  uint32_t name_length;
  const uint8_t* value;  // fixed value, or the variable bytes after the name
  uint32_t value_length;
  uint32_t length;  // padded node length
  const NodeLayout* layout;
};

// Decodes the node at `node`, of which `available` bytes lie inside the
// list's StrucLen. False when the type code is unknown or the node runs past
// `available`.
inline bool DecodeNode(const uint8_t* node, uint32_t available, NodeView* view) {
  if (available < 4) return false;
  const uint32_t typeFlags = LoadU32(node);
  const NodeLayout* layout = LayoutOf(typeFlags);
  if (layout == nullptr) return false;
  // The fixed part must be readable before its lengths are trusted.
  const uint32_t lengthEnd = layout->variable() ? uint32_t{layout->length_offset} + 4 : 0;
  const uint32_t fixedEnd = layout->name_offset > lengthEnd ? layout->name_offset : lengthEnd;
  if (available < fixedEnd) return false;

  const uint32_t nameLength = LoadU16(node + layout->name_length_offset);
  const uint32_t valueLength = layout->variable() ? LoadU32(node + layout->length_offset)
                                                  : FixedValueSize(typeFlags & ZRF_TYPE_MASK);
  const uint64_t padded = PadToNodeAlignment(RawNodeLength(*layout, nameLength, valueLength));
  if (padded > available) return false;

  view->node = node;
  view->type_flags = typeFlags;
  view->support = LoadU32(node + 4);
  view->copy_options = layout->copy_offset == kNoField ? KWCOPY_ALL : node[layout->copy_offset];
  view->name = node + layout->name_offset;
  view->name_length = nameLength;
  view->value = layout->variable() ? view->name + nameLength : node + layout->fixed_offset;
  view->value_length = valueLength;
  view->length = static_cast<uint32_t>(padded);
  view->layout = layout;
  return true;
}

// What a new node holds; name and value already in the list's CCSID.
struct NodeSpec {
  uint32_t type_flags = 0;
  uint32_t support = KWPD_SUPPORT_OPTIONAL;
  uint8_t copy_options = KWCOPY_DEFAULT;
  const uint8_t* name = nullptr;
  uint32_t name_length = 0;
  const uint8_t* value = nullptr;            // fixed or variable value bytes
  uint32_t value_length = 0;                 // for fixed layouts: the fixed size
  int32_t value_encoding = kNativeEncoding;  // code 11 only
  int32_t value_ccsid = 0;                   // code 11 only
};

// The padded node length of `spec` (64-bit: the caller checks the limit).
uint64_t NodeLengthOf(const NodeSpec& spec);

// Name length plus value length: what the node adds to PropsLen.
uint32_t PropsLenOf(const NodeSpec& spec);

// Writes the node at `at` (NodeLengthOf(spec) bytes, padding zeroed).
void WriteNode(uint8_t* at, const NodeSpec& spec);

// WriteNode for a caller that has the node's layout (LayoutOf(type_flags))
// and padded length at hand.
inline void WriteNodeAs(uint8_t* at, const NodeSpec& spec, const NodeLayout& layout,
                        uint32_t paddedLength) {
  // The last word first: every byte of the node but the padding is written
  // below, over it where the name or value reach that far.
  StoreU32(at + paddedLength - 4, 0);
  StoreU32(at, spec.type_flags);
  StoreU32(at + 4, spec.support);
  if (layout.variable()) {
    if (layout.fixed_size != 0) {  // code 11: how to read the untyped bytes
      StoreU32(at + layout.fixed_offset, static_cast<uint32_t>(spec.value_encoding));
      StoreU32(at + layout.fixed_offset + 4, static_cast<uint32_t>(spec.value_ccsid));
    }
    StoreU32(at + layout.length_offset, spec.value_length);
  } else {
    uint8_t* value = at + layout.fixed_offset;
    switch (layout.fixed_size) {
      case 1:
        value[0] = spec.value[0];
        break;
      case 2:
        std::memcpy(value, spec.value, 2);
        break;
      case 4:
        // A boolean is stored as 0 or 1 whatever non-zero value it came as.
        if ((spec.type_flags & ZRF_TYPE_MASK) == ZRF_TYPE_BOOLEAN) {
          StoreU32(value, LoadU32(spec.value) != 0 ? 1u : 0u);
        } else {
          std::memcpy(value, spec.value, 4);
        }
        break;
      case 8:
        std::memcpy(value, spec.value, 8);
        break;
      default:  // null and name-only entries: no value
        break;
    }
  }
  StoreU16(at + layout.name_length_offset, static_cast<uint16_t>(spec.name_length));
  if (layout.copy_offset != kNoField) at[layout.copy_offset] = spec.copy_options;
  uint8_t* cursor = at + layout.name_offset;
  std::memcpy(cursor, spec.name, spec.name_length);
  if (layout.variable()) {
    cursor += spec.name_length;
    if (spec.value_length != 0) std::memcpy(cursor, spec.value, spec.value_length);
    cursor[spec.value_length] = 0;
  }
}

// Fills a NodeSpec from a decoded node (to copy a node into another list).
NodeSpec SpecOfNode(const NodeView& view);

// ---------------------------------------------------------------------------
// Lists (property_list.cpp).

inline const uint8_t* ListBytes(const ZRFPROPS* list) {
  return reinterpret_cast<const uint8_t*>(list);
}
inline uint8_t* ListBytes(ZRFPROPS* list) { return reinterpret_cast<uint8_t*>(list); }

// Writes the default 24-byte header ("ZRFP", 0x01000001, 24, 0, CCSID 0)
// and merges the process-wide verify setting into its flags. Traces
// "Initialising properties to default values" under `fn`.
void WriteDefaultHeader(ZRFPROPS* list, uint32_t fn);

// True when "ZXV_VERIFY_PROPERTIES" holds a positive integer.
bool VerifySettingOn();

// True when the list has a usable header: eye-catcher, version 1 and
// 24 <= StrucLen <= Size.
bool HeaderUsable(const ZRFPAL* pal);

// True when the list asks for verification around changes.
inline bool VerifyRequested(const ZRFPAL* pal) {
  return pal->pProps != nullptr && (pal->pProps->VersionFlags & ZRFP_FLAG_VERIFY) != 0;
}

// Maps an allocator code to 2071, 2102 or 2195; writes a failure record for
// 2195 (source `file`, probe `probe`).
KWLONG StorageReason(xcsRC rc, const char* file, uint32_t probe);

// Writes a failure record for a required pointer that is null and returns
// 2195: the store's callers are the library's own layers, so this is a bug.
KWLONG MissingParameter(const char* what, const char* file, uint32_t probe);

// Writes a failure record for a list that is not usable (dumping its
// header) and returns 2195.
KWLONG DamagedList(const ZRFPAL* pal, const char* file, uint32_t probe, const char* comment);

// Gives the PAL a list to append to: a missing list, or one smaller than its
// header, becomes a new 4096-byte list with the default header, the verify
// setting and CCSID 1208; an empty list of CCSID 0 takes CCSID 1208. A list
// with a damaged header gives 2195. On failure the PAL is unchanged.
KWLONG PrepareListForAppend(ZRFPAL* pal, uint32_t fn);

// Makes room for `extra` more bytes in use: when the free space (Size -
// StrucLen) is smaller, re-allocates to twice (extra + Size), keeping the
// content. On failure the PAL is unchanged.
KWLONG EnsureRoom(ZRFPAL* pal, uint64_t extra);

// Allocates a list of `size` bytes (at least the header) into *out; the
// content is not written.
KWLONG AllocateList(uint32_t size, ZRFPAL* out, uint32_t probe);

// Frees the list's block (after checking its eye-catcher) and empties the PAL.
KWLONG FreeList(ZRFPAL* pal);

// ---------------------------------------------------------------------------
// Text in the list's CCSID (property_convert.cpp).

// Conversion space: the caller's work area when there is one, otherwise a
// block of its own freed at destruction.
class ScratchSpace {
 public:
  explicit ScratchSpace(ZRFWORKAREA* work) : work_(work) {}
  ~ScratchSpace();
  ScratchSpace(const ScratchSpace&) = delete;
  ScratchSpace& operator=(const ScratchSpace&) = delete;

  // Ensures `size` bytes; 2071/2102/2195 when it cannot.
  KWLONG Reserve(uint64_t size);
  uint8_t* data() { return work_ != nullptr ? work_->pBuffer : own_; }
  uint64_t capacity() const { return work_ != nullptr ? work_->Capacity : own_capacity_; }

 private:
  ZRFWORKAREA* work_;
  uint8_t* own_ = nullptr;
  uint64_t own_capacity_ = 0;
};

// Bytes of text after conversion; pointing either at the caller's bytes
// (no conversion needed) or into a ScratchSpace.
struct Text {
  const uint8_t* data = nullptr;
  uint32_t length = 0;
};

// True when text in `fromCcsid` must be converted to be compared or stored
// in a list of `listCcsid` (0 on either side means "as the list").
inline bool NeedsConversion(int32_t fromCcsid, int32_t listCcsid) {
  return fromCcsid != 0 && listCcsid != 0 && fromCcsid != listCcsid;
}

// Converts a name and (optionally) a text value from `fromCcsid` into
// `toCcsid` through the platform, into `scratch`. A name or value that
// cannot be converted gives 2119 (traced "Value failed to be converted into
// properties CCSID"); allocator codes give 2071/2102; any other code 2195
// with a failure record.
KWLONG ConvertText(int32_t fromCcsid, int32_t toCcsid, Text name, Text value, bool hasValue,
                   ScratchSpace* scratch, Text* nameOut, Text* valueOut, uint32_t fn);

// ---------------------------------------------------------------------------
// Walking, locating and changing nodes (property_locate.cpp,
// property_append.cpp).

// Calls visit(const NodeView&) for each node in list order while it returns
// true. False when a node cannot be decoded (the list is damaged).
template <typename Visit>
bool ForEachNode(const ZRFPROPS* list, Visit&& visit) {
  const uint8_t* bytes = ListBytes(list);
  const uint32_t end = list->StrucLen;
  for (uint32_t offset = kHeaderLength; offset < end;) {
    NodeView view;
    if (!DecodeNode(bytes + offset, end - offset, &view)) return false;
    if (!visit(view)) return true;
    offset += view.length;
  }
  return true;
}

struct LocateResult {
  bool found = false;
  uint32_t offset = kHeaderLength;  // the node, or where a new node goes
  bool damaged = false;             // a node could not be decoded
};

// Finds the node named `name` (in the list's CCSID) or the place for a new
// node of that name, following the order documented in properties.h.
LocateResult LocateNode(const ZRFPROPS* list, const uint8_t* name, uint32_t nameLength);

// Finds the node named `name` (in the list's CCSID) without working out a
// place for a new one: the lookup of gets and deletes.
LocateResult FindNode(const ZRFPROPS* list, const uint8_t* name, uint32_t nameLength);

// Writes `spec` in place of the node of the same name or at its place;
// grows the list when needed and keeps StrucLen and PropsLen. With
// keepExisting a node of that name is left alone. Verifies around the change
// when the list asks for it.
KWLONG InsertOrReplaceNode(ZRFPAL* pal, const NodeSpec& spec, bool keepExisting, uint32_t fn);

// Writes `spec` after the last node, growing the list when needed; for
// building a list in a known order (the node's place is the caller's
// business).
KWLONG AppendNodeAtEnd(ZRFPAL* pal, const NodeSpec& spec);

// Removes the node at `offset` (which LocateNode found).
void RemoveNodeAt(ZRFPAL* pal, uint32_t offset);

// The whole of zrfAppendProperty on checked arguments: creates the list when
// missing, converts the name (and a text value) into the list's CCSID,
// builds the node from `typeFlags`, the value and the descriptor, and
// inserts or replaces it. On failure a list created here is freed again.
KWLONG AppendProperty(ZRFPAL* pal, const uint8_t* name, uint32_t nameLength, int32_t nameCcsid,
                      uint32_t typeFlags, const void* value, uint32_t valueLength, const KWPD* pd,
                      ZRFWORKAREA* work, uint32_t fn);

// Removes the property of that exact name from the list: 2471 when none.
KWLONG DeleteNamedProperty(ZRFPAL* pal, const uint8_t* name, uint32_t nameLength, int32_t nameCcsid,
                           ZRFWORKAREA* work, uint32_t fn);

// The name as it reads in the list's CCSID: the caller's bytes when no
// conversion is needed, otherwise converted into `scratch`.
KWLONG NameInListCcsid(const ZRFPROPS* list, const uint8_t* name, uint32_t nameLength,
                       int32_t nameCcsid, ScratchSpace* scratch, Text* out, uint32_t fn);

// True when the text of the type word is converted with the names: string
// values and string-form nodes.
inline bool IsTextValue(uint32_t typeFlags) {
  return (typeFlags & ZRF_FLAG_STRING_FORM) != 0 || (typeFlags & ZRF_TYPE_MASK) == ZRF_TYPE_STRING;
}

// Checks `spec` before a node is built: a known type code (2195 "Unrecognized
// property type" with a failure record), a name of 1 to 65,535 bytes
// (2442), a value length that suits the type (2473).
KWLONG CheckNodeSpec(const NodeSpec& spec, uint32_t fn);

// Support, CopyOptions and the user-context flag from a property
// descriptor (null: optional, default copy options, no context). CopyOptions
// above 255 give 2195 with the failure record "CopyOptions cannot be stored".
KWLONG ApplyDescriptor(const KWPD* pd, NodeSpec* spec);

// ---------------------------------------------------------------------------
// Names whose value lives in the message descriptor (property_descriptor.cpp,
// on the mapping of descriptor_fields.h).

struct DescriptorMapping;

// The default descriptor of a new message handle: "MD  ", version 2,
// datagram, unlimited expiry, native encoding, blank format, priority and
// persistence as the queue's defaults, sequence number 1, original length
// -1, everything else binary zero.
const KWMD& DefaultMessageDescriptor();

// The encoding family a name in `nameCcsid` is read in; CCSID 0 means the
// list's (or the store's own, 1208, when there is no list yet).
uint8_t NameFamilyOf(int32_t nameCcsid, const ZRFPAL* pal);

// The effective CCSID of a name: `nameCcsid`, or for 0 the list's (1208
// when there is no list).
int32_t NameCcsidOf(int32_t nameCcsid, const ZRFPAL* pal);

// The descriptor mapping of a name in family `family`; null when the name
// does not live in the descriptor.
const DescriptorMapping* DescriptorMappingOf(const uint8_t* name, uint32_t nameLength,
                                             uint8_t family);

// Reads the field(s) of `mapping` into *info (Source ZRF_SOURCE_DESCRIPTOR,
// the name as given). 2471 when the fields hold no value of that kind.
KWLONG ReadDescriptorProperty(const KWMD& md, const DescriptorMapping& mapping, const uint8_t* name,
                              uint32_t nameLength, int32_t nameCcsid, ZRFPROPINFO* info);

// Writes a value (internal type word, bytes) into the field(s) of `mapping`
// and sets their bits in *fieldsSet (may be null). A string value in a CCSID
// other than 1208 is converted first. 2473 when the value cannot go into the
// field (type, length or range); 2119 when a string cannot be converted.
KWLONG WriteDescriptorProperty(KWMD* md, KWULONG* fieldsSet, const DescriptorMapping& mapping,
                               uint32_t typeFlags, const void* value, uint32_t valueLength,
                               int32_t valueCcsid, ZRFWORKAREA* work, uint32_t fn);

// Restores the field(s) of `mapping` (only its bits for a partial mapping)
// to the default descriptor's and clears its bits in *fieldsSet once the
// field is back at its default. 2471 when none of its bits was set.
KWLONG RestoreDescriptorField(KWMD* md, KWULONG* fieldsSet, const DescriptorMapping& mapping);

// Fills *info from a node of `list`.
inline void FillInfoFromNode(const ZRFPROPS* list, const NodeView& node, ZRFPROPINFO* info) {
  *info = ZRFPROPINFO{};
  info->TypeFlags = node.type_flags;
  info->Support = static_cast<KWLONG>(node.support);
  info->Context = (node.type_flags & ZRF_FLAG_USER_CONTEXT) ? KWPD_USER_CONTEXT : KWPD_NO_CONTEXT;
  info->CopyOptions = static_cast<KWLONG>(node.copy_options);
  info->pName = node.name;
  info->NameLength = node.name_length;
  info->NameCCSID = list->CCSID;
  info->pValue = node.value;
  info->ValueLength = node.value_length;
  info->ValueCCSID = list->CCSID;
  if (node.layout->variable() && node.layout->fixed_size != 0) {  // code 11 keeps its own
    info->ValueCCSID = static_cast<KWLONG>(LoadU32(node.node + node.layout->fixed_offset + 4));
  }
  info->NodeOffset = static_cast<KWULONG>(node.node - ListBytes(list));
  info->Source = ZRF_SOURCE_LIST;
}

// ---------------------------------------------------------------------------
// Checks (property_verify.cpp).

// The consistency check of zrfVerifyPropertiesFn: KWRC_NONE, or 2195 with a
// failure record naming what is wrong.
KWLONG VerifyList(const ZRFPAL* pal, uint32_t fn);

// ---------------------------------------------------------------------------
// Small helpers for the exported shells.

inline void SetCodes(KWLONG reason, KWLONG* compCode, KWLONG* reasonOut) {
  if (compCode != nullptr) *compCode = reason == KWRC_NONE ? KWCC_OK : KWCC_FAILED;
  if (reasonOut != nullptr) *reasonOut = reason;
}

}  // namespace zxv::props
