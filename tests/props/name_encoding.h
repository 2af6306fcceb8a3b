// Test helper: a property name written in each of the five encoding families,
// converted once from UTF-8 through the platform's converters.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "zxvxcs2/xcs_ccsid.h"
#include "zxvxzu/property_names.h"

namespace zxv::test {

struct NameEncoding {
  const char* label;
  int32_t ccsid;
  int32_t encoding;  // for the two-byte sets: 273 most, 546 least significant byte first
  int32_t ccsidType;
  uint32_t unit;  // bytes per character of the invariant repertoire
};

inline constexpr NameEncoding kAsciiName{"ASCII", 819, 546, ZRF_CCSIDTYPE_ASCII, 1};
inline constexpr NameEncoding kEbcdicName{"EBCDIC", 500, 546, ZRF_CCSIDTYPE_EBCDIC, 1};
inline constexpr NameEncoding kUtf8Name{"UTF8", 1208, 546, ZRF_CCSIDTYPE_UTF8, 1};
inline constexpr NameEncoding kLucs2Name{"LUCS2", 1200, 546, ZRF_CCSIDTYPE_LUCS2, 2};
inline constexpr NameEncoding kBucs2Name{"BUCS2", 1200, 273, ZRF_CCSIDTYPE_BUCS2, 2};
inline constexpr NameEncoding kAllNameEncodings[] = {kAsciiName, kEbcdicName, kUtf8Name, kLucs2Name,
                                                     kBucs2Name};

// `utf8` converted into `enc`; empty with *ok false when it cannot be.
inline std::string EncodeName(std::string_view utf8, const NameEncoding& enc, bool* ok) {
  std::string out(utf8.size() * 4 + 4, '\0');
  uint32_t used = 0;
  const xcsRC rc =
      xcsConvertString(1208, 546, utf8.data(), static_cast<uint32_t>(utf8.size()), enc.ccsid,
                       enc.encoding, out.data(), static_cast<uint32_t>(out.size()), &used);
  *ok = rc == xcsRC_OK;
  out.resize(*ok ? used : 0);
  return out;
}

// `utf8` in `enc` as bytes; a text that cannot be converted fails the test.
inline std::vector<uint8_t> EncodeBytes(const NameEncoding& enc, std::string_view utf8) {
  bool ok = false;
  const std::string bytes = EncodeName(utf8, enc, &ok);
  EXPECT_TRUE(ok) << utf8;
  return {bytes.begin(), bytes.end()};
}

}  // namespace zxv::test
