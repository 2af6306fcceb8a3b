// Test helpers for the folder parser: folder text in each of the five
// encoding families (converted once from UTF-8 through the platform), KWRFH2
// headers built around folders in either byte order, and the properties of
// a list read back as plain values.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "props/name_encoding.h"
#include "props/property_test_util.h"
#include "zxvxcs2/xcs_memory.h"
#include "zxvxzu/folder_parser.h"
#include "zxvxzu/kwrfh2.h"
#include "zxvxzu/properties.h"

namespace zxv::test {

// The families the folder tests run through (name_encoding.h).
inline std::string FamilyLabel(const ::testing::TestParamInfo<NameEncoding>& info) {
  return info.param.label;
}

// `utf8` in the family's encoding; fails the test when it cannot be.
inline std::string Encode(const std::string& utf8, const NameEncoding& enc) {
  bool ok = false;
  std::string out = EncodeName(utf8, enc, &ok);
  EXPECT_TRUE(ok) << "cannot encode " << utf8 << " for " << enc.label;
  return out;
}

// A property read back from a list (names and strings in the list's CCSID,
// which is 1208 for a list the parser created).
struct Prop {
  std::string name;
  uint32_t type = 0;  // ZRF_TYPE_*
  std::string value;  // string and byte-string bytes
  int64_t integer = 0;
  double real = 0;
  uint32_t support = 0;
  uint32_t copy = 0;
  bool user_context = false;
};

inline std::vector<Prop> ReadProps(const ZRFPAL& pal) {
  std::vector<Prop> props;
  if (pal.pProps == nullptr) return props;
  const uint8_t* bytes = reinterpret_cast<const uint8_t*>(pal.pProps);
  for (uint32_t off = ZRFP_HEADER_LENGTH; off < pal.pProps->StrucLen;) {
    const uint8_t* node = bytes + off;
    const KWULONG length = zrfGetPropLength(node);
    if (length == 0) break;
    Prop p;
    const uint32_t word = U32At(node);
    p.type = word & ZRF_TYPE_MASK;
    p.user_context = (word & ZRF_FLAG_USER_CONTEXT) != 0;
    p.support = U32At(node + 4);
    const auto* name = static_cast<const uint8_t*>(zrfGetPropName(node));
    const uint32_t nameLength = zrfGetPropNameLength(node);
    p.name.assign(reinterpret_cast<const char*>(name), nameLength);
    p.copy = name[-1];  // CopyOptions is the byte before the name
    switch (p.type) {
      case ZRF_TYPE_STRING:
      case ZRF_TYPE_BYTE_STRING:
        p.value.assign(reinterpret_cast<const char*>(name + nameLength), U32At(node + 8));
        break;
      case ZRF_TYPE_BOOLEAN:
      case ZRF_TYPE_INT32:
        p.integer = static_cast<int32_t>(U32At(node + 8));
        break;
      case ZRF_TYPE_INT8:
        p.integer = static_cast<int8_t>(node[10]);
        break;
      case ZRF_TYPE_INT16:
        p.integer = static_cast<int16_t>(U16At(node + 8));
        break;
      case ZRF_TYPE_INT64: {
        int64_t v;
        std::memcpy(&v, node + 8, 8);
        p.integer = v;
        break;
      }
      case ZRF_TYPE_FLOAT32: {
        float v;
        std::memcpy(&v, node + 8, 4);
        p.real = v;
        break;
      }
      case ZRF_TYPE_FLOAT64:
        std::memcpy(&p.real, node + 8, 8);
        break;
      default:
        break;
    }
    props.push_back(p);
    off += length;
  }
  return props;
}

inline void PutBytes(std::string* out, const void* p, size_t n) {
  out->append(static_cast<const char*>(p), n);
}
inline void PutInt(std::string* out, int32_t v, bool bigEndian) {
  uint32_t u = static_cast<uint32_t>(v);
  if (bigEndian) u = __builtin_bswap32(u);
  PutBytes(out, &u, 4);
}

// A KWRFH2 holding `folders` (already in the family's encoding), padded
// with the family's blank to multiples of 4. Integers in `intEncoding`'s
// order (1: big-endian), which it also names for what follows; StrucId and Format in ASCII (CCSID
// 1208 chain).
inline std::string BuildRfh2(const std::vector<std::string>& folders, const NameEncoding& enc,
                             int32_t intEncoding = 546, const char* nextFormat = "KWSTR   ",
                             int32_t flags = 0, int32_t nvCcsid = 0) {
  const bool big = (intEncoding & 0xF) == 1;
  const std::string blank = Encode(" ", enc);
  std::string body;
  for (std::string f : folders) {
    while (f.size() % 4 != 0)
      f += blank.substr(0, std::min<size_t>(blank.size(), 4 - f.size() % 4));
    PutInt(&body, static_cast<int32_t>(f.size()), big);
    body += f;
  }
  std::string h;
  h += "RFH ";
  PutInt(&h, KWRFH_VERSION_2, big);
  PutInt(&h, static_cast<int32_t>(36 + body.size()), big);
  PutInt(&h, intEncoding, big);  // what follows: a chain stays in one byte order
  PutInt(&h, 1208, big);         // CCSID of what follows
  h.append(nextFormat, 8);
  PutInt(&h, flags, big);
  PutInt(&h, nvCcsid != 0 ? nvCcsid : enc.ccsid, big);
  return h + body;
}

// Parses a message whose descriptor names KWHRF2 with `intEncoding`.
struct ParseRun {
  KWLONG reason = -1;
  KWULONG offset = 0;
  KWULONG length = 0;
  std::string message;  // the message after the parse
};

inline ParseRun RunParse(std::string data, ZRFPAL* pal, KWULONG options = ZRF_PARSE_FILL_HANDLE,
                         int32_t intEncoding = 546, KWMD* md = nullptr, KWULONG* fields = nullptr) {
  ParseRun run;
  KWLONG cc = -1;
  run.reason = zrfParse(options, data.data(), static_cast<KWULONG>(data.size()), "KWHRF2  ",
                        intEncoding, 1208, pal, md, fields, &run.offset, &run.length, &cc, nullptr);
  EXPECT_EQ(cc, run.reason == 0 ? KWCC_OK : KWCC_FAILED);
  if (run.offset + run.length <= data.size()) run.message = data.substr(run.offset, run.length);
  return run;
}

// Fixture: one list per test, no leaks, failure injection off afterwards.
class FolderTestBase {
 protected:
  void Start() { blocks_ = xcsOutstandingBlocks(); }
  void Finish() {
    xcsInjectAllocFailure(0, 0, 0);
    if (pal_.pProps != nullptr) zrfFreePAL(&pal_, 0, nullptr, nullptr);
    EXPECT_EQ(xcsOutstandingBlocks(), blocks_) << "blocks leaked";
  }
  ZRFPAL pal_{};
  int64_t blocks_ = 0;
};

}  // namespace zxv::test
