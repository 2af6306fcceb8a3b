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
  const char* name;
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
bool IsWord(const uint8_t* text, uint32_t bytes, const char* word) {
  const size_t n = std::strlen(word);
  if (bytes != n * L::kUnitBytes) return false;
  for (size_t i = 0; i < n; ++i) {
    if (L::Load(text + i * L::kUnitBytes) != L::Char(word[i])) return false;
  }
  return true;
}

// Units that cannot stand in a tag name: controls and the characters that
// end a name or start markup, entities or a namespace prefix.
template <typename L>
struct NameUnits {
  static constexpr auto kBad = [] {
    struct Table {
      bool bad[256];
    } t{};
    for (uint32_t u = 0; u < 256; ++u) t.bad[u] = u < static_cast<uint32_t>(L::kControlLimit);
    for (const char c : std::string_view(" <>/=&:'\"")) {
      t.bad[static_cast<uint32_t>(L::Char(c)) & 0xFF] = true;
    }
    return t;
  }();
  static bool Bad(uint32_t unit) {
    if constexpr (L::kUnitBytes == 1) {
      return kBad.bad[unit];
    } else {
      return unit < 0x80 && kBad.bad[unit];
    }
  }
};

// True when a name part can be written as a tag name that the folder parser
// reads back as it stands.
template <typename L>
bool PlainPart(const uint8_t* part, uint32_t bytes) {
  constexpr uint32_t kStep = L::kUnitBytes;
  if (bytes == 0 || bytes > kMaxTagBytes) return false;
  const auto first = L::Load(part);
  if ((first >= L::Char('0') && first <= L::Char('9')) || first == L::Char('-')) return false;
  for (uint32_t at = 0; at < bytes; at += kStep) {
    if (NameUnits<L>::Bad(L::Load(part + at))) return false;
  }
  return !IsWord<L>(part, bytes, "elt");
}

template <typename L>
Placement PlaceIn(const uint8_t* name, uint32_t length) {
  constexpr uint32_t kStep = L::kUnitBytes;
  length -= length % kStep;
  const auto stop = L::Char('.');
  uint32_t parts = 0;
  bool plain = true;
  uint32_t firstBytes = length;
  uint32_t partStart = 0;
  for (uint32_t at = 0;; at += kStep) {
    if (at < length && L::Load(name + at) != stop) continue;
    if (++parts == 1) firstBytes = at;
    if (plain && !PlainPart<L>(name + partStart, at - partStart)) plain = false;
    if (at >= length) break;
    partStart = at + kStep;
  }
  if (parts >= 2 && plain) {
    for (const FolderInfo& f : kFolders) {
      if (f.id == FolderId::kUsr || !IsWord<L>(name, firstBytes, f.name)) continue;
      // The folder's own part is not nested; the rest is.
      const bool fits = f.no_groups ? parts == 2 : parts - 1 <= kMaxNestedParts;
      if (fits) return Placement{f.id, false};
      break;
    }
  }
  return Placement{FolderId::kUsr, !plain || parts > kMaxNestedParts};
}

}  // namespace

const char* FolderNameOf(FolderId folder) { return kFolders[static_cast<uint32_t>(folder)].name; }

bool FolderHoldsNoGroups(FolderId folder) {
  return kFolders[static_cast<uint32_t>(folder)].no_groups;
}

Placement PlaceName(uint8_t family, const uint8_t* name, uint32_t length) {
  Placement placement{FolderId::kUsr, true};
  WithFamily(family, [&](auto traits) {
    using L = decltype(traits);
    placement = PlaceIn<L>(name, length);
  });
  return placement;
}

}  // namespace zxv::props
