// The folder each property goes to when a list is written as a header (the
// rules are set out in include/zxvxzu/props_header.h). Names are read in the
// list's own encoding family, so no name is converted to choose its folder.
#include <cstring>
#include <string_view>

#include "props/props_writer.h"
#include "props/rfh2_family.h"

namespace zxv::props {
namespace {

struct FolderInfo {
  FolderId id;
  std::string_view name;
  bool no_groups;
};

// In writing order.
constexpr FolderInfo kFolders[kFolderCount] = {
    {FolderId::kMcd, "mcd", true},         {FolderId::kJms, "jms", true},
    {FolderId::kUsr, "usr", false},        {FolderId::kPsc, "psc", false},
    {FolderId::kKwps, "kwps", true},       {FolderId::kKwpse, "kwpse", false},
    {FolderId::kKwpsi, "kwpsi", true},     {FolderId::kKwext, "kwext", true},
    {FolderId::kZolRfp, "zol_rfp", false},
};

template <typename L>
bool IsWord(const uint8_t* text, uint32_t bytes, std::string_view word) {
  const size_t n = word.size();
  if (bytes != n * L::kUnitBytes) return false;
  for (size_t i = 0; i < n; ++i) {
    if (L::Load(text + i * L::kUnitBytes) != L::Char(word[i])) return false;
  }
  return true;
}

// What a unit of a name is to the folder choice, one table lookup per unit:
// a full stop between parts, a unit that cannot stand in a tag name
// (controls and the characters that end a name or start markup, entities
// or a namespace prefix), or one that cannot begin a tag name.
enum : uint8_t { kUnitStop = 1, kUnitBad = 2, kUnitBadFirst = 4 };

template <typename L>
struct NameUnits {
  static constexpr auto kTable = [] {
    struct Table {
      uint8_t kind[256];
    } t{};
    for (uint32_t u = 0; u < 256; ++u) {
      t.kind[u] = u < static_cast<uint32_t>(L::kControlLimit) ? kUnitBad : 0;
    }
    for (const char c : std::string_view(" <>/=&:'\"")) {
      t.kind[static_cast<uint32_t>(L::Char(c)) & 0xFF] |= kUnitBad;
    }
    for (const char c : std::string_view("0123456789-")) {
      t.kind[static_cast<uint32_t>(L::Char(c)) & 0xFF] |= kUnitBadFirst;
    }
    t.kind[static_cast<uint32_t>(L::Char('.')) & 0xFF] = kUnitStop;
    return t;
  }();
  static uint8_t Of(uint32_t unit) {
    if constexpr (L::kUnitBytes == 1) {
      return kTable.kind[unit];
    } else {
      return unit < 0x80 ? kTable.kind[unit] : 0;
    }
  }
};

template <typename L>
Placement PlaceIn(const uint8_t* name, uint32_t length) {
  constexpr uint32_t kStep = L::kUnitBytes;
  constexpr uint32_t kEltBytes = 3 * kStep;
  length -= length % kStep;
  // One pass: the parts, the first part's length, and whether every part
  // is a plain tag name (not empty, not too long, no bad unit, no bad first
  // unit, not "elt").
  uint32_t parts = 1;
  uint32_t firstBytes = length;
  uint32_t lastStop = length;
  uint32_t partStart = 0;
  uint8_t seen = 0;
  bool plain = length != 0;
  for (uint32_t at = 0; at < length; at += kStep) {
    const uint8_t kind = NameUnits<L>::Of(L::Load(name + at));
    if (kind == kUnitStop) {
      const uint32_t bytes = at - partStart;
      if (parts == 1) firstBytes = at;
      plain = plain && bytes != 0 && bytes <= kMaxTagBytes &&
              (bytes != kEltBytes || !IsWord<L>(name + partStart, bytes, "elt"));
      ++parts;
      lastStop = at;
      partStart = at + kStep;
      continue;
    }
    if (at == partStart) seen |= kind & kUnitBadFirst;
    seen |= kind & kUnitBad;
  }
  const uint32_t lastBytes = length - partStart;
  plain = plain && seen == 0 && lastBytes != 0 && lastBytes <= kMaxTagBytes &&
          (lastBytes != kEltBytes || !IsWord<L>(name + partStart, lastBytes, "elt"));

  // The folders' names are 3 to 7 characters long.
  constexpr uint32_t kShortestFolder = 3;
  constexpr uint32_t kLongestFolder = 7;
  const uint32_t firstUnits = firstBytes / kStep;
  if (parts >= 2 && plain && firstUnits >= kShortestFolder && firstUnits <= kLongestFolder) {
    for (const FolderInfo& f : kFolders) {
      if (f.id == FolderId::kUsr || !IsWord<L>(name, firstBytes, f.name)) continue;
      // The folder's own part is not nested; the rest is.
      const bool fits = f.no_groups ? parts == 2 : parts - 1 <= kMaxNestedParts;
      if (fits) {
        return Placement{f.id, 0, firstBytes, lastStop};
      }
      break;
    }
  }
  return Placement{FolderId::kUsr, !plain || parts > kMaxNestedParts ? 1u : 0u, firstBytes,
                   lastStop};
}

}  // namespace

std::string_view FolderNameOf(FolderId folder) {
  return kFolders[static_cast<uint32_t>(folder)].name;
}

bool FolderHoldsNoGroups(FolderId folder) {
  return kFolders[static_cast<uint32_t>(folder)].no_groups;
}

Placement PlaceName(uint8_t family, const uint8_t* name, uint32_t length) {
  // A switch rather than WithFamily: the placement is returned in
  // registers, not assembled in memory by a lambda.
  switch (family) {
    case XCS_CCSID_TYPE_ASCII:
      return PlaceIn<FamilyTraits<XCS_CCSID_TYPE_ASCII>>(name, length);
    case XCS_CCSID_TYPE_EBCDIC:
      return PlaceIn<FamilyTraits<XCS_CCSID_TYPE_EBCDIC>>(name, length);
    case XCS_CCSID_TYPE_UTF8:
      return PlaceIn<FamilyTraits<XCS_CCSID_TYPE_UTF8>>(name, length);
    case XCS_CCSID_TYPE_LUCS2:
      return PlaceIn<FamilyTraits<XCS_CCSID_TYPE_LUCS2>>(name, length);
    case XCS_CCSID_TYPE_BUCS2:
      return PlaceIn<FamilyTraits<XCS_CCSID_TYPE_BUCS2>>(name, length);
    default:
      return Placement{FolderId::kUsr, 1, 0, 0};
  }
}

}  // namespace zxv::props
