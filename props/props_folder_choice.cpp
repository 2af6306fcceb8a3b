// The folder each property goes to when a list is written as a header (the
// rules are set out in include/zxvxzu/props_header.h). Names are read in the
// list's own encoding family, so no name is converted to choose its folder.
#include <cstring>
#include <string_view>

#include "props/props_text_scan.h"
#include "props/props_writer.h"
#include "props/rfh2_family.h"

namespace zxv::props {
namespace {

#if defined(__SSE2__)
using scan::LoadBlock;
#endif

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

// The folder names as LoadUpTo8 reads them.
constexpr auto kFolderWords = [] {
  struct Words {
    uint64_t word[kFolderCount];
    constexpr uint64_t operator[](uint32_t i) const { return word[i]; }
  } w{};
  for (uint32_t i = 0; i < kFolderCount; ++i) {
    for (size_t c = 0; c < kFolders[i].name.size(); ++c) {
      w.word[i] |= uint64_t{static_cast<uint8_t>(kFolders[i].name[c])} << (8 * c);
    }
  }
  return w;
}();

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

// The placement of a name whose parts, full stops and plainness are known:
// a name of the folder whose name is its first part when the folder can
// hold it, else a user property (in an elt element unless plain).
template <typename L>
Placement PlaceByFirstPart(const uint8_t* name, uint32_t parts, bool plain, uint32_t firstBytes,
                           uint32_t lastStop) {
  constexpr uint32_t kStep = L::kUnitBytes;
  // The folders' names are 3 to 7 characters long.
  constexpr uint32_t kShortestFolder = 3;
  constexpr uint32_t kLongestFolder = 7;
  const uint32_t firstUnits = firstBytes / kStep;
  if (parts >= 2 && plain && firstUnits >= kShortestFolder && firstUnits <= kLongestFolder) {
    if constexpr (kStep == 1 && L::Char('a') == 'a') {
      // ASCII letters: the first part against each folder name as one word.
      const uint64_t word = LoadUpTo8(name, firstBytes);
      for (uint32_t i = 0; i < kFolderCount; ++i) {
        const FolderInfo& f = kFolders[i];
        if (f.id == FolderId::kUsr || kFolderWords[i] != word || f.name.size() != firstBytes) {
          continue;
        }
        const bool fits = f.no_groups ? parts == 2 : parts - 1 <= kMaxNestedParts;
        if (fits) return Placement{f.id, 0, firstBytes, lastStop};
        break;
      }
      return Placement{FolderId::kUsr, parts > kMaxNestedParts ? 1u : 0u, firstBytes, lastStop};
    }
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

#if defined(__SSE2__)
// Names of up to 64 units of an ASCII-based family, classified sixteen
// bytes at a time into bit masks (bit i for byte i): the full stops, the
// units that cannot stand in a tag name and those that cannot begin one.
constexpr uint32_t kMaskedNameBytes = 64;

template <typename L>
Placement PlaceMasked(const uint8_t* name, uint32_t length) {
  static_assert(L::kUnitBytes == 1 && L::Char('.') == '.');
  uint64_t stops = 0;
  uint64_t bad = 0;
  uint64_t badFirst = 0;
  const __m128i controlMax = _mm_set1_epi8(static_cast<char>(L::kControlLimit - 1));
  const __m128i nine = _mm_set1_epi8(9);
  for (uint32_t at = 0; at < length; at += 16) {
    const __m128i v = LoadBlock(name + at, length - at);
    const auto is = [&v](char c) { return _mm_cmpeq_epi8(v, _mm_set1_epi8(c)); };
    const __m128i control = _mm_cmpeq_epi8(_mm_min_epu8(v, controlMax), v);
    const __m128i b = _mm_or_si128(
        _mm_or_si128(_mm_or_si128(control, is(' ')), _mm_or_si128(is('<'), is('>'))),
        _mm_or_si128(_mm_or_si128(_mm_or_si128(is('/'), is('=')), _mm_or_si128(is('&'), is(':'))),
                     _mm_or_si128(is('\''), is('"'))));
    const __m128i digit = _mm_sub_epi8(v, _mm_set1_epi8('0'));
    const __m128i f = _mm_or_si128(_mm_cmpeq_epi8(_mm_min_epu8(digit, nine), digit), is('-'));
    stops |= uint64_t{static_cast<uint16_t>(_mm_movemask_epi8(is('.')))} << at;
    bad |= uint64_t{static_cast<uint16_t>(_mm_movemask_epi8(b))} << at;
    badFirst |= uint64_t{static_cast<uint16_t>(_mm_movemask_epi8(f))} << at;
  }
  // The zeros behind a short last block are no part of the name.
  const uint64_t valid = length == kMaskedNameBytes ? ~uint64_t{0} : (uint64_t{1} << length) - 1;
  stops &= valid;
  const uint64_t starts = ((stops << 1) | 1) & valid;
  // No bad unit, no bad first unit, no empty part (a stop where a part
  // begins, or a stop at the end).
  bool plain = (bad & valid) == 0 && (badFirst & starts) == 0 && (stops & starts) == 0 &&
               ((stops >> (length - 1)) & 1) == 0;
  const uint32_t firstBytes = stops != 0 ? static_cast<uint32_t>(__builtin_ctzll(stops)) : length;
  const uint32_t lastStop =
      stops != 0 ? static_cast<uint32_t>(63 - __builtin_clzll(stops)) : length;
  // The parts, counted; they are short here, so of the part rules only
  // "elt" is left to rule out.
  constexpr uint32_t kEltBytes = 3;
  uint32_t parts = 1;
  uint32_t start = 0;
  for (uint64_t rest = stops;; rest &= rest - 1) {
    const uint32_t end = rest != 0 ? static_cast<uint32_t>(__builtin_ctzll(rest)) : length;
    if (end - start == kEltBytes && IsWord<L>(name + start, kEltBytes, "elt")) plain = false;
    if (rest == 0) break;
    ++parts;
    start = end + 1;
  }
  return PlaceByFirstPart<L>(name, parts, plain, firstBytes, lastStop);
}
#endif

template <typename L>
Placement PlaceIn(const uint8_t* name, uint32_t length) {
  constexpr uint32_t kStep = L::kUnitBytes;
#if defined(__SSE2__)
  if constexpr (kStep == 1 && L::Char('.') == '.') {
    if (length != 0 && length <= kMaskedNameBytes) return PlaceMasked<L>(name, length);
  }
#endif
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

  return PlaceByFirstPart<L>(name, parts, plain, firstBytes, lastStop);
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
