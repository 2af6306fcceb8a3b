// Field tables of the fixed headers and the table-driven conversion of them.
//
// Each header is described by its fields (offset, length, kind); a field is
// an integer converted by encoding, characters converted by CCSID into the
// same width (padded with the target's blank), a character integer, or bytes
// copied unchanged. Bytes not named by any field are copied unchanged.
#pragma once

#include <cstddef>
#include <cstdint>

#include "dataconv/converter.h"

namespace zxv::dataconv {

enum class FieldKind : uint8_t {
  kInt16,    // a 16-bit integer
  kInt32,    // a 32-bit integer
  kChars,    // characters, blank padded
  kCharInt,  // an integer written as characters
  kBytes,    // identifiers, tokens: never converted
};

struct Field {
  uint16_t offset;
  uint16_t length;
  FieldKind kind;
};

// What a header converter needs to know of its header.
struct HeaderLayout {
  const char* struc_id;  // 4 characters, local form
  size_t fixed_length;   // bytes of the fixed part
  const Field* fields;   // the fields of the fixed part
  size_t field_count;
  // Offsets of what follows the header: Encoding, CCSID, Format; and of the
  // StrucLength field (kNone when the header has a fixed length only).
  size_t next_encoding_at;
  size_t next_ccsid_at;
  size_t next_format_at;
  size_t struc_length_at;
  static constexpr size_t kNone = static_cast<size_t>(-1);
};

// The offsets of the standard prefix that most headers share.
inline constexpr size_t kPrefixStrucLengthAt = 8;
inline constexpr size_t kPrefixEncodingAt = 12;
inline constexpr size_t kPrefixCcsidAt = 16;
inline constexpr size_t kPrefixFormatAt = 20;
inline constexpr size_t kPrefixLength = 32;

// The fields of the standard prefix, for tables that begin with them.
// clang-format off
#define ZXV_STANDARD_PREFIX_FIELDS \
  {0, 4, FieldKind::kChars},       \
  {4, 4, FieldKind::kInt32},       \
  {8, 4, FieldKind::kInt32},       \
  {12, 4, FieldKind::kInt32},      \
  {16, 4, FieldKind::kInt32},      \
  {20, 8, FieldKind::kChars},      \
  {28, 4, FieldKind::kInt32}
// clang-format on

// Checks that step.in holds at least `length` bytes and step.out has room for
// `out_length`: 0, 2119 (input too short) or 2120.
int32_t CheckRoom(const Step& step, size_t length, size_t out_length);

// Checks the structure identifier at step.in (in the source CCSID) against
// `struc_id`: 0 or 2110.
int32_t CheckStrucId(const Step& step, const char* struc_id);

// Converts the fields of a table from step.in to step.out, copying the bytes
// between them; `length` is the extent covered (at least the last field's
// end). Returns 0 or the reason of the first field that failed.
int32_t ConvertFields(const Step& step, const Field* fields, size_t count, size_t length);

// The whole conversion of a fixed header by its layout, for the headers
// without a variable part: checks room, identifier, encodings and
// StrucLength (equal to the fixed length where the header has one), converts
// the fields and describes what follows in step. Also the first part of the
// variable headers' conversion, with `struc_length` receiving the header's
// StrucLength (the fixed length when it has none) and the StrucLength check
// relaxed to fixed <= StrucLength <= input.
int32_t ConvertFixedHeader(Step& step, const HeaderLayout& layout, bool variable,
                           size_t* struc_length);

// Describes in step what follows a header, from the converted header's input
// fields; writes the target Encoding and CCSID (a CCSID of 0, -1 or -2 is
// kept) into the output. Returns 0 or 2110 when the format name does not
// convert.
int32_t DescribeNext(Step& step, const HeaderLayout& layout);

}  // namespace zxv::dataconv
