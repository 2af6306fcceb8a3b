// Fuzzes the header chain walk (zrfLocateKWRFH2) over arbitrary message
// data. Input: byte 0 selects the starting format, byte 1 the encoding,
// byte 2 the CCSID, byte 3 bit 0 switches ZXV_PARTIAL_MATCH_RFH2 on; the
// rest is the message data, copied to an exact-size heap buffer so that a
// read past its end is caught by ASan.
//
// Every header found is walked past, as the parser does, until the walk
// ends. Checked properties:
//  - the reason is one the walk documents and the completion code agrees;
//  - a header found lies within the data, is at least 36 bytes long, its
//    NextOffset is right behind it, and the walk moves forward;
//  - FirstRFH2Offset is the header's own offset or -1, and only on the
//    walk's first call;
//  - the trace-route flag is the only bit the walk adds to the caller's.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "zxvxcs2/xcs_env.h"
#include "zxvxzu/kwrfh2.h"

namespace {

constexpr const char* kFormats[] = {"KWHRF2  ", "KWHRF   ", "KWHEPCF ", "KWXMIT  ",
                                    "KWDEAD  ", "KWHMDE  ", "KWADMIN ", "KWSTR   ",
                                    "KWHXYZ  ", "KWHRF2XY", "MYFORMAT"};
constexpr int32_t kEncodings[] = {546, 273, 0, 1, 2, 17, 785, -1};
constexpr int32_t kCcsids[] = {1208, 819, 500, 37, 1047, 1200, 0, -1, 425, 850};

template <typename T, size_t N>
const T& Pick(const T (&table)[N], uint8_t byte) {
  return table[byte % N];
}

void Require(bool condition) {
  if (!condition) std::abort();
}

bool Documented(KWLONG reason) {
  switch (reason) {
    case KWRC_NONE:
    case KWRC_PROPERTY_NOT_AVAILABLE:
    case KWRC_HEADER_ERROR:
    case KWRC_CFH_ERROR:
    case KWRC_RFH_ERROR:
    case KWRC_EPH_ERROR:
    case KWRC_RFH2_STRUC_LENGTH_SHORT:
      return true;
    default:
      return false;
  }
}

bool partial_on = false;

void SetPartialMatch(bool on) {
  if (on == partial_on) return;
  if (on) {
    setenv("ZXV_PARTIAL_MATCH_RFH2", "", 1);
  } else {
    unsetenv("ZXV_PARTIAL_MATCH_RFH2");
  }
  xcsClearEnvCache();
  partial_on = on;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 4) return 0;
  char format[KW_FORMAT_LENGTH];
  std::memcpy(format, Pick(kFormats, data[0]), KW_FORMAT_LENGTH);
  KWLONG encoding = Pick(kEncodings, data[1]);
  KWLONG ccsid = Pick(kCcsids, data[2]);
  SetPartialMatch((data[3] & 1) != 0);

  const size_t n = size - 4;
  std::unique_ptr<uint8_t[]> message(new uint8_t[n == 0 ? 1 : n]);
  if (n > 0) std::memcpy(message.get(), data + 4, n);
  const auto length = static_cast<KWULONG>(n);

  KWULONG start = 0;
  KWULONG flags = 0x5;
  for (;;) {
    ZRFLOC loc;
    KWLONG cc = -1;
    KWLONG rc = -1;
    const KWLONG ret = zrfLocateKWRFH2(message.get(), length, format, encoding, ccsid, start,
                                       &loc, &flags, &cc, &rc);
    Require(ret == rc && Documented(rc));
    Require(cc == (rc == KWRC_NONE ? KWCC_OK : KWCC_FAILED));
    Require((flags & ~(KWULONG{0x5} | ZRF_LOC_TRACE_ROUTE)) == 0 && (flags & 0x5) == 0x5);
    if (rc != KWRC_NONE) break;

    Require(loc.Offset >= start && loc.StrucLength >= KWRFH_STRUC_LENGTH_FIXED_2);
    Require(loc.Offset <= length && loc.StrucLength <= length - loc.Offset);
    Require(loc.NextOffset == loc.Offset + loc.StrucLength);
    Require(loc.FirstRFH2Offset == -1 ||
            (start == 0 && loc.FirstRFH2Offset == static_cast<KWLONG>(loc.Offset)));
    std::memcpy(format, loc.NextFormat, KW_FORMAT_LENGTH);
    encoding = loc.NextEncoding;
    ccsid = loc.NextCCSID;
    start = loc.NextOffset;
  }
  return 0;
}
