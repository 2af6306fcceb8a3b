// One-byte forms of internal return codes.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "base/rc_byte_map.h"
#include "tests/trace_lines.h"
#include "zxvxzu/names.h"

namespace {

KWULONG To8(KWULONG code) {
  zutMapRCTo8bit(&code);
  return code;
}

KWULONG From8(KWULONG value) {
  zutMapRCFrom8bit(&value);
  return value;
}

TEST(MapRCTo8bit, KnownCodes) {
  const std::vector<std::pair<KWULONG, KWULONG>> cases = {
      {0x40007072, 114}, {0x40007069, 105}, {0x20803200, 23},   {0x20009847, 136},
      {0x00007001, 1},   {0x000070FE, 254}, {0x10805202, 0xE0}, {0x20006035, 0xC0},
  };
  for (const auto& [code, byte] : cases) EXPECT_EQ(To8(code), byte) << std::hex << code;
}

TEST(MapRCTo8bit, RangeRuleCoversExactly7001To70FE) {
  for (KWULONG b = 1; b <= 254; ++b) EXPECT_EQ(To8(0x7000 + b), b);
  // The ends of the range and codes below the base (unsigned wrap) are not
  // in it and not in the table.
  for (KWULONG code : {0x7000u, 0x70FFu, 0x0u, 0x6FFFu, 0x1u, 0xFFFFFFFFu, 0x20007001u}) {
    EXPECT_EQ(To8(code), zxv::base::kRcByteUnknown) << std::hex << code;
  }
}

TEST(MapRCFrom8bit, KnownValues) {
  const std::vector<std::pair<KWULONG, KWULONG>> cases = {
      {0, 0},
      {3, 0x8106},
      {4, 0x8083},
      {5, 0x10008107},
      {8, 0x20008110},
      {0x69, 0x40007069},
      {0x70, 0x20807070},
      {0x72, 0x40007072},
      // Values that stand for themselves.
      {0x30, 0x7030},
      {0x83, 0x7083},
      {0x267, 0x7267},
      {0x268, 0x7268},
      // Not in the table.
      {1, 0x20007001},
      {71, 0x20007047},
      {0xFF, 0x200070FF},
      {0x2D8, 0x200072D8},
      {0x2D9, 0x200072D9},
      {0x10000, 0x20017000},
  };
  for (const auto& [value, code] : cases) EXPECT_EQ(From8(value), code) << std::hex << value;
}

TEST(MapRC, EveryTableRowRoundTrips) {
  for (const zxv::base::RcByteEntry& row : zxv::base::kRcByteTable) {
    const KWULONG value = To8(row.code);
    EXPECT_EQ(value, row.value) << std::hex << row.code;
    EXPECT_LE(value, zxv::base::kRcByteMaxValue);
    EXPECT_EQ(From8(value), row.code) << std::hex << row.code;
  }
}

TEST(MapRC, DetailTraceLines) {
  zxv::test::TraceLines trace(XTR_LEVEL_FLOW);
  To8(0x40007072);
  EXPECT_FALSE(trace.Contains("zutMapRCTo8bit: in="));  // detail only
  xtrSetLevel(XTR_LEVEL_DETAIL);
  To8(0x40007072);
  From8(0x72);
  EXPECT_TRUE(trace.Contains("zutMapRCTo8bit: in=0x40007072 out=114(0x00000072)"));
  EXPECT_TRUE(trace.Contains("114 mapped to 1073770610"));
  zutMapRCTo8bit(nullptr);  // ignored
  zutMapRCFrom8bit(nullptr);
}

}  // namespace
