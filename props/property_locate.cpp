// Finding a node by name, and the place for a new one. The place keeps every
// name group contiguous: see "Order of the nodes" in properties.h.
#include "props/name_parts.h"
#include "props/property_store.h"
#include "zxvxcs2/xcs_trace.h"

namespace zxv::props {
namespace {

constexpr uint32_t kProbeDamaged = 1;
constexpr uint32_t kProbeMissing = 2;

// Checks what the exported locates share and gives the list to search, or
// null with *reason set when there is nothing to search.
const ZRFPROPS* SearchableList(const ZRFPAL* pal, const void* name, uint32_t nameLength,
                               KWLONG* reason) {
  if (name == nullptr || nameLength == 0) {
    *reason = KWRC_PROPERTY_NAME_ERROR;
    return nullptr;
  }
  if (pal == nullptr || pal->pProps == nullptr || pal->Size < kHeaderLength) {
    *reason = KWRC_PROPERTY_NOT_AVAILABLE;
    return nullptr;
  }
  if (!HeaderUsable(pal)) {
    *reason = DamagedList(pal, __FILE__, kProbeDamaged, "Property list header damaged");
    return nullptr;
  }
  *reason = KWRC_NONE;
  return pal->pProps;
}

KWLONG LocateInList(const ZRFPAL* pal, const uint8_t* name, uint32_t nameLength, uint32_t* offset) {
  const LocateResult where = LocateNode(pal->pProps, name, nameLength);
  if (where.damaged) return DamagedList(pal, __FILE__, kProbeDamaged, "Property node damaged");
  *offset = where.offset;
  return where.found ? KWRC_NONE : KWRC_PROPERTY_NOT_AVAILABLE;
}

}  // namespace

LocateResult LocateNode(const ZRFPROPS* list, const uint8_t* name, uint32_t nameLength) {
  LocateResult result;
  result.offset = list->StrucLen;  // no group to join: the end of the list
  if (nameLength == 0) return result;
  const NameSplit split(name, nameLength, list->CCSIDType);
  uint32_t deepest = 0;
  uint32_t offset = kHeaderLength;
  const bool walked = ForEachNode(list, [&](const NodeView& node) {
    if (node.name_length == nameLength && SameName(node.name, name, nameLength)) {
      result.found = true;
      result.offset = offset;
      return false;
    }
    // Groups are contiguous, so the last node sharing the most parts ends
    // the deepest group the new name joins.
    const uint32_t shared = split.SharedWith(node.name, node.name_length);
    if (shared != 0 && shared >= deepest) {
      deepest = shared;
      result.offset = offset + node.length;
    }
    offset += node.length;
    return true;
  });
  result.damaged = !walked;
  return result;
}

LocateResult FindNode(const ZRFPROPS* list, const uint8_t* name, uint32_t nameLength) {
  LocateResult result;
  result.offset = list->StrucLen;
  if (nameLength == 0) return result;
  uint32_t offset = kHeaderLength;
  const bool walked = ForEachNode(list, [&](const NodeView& node) {
    if (node.name_length == nameLength && SameName(node.name, name, nameLength)) {
      result.found = true;
      result.offset = offset;
      return false;
    }
    offset += node.length;
    return true;
  });
  result.damaged = !walked;
  return result;
}

KWLONG NameInListCcsid(const ZRFPROPS* list, const uint8_t* name, uint32_t nameLength,
                       int32_t nameCcsid, ScratchSpace* scratch, Text* out, uint32_t fn) {
  if (!NeedsConversion(nameCcsid, list->CCSID)) {
    *out = Text{name, nameLength};
    return KWRC_NONE;
  }
  return ConvertText(nameCcsid, list->CCSID, Text{name, nameLength}, Text{}, false, scratch, out,
                     nullptr, fn);
}

}  // namespace zxv::props

namespace zp = zxv::props;

extern "C" {

ZXV_API KWLONG zrfLocatePropertyNode(const ZRFPAL* pPAL, const void* pName, KWULONG NameLength,
                                     KWULONG* pOffset, KWLONG* pCompCode, KWLONG* pReason) {
  xtr_FNC_entry(zxv::kComponent, zp::kFnLocatePropertyNode);
  KWLONG reason = KWRC_NONE;
  KWULONG offset = zp::kHeaderLength;
  if (pOffset == nullptr) {
    reason = zp::MissingParameter("pOffset", __FILE__, zp::kProbeMissing);
  } else if (zp::SearchableList(pPAL, pName, NameLength, &reason) != nullptr) {
    reason = zp::LocateInList(pPAL, static_cast<const uint8_t*>(pName), NameLength, &offset);
  }
  if (pOffset != nullptr) *pOffset = offset;
  zp::SetCodes(reason, pCompCode, pReason);
  xtr_FNC_retcode(zxv::kComponent, zp::kFnLocatePropertyNode, reason);
  return reason;
}

ZXV_API KWLONG zrfLocateProperty(const ZRFPAL* pPAL, const void* pName, KWULONG NameLength,
                                 KWLONG NameCCSID, ZRFWORKAREA* pWork, KWULONG* pOffset,
                                 KWLONG* pCompCode, KWLONG* pReason) {
  xtr_FNC_entry(zxv::kComponent, zp::kFnLocateProperty);
  KWLONG reason = KWRC_NONE;
  KWULONG offset = zp::kHeaderLength;
  if (pOffset == nullptr) {
    reason = zp::MissingParameter("pOffset", __FILE__, zp::kProbeMissing);
  } else if (const ZRFPROPS* list = zp::SearchableList(pPAL, pName, NameLength, &reason)) {
    zp::ScratchSpace scratch(pWork);
    zp::Text name;
    reason = zp::NameInListCcsid(list, static_cast<const uint8_t*>(pName), NameLength, NameCCSID,
                                 &scratch, &name, zp::kFnLocateProperty);
    if (reason == KWRC_NONE) reason = zp::LocateInList(pPAL, name.data, name.length, &offset);
  }
  if (pOffset != nullptr) *pOffset = offset;
  zp::SetCodes(reason, pCompCode, pReason);
  xtr_FNC_retcode(zxv::kComponent, zp::kFnLocateProperty, reason);
  return reason;
}

}  // extern "C"
