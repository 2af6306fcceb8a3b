// Adding, replacing and removing nodes of a property list: the append of
// zrfAppendProperty, the list-only set and delete.
#include <algorithm>

#include "props/property_store.h"
#include "zxvxcs2/xcs_ccsid.h"
#include "zxvxcs2/xcs_erdp.h"
#include "zxvxcs2/xcs_memory.h"
#include "zxvxcs2/xcs_trace.h"

namespace zxv::props {
namespace {

constexpr uint32_t kProbeUnknownType = 1;
constexpr uint32_t kProbeCopyOptions = 2;
constexpr uint32_t kProbeDamaged = 3;
constexpr uint32_t kProbeMissing = 4;
constexpr uint32_t kProbeSelfCopy = 5;

// True when [p, p + length) lies inside the list's block.
bool InsideList(const ZRFPAL* pal, const uint8_t* p, uint32_t length) {
  if (p == nullptr || length == 0) return false;
  const uint8_t* begin = ListBytes(pal->pProps);
  return p < begin + pal->Size && p + length > begin;
}

// A copy of name and value bytes that point into the list itself, which
// moving nodes (or re-allocating) would overwrite.
class DetachedSpec {
 public:
  ~DetachedSpec() { xcsFreeMemFn(copy_); }
  KWLONG Detach(const ZRFPAL* pal, NodeSpec* spec) {
    if (!InsideList(pal, spec->name, spec->name_length) &&
        !InsideList(pal, spec->value, spec->value_length)) {
      return KWRC_NONE;
    }
    void* block = nullptr;
    const xcsRC rc = xcsGetMemFn(uint64_t{spec->name_length} + spec->value_length, &block);
    if (rc != xcsRC_OK) return StorageReason(rc, __FILE__, kProbeSelfCopy);
    copy_ = static_cast<uint8_t*>(block);
    std::memcpy(copy_, spec->name, spec->name_length);
    if (spec->value_length != 0) {
      std::memcpy(copy_ + spec->name_length, spec->value, spec->value_length);
    }
    spec->name = copy_;
    spec->value = copy_ + spec->name_length;
    return KWRC_NONE;
  }

 private:
  uint8_t* copy_ = nullptr;
};

}  // namespace

KWLONG CheckNodeSpec(const NodeSpec& spec, uint32_t fn) {
  const NodeLayout* layout = LayoutOf(spec.type_flags);
  if (layout == nullptr) {
    xtr_text_detail(kComponent, fn, "Unrecognized property type");
    xcsERDPSFn(kComponent, __FILE__, kProbeUnknownType, xcsRC_UNEXPECTED_ERROR, nullptr, 0,
               "Unrecognized property type 0x%08X", spec.type_flags);
    return KWRC_UNEXPECTED_ERROR;
  }
  if (spec.name == nullptr || spec.name_length == 0 || spec.name_length > kMaxNameLength) {
    return KWRC_PROPERTY_NAME_ERROR;
  }
  if (!layout->variable() && spec.value_length != layout->fixed_size) {
    return KWRC_PROPERTY_TYPE_ERROR;
  }
  if (spec.value == nullptr && spec.value_length != 0) return KWRC_PROPERTY_TYPE_ERROR;
  if (NodeLengthOf(spec) > kMaxListSize - kHeaderLength) return KWRC_STORAGE_NOT_AVAILABLE;
  return KWRC_NONE;
}

KWLONG ApplyDescriptor(const KWPD* pd, NodeSpec* spec) {
  if (pd == nullptr) return KWRC_NONE;  // optional support, default copy options
  if (static_cast<KWULONG>(pd->CopyOptions) > kMaxCopyOptions) {
    xcsERDPSFn(kComponent, __FILE__, kProbeCopyOptions, xcsRC_UNEXPECTED_ERROR, pd, sizeof *pd,
               "CopyOptions cannot be stored");
    return KWRC_UNEXPECTED_ERROR;
  }
  spec->support = static_cast<uint32_t>(pd->Support);
  spec->copy_options = static_cast<uint8_t>(pd->CopyOptions);
  spec->type_flags &= ~ZRF_FLAG_USER_CONTEXT;
  if (pd->Context == KWPD_USER_CONTEXT) spec->type_flags |= ZRF_FLAG_USER_CONTEXT;
  return KWRC_NONE;
}

KWLONG InsertOrReplaceNode(ZRFPAL* pal, const NodeSpec& given, bool keepExisting, uint32_t fn) {
  if (VerifyRequested(pal)) {
    if (const KWLONG reason = VerifyList(pal, fn); reason != KWRC_NONE) return reason;
  }
  const LocateResult where = LocateNode(pal->pProps, given.name, given.name_length);
  if (where.damaged) return DamagedList(pal, __FILE__, kProbeDamaged, "Property node damaged");
  if (where.found && keepExisting) return KWRC_NONE;

  NodeSpec spec = given;
  DetachedSpec detached;
  if (const KWLONG reason = detached.Detach(pal, &spec); reason != KWRC_NONE) return reason;

  const uint32_t newLength = static_cast<uint32_t>(NodeLengthOf(spec));
  uint32_t oldLength = 0;
  uint32_t oldPropsLen = 0;
  if (where.found) {
    NodeView old{};
    DecodeNode(ListBytes(pal->pProps) + where.offset, pal->pProps->StrucLen - where.offset, &old);
    oldLength = old.length;
    oldPropsLen = old.name_length + old.value_length;
  }
  if (newLength > oldLength) {
    if (const KWLONG reason = EnsureRoom(pal, newLength - oldLength); reason != KWRC_NONE) {
      return reason;  // nothing was changed yet
    }
  }
  // From here on nothing can fail: move the later nodes and write the node.
  ZRFPROPS* list = pal->pProps;
  uint8_t* bytes = ListBytes(list);
  const uint32_t tail = where.offset + oldLength;
  std::memmove(bytes + where.offset + newLength, bytes + tail, list->StrucLen - tail);
  WriteNode(bytes + where.offset, spec);
  list->StrucLen = list->StrucLen - oldLength + newLength;
  list->PropsLen = list->PropsLen - oldPropsLen + PropsLenOf(spec);
  if (VerifyRequested(pal)) return VerifyList(pal, fn);
  return KWRC_NONE;
}

KWLONG AppendNodeAtEnd(ZRFPAL* pal, const NodeSpec& spec) {
  const uint32_t length = static_cast<uint32_t>(NodeLengthOf(spec));
  if (const KWLONG reason = EnsureRoom(pal, length); reason != KWRC_NONE) return reason;
  ZRFPROPS* list = pal->pProps;
  WriteNode(ListBytes(list) + list->StrucLen, spec);
  list->StrucLen += length;
  list->PropsLen += PropsLenOf(spec);
  return KWRC_NONE;
}

void RemoveNodeAt(ZRFPAL* pal, uint32_t offset) {
  ZRFPROPS* list = pal->pProps;
  uint8_t* bytes = ListBytes(list);
  NodeView node{};
  if (!DecodeNode(bytes + offset, list->StrucLen - offset, &node)) return;
  const uint32_t tail = offset + node.length;
  std::memmove(bytes + offset, bytes + tail, list->StrucLen - tail);
  list->StrucLen -= node.length;
  list->PropsLen -= node.name_length + node.value_length;
}

KWLONG AppendProperty(ZRFPAL* pal, const uint8_t* name, uint32_t nameLength, int32_t nameCcsid,
                      uint32_t typeFlags, const void* value, uint32_t valueLength, const KWPD* pd,
                      ZRFWORKAREA* work, uint32_t fn) {
  NodeSpec spec;
  spec.type_flags = typeFlags;
  spec.name = name;
  spec.name_length = nameLength;
  spec.value = static_cast<const uint8_t*>(value);
  spec.value_length = valueLength;
  const uint32_t code = typeFlags & ZRF_TYPE_MASK;
  if (!(typeFlags & ZRF_FLAG_STRING_FORM) &&
      (code == ZRF_TYPE_NULL || code == ZRF_TYPE_NAME_ONLY)) {
    spec.value = nullptr;  // these carry no value whatever length came with them
    spec.value_length = 0;
  }
  if (const KWLONG reason = CheckNodeSpec(spec, fn); reason != KWRC_NONE) return reason;
  if (const KWLONG reason = ApplyDescriptor(pd, &spec); reason != KWRC_NONE) return reason;

  // The CCSID the node is written in: a list created here, or an empty one
  // that never had a CCSID, is a list of the store's own CCSID.
  const bool create = pal->pProps == nullptr || pal->Size < kHeaderLength;
  if (!create && !HeaderUsable(pal)) {
    return DamagedList(pal, __FILE__, kProbeDamaged, "Property list header damaged");
  }
  const bool adopt = !create && pal->pProps->CCSID == 0 && pal->pProps->StrucLen == kHeaderLength;
  const int32_t listCcsid = (create || adopt) ? kStoreCcsid : pal->pProps->CCSID;

  ScratchSpace scratch(work);
  if (NeedsConversion(nameCcsid, listCcsid)) {
    Text convertedName;
    Text convertedValue;
    const bool text = IsTextValue(typeFlags);
    if (const KWLONG reason = ConvertText(nameCcsid, listCcsid, Text{name, nameLength},
                                          Text{spec.value, spec.value_length}, text, &scratch,
                                          &convertedName, &convertedValue, fn);
        reason != KWRC_NONE) {
      return reason;
    }
    spec.name = convertedName.data;
    spec.name_length = convertedName.length;
    if (text) {
      spec.value = convertedValue.data;
      spec.value_length = convertedValue.length;
    }
    if (const KWLONG reason = CheckNodeSpec(spec, fn); reason != KWRC_NONE) return reason;
  }
  spec.value_ccsid = listCcsid;

  const ZRFPAL before = *pal;
  if (create) {
    if (const KWLONG reason = PrepareListForAppend(pal, fn); reason != KWRC_NONE) return reason;
  }
  const KWLONG reason = InsertOrReplaceNode(pal, spec, false, fn);
  if (reason != KWRC_NONE) {
    if (create) {
      xcsFreeMemFn(pal->pProps);  // a failed append leaves nothing behind
      *pal = before;
    }
    return reason;
  }
  if (adopt) {
    pal->pProps->CCSID = kStoreCcsid;
    pal->pProps->CCSIDType = XCS_CCSID_TYPE_UTF8;
  }
  return KWRC_NONE;
}

KWLONG DeleteNamedProperty(ZRFPAL* pal, const uint8_t* name, uint32_t nameLength, int32_t nameCcsid,
                           ZRFWORKAREA* work, uint32_t fn) {
  if (name == nullptr || nameLength == 0) return KWRC_PROPERTY_NAME_ERROR;
  if (pal->pProps == nullptr || pal->Size < kHeaderLength) return KWRC_PROPERTY_NOT_AVAILABLE;
  if (!HeaderUsable(pal)) {
    return DamagedList(pal, __FILE__, kProbeDamaged, "Property list header damaged");
  }
  if (VerifyRequested(pal)) {
    if (const KWLONG reason = VerifyList(pal, fn); reason != KWRC_NONE) return reason;
  }
  ScratchSpace scratch(work);
  Text listName;
  if (const KWLONG reason =
          NameInListCcsid(pal->pProps, name, nameLength, nameCcsid, &scratch, &listName, fn);
      reason != KWRC_NONE) {
    return reason;
  }
  const LocateResult where = FindNode(pal->pProps, listName.data, listName.length);
  if (where.damaged) return DamagedList(pal, __FILE__, kProbeDamaged, "Property node damaged");
  if (!where.found) return KWRC_PROPERTY_NOT_AVAILABLE;
  RemoveNodeAt(pal, where.offset);
  if (VerifyRequested(pal)) return VerifyList(pal, fn);
  return KWRC_NONE;
}

}  // namespace zxv::props

namespace zp = zxv::props;

extern "C" {

ZXV_API KWLONG zrfAppendProperty(ZRFPAL* pPAL, const void* pName, KWULONG NameLength,
                                 KWLONG NameCCSID, KWULONG TypeFlags, const void* pValue,
                                 KWULONG ValueLength, const KWPD* pPD, KWLONG* pCompCode,
                                 KWLONG* pReason) {
  xtr_FNC_entry(zxv::kComponent, zp::kFnAppendProperty);
  const KWLONG reason =
      pPAL == nullptr
          ? zp::MissingParameter("pPAL", __FILE__, zp::kProbeMissing)
          : zp::AppendProperty(pPAL, static_cast<const uint8_t*>(pName), NameLength, NameCCSID,
                               TypeFlags, pValue, ValueLength, pPD, nullptr, zp::kFnAppendProperty);
  zp::SetCodes(reason, pCompCode, pReason);
  xtr_FNC_retcode(zxv::kComponent, zp::kFnAppendProperty, reason);
  return reason;
}

ZXV_API KWLONG zrfSetNamedProperty(ZRFPAL* pPAL, const void* pName, KWULONG NameLength,
                                   KWLONG NameCCSID, const KWPD* pPD, KWULONG Type,
                                   const void* pValue, KWULONG ValueLength, ZRFWORKAREA* pWork,
                                   KWLONG* pCompCode, KWLONG* pReason) {
  xtr_FNC_entry(zxv::kComponent, zp::kFnSetNamedProperty);
  KWLONG reason;
  if (pPAL == nullptr) {
    reason = zp::MissingParameter("pPAL", __FILE__, zp::kProbeMissing);
  } else if ((Type & ZRF_TYPE_MASK) > ZRF_TYPE_NULL) {
    reason = KWRC_PROPERTY_TYPE_ERROR;  // name-only and untyped nodes are not set this way
  } else {
    reason = zp::AppendProperty(pPAL, static_cast<const uint8_t*>(pName), NameLength, NameCCSID,
                                Type, pValue, ValueLength, pPD, pWork, zp::kFnSetNamedProperty);
  }
  zp::SetCodes(reason, pCompCode, pReason);
  xtr_FNC_retcode(zxv::kComponent, zp::kFnSetNamedProperty, reason);
  return reason;
}

ZXV_API KWLONG zrfDeleteNamedProperty(ZRFPAL* pPAL, const void* pName, KWULONG NameLength,
                                      KWLONG NameCCSID, ZRFWORKAREA* pWork, KWLONG* pCompCode,
                                      KWLONG* pReason) {
  xtr_FNC_entry(zxv::kComponent, zp::kFnDeleteNamedProperty);
  const KWLONG reason = pPAL == nullptr ? zp::MissingParameter("pPAL", __FILE__, zp::kProbeMissing)
                                        : zp::DeleteNamedProperty(
                                              pPAL, static_cast<const uint8_t*>(pName), NameLength,
                                              NameCCSID, pWork, zp::kFnDeleteNamedProperty);
  zp::SetCodes(reason, pCompCode, pReason);
  xtr_FNC_retcode(zxv::kComponent, zp::kFnDeleteNamedProperty, reason);
  return reason;
}

}  // extern "C"
