// Test helpers for the property store: a fixture owning one list (plus a
// cursor and a work area) that checks for leaks, builders for common
// properties, and readers of the raw list bytes.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "tests/trace_lines.h"
#include "zxvxcs2/xcs_erdp.h"
#include "zxvxcs2/xcs_memory.h"
#include "zxvxzu/properties.h"

namespace zxv::test {

inline KWPD MakePD(KWLONG copyOptions = KWCOPY_DEFAULT, KWLONG context = KWPD_NO_CONTEXT,
                   KWLONG support = KWPD_SUPPORT_OPTIONAL) {
  KWPD pd;
  std::memcpy(pd.StrucId, KWPD_STRUC_ID, 4);
  pd.Version = KWPD_VERSION_1;
  pd.Options = KWPD_NONE;
  pd.Support = support;
  pd.Context = context;
  pd.CopyOptions = copyOptions;
  return pd;
}

inline uint32_t U32At(const uint8_t* p) {
  uint32_t v;
  std::memcpy(&v, p, 4);
  return v;
}
inline uint16_t U16At(const uint8_t* p) {
  uint16_t v;
  std::memcpy(&v, p, 2);
  return v;
}

// Names of the list's nodes in order, stepping with the node helpers.
inline std::vector<std::string> PropNames(const ZRFPAL& pal) {
  std::vector<std::string> names;
  if (pal.pProps == nullptr) return names;
  const uint8_t* bytes = reinterpret_cast<const uint8_t*>(pal.pProps);
  for (uint32_t off = ZRFP_HEADER_LENGTH; off < pal.pProps->StrucLen;) {
    const KWULONG length = zrfGetPropLength(bytes + off);
    if (length == 0) break;
    names.emplace_back(static_cast<const char*>(zrfGetPropName(bytes + off)),
                       zrfGetPropNameLength(bytes + off));
    off += length;
  }
  return names;
}

// The bytes in use of a list.
inline std::vector<uint8_t> InUse(const ZRFPAL& pal) {
  if (pal.pProps == nullptr) return {};
  const uint8_t* bytes = reinterpret_cast<const uint8_t*>(pal.pProps);
  return std::vector<uint8_t>(bytes, bytes + pal.pProps->StrucLen);
}

class PropertyStoreTest : public ::testing::Test {
 protected:
  void SetUp() override { blocks_ = xcsOutstandingBlocks(); }
  void TearDown() override {
    xcsInjectAllocFailure(0, 0, 0);
    for (ZRFPAL* pal : {&pal_, &other_}) {
      if (pal->pProps != nullptr) {
        EXPECT_EQ(zrfFreePAL(pal, 0, nullptr, nullptr), KWRC_NONE);
      }
    }
    zrfFreeCursor(&cursor_);
    xcsFreeMemFn(work_.pBuffer);
    EXPECT_EQ(xcsOutstandingBlocks(), blocks_) << "blocks leaked";
  }

  KWLONG Append(ZRFPAL* pal, const std::string& name, KWULONG type, const void* value,
                KWULONG length, KWLONG ccsid = 1208) {
    return zrfAppendProperty(pal, name.data(), static_cast<KWULONG>(name.size()), ccsid, type,
                             value, length, &pd_, &cc_, &rc_);
  }
  KWLONG Append(const std::string& name, KWULONG type, const void* value, KWULONG length,
                KWLONG ccsid = 1208) {
    return Append(&pal_, name, type, value, length, ccsid);
  }
  KWLONG PutInt(ZRFPAL* pal, const std::string& name, int32_t v) {
    return Append(pal, name, ZRF_TYPE_INT32, &v, sizeof v);
  }
  KWLONG PutInt(const std::string& name, int32_t v) { return PutInt(&pal_, name, v); }
  KWLONG PutString(ZRFPAL* pal, const std::string& name, const std::string& v,
                   KWLONG ccsid = 1208) {
    return Append(pal, name, ZRF_TYPE_STRING, v.data(), static_cast<KWULONG>(v.size()), ccsid);
  }
  KWLONG PutString(const std::string& name, const std::string& v, KWLONG ccsid = 1208) {
    return PutString(&pal_, name, v, ccsid);
  }

  std::vector<std::string> Names() const { return PropNames(pal_); }

  uint8_t* Bytes() { return reinterpret_cast<uint8_t*>(pal_.pProps); }
  const uint8_t* FirstNode() const {
    return reinterpret_cast<const uint8_t*>(pal_.pProps) + ZRFP_HEADER_LENGTH;
  }

  ZRFPAL pal_{};
  ZRFPAL other_{};
  ZRFCURSOR* cursor_ = nullptr;
  ZRFWORKAREA work_{};
  KWPD pd_ = MakePD();
  KWLONG cc_ = -1;
  KWLONG rc_ = -1;
  int64_t blocks_ = 0;
};

}  // namespace zxv::test
