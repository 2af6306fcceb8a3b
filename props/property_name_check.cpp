// The property-name check: characters against the name character table of
// the name's CCSID, the trailing full stop, then the reserved words and the
// known-name families.
#include <algorithm>
#include <cstddef>

#include "base/trace_ids.h"
#include "props/name_char_table.h"
#include "props/property_names.h"
#include "zxvxcs2/xcs_erdp.h"
#include "zxvxcs2/xcs_trace.h"

namespace zxv::props {

namespace {

constexpr uint32_t kFullStop = 0x2E;        // ASCII, UTF-8 and UCS-2
constexpr uint32_t kEbcdicFullStop = 0x4B;  // EBCDIC single byte
constexpr size_t kMaxDumpBytes = 256;       // of a name in a failure record

enum ErdpProbe : uint32_t { kProbeUnknownCcsid = 1 };

KWLONG Refuse(const char* text) {
  xtr_parms(kComponent, kFnCheckNameCharacters, "%s", text);
  return KWRC_PROPERTY_NAME_ERROR;
}

KWLONG RefusePart(uint32_t position) {
  xtr_parms(kComponent, kFnCheckNameCharacters, "Property name contains an invalid part: %d",
            static_cast<int>(position));
  return KWRC_PROPERTY_NAME_ERROR;
}

// Judges one character (a code point or a byte) at byte `position`. The full
// stop that separates name parts is no identifier character, so it is let
// through explicitly after the first character; where it may stand at the
// end is decided later.
KWLONG CheckChar(const NameCharRow& row, uint32_t ch, uint32_t fullStop, uint32_t position) {
  if (position == 0) {
    return TestCharBit(row.start, ch) ? KWRC_NONE
                                      : Refuse("Property name has an invalid start character");
  }
  if (ch == fullStop || TestCharBit(row.part, ch)) return KWRC_NONE;
  return RefusePart(position);
}

bool IsContinuation(uint8_t b) { return (b & 0xC0) == 0x80; }

KWLONG CheckUtf8(const NameCharRow& row, const uint8_t* name, uint32_t length) {
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
      // A four-byte form is a supplementary character, which would need a
      // surrogate pair in the UCS-2 sets.
      return Refuse("Invalid UTF-8 character (surrogate)");
    }
    const uint32_t available = std::min(units, length - pos);
    for (uint32_t i = 1; i < available; ++i) {
      if (!IsContinuation(name[pos + i])) return Refuse("Invalid supplementary UTF-8 character");
      cp = (cp << 6) | (name[pos + i] & 0x3Fu);
    }
    if (available < units) return Refuse("EOF reached mid UTF8-character");
    // Overlong forms are refused: they would let a character (the full stop
    // above all) pass in a form that the byte-wise rules do not see.
    if ((units == 2 && cp < 0x80) || (units == 3 && cp < 0x800)) {
      return Refuse("Invalid supplementary UTF-8 character");
    }
    const KWLONG rc = CheckChar(row, cp, kFullStop, pos);
    if (rc != KWRC_NONE) return rc;
    pos += units;
  }
  return KWRC_NONE;
}

KWLONG CheckUcs2(const NameCharRow& row, const uint8_t* name, uint32_t length, bool bigEndian) {
  if (length % 2 != 0) return Refuse("Property name has a trailing byte");
  for (uint32_t pos = 0; pos < length; pos += 2) {
    const uint32_t unit = bigEndian ? (uint32_t{name[pos]} << 8) | name[pos + 1]
                                    : name[pos] | (uint32_t{name[pos + 1]} << 8);
    const KWLONG rc = CheckChar(row, unit, kFullStop, pos);
    if (rc != KWRC_NONE) return rc;
  }
  return KWRC_NONE;
}

KWLONG CheckSingleByte(const NameCharRow& row, const uint8_t* name, uint32_t length,
                       uint32_t fullStop) {
  for (uint32_t pos = 0; pos < length; ++pos) {
    const KWLONG rc = CheckChar(row, name[pos], fullStop, pos);
    if (rc != KWRC_NONE) return rc;
  }
  return KWRC_NONE;
}

// The fast checks below answer for names whose every character passes;
// a name with any character that does not is handed to the unit-by-unit
// check above, which finds the first one and says why. The byte tables
// count the full stop among the characters that may follow, as CheckChar
// does.

// Byte-wise names: one table byte per name byte, no early exit. For
// single-byte CCSIDs the bytes index the row's byte table directly. For
// UTF-8 (kAsciiOnly) the answer holds only when every byte is below 128, so
// that each byte is a whole character and its own code point.
template <bool kAsciiOnly>
bool AllBytesPass(const NameCharRow& row, const uint8_t* name, uint32_t length) {
  const uint8_t* classes = row.classes;
  uint32_t high = name[0];
  uint32_t follow = kCharMayFollow;
  for (uint32_t pos = 1; pos < length; ++pos) {
    const uint8_t b = name[pos];
    high |= b;
    follow &= classes[b];
  }
  return (classes[name[0]] & kCharMayStart) != 0 && follow != 0 && (!kAsciiOnly || high < 0x80);
}

// UCS-2 names of an even length: units below 256 through the byte table,
// others through the part set.
bool AllUnitsPass(const NameCharRow& row, const uint8_t* name, uint32_t length, bool bigEndian) {
  const int hiByte = bigEndian ? 0 : 1;
  const int loByte = 1 - hiByte;
  auto unitAt = [&](uint32_t pos) {
    return (uint32_t{name[pos + hiByte]} << 8) | name[pos + loByte];
  };
  const uint32_t first = unitAt(0);
  if (!TestCharBit(row.start, first)) return false;
  uint32_t follow = kCharMayFollow;
  for (uint32_t pos = 2; pos < length; pos += 2) {
    const uint32_t u = unitAt(pos);
    follow &= u < 256 ? uint32_t{row.classes[u]}
                      : (TestCharBit(row.part, u) ? uint32_t{kCharMayFollow} : 0u);
  }
  return follow != 0;
}

NameFamily FamilyOf(const NameCharRow& row, int32_t ccsidType) {
  switch (row.form) {
    case NameCharForm::kUtf8:
      return NameFamily::kUtf8;
    case NameCharForm::kUcs2:
      // The machine's order (least significant byte first) unless the type
      // says otherwise.
      return ccsidType == ZRF_CCSIDTYPE_BUCS2 ? NameFamily::kBucs2 : NameFamily::kLucs2;
    case NameCharForm::kEbcdicByte:
      return NameFamily::kEbcdic;
    case NameCharForm::kAsciiByte:
      break;
  }
  return NameFamily::kAscii;
}

bool EndsWithFullStop(const uint8_t* name, uint32_t length, NameFamily family) {
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

}  // namespace

KWLONG CheckNameCharacters(const uint8_t* name, uint32_t length, int32_t ccsid, int32_t ccsidType,
                           NameFamily* family) {
  const NameCharRow* row = FindNameCharRow(ccsid);
  if (row == nullptr) {
    xtr_parms(kComponent, kFnCheckNameCharacters, "CCSID %d not in the name character table",
              ccsid);
    xcsERDPSFn(kComponent, __FILE__, kProbeUnknownCcsid, KWRC_SOURCE_CCSID_ERROR, name,
               name != nullptr ? std::min<size_t>(length, kMaxDumpBytes) : 0,
               "Property name in CCSID %d, which has no row in the name character table", ccsid);
    return KWRC_SOURCE_CCSID_ERROR;
  }
  const NameFamily fam = FamilyOf(*row, ccsidType);
  if (family != nullptr) *family = fam;
  if (name == nullptr || length == 0) return Refuse("Property name has an invalid start character");

  KWLONG rc = KWRC_NONE;
  switch (fam) {
    case NameFamily::kUtf8:
      if (!AllBytesPass<true>(*row, name, length)) rc = CheckUtf8(*row, name, length);
      break;
    case NameFamily::kLucs2:
    case NameFamily::kBucs2: {
      const bool bigEndian = fam == NameFamily::kBucs2;
      if (length % 2 != 0 || !AllUnitsPass(*row, name, length, bigEndian)) {
        rc = CheckUcs2(*row, name, length, bigEndian);
      }
      break;
    }
    case NameFamily::kEbcdic:
      if (!AllBytesPass<false>(*row, name, length)) {
        rc = CheckSingleByte(*row, name, length, kEbcdicFullStop);
      }
      break;
    default:
      if (!AllBytesPass<false>(*row, name, length)) {
        rc = CheckSingleByte(*row, name, length, kFullStop);
      }
      break;
  }
  if (rc != KWRC_NONE) return rc;
  if (EndsWithFullStop(name, length, fam)) return Refuse("Property name ends with a trailing .");
  return KWRC_NONE;
}

KWLONG ValidatePropertyName(const void* name, KWLONG length, KWLONG ccsid, KWLONG ccsidType,
                            NameId* id) {
  if (id != nullptr) *id = ZRF_NAME_NONE;
  const auto* bytes = static_cast<const uint8_t*>(name);
  const uint32_t len = length > 0 ? static_cast<uint32_t>(length) : 0;
  NameFamily family = NameFamily::kUnknown;
  KWLONG rc = CheckNameCharacters(bytes, len, ccsid, ccsidType, &family);
  if (rc != KWRC_NONE) return rc;

  const NameBytes nb{bytes, len, family};
  rc = CheckReservedWords(nb);
  if (rc != KWRC_NONE) return rc;
  NameId known = ZRF_NAME_NONE;
  rc = CheckForKnownName(nb, &known);
  if (rc == KWRC_NONE && id != nullptr) *id = known;
  return rc;
}

}  // namespace zxv::props

extern "C" ZXV_API KWLONG zrfValidatePropertyName(const void* name, KWLONG nameLength, KWLONG ccsid,
                                                  KWLONG ccsidType, KWLONG* compCode,
                                                  KWLONG* reason) {
  using zxv::kComponent;
  using zxv::props::kFnValidatePropertyName;
  xtr_FNC_entry(kComponent, kFnValidatePropertyName);
  xtr_parms(kComponent, kFnValidatePropertyName, "NameLength: %d, CCSID: %d, CCSIDType: %d",
            nameLength, ccsid, ccsidType);
  if (name != nullptr && nameLength > 0) {
    xtr_data_detail(kComponent, kFnValidatePropertyName, "Property name", name,
                    static_cast<size_t>(nameLength));
  }
  const KWLONG rc = zxv::props::ValidatePropertyName(name, nameLength, ccsid, ccsidType, nullptr);
  if (compCode != nullptr) *compCode = rc == KWRC_NONE ? KWCC_OK : KWCC_FAILED;
  if (reason != nullptr) *reason = rc;
  xtr_FNC_retcode(kComponent, kFnValidatePropertyName, rc);
  return rc;
}
