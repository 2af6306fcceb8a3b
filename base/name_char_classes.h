// Character classes of the three name rules: object names (queue-manager,
// queue, channel names), installation names and generic security profiles.
//
// Each table has 256 entries indexed by the byte value; no code-page
// conversion happens first, so only single-byte characters are judged.
//
//   if (kObjectNameClass[static_cast<uint8_t>(c)] == CharClass::kName) ...
#pragma once

#include <array>
#include <cstdint>

namespace zxv::base {

enum class CharClass : uint8_t {
  kInvalid = 0,   // refused in every position
  kName = 1,      // an ordinary name character
  kBlank = 2,     // the pad character; only trailing blanks are allowed
  kAsterisk = 3,  // object names: the generic-name marker
  kNul = 4,       // installation names: a NUL ends the name
  kDotSlash = 5,  // object names: '.' and '/', refusable by option
  kHyphen = 6,    // object names: '-', acceptable by option
};

using CharClassTable = std::array<CharClass, 256>;

// A-Z a-z 0-9 _ % name; blank; '*'; '.' '/'; '-'. Everything else, NUL
// included, is invalid.
extern const CharClassTable kObjectNameClass;

// A-Z a-z 0-9 name; blank; NUL. Everything else is invalid.
extern const CharClassTable kInstallationNameClass;

// A-Z a-z 0-9 _ % * . / ? name; blank. Everything else, NUL and '-'
// included, is invalid.
extern const CharClassTable kProfileClass;

inline CharClass ClassOf(const CharClassTable& table, char c) {
  return table[static_cast<uint8_t>(c)];
}

}  // namespace zxv::base
