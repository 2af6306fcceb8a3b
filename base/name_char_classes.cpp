// The three 256-entry class tables, built at compile time from the
// character lists of each rule.
#include "base/name_char_classes.h"

#include <string_view>

namespace zxv::base {
namespace {

constexpr std::string_view kAlphanumerics =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";

constexpr void Assign(CharClassTable& table, std::string_view chars, CharClass cls) {
  for (char c : chars) table[static_cast<uint8_t>(c)] = cls;
}

constexpr CharClassTable BuildObjectNameClass() {
  CharClassTable t{};  // every entry kInvalid
  Assign(t, kAlphanumerics, CharClass::kName);
  Assign(t, "_%", CharClass::kName);
  Assign(t, " ", CharClass::kBlank);
  Assign(t, "*", CharClass::kAsterisk);
  Assign(t, "./", CharClass::kDotSlash);
  Assign(t, "-", CharClass::kHyphen);
  return t;
}

constexpr CharClassTable BuildInstallationNameClass() {
  CharClassTable t{};
  Assign(t, kAlphanumerics, CharClass::kName);
  Assign(t, " ", CharClass::kBlank);
  t[0] = CharClass::kNul;
  return t;
}

constexpr CharClassTable BuildProfileClass() {
  CharClassTable t{};
  Assign(t, kAlphanumerics, CharClass::kName);
  Assign(t, "_%*./?", CharClass::kName);
  Assign(t, " ", CharClass::kBlank);
  return t;
}

constexpr int CountOf(const CharClassTable& t, CharClass cls) {
  int n = 0;
  for (CharClass c : t) n += (c == cls) ? 1 : 0;
  return n;
}

}  // namespace

// The extern declarations in the header give these external linkage.
constexpr CharClassTable kObjectNameClass = BuildObjectNameClass();
constexpr CharClassTable kInstallationNameClass = BuildInstallationNameClass();
constexpr CharClassTable kProfileClass = BuildProfileClass();

// The checks compare padding against blanks directly: the blank must be the
// only byte of its class.
static_assert(CountOf(kObjectNameClass, CharClass::kBlank) == 1);
static_assert(CountOf(kInstallationNameClass, CharClass::kBlank) == 1);
static_assert(CountOf(kProfileClass, CharClass::kBlank) == 1);
static_assert(CountOf(kObjectNameClass, CharClass::kName) == 64);
static_assert(kObjectNameClass[0] == CharClass::kInvalid);
static_assert(CountOf(kInstallationNameClass, CharClass::kName) == 62);
static_assert(kInstallationNameClass['_'] == CharClass::kInvalid);
static_assert(CountOf(kProfileClass, CharClass::kName) == 68);
static_assert(kProfileClass['-'] == CharClass::kInvalid);
static_assert(kProfileClass[0] == CharClass::kInvalid);

}  // namespace zxv::base
