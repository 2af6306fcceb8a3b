// Fuzzes the property-name check and the known-name lookups with arbitrary
// bytes as names, in every encoding family. Input: byte 0 selects the CCSID
// and CCSIDType (a CCSID without a row is left to the unit tests, as each
// writes a failure record), the rest is the name, copied to an exact-size heap buffer so
// that a read past its end is caught by ASan.
//
// Checked properties:
//  - the reason is 0, 2111 or 2442 and the completion code agrees;
//  - a name the check accepts is not refused by its family's known-name check;
//  - a name accepted or refused in an ASCII, EBCDIC or UTF-8 CCSID gets the
//    same verdict and the same name identifier once converted to UTF-8 and to
//    UCS-2 in both byte orders (the character sets, reserved words and known
//    names do not depend on the encoding).
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "zxvxcs2/xcs_ccsid.h"
#include "zxvxzu/property_names.h"

namespace {

struct Target {
  int32_t ccsid;
  int32_t type;
  int32_t encoding;  // of the name's bytes, for conversion
};

constexpr Target kTargets[] = {
    {819, ZRF_CCSIDTYPE_ASCII, 546},  {500, ZRF_CCSIDTYPE_EBCDIC, 546},
    {1208, ZRF_CCSIDTYPE_UTF8, 546},  {1200, ZRF_CCSIDTYPE_LUCS2, 546},
    {1200, ZRF_CCSIDTYPE_BUCS2, 273}, {37, ZRF_CCSIDTYPE_EBCDIC, 546},
    {1252, ZRF_CCSIDTYPE_ASCII, 546}, {13488, ZRF_CCSIDTYPE_UNKNOWN, 546},
    {1275, ZRF_CCSIDTYPE_ASCII, 546}, {833, ZRF_CCSIDTYPE_EBCDIC, 546},
    {806, ZRF_CCSIDTYPE_ASCII, 546},  {1047, ZRF_CCSIDTYPE_EBCDIC, 546},
};
constexpr size_t kTargetCount = sizeof(kTargets) / sizeof(kTargets[0]);

void Require(bool condition) {
  if (!condition) std::abort();
}

std::unique_ptr<uint8_t[]> Exact(const uint8_t* bytes, size_t n) {
  std::unique_ptr<uint8_t[]> p(new uint8_t[n == 0 ? 1 : n]);
  if (n > 0) std::memcpy(p.get(), bytes, n);
  return p;
}

KWLONG Validate(const uint8_t* name, size_t n, int32_t ccsid, int32_t type) {
  KWLONG cc = -1, rc = -1;
  const KWLONG ret = zrfValidatePropertyName(name, static_cast<KWLONG>(n), ccsid, type, &cc, &rc);
  Require(ret == rc);
  Require(rc == KWRC_NONE || rc == KWRC_SOURCE_CCSID_ERROR || rc == KWRC_PROPERTY_NAME_ERROR);
  Require(cc == (rc == KWRC_NONE ? KWCC_OK : KWCC_FAILED));
  return rc;
}

// The family's known-name check; the identifier, with *rc its reason.
KWLONG Known(const uint8_t* name, size_t n, int32_t family, KWLONG* rc) {
  KWLONG cc = -1;
  const auto len = static_cast<KWLONG>(n);
  KWLONG id;
  switch (family) {
    case ZRF_CCSIDTYPE_ASCII:
      id = zrfCheckForKnownASCIIName(name, len, &cc, rc);
      break;
    case ZRF_CCSIDTYPE_EBCDIC:
      id = zrfCheckForKnownEBCDICName(name, len, &cc, rc);
      break;
    case ZRF_CCSIDTYPE_UTF8:
      id = zrfCheckForKnownUTF8Name(name, len, &cc, rc);
      break;
    case ZRF_CCSIDTYPE_BUCS2:
      id = zrfCheckForKnownBUCS2Name(name, len, &cc, rc);
      break;
    default:
      id = zrfCheckForKnownLUCS2Name(name, len, &cc, rc);
      break;
  }
  Require(*rc == KWRC_NONE || *rc == KWRC_PROPERTY_NAME_ERROR);
  Require(cc == (*rc == KWRC_NONE ? KWCC_OK : KWCC_FAILED));
  Require(*rc == KWRC_NONE || id == ZRF_NAME_NONE);
  return id;
}

// The same name in another CCSID gets the same verdict and identifier.
void CheckConverted(const uint8_t* name, size_t n, const Target& from, KWLONG verdict, KWLONG id,
                    int32_t toCcsid, int32_t toType, int32_t toEncoding) {
  const size_t cap = n * 4 + 4;
  auto out = std::make_unique<uint8_t[]>(cap);
  uint32_t used = 0;
  if (xcsConvertString(from.ccsid, from.encoding, name, static_cast<uint32_t>(n), toCcsid,
                       toEncoding, out.get(), static_cast<uint32_t>(cap), &used) != xcsRC_OK) {
    return;
  }
  auto exact = Exact(out.get(), used);
  Require(Validate(exact.get(), used, toCcsid, toType) == verdict);
  KWLONG rc = -1;
  Require(Known(exact.get(), used, toType, &rc) == id);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 1) return 0;
  const Target& t = kTargets[data[0] % kTargetCount];
  const size_t n = size - 1;
  auto name = Exact(data + 1, n);

  const KWLONG verdict = Validate(name.get(), n, t.ccsid, t.type);
  const int32_t family = t.type == ZRF_CCSIDTYPE_UNKNOWN ? ZRF_CCSIDTYPE_LUCS2 : t.type;
  KWLONG rc = -1;
  const KWLONG id = Known(name.get(), n, family, &rc);
  if (verdict == KWRC_NONE) Require(rc == KWRC_NONE);
  // Every family's lookup takes any bytes.
  for (int32_t f = ZRF_CCSIDTYPE_ASCII; f <= ZRF_CCSIDTYPE_BUCS2; ++f) {
    KWLONG other = -1;
    Known(name.get(), n, f, &other);
  }

  if (verdict != KWRC_SOURCE_CCSID_ERROR && (t.ccsid == 819 || t.ccsid == 500 || t.ccsid == 1208)) {
    CheckConverted(name.get(), n, t, verdict, id, 1208, ZRF_CCSIDTYPE_UTF8, 546);
    CheckConverted(name.get(), n, t, verdict, id, 1200, ZRF_CCSIDTYPE_LUCS2, 546);
    CheckConverted(name.get(), n, t, verdict, id, 1200, ZRF_CCSIDTYPE_BUCS2, 273);
  }
  return 0;
}
