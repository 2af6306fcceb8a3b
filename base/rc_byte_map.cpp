// One-byte forms of internal return codes.
#include "base/rc_byte_map.h"

#include <algorithm>
#include <array>
#include <cstddef>

#include "base/name_fn_numbers.h"
#include "zxvxcs2/xcs_trace.h"
#include "zxvxzu/names.h"

namespace zxv::base {
namespace {

constexpr size_t kRows = std::size(kRcByteTable);

constexpr bool TableIsOneToOne() {
  for (size_t i = 0; i < kRows; ++i) {
    const RcByteEntry& a = kRcByteTable[i];
    if (a.value == 0 || a.value > kRcByteMaxValue || a.value == kRcByteUnknown) return false;
    for (size_t j = i + 1; j < kRows; ++j) {
      if (a.code == kRcByteTable[j].code || a.value == kRcByteTable[j].value) return false;
    }
  }
  return true;
}
static_assert(TableIsOneToOne(), "rc byte table: duplicate code or value, or value out of range");

// Rows sorted by code for the binary search of MapRcTo8bit.
constexpr std::array<RcByteEntry, kRows> SortedByCode() {
  std::array<RcByteEntry, kRows> rows{};
  std::copy(std::begin(kRcByteTable), std::end(kRcByteTable), rows.begin());
  std::sort(rows.begin(), rows.end(),
            [](const RcByteEntry& a, const RcByteEntry& b) { return a.code < b.code; });
  return rows;
}
constexpr std::array<RcByteEntry, kRows> kByCode = SortedByCode();

// The inverse table indexed by value; 0 marks a value no row uses (no row
// has code 0, since 0 is success and never mapped).
constexpr std::array<uint32_t, kRcByteMaxValue + 1> InverseByValue() {
  std::array<uint32_t, kRcByteMaxValue + 1> inverse{};
  for (const RcByteEntry& row : kRcByteTable) inverse[row.value] = row.code;
  return inverse;
}
constexpr std::array<uint32_t, kRcByteMaxValue + 1> kByValue = InverseByValue();

}  // namespace

uint32_t MapRcTo8bit(uint32_t code) {
  // Unsigned wrap sends codes below the range base far out of the range.
  const uint32_t low = code - kRcByteRangeBase;
  if (low >= kRcByteRangeFirst && low <= kRcByteRangeLast) return low;
  const auto* row = std::lower_bound(kByCode.begin(), kByCode.end(), code,
                                     [](const RcByteEntry& e, uint32_t c) { return e.code < c; });
  if (row != kByCode.end() && row->code == code) return row->value;
  return kRcByteUnknown;
}

uint32_t MapRcFrom8bit(uint32_t value) {
  if (value == 0) return 0;
  if (value <= kRcByteMaxValue && kByValue[value] != 0) return kByValue[value];
  return kRcByteUnmappedClass + kRcByteRangeBase + value;
}

}  // namespace zxv::base

namespace zb = zxv::base;

extern "C" {

ZXV_API void zutMapRCTo8bit(KWULONG* code) {
  xtr_FNC_entry(zxv::kComponent, zb::kFnMapRCTo8bit);
  if (code != nullptr) {
    const KWULONG in = *code;
    *code = zb::MapRcTo8bit(in);
    xtr_text_detail(zxv::kComponent, zb::kFnMapRCTo8bit, "zutMapRCTo8bit: in=0x%08x out=%u(0x%08x)",
                    in, *code, *code);
  }
  xtr_FNC_retcode(zxv::kComponent, zb::kFnMapRCTo8bit, 0);
}

ZXV_API void zutMapRCFrom8bit(KWULONG* code) {
  xtr_FNC_entry(zxv::kComponent, zb::kFnMapRCFrom8bit);
  if (code != nullptr) {
    const KWULONG in = *code;
    *code = zb::MapRcFrom8bit(in);
    xtr_text_detail(zxv::kComponent, zb::kFnMapRCFrom8bit, "%u mapped to %u", in, *code);
  }
  xtr_FNC_retcode(zxv::kComponent, zb::kFnMapRCFrom8bit, 0);
}

}  // extern "C"
