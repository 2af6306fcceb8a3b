// The PCF converter (vwb_admin): a command-format message, its header and
// its parameters with groups to any depth, from one encoding and CCSID to
// another.
//
// Groups are walked without recursion and without a stack: a group only adds
// its member count to the number of structures still to come, and the
// members follow it directly, so one counter covers every depth.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "dataconv/converter.h"
#include "dataconv/single_byte_map.h"
#include "zxvxcs2/xcs_ccsid.h"
#include "zxvxcs2/xcs_message.h"
#include "zxvxcs2/xcs_trace.h"
#include "zxvxzu/pcf.h"

namespace zxv::dataconv {
namespace {

constexpr uint32_t kFnVwbAdmin = kFnPcfBase + 0x00;

// Catalogue messages of the header and parameter checks.
constexpr uint32_t kMsgHeaderLength = 7924;
constexpr uint32_t kMsgHeaderVersion = 7925;
constexpr uint32_t kMsgHeaderCount = 7926;
constexpr uint32_t kMsgParameterType = 7927;

// Field offsets shared by every parameter structure.
constexpr size_t kTypeAt = 0;
constexpr size_t kLengthAt = 4;
constexpr size_t kTypeAndLength = 8;

// Strings convert through a table once this many of their bytes in one
// message went through the conversion service for the same CCSID pair:
// building a table costs 256 service calls, once per process and pair.
constexpr size_t kBytesBeforeTable = 1024;

size_t RoundUp4(size_t n) { return (n + 3) & ~static_cast<size_t>(3); }

// Reverses the bytes of each of `count` 32-bit values from in to out (no
// overlap). Integer lists are most of many messages, so four values go at a
// time where the machine has 128-bit registers.
void SwapLongs(const uint8_t* in, uint8_t* out, size_t count) {
  size_t k = 0;
#if defined(__SSE2__)
  for (; k + 4 <= count; k += 4) {
    __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in + 4 * k));
    v = _mm_shufflehi_epi16(_mm_shufflelo_epi16(v, 0xB1), 0xB1);   // halves of each value
    v = _mm_or_si128(_mm_slli_epi16(v, 8), _mm_srli_epi16(v, 8));  // bytes of each half
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 4 * k), v);
  }
#endif
  for (; k < count; ++k) {
    uint32_t v;
    std::memcpy(&v, in + 4 * k, sizeof v);
    v = __builtin_bswap32(v);
    std::memcpy(out + 4 * k, &v, sizeof v);
  }
}

// As SwapLongs for 64-bit values.
void SwapInt64s(const uint8_t* in, uint8_t* out, size_t count) {
  size_t k = 0;
#if defined(__SSE2__)
  for (; k + 2 <= count; k += 2) {
    __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in + 8 * k));
    v = _mm_shufflehi_epi16(_mm_shufflelo_epi16(v, 0x1B), 0x1B);   // quarters of each value
    v = _mm_or_si128(_mm_slli_epi16(v, 8), _mm_srli_epi16(v, 8));  // bytes of each quarter
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 8 * k), v);
  }
#endif
  for (; k < count; ++k) {
    uint64_t v;
    std::memcpy(&v, in + 8 * k, sizeof v);
    v = __builtin_bswap64(v);
    std::memcpy(out + 8 * k, &v, sizeof v);
  }
}

// Smallest structure length a parameter of `type` may declare; 8 (type and
// length) for types the converter does not know.
size_t MinimumLength(int32_t type) {
  switch (type) {
    case KWCFT_INTEGER:
      return KWCFIN_STRUC_LENGTH;
    case KWCFT_STRING:
      return KWCFST_STRUC_LENGTH_FIXED;
    case KWCFT_INTEGER_LIST:
      return KWCFIL_STRUC_LENGTH_FIXED;
    case KWCFT_STRING_LIST:
      return KWCFSL_STRUC_LENGTH_FIXED;
    case KWCFT_BYTE_STRING:
      return KWCFBS_STRUC_LENGTH_FIXED;
    case KWCFT_INTEGER_FILTER:
      return KWCFIF_STRUC_LENGTH;
    case KWCFT_STRING_FILTER:
      return KWCFSF_STRUC_LENGTH_FIXED;
    case KWCFT_BYTE_STRING_FILTER:
      return KWCFBF_STRUC_LENGTH_FIXED;
    case KWCFT_GROUP:
      return KWCFGR_STRUC_LENGTH;
    case KWCFT_INTEGER64:
      return KWCFIN64_STRUC_LENGTH;
    case KWCFT_INTEGER64_LIST:
      return KWCFIL64_STRUC_LENGTH_FIXED;
    default:
      return kTypeAndLength;
  }
}

// Converts one message. Reads step.in from in_ and writes step.out from
// out_; every structure is checked against the data before any of it is
// written.
class PcfConversion {
 public:
  explicit PcfConversion(Step& step)
      : s_(step), swap_(IntegerPart(step.source_encoding) != IntegerPart(step.target_encoding)) {}

  int32_t Run();

 private:
  // Integer fields at `at` within the current structure, read from the
  // source, written converted into the structure's place in the output.
  int32_t Get32(size_t at) const { return LoadI32(s_.in + in_ + at, s_.source_encoding); }
  void Put32(size_t at, int32_t value) { StoreI32(s_.out + out_ + at, value, s_.target_encoding); }
  void Copy32(size_t at) {
    uint32_t v;
    std::memcpy(&v, s_.in + in_ + at, sizeof v);
    if (swap_) v = __builtin_bswap32(v);
    std::memcpy(s_.out + out_ + at, &v, sizeof v);
  }
  void CopyBytes(size_t at, size_t n) {
    if (n > 0) std::memcpy(s_.out + out_ + at, s_.in + in_ + at, n);
  }
  size_t Room() const { return s_.out_length - out_; }

  int32_t Header();
  int32_t Parameter();
  // Parameters whose converted length is their source length.
  int32_t Fixed(int32_t type, size_t length);
  // A string parameter or filter: `fixed` bytes of fields with the CCSID at
  // ccsid_at and the string length at length_at, then the string.
  int32_t String(size_t length, size_t fixed, size_t ccsid_at, size_t length_at);
  int32_t StringList(size_t length);

  // Converts one string of `n` bytes in `ccsid` (0: the message's) to the
  // target CCSID into dst, `room` bytes; *used receives the bytes written.
  // 2120 when it does not fit; other reasons as the character conversion.
  int32_t ConvertString(int32_t ccsid, const uint8_t* src, size_t n, uint8_t* dst, size_t room,
                        size_t* used);
  // The CCSID field of a converted string: 0 stays "the message's".
  int32_t TargetCcsidField(int32_t ccsid) const { return ccsid == 0 ? 0 : s_.target_ccsid; }

  // Shows `message` (7925, 7926) with the reason as its return code.
  int32_t HeaderFieldFailed(uint32_t message, int32_t reason);
  int32_t BadLength(int32_t length);
  int32_t Incomplete(int32_t length);
  // The output cannot take the current structure: 2120. Even when the get
  // accepts truncation the walk stops here, so that a fault further on is
  // still found; the engine then converts the whole message aside and keeps
  // what fits.
  int32_t OutOfRoom() const { return KWRC_CONVERTED_MSG_TOO_BIG; }

  Step& s_;
  const bool swap_;
  size_t in_ = 0;   // start of the current structure in step.in
  size_t out_ = 0;  // start of its converted form in step.out
  int64_t to_come_ = 0;
  int32_t index_ = 0;  // position of the current parameter, from 0

  // Table lookups for the CCSID pair of the last string converted.
  int32_t pair_from_ = 0;
  bool pair_known_ = false;
  bool table_tried_ = false;
  const SingleByteMap* table_ = nullptr;
  size_t bytes_without_table_ = 0;
};

int32_t PcfConversion::BadLength(int32_t length) {
  xtr_parms(kComponent, kFnVwbAdmin, "Bad length in PCF header @1. Len=%d Index=%d", length,
            index_);
  return KWRC_NOT_CONVERTED;
}

int32_t PcfConversion::Incomplete(int32_t length) {
  xtr_parms(kComponent, kFnVwbAdmin, "Incomplete PCF header @2. Len=%d Index=%d", length, index_);
  return KWRC_NOT_CONVERTED;
}

int32_t PcfConversion::Header() {
  if (s_.in_length < KWCFH_STRUC_LENGTH) {
    xtr_parms(kComponent, kFnVwbAdmin, "Buffer too small for complete PCF header. Len=%u",
              static_cast<unsigned>(s_.in_length));
    return KWRC_NOT_CONVERTED;
  }
  const int32_t length = Get32(offsetof(KWCFH, StrucLength));
  if (length != KWCFH_STRUC_LENGTH) {
    xcsINSERTS inserts = {};
    inserts.Numbers[0] = length;
    xcsDisplayMessageForError(kMsgHeaderLength, 0, &inserts);
    return KWRC_NOT_CONVERTED;
  }
  if (Room() < KWCFH_STRUC_LENGTH) return OutOfRoom();

  constexpr size_t kVersionAt = offsetof(KWCFH, Version);
  constexpr size_t kCountAt = offsetof(KWCFH, ParameterCount);
  const int32_t count = Get32(kCountAt);
  // Type and length; then the version; then the fields up to the count,
  // which say nothing about the structure; then the count.
  int32_t reason = ConvertLongs(s_.source_encoding, s_.target_encoding, s_.in, s_.out, 2);
  if (reason != KWRC_NONE) return reason;
  reason = ConvertLongs(s_.source_encoding, s_.target_encoding, s_.in + kVersionAt,
                        s_.out + kVersionAt, 1);
  if (reason != KWRC_NONE) return HeaderFieldFailed(kMsgHeaderVersion, reason);
  for (size_t at = kVersionAt + 4; at < kCountAt; at += 4) Copy32(at);
  reason = count < 0 ? KWRC_NOT_CONVERTED
                     : ConvertLongs(s_.source_encoding, s_.target_encoding, s_.in + kCountAt,
                                    s_.out + kCountAt, 1);
  if (reason != KWRC_NONE) return HeaderFieldFailed(kMsgHeaderCount, reason);

  to_come_ = count;
  in_ = KWCFH_STRUC_LENGTH;
  out_ = KWCFH_STRUC_LENGTH;
  return KWRC_NONE;
}

int32_t PcfConversion::HeaderFieldFailed(uint32_t message, int32_t reason) {
  char code[16];
  std::snprintf(code, sizeof code, "%d", static_cast<int>(reason));
  xcsINSERTS inserts = {};
  inserts.Strings[2] = code;  // &5
  xcsDisplayMessageForError(message, 0, &inserts);
  return reason;
}

int32_t PcfConversion::Run() {
  int32_t reason = Header();
  while (reason == KWRC_NONE && to_come_ > 0) {
    --to_come_;
    reason = Parameter();
    ++index_;
  }
  if (reason != KWRC_NONE) return reason;
  // Bytes after the last parameter belong to no structure: they go as they
  // are.
  const size_t rest = s_.in_length - in_;
  if (rest > Room()) return OutOfRoom();
  CopyBytes(0, rest);
  s_.in_used = s_.in_length;
  s_.out_used = out_ + rest;
  return KWRC_NONE;
}

int32_t PcfConversion::Parameter() {
  const size_t left = s_.in_length - in_;
  if (left < kTypeAndLength) return Incomplete(static_cast<int32_t>(left));
  const int32_t type = Get32(kTypeAt);
  const int32_t length = Get32(kLengthAt);
  if (length < 0 || static_cast<size_t>(length) < MinimumLength(type)) return BadLength(length);
  const size_t len = static_cast<size_t>(length);
  if (len > left) return Incomplete(length);

  int32_t reason = KWRC_NONE;
  switch (type) {
    case KWCFT_STRING:
      reason = String(len, KWCFST_STRUC_LENGTH_FIXED, offsetof(KWCFST, CodedCharSetId),
                      offsetof(KWCFST, StringLength));
      break;
    case KWCFT_STRING_FILTER:
      reason = String(len, KWCFSF_STRUC_LENGTH_FIXED, offsetof(KWCFSF, CodedCharSetId),
                      offsetof(KWCFSF, FilterValueLength));
      break;
    case KWCFT_STRING_LIST:
      reason = StringList(len);
      break;
    case KWCFT_INTEGER:
    case KWCFT_INTEGER_LIST:
    case KWCFT_BYTE_STRING:
    case KWCFT_INTEGER_FILTER:
    case KWCFT_BYTE_STRING_FILTER:
    case KWCFT_GROUP:
    case KWCFT_INTEGER64:
    case KWCFT_INTEGER64_LIST:
      reason = Fixed(type, len);
      break;
    default: {
      xcsINSERTS inserts = {};
      inserts.Numbers[0] = type;
      xcsDisplayMessageForError(kMsgParameterType, 0, &inserts);
      return KWRC_NOT_CONVERTED;
    }
  }
  if (reason == KWRC_NONE) in_ += len;
  return reason;
}

int32_t PcfConversion::Fixed(int32_t type, size_t len) {
  // The fields in front of the variable part, and how that part converts.
  size_t fields = 0;  // bytes of 32-bit fields from the start
  size_t values = 0;  // 4- or 8-byte values after them
  size_t value_size = 0;
  switch (type) {
    case KWCFT_INTEGER:
      fields = KWCFIN_STRUC_LENGTH;
      break;
    case KWCFT_INTEGER_FILTER:
      fields = KWCFIF_STRUC_LENGTH;
      break;
    case KWCFT_GROUP: {
      fields = KWCFGR_STRUC_LENGTH;
      const int32_t members = Get32(offsetof(KWCFGR, ParameterCount));
      // Checked here, counted once the group is written.
      if (members < 0) return BadLength(static_cast<int32_t>(len));
      break;
    }
    case KWCFT_INTEGER64:
      fields = offsetof(KWCFIN64, Value);
      values = 1;
      value_size = sizeof(int64_t);
      break;
    case KWCFT_INTEGER_LIST:
    case KWCFT_INTEGER64_LIST: {
      fields = KWCFIL_STRUC_LENGTH_FIXED;
      const int32_t count = Get32(offsetof(KWCFIL, Count));
      value_size = type == KWCFT_INTEGER_LIST ? sizeof(int32_t) : sizeof(int64_t);
      if (count < 0 || static_cast<uint64_t>(count) * value_size > len - fields) {
        return BadLength(static_cast<int32_t>(len));
      }
      values = static_cast<size_t>(count);
      break;
    }
    case KWCFT_BYTE_STRING:
    case KWCFT_BYTE_STRING_FILTER: {
      const size_t length_at = type == KWCFT_BYTE_STRING ? offsetof(KWCFBS, StringLength)
                                                         : offsetof(KWCFBF, FilterValueLength);
      fields = length_at + 4;
      const int32_t n = Get32(length_at);
      // The bytes and any padding go as they are.
      if (n < 0 || static_cast<size_t>(n) > len - fields) {
        return BadLength(static_cast<int32_t>(len));
      }
      break;
    }
    default:
      break;
  }
  if (len > Room()) return OutOfRoom();
  if (!swap_) {
    // The same byte order on both sides: the structure goes as it is.
    CopyBytes(0, len);
  } else {
    for (size_t at = 0; at < fields; at += 4) Copy32(at);
    if (value_size == sizeof(int64_t)) {
      SwapInt64s(s_.in + in_ + fields, s_.out + out_ + fields, values);
    } else {
      SwapLongs(s_.in + in_ + fields, s_.out + out_ + fields, values);
    }
    // Byte strings and padding go as they are.
    const size_t at = fields + values * value_size;
    CopyBytes(at, len - at);
  }
  if (type == KWCFT_GROUP) to_come_ += Get32(offsetof(KWCFGR, ParameterCount));
  out_ += len;
  return KWRC_NONE;
}

int32_t PcfConversion::ConvertString(int32_t ccsid, const uint8_t* src, size_t n, uint8_t* dst,
                                     size_t room, size_t* used) {
  const int32_t from = ccsid == 0 ? s_.source_ccsid : ccsid;
  const int32_t to = s_.target_ccsid;
  if (from == to && !xcsIsTwoByteCCSID(from)) {
    if (n > room) return KWRC_CONVERTED_MSG_TOO_BIG;
    if (n > 0) std::memcpy(dst, src, n);
    *used = n;
    return KWRC_NONE;
  }
  if (!pair_known_ || pair_from_ != from) {
    pair_known_ = true;
    pair_from_ = from;
    table_ = FindSingleByteMap(from, to);
    table_tried_ = false;
    bytes_without_table_ = 0;
  }
  if (table_ == nullptr && !table_tried_) {
    bytes_without_table_ += n;
    if (bytes_without_table_ >= kBytesBeforeTable) {
      table_ = GetSingleByteMap(from, to);
      table_tried_ = true;
    }
  }
  if (table_ != nullptr && MapBytes(*table_, src, n, dst, room, used)) return KWRC_NONE;
  size_t written = 0;
  const Outcome result = ConvertChars(from, s_.source_encoding, to, s_.target_encoding, src, n, dst,
                                      room, VXT_CHARS_MESSAGE, &written);
  // A two-byte string of odd length lost its last byte: a warning only.
  if (!result.ok() && result.reason != KWRC_DBCS_ERROR) return result.reason;
  *used = written;
  return KWRC_NONE;
}

int32_t PcfConversion::String(size_t len, size_t fixed, size_t ccsid_at, size_t length_at) {
  const int32_t n = Get32(length_at);
  if (n < 0 || static_cast<size_t>(n) > len - fixed) return BadLength(static_cast<int32_t>(len));
  const size_t source_n = static_cast<size_t>(n);
  const int32_t ccsid = Get32(ccsid_at);
  if (fixed > Room()) return OutOfRoom();

  size_t converted = 0;
  const int32_t reason = ConvertString(ccsid, s_.in + in_ + fixed, source_n, s_.out + out_ + fixed,
                                       Room() - fixed, &converted);
  if (reason == KWRC_CONVERTED_MSG_TOO_BIG) return OutOfRoom();
  if (reason != KWRC_NONE) return reason;

  // Same length: the structure keeps its length and its padding. Otherwise
  // it is rebuilt around the new string, padded with NULs to a multiple of 4.
  size_t out_len = len;
  if (converted == source_n) {
    if (len > Room()) return OutOfRoom();
    CopyBytes(fixed + source_n, len - fixed - source_n);
  } else {
    out_len = RoundUp4(fixed + converted);
    if (out_len > Room()) return OutOfRoom();
    std::memset(s_.out + out_ + fixed + converted, 0, out_len - fixed - converted);
  }
  for (size_t at = 0; at < fixed; at += 4) Copy32(at);
  Put32(kLengthAt, static_cast<int32_t>(out_len));
  Put32(ccsid_at, TargetCcsidField(ccsid));
  Put32(length_at, static_cast<int32_t>(converted));
  out_ += out_len;
  return KWRC_NONE;
}

int32_t PcfConversion::StringList(size_t len) {
  constexpr size_t kFixed = KWCFSL_STRUC_LENGTH_FIXED;
  const int32_t count = Get32(offsetof(KWCFSL, Count));
  const int32_t width = Get32(offsetof(KWCFSL, StringLength));
  if (count < 0 || width < 0 ||
      static_cast<uint64_t>(count) * static_cast<uint64_t>(width) > len - kFixed) {
    return BadLength(static_cast<int32_t>(len));
  }
  const size_t n = static_cast<size_t>(count);
  const size_t source_width = static_cast<size_t>(width);
  const int32_t ccsid = Get32(offsetof(KWCFSL, CodedCharSetId));
  if (kFixed > Room()) return OutOfRoom();

  // First pass: each string converted right after the one before. When all
  // keep the width, which is the common case, they are already in place.
  // Strings of no bytes need no conversion, however many the list counts.
  const size_t n_converted = source_width == 0 ? 0 : n;
  const uint8_t* src = s_.in + in_ + kFixed;
  uint8_t* const dst = s_.out + out_ + kFixed;
  const size_t room = Room() - kFixed;
  size_t packed = 0;
  size_t widest = 0;
  bool same_width = true;
  for (size_t k = 0; k < n_converted; ++k) {
    size_t converted = 0;
    const int32_t reason = ConvertString(ccsid, src + k * source_width, source_width, dst + packed,
                                         room - packed, &converted);
    if (reason == KWRC_CONVERTED_MSG_TOO_BIG) return OutOfRoom();
    if (reason != KWRC_NONE) return reason;
    same_width = same_width && converted == source_width;
    if (converted > widest) widest = converted;
    packed += converted;
  }

  size_t out_len = len;
  size_t out_width = source_width;
  if (same_width) {
    if (len > Room()) return OutOfRoom();
    CopyBytes(kFixed + packed, len - kFixed - packed);
  } else {
    // Second pass: every string again into a place of the widest one's
    // width, the shorter ones filled with blanks of the target CCSID.
    out_width = widest;
    out_len = RoundUp4(kFixed + n * widest);
    if (out_len > Room()) return OutOfRoom();
    for (size_t k = 0; k < n; ++k) {
      size_t converted = 0;
      uint8_t* place = dst + k * widest;
      const int32_t reason =
          ConvertString(ccsid, src + k * source_width, source_width, place, widest, &converted);
      if (reason != KWRC_NONE) return reason;
      FillBlanks(place + converted, widest - converted, s_.target_ccsid, s_.target_encoding);
    }
    std::memset(dst + n * widest, 0, out_len - kFixed - n * widest);
  }
  for (size_t at = 0; at < kFixed; at += 4) Copy32(at);
  Put32(kLengthAt, static_cast<int32_t>(out_len));
  Put32(offsetof(KWCFSL, CodedCharSetId), TargetCcsidField(ccsid));
  Put32(offsetof(KWCFSL, StringLength), static_cast<int32_t>(out_width));
  out_ += out_len;
  return KWRC_NONE;
}

}  // namespace

int32_t vwb_admin(Step& step) {
  xtr_FNC_entry(kComponent, kFnVwbAdmin);
  int32_t reason = CheckEncodings(step.source_encoding, step.target_encoding);
  if (reason == KWRC_NONE) {
    PcfConversion conversion(step);
    reason = conversion.Run();
  }
  xtr_FNC_retcode(kComponent, kFnVwbAdmin, reason);
  return reason;
}

}  // namespace zxv::dataconv
