// One property in the name/value form of a version 1 header
// (zrfConvertPropertyToKWRFH1): blank-separated names and double-quoted
// values, in the header's CCSID. The form has no types, no property
// descriptor and no null, so what it cannot carry is skipped or refused.
#include <cstring>

#include "props/props_writer.h"
#include "props/rfh2_family.h"
#include "props/value_escape.h"
#include "zxvxcs2/xcs_ccsid.h"
#include "zxvxcs2/xcs_trace.h"

namespace zxv::props {
namespace {

constexpr uint32_t kProbeOut = 1;
constexpr uint32_t kProbeDamaged = 2;
constexpr TextCodes kAsciiText{kUtf8Ccsid, kNativeEncoding};

bool HoldsZeroCharacter(const uint8_t* text, uint32_t length, uint8_t family) {
  if (family == XCS_CCSID_TYPE_LUCS2 || family == XCS_CCSID_TYPE_BUCS2) {
    for (uint32_t at = 0; at + 2 <= length; at += 2) {
      if (text[at] == 0 && text[at + 1] == 0) return true;
    }
    return false;
  }
  return length != 0 && std::memchr(text, 0, length) != nullptr;
}

// True when the text holds a blank or a double quote of its family.
bool NeedsQuotes(const uint8_t* text, uint32_t length, uint8_t family) {
  bool needs = false;
  WithFamily(family, [&](auto traits) {
    using T = decltype(traits);
    for (uint32_t at = 0; at + T::kUnitBytes <= length && !needs; at += T::kUnitBytes) {
      const auto u = T::Load(text + at);
      needs = u == T::Char(' ') || u == T::Char('"');
    }
  });
  return needs;
}

KWLONG Skip(const char* why, uint32_t fn) {
  xtr_text_detail(kComponent, fn, "%s", why);
  return KWRC_NONE;
}

}  // namespace

KWLONG ConvertOneToRfh1(const ZRFPAL* pal, uint32_t nodeOffset, int32_t ccsid, int32_t encoding,
                        ZRFHDRBUF* out, bool* written, uint32_t fn) {
  *written = false;
  if (pal->pProps == nullptr || !HeaderUsable(pal)) {
    return DamagedList(pal, __FILE__, kProbeDamaged, "No property list to read");
  }
  NodeView node{};
  if (!NodeAtOffset(pal->pProps, nodeOffset, &node)) {
    return DamagedList(pal, __FILE__, kProbeDamaged, "Offset is not a property node");
  }
  const uint32_t code = node.type_flags & ZRF_TYPE_MASK;
  const bool text = (node.type_flags & ZRF_FLAG_STRING_FORM) != 0 || code == ZRF_TYPE_STRING;
  if ((node.type_flags & ZRF_FLAG_USER_CONTEXT) != 0) {
    return Skip("Ignoring user context (which is not RFH1 representable)", fn);
  }
  if (code != ZRF_TYPE_NAME_ONLY && node.support != KWPD_SUPPORT_OPTIONAL) {
    return Skip("Ignoring non-optional support value (which is not RFH1 representable)", fn);
  }
  if (code != ZRF_TYPE_NAME_ONLY && node.copy_options != KWCOPY_DEFAULT) {
    return Skip("Ignoring non-default copy options (which is not RFH1 representable)", fn);
  }
  if (code == ZRF_TYPE_NULL) {
    return Skip("Ignoring null property (which is not RFH1 representable)", fn);
  }
  if (!text &&
      (code == ZRF_TYPE_BYTE_STRING || code == ZRF_TYPE_NAME_ONLY || code == ZRF_TYPE_AS_STORED)) {
    xtr_text_detail(kComponent, fn, "Property type %u is not RFH1 representable", code);
    return KWRC_PROPERTY_TYPE_ERROR;
  }
  const uint8_t listFamily = ListFamilyOf(pal->pProps);
  if (text && HoldsZeroCharacter(node.value, node.value_length, listFamily)) {
    return Skip("Property contains a null character (which is not RFH1 representable)", fn);
  }
  const uint8_t family = xcsGetCCSIDType(ccsid, encoding);
  const EscapeRoutines* routines = EscapeRoutinesFor(family);
  if (routines == nullptr) return KWRC_SOURCE_CCSID_ERROR;

  // The name and the value's text in the header's CCSID.
  const TextCodes target{ccsid, encoding};
  const TextCodes list = ListCodesOf(pal->pProps);
  ScratchBytes nameScratch;
  ScratchBytes valueScratch;
  const uint8_t* name = nullptr;
  uint32_t nameBytes = 0;
  KWLONG reason = ConvertText(list, target, node.name, node.name_length, &nameScratch, &name,
                              &nameBytes, fn, true);
  const uint8_t* value = nullptr;
  uint32_t valueBytes = 0;
  if (reason == KWRC_NONE) {
    if (text) {
      reason = ConvertText(list, target, node.value, node.value_length, &valueScratch, &value,
                           &valueBytes, fn, true);
    } else {
      char number[kMaxValueText];
      uint32_t chars = 0;
      if (code == ZRF_TYPE_BOOLEAN) {
        int32_t v;
        std::memcpy(&v, node.value, sizeof v);
        chars = v != 0 ? 4 : 5;
        std::memcpy(number, v != 0 ? "TRUE" : "FALSE", chars);
      } else {
        chars = FormatFixedValue(code, node.value, number);
      }
      reason = ConvertText(kAsciiText, target, reinterpret_cast<const uint8_t*>(number), chars,
                           &valueScratch, &value, &valueBytes, fn, true);
    }
  }
  if (reason == KWRC_NOT_CONVERTED) {
    xtr_text_detail(kComponent, fn, "Property contains characters that are in error");
  }
  if (reason != KWRC_NONE) return reason;

  const bool quoteName = NeedsQuotes(name, nameBytes, family);
  uint32_t blank = 0;
  uint32_t blankBytes = 0;
  WithFamily(family, [&](auto traits) {
    using T = decltype(traits);
    T::Store(reinterpret_cast<uint8_t*>(&blank), T::Char(' '));
    blankBytes = T::kUnitBytes;
  });
  const uint64_t room = uint64_t{2} * blankBytes +
                        routines->quoted_size(quoteName, name, nameBytes) +
                        routines->quoted_size(true, value, valueBytes);
  if (reason = ReserveOut(out, room, __FILE__, kProbeOut); reason != KWRC_NONE) return reason;
  std::memcpy(out->pBuffer + out->Length, &blank, blankBytes);
  out->Length += blankBytes;
  routines->quote(quoteName, name, nameBytes, out->pBuffer, &out->Length);
  std::memcpy(out->pBuffer + out->Length, &blank, blankBytes);
  out->Length += blankBytes;
  routines->quote(true, value, valueBytes, out->pBuffer, &out->Length);
  *written = true;
  return KWRC_NONE;
}

}  // namespace zxv::props

namespace zxv::props {
namespace {
constexpr uint32_t kProbeMissing = 3;
}  // namespace
}  // namespace zxv::props

extern "C" {

ZXV_API KWLONG zrfConvertPropertyToKWRFH1(const ZRFPAL* pPAL, KWULONG NodeOffset, KWLONG Rfh1CCSID,
                                          KWLONG Rfh1Encoding, ZRFHDRBUF* pOut, KWLONG* pWritten,
                                          KWLONG* pCompCode, KWLONG* pReason) {
  namespace zp = zxv::props;
  constexpr uint32_t fn = zp::kFnConvertPropertyToKWRFH1;
  xtr_FNC_entry(zxv::kComponent, fn);
  KWLONG reason = KWRC_NONE;
  bool written = false;
  if (pPAL == nullptr || pOut == nullptr) {
    reason = zp::MissingParameter(pPAL == nullptr ? "pPAL" : "pOut", __FILE__, zp::kProbeMissing);
  } else {
    reason = zp::ConvertOneToRfh1(pPAL, NodeOffset, Rfh1CCSID, Rfh1Encoding, pOut, &written, fn);
  }
  if (pWritten != nullptr) *pWritten = written ? 1 : 0;
  zp::SetCodes(reason, pCompCode, pReason);
  xtr_FNC_retcode(zxv::kComponent, fn, reason);
  return reason;
}

}  // extern "C"
