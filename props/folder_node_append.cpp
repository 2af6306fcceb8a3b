// The folder parser's end-of-list append (folder_node_append.h): the
// checks of the store's node check and the node writer folded into one
// pass, with the layout read from the store's table.
#include "props/folder_node_append.h"

#include <cstring>

#include "props/property_store.h"

namespace zxv::props {
KWLONG AppendParsedNode(ZRFPAL* pal, const ParsedProperty& property, uint32_t* offset) {
  const uint32_t code = property.type;
  if (code >= ZRF_TYPE_NAME_ONLY) return KWRC_PROPERTY_TYPE_ERROR;  // the parser makes none
  const NodeLayout& layout = kNodeLayouts[code];
  const uint32_t nameLength = property.name_length;
  if (nameLength == 0 || nameLength > kMaxNameLength) return KWRC_PROPERTY_NAME_ERROR;
  const bool variable = layout.variable();
  const uint32_t valueLength = property.value_length;
  if (!variable && valueLength != layout.fixed_size) return KWRC_PROPERTY_TYPE_ERROR;
  if (property.value == nullptr && valueLength != 0) return KWRC_PROPERTY_TYPE_ERROR;
  const uint64_t length = PadToNodeAlignment(RawNodeLength(layout, nameLength, valueLength));
  if (length > kMaxListSize - kHeaderLength) return KWRC_STORAGE_NOT_AVAILABLE;
  if (length > pal->Size - pal->pProps->StrucLen) {
    if (const KWLONG reason = EnsureRoom(pal, length); reason != KWRC_NONE) return reason;
  }

  ZRFPROPS* list = pal->pProps;
  const uint32_t at = list->StrucLen;
  uint8_t* node = ListBytes(list) + at;
  // The padding is the node's last word: zeroed first, the contents
  // written over it.
  StoreU32(node + length - 4, 0);
  StoreU32(node, code | (property.user_context ? ZRF_FLAG_USER_CONTEXT : 0u));
  StoreU32(node + 4, property.support);
  if (variable) {
    StoreU32(node + layout.length_offset, valueLength);
  } else if (code == ZRF_TYPE_BOOLEAN) {
    // A boolean is stored as 0 or 1 whatever non-zero value it came as.
    StoreU32(node + layout.fixed_offset, LoadU32(property.value) != 0 ? 1u : 0u);
  } else {
    // Fixed sizes as constants, so that each copy is one load and store.
    uint8_t* to = node + layout.fixed_offset;
    switch (layout.fixed_size) {
      case 1:
        *to = *property.value;
        break;
      case 2:
        std::memcpy(to, property.value, 2);
        break;
      case 4:
        std::memcpy(to, property.value, 4);
        break;
      case 8:
        std::memcpy(to, property.value, 8);
        break;
      default:
        break;  // null: no value
    }
  }
  StoreU16(node + layout.name_length_offset, static_cast<uint16_t>(nameLength));
  node[layout.copy_offset] = property.copy_options;
  uint8_t* cursor = CopyShort(node + layout.name_offset, property.name, nameLength);
  if (variable) *CopyShort(cursor, property.value, valueLength) = 0;
  list->StrucLen = at + static_cast<uint32_t>(length);
  list->PropsLen += nameLength + valueLength;
  *offset = at;
  return KWRC_NONE;
}

}  // namespace zxv::props
