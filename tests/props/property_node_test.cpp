// Node layouts: every type's bytes at their offsets, padding, the zero byte
// after variable values, the flag bits, and the node helpers.
#include <vector>

#include "tests/props/property_test_util.h"

namespace zxv::test {
namespace {

constexpr int kNo = -1;

struct LayoutCase {
  const char* label;
  KWULONG type;
  std::vector<uint8_t> value;   // as passed in
  std::vector<uint8_t> stored;  // as found in the node
  int value_at;                 // fixed value, or the u32 length of a variable value
  int name_length_at;
  int copy_at;
  int name_at;
  uint32_t raw_length;  // before padding, name "a"
  uint32_t props_len;
};

std::vector<uint8_t> Le(uint64_t v, int n) {
  std::vector<uint8_t> out;
  for (int i = 0; i < n; ++i) out.push_back(static_cast<uint8_t>(v >> (8 * i)));
  return out;
}

const LayoutCase kLayoutCases[] = {
    {"string", ZRF_TYPE_STRING, {'x', 'y', 'z'}, {'x', 'y', 'z'}, 8, 12, 14, 15, 20, 4},
    {"boolean", ZRF_TYPE_BOOLEAN, Le(7, 4), Le(1, 4), 8, 12, 14, 15, 16, 5},
    {"bytes", ZRF_TYPE_BYTE_STRING, {0, 0xFF}, {0, 0xFF}, 8, 12, 14, 15, 19, 3},
    {"int8", ZRF_TYPE_INT8, {0xFB}, {0xFB}, 10, 8, 11, 12, 13, 2},
    {"int16", ZRF_TYPE_INT16, Le(0x1234, 2), Le(0x1234, 2), 8, 10, 12, 13, 14, 3},
    {"int32", ZRF_TYPE_INT32, Le(0x12345678, 4), Le(0x12345678, 4), 8, 12, 14, 15, 16, 5},
    {"int64", ZRF_TYPE_INT64, Le(0x0102030405060708, 8), Le(0x0102030405060708, 8), 8, 16, 18, 19,
     20, 9},
    {"float32", ZRF_TYPE_FLOAT32, Le(0x3F800000, 4), Le(0x3F800000, 4), 8, 12, 14, 15, 16, 5},
    {"float64", ZRF_TYPE_FLOAT64, Le(0x3FF0000000000000, 8), Le(0x3FF0000000000000, 8), 8, 16, 18,
     19, 20, 9},
    {"null", ZRF_TYPE_NULL, {}, {}, kNo, 8, 10, 11, 12, 1},
    {"name only", ZRF_TYPE_NAME_ONLY, {}, {}, kNo, 8, kNo, 10, 11, 1},
    {"as stored", ZRF_TYPE_AS_STORED, {'z', 'z'}, {'z', 'z'}, 16, 20, 22, 23, 27, 3},
};

bool IsVariable(KWULONG type) {
  return type == ZRF_TYPE_STRING || type == ZRF_TYPE_BYTE_STRING || type == ZRF_TYPE_AS_STORED;
}

TEST_F(PropertyStoreTest, EveryTypeLaysOutItsNodeAtTheStatedOffsets) {
  pd_ = MakePD(KWCOPY_REPLY, KWPD_NO_CONTEXT, 0x55);
  for (const LayoutCase& c : kLayoutCases) {
    SCOPED_TRACE(c.label);
    ZRFPAL pal{};
    ASSERT_EQ(Append(&pal, "a", c.type, c.value.data(), static_cast<KWULONG>(c.value.size())),
              KWRC_NONE);
    const uint8_t* node = reinterpret_cast<const uint8_t*>(pal.pProps) + ZRFP_HEADER_LENGTH;
    const uint32_t padded = (c.raw_length + 3) & ~3u;

    EXPECT_EQ(U32At(node), c.type);
    EXPECT_EQ(U32At(node + 4), 0x55u);
    EXPECT_EQ(U16At(node + c.name_length_at), 1u);
    if (c.copy_at != kNo) {
      EXPECT_EQ(node[c.copy_at], KWCOPY_REPLY);
    }
    EXPECT_EQ(node[c.name_at], 'a');
    if (IsVariable(c.type)) {
      EXPECT_EQ(U32At(node + c.value_at), c.stored.size());
      EXPECT_EQ(0, std::memcmp(node + c.name_at + 1, c.stored.data(), c.stored.size()));
      EXPECT_EQ(node[c.raw_length - 1], 0) << "zero byte after the value";
    } else if (c.value_at != kNo) {
      EXPECT_EQ(0, std::memcmp(node + c.value_at, c.stored.data(), c.stored.size()));
    }
    for (uint32_t i = c.raw_length; i < padded; ++i) EXPECT_EQ(node[i], 0) << "padding " << i;

    EXPECT_EQ(zrfGetPropLength(node), padded);
    EXPECT_EQ(zrfGetPropName(node), node + c.name_at);
    EXPECT_EQ(zrfGetPropNameLength(node), 1u);
    EXPECT_EQ(pal.pProps->StrucLen, ZRFP_HEADER_LENGTH + padded);
    EXPECT_EQ(pal.pProps->PropsLen, c.props_len);
    EXPECT_EQ(zrfVerifyPropertiesFn(&pal, nullptr, nullptr), KWRC_NONE);
    EXPECT_EQ(zrfFreePAL(&pal, 0, nullptr, nullptr), KWRC_NONE);
  }
}

TEST_F(PropertyStoreTest, UserContextAndStringFormBitsShapeTheNode) {
  pd_ = MakePD(KWCOPY_ALL, KWPD_USER_CONTEXT);
  ASSERT_EQ(PutInt("ctx", 3), KWRC_NONE);
  EXPECT_EQ(U32At(FirstNode()), ZRF_TYPE_INT32 | ZRF_FLAG_USER_CONTEXT);

  // An int32 held as the text "42": read with the string layout.
  pd_ = MakePD();
  const KWULONG type = ZRF_TYPE_INT32 | ZRF_FLAG_STRING_FORM;
  ASSERT_EQ(Append("txt", type, "42", 2), KWRC_NONE);
  ASSERT_EQ(Names(), (std::vector<std::string>{"ctx", "txt"}));
  const uint8_t* node = FirstNode() + zrfGetPropLength(FirstNode());
  EXPECT_EQ(U32At(node), type);
  EXPECT_EQ(U32At(node + 8), 2u);
  EXPECT_EQ(0, std::memcmp(node + 15, "txt42", 6));  // name, value and the zero byte
  EXPECT_EQ(zrfGetPropLength(node), 24u);            // 16 + 3 + 2 = 21, padded
}

TEST_F(PropertyStoreTest, NodeHelpersRefuseUnknownTypes) {
  const uint8_t unknown[24] = {12};
  EXPECT_EQ(zrfGetPropLength(unknown), 0u);
  EXPECT_EQ(zrfGetPropName(unknown), nullptr);
  EXPECT_EQ(zrfGetPropNameLength(unknown), 0u);
  EXPECT_EQ(zrfGetPropLength(nullptr), 0u);
}

TEST_F(PropertyStoreTest, FixedValuesMustHaveTheirSize) {
  const int64_t v = 1;
  EXPECT_EQ(Append("a", ZRF_TYPE_INT32, &v, 8), KWRC_PROPERTY_TYPE_ERROR);
  EXPECT_EQ(cc_, KWCC_FAILED);
  EXPECT_EQ(Append("a", ZRF_TYPE_INT8, &v, 0), KWRC_PROPERTY_TYPE_ERROR);
  EXPECT_EQ(Append("a", ZRF_TYPE_STRING, nullptr, 3), KWRC_PROPERTY_TYPE_ERROR);
  EXPECT_EQ(Append("", ZRF_TYPE_INT64, &v, 8), KWRC_PROPERTY_NAME_ERROR);
  const std::string tooLong(65536, 'n');
  EXPECT_EQ(Append(tooLong, ZRF_TYPE_INT64, &v, 8), KWRC_PROPERTY_NAME_ERROR);
  EXPECT_EQ(pal_.pProps, nullptr) << "a failed first append leaves no list";
}

}  // namespace
}  // namespace zxv::test
