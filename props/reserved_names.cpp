// Reserved property names: whole words a name may not be, prefixes it may not
// begin with, and the reserved families whose members must be known names.
// Words and prefixes are compared in the name's own encoding through its
// ASCII reading (name_head.h): whole 64-bit words, no loops over the lists.
#include <array>
#include <cstddef>
#include <string_view>

#include "base/trace_ids.h"
#include "props/name_head.h"
#include "props/property_names.h"
#include "props/word_hash.h"
#include "zxvxcs2/xcs_trace.h"

namespace zxv::props {

namespace {

// A reserved word, held as its upper-case form: message-selector words are
// refused in any mix of cases, Java keywords only as written (lower case).
struct ReservedWord {
  std::string_view text;
  bool selector;
};

constexpr std::array<ReservedWord, 52> kReservedWords = {{
    {"NULL", true},       {"TRUE", true},        {"FALSE", true},       {"NOT", true},
    {"AND", true},        {"OR", true},          {"BETWEEN", true},     {"LIKE", true},
    {"IN", true},         {"IS", true},          {"ESCAPE", true},      {"do", false},
    {"if", false},        {"for", false},        {"new", false},        {"try", false},
    {"byte", false},      {"case", false},       {"else", false},       {"goto", false},
    {"long", false},      {"this", false},       {"void", false},       {"break", false},
    {"catch", false},     {"class", false},      {"const", false},      {"final", false},
    {"float", false},     {"short", false},      {"super", false},      {"throw", false},
    {"while", false},     {"double", false},     {"import", false},     {"native", false},
    {"return", false},    {"static", false},     {"switch", false},     {"throws", false},
    {"extends", false},   {"finally", false},    {"abstract", false},   {"continue", false},
    {"strictfp", false},  {"volatile", false},   {"interface", false},  {"protected", false},
    {"transient", false}, {"implements", false}, {"instanceof", false}, {"synchronized", false},
}};

// Every word has 2 to 12 characters: longer names are no word, and the words
// fit the 16 characters of a NameHead.
constexpr uint32_t kShortestWord = 2;
constexpr uint32_t kLongestWord = 12;

constexpr bool WordsFit() {
  for (const ReservedWord& w : kReservedWords) {
    if (w.text.size() < kShortestWord || w.text.size() > kLongestWord) return false;
    for (char c : w.text) {
      const bool upper = c >= 'A' && c <= 'Z';
      const bool lower = c >= 'a' && c <= 'z';
      if (w.selector ? !upper : !lower) return false;
    }
  }
  return true;
}
static_assert(WordsFit(), "selector words in upper case, keywords in lower, 2 to 12 letters");

// ASCII letters a-z of a word of ASCII readings turned to upper case; every
// other byte (0 and bytes from 0x80 included) is left as it is.
constexpr uint64_t FoldUpper(uint64_t x) {
  constexpr uint64_t kOnes = 0x0101010101010101ull;
  const uint64_t low7 = x & (0x7F * kOnes);
  const uint64_t atLeastA = low7 + (0x80 - 'a') * kOnes;    // bit 7 set where low7 >= 'a'
  const uint64_t aboveZ = low7 + (0x80 - 'z' - 1) * kOnes;  // bit 7 set where low7 > 'z'
  const uint64_t lower = atLeastA & ~aboveZ & ~x & (0x80 * kOnes);
  return x - (lower >> 2);  // 0x80 >> 2 is the case bit 0x20
}

constexpr uint64_t FoldedKey(uint64_t lo, uint64_t hi, uint32_t units) {
  return MixKey(FoldUpper(lo), FoldUpper(hi), units);
}

constexpr std::array<uint64_t, kReservedWords.size()> WordKeys() {
  std::array<uint64_t, kReservedWords.size()> keys{};
  for (size_t i = 0; i < keys.size(); ++i) {
    const std::string_view t = kReservedWords[i].text;
    keys[i] = FoldedKey(Pack(t), Pack(t, 8), static_cast<uint32_t>(t.size()));
  }
  return keys;
}
constexpr WordHash<kReservedWords.size(), 8> kWordHash(WordKeys());

// Per length in characters, the first letters (A-Z, case folded) that a word
// of that length begins with: most names are turned away by these two alone,
// before any hashing.
constexpr std::array<uint32_t, kLongestWord + 1> FirstLetters() {
  std::array<uint32_t, kLongestWord + 1> letters{};
  for (const ReservedWord& w : kReservedWords) {
    letters[w.text.size()] |= uint32_t{1} << ((w.text[0] & ~0x20) - 'A');
  }
  return letters;
}
constexpr std::array<uint32_t, kLongestWord + 1> kFirstLetters = FirstLetters();

bool MayBeWord(uint8_t first, uint32_t units) {
  const uint32_t letter = static_cast<uint32_t>(FoldUpper(first) & 0xFF) - 'A';
  return letter < 26 && ((kFirstLetters[units] >> letter) & 1u) != 0;
}
static_assert(kWordHash.ok(), "the reserved words need a perfect hash");

KWLONG RefuseWord(const ReservedWord& w) {
  if (w.selector) {
    xtr_parms(kComponent, kFnCheckReservedWords, "Invalid SQL92 property name %.*s specified",
              static_cast<int>(w.text.size()), w.text.data());
  } else {
    xtr_parms(kComponent, kFnCheckReservedWords,
              "Invalid java keyword property name \"%-.*s\" specified",
              static_cast<int>(w.text.size()), w.text.data());
  }
  return KWRC_PROPERTY_NAME_ERROR;
}

// The prefixes, packed once.
constexpr PackedPrefix kBody("Body.");
constexpr PackedPrefix kProperties("Properties.");
constexpr PackedPrefix kKwpscUpper("KWPSC.");
constexpr PackedPrefix kKw("KW");
constexpr PackedPrefix kPsc("psc.");
constexpr PackedPrefix kRootKwmd("Root.KWMD.");
constexpr PackedPrefix kRoot("Root.");
constexpr PackedPrefix kJmsZol("JMS_ZOL");
constexpr PackedPrefix kJms("JMS");
constexpr PackedPrefix kAmqp("AMQP");

// The words packed as a NameHead holding the whole word.
struct PackedWord {
  uint64_t lo;
  uint64_t hi;
};
constexpr std::array<PackedWord, kReservedWords.size()> PackedWords() {
  std::array<PackedWord, kReservedWords.size()> packed{};
  for (size_t i = 0; i < packed.size(); ++i) {
    packed[i] = PackedWord{Pack(kReservedWords[i].text), Pack(kReservedWords[i].text, 8)};
  }
  return packed;
}
constexpr std::array<PackedWord, kReservedWords.size()> kPackedWords = PackedWords();

KWLONG Refuse(uint32_t fn, const char* message) {
  xtr_parms(kComponent, fn, "%s", message);
  return KWRC_PROPERTY_NAME_ERROR;
}

}  // namespace

KWLONG CheckReservedWords(const NameBytes& name) {
  // The first character and the length turn most names away before the
  // name is read further.
  const uint8_t first = FirstAscii(name);
  const uint32_t unit = UnitBytes(name.family);
  const uint32_t units = name.length / unit;
  // A word is a whole name of whole units.
  if (units >= kShortestWord && units <= kLongestWord && name.length % unit == 0 &&
      MayBeWord(first, units)) {
    // The head holds the whole name here and is zero past it, as the words'
    // packed forms are.
    const NameHead head(name);
    const int i = kWordHash.Find(FoldedKey(head.lo, head.hi, head.units));
    if (i >= 0) {
      const ReservedWord& w = kReservedWords[static_cast<size_t>(i)];
      const PackedWord& p = kPackedWords[static_cast<size_t>(i)];
      const uint64_t lo = w.selector ? FoldUpper(head.lo) : head.lo;
      const uint64_t hi = w.selector ? FoldUpper(head.hi) : head.hi;
      if (head.units == w.text.size() && lo == p.lo && hi == p.hi) return RefuseWord(w);
    }
  }
  // Names beginning "Body." or "Properties." are refused whatever follows.
  if (first == 'B' && NameHead(name).StartsWith(kBody)) {
    xtr_parms(kComponent, kFnCheckReservedWords, "Invalid property name \"Body.%%\" specified");
    return KWRC_PROPERTY_NAME_ERROR;
  }
  if (first == 'P' && NameHead(name).StartsWith(kProperties)) {
    xtr_parms(kComponent, kFnCheckReservedWords, "Content \"Properties.%%\" specified");
    return KWRC_PROPERTY_NAME_ERROR;
  }
  return KWRC_NONE;
}

KWLONG CheckReservedFamilies(const NameBytes& name) {
  // Each prefix begins with its own character (only "kwpsc." and "KW" share
  // one), so the first character picks the few to compare, in the order
  // the families are tried.
  switch (FirstAscii(name)) {
    case 'k':
    case 'K': {
      const NameHead head(name);
      // "kwpsc." in any case; written with the upper-case "KW" of the
      // long-form names it is reported as a long-form name.
      if (head.units >= kKwpscUpper.units &&
          (FoldUpper(head.lo) & kKwpscUpper.loMask) == kKwpscUpper.lo) {
        return Refuse(kFnCheckKnownName, head.StartsWith(kKw)
                                             ? "KW Property not allowed with prefix of kwpsc."
                                             : "Property not allowed with prefix of kwpsc.");
      }
      if (head.StartsWith(kKw)) return Refuse(kFnCheckKnownName, "Unrecognized KW property name");
      return KWRC_NONE;
    }
    case 'p':
      // The known "psc." names were matched before this is called.
      if (NameHead(name).StartsWith(kPsc)) {
        return Refuse(kFnCheckKnownName, "\"psc.\" is not a valid prefix");
      }
      return KWRC_NONE;
    case 'R': {
      const NameHead head(name);
      if (head.StartsWith(kRootKwmd)) {
        return Refuse(kFnCheckKnownName, "Unrecognized Root.KWMD. property name");
      }
      if (head.StartsWith(kRoot))
        return Refuse(kFnCheckKnownName, "Unrecognized Root. property name");
      return KWRC_NONE;
    }
    case 'J': {
      const NameHead head(name);
      if (head.StartsWith(kJmsZol)) {
        return Refuse(kFnCheckKnownName, "Unrecognized JMS_ZOL property name");
      }
      if (head.StartsWith(kJms)) return Refuse(kFnCheckKnownName, "Unrecognized JMS property name");
      return KWRC_NONE;
    }
    case 'A':
      if (NameHead(name).StartsWith(kAmqp)) {
        return Refuse(kFnCheckKnownName, "Unrecognized AMQP property name");
      }
      return KWRC_NONE;
    default:
      return KWRC_NONE;
  }
}

}  // namespace zxv::props
