// The internal interface of the format converters and the helpers they share.
//
// The engine (engine.cpp) walks a message structure by structure. For each
// structure it fills a Step with where the structure starts, what it is in
// and what it must become, looks the format up in the dispatch table and
// calls the converter. A converter converts its structure from step.in into
// step.out and reports what it consumed and wrote, and for a header what
// follows it; the engine then goes on with the rest of the data.
//
//   Step step = ...;                       // filled by the engine
//   int32_t reason = vwb_admin(step);      // a chain-ending converter
//   // reason 0: step.in_used == step.in_length, step.out_used bytes written
//
// Converters return a reason code: 0; 2079 when they wrote a truncated
// result because step.accept_truncation allowed it; anything else is a
// failure, after which the engine returns the whole message as it was given
// (so a converter need not undo what it wrote).
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "base/result.h"
#include "base/trace_ids.h"
#include "zxvxzu/dataconv.h"

namespace zxv::dataconv {

// Function numbers: the engine side uses kFnBaseDataConv + 0x00..0x7F, the
// PCF converter + 0x80..0xFF.
inline constexpr uint32_t kFnEngineBase = kFnBaseDataConv + 0x00;
inline constexpr uint32_t kFnPcfBase = kFnBaseDataConv + 0x80;

// One structure to convert.
struct Step {
  // What the structure is in and what it must become.
  int32_t source_encoding = 0;
  int32_t source_ccsid = 0;
  int32_t target_encoding = 0;
  int32_t target_ccsid = 0;
  // The format name under which the structure was dispatched (local form).
  char format[KW_FORMAT_LENGTH] = {};
  // From the structure's first byte to the end of the available data.
  const uint8_t* in = nullptr;
  size_t in_length = 0;
  // Where the converted structure goes, and the room left there. Never
  // overlaps `in`.
  uint8_t* out = nullptr;
  size_t out_length = 0;
  // The get accepts a truncated message: a converter that runs out of room
  // may write what fits and return 2079 instead of 2120.
  bool accept_truncation = false;

  // Set by the converter.
  size_t in_used = 0;   // bytes of `in` consumed (a chain end: all of them)
  size_t out_used = 0;  // bytes written to `out`
  // A header sets chain_ends false and describes what follows it: its
  // format in the local form (ASCII letters, as the dispatch table spells
  // them), and its encoding and CCSID as the header gave them (a CCSID of
  // 0, -1 or -2 is passed on as it is: the engine keeps the previous one).
  bool chain_ends = true;
  // A chain end that copied its data without conversion (no format, AMQP):
  // the structure in front keeps describing it with the source values.
  bool copied = false;
  char next_format[KW_FORMAT_LENGTH] = {};
  int32_t next_encoding = 0;
  int32_t next_ccsid = 0;
  // Where in `out` the header keeps the Encoding and CCSID of what follows,
  // written by the converter as the target values. When the rest of the
  // message is left unconverted, the engine writes the source values there
  // instead. kNoOffset: the header has no such fields.
  size_t next_encoding_at = kNoOffset;
  size_t next_ccsid_at = kNoOffset;

  static constexpr size_t kNoOffset = static_cast<size_t>(-1);
};

// A converter of one format.
using ConverterFn = int32_t (*)(Step& step);

// A row of the dispatch table: the format name over all 8 characters.
struct ConverterEntry {
  char format[KW_FORMAT_LENGTH];
  ConverterFn convert;
};

// The dispatch table of the built-in formats (engine's dispatch_table.cpp),
// "KWXMIT  " excluded (the engine handles it before the table), and its size.
extern const ConverterEntry kConverterTable[];
extern const size_t kConverterTableSize;

// Finds the converter of an 8-character local-form name; null when the name
// is not built in (blanks count: "KWSTR" + NULs is not "KWSTR   ").
ConverterFn FindConverter(const char* format);

// The PCF converter for "KWADMIN ", "KWEVENT " and "KWPCF   " (and the PCF
// part of an embedded PCF header), implemented in pcf_converter.cpp.
// Converts a PCF header and its parameters from step.in (in_length bytes:
// the PCF message ends where the data ends) into step.out; sets in_used to
// in_length and out_used to the converted length; chain_ends stays true.
// Strings change length when their CCSIDs do: their StringLength and
// StrucLength are rewritten. Returns 0, 2079 (truncated, accepted), 2119 for
// a malformed structure, 2120 when out is too small, or a reason of the
// primitives (2112, 2116, 2190, 2071...).
int32_t vwb_admin(Step& step);

// ---------------------------------------------------------------------------
// Integer byte orders.
// ---------------------------------------------------------------------------

// The integer part of an encoding: KWENC_INTEGER_NORMAL (1, big-endian),
// KWENC_INTEGER_REVERSED (2, little-endian); other values are not valid.
inline int32_t IntegerPart(int32_t encoding) { return encoding & KWENC_INTEGER_MASK; }
inline bool IsValidIntegerEncoding(int32_t encoding) {
  const int32_t part = IntegerPart(encoding);
  return part == KWENC_INTEGER_NORMAL || part == KWENC_INTEGER_REVERSED;
}
// This machine stores integers least significant byte first.
inline bool IsNativeOrder(int32_t encoding) {
  return IntegerPart(encoding) == KWENC_INTEGER_REVERSED;
}
// Checks both encodings for integer conversion: 0, 2116 (target checked
// first) or 2112.
inline int32_t CheckEncodings(int32_t source_encoding, int32_t target_encoding) {
  if (!IsValidIntegerEncoding(target_encoding)) return KWRC_TARGET_INTEGER_ENC_ERROR;
  if (!IsValidIntegerEncoding(source_encoding)) return KWRC_SOURCE_INTEGER_ENC_ERROR;
  return KWRC_NONE;
}

// Reads an integer stored in `encoding` (valid) at any alignment.
inline uint16_t LoadU16(const uint8_t* p, int32_t encoding) {
  uint16_t v;
  std::memcpy(&v, p, sizeof v);
  return IsNativeOrder(encoding) ? v : __builtin_bswap16(v);
}
inline int32_t LoadI32(const uint8_t* p, int32_t encoding) {
  uint32_t v;
  std::memcpy(&v, p, sizeof v);
  return static_cast<int32_t>(IsNativeOrder(encoding) ? v : __builtin_bswap32(v));
}
inline int64_t LoadI64(const uint8_t* p, int32_t encoding) {
  uint64_t v;
  std::memcpy(&v, p, sizeof v);
  return static_cast<int64_t>(IsNativeOrder(encoding) ? v : __builtin_bswap64(v));
}
// Writes an integer in `encoding` (valid) at any alignment.
inline void StoreU16(uint8_t* p, uint16_t value, int32_t encoding) {
  const uint16_t v = IsNativeOrder(encoding) ? value : __builtin_bswap16(value);
  std::memcpy(p, &v, sizeof v);
}
inline void StoreI32(uint8_t* p, int32_t value, int32_t encoding) {
  const uint32_t u = static_cast<uint32_t>(value);
  const uint32_t v = IsNativeOrder(encoding) ? u : __builtin_bswap32(u);
  std::memcpy(p, &v, sizeof v);
}
inline void StoreI64(uint8_t* p, int64_t value, int32_t encoding) {
  const uint64_t u = static_cast<uint64_t>(value);
  const uint64_t v = IsNativeOrder(encoding) ? u : __builtin_bswap64(u);
  std::memcpy(p, &v, sizeof v);
}

// Converts `count` integers of 2, 4 or 8 bytes from source_encoding to
// target_encoding (in may equal out; otherwise no overlap). Returns 0, 2116
// or 2112 (nothing written then). Traced "ConvertShort/ConvertLong from %x to
// %x for %d" at detail level.
int32_t ConvertShorts(int32_t source_encoding, int32_t target_encoding, const void* in, void* out,
                      size_t count);
int32_t ConvertLongs(int32_t source_encoding, int32_t target_encoding, const void* in, void* out,
                     size_t count);
int32_t ConvertInt64s(int32_t source_encoding, int32_t target_encoding, const void* in, void* out,
                      size_t count);

// ---------------------------------------------------------------------------
// Characters.
// ---------------------------------------------------------------------------

// Converts characters as vxtConvertCharsFn (options VXT_CHARS_*); the work
// behind it without the argument checks. *out_used receives the bytes
// written. Returns the completion and reason codes.
Outcome ConvertChars(int32_t source_ccsid, int32_t source_encoding, int32_t target_ccsid,
                     int32_t target_encoding, const void* in, size_t in_length, void* out,
                     size_t out_length, uint32_t options, size_t* out_used);

// Fills `length` bytes at out with blanks of (ccsid, encoding): 0x40 for
// EBCDIC, U+0020 in the encoding's byte order for two-byte sets, else 0x20.
// A two-byte fill of odd length ends with a 0x00 byte.
void FillBlanks(uint8_t* out, size_t length, int32_t ccsid, int32_t encoding);

// Converts an integer written as characters from a field of in_chars
// characters to one of out_chars characters as vxtConvertCharIntOL does
// (value right-aligned, blanks in front). Returns 0, 2112, 2116, 2119 or 2190;
// nothing is written on failure.
int32_t ConvertCharIntField(int32_t source_ccsid, int32_t source_encoding, int32_t target_ccsid,
                            int32_t target_encoding, const uint8_t* in, size_t in_chars,
                            uint8_t* out, size_t out_chars);

// Brings a short name (a format name, an eye-catcher: `length` <= 8 bytes)
// in `ccsid` to the local form, ASCII letters, into local[length]. Single
// byte ASCII-based and UTF-8 CCSIDs copy; others go through the conversion
// service. Returns false when the name does not convert to `length` bytes
// (the name is then no name the table knows).
bool NameToLocal(const uint8_t* name, size_t length, int32_t ccsid, char* local);

}  // namespace zxv::dataconv
