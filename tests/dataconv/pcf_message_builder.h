// Builds PCF messages byte by byte for tests, without the library: integers
// written in the chosen byte order, strings given as the bytes of their
// CCSID, every length counted here. A test builds the message a sender
// would send and, separately, the bytes it expects after conversion.
//
//   PcfMessage m(kBigEndian);
//   m.Header(1).Integer(1001, 7).String(2002, 37, "\xC1\xC2");  // "AB" in EBCDIC
//   std::string bytes = m.bytes();  // header count 2
#pragma once

#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace zxv::testing {

inline constexpr bool kBigEndian = true;
inline constexpr bool kLittleEndian = false;

class PcfMessage {
 public:
  explicit PcfMessage(bool big_endian) : big_(big_endian) {}

  // The 36-byte header. Its parameter count is the number of top-level
  // parameters appended after it unless `count` is given.
  PcfMessage& Header(int32_t command, int32_t type = 1, int32_t count = -1) {
    header_at_ = bytes_.size();
    auto_count_ = count < 0;
    I32(type);
    I32(36);
    I32(3);        // version
    I32(command);  // command
    I32(1);        // message sequence number
    I32(1);        // control: last
    I32(0);        // completion code
    I32(0);        // reason
    I32(auto_count_ ? 0 : count);
    return *this;
  }

  PcfMessage& Integer(int32_t id, int32_t value) {
    Top();
    I32(3), I32(16), I32(id), I32(value);
    return *this;
  }
  // A string padded to a multiple of 4 with `pad`.
  PcfMessage& String(int32_t id, int32_t ccsid, std::string_view text, char pad = '\0') {
    return WithValue({4, 0, id, ccsid, static_cast<int32_t>(text.size())}, text, pad);
  }
  PcfMessage& IntegerList(int32_t id, const std::vector<int32_t>& values) {
    Top();
    I32(5), I32(static_cast<int32_t>(16 + 4 * values.size())), I32(id);
    I32(static_cast<int32_t>(values.size()));
    for (int32_t v : values) I32(v);
    return *this;
  }
  // Every string must have `width` bytes already.
  PcfMessage& StringList(int32_t id, int32_t ccsid, int32_t width,
                         const std::vector<std::string>& strings, char pad = '\0') {
    Top();
    const size_t length = Padded(24 + strings.size() * static_cast<size_t>(width));
    I32(6), I32(static_cast<int32_t>(length)), I32(id), I32(ccsid);
    I32(static_cast<int32_t>(strings.size())), I32(width);
    for (const std::string& s : strings) Append(s);
    Fill(length - 24 - strings.size() * static_cast<size_t>(width), pad);
    return *this;
  }
  PcfMessage& Bytes(int32_t id, std::string_view value, char pad = '\0') {
    return WithValue({9, 0, id, static_cast<int32_t>(value.size())}, value, pad);
  }
  PcfMessage& IntegerFilter(int32_t id, int32_t op, int32_t value) {
    Top();
    I32(13), I32(20), I32(id), I32(op), I32(value);
    return *this;
  }
  PcfMessage& StringFilter(int32_t id, int32_t op, int32_t ccsid, std::string_view value,
                           char pad = '\0') {
    return WithValue({14, 0, id, op, ccsid, static_cast<int32_t>(value.size())}, value, pad);
  }
  PcfMessage& BytesFilter(int32_t id, int32_t op, std::string_view value, char pad = '\0') {
    return WithValue({15, 0, id, op, static_cast<int32_t>(value.size())}, value, pad);
  }
  // A group header; its `count` members are the next structures appended
  // (they do not count as top-level parameters).
  PcfMessage& Group(int32_t id, int32_t count) {
    Top();
    I32(20), I32(16), I32(id), I32(count);
    members_ += count;
    return *this;
  }
  PcfMessage& Integer64(int32_t id, int64_t value) {
    Top();
    I32(23), I32(24), I32(id), I32(0), I64(value);
    return *this;
  }
  PcfMessage& Integer64List(int32_t id, const std::vector<int64_t>& values) {
    Top();
    I32(25), I32(static_cast<int32_t>(16 + 8 * values.size())), I32(id);
    I32(static_cast<int32_t>(values.size()));
    for (int64_t v : values) I64(v);
    return *this;
  }

  // Raw material for damaged messages.
  PcfMessage& Raw32(int32_t v) {
    I32(v);
    return *this;
  }
  PcfMessage& Raw(std::string_view b) {
    Append(b);
    return *this;
  }
  // Overwrites the 32-bit field at byte offset `at`.
  PcfMessage& Patch32(size_t at, int32_t v) {
    for (int k = 0; k < 4; ++k) bytes_[at + static_cast<size_t>(k)] = Byte(v, k);
    return *this;
  }

  // Members that groups appended so far still expect.
  int64_t pending_members() const { return members_; }

  const std::string& bytes() const { return bytes_; }
  size_t size() const { return bytes_.size(); }

 private:
  static size_t Padded(size_t n) { return (n + 3) / 4 * 4; }

  // A structure of the 32-bit `fields` (the second, its length, filled in
  // here) followed by `value` padded to a multiple of 4 with `pad`.
  PcfMessage& WithValue(std::initializer_list<int32_t> fields, std::string_view value, char pad) {
    Top();
    const size_t fixed = 4 * fields.size();
    const size_t length = Padded(fixed + value.size());
    int k = 0;
    for (int32_t f : fields) I32(k++ == 1 ? static_cast<int32_t>(length) : f);
    Append(value);
    Fill(length - fixed - value.size(), pad);
    return *this;
  }

  // A structure at the top level raises the header's count; a group member
  // uses up one of its group's members instead.
  void Top() {
    if (members_ > 0) {
      --members_;
      return;
    }
    if (!auto_count_) return;
    const size_t at = header_at_ + 32;
    int32_t count = 0;
    for (int k = 0; k < 4; ++k) {
      const uint8_t b = static_cast<uint8_t>(bytes_[at + static_cast<size_t>(k)]);
      count |= static_cast<int32_t>(b) << (big_ ? 8 * (3 - k) : 8 * k);
    }
    Patch32(at, count + 1);
  }
  // Byte k (0 first in the message) of a 32-bit value.
  char Byte(int32_t v, int k) const {
    const int shift = big_ ? 8 * (3 - k) : 8 * k;
    return static_cast<char>((static_cast<uint32_t>(v) >> shift) & 0xFF);
  }
  void I32(int32_t v) {
    for (int k = 0; k < 4; ++k) bytes_.push_back(Byte(v, k));
  }
  void I64(int64_t v) {
    const uint64_t u = static_cast<uint64_t>(v);
    for (int k = 0; k < 8; ++k) {
      const int shift = big_ ? 8 * (7 - k) : 8 * k;
      bytes_.push_back(static_cast<char>((u >> shift) & 0xFF));
    }
  }
  void Append(std::string_view b) { bytes_.append(b.data(), b.size()); }
  void Fill(size_t n, char pad) { bytes_.append(n, pad); }

  bool big_;
  std::string bytes_;
  size_t header_at_ = 0;
  bool auto_count_ = false;
  int64_t members_ = 0;
};

}  // namespace zxv::testing
