// Dotted parts of property names, per encoding family.
#include "props/name_parts.h"

#include <algorithm>
#include <cstring>

#include "zxvxcs2/xcs_ccsid.h"

namespace zxv::props {
namespace {

constexpr uint8_t kAsciiFullStop = 0x2E;
constexpr uint8_t kEbcdicFullStop = 0x4B;
constexpr uint8_t kAsciiPercent = 0x25;
constexpr uint8_t kEbcdicPercent = 0x6C;

FamilyChar CharOf(uint8_t ccsidType, uint8_t ascii, uint8_t ebcdic) {
  switch (ccsidType) {
    case XCS_CCSID_TYPE_ASCII:
    case XCS_CCSID_TYPE_UTF8:
      return FamilyChar{{ascii, 0}, 1};
    case XCS_CCSID_TYPE_EBCDIC:
      return FamilyChar{{ebcdic, 0}, 1};
    case XCS_CCSID_TYPE_LUCS2:
      return FamilyChar{{ascii, 0}, 2};
    case XCS_CCSID_TYPE_BUCS2:
      return FamilyChar{{0, ascii}, 2};
    default:
      return FamilyChar{{0, 0}, 0};
  }
}

bool CharAt(const uint8_t* name, uint32_t at, const FamilyChar& c) {
  return name[at] == c.bytes[0] && (c.length == 1 || name[at + 1] == c.bytes[1]);
}

}  // namespace

FamilyChar FullStopOf(uint8_t ccsidType) {
  return CharOf(ccsidType, kAsciiFullStop, kEbcdicFullStop);
}

FamilyChar PercentSignOf(uint8_t ccsidType) {
  return CharOf(ccsidType, kAsciiPercent, kEbcdicPercent);
}

uint32_t CharUnitOf(uint8_t ccsidType) {
  return (ccsidType == XCS_CCSID_TYPE_LUCS2 || ccsidType == XCS_CCSID_TYPE_BUCS2) ? 2 : 1;
}

uint32_t NamePartEnd(const uint8_t* name, uint32_t length, uint32_t start, uint8_t ccsidType) {
  const FamilyChar stop = FullStopOf(ccsidType);
  if (stop.length == 0) return length;
  if (stop.length == 1) {
    const void* hit = std::memchr(name + start, stop.bytes[0], length - start);
    return hit == nullptr ? length : static_cast<uint32_t>(static_cast<const uint8_t*>(hit) - name);
  }
  // Two-byte units: a full stop only counts on a unit boundary.
  for (uint32_t at = start; at + 1 < length; at += 2) {
    if (CharAt(name, at, stop)) return at;
  }
  return length;
}

uint32_t CountNameParts(const uint8_t* name, uint32_t length, uint8_t ccsidType) {
  if (length == 0) return 0;
  const uint32_t stopLength = FullStopOf(ccsidType).length;
  uint32_t parts = 1;
  for (uint32_t at = NamePartEnd(name, length, 0, ccsidType); at < length;
       at = NamePartEnd(name, length, at + stopLength, ccsidType)) {
    ++parts;
  }
  return parts;
}

uint32_t SharedLeadingParts(const uint8_t* a, uint32_t aLength, const uint8_t* b, uint32_t bLength,
                            uint8_t ccsidType) {
  if (aLength == 0 || bLength == 0 || a[0] != b[0]) return 0;  // the common quick answer
  const uint32_t stopLength = FullStopOf(ccsidType).length;
  uint32_t shared = 0;
  uint32_t start = 0;
  for (;;) {
    const uint32_t aEnd = NamePartEnd(a, aLength, start, ccsidType);
    const uint32_t bEnd = NamePartEnd(b, bLength, start, ccsidType);
    if (aEnd != bEnd || std::memcmp(a + start, b + start, aEnd - start) != 0) return shared;
    ++shared;
    if (aEnd == aLength || bEnd == bLength) return shared;
    start = aEnd + stopLength;
  }
}

NameSplit::NameSplit(const uint8_t* name, uint32_t length, uint8_t ccsidType)
    : name_(name),
      length_(length),
      ccsidType_(ccsidType),
      stop_(FullStopOf(ccsidType)),
      unit_(CharUnitOf(ccsidType)) {
  if (stop_.length == 0) return;
  for (uint32_t at = NamePartEnd(name, length, 0, ccsidType); at < length;
       at = NamePartEnd(name, length, at + stop_.length, ccsidType)) {
    if (stopCount_ == kMaxStops) {
      overflow_ = true;
      return;
    }
    stops_[stopCount_++] = at;
  }
}

bool EndsWithPercentSign(const uint8_t* name, uint32_t length, uint8_t ccsidType) {
  const FamilyChar percent = PercentSignOf(ccsidType);
  if (percent.length == 0 || length < percent.length) return false;
  const uint32_t at = length - percent.length;
  if (at % CharUnitOf(ccsidType) != 0) return false;
  return CharAt(name, at, percent);
}

}  // namespace zxv::props
