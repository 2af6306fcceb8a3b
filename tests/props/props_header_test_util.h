// Test helpers for properties to and from the header: a fixture on top of
// the message-handle fixture that writes a handle's properties as headers,
// fills another handle from them, and reads a handle's properties back as
// comparable values.
//
//   KWHMSG a = Create();
//   SetInt32(a, "count", 7);
//   Headers h = ToHeaders(a, KWMD_VERSION_2);
//   KWHMSG b = Create();
//   EXPECT_EQ(FromHeaders(b, h), KWRC_NONE);
//   EXPECT_EQ(PropsOf(b), PropsOf(a));
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <tuple>
#include <vector>

#include "tests/props/message_handle_test_util.h"
#include "zxvxzu/kwrfh2.h"
#include "zxvxzu/props_header.h"

namespace zxv::test::header {

// A property as inquiry returns it.
struct HandleProp {
  std::string name;
  KWLONG type = 0;
  std::vector<uint8_t> value;
  KWLONG support = KWPD_SUPPORT_OPTIONAL;
  KWLONG context = KWPD_NO_CONTEXT;
  KWLONG copy = KWCOPY_DEFAULT;

  bool operator==(const HandleProp& o) const {
    return std::tie(name, type, value, support, context, copy) ==
           std::tie(o.name, o.type, o.value, o.support, o.context, o.copy);
  }
  bool operator<(const HandleProp& o) const { return name < o.name; }
};

inline std::ostream& operator<<(std::ostream& os, const HandleProp& p) {
  os << p.name << " type " << p.type << " [";
  for (uint8_t b : p.value) os << ' ' << static_cast<int>(b);
  return os << " ] support " << p.support << " context " << p.context << " copy " << p.copy;
}

// What zstPropertiesToKWRFH2 gave.
struct Headers {
  KWLONG reason = -1;
  KWLONG cc = -1;
  KWMD md{};
  KWULONG length = 0;
  std::vector<uint8_t> bytes;
};

class PropsHeaderTest : public MessageHandleTest {
 protected:
  // Writes the handle's properties for a descriptor of `version`, into a
  // buffer of `bufferSize` bytes.
  Headers ToHeaders(KWHMSG hMsg, KWLONG version, const ZSTHDROPTS* opts = nullptr,
                    size_t bufferSize = 1 << 16, KWHCONN hConn = kConn) {
    Headers h;
    h.md.Version = version;
    h.bytes.assign(bufferSize, 0xEE);
    zstPropertiesToKWRFH2(
        nullptr, hConn, hMsg, opts, &h.md, bufferSize != 0 ? h.bytes.data() : nullptr,
        static_cast<KWULONG>(bufferSize), AnchorOf(hConn), &h.length, &h.cc, &h.reason);
    if (h.reason == KWRC_NONE) h.bytes.resize(h.length);
    return h;
  }

  // Fills the handle from the headers (and `body` behind them).
  KWLONG FromHeaders(KWHMSG hMsg, const Headers& h, const std::string& body = "",
                     KWULONG* offset = nullptr, KWULONG* length = nullptr) {
    std::vector<uint8_t> data = h.bytes;
    data.insert(data.end(), body.begin(), body.end());
    data_ = data;
    KWLONG cc = -1;
    KWLONG reason = -1;
    zstKWRFH2ToProperties(nullptr, kConn, hMsg, &h.md, data_.data(),
                          static_cast<KWULONG>(data_.size()), 0, AnchorOf(kConn), offset, length,
                          &cc, &reason);
    EXPECT_EQ(cc, reason == KWRC_NONE ? KWCC_OK : KWCC_FAILED);
    return reason;
  }

  // Every property of the handle's list (descriptor fields are not
  // browsed), sorted by name.
  std::vector<HandleProp> PropsOf(KWHMSG hMsg) {
    std::vector<HandleProp> props;
    KWLONG options = KWIMPO_INQ_FIRST;
    for (;;) {
      Inquired r = Inquire(hMsg, "%", options, KWTYPE_AS_SET, 1 << 16, 1024);
      if (r.reason == KWRC_PROPERTY_NOT_AVAILABLE) break;
      EXPECT_EQ(r.reason, KWRC_NONE) << "browsing after " << props.size() << " properties";
      if (r.reason != KWRC_NONE) break;
      HandleProp p;
      p.name = r.name;
      p.type = r.type;
      p.value = r.value;
      p.support = r.pd.Support;
      p.context = r.pd.Context;
      p.copy = r.pd.CopyOptions;
      props.push_back(p);
      options = KWIMPO_INQ_NEXT;
    }
    std::sort(props.begin(), props.end());
    return props;
  }

  // The folder texts of the KWRFH2 at `at` of `data` (integers in the
  // machine's order), as raw bytes.
  static std::vector<std::vector<uint8_t>> FoldersOf(const std::vector<uint8_t>& data,
                                                     uint32_t at = 0, bool reversed = false) {
    std::vector<std::vector<uint8_t>> folders;
    const auto load = [&](uint32_t p) {
      uint32_t v;
      std::memcpy(&v, data.data() + p, 4);
      return reversed ? __builtin_bswap32(v) : v;
    };
    const uint32_t end = at + load(at + 8);
    for (uint32_t p = at + 36; p + 4 <= end;) {
      const uint32_t n = load(p);
      folders.emplace_back(data.begin() + p + 4, data.begin() + p + 4 + n);
      p += 4 + n;
    }
    return folders;
  }
  static std::string Text(const std::vector<uint8_t>& bytes) {
    return std::string(bytes.begin(), bytes.end());
  }

  std::vector<uint8_t> data_;
};

}  // namespace zxv::test::header
