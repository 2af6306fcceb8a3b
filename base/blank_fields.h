// Blank-padded fields: fixed-width names padded on the right with blanks
// (0x20) and never NUL-terminated, and their C-string forms.
//
// A NUL inside a field ends its meaningful part as a blank would. Widths are
// trusted: `field` holds `width` bytes and `out` holds `width` + 1. Null
// pointers and negative widths are treated as empty fields.
//
//   char field[48];
//   CvtNameFromStr("QM1", field, 48);   // "QM1" + 45 blanks
//   char s[49];
//   CvtName2Str(field, s, 48);          // "QM1"
#pragma once

#include <cstdint>

namespace zxv::base {

inline constexpr char kBlank = ' ';

// True for the two bytes that end a name: blank and NUL (the byte with bit
// 0x20 cleared is zero).
constexpr bool IsBlankOrNul(char c) { return (static_cast<uint8_t>(c) & ~0x20u) == 0; }

// Copies the NUL-terminated `src` into `field` (at most `width` bytes) and
// blanks the rest of the field.
void CvtNameFromStr(const char* src, char* field, uint32_t width);

// Blanks `buf` from its first NUL within `width` bytes to the end; a buffer
// without a NUL is unchanged.
void BlankPad(char* buf, uint32_t width);

// Copies the field into `out`, sets out[width] to NUL and ends the string at
// the first blank or NUL: 'AB CD' gives "AB" (object names hold no blanks).
void CvtName2Str(const char* field, char* out, uint32_t width);

// Copies the field into `out`, sets out[width] to NUL and turns trailing
// blanks and NULs into NULs, from index `width` down to index 1. Index 0 is
// never examined, so an all-blank user identifier gives " ". Inner blanks
// are kept.
void CvtUser2Str(const char* field, char* out, int32_t width);

// Bytes before the first blank or NUL, at most `width` (0 when width <= 0).
int32_t LengthNoBlanks(const char* field, int32_t width);

// True when the name is blank: its first byte is NUL, or its first 48 bytes
// up to any NUL are all blanks. A null name is blank.
bool IsBlankName(const char* name);

}  // namespace zxv::base
