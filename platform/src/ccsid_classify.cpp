// CCSID classification: which family a CCSID belongs to.
#include <algorithm>
#include <atomic>
#include <iterator>

#include "converter_cache.h"
#include "zxvxcs2/xcs_ccsid.h"

namespace zxv::platform {
namespace {

constexpr int32_t kCcsidUtf8 = 1208;
constexpr int32_t kMaxCcsid = 0xFFFF;
constexpr char kUpperA = 'A';
constexpr uint8_t kEbcdicUpperA = 0xC1;
constexpr uint8_t kAsciiUpperA = 0x41;

// CCSIDs without an ICU table still have a known family.
constexpr int32_t kEbcdicWithoutTable[] = {833, 836, 880, 924, 1027, 8612};

// Results by CCSID, stored as family + 1 so that 0 means "not yet known".
// Racing threads compute the same answer, so relaxed stores suffice.
std::atomic<uint8_t> g_known[kMaxCcsid + 1];

uint8_t Probe(int32_t ccsid) {
  if (ccsid == kCcsidUtf8) return XCS_CCSID_TYPE_UTF8;
  if (LacksConverterTable(ccsid)) {
    return std::find(std::begin(kEbcdicWithoutTable), std::end(kEbcdicWithoutTable), ccsid) !=
                   std::end(kEbcdicWithoutTable)
               ? XCS_CCSID_TYPE_EBCDIC
               : XCS_CCSID_TYPE_ASCII;
  }
  UConverter* converter = ThreadConverter(ccsid, ByteOrder::kLittle);
  if (converter == nullptr) return XCS_CCSID_TYPE_UNKNOWN;
  const UChar letter = static_cast<UChar>(kUpperA);
  char bytes[8];
  UErrorCode err = U_ZERO_ERROR;
  const int32_t n = ucnv_fromUChars(converter, bytes, sizeof bytes, &letter, 1, &err);
  ucnv_reset(converter);
  if (U_FAILURE(err) || n < 1) return XCS_CCSID_TYPE_UNKNOWN;
  // A stateful set may open with a shift; the letter is the last byte.
  const auto a = static_cast<uint8_t>(bytes[n - 1]);
  if (a == kEbcdicUpperA) return XCS_CCSID_TYPE_EBCDIC;
  if (a == kAsciiUpperA) return XCS_CCSID_TYPE_ASCII;
  return XCS_CCSID_TYPE_UNKNOWN;
}

uint8_t Classify(int32_t ccsid, int32_t encoding) {
  if (IsTwoByteSet(ccsid)) {
    return OrderFromEncoding(encoding) == ByteOrder::kBig ? XCS_CCSID_TYPE_BUCS2
                                                          : XCS_CCSID_TYPE_LUCS2;
  }
  if (ccsid <= 0 || ccsid > kMaxCcsid) return XCS_CCSID_TYPE_UNKNOWN;
  const uint8_t known = g_known[ccsid].load(std::memory_order_relaxed);
  if (known != 0) return static_cast<uint8_t>(known - 1);
  const uint8_t type = Probe(ccsid);
  g_known[ccsid].store(static_cast<uint8_t>(type + 1), std::memory_order_relaxed);
  return type;
}

bool Supported(int32_t ccsid) { return ThreadConverter(ccsid, ByteOrder::kLittle) != nullptr; }

}  // namespace
}  // namespace zxv::platform

extern "C" XCS_API uint8_t xcsGetCCSIDType(int32_t ccsid, int32_t encoding) {
  return zxv::platform::Classify(ccsid, encoding);
}

extern "C" XCS_API int xcsIsTwoByteCCSID(int32_t ccsid) {
  return zxv::platform::IsTwoByteSet(ccsid) ? 1 : 0;
}

extern "C" XCS_API int xcsIsCCSIDSupported(int32_t ccsid) {
  return zxv::platform::Supported(ccsid) ? 1 : 0;
}
