// Format names and character fields of the header chain in any CCSID, and
// the classification of a format for the walk.
#include "props/rfh2_chain.h"

#include "zxvxcs2/xcs_ccsid.h"
#include "zxvxcs2/xcs_env.h"
#include "zxvxcs2/xcs_erdp.h"

namespace zxv::props {
namespace {

constexpr uint32_t kProbeConvert = 1;
constexpr const char* kPartialMatchVariable = "ZXV_PARTIAL_MATCH_RFH2";

bool NeedsConversion(int32_t ccsid) { return ccsid != kUtf8Ccsid && ccsid != kLocalCcsid; }

bool Same(const char* format, const char* name, size_t n) {
  return std::memcmp(format, name, n) == 0;
}

}  // namespace

bool ReadConvertedChainText(const uint8_t* raw, uint32_t length, int32_t ccsid, int32_t encoding,
                            char* out, uint32_t fn) {
  // Eight characters take at most 32 bytes of UTF-8.
  uint8_t converted[4 * kFormatLength];
  uint32_t used = 0;
  const xcsRC rc = xcsConvertString(ccsid, encoding, raw, length, kUtf8Ccsid, kNativeEncodingValue,
                                    converted, sizeof converted, &used);
  if (rc == xcsRC_CONV_NOT_SUPPORTED) {
    // Nothing to convert with: an ASCII-based set still reads as it stands.
    std::memcpy(out, raw, length);
    return true;
  }
  if (rc != xcsRC_OK) {
    xcsERDPSFn(kComponent, __FILE__, kProbeConvert, rc, raw, length,
               "Header characters not converted from CCSID %d (function 0x%X)", ccsid, fn);
    return false;
  }
  std::memset(out, 0, length);
  std::memcpy(out, converted, used < length ? used : length);
  return true;
}

void WriteChainText(const char* local, uint32_t length, int32_t ccsid, int32_t encoding,
                    uint8_t* out) {
  if (NeedsConversion(ccsid)) {
    uint8_t converted[4 * kFormatLength];
    uint32_t used = 0;
    if (xcsConvertString(kUtf8Ccsid, kNativeEncodingValue, local, length, ccsid, encoding,
                         converted, sizeof converted, &used) == xcsRC_OK &&
        used == length) {
      std::memcpy(out, converted, length);
      return;
    }
  }
  std::memcpy(out, local, length);
}

FormatKind ClassifyFormat(const char* format, bool partial_match) {
  if (!Same(format, "KW", 2)) return FormatKind::kEnd;
  if (Same(format, KWFMT_RF_HEADER_2, kFormatLength)) return FormatKind::kRfh2;
  if (partial_match && Same(format, KWFMT_RF_HEADER_2, 6)) return FormatKind::kRfh2;
  if (Same(format, KWFMT_RF_HEADER, kFormatLength)) return FormatKind::kRfh1;
  if (Same(format, KWFMT_EMBEDDED_PCF, kFormatLength)) return FormatKind::kEmbeddedPcf;
  if (Same(format, KWFMT_XMIT_Q_HEADER, kFormatLength)) return FormatKind::kXmit;
  if (Same(format, KWFMT_DEAD_LETTER_HEADER, kFormatLength)) return FormatKind::kDead;
  if (Same(format, KWFMT_MD_EXTENSION, kFormatLength)) return FormatKind::kMdExtension;
  if (Same(format, KWFMT_ADMIN, kFormatLength)) return FormatKind::kAdmin;
  if (Same(format, "KWH", 3)) return FormatKind::kOtherHeader;
  return FormatKind::kEnd;  // "KWSTR   " and every other application format
}

bool PartialMatchRfh2() { return xcsGetEnv(kPartialMatchVariable) != nullptr; }

}  // namespace zxv::props
