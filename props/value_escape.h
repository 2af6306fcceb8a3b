// Escaping of values in folder text, inside the library: the per-family
// routine tables that the folder parser and the header writer use, indexed
// by CCSIDType, so that no caller picks a family's routine by name.
//
//   const EscapeRoutines* r = EscapeRoutinesFor(list->CCSIDType);
//   if (r == nullptr) ... no family: the text cannot be escaped ...
//   uint32_t used = 0;
//   uint8_t* out = reserve(r->escaped_size(value, length));
//   r->expand(value, length, out, &used);
//
// All lengths are in bytes. The UCS-2 families ignore a trailing odd byte.
// The routines trust their arguments (non-null, output sized with the
// matching size routine) and neither trace nor fail.
#pragma once

#include <cstdint>

#include "base/trace_ids.h"

namespace zxv::props {

// Trace function numbers of the exported escaping routines: per family
// (CCSIDType t) kFnEscapeBase + 4 * t + {0 size, 1 expand, 2 compress}.
inline constexpr uint32_t kFnEscapeBase = kFnBaseProps + 0xA0;

struct EscapeRoutines {
  // Bytes of the escaped form: "&" 5 units, "<" 4, any other unit 1.
  uint32_t (*escaped_size)(const uint8_t* text, uint32_t length);
  // Appends the escaped form at out + *out_length; adds what it wrote.
  void (*expand)(const uint8_t* text, uint32_t length, uint8_t* out, uint32_t* out_length);
  // Writes the unescaped form at out (out may equal text); sets *out_length.
  void (*compress)(const uint8_t* text, uint32_t length, uint8_t* out, uint32_t* out_length);
  // Appends the text with every double quote doubled, enclosed in double
  // quotes when `enclose`; adds what it wrote to *out_length.
  void (*quote)(bool enclose, const uint8_t* text, uint32_t length, uint8_t* out,
                uint32_t* out_length);
  // Bytes that quote() writes for the same arguments.
  uint32_t (*quoted_size)(bool enclose, const uint8_t* text, uint32_t length);
};

// Indexed by CCSIDType (XCS_CCSID_TYPE_*): 1 ASCII, 2 EBCDIC, 3 UTF8,
// 4 LUCS2, 5 BUCS2. Entry 0 (unknown family) holds null routines.
inline constexpr uint32_t kEscapeFamilies = 6;
extern const EscapeRoutines kEscapeRoutines[kEscapeFamilies];

// The table entry of a family; null for an unknown family.
inline const EscapeRoutines* EscapeRoutinesFor(uint32_t ccsid_type) {
  if (ccsid_type == 0 || ccsid_type >= kEscapeFamilies) return nullptr;
  return &kEscapeRoutines[ccsid_type];
}

}  // namespace zxv::props
