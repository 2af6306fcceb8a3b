// Getting properties: by exact name (zrfGetProperty, zrfGetProperty2), by
// browsing the list with a cursor (zrfGetNamedProperty) and the browsing get
// of message handles that also reads descriptor-mapped names
// (zrfGetPropertyWithBrowse).
#include <algorithm>

#include "props/name_parts.h"
#include "props/property_store.h"
#include "zxvxcs2/xcs_memory.h"
#include "zxvxcs2/xcs_trace.h"

namespace zxv::props {
namespace {

constexpr uint32_t kProbeDamaged = 1;
constexpr uint32_t kProbeCursor = 2;
constexpr uint32_t kProbeMissing = 3;

constexpr uint32_t kMinCursorCapacity = 256;

// The list to read, or null with *reason: 2471 for no list, 2195 for a
// damaged header; ZRF_GET_VERIFY runs the whole check first.
const ZRFPROPS* ReadableList(const ZRFPAL* pal, KWLONG options, uint32_t fn, KWLONG* reason) {
  *reason = KWRC_PROPERTY_NOT_AVAILABLE;
  if (pal == nullptr || pal->pProps == nullptr || pal->Size < kHeaderLength) return nullptr;
  if (!HeaderUsable(pal)) {
    *reason = DamagedList(pal, __FILE__, kProbeDamaged, "Property list header damaged");
    return nullptr;
  }
  if (static_cast<KWULONG>(options) & ZRF_GET_VERIFY) {
    *reason = VerifyList(pal, fn);
    if (*reason != KWRC_NONE) return nullptr;
  }
  *reason = KWRC_NONE;
  return pal->pProps;
}

// Looks an exact name up in the list only.
KWLONG GetFromList(const ZRFPAL* pal, const uint8_t* name, uint32_t nameLength, int32_t nameCcsid,
                   ZRFWORKAREA* work, ZRFPROPINFO* info, uint32_t fn) {
  KWLONG reason;
  const ZRFPROPS* list = ReadableList(pal, 0, fn, &reason);
  if (list == nullptr) return reason;
  ScratchSpace scratch(work);
  Text listName;
  reason = NameInListCcsid(list, name, nameLength, nameCcsid, &scratch, &listName, fn);
  if (reason != KWRC_NONE) return reason;
  const LocateResult where = FindNode(list, listName.data, listName.length);
  if (where.damaged) return DamagedList(pal, __FILE__, kProbeDamaged, "Property node damaged");
  if (!where.found) return KWRC_PROPERTY_NOT_AVAILABLE;
  NodeView node{};
  DecodeNode(ListBytes(list) + where.offset, list->StrucLen - where.offset, &node);
  FillInfoFromNode(list, node, info);
  return KWRC_NONE;
}

KWLONG GetExact(const ZRFPAL* pal, const KWMD* md, const uint8_t* name, uint32_t nameLength,
                int32_t nameCcsid, ZRFWORKAREA* work, ZRFPROPINFO* info, uint32_t fn) {
  if (name == nullptr || nameLength == 0) return KWRC_PROPERTY_NAME_ERROR;
  if (md != nullptr) {
    if (const DescriptorMapping* mapping =
            DescriptorMappingOf(name, nameLength, NameFamilyOf(nameCcsid, pal))) {
      return ReadDescriptorProperty(*md, *mapping, name, nameLength, NameCcsidOf(nameCcsid, pal),
                                    info);
    }
  }
  return GetFromList(pal, name, nameLength, nameCcsid, work, info, fn);
}

// The type a stored property counts as for zrfGetProperty2.
bool HasType(KWULONG typeFlags, KWULONG requested) {
  if (requested == ZRF_TYPE_AS_STORED) return true;
  if (typeFlags & ZRF_FLAG_STRING_FORM) return requested == ZRF_TYPE_STRING;  // it is text
  return (typeFlags & ZRF_TYPE_MASK) == requested;
}

// --- the browse cursor ---------------------------------------------------

KWLONG EnsureCursor(ZRFCURSOR** cursor) {
  if (*cursor != nullptr) return KWRC_NONE;
  void* block = nullptr;
  const xcsRC rc = xcsGetMemFn(sizeof(ZRFCURSOR), &block);
  if (rc != xcsRC_OK) return StorageReason(rc, __FILE__, kProbeCursor);
  *cursor = static_cast<ZRFCURSOR*>(block);
  **cursor = ZRFCURSOR{};
  return KWRC_NONE;
}

// Keeps a copy of the name just returned; the buffer grows to the larger of
// 256 bytes and twice the name.
KWLONG RecordInCursor(ZRFCURSOR** cursorSlot, const uint8_t* name, uint32_t nameLength,
                      int32_t ccsid, uint32_t nodeOffset) {
  if (const KWLONG reason = EnsureCursor(cursorSlot); reason != KWRC_NONE) return reason;
  ZRFCURSOR* cursor = *cursorSlot;
  if (nameLength > cursor->Capacity) {
    const uint32_t capacity = std::max(kMinCursorCapacity, 2 * nameLength);
    void* block = nullptr;
    const xcsRC rc = xcsGetMemFn(capacity, &block);
    if (rc != xcsRC_OK) return StorageReason(rc, __FILE__, kProbeCursor);
    xcsFreeMemFn(cursor->pName);
    cursor->pName = static_cast<uint8_t*>(block);
    cursor->Capacity = capacity;
  }
  std::memcpy(cursor->pName, name, nameLength);
  cursor->NameLength = nameLength;
  cursor->NameCCSID = ccsid;
  cursor->NodeOffset = nodeOffset;
  return KWRC_NONE;
}

bool CursorHoldsName(const ZRFCURSOR* cursor) {
  return cursor != nullptr && cursor->pName != nullptr && cursor->NameLength != 0;
}

// --- browsing the list ---------------------------------------------------

struct Pattern {
  Text text;            // in the list's CCSID, without a trailing percent sign
  bool prefix = false;  // matches every name that begins with `text`
};

bool Matches(const Pattern& pattern, const uint8_t* name, uint32_t nameLength) {
  const uint32_t length = pattern.text.length;
  if (pattern.prefix) {
    return nameLength >= length && std::memcmp(name, pattern.text.data, length) == 0;
  }
  return nameLength == length && SameName(name, pattern.text.data, length);
}

// Offset of the first node after the cursor's property, or at its place
// when it has gone; *continuing false when the browse starts afresh.
KWLONG BrowseStart(const ZRFPAL* pal, const ZRFCURSOR* cursor, const Pattern& pattern, bool next,
                   uint32_t* start, bool* continuing, uint32_t fn) {
  const ZRFPROPS* list = pal->pProps;
  *start = kHeaderLength;
  *continuing = false;
  if (!next || !CursorHoldsName(cursor)) return KWRC_NONE;
  ScratchSpace scratch(nullptr);
  Text name;
  if (const KWLONG reason = NameInListCcsid(list, cursor->pName, cursor->NameLength,
                                            cursor->NameCCSID, &scratch, &name, fn);
      reason != KWRC_NONE) {
    return reason;
  }
  // A cursor left by another pattern does not continue this one.
  if (!Matches(pattern, name.data, name.length)) return KWRC_NONE;
  const LocateResult where = FindNode(list, name.data, name.length);
  if (where.damaged) return DamagedList(pal, __FILE__, kProbeDamaged, "Property node damaged");
  *continuing = true;
  if (where.found) {
    NodeView node{};
    DecodeNode(ListBytes(list) + where.offset, list->StrucLen - where.offset, &node);
    *start = where.offset + node.length;
    return KWRC_NONE;
  }
  // The property has gone: go on at the first node at or after where it
  // was, which is the one that moved into its place.
  *start = list->StrucLen;
  ForEachNode(list, [&](const NodeView& node) {
    const uint32_t offset = static_cast<uint32_t>(node.node - ListBytes(list));
    if (offset < cursor->NodeOffset) return true;
    *start = offset;
    return false;
  });
  return KWRC_NONE;
}

KWLONG ReadUnderCursor(const ZRFPAL* pal, const ZRFCURSOR* cursor, ZRFWORKAREA* work,
                       ZRFPROPINFO* info, uint32_t fn) {
  if (!CursorHoldsName(cursor)) return KWRC_PROPERTY_NOT_AVAILABLE;
  return GetFromList(pal, cursor->pName, cursor->NameLength, cursor->NameCCSID, work, info, fn);
}

KWLONG GetNamed(KWLONG options, const ZRFPAL* pal, ZRFCURSOR** cursor, const uint8_t* name,
                uint32_t nameLength, int32_t nameCcsid, ZRFWORKAREA* work, ZRFPROPINFO* info,
                uint32_t fn) {
  if (options & ZRF_GET_UNDER_CURSOR) return ReadUnderCursor(pal, *cursor, work, info, fn);
  if (name == nullptr || nameLength == 0) return KWRC_PROPERTY_NAME_ERROR;
  KWLONG reason;
  const ZRFPROPS* list = ReadableList(pal, options, fn, &reason);
  if (list == nullptr) return reason;

  ScratchSpace scratch(work);
  Pattern pattern;
  reason = NameInListCcsid(list, name, nameLength, nameCcsid, &scratch, &pattern.text, fn);
  if (reason != KWRC_NONE) return reason;
  if (EndsWithPercentSign(pattern.text.data, pattern.text.length, list->CCSIDType)) {
    pattern.prefix = true;
    pattern.text.length -= PercentSignOf(list->CCSIDType).length;
  }

  uint32_t start;
  bool continuing;
  reason = BrowseStart(pal, *cursor, pattern, (options & ZRF_GET_BROWSE_NEXT) != 0, &start,
                       &continuing, fn);
  if (reason != KWRC_NONE) return reason;
  xtr_text_detail(kComponent, fn,
                  continuing ? "Continuing previous browse" : "Starting new browse");

  const uint8_t* bytes = ListBytes(list);
  for (uint32_t offset = start; offset < list->StrucLen;) {
    NodeView node{};
    if (!DecodeNode(bytes + offset, list->StrucLen - offset, &node)) {
      return DamagedList(pal, __FILE__, kProbeDamaged, "Property node damaged");
    }
    if (Matches(pattern, node.name, node.name_length)) {
      reason = RecordInCursor(cursor, node.name, node.name_length, list->CCSID, offset);
      if (reason != KWRC_NONE) return reason;
      FillInfoFromNode(list, node, info);
      return KWRC_NONE;
    }
    offset += node.length;
  }
  return KWRC_PROPERTY_NOT_AVAILABLE;
}

bool CursorHolds(const ZRFCURSOR* cursor, const uint8_t* name, uint32_t nameLength, int32_t ccsid) {
  return CursorHoldsName(cursor) && cursor->NameLength == nameLength &&
         cursor->NameCCSID == ccsid && std::memcmp(cursor->pName, name, nameLength) == 0;
}

KWLONG GetWithBrowse(KWLONG options, const ZRFPAL* pal, const KWMD* md, ZRFCURSOR** cursor,
                     const uint8_t* name, uint32_t nameLength, int32_t nameCcsid, ZRFWORKAREA* work,
                     ZRFPROPINFO* info, uint32_t fn) {
  if (md != nullptr) {
    // The property under the cursor, or the name asked for, may be one that
    // lives in the descriptor: a single property, never a pattern.
    const bool underCursor = (options & ZRF_GET_UNDER_CURSOR) != 0;
    const uint8_t* wanted = underCursor ? (*cursor != nullptr ? (*cursor)->pName : nullptr) : name;
    const uint32_t wantedLength =
        underCursor ? (*cursor != nullptr ? (*cursor)->NameLength : 0) : nameLength;
    const int32_t wantedCcsid =
        underCursor ? (*cursor != nullptr ? (*cursor)->NameCCSID : 0) : NameCcsidOf(nameCcsid, pal);
    if (wanted != nullptr && wantedLength != 0) {
      if (const DescriptorMapping* mapping =
              DescriptorMappingOf(wanted, wantedLength, NameFamilyOf(wantedCcsid, pal))) {
        if (!underCursor && (options & ZRF_GET_BROWSE_NEXT) &&
            CursorHolds(*cursor, wanted, wantedLength, wantedCcsid)) {
          xtr_text_detail(kComponent, fn, "Continuing previous browse on single property");
          return KWRC_PROPERTY_NOT_AVAILABLE;
        }
        ZRFPROPINFO found;
        KWLONG reason =
            ReadDescriptorProperty(*md, *mapping, wanted, wantedLength, wantedCcsid, &found);
        if (reason == KWRC_NONE && !underCursor) {
          reason = RecordInCursor(cursor, wanted, wantedLength, wantedCcsid, 0);
        }
        if (reason == KWRC_NONE) {
          *info = found;
          // The copy's Scalar moved with it.
          if (found.pValue == &found.Scalar) info->pValue = &info->Scalar;
          if (underCursor)
            info->pName = (*cursor)->pName;
          else
            info->pName = name;
        }
        return reason;
      }
    }
  }
  return GetNamed(options, pal, cursor, name, nameLength, nameCcsid, work, info, fn);
}

}  // namespace

}  // namespace zxv::props

namespace zp = zxv::props;

namespace {

// The exported gets share their ending: codes, trace exit, the reason.
KWLONG Finish(KWLONG reason, uint32_t fn, KWLONG* pCompCode, KWLONG* pReason) {
  zp::SetCodes(reason, pCompCode, pReason);
  xtr_FNC_retcode(zxv::kComponent, fn, reason);
  return reason;
}

const uint8_t* Bytes(const void* p) { return static_cast<const uint8_t*>(p); }

}  // namespace

extern "C" {

ZXV_API KWLONG zrfGetProperty(const ZRFPAL* pPAL, const KWMD* pMsgDesc, const void* pName,
                              KWULONG NameLength, KWLONG NameCCSID, ZRFWORKAREA* pWork,
                              ZRFPROPINFO* pInfo, KWLONG* pCompCode, KWLONG* pReason) {
  constexpr uint32_t fn = zp::kFnGetProperty;
  xtr_FNC_entry(zxv::kComponent, fn);
  if (pInfo == nullptr) {
    return Finish(zp::MissingParameter("pInfo", __FILE__, zp::kProbeMissing), fn, pCompCode,
                  pReason);
  }
  return Finish(zp::GetExact(pPAL, pMsgDesc, Bytes(pName), NameLength, NameCCSID, pWork, pInfo, fn),
                fn, pCompCode, pReason);
}

ZXV_API KWLONG zrfGetProperty2(const ZRFPAL* pPAL, const KWMD* pMsgDesc, const void* pName,
                               KWULONG NameLength, KWLONG NameCCSID, KWULONG RequestedType,
                               ZRFWORKAREA* pWork, ZRFPROPINFO* pInfo, KWLONG* pCompCode,
                               KWLONG* pReason) {
  constexpr uint32_t fn = zp::kFnGetProperty2;
  xtr_FNC_entry(zxv::kComponent, fn);
  if (pInfo == nullptr) {
    return Finish(zp::MissingParameter("pInfo", __FILE__, zp::kProbeMissing), fn, pCompCode,
                  pReason);
  }
  ZRFPROPINFO found;
  KWLONG reason =
      zp::GetExact(pPAL, pMsgDesc, Bytes(pName), NameLength, NameCCSID, pWork, &found, fn);
  if (reason == KWRC_NONE && !zp::HasType(found.TypeFlags, RequestedType)) {
    reason = KWRC_PROPERTY_TYPE_ERROR;
  }
  if (reason == KWRC_NONE) {
    *pInfo = found;
    if (found.pValue == &found.Scalar) pInfo->pValue = &pInfo->Scalar;
  }
  return Finish(reason, fn, pCompCode, pReason);
}

ZXV_API KWLONG zrfGetNamedProperty(KWLONG Options, const ZRFPAL* pPAL, ZRFCURSOR** ppCursor,
                                   const void* pName, KWULONG NameLength, KWLONG NameCCSID,
                                   ZRFWORKAREA* pWork, ZRFPROPINFO* pInfo, KWLONG* pCompCode,
                                   KWLONG* pReason) {
  constexpr uint32_t fn = zp::kFnGetNamedProperty;
  xtr_FNC_entry(zxv::kComponent, fn);
  if (pInfo == nullptr || ppCursor == nullptr) {
    return Finish(
        zp::MissingParameter(pInfo == nullptr ? "pInfo" : "ppCursor", __FILE__, zp::kProbeMissing),
        fn, pCompCode, pReason);
  }
  return Finish(
      zp::GetNamed(Options, pPAL, ppCursor, Bytes(pName), NameLength, NameCCSID, pWork, pInfo, fn),
      fn, pCompCode, pReason);
}

ZXV_API KWLONG zrfGetPropertyWithBrowse(KWLONG Options, const ZRFPAL* pPAL, const KWMD* pMsgDesc,
                                        ZRFCURSOR** ppCursor, const void* pName, KWULONG NameLength,
                                        KWLONG NameCCSID, ZRFWORKAREA* pWork, ZRFPROPINFO* pInfo,
                                        KWLONG* pCompCode, KWLONG* pReason) {
  constexpr uint32_t fn = zp::kFnGetPropertyWithBrowse;
  xtr_FNC_entry(zxv::kComponent, fn);
  if (pInfo == nullptr || ppCursor == nullptr) {
    return Finish(
        zp::MissingParameter(pInfo == nullptr ? "pInfo" : "ppCursor", __FILE__, zp::kProbeMissing),
        fn, pCompCode, pReason);
  }
  KWLONG reason = KWRC_NONE;
  if ((static_cast<KWULONG>(Options) & ZRF_GET_VERIFY) && pPAL != nullptr &&
      pPAL->pProps != nullptr) {
    reason = zp::VerifyList(pPAL, fn);
  }
  if (reason == KWRC_NONE) {
    const KWLONG rest = static_cast<KWLONG>(static_cast<KWULONG>(Options) & ~ZRF_GET_VERIFY);
    reason = zp::GetWithBrowse(rest, pPAL, pMsgDesc, ppCursor, Bytes(pName), NameLength, NameCCSID,
                               pWork, pInfo, fn);
  }
  return Finish(reason, fn, pCompCode, pReason);
}

ZXV_API void zrfFreeCursor(ZRFCURSOR** ppCursor) {
  xtr_FNC_entry(zxv::kComponent, zp::kFnFreeCursor);
  if (ppCursor != nullptr && *ppCursor != nullptr) {
    xcsFreeMemFn((*ppCursor)->pName);
    xcsFreeMemFn(*ppCursor);
    *ppCursor = nullptr;
  }
  xtr_FNC_retcode(zxv::kComponent, zp::kFnFreeCursor, 0);
}

}  // extern "C"
