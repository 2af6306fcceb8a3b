// The generated character table and the fixed word tables, checked directly:
// the rows, a few memberships known from the Unicode data, and every known
// name found in every encoding family.
#include <gtest/gtest.h>

#include <string>

#include "props/name_char_table.h"
#include "props/name_encoding.h"
#include "props/property_names.h"

namespace zxv::props {
namespace {

// Every row is found by its CCSID; the search stops at the zero row.
TEST(NameCharTableTest, EveryRowIsFoundAndNoOther) {
  for (size_t i = 0; i < kNameCharRowCount; ++i) {
    SCOPED_TRACE(kNameCharTable[i].ccsid);
    ASSERT_NE(kNameCharTable[i].start, nullptr);
    ASSERT_NE(kNameCharTable[i].part, nullptr);
    EXPECT_EQ(FindNameCharRow(kNameCharTable[i].ccsid), &kNameCharTable[i]);
  }
  EXPECT_EQ(FindNameCharRow(0), nullptr);
  EXPECT_EQ(FindNameCharRow(1386), nullptr);
}

TEST(NameCharTableTest, UnicodeMembership) {
  const NameCharRow* u = FindNameCharRow(1208);
  const struct {
    uint32_t cp;
    bool start, part;
  } cases[] = {
      {'$', true, true},      {'_', true, true},      {'A', true, true},    {'0', false, true},
      {'9', false, true},     {'.', false, false},    {'-', false, false},  {'%', false, false},
      {' ', false, false},    {0x00E9, true, true},   {0x20AC, true, true}, {0x0300, false, true},
      {0x0000, false, true},  // ignorable controls are part characters
      {0xD800, false, false}, {0xFFFF, false, false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.cp);
    EXPECT_EQ(TestCharBit(u->start, c.cp), c.start);
    EXPECT_EQ(TestCharBit(u->part, c.cp), c.part);
  }
}

TEST(NameCharTableTest, SingleByteRows) {
  const struct {
    int32_t ccsid;
    uint8_t byte;
    bool start, part;
  } cases[] = {
      {819, 0xE9, true, true},    // e acute
      {819, 0x2E, false, false},  // full stop
      {819, 0x30, false, true},   // digit zero
      {37, 0x51, true, true},     // e acute
      {37, 0xF0, false, true},    // digit zero
      {37, 0x4B, false, false},   // full stop
      {37, 0x5B, true, true},     // dollar sign
      {37, 0x6D, true, true},     // low line
      {1252, 0x8A, true, true},   // S caron
      {37, 0x8A, false, false},   // left guillemet
      {437, 0xF0, false, false},  // identical-to sign
      {1208, 0x41, true, true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::to_string(c.ccsid) + " " + std::to_string(c.byte));
    const NameCharRow* row = FindNameCharRow(c.ccsid);
    ASSERT_NE(row, nullptr);
    EXPECT_EQ(TestCharBit(row->start, c.byte), c.start);
    EXPECT_EQ(TestCharBit(row->part, c.byte), c.part);
  }
}

TEST(NameCharTableTest, FullStopFamilies) {
  for (int32_t ccsid : {37, 273, 500, 1047, 1140, 924, 833, 290, 420}) {
    EXPECT_EQ(FindNameCharRow(ccsid)->form, NameCharForm::kEbcdicByte) << ccsid;
  }
  for (int32_t ccsid : {437, 819, 850, 1252, 1275, 1283, 806, 897, 5348, 9048}) {
    EXPECT_EQ(FindNameCharRow(ccsid)->form, NameCharForm::kAsciiByte) << ccsid;
  }
}

TEST(KnownNamesTest, EveryIdentifierIsFoundInEveryFamily) {
  int found = 0;
  for (NameId id = 100; id < 1000; ++id) {
    const char* text = KnownNameText(id);
    if (text == nullptr) continue;
    ++found;
    for (const test::NameEncoding& enc : test::kAllNameEncodings) {
      SCOPED_TRACE(std::string(text) + " " + enc.label);
      bool ok = false;
      const std::string bytes = test::EncodeName(text, enc, &ok);
      ASSERT_TRUE(ok);
      const NameBytes nb{reinterpret_cast<const uint8_t*>(bytes.data()),
                         static_cast<uint32_t>(bytes.size()),
                         static_cast<NameFamily>(enc.ccsidType)};
      EXPECT_EQ(FindKnownName(nb), id);
      // One character short is not the name.
      const NameBytes shorter{nb.data, nb.length - enc.unit, nb.family};
      EXPECT_NE(FindKnownName(shorter), id);
    }
  }
  EXPECT_EQ(found, 27 + 11 + 9 + 10 + 18 + 13 + 22 + 15 + 8);
  EXPECT_EQ(KnownNameText(ZRF_NAME_NONE), nullptr);
}

TEST(KnownNamesTest, UnknownFamilyFindsNothing) {
  const NameBytes nb{reinterpret_cast<const uint8_t*>("jms.Pri"), 7, NameFamily::kUnknown};
  EXPECT_EQ(FindKnownName(nb), ZRF_NAME_NONE);
}

}  // namespace
}  // namespace zxv::props
