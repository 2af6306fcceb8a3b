// The header writer's block-at-a-time paths against the general ones they
// stand in for: escaping sixteen bytes at a time against the family's
// expand routine, and the folder choice of short single-byte names (bit
// masks) against the unit-by-unit walk that UCS-2 names take.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "props/props_text_scan.h"
#include "props/props_writer.h"
#include "props/rfh2_family.h"
#include "props/value_escape.h"

namespace zxv::props {
namespace {

using Bytes = std::vector<uint8_t>;

// Random text rich in what the paths stop at: markup, lead bytes, stops.
Bytes RandomText(std::mt19937_64& rng, size_t length, const std::string& specials) {
  Bytes text(length);
  for (uint8_t& b : text) {
    const uint64_t r = rng();
    b = (r & 3) == 0 ? static_cast<uint8_t>(specials[(r >> 2) % specials.size()])
                     : static_cast<uint8_t>(r >> 8);
  }
  return text;
}

template <typename T>
void ExpectEscapesAgree(std::mt19937_64& rng) {
  const EscapeRoutines* general = EscapeRoutinesFor(T::kCcsidType);
  ASSERT_NE(general, nullptr);
  const std::string specials = {
      static_cast<char>(T::Char('&')), static_cast<char>(T::Char('<')), 'a',
      static_cast<char>(0xC3),         static_cast<char>(0xE2),         static_cast<char>(0xF0)};
  for (int i = 0; i < 20000; ++i) {
    const Bytes text = RandomText(rng, rng() % 80, specials);
    const auto n = static_cast<uint32_t>(text.size());
    Bytes expected(5 * text.size() + 16);
    uint32_t used = 0;
    general->expand(text.data(), n, expected.data(), &used);
    expected.resize(used);
    Bytes ours(5 * text.size() + 16);
    ours.resize(
        static_cast<size_t>(scan::EscapeBytes<T>(ours.data(), text.data(), n) - ours.data()));
    ASSERT_EQ(ours, expected) << "family " << int{T::kCcsidType} << ", " << n << " bytes";
  }
}

TEST(PropsHeaderFastPaths, EscapingBlocksGivesWhatExpandGives) {
  std::mt19937_64 rng(5);
  ExpectEscapesAgree<FamilyTraits<XCS_CCSID_TYPE_UTF8>>(rng);
  ExpectEscapesAgree<FamilyTraits<XCS_CCSID_TYPE_ASCII>>(rng);
  ExpectEscapesAgree<FamilyTraits<XCS_CCSID_TYPE_EBCDIC>>(rng);
}

// A single-byte name widened unit by unit into UCS-2 (little-endian) keeps
// every unit's meaning to the folder choice: the same placement, offsets
// doubled.
TEST(PropsHeaderFastPaths, ShortNamesArePlacedAsTheUnitWalkPlacesThem) {
  std::mt19937_64 rng(9);
  const std::string specials = ".....<>/=&:'\" -0123456789etl";
  const std::vector<std::string> prefixes = {"",       "jms.",     "mcd.",   "usr.",
                                             "psc.",   "kwps.",    "kwpse.", "kwpsi.",
                                             "kwext.", "zol_rfp.", "elt.",   "kw."};
  for (int i = 0; i < 50000; ++i) {
    Bytes name = RandomText(rng, rng() % 70, specials);
    for (uint8_t& b : name) {
      if ((rng() & 1) != 0) b = static_cast<uint8_t>('a' + b % 26);  // mostly plain
    }
    const std::string& prefix = prefixes[rng() % prefixes.size()];
    name.insert(name.begin(), prefix.begin(), prefix.end());
    Bytes wide;
    for (const uint8_t b : name) {
      wide.push_back(b);
      wide.push_back(0);
    }
    const auto n = static_cast<uint32_t>(name.size());
    for (const uint8_t family : {uint8_t{XCS_CCSID_TYPE_UTF8}, uint8_t{XCS_CCSID_TYPE_ASCII}}) {
      const Placement ours = PlaceName(family, name.data(), n);
      const Placement walk =
          PlaceName(XCS_CCSID_TYPE_LUCS2, wide.data(), static_cast<uint32_t>(wide.size()));
      const std::string shown(name.begin(), name.end());
      ASSERT_EQ(ours.folder, walk.folder) << shown;
      ASSERT_EQ(ours.elt, walk.elt) << shown;
      ASSERT_EQ(2 * ours.first_stop, walk.first_stop) << shown;
      ASSERT_EQ(2 * ours.last_stop, walk.last_stop) << shown;
    }
  }
}

}  // namespace
}  // namespace zxv::props
