// Writing a parsed property as the last node of a property list, with
// everything about the node known at once: the folder parser's end-of-list
// appends. The node's bytes are exactly those the store writes for the same
// property (a test compares the two). Inline: both the session and the
// fused pass (folder_fast_pass.cpp) call it once per property; the checks
// of the store's node check and the node writer folded into one pass, with
// the layout read from the store's table.
//
//   uint32_t at = 0;
//   KWLONG reason = AppendParsedNode(pal, property, &at);
#pragma once

#include <cstdint>
#include <cstring>

#include "props/byte_words.h"
#include "props/folder_session.h"
#include "props/property_store.h"
#include "zxvxzu/properties.h"

namespace zxv::props {

// CopyShort for values, which are often 17 to 32 bytes long: those in two
// overlapping 16-byte moves rather than a library call.
inline uint8_t* CopyValue(uint8_t* to, const uint8_t* from, uint32_t n) {
  if (n > 16 && n <= 32) {
    uint8_t a[16];
    uint8_t b[16];
    std::memcpy(a, from, 16);
    std::memcpy(b, from + n - 16, 16);
    std::memcpy(to, a, 16);
    std::memcpy(to + n - 16, b, 16);
    return to + n;
  }
  return CopyShort(to, from, n);
}

// For typed appends: every layout of a parsed type has its value (or a
// variable value's length) in the node's bytes 8 to 15, followed there
// only by fields written after it, and is at least 16 bytes long.
inline constexpr uint32_t kTypedValueWord = 8;
struct TypedValueShifts {
  uint8_t bits[ZRF_TYPE_NULL];
  bool fit;
};
inline constexpr TypedValueShifts kTypedValueShift = [] {
  TypedValueShifts t{};
  t.fit = true;
  for (uint32_t code = 0; code < ZRF_TYPE_NULL; ++code) {
    const NodeLayout& l = kNodeLayouts[code];
    // Bytes 8 to 15 covered by the value (or its length), the name's
    // length, the copy options and the name or padding from name_offset.
    uint32_t covered = 0;
    auto cover = [&](uint32_t from, uint32_t bytes) {
      for (uint32_t b = from; b < from + bytes; ++b) {
        if (b >= kTypedValueWord && b < 16) covered |= 1u << (b - kTypedValueWord);
      }
    };
    if (l.length_offset != kNoField) {
      t.fit = t.fit && l.length_offset == kTypedValueWord;
      cover(l.length_offset, 4);
    } else {
      t.fit = t.fit && l.fixed_offset >= kTypedValueWord && l.fixed_offset + l.fixed_size <= 16;
      t.bits[code] = static_cast<uint8_t>(8 * (l.fixed_offset - kTypedValueWord));
      cover(l.fixed_offset, l.fixed_size);
    }
    cover(l.name_length_offset, 2);
    cover(l.copy_offset, 1);
    cover(l.name_offset, 16);
    // A node at least 16 bytes long (its padding word covers the bytes
    // behind a short name).
    t.fit = t.fit && covered == 0xFF && l.name_offset >= 12;
  }
  return t;
}();
static_assert(kTypedValueShift.fit);

// Appends `property` (name and text values already in the list's CCSID;
// type ZRF_TYPE_STRING to ZRF_TYPE_NULL with a value of that
// type's size) behind the last node of the usable list in `pal`, growing
// the list when needed; *offset receives the node's offset. The name's
// property.name_length bytes are written by writeName(to), which returns
// the end of what it wrote (property.name is not read). Returns
// KWRC_NONE, KWRC_PROPERTY_NAME_ERROR for an empty name or one longer than a
// node can hold, KWRC_PROPERTY_TYPE_ERROR for a value that does not fit the
// type, or 2071/2102/2195 when the list cannot grow; the list is unchanged
// on failure. A caller that (`kTyped`) guarantees a type the parser makes
// with a value of that type's size, never null, skips those checks.
//
// A kTyped caller also gives the node's value word (`fixed`): the
// fixed-size value (its low bytes the value, booleans 0 or 1) or the
// variable value's length, which the node takes in one store without a
// branch on the type.
template <bool kTyped = false, typename WriteName>
[[gnu::always_inline]] inline KWLONG AppendParsedNodeWith(ZRFPAL* pal,
                                                          const ParsedProperty& property,
                                                          WriteName&& writeName, uint32_t* offset,
                                                          uint64_t fixed = 0) {
  const uint32_t code = property.type;
  if (!kTyped && code >= ZRF_TYPE_NAME_ONLY) return KWRC_PROPERTY_TYPE_ERROR;  // never parsed
  const NodeLayout& layout = kNodeLayouts[code];
  const uint32_t nameLength = property.name_length;
  if (nameLength == 0 || nameLength > kMaxNameLength) return KWRC_PROPERTY_NAME_ERROR;
  const bool variable = layout.variable();
  const uint32_t valueLength = property.value_length;
  if (!kTyped) {
    if (!variable && valueLength != layout.fixed_size) return KWRC_PROPERTY_TYPE_ERROR;
    if (property.value == nullptr && valueLength != 0) return KWRC_PROPERTY_TYPE_ERROR;
  }
  // The value's bytes counted without a branch on the type for a typed
  // caller (RawNodeLength's sum).
  const uint64_t length =
      PadToNodeAlignment(kTyped ? layout.name_offset + uint64_t{nameLength} +
                                      ((uint64_t{valueLength} + 1) & (0 - uint64_t{variable}))
                                : RawNodeLength(layout, nameLength, valueLength));
  if (length > kMaxListSize - kHeaderLength) return KWRC_STORAGE_NOT_AVAILABLE;
  if (length > pal->Size - pal->pProps->StrucLen) {
    if (const KWLONG reason = EnsureRoom(pal, length); reason != KWRC_NONE) return reason;
  }

  ZRFPROPS* list = pal->pProps;
  const uint32_t at = list->StrucLen;
  uint8_t* node = ListBytes(list) + at;
  if constexpr (kTyped) {
    // The node's third and fourth words at once: a variable value's length
    // or the fixed value (an int8 two bytes in), with whatever is in the
    // word behind them, which the name's length, the copy options, the
    // name and the padding (all stored after it) cover.
    const uint64_t word = fixed << kTypedValueShift.bits[code];
    std::memcpy(node + kTypedValueWord, &word, sizeof word);
    StoreU32(node + length - 4, 0);
    StoreU32(node, code | (property.user_context ? ZRF_FLAG_USER_CONTEXT : 0u));
    StoreU32(node + 4, property.support);
  } else {
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
  }
  StoreU16(node + layout.name_length_offset, static_cast<uint16_t>(nameLength));
  node[layout.copy_offset] = property.copy_options;
  uint8_t* cursor = writeName(node + layout.name_offset);
  if (variable) *CopyValue(cursor, property.value, valueLength) = 0;
  list->StrucLen = at + static_cast<uint32_t>(length);
  list->PropsLen += nameLength + valueLength;
  *offset = at;
  return KWRC_NONE;
}

// AppendParsedNodeWith for a name that lies whole at property.name.
[[gnu::always_inline]] inline KWLONG AppendParsedNode(ZRFPAL* pal, const ParsedProperty& property,
                                                      uint32_t* offset) {
  return AppendParsedNodeWith(
      pal, property,
      [&](uint8_t* to) { return CopyShort(to, property.name, property.name_length); }, offset);
}

}  // namespace zxv::props
