// The property-name checks as first written: plain loops over every word and
// prefix, a linear search of the character table, a bit-set test per
// character. Kept here only as the reference the fast checks are compared
// with (name_check_differential_test.cpp); each function answers, traces and
// identifies exactly as its library counterpart must.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "base/trace_ids.h"
#include "props/descriptor_fields.h"
#include "props/encoded_words.h"
#include "props/name_char_table.h"
#include "props/property_names.h"
#include "zxvxcs2/xcs_trace.h"

namespace zxv::props::reference {

// --- character table ---

inline const NameCharRow* FindRow(int32_t ccsid) {
  if (ccsid == 0) return nullptr;
  for (const NameCharRow* row = kNameCharTable; row->ccsid != 0; ++row) {
    if (row->ccsid == ccsid) return row;
  }
  return nullptr;
}

// --- characters ---

inline constexpr uint32_t kFullStop = 0x2E;
inline constexpr uint32_t kEbcdicFullStop = 0x4B;

inline KWLONG Refuse(const char* text) {
  xtr_parms(kComponent, kFnCheckNameCharacters, "%s", text);
  return KWRC_PROPERTY_NAME_ERROR;
}

inline KWLONG RefusePart(uint32_t position) {
  xtr_parms(kComponent, kFnCheckNameCharacters, "Property name contains an invalid part: %d",
            static_cast<int>(position));
  return KWRC_PROPERTY_NAME_ERROR;
}

inline KWLONG CheckChar(const NameCharRow& row, uint32_t ch, uint32_t fullStop, uint32_t position) {
  if (position == 0) {
    return TestCharBit(row.start, ch) ? KWRC_NONE
                                      : Refuse("Property name has an invalid start character");
  }
  if (ch == fullStop || TestCharBit(row.part, ch)) return KWRC_NONE;
  return RefusePart(position);
}

inline KWLONG CheckUtf8(const NameCharRow& row, const uint8_t* name, uint32_t length) {
  uint32_t pos = 0;
  while (pos < length) {
    const uint8_t lead = name[pos];
    uint32_t units;
    uint32_t cp;
    if (lead < 0x80) {
      units = 1;
      cp = lead;
    } else if (lead < 0xC0) {
      return Refuse("Invalid UTF-8 character (multi-byte out of place)");
    } else if (lead < 0xE0) {
      units = 2;
      cp = lead & 0x1Fu;
    } else if (lead < 0xF0) {
      units = 3;
      cp = lead & 0x0Fu;
    } else {
      return Refuse("Invalid UTF-8 character (surrogate)");
    }
    const uint32_t available = std::min(units, length - pos);
    for (uint32_t i = 1; i < available; ++i) {
      if ((name[pos + i] & 0xC0) != 0x80) return Refuse("Invalid supplementary UTF-8 character");
      cp = (cp << 6) | (name[pos + i] & 0x3Fu);
    }
    if (available < units) return Refuse("EOF reached mid UTF8-character");
    if ((units == 2 && cp < 0x80) || (units == 3 && cp < 0x800)) {
      return Refuse("Invalid supplementary UTF-8 character");
    }
    const KWLONG rc = CheckChar(row, cp, kFullStop, pos);
    if (rc != KWRC_NONE) return rc;
    pos += units;
  }
  return KWRC_NONE;
}

inline KWLONG CheckUcs2(const NameCharRow& row, const uint8_t* name, uint32_t length,
                        bool bigEndian) {
  if (length % 2 != 0) return Refuse("Property name has a trailing byte");
  for (uint32_t pos = 0; pos < length; pos += 2) {
    const uint32_t unit = bigEndian ? (uint32_t{name[pos]} << 8) | name[pos + 1]
                                    : name[pos] | (uint32_t{name[pos + 1]} << 8);
    const KWLONG rc = CheckChar(row, unit, kFullStop, pos);
    if (rc != KWRC_NONE) return rc;
  }
  return KWRC_NONE;
}

inline KWLONG CheckSingleByte(const NameCharRow& row, const uint8_t* name, uint32_t length,
                              uint32_t fullStop) {
  for (uint32_t pos = 0; pos < length; ++pos) {
    const KWLONG rc = CheckChar(row, name[pos], fullStop, pos);
    if (rc != KWRC_NONE) return rc;
  }
  return KWRC_NONE;
}

inline NameFamily FamilyOf(const NameCharRow& row, int32_t ccsidType) {
  switch (row.form) {
    case NameCharForm::kUtf8:
      return NameFamily::kUtf8;
    case NameCharForm::kUcs2:
      return ccsidType == ZRF_CCSIDTYPE_BUCS2 ? NameFamily::kBucs2 : NameFamily::kLucs2;
    case NameCharForm::kEbcdicByte:
      return NameFamily::kEbcdic;
    case NameCharForm::kAsciiByte:
      break;
  }
  return NameFamily::kAscii;
}

inline bool EndsWithFullStop(const uint8_t* name, uint32_t length, NameFamily family) {
  switch (family) {
    case NameFamily::kLucs2:
      return name[length - 2] == kFullStop && name[length - 1] == 0;
    case NameFamily::kBucs2:
      return name[length - 2] == 0 && name[length - 1] == kFullStop;
    case NameFamily::kEbcdic:
      return name[length - 1] == kEbcdicFullStop;
    default:
      return name[length - 1] == kFullStop;
  }
}

// The reference never writes a failure record: callers give it CCSIDs that
// have a row, or compare only the reason for those that have none.
inline KWLONG CheckNameCharacters(const uint8_t* name, uint32_t length, int32_t ccsid,
                                  int32_t ccsidType, NameFamily* family) {
  const NameCharRow* row = FindRow(ccsid);
  if (row == nullptr) return KWRC_SOURCE_CCSID_ERROR;
  const NameFamily fam = FamilyOf(*row, ccsidType);
  if (family != nullptr) *family = fam;
  if (name == nullptr || length == 0) return Refuse("Property name has an invalid start character");
  KWLONG rc;
  switch (fam) {
    case NameFamily::kUtf8:
      rc = CheckUtf8(*row, name, length);
      break;
    case NameFamily::kLucs2:
      rc = CheckUcs2(*row, name, length, false);
      break;
    case NameFamily::kBucs2:
      rc = CheckUcs2(*row, name, length, true);
      break;
    case NameFamily::kEbcdic:
      rc = CheckSingleByte(*row, name, length, kEbcdicFullStop);
      break;
    default:
      rc = CheckSingleByte(*row, name, length, kFullStop);
      break;
  }
  if (rc != KWRC_NONE) return rc;
  if (EndsWithFullStop(name, length, fam)) return Refuse("Property name ends with a trailing .");
  return KWRC_NONE;
}

// --- reserved words and families ---

inline constexpr std::array<std::string_view, 11> kSelectorWords = {
    "NULL", "TRUE", "FALSE", "NOT", "AND", "OR", "BETWEEN", "LIKE", "IN", "IS", "ESCAPE"};
inline constexpr std::array<std::string_view, 41> kJavaKeywords = {
    "do",        "if",        "for",       "new",        "try",        "byte",        "case",
    "else",      "goto",      "long",      "this",       "void",       "break",       "catch",
    "class",     "const",     "final",     "float",      "short",      "super",       "throw",
    "while",     "double",    "import",    "native",     "return",     "static",      "switch",
    "throws",    "extends",   "finally",   "abstract",   "continue",   "strictfp",    "volatile",
    "interface", "protected", "transient", "implements", "instanceof", "synchronized"};
enum Prefix : size_t {
  kBody,
  kProperties,
  kKwpscUpper,
  kKw,
  kPsc,
  kRootKwmd,
  kRoot,
  kJmsZol,
  kJms,
  kAmqp,
  kPrefixCount
};
inline constexpr std::array<std::string_view, kPrefixCount> kPrefixes = {
    "Body.",      "Properties.", "KWPSC.",  "KW",  "psc.",
    "Root.KWMD.", "Root.",       "JMS_ZOL", "JMS", "AMQP"};
struct ReservedFamily {
  Prefix prefix;
  const char* message;
};
inline constexpr ReservedFamily kReservedFamilies[] = {
    {kRootKwmd, "Unrecognized Root.KWMD. property name"},
    {kRoot, "Unrecognized Root. property name"},
    {kJmsZol, "Unrecognized JMS_ZOL property name"},
    {kJms, "Unrecognized JMS property name"},
    {kKw, "Unrecognized KW property name"},
    {kAmqp, "Unrecognized AMQP property name"},
};
inline constexpr EncodedWords<kSelectorWords.size(), TotalChars(kSelectorWords)> kSelectorEncoded(
    kSelectorWords);
inline constexpr EncodedWords<kJavaKeywords.size(), TotalChars(kJavaKeywords)> kJavaEncoded(
    kJavaKeywords);
inline constexpr EncodedWords<kPrefixes.size(), TotalChars(kPrefixes)> kPrefixEncoded(kPrefixes);

inline uint32_t FoldUnit(NameFamily family, uint32_t u) {
  if (family == NameFamily::kEbcdic) {
    const bool lower =
        (u >= 0x81 && u <= 0x89) || (u >= 0x91 && u <= 0x99) || (u >= 0xA2 && u <= 0xA9);
    return lower ? u + 0x40 : u;
  }
  return u >= 'a' && u <= 'z' ? u - 0x20 : u;
}

inline bool FoldedPrefix(const NameBytes& name, const NameBytes& word) {
  if (name.length < word.length) return false;
  const uint32_t unit = UnitBytes(name.family);
  for (uint32_t at = 0; at < word.length; at += unit) {
    if (FoldUnit(name.family, UnitAt(name, at)) != UnitAt(word, at)) return false;
  }
  return true;
}

inline bool StartsWith(const NameBytes& name, Prefix p) {
  return HasPrefix(name, kPrefixEncoded.Word(name.family, p));
}

inline KWLONG CheckReservedPrefixes(const NameBytes& name) {
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

inline KWLONG CheckReservedWords(const NameBytes& name) {
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

inline KWLONG CheckReservedFamilies(const NameBytes& name) {
  if (FoldedPrefix(name, kPrefixEncoded.Word(name.family, kKwpscUpper))) {
    if (StartsWith(name, kKw)) {
      xtr_parms(kComponent, kFnCheckKnownName, "KW Property not allowed with prefix of kwpsc.");
    } else {
      xtr_parms(kComponent, kFnCheckKnownName, "Property not allowed with prefix of kwpsc.");
    }
    return KWRC_PROPERTY_NAME_ERROR;
  }
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

// --- known names ---

// The known names are taken from the library's own identifier-to-text table
// (KnownNameText), which the fast lookup does not use: the reference compares
// the name with every one of them in the name's encoding.
struct KnownText {
  NameId id;
  std::string_view text;
};

inline const std::vector<KnownText>& KnownTexts() {
  static const std::vector<KnownText> texts = [] {
    std::vector<KnownText> v;
    for (NameId id = 100; id < 1000; ++id) {
      if (const char* text = KnownNameText(id); text != nullptr) v.push_back({id, text});
    }
    return v;
  }();
  return texts;
}

inline NameId FindKnownName(const NameBytes& name) {
  if (name.family == NameFamily::kUnknown || name.data == nullptr ||
      name.length < UnitBytes(name.family)) {
    return ZRF_NAME_NONE;
  }
  const uint32_t unit = UnitBytes(name.family);
  for (const KnownText& k : KnownTexts()) {
    if (name.length != k.text.size() * unit) continue;
    bool same = true;
    for (size_t i = 0; i < k.text.size() && same; ++i) {
      uint8_t encoded[2] = {0, 0};
      EncodeChar(name.family, k.text[i], encoded);
      for (uint32_t b = 0; b < unit; ++b) same = same && name.data[i * unit + b] == encoded[b];
    }
    if (same) return k.id;
  }
  return ZRF_NAME_NONE;
}

inline KWLONG CheckForKnownName(const NameBytes& name, NameId* id) {
  *id = reference::FindKnownName(name);
  xtr_parms(kComponent, kFnCheckKnownName, "NameIdentifier: %d", *id);
  if (*id != ZRF_NAME_NONE) return KWRC_NONE;
  return reference::CheckReservedFamilies(name);
}

inline KWLONG ValidatePropertyName(const void* name, KWLONG length, KWLONG ccsid, KWLONG ccsidType,
                                   NameId* id) {
  if (id != nullptr) *id = ZRF_NAME_NONE;
  const auto* bytes = static_cast<const uint8_t*>(name);
  const uint32_t len = length > 0 ? static_cast<uint32_t>(length) : 0;
  NameFamily family = NameFamily::kUnknown;
  KWLONG rc = reference::CheckNameCharacters(bytes, len, ccsid, ccsidType, &family);
  if (rc != KWRC_NONE) return rc;
  const NameBytes nb{bytes, len, family};
  rc = reference::CheckReservedWords(nb);
  if (rc != KWRC_NONE) return rc;
  NameId known = ZRF_NAME_NONE;
  rc = reference::CheckForKnownName(nb, &known);
  if (rc == KWRC_NONE && id != nullptr) *id = known;
  return rc;
}

}  // namespace zxv::props::reference
