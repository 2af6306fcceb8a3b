// Reserved property names: whole words a name may not be, prefixes it may not
// begin with, and the reserved families whose members must be known names.
// Every word and prefix is held in all five encoding families (encoded_words.h)
// and compared in the name's own encoding.
#include <array>
#include <string_view>

#include "base/trace_ids.h"
#include "props/encoded_words.h"
#include "props/property_names.h"
#include "zxvxcs2/xcs_trace.h"

namespace zxv::props {

namespace {

// Message-selector words. Selectors read them without regard to case, so a
// name that equals one in any mix of cases is refused; they are held in upper
// case and the name is folded unit by unit.
constexpr std::array<std::string_view, 11> kSelectorWords = {
    "NULL", "TRUE", "FALSE", "NOT", "AND", "OR", "BETWEEN", "LIKE", "IN", "IS", "ESCAPE"};

// Java keywords, refused exactly as written.
constexpr std::array<std::string_view, 41> kJavaKeywords = {
    "do",        "if",        "for",       "new",        "try",        "byte",        "case",
    "else",      "goto",      "long",      "this",       "void",       "break",       "catch",
    "class",     "const",     "final",     "float",      "short",      "super",       "throw",
    "while",     "double",    "import",    "native",     "return",     "static",      "switch",
    "throws",    "extends",   "finally",   "abstract",   "continue",   "strictfp",    "volatile",
    "interface", "protected", "transient", "implements", "instanceof", "synchronized"};

// Prefixes. The order matters: the reserved families are tried first to last
// and the first that matches decides the message.
enum Prefix : size_t {
  kBody,
  kProperties,
  kKwpscUpper,  // "kwpsc." folded to upper case
  kKw,
  kPsc,
  kRootKwmd,
  kRoot,
  kJmsZol,
  kJms,
  kAmqp,
  kPrefixCount
};
constexpr std::array<std::string_view, kPrefixCount> kPrefixes = {
    "Body.",      "Properties.", "KWPSC.",  "KW",  "psc.",
    "Root.KWMD.", "Root.",       "JMS_ZOL", "JMS", "AMQP"};

struct ReservedFamily {
  Prefix prefix;
  const char* message;
};
constexpr ReservedFamily kReservedFamilies[] = {
    {kRootKwmd, "Unrecognized Root.KWMD. property name"},
    {kRoot, "Unrecognized Root. property name"},
    {kJmsZol, "Unrecognized JMS_ZOL property name"},
    {kJms, "Unrecognized JMS property name"},
    {kKw, "Unrecognized KW property name"},
    {kAmqp, "Unrecognized AMQP property name"},
};

static_assert(AllInvariant(kSelectorWords) && AllInvariant(kJavaKeywords) &&
                  AllInvariant(kPrefixes),
              "reserved words must use characters every family encodes alike");

constexpr EncodedWords<kSelectorWords.size(), TotalChars(kSelectorWords)> kSelectorEncoded(
    kSelectorWords);
constexpr EncodedWords<kJavaKeywords.size(), TotalChars(kJavaKeywords)> kJavaEncoded(kJavaKeywords);
constexpr EncodedWords<kPrefixes.size(), TotalChars(kPrefixes)> kPrefixEncoded(kPrefixes);

// The upper-case form of a character unit of `family`; only the Latin
// letters a-z change (at their invariant code points in EBCDIC).
uint32_t FoldUnit(NameFamily family, uint32_t u) {
  if (family == NameFamily::kEbcdic) {
    const bool lower =
        (u >= 0x81 && u <= 0x89) || (u >= 0x91 && u <= 0x99) || (u >= 0xA2 && u <= 0xA9);
    return lower ? u + 0x40 : u;
  }
  return u >= 'a' && u <= 'z' ? u - 0x20 : u;
}

// True when the first `word.length` bytes of `name` equal the upper-case
// `word` once folded to upper case.
bool FoldedPrefix(const NameBytes& name, const NameBytes& word) {
  if (name.length < word.length) return false;
  const uint32_t unit = UnitBytes(name.family);
  for (uint32_t at = 0; at < word.length; at += unit) {
    if (FoldUnit(name.family, UnitAt(name, at)) != UnitAt(word, at)) return false;
  }
  return true;
}

bool StartsWith(const NameBytes& name, Prefix p) {
  return HasPrefix(name, kPrefixEncoded.Word(name.family, p));
}

// Names beginning "Body." or "Properties." are refused whatever follows.
KWLONG CheckReservedPrefixes(const NameBytes& name) {
  if (StartsWith(name, kBody)) {
    xtr_parms(kComponent, kFnCheckReservedWords, "Invalid property name \"Body.%%\" specified");
    return KWRC_PROPERTY_NAME_ERROR;
  }
  if (StartsWith(name, kProperties)) {
    xtr_parms(kComponent, kFnCheckReservedWords, "Content \"Properties.%%\" specified");
    return KWRC_PROPERTY_NAME_ERROR;
  }
  return KWRC_NONE;
}

}  // namespace

// The longest reserved word, in characters. Most property names are longer
// (dotted, or words of their own), and the length test spares them the two
// word loops, which showed up as a large share of a name check.
template <size_t N>
constexpr size_t LongestWord(const std::array<std::string_view, N>& words) {
  size_t longest = 0;
  for (std::string_view w : words) longest = w.size() > longest ? w.size() : longest;
  return longest;
}
constexpr uint32_t kLongestReservedChars = static_cast<uint32_t>(
    LongestWord(kSelectorWords) > LongestWord(kJavaKeywords) ? LongestWord(kSelectorWords)
                                                             : LongestWord(kJavaKeywords));

KWLONG CheckReservedWords(const NameBytes& name) {
  if (name.length > kLongestReservedChars * UnitBytes(name.family)) {
    return CheckReservedPrefixes(name);
  }
  for (size_t i = 0; i < kSelectorEncoded.size(); ++i) {
    const NameBytes word = kSelectorEncoded.Word(name.family, i);
    if (name.length == word.length && FoldedPrefix(name, word)) {
      xtr_parms(kComponent, kFnCheckReservedWords, "Invalid SQL92 property name %.*s specified",
                static_cast<int>(kSelectorWords[i].size()), kSelectorWords[i].data());
      return KWRC_PROPERTY_NAME_ERROR;
    }
  }
  for (size_t i = 0; i < kJavaEncoded.size(); ++i) {
    if (SameBytes(name, kJavaEncoded.Word(name.family, i))) {
      xtr_parms(kComponent, kFnCheckReservedWords,
                "Invalid java keyword property name \"%-.*s\" specified",
                static_cast<int>(kJavaKeywords[i].size()), kJavaKeywords[i].data());
      return KWRC_PROPERTY_NAME_ERROR;
    }
  }
  return CheckReservedPrefixes(name);
}

KWLONG CheckReservedFamilies(const NameBytes& name) {
  // "kwpsc." in any case; written with the upper-case "KW" of the long-form
  // names it is reported as a long-form name.
  if (FoldedPrefix(name, kPrefixEncoded.Word(name.family, kKwpscUpper))) {
    if (StartsWith(name, kKw)) {
      xtr_parms(kComponent, kFnCheckKnownName, "KW Property not allowed with prefix of kwpsc.");
    } else {
      xtr_parms(kComponent, kFnCheckKnownName, "Property not allowed with prefix of kwpsc.");
    }
    return KWRC_PROPERTY_NAME_ERROR;
  }
  // The known "psc." names were matched before this is called.
  if (StartsWith(name, kPsc)) {
    xtr_parms(kComponent, kFnCheckKnownName, "\"psc.\" is not a valid prefix");
    return KWRC_PROPERTY_NAME_ERROR;
  }
  for (const ReservedFamily& family : kReservedFamilies) {
    if (StartsWith(name, family.prefix)) {
      xtr_parms(kComponent, kFnCheckKnownName, "%s", family.message);
      return KWRC_PROPERTY_NAME_ERROR;
    }
  }
  return KWRC_NONE;
}

}  // namespace zxv::props
