// Fuzzes the PCF converter over arbitrary bytes in either byte order. Byte 0
// picks the source byte order, the target CCSID and encoding, the output
// room and whether truncation is accepted; byte 1 the format name; the rest
// is the message, given to vpiConvertData in an exact-size heap buffer so
// that ASan sees any read past it. Checked properties:
//  - the reason is one the converter may give;
//  - a message that an independent walk finds malformed gives 2119 (or 2120
//    when the output is too small and truncation is not accepted), and a
//    converted one is well formed;
//  - a refused message comes back exactly as it was given;
//  - a converted message keeps its length when strings cannot change length
//    (CCSID 37 to 500), and a truncated one fits the room;
//  - every block allocated is freed.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "zxvxcs2/xcs_memory.h"
#include "zxvxzu/dataconv.h"
#include "zxvxzu/kwrfh2.h"
#include "zxvxzu/pcf.h"

namespace {

void Require(bool condition) {
  if (!condition) std::abort();
}

constexpr KWLONG kTargetCcsids[] = {500, 850, 1208, 37};
const char* const kFormats[] = {KWFMT_PCF, KWFMT_ADMIN, KWFMT_EVENT};

int32_t Load32(const uint8_t* p, bool big) {
  uint32_t v = 0;
  for (int k = 0; k < 4; ++k) v = (v << 8) | p[big ? k : 3 - k];
  return static_cast<int32_t>(v);
}

// The structure rules, walked apart from the converter: true when the
// message's header and every structure it counts are well formed.
bool WellFormed(const uint8_t* m, size_t n, bool big) {
  if (n < KWCFH_STRUC_LENGTH || Load32(m + 4, big) != KWCFH_STRUC_LENGTH) return false;
  int64_t to_come = Load32(m + 32, big);
  if (to_come < 0) return false;
  size_t at = KWCFH_STRUC_LENGTH;
  for (; to_come > 0; --to_come) {
    if (n - at < 8) return false;
    const uint8_t* p = m + at;
    const int32_t type = Load32(p, big);
    const int64_t length = Load32(p + 4, big);
    if (length < 8 || static_cast<uint64_t>(length) > n - at) return false;
    const auto word = [&](size_t offset) -> int64_t {
      return offset + 4 <= static_cast<size_t>(length) ? Load32(p + offset, big) : -1;
    };
    // The bytes a structure needs: its fixed part and what its counts say.
    int64_t need = 0;
    switch (type) {
      case KWCFT_INTEGER:
        need = 16;
        break;
      case KWCFT_INTEGER_FILTER:
        need = 20;
        break;
      case KWCFT_INTEGER64:
        need = 24;
        break;
      case KWCFT_GROUP:
        need = 16;
        if (word(12) < 0) return false;
        to_come += word(12);
        break;
      case KWCFT_STRING:
        need = word(16) < 0 ? -1 : 20 + word(16);
        break;
      case KWCFT_BYTE_STRING:
        need = word(12) < 0 ? -1 : 16 + word(12);
        break;
      case KWCFT_BYTE_STRING_FILTER:
        need = word(16) < 0 ? -1 : 20 + word(16);
        break;
      case KWCFT_STRING_FILTER:
        need = word(20) < 0 ? -1 : 24 + word(20);
        break;
      case KWCFT_INTEGER_LIST:
        need = word(12) < 0 ? -1 : 16 + 4 * word(12);
        break;
      case KWCFT_INTEGER64_LIST:
        need = word(12) < 0 ? -1 : 16 + 8 * word(12);
        break;
      case KWCFT_STRING_LIST:
        need = word(16) < 0 || word(20) < 0 ? -1 : 24 + word(16) * word(20);
        break;
      default:
        return false;
    }
    if (need < 0 || need > length) return false;
    at += static_cast<size_t>(length);
  }
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 2 || size > 100000) return 0;
  const int64_t outstanding = xcsOutstandingBlocks();
  const uint8_t control = data[0];
  const bool big = (control & 1) != 0;
  const KWLONG target_ccsid = kTargetCcsids[(control >> 1) & 3];
  const KWLONG target_encoding = (control & 8) != 0 ? 273 : 546;
  const bool small_room = (control & 0x10) != 0;
  const bool accept_truncation = (control & 0x20) != 0;
  const char* format = kFormats[data[1] % 3];

  const size_t n = size - 2;
  std::unique_ptr<uint8_t[]> in(new uint8_t[n == 0 ? 1 : n]);
  if (n > 0) std::memcpy(in.get(), data + 2, n);
  const size_t room = small_room ? n / 2 : 3 * n + 64;
  std::unique_ptr<uint8_t[]> out(new uint8_t[room == 0 ? 1 : room]);

  VPICONVERTREQ req = {};
  req.SourceEncoding = big ? 273 : 546;
  req.SourceCCSID = KWCCSI_EBCDIC_US;
  req.TargetEncoding = target_encoding;
  req.TargetCCSID = target_ccsid;
  std::memcpy(req.Format, format, KW_FORMAT_LENGTH);
  req.Options = accept_truncation ? KWGMO_ACCEPT_TRUNCATED_MSG : 0;
  req.DataLength = req.AvailableLength = static_cast<KWLONG>(n);
  req.BufferLength = static_cast<KWLONG>(room);
  req.InBuffer = in.get();
  req.OutBuffer = out.get();
  const KWLONG reason = vpiConvertData(&req);

  Require(reason == KWRC_NONE || reason == KWRC_TRUNCATED_MSG_ACCEPTED ||
          reason == KWRC_NOT_CONVERTED || reason == KWRC_CONVERTED_MSG_TOO_BIG ||
          reason == KWRC_CONVERTED_STRING_TOO_BIG || reason == KWRC_TARGET_CCSID_ERROR);
  Require(req.Reason == reason);
  Require(std::memcmp(in.get(), data + 2, n) == 0);
  // A walk that runs out of room stops there; with truncation accepted the
  // whole message is walked all the same.
  const bool well_formed = WellFormed(data + 2, n, big);
  if (!well_formed) {
    Require(reason == KWRC_NOT_CONVERTED ||
            (reason == KWRC_CONVERTED_MSG_TOO_BIG && !accept_truncation));
  }
  Require(req.DataLength >= 0 && static_cast<size_t>(req.DataLength) <= room);
  const size_t out_length = static_cast<size_t>(req.DataLength);
  if (reason == KWRC_NONE || reason == KWRC_TRUNCATED_MSG_ACCEPTED) Require(well_formed);
  if (reason == KWRC_NONE) {
    if (target_ccsid == 500) Require(out_length == n);
  } else if (reason != KWRC_TRUNCATED_MSG_ACCEPTED) {
    const size_t given = n < room ? n : room;
    Require(out_length == given && std::memcmp(out.get(), data + 2, given) == 0);
  }
  Require(xcsOutstandingBlocks() == outstanding);
  return 0;
}
