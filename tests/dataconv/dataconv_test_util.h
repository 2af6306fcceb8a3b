// Helpers of the data-conversion tests: byte builders that write integers in
// either byte order and text in ASCII or EBCDIC (code page 37) by their own
// tables, so expected bytes never come from the code under test, and a
// conversion request around them.
#pragma once

#include <climits>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "tests/trace_lines.h"
#include "zxvxzu/dataconv.h"

namespace dctest {

// EBCDIC (CCSID 37) of the characters the tests write.
inline uint8_t Ebcdic(char c) {
  if (c >= 'a' && c <= 'i') return static_cast<uint8_t>(0x81 + (c - 'a'));
  if (c >= 'j' && c <= 'r') return static_cast<uint8_t>(0x91 + (c - 'j'));
  if (c >= 's' && c <= 'z') return static_cast<uint8_t>(0xA2 + (c - 's'));
  if (c >= 'A' && c <= 'I') return static_cast<uint8_t>(0xC1 + (c - 'A'));
  if (c >= 'J' && c <= 'R') return static_cast<uint8_t>(0xD1 + (c - 'J'));
  if (c >= 'S' && c <= 'Z') return static_cast<uint8_t>(0xE2 + (c - 'S'));
  if (c >= '0' && c <= '9') return static_cast<uint8_t>(0xF0 + (c - '0'));
  static constexpr char kPunct[] = " .<(+)-/,_>:=*";
  static constexpr uint8_t kCodes[] = {0x40, 0x4B, 0x4C, 0x4D, 0x4E, 0x5D, 0x60,
                                       0x61, 0x6B, 0x6D, 0x6E, 0x7A, 0x7E, 0x5C};
  for (size_t i = 0; i < sizeof kCodes; ++i) {
    if (c == kPunct[i]) return kCodes[i];
  }
  return 0x6F;  // '?': a character the tests do not use
}

using Vec = std::vector<uint8_t>;

inline Vec Ascii(const std::string& s) { return Vec(s.begin(), s.end()); }
inline Vec Ebc(const std::string& s) {
  Vec v;
  for (char c : s) v.push_back(Ebcdic(c));
  return v;
}
// UTF-16 of ASCII text in either byte order.
inline Vec Utf16(const std::string& s, bool big) {
  Vec v;
  for (char c : s) {
    v.push_back(big ? 0 : static_cast<uint8_t>(c));
    v.push_back(big ? static_cast<uint8_t>(c) : 0);
  }
  return v;
}
// The same as a string of bytes, for the PCF message builder.
inline std::string EbcStr(const std::string& s) {
  const Vec v = Ebc(s);
  return std::string(v.begin(), v.end());
}

// How a structure is written: byte order, character family, and the
// encoding and CCSID values that name that form.
struct Form {
  bool big;
  bool ebcdic;
  int32_t encoding;
  int32_t ccsid;
};
inline constexpr Form kBigEbcdic{true, true, 273, 37};
inline constexpr Form kLittleAscii{false, false, 546, 850};
inline constexpr Form kLittleLatin1{false, false, 546, 819};
inline constexpr Form kLittleUtf8{false, false, 546, 1208};

class Bytes {
 public:
  explicit Bytes(const Form& form) : form_(form) {}
  Bytes& I32(int32_t value) {
    const uint32_t u = static_cast<uint32_t>(value);
    for (int i = 0; i < 4; ++i) {
      const int shift = form_.big ? 24 - 8 * i : 8 * i;
      v_.push_back(static_cast<uint8_t>(u >> shift));
    }
    return *this;
  }
  Bytes& I16(int16_t value) {
    const uint16_t u = static_cast<uint16_t>(value);
    v_.push_back(static_cast<uint8_t>(form_.big ? u >> 8 : u));
    v_.push_back(static_cast<uint8_t>(form_.big ? u : u >> 8));
    return *this;
  }
  // Text blank padded to `width` (0: its own length).
  Bytes& Text(const std::string& s, size_t width = 0) {
    if (width == 0) width = s.size();
    for (size_t i = 0; i < width; ++i) {
      const char c = i < s.size() ? s[i] : ' ';
      v_.push_back(form_.ebcdic ? Ebcdic(c) : static_cast<uint8_t>(c));
    }
    return *this;
  }
  Bytes& Raw(const std::vector<uint8_t>& bytes) {
    v_.insert(v_.end(), bytes.begin(), bytes.end());
    return *this;
  }
  Bytes& Fill(size_t n, uint8_t byte) {
    v_.insert(v_.end(), n, byte);
    return *this;
  }
  Bytes& Append(const Bytes& other) { return Raw(other.v_); }
  // The form's own encoding and CCSID, as next-structure fields.
  Bytes& Next(const std::string& format) {
    return I32(form_.encoding).I32(form_.ccsid).Text(format, 8);
  }
  const std::vector<uint8_t>& bytes() const { return v_; }
  size_t size() const { return v_.size(); }

 private:
  Form form_;
  std::vector<uint8_t> v_;
};

// Bytes 0, 1, 2, ... of a given length: identifiers that must not change.
inline std::vector<uint8_t> Counting(size_t n, uint8_t from) {
  std::vector<uint8_t> v(n);
  for (size_t i = 0; i < n; ++i) v[i] = static_cast<uint8_t>(from + i);
  return v;
}

// A dead-letter header naming `next` as what follows, in the given encoding
// and CCSID (kOwn: the header's own).
inline constexpr int32_t kOwn = INT32_MIN;
inline Bytes Dlh(const Form& f, const std::string& next, int32_t next_encoding = kOwn,
                 int32_t next_ccsid = kOwn) {
  Bytes b(f);
  b.Text("DLH ").I32(1).I32(2053).Text("DEST.Q", 48).Text("QM2", 48);
  b.I32(next_encoding != kOwn ? next_encoding : f.encoding);
  b.I32(next_ccsid != kOwn ? next_ccsid : f.ccsid);
  b.Text(next, 8).I32(11).Text("dlq", 28).Text("20240102", 8).Text("13000000", 8);
  return b;
}

using zxv::test::ScopedEnv;
using zxv::test::TraceLines;

// A request over `in` into an output buffer of `room` bytes.
struct Conversion {
  VPICONVERTREQ req{};
  std::vector<uint8_t> in;
  std::vector<uint8_t> out;

  Conversion(const std::vector<uint8_t>& data, const Form& from, const Form& to, const char* format,
             size_t room)
      : in(data), out(room, 0xEE) {
    req.SourceEncoding = from.encoding;
    req.SourceCCSID = from.ccsid;
    req.TargetEncoding = to.encoding;
    req.TargetCCSID = to.ccsid;
    std::memcpy(req.Format, format, 8);
    req.DataLength = static_cast<KWLONG>(in.size());
    req.AvailableLength = static_cast<KWLONG>(in.size());
    req.InBuffer = in.data();
    req.BufferLength = static_cast<KWLONG>(out.size());
    req.OutBuffer = out.data();
  }
  KWLONG Run() { return vpiConvertData(&req); }
  std::vector<uint8_t> Result() const {
    return std::vector<uint8_t>(out.begin(), out.begin() + req.DataLength);
  }
};

}  // namespace dctest
