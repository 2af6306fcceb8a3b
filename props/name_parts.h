// Dotted parts of property names, per encoding family.
//
// A property name is split into parts at the full stop of its encoding
// family: byte 0x2E for ASCII-based single byte and UTF-8, 0x4B for EBCDIC,
// 2E 00 for UCS-2 little-endian and 00 2E for UCS-2 big-endian. The store
// uses the parts to keep name groups together; browsing uses the family's
// percent sign for patterns.
//
//   uint32_t shared = SharedLeadingParts(a, alen, b, blen, XCS_CCSID_TYPE_UTF8);
//   // "jms.Dst" and "jms.Exp" share 1 part; "a.b.c" and "a.b" share 2.
#pragma once

#include <cstdint>
#include <cstring>

namespace zxv::props {

// One character of an encoding family: `length` bytes (0 when the family
// has no such character).
struct FamilyChar {
  uint8_t bytes[2];
  uint8_t length;
};

// The full stop of family `ccsidType` (XCS_CCSID_TYPE_*); length 0 for the
// unknown family, whose names are one part.
FamilyChar FullStopOf(uint8_t ccsidType);

// The percent sign of the family; length 0 for the unknown family.
FamilyChar PercentSignOf(uint8_t ccsidType);

// Bytes per character unit: 2 for the UCS-2 families, else 1.
uint32_t CharUnitOf(uint8_t ccsidType);

// The end of the part that starts at `start` (a character boundary): the
// offset of the next full stop, or `length`.
uint32_t NamePartEnd(const uint8_t* name, uint32_t length, uint32_t start, uint8_t ccsidType);

// Number of parts of a name ("a.b.c" has 3, "a" 1, "" 0).
uint32_t CountNameParts(const uint8_t* name, uint32_t length, uint8_t ccsidType);

// Number of leading parts two names of one family have in common.
uint32_t SharedLeadingParts(const uint8_t* a, uint32_t aLength, const uint8_t* b, uint32_t bLength,
                            uint8_t ccsidType);

// One name split once, to be compared with many others (the locate walk).
class NameSplit {
 public:
  NameSplit(const uint8_t* name, uint32_t length, uint8_t ccsidType);

  // Number of leading parts `other` (of the same family) shares with this
  // name; the same as SharedLeadingParts. Inline: the locate walk calls it
  // for every node.
  uint32_t SharedWith(const uint8_t* other, uint32_t otherLength) const {
    if (length_ == 0 || otherLength == 0 || other[0] != name_[0]) return 0;
    if (overflow_) return SharedLeadingParts(name_, length_, other, otherLength, ccsidType_);
    // Every part that ends before the first difference is shared; so is the
    // part ending at it when both names have a boundary there.
    uint32_t same = CommonPrefixLength(name_, other, length_ < otherLength ? length_ : otherLength);
    if (unit_ == 2) same &= ~1u;  // a two-byte family compares whole units
    uint32_t shared = 0;
    while (shared < stopCount_ && stops_[shared] < same) ++shared;
    if (BoundaryAt(name_, length_, same) && BoundaryAt(other, otherLength, same)) ++shared;
    return shared;
  }

 private:
  static constexpr uint32_t kMaxStops = 32;  // more falls back to the plain walk

  bool BoundaryAt(const uint8_t* name, uint32_t length, uint32_t at) const {
    if (at == length) return true;
    return stop_.length != 0 && at + stop_.length <= length && name[at] == stop_.bytes[0] &&
           (stop_.length == 1 || name[at + 1] == stop_.bytes[1]);
  }

  // Bytes at the start of `a` and `b` that are equal, eight at a time.
  static uint32_t CommonPrefixLength(const uint8_t* a, const uint8_t* b, uint32_t length) {
    uint32_t same = 0;
    while (same + 8 <= length) {
      uint64_t x;
      uint64_t y;
      std::memcpy(&x, a + same, 8);
      std::memcpy(&y, b + same, 8);
      // Little-endian: the lowest differing byte comes first.
      if (x != y) return same + static_cast<uint32_t>(__builtin_ctzll(x ^ y) / 8);
      same += 8;
    }
    while (same < length && a[same] == b[same]) ++same;
    return same;
  }

  const uint8_t* name_;
  uint32_t length_;
  uint8_t ccsidType_;
  FamilyChar stop_;
  uint32_t unit_;
  uint32_t stops_[kMaxStops];  // offsets of the full stops, ascending
  uint32_t stopCount_ = 0;
  bool overflow_ = false;
};

// True when the name's last character is the family's percent sign.
bool EndsWithPercentSign(const uint8_t* name, uint32_t length, uint8_t ccsidType);

}  // namespace zxv::props
