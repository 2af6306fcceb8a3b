// Reversing the byte order of a whole property list, for a list that goes to
// (or comes from) a machine of the other integer order.
#include <algorithm>
#include <cstddef>
#include <utility>

#include "props/property_store.h"
#include "zxvxcs2/xcs_trace.h"

namespace zxv::props {
namespace {

constexpr uint32_t kProbeDamaged = 1;
constexpr uint32_t kProbeMissing = 2;

uint32_t Load32(const uint8_t* p, bool reversed) {
  const uint32_t v = LoadU32(p);
  return reversed ? __builtin_bswap32(v) : v;
}
uint16_t Load16(const uint8_t* p, bool reversed) {
  const uint16_t v = LoadU16(p);
  return reversed ? __builtin_bswap16(v) : v;
}

void Reverse(uint8_t* p, uint32_t length) {
  for (uint32_t i = 0, j = length - 1; i < j; ++i, --j) std::swap(p[i], p[j]);
}

// A node's layout and padded length, read in the list's present order.
struct SwapNode {
  const NodeLayout* layout;
  uint32_t length;
};

bool ReadNode(const uint8_t* node, uint32_t available, bool reversed, SwapNode* out) {
  if (available < 4) return false;
  const NodeLayout* layout = LayoutOf(Load32(node, reversed));
  if (layout == nullptr) return false;
  const uint32_t fixedEnd =
      std::max<uint32_t>(layout->name_offset, layout->variable() ? layout->length_offset + 4 : 0);
  if (available < fixedEnd) return false;
  uint64_t length =
      layout->name_offset + uint64_t{Load16(node + layout->name_length_offset, reversed)};
  if (layout->variable()) length += uint64_t{Load32(node + layout->length_offset, reversed)} + 1;
  length = PadToNodeAlignment(length);
  if (length > available) return false;
  *out = SwapNode{layout, static_cast<uint32_t>(length)};
  return true;
}

void SwapNodeFields(uint8_t* node, const NodeLayout& layout) {
  Reverse(node, 4);      // type word
  Reverse(node + 4, 4);  // Support
  if (layout.fixed_size != 0) {
    if (layout.variable()) {  // code 11: encoding and CCSID of the untyped bytes
      Reverse(node + layout.fixed_offset, 4);
      Reverse(node + layout.fixed_offset + 4, 4);
    } else {
      Reverse(node + layout.fixed_offset, layout.fixed_size);
    }
  }
  if (layout.variable()) Reverse(node + layout.length_offset, 4);
  Reverse(node + layout.name_length_offset, 2);
}

KWLONG ByteSwap(ZRFPAL* pal, bool reversed) {
  if (pal->pProps == nullptr || pal->Size < kHeaderLength) return KWRC_NONE;  // nothing to swap
  uint8_t* bytes = ListBytes(pal->pProps);
  const uint32_t strucLen = Load32(bytes + offsetof(ZRFPROPS, StrucLen), reversed);
  const uint32_t version = Load32(bytes + offsetof(ZRFPROPS, VersionFlags), reversed);
  if (std::memcmp(bytes, ZRFP_STRUC_ID, 4) != 0 ||
      (version & ZRFP_VERSION_MASK) != ZRFP_VERSION_1 || strucLen < kHeaderLength ||
      strucLen > pal->Size) {
    return DamagedList(pal, __FILE__, kProbeDamaged, "Property list header damaged");
  }
  // Walk once without changing anything, so a damaged list is left as it was.
  for (uint32_t offset = kHeaderLength; offset < strucLen;) {
    SwapNode node;
    if (!ReadNode(bytes + offset, strucLen - offset, reversed, &node)) {
      return DamagedList(pal, __FILE__, kProbeDamaged, "Property node damaged");
    }
    offset += node.length;
  }
  for (uint32_t offset = kHeaderLength; offset < strucLen;) {
    SwapNode node;
    ReadNode(bytes + offset, strucLen - offset, reversed, &node);
    SwapNodeFields(bytes + offset, *node.layout);
    offset += node.length;
  }
  Reverse(bytes + offsetof(ZRFPROPS, VersionFlags), 4);
  Reverse(bytes + offsetof(ZRFPROPS, StrucLen), 4);
  Reverse(bytes + offsetof(ZRFPROPS, PropsLen), 4);
  Reverse(bytes + offsetof(ZRFPROPS, CCSID), 4);
  return KWRC_NONE;
}

}  // namespace
}  // namespace zxv::props

namespace zp = zxv::props;

extern "C" {

ZXV_API KWLONG zrfByteSwapProperties(KWLONG Options, ZRFPAL* pPAL, KWLONG* pCompCode,
                                     KWLONG* pReason) {
  xtr_FNC_entry(zxv::kComponent, zp::kFnByteSwapProperties);
  const KWLONG reason = pPAL == nullptr
                            ? zp::MissingParameter("pPAL", __FILE__, zp::kProbeMissing)
                            : zp::ByteSwap(pPAL, (Options & ZRF_SWAP_LIST_IS_REVERSED) != 0);
  zp::SetCodes(reason, pCompCode, pReason);
  xtr_FNC_retcode(zxv::kComponent, zp::kFnByteSwapProperties, reason);
  return reason;
}

}  // extern "C"
