// Lookup in the generated property-name character table.
#include <array>
#include <cstddef>

#include "props/name_char_table.h"
#include "props/word_hash.h"

namespace zxv::props {

namespace {

// The table's CCSIDs in its order, as props/gen/name_char_tables_gen.cpp
// writes the rows. Every CCSID has one row, so a perfect hash over them finds
// a row in one step; the row found is still checked against the CCSID asked
// for, and a test checks that every row is found.
constexpr std::array<int32_t, kNameCharRowCount> kRowCcsids = {
    1208, 1200, 13488, 17584, 37,   273,  277,  278,  280,  284,   285,  290,  297,  420,
    424,  425,  437,   500,   720,  737,  775,  806,  813,  819,   833,  836,  838,  850,
    852,  855,  856,   857,   860,  863,  864,  865,  866,  867,   868,  869,  870,  871,
    874,  875,  878,   880,   891,  897,  903,  904,  912,  913,   915,  916,  918,  921,
    923,  924,  1006,  1025,  1026, 1027, 1040, 1041, 1042, 1043,  1046, 1047, 1051, 1089,
    1097, 1098, 1112,  1115,  1129, 1130, 1132, 1133, 1137, 1250,  1251, 1252, 1253, 1255,
    1256, 1257, 1258,  1275,  1280, 1281, 1282, 1283, 4899, 4909,  4971, 5346, 5347, 5348,
    5349, 5350, 5351,  5352,  5353, 5354, 8612, 9048, 9061, 12712, 1140};

constexpr std::array<uint64_t, kNameCharRowCount> RowKeys() {
  std::array<uint64_t, kNameCharRowCount> keys{};
  for (size_t i = 0; i < keys.size(); ++i)
    keys[i] = MixKey(static_cast<uint32_t>(kRowCcsids[i]), 0, 0);
  return keys;
}
constexpr WordHash<kNameCharRowCount, 10> kRowHash(RowKeys());
static_assert(kRowHash.ok(), "the CCSIDs of the table need a perfect hash");

}  // namespace

const NameCharRow* FindNameCharRowByHash(int32_t ccsid) {
  // CCSID 0 ends the table and is never a row of its own.
  if (ccsid == 0) return nullptr;
  const int i = kRowHash.Find(MixKey(static_cast<uint32_t>(ccsid), 0, 0));
  if (i < 0 || kNameCharTable[i].ccsid != ccsid) return nullptr;
  return &kNameCharTable[i];
}

}  // namespace zxv::props
