// The chain of headers in front of message data, inside the library: the
// layouts the walk needs of each header kind, integers in either byte
// order, format names in any CCSID, and the classification of a format.
// zrfLocateKWRFH2, zrfInsertKWRFH2 and zrfStripFolders build on it.
//
//   const bool reversed = ReversedIntegers(encoding);
//   const int32_t length = LoadInt(header + kStrucLengthOffset, reversed);
//   char format[8];
//   if (!ReadChainText(header + kFormatOffset, 8, ccsid, encoding, format, fn)) ... end
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "base/trace_ids.h"
#include "zxvxzu/headers.h"
#include "zxvxzu/kwrfh2.h"
#include "zxvxzu/pcf.h"

namespace zxv::props {

// Trace function numbers of the header family. The parser and the
// properties-to-header conversions number theirs from kFnRfh2Base + 0x40
// and kFnRfh2Base + 0x60 on.
inline constexpr uint32_t kFnRfh2Base = kFnBaseProps + 0x80;
inline constexpr uint32_t kFnLocateKWRFH2 = kFnRfh2Base + 0x00;
inline constexpr uint32_t kFnInsertKWRFH2 = kFnRfh2Base + 0x01;
inline constexpr uint32_t kFnStripFolders = kFnRfh2Base + 0x02;

// ---------------------------------------------------------------------------
// Layouts. Every header with the standard prefix (StrucId, Version,
// StrucLength, Encoding, CodedCharSetId, Format) has these offsets.
inline constexpr uint32_t kFormatLength = KW_FORMAT_LENGTH;
inline constexpr uint32_t kStrucIdLength = 4;
inline constexpr uint32_t kVersionOffset = 4;
inline constexpr uint32_t kStrucLengthOffset = 8;
inline constexpr uint32_t kEncodingOffset = 12;
inline constexpr uint32_t kCcsidOffset = 16;
inline constexpr uint32_t kFormatOffset = 20;
inline constexpr uint32_t kStandardHeaderMin = 32;  // a header with the standard prefix

// KWRFH2 and its older form.
inline constexpr uint32_t kRfh2FixedLength = KWRFH_STRUC_LENGTH_FIXED_2;
inline constexpr uint32_t kRfh1FixedLength = KWRFH_STRUC_LENGTH_FIXED;
inline constexpr uint32_t kRfhFlagsOffset = 28;
inline constexpr uint32_t kRfh2NameValueCcsidOffset = 32;
inline constexpr uint32_t kFolderLengthBytes = 4;  // NameValueLength in front of each folder

// The other headers the walk steps over; where each keeps the Encoding,
// CCSID and Format of what follows it.
struct NextFields {
  uint32_t encoding;
  uint32_t ccsid;
  uint32_t format;
};
inline constexpr uint32_t kXqhLength = KWXQH_LENGTH;  // transmission-queue header
inline constexpr NextFields kXqhNext{offsetof(KWXQH, MsgDesc) + offsetof(KWMD1, Encoding),
                                     offsetof(KWXQH, MsgDesc) + offsetof(KWMD1, CodedCharSetId),
                                     offsetof(KWXQH, MsgDesc) + offsetof(KWMD1, Format)};
inline constexpr uint32_t kDlhLength = KWDLH_LENGTH;  // dead-letter header
inline constexpr NextFields kDlhNext{offsetof(KWDLH, Encoding), offsetof(KWDLH, CodedCharSetId),
                                     offsetof(KWDLH, Format)};
inline constexpr uint32_t kMdeLength = KWMDE_LENGTH;  // descriptor extension
inline constexpr NextFields kStandardNext{kEncodingOffset, kCcsidOffset, kFormatOffset};
inline constexpr uint32_t kEphMinLength = KWEPH_LENGTH_FIXED;  // embedded command format
inline constexpr uint32_t kEphCommandTypeOffset = offsetof(KWEPH, Type);
inline constexpr uint32_t kCfhLength = KWCFH_STRUC_LENGTH;  // command-format header
inline constexpr uint32_t kCfhTypeOffset = offsetof(KWCFH, Type);
inline constexpr int32_t kCfhTypeTraceRoute = KWCFT_TRACE_ROUTE;

inline constexpr int32_t kLocalCcsid = 1208;  // the machine's own CCSID
inline constexpr int32_t kUtf8Ccsid = 1208;
inline constexpr int32_t kNativeEncodingValue = KWENC_NATIVE;

// ---------------------------------------------------------------------------
// Integers in the chain: machine order (little-endian) when the encoding's
// integer part is 0 or 2, reversed otherwise.
inline bool ReversedIntegers(int32_t encoding) {
  const int32_t part = encoding & KWENC_INTEGER_MASK;
  return part != 0 && part != KWENC_INTEGER_REVERSED;
}

inline int32_t LoadInt(const uint8_t* p, bool reversed) {
  uint32_t v;
  std::memcpy(&v, p, sizeof v);
  if (reversed) v = __builtin_bswap32(v);
  return static_cast<int32_t>(v);
}

inline void StoreInt(uint8_t* p, int32_t value, bool reversed) {
  auto v = static_cast<uint32_t>(value);
  if (reversed) v = __builtin_bswap32(v);
  std::memcpy(p, &v, sizeof v);
}

// The CCSID in force behind a structure that names `named`: 0, -1 and -2
// keep the one before.
inline int32_t ChainCcsid(int32_t before, int32_t named) {
  return named == 0 || named == -1 || named == -2 ? before : named;
}

// ---------------------------------------------------------------------------
// Character fields of chain structures.

// Reads `length` (at most 8) characters in `ccsid` into `out` in the
// machine's CCSID: copied as they stand for 1208 and for a CCSID the
// platform cannot convert, converted otherwise (shorter results padded with
// NUL, which matches no format). Any other conversion failure writes a
// failure record and gives false.
// ReadChainText for a CCSID other than the machine's (rfh2_chain.cpp).
bool ReadConvertedChainText(const uint8_t* raw, uint32_t length, int32_t ccsid, int32_t encoding,
                            char* out, uint32_t fn);

// The machine's CCSID, the usual one, copied here without a call.
inline bool ReadChainText(const uint8_t* raw, uint32_t length, int32_t ccsid, int32_t encoding,
                          char* out, uint32_t fn) {
  if (ccsid == kUtf8Ccsid || ccsid == kLocalCcsid) {
    std::memcpy(out, raw, length);
    return true;
  }
  return ReadConvertedChainText(raw, length, ccsid, encoding, out, fn);
}

// Writes `length` (at most 8) characters of the machine's CCSID into `out`
// in `ccsid`: copied for 1208, converted otherwise; when the conversion
// fails or changes the length the characters are copied as they stand.
void WriteChainText(const char* local, uint32_t length, int32_t ccsid, int32_t encoding,
                    uint8_t* out);

// ---------------------------------------------------------------------------
// Formats the walk knows.
enum class FormatKind {
  kRfh2,         // "KWHRF2  " (or "KWHRF2??" under partial matching)
  kRfh1,         // "KWHRF   "
  kEmbeddedPcf,  // "KWHEPCF "
  kXmit,         // "KWXMIT  "
  kDead,         // "KWDEAD  "
  kMdExtension,  // "KWHMDE  " (a standard header to the walk)
  kAdmin,        // "KWADMIN "
  kOtherHeader,  // any other "KWH..."
  kEnd,          // "KWSTR   ", anything not beginning "KW"
};

FormatKind ClassifyFormat(const char* format, bool partial_match);

// True when ZXV_PARTIAL_MATCH_RFH2 is set (read at each call, which the
// platform answers from its environment cache).
bool PartialMatchRfh2();

// ---------------------------------------------------------------------------
// The walk of zrfLocateKWRFH2 for callers inside the library, with the same
// contract; `data` may be null only when `length` is 0, `format` is never
// null, `loc` and `flags` may be null (rfh2_locate.cpp).
KWLONG LocateKWRFH2(const uint8_t* data, uint32_t length, const char* format, int32_t encoding,
                    int32_t ccsid, uint32_t start, ZRFLOC* loc, KWULONG* flags);

}  // namespace zxv::props
