// Property names inside the library: the character check, the reserved words
// and families, and the known names, on names in any of the five encoding
// families. The exported shells in property_name_check.cpp and
// known_names.cpp map these onto the C interface of
// include/zxvxzu/property_names.h; the property store and message handles
// call them directly.
//
//   NameId id;
//   KWLONG reason = ValidatePropertyName(bytes, length, 1208, ZRF_CCSIDTYPE_UTF8, &id);
//   if (reason == KWRC_NONE && id != ZRF_NAME_NONE) { ... a known name ... }
#pragma once

#include <cstdint>

#include "base/trace_ids.h"
#include "zxvxzu/property_names.h"

namespace zxv::props {

// The encoding families; the values are the CCSIDType numbers.
enum class NameFamily : uint8_t {
  kUnknown = ZRF_CCSIDTYPE_UNKNOWN,
  kAscii = ZRF_CCSIDTYPE_ASCII,
  kEbcdic = ZRF_CCSIDTYPE_EBCDIC,
  kUtf8 = ZRF_CCSIDTYPE_UTF8,
  kLucs2 = ZRF_CCSIDTYPE_LUCS2,
  kBucs2 = ZRF_CCSIDTYPE_BUCS2,
};

// A name as bytes in its family's encoding; `data` may be null only when
// `length` is 0.
struct NameBytes {
  const uint8_t* data;
  uint32_t length;
  NameFamily family;
};

// A name identifier: one of the ZRF_NAME_* values.
using NameId = KWLONG;

// Trace function numbers of the names family.
inline constexpr uint32_t kFnNamesBase = kFnBaseProps + 0x100;
inline constexpr uint32_t kFnValidatePropertyName = kFnNamesBase + 0x00;
inline constexpr uint32_t kFnCheckForKnownASCIIName = kFnNamesBase + 0x01;
inline constexpr uint32_t kFnCheckForKnownEBCDICName = kFnNamesBase + 0x02;
inline constexpr uint32_t kFnCheckForKnownUTF8Name = kFnNamesBase + 0x03;
inline constexpr uint32_t kFnCheckForKnownBUCS2Name = kFnNamesBase + 0x04;
inline constexpr uint32_t kFnCheckForKnownLUCS2Name = kFnNamesBase + 0x05;
inline constexpr uint32_t kFnCheckNameCharacters = kFnNamesBase + 0x08;
inline constexpr uint32_t kFnCheckReservedWords = kFnNamesBase + 0x09;
inline constexpr uint32_t kFnCheckKnownName = kFnNamesBase + 0x0A;

// --- property_name_check.cpp ---

// The whole check of zrfValidatePropertyName: characters, reserved words,
// known-name families. Returns KWRC_NONE, KWRC_SOURCE_CCSID_ERROR (with a
// failure record) or KWRC_PROPERTY_NAME_ERROR (reason traced). *id (may be
// null) receives the name identifier of a name that passes, else
// ZRF_NAME_NONE.
KWLONG ValidatePropertyName(const void* name, KWLONG length, KWLONG ccsid, KWLONG ccsidType,
                            NameId* id);

// Only the character check: the name's characters against the row of
// `ccsid`, and the trailing full stop. *family (may be null) receives the
// encoding family the name was read in (see zrfValidatePropertyName for how
// `ccsidType` and the CCSID decide it). Returns KWRC_NONE,
// KWRC_SOURCE_CCSID_ERROR (failure record written) or
// KWRC_PROPERTY_NAME_ERROR (reason traced).
KWLONG CheckNameCharacters(const uint8_t* name, uint32_t length, int32_t ccsid, int32_t ccsidType,
                           NameFamily* family);

// --- reserved_names.cpp ---

// Refuses reserved words (selector words in any case, Java keywords) and
// names beginning "Body." or "Properties.". Returns KWRC_NONE or
// KWRC_PROPERTY_NAME_ERROR with the reason traced.
KWLONG CheckReservedWords(const NameBytes& name);

// For a name that is not a known name: refuses the "kwpsc." and "psc."
// prefixes and the members of reserved families ("Root.KWMD.", "Root.",
// "JMS_ZOL", "JMS", "KW", "AMQP"). Returns KWRC_NONE or
// KWRC_PROPERTY_NAME_ERROR with the reason traced.
KWLONG CheckReservedFamilies(const NameBytes& name);

// The first characters (ASCII) of the prefixes CheckReservedFamilies refuses:
// a name beginning with any other character passes it.
inline constexpr char kReservedFamilyInitials[] = "kKpRJA";

// --- known_names.cpp ---

// The identifier of a known name, compared in the name's own encoding;
// ZRF_NAME_NONE when the name is not known (or the family is unknown).
NameId FindKnownName(const NameBytes& name);

// FindKnownName, then CheckReservedFamilies for a name that is not known.
// Traces "NameIdentifier: %d". Returns KWRC_NONE or KWRC_PROPERTY_NAME_ERROR;
// *id is ZRF_NAME_NONE on refusal.
KWLONG CheckForKnownName(const NameBytes& name, NameId* id);

// True when a name whose first character is the ASCII byte `c` may be a
// known name or begin a reserved family; every other name passes
// CheckForKnownName with ZRF_NAME_NONE and nothing to search.
bool MayBeginKnownName(uint8_t c);

// The known name of `id` as an ASCII string ("Root.KWMD.Priority"), or null
// for an identifier that names nothing.
const char* KnownNameText(NameId id);

}  // namespace zxv::props
