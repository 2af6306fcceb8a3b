// Node layouts of the property list, and the three exported node helpers
// through which the rest of the system steps through a list.
#include <algorithm>
#include <limits>

#include "props/property_store.h"
#include "zxvxcs2/xcs_trace.h"

namespace zxv::props {
namespace {

constexpr uint8_t kNone = NodeLayout::kNone;

// Indexed by internal type code; see the layout table in properties.h.
constexpr NodeLayout kLayouts[ZRF_TYPE_COUNT] = {
    /* string      */ {kNone, 0, 8, 12, 14, 15},
    /* boolean     */ {8, 4, kNone, 12, 14, 15},
    /* byte string */ {kNone, 0, 8, 12, 14, 15},
    /* int8        */ {10, 1, kNone, 8, 11, 12},
    /* int16       */ {8, 2, kNone, 10, 12, 13},
    /* int32       */ {8, 4, kNone, 12, 14, 15},
    /* int64       */ {8, 8, kNone, 16, 18, 19},
    /* float32     */ {8, 4, kNone, 12, 14, 15},
    /* float64     */ {8, 8, kNone, 16, 18, 19},
    /* null        */ {kNone, 0, kNone, 8, 10, 11},
    /* name only   */ {kNone, 0, kNone, 8, kNone, 10},
    /* as stored   */ {8, 8, 16, 20, 22, 23},
};

constexpr uint32_t kTypeWordLength = 4;

// Bytes of the node before padding: the fixed part, the name and, for the
// variable layouts, the value and its zero byte.
uint64_t RawLength(const NodeLayout& layout, uint64_t nameLength, uint64_t valueLength) {
  uint64_t length = layout.name_offset + nameLength;
  if (layout.variable()) length += valueLength + 1;
  return length;
}

}  // namespace

const NodeLayout* LayoutOf(uint32_t typeFlags) {
  if (typeFlags & ZRF_FLAG_STRING_FORM) return &kLayouts[ZRF_TYPE_STRING];
  const uint32_t code = typeFlags & ZRF_TYPE_MASK;
  return code < ZRF_TYPE_COUNT ? &kLayouts[code] : nullptr;
}

uint32_t FixedValueSize(uint32_t code) {
  if (code >= ZRF_TYPE_COUNT || kLayouts[code].variable()) return 0;
  return kLayouts[code].fixed_size;
}

bool DecodeNode(const uint8_t* node, uint32_t available, NodeView* view) {
  if (available < kTypeWordLength) return false;
  const uint32_t typeFlags = LoadU32(node);
  const NodeLayout* layout = LayoutOf(typeFlags);
  if (layout == nullptr) return false;
  // The fixed part must be readable before its lengths are trusted.
  const uint32_t lengthEnd =
      layout->variable() ? static_cast<uint32_t>(layout->length_offset) + 4 : 0;
  const uint32_t fixedEnd = std::max<uint32_t>(layout->name_offset, lengthEnd);
  if (available < fixedEnd) return false;

  const uint32_t nameLength = LoadU16(node + layout->name_length_offset);
  const uint32_t valueLength = layout->variable() ? LoadU32(node + layout->length_offset)
                                                  : FixedValueSize(typeFlags & ZRF_TYPE_MASK);
  const uint64_t padded = PadToNodeAlignment(RawLength(*layout, nameLength, valueLength));
  if (padded > available) return false;

  view->node = node;
  view->type_flags = typeFlags;
  view->support = LoadU32(node + kTypeWordLength);
  view->copy_options = layout->copy_offset == kNone ? KWCOPY_ALL : node[layout->copy_offset];
  view->name = node + layout->name_offset;
  view->name_length = nameLength;
  view->value = layout->variable() ? view->name + nameLength : node + layout->fixed_offset;
  view->value_length = valueLength;
  view->length = static_cast<uint32_t>(padded);
  view->layout = layout;
  return true;
}

uint64_t NodeLengthOf(const NodeSpec& spec) {
  const NodeLayout* layout = LayoutOf(spec.type_flags);
  if (layout == nullptr) return 0;
  return PadToNodeAlignment(RawLength(*layout, spec.name_length, spec.value_length));
}

uint32_t PropsLenOf(const NodeSpec& spec) { return spec.name_length + spec.value_length; }

void WriteNode(uint8_t* at, const NodeSpec& spec) {
  const NodeLayout& layout = *LayoutOf(spec.type_flags);
  const uint32_t code = spec.type_flags & ZRF_TYPE_MASK;
  StoreU32(at, spec.type_flags);
  StoreU32(at + kTypeWordLength, spec.support);
  if (layout.variable()) {
    if (layout.fixed_size != 0) {  // code 11: how to read the untyped bytes
      StoreU32(at + layout.fixed_offset, static_cast<uint32_t>(spec.value_encoding));
      StoreU32(at + layout.fixed_offset + 4, static_cast<uint32_t>(spec.value_ccsid));
    }
    StoreU32(at + layout.length_offset, spec.value_length);
  } else if (layout.fixed_size != 0) {
    if (code == ZRF_TYPE_BOOLEAN) {
      // A boolean is stored as 0 or 1 whatever non-zero value it came as.
      StoreU32(at + layout.fixed_offset, LoadU32(spec.value) != 0 ? 1u : 0u);
    } else {
      std::memcpy(at + layout.fixed_offset, spec.value, layout.fixed_size);
    }
  }
  StoreU16(at + layout.name_length_offset, static_cast<uint16_t>(spec.name_length));
  if (layout.copy_offset != kNone) at[layout.copy_offset] = spec.copy_options;
  uint8_t* cursor = at + layout.name_offset;
  std::memcpy(cursor, spec.name, spec.name_length);
  cursor += spec.name_length;
  if (layout.variable()) {
    if (spec.value_length != 0) std::memcpy(cursor, spec.value, spec.value_length);
    cursor += spec.value_length;
    *cursor++ = 0;
  }
  uint8_t* const end = at + NodeLengthOf(spec);
  while (cursor < end) *cursor++ = 0;
}

NodeSpec SpecOfNode(const NodeView& view) {
  NodeSpec spec;
  spec.type_flags = view.type_flags;
  spec.support = view.support;
  spec.copy_options = static_cast<uint8_t>(view.copy_options);
  spec.name = view.name;
  spec.name_length = view.name_length;
  spec.value = view.value;
  spec.value_length = view.value_length;
  if (view.layout->variable() && view.layout->fixed_size != 0) {
    spec.value_encoding = static_cast<int32_t>(LoadU32(view.node + view.layout->fixed_offset));
    spec.value_ccsid = static_cast<int32_t>(LoadU32(view.node + view.layout->fixed_offset + 4));
  }
  return spec;
}

}  // namespace zxv::props

namespace zp = zxv::props;

extern "C" {

ZXV_API KWULONG zrfGetPropLength(const void* pNode) {
  xtr_FNC_entry(zxv::kComponent, zp::kFnGetPropLength);
  KWULONG length = 0;
  zp::NodeView view;
  if (pNode != nullptr && zp::DecodeNode(static_cast<const uint8_t*>(pNode),
                                         std::numeric_limits<uint32_t>::max(), &view)) {
    length = view.length;
  }
  xtr_FNC_retcode(zxv::kComponent, zp::kFnGetPropLength, length);
  return length;
}

ZXV_API const void* zrfGetPropName(const void* pNode) {
  xtr_FNC_entry(zxv::kComponent, zp::kFnGetPropName);
  const void* name = nullptr;
  zp::NodeView view;
  if (pNode != nullptr && zp::DecodeNode(static_cast<const uint8_t*>(pNode),
                                         std::numeric_limits<uint32_t>::max(), &view)) {
    name = view.name;
  }
  xtr_FNC_retcode(zxv::kComponent, zp::kFnGetPropName, name == nullptr ? 1 : 0);
  return name;
}

ZXV_API KWULONG zrfGetPropNameLength(const void* pNode) {
  xtr_FNC_entry(zxv::kComponent, zp::kFnGetPropNameLength);
  KWULONG length = 0;
  zp::NodeView view;
  if (pNode != nullptr && zp::DecodeNode(static_cast<const uint8_t*>(pNode),
                                         std::numeric_limits<uint32_t>::max(), &view)) {
    length = view.name_length;
  }
  xtr_FNC_retcode(zxv::kComponent, zp::kFnGetPropNameLength, length);
  return length;
}

}  // extern "C"
