// Writing a parsed property as the last node of a property list, with
// everything about the node known at once: the folder parser's end-of-list
// appends. The node's bytes are exactly those the store writes for the same
// property (a test compares the two).
//
//   uint32_t at = 0;
//   KWLONG reason = AppendParsedNode(pal, property, &at);
#pragma once

#include <cstdint>

#include "props/folder_session.h"
#include "zxvxzu/properties.h"

namespace zxv::props {

// Appends `property` (name and text values already in the list's CCSID;
// type ZRF_TYPE_STRING to ZRF_TYPE_NULL with a value of that
// type's size) behind the last node of the usable list in `pal`, growing
// the list when needed; *offset receives the node's offset. Returns
// KWRC_NONE, KWRC_PROPERTY_NAME_ERROR for an empty name or one longer than a
// node can hold, KWRC_PROPERTY_TYPE_ERROR for a value that does not fit the
// type, or 2071/2102/2195 when the list cannot grow; the list is unchanged
// on failure.
KWLONG AppendParsedNode(ZRFPAL* pal, const ParsedProperty& property, uint32_t* offset);

}  // namespace zxv::props
