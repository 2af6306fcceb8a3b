// Node layouts of the property list, and the three exported node helpers
// through which the rest of the system steps through a list.
#include <limits>

#include "props/property_store.h"
#include "zxvxcs2/xcs_trace.h"

namespace zxv::props {

uint64_t NodeLengthOf(const NodeSpec& spec) {
  const NodeLayout* layout = LayoutOf(spec.type_flags);
  if (layout == nullptr) return 0;
  return PadToNodeAlignment(RawNodeLength(*layout, spec.name_length, spec.value_length));
}

uint32_t PropsLenOf(const NodeSpec& spec) { return spec.name_length + spec.value_length; }

void WriteNode(uint8_t* at, const NodeSpec& spec) {
  const NodeLayout& layout = *LayoutOf(spec.type_flags);
  WriteNodeAs(at, spec, layout,
              static_cast<uint32_t>(
                  PadToNodeAlignment(RawNodeLength(layout, spec.name_length, spec.value_length))));
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
  zp::NodeView view{};
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
  zp::NodeView view{};
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
  zp::NodeView view{};
  if (pNode != nullptr && zp::DecodeNode(static_cast<const uint8_t*>(pNode),
                                         std::numeric_limits<uint32_t>::max(), &view)) {
    length = view.name_length;
  }
  xtr_FNC_retcode(zxv::kComponent, zp::kFnGetPropNameLength, length);
  return length;
}

}  // extern "C"
