// Test helpers for the header chain: a builder of message data with headers
// in front (transmission, dead-letter, extension, older and new name/value
// headers, embedded and plain command format, other headers, a body) in
// either integer byte order and any CCSID, and damage helpers that rewrite
// an integer in the chain's order or truncate the data.
//
//   Chain c;
//   c.BigEndian().Ccsid(500).Xqh().Rfh2({"<usr><a>1</a></usr>"}).Body("hello");
//   Message m = c.Build();
//   ZRFLOC loc;
//   EXPECT_EQ(m.Locate(&loc), KWRC_NONE);
//   EXPECT_EQ(loc.Offset, m.offsets[1]);
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "tests/props/property_test_util.h"
#include "zxvxcs2/xcs_ccsid.h"
#include "zxvxcs2/xcs_trace.h"
#include "zxvxzu/kwrfh2.h"

namespace zxv::test {

// Text converted from UTF-8 into (ccsid, encoding); the test fails when the
// platform cannot convert it.
inline std::vector<uint8_t> Encode(const std::string& text, int32_t ccsid, int32_t encoding = 546) {
  std::vector<uint8_t> out(text.size() * 4 + 8);
  uint32_t used = 0;
  const xcsRC rc =
      xcsConvertString(1208, 546, text.data(), static_cast<uint32_t>(text.size()), ccsid, encoding,
                       out.data(), static_cast<uint32_t>(out.size()), &used);
  EXPECT_EQ(rc, xcsRC_OK) << "converting '" << text << "' to " << ccsid;
  out.resize(used);
  return out;
}

// Message data with its descriptor fields.
struct Message {
  std::vector<uint8_t> data;
  char format[8];
  int32_t encoding;
  int32_t ccsid;
  std::vector<uint32_t> offsets;  // of each part, in the order added

  bool reversed() const { return (encoding & 0xF) == 1; }
  int32_t IntAt(uint32_t at) const {
    uint32_t v;
    std::memcpy(&v, data.data() + at, 4);
    return static_cast<int32_t>(reversed() ? __builtin_bswap32(v) : v);
  }
  void PutInt(uint32_t at, int32_t value) {
    auto v = static_cast<uint32_t>(value);
    if (reversed()) v = __builtin_bswap32(v);
    std::memcpy(data.data() + at, &v, 4);
  }
  void Truncate(uint32_t length) { data.resize(length); }

  KWLONG Locate(ZRFLOC* loc, KWULONG start = 0, KWULONG* flags = nullptr) const {
    KWLONG cc = -1;
    KWLONG rc = -1;
    const KWLONG ret = zrfLocateKWRFH2(data.data(), static_cast<KWULONG>(data.size()), format,
                                       encoding, ccsid, start, loc, flags, &cc, &rc);
    EXPECT_EQ(ret, rc);
    EXPECT_EQ(cc, rc == 0 ? KWCC_OK : KWCC_FAILED);
    return rc;
  }
};

// A built message with one damage applied: cut to `length` bytes, one
// integer field overwritten, or one byte overwritten.
inline Message Cut(Message m, uint32_t length) {
  m.Truncate(length);
  return m;
}
inline Message WithInt(Message m, uint32_t at, int32_t value) {
  m.PutInt(at, value);
  return m;
}
inline Message WithByte(Message m, uint32_t at, uint8_t value) {
  m.data[at] = value;
  return m;
}

class Chain {
 public:
  // Every structure's integers big-endian (encoding 273) instead of 546.
  Chain& BigEndian() {
    encoding_ = 273;
    return *this;
  }
  // Every structure's characters (and the CCSID each names) in `ccsid`.
  Chain& Ccsid(int32_t ccsid) {
    ccsid_ = ccsid;
    return *this;
  }

  Chain& Xqh() { return Add("KWXMIT  ", Fixed("XQH ", 1, 428), 128); }
  Chain& Dlh() { return Add("KWDEAD  ", Fixed("DLH ", 1, 172), 108); }
  Chain& Mde() { return Add("KWHMDE  ", Standard("MDE ", 2, 72), 12); }
  // An older-form header with its name/value text.
  Chain& Rfh1(const std::string& text = "Name Value") {
    Part p = Standard("RFH ", 1, 32);
    p.tail = Encode(text, ccsid_);
    return Add("KWHRF   ", p, 12);
  }
  // A KWRFH2 with the given folders in `nv_ccsid` (byte order of the chain
  // for UCS-2), each padded with blanks to a multiple of 4.
  Chain& Rfh2(const std::vector<std::string>& folders, int32_t nv_ccsid = 1208, int32_t flags = 0,
              const char* format = "KWHRF2  ") {
    Part p = Standard("RFH ", 2, 36);
    p.ints.push_back({28, flags});
    p.ints.push_back({32, nv_ccsid});
    const int32_t nv_encoding = nv_ccsid == 1200 ? encoding_ : 546;
    const std::vector<uint8_t> blank = Encode(" ", nv_ccsid, nv_encoding);
    for (const std::string& folder : folders) {
      std::vector<uint8_t> text = Encode(folder, nv_ccsid, nv_encoding);
      while (text.size() % 4 != 0) text.insert(text.end(), blank.begin(), blank.end());
      p.folders.push_back(text);
    }
    return Add(format, p, 12);
  }
  // An embedded command-format header whose command type is `type`.
  Chain& Eph(int32_t type = 1) {
    Part p = Standard("EPH ", 1, 68);
    p.ints.push_back({32, type});
    p.ints.push_back({36, 36});
    return Add("KWHEPCF ", p, 12);
  }
  // A command-format message of `type`; it ends the chain.
  Chain& Admin(int32_t type = 1) {
    Part p;
    p.length = 36;
    p.ints = {{0, type}, {4, 36}, {8, 1}};
    return Add("KWADMIN ", p, 0);
  }
  // Some other header with the standard prefix.
  Chain& Other(const char* format = "KWHXYZ  ", uint32_t length = 40) {
    return Add(format, Standard("XYZ ", 1, length), 12);
  }
  // The message body: text in the chain's CCSID.
  Chain& Body(const std::string& text = "body", const char* format = "KWSTR   ") {
    Part p;
    p.tail = Encode(text, ccsid_);
    p.length = 0;
    return Add(format, p, 0);
  }

  Message Build() const {
    Message m;
    std::memcpy(m.format, parts_.empty() ? "        " : parts_[0].format.c_str(), 8);
    m.encoding = encoding_;
    m.ccsid = ccsid_;
    for (size_t i = 0; i < parts_.size(); ++i) {
      const Part& p = parts_[i];
      const auto at = static_cast<uint32_t>(m.data.size());
      m.offsets.push_back(at);
      uint32_t total = p.length + static_cast<uint32_t>(p.tail.size());
      for (const auto& f : p.folders) total += 4 + static_cast<uint32_t>(f.size());
      m.data.resize(at + total, 0);
      if (!p.strucid.empty()) Put(m, at, p.strucid);
      for (const auto& [offset, value] : p.ints) m.PutInt(at + offset, value);
      if (p.has_struc_length) m.PutInt(at + 8, static_cast<int32_t>(total));
      uint32_t w = at + p.length;
      for (const auto& f : p.folders) {
        m.PutInt(w, static_cast<int32_t>(f.size()));
        if (!f.empty()) std::memcpy(m.data.data() + w + 4, f.data(), f.size());
        w += 4 + static_cast<uint32_t>(f.size());
      }
      if (!p.tail.empty()) std::memcpy(m.data.data() + w, p.tail.data(), p.tail.size());
      if (!p.strucid.empty()) {
        // Encoding, CCSID and Format of what follows.
        const std::string next = i + 1 < parts_.size() ? parts_[i + 1].format : "        ";
        m.PutInt(at + p.next_at, encoding_);
        m.PutInt(at + p.next_at + 4, ccsid_);
        Put(m, at + p.next_at + 8, next);
      }
    }
    return m;
  }

 private:
  struct Part {
    std::string format;
    std::string strucid;
    uint32_t length = 0;  // fixed part
    bool has_struc_length = false;
    uint32_t next_at = 0;  // offset of Encoding, CCSID, Format of what follows; 0 none
    std::vector<std::pair<uint32_t, int32_t>> ints;
    std::vector<std::vector<uint8_t>> folders;
    std::vector<uint8_t> tail;
  };

  static Part Fixed(const char* id, int32_t version, uint32_t length) {
    Part p;
    p.strucid = id;
    p.length = length;
    p.ints.push_back({4, version});
    return p;
  }
  static Part Standard(const char* id, int32_t version, uint32_t length) {
    Part p = Fixed(id, version, length);
    p.has_struc_length = true;
    return p;
  }

  Chain& Add(const char* format, Part p, uint32_t next_at) {
    p.format = format;
    p.next_at = p.strucid.empty() ? 0 : next_at;
    parts_.push_back(p);
    return *this;
  }

  void Put(Message& m, uint32_t at, const std::string& ascii) const {
    const std::vector<uint8_t> text = Encode(ascii, ccsid_);
    ASSERT_EQ(text.size(), ascii.size());
    std::memcpy(m.data.data() + at, text.data(), text.size());
  }

  int32_t encoding_ = 546;
  int32_t ccsid_ = 1208;
  std::vector<Part> parts_;
};

}  // namespace zxv::test
