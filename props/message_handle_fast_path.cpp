// The common set and inquire of a handle through the index of its list:
// the same checks, the same node at the same place and the same cursor as
// the store's set (zrfSetProperty) and browsing get
// (zrfGetPropertyWithBrowse) give, without walking the list. Anything
// outside the common case (descriptor fields, patterns, browsing on, names
// to convert, lists that verify themselves or have yet to be made) is left
// to the store.
#include <algorithm>
#include <cstring>

#include "props/descriptor_fields.h"
#include "props/message_handle.h"
#include "props/message_handle_index.h"
#include "props/name_parts.h"
#include "props/property_names.h"
#include "props/property_store.h"
#include "zxvxcs2/xcs_ccsid.h"
#include "zxvxcs2/xcs_memory.h"
#include "zxvxcs2/xcs_trace.h"

namespace zxv::props {
namespace {

constexpr uint32_t kProbeCursor = 1;
constexpr uint32_t kMinCursorCapacity = 256;

// A list the fast paths may work on: usable, not verifying itself, and a
// name that needs no conversion into it. Its CCSID and family are in
// *ccsid and *ccsidType: the list's own, or for an empty list without a
// CCSID (a new or reset handle) the store's, which the list takes with its
// first node (*adopt).
[[gnu::always_inline]] inline const ZRFPROPS* FastList(const MsgHandle* handle,
                                                       const PropertyName& name, int32_t* ccsid,
                                                       uint8_t* ccsidType, bool* adopt) {
  const ZRFPROPS* list = handle->pProps;
  // HeaderUsable, inline: this runs on every call.
  if (list == nullptr || handle->PropsSize < kHeaderLength ||
      std::memcmp(list->StrucId, ZRFP_STRUC_ID, sizeof list->StrucId) != 0 ||
      (list->VersionFlags & ZRFP_VERSION_MASK) != ZRFP_VERSION_1 ||
      list->StrucLen < kHeaderLength || list->StrucLen > handle->PropsSize ||
      (list->VersionFlags & ZRFP_FLAG_VERIFY) != 0) {
    return nullptr;
  }
  *adopt = list->CCSID == 0;
  if (*adopt) {
    if (list->StrucLen != kHeaderLength) return nullptr;
    *ccsid = kStoreCcsid;
    *ccsidType = XCS_CCSID_TYPE_UTF8;
  } else {
    *ccsid = list->CCSID;
    *ccsidType = list->CCSIDType;
  }
  if (NeedsConversion(name.ccsid, *ccsid)) return nullptr;
  return list;
}

// The first characters of the names that live in the message descriptor,
// taken from the descriptor mapping once.
class DescriptorInitials {
 public:
  DescriptorInitials() {
    for (NameId id = ZRF_NAME_FAMILY_KWMD * 100; id < (ZRF_NAME_FAMILY_PSC + 1) * 100; ++id) {
      if (FindDescriptorMapping(id) == nullptr) continue;
      if (const char* text = KnownNameText(id); text != nullptr) {
        initial_[static_cast<uint8_t>(text[0])] = true;
      }
    }
  }
  bool Has(uint8_t c) const { return initial_[c]; }

 private:
  bool initial_[256] = {};
};

// DescriptorMappingOf, answering at once for the many names of an
// ASCII-based family whose first character begins no descriptor name.
[[gnu::always_inline]] inline const DescriptorMapping* DescriptorMappingFast(const uint8_t* name,
                                                                             uint32_t length,
                                                                             uint8_t family) {
  if (family == ZRF_CCSIDTYPE_ASCII || family == ZRF_CCSIDTYPE_UTF8) {
    static const DescriptorInitials initials;
    if (length == 0 || !initials.Has(name[0])) return nullptr;
  }
  return DescriptorMappingOf(name, length, family);
}

bool InsideList(const ZRFPROPS* list, uint32_t size, const void* p, uint32_t length) {
  if (p == nullptr || length == 0) return false;
  const uint8_t* begin = ListBytes(list);
  const auto* q = static_cast<const uint8_t*>(p);
  return q < begin + size && q + length > begin;
}

// The checks of CheckNodeSpec and ApplyDescriptor that a value of type
// `type` (0..9) passes, inline; false sends the caller to those functions
// for the reason.
bool SpecPassesChecks(const NodeSpec& spec, const NodeLayout& layout, const KWPD& pd,
                      uint64_t nodeLength) {
  return spec.name != nullptr && spec.name_length != 0 && spec.name_length <= kMaxNameLength &&
         (layout.variable() || spec.value_length == layout.fixed_size) &&
         (spec.value != nullptr || spec.value_length == 0) &&
         nodeLength <= kMaxListSize - kHeaderLength &&
         static_cast<KWULONG>(pd.CopyOptions) <= kMaxCopyOptions;
}

// The cursor keeps a copy of the name returned, as the store's browse does.
KWLONG RecordInCursor(MsgHandle* handle, const uint8_t* name, uint32_t length, int32_t ccsid,
                      uint32_t offset) {
  if (handle->pCursor == nullptr) {
    void* block = nullptr;
    if (const xcsRC rc = xcsGetMemFn(sizeof(ZRFCURSOR), &block); rc != xcsRC_OK) {
      return StorageReason(rc, __FILE__, kProbeCursor);
    }
    handle->pCursor = static_cast<ZRFCURSOR*>(block);
    *handle->pCursor = ZRFCURSOR{};
  }
  ZRFCURSOR* cursor = handle->pCursor;
  if (length > cursor->Capacity) {
    const uint32_t capacity = std::max(kMinCursorCapacity, 2 * length);
    void* block = nullptr;
    if (const xcsRC rc = xcsGetMemFn(capacity, &block); rc != xcsRC_OK) {
      return StorageReason(rc, __FILE__, kProbeCursor);
    }
    xcsFreeMemFn(cursor->pName);
    cursor->pName = static_cast<uint8_t*>(block);
    cursor->Capacity = capacity;
  }
  std::memcpy(cursor->pName, name, length);
  cursor->NameLength = length;
  cursor->NameCCSID = ccsid;
  cursor->NodeOffset = offset;
  return KWRC_NONE;
}

}  // namespace

bool SetPropertyFast(MsgHandle* handle, const PropertyName& name, const KWPD& pd, uint32_t type,
                     const void* value, uint32_t valueLength, KWLONG* reason) {
  constexpr uint32_t fn = kFnSetMessageProperty;
  int32_t listCcsid;
  uint8_t listType;
  bool adopt;
  const ZRFPROPS* list = FastList(handle, name, &listCcsid, &listType, &adopt);
  if (list == nullptr) return false;
  PropertyIndex* index = adopt ? EmptyIndexFor(handle, listType) : CurrentIndex(handle);
  if (index == nullptr) return false;
  const ZRFPAL pal = ListOf(handle);
  // NameCcsidOf and NameFamilyOf, on a list known to be usable.
  const int32_t ccsid = name.ccsid != 0 ? name.ccsid : listCcsid;
  const uint8_t family = IndexNameFamily(*index, name.ccsid, &pal);

  // The store's order: the name, then where the value goes, then the value.
  if (!handle->ValidationOff) {
    NameId id = ZRF_NAME_NONE;
    *reason = ValidatePropertyName(name.data, static_cast<KWLONG>(name.length), ccsid, family, &id);
    if (*reason != KWRC_NONE) return true;
  }
  if (DescriptorMappingFast(name.data, name.length, family) != nullptr) return false;
  if (type > ZRF_TYPE_NULL) {
    *reason = KWRC_PROPERTY_TYPE_ERROR;
    return true;
  }
  NodeSpec spec;
  spec.type_flags = type;
  spec.name = name.data;
  spec.name_length = name.length;
  spec.value = static_cast<const uint8_t*>(value);
  spec.value_length = valueLength;
  if (type == ZRF_TYPE_NULL) {  // carries no value whatever length came with it
    spec.value = nullptr;
    spec.value_length = 0;
  }
  const NodeLayout& layout = kNodeLayouts[type];
  const uint64_t length =
      PadToNodeAlignment(RawNodeLength(layout, spec.name_length, spec.value_length));
  if (SpecPassesChecks(spec, layout, pd, length)) {
    spec.support = static_cast<uint32_t>(pd.Support);
    spec.copy_options = static_cast<uint8_t>(pd.CopyOptions);
    if (pd.Context == KWPD_USER_CONTEXT) spec.type_flags |= ZRF_FLAG_USER_CONTEXT;
  } else {
    *reason = CheckNodeSpec(spec, fn);
    if (*reason == KWRC_NONE) *reason = ApplyDescriptor(&pd, &spec);
    if (*reason != KWRC_NONE) return true;
  }
  spec.value_ccsid = listCcsid;
  // Bytes that come from the list itself would move under the copy.
  if (InsideList(list, pal.Size, spec.name, spec.name_length) ||
      InsideList(list, pal.Size, spec.value, spec.value_length)) {
    return false;
  }

  const uint32_t newLength = static_cast<uint32_t>(length);  // checked above
  IndexKeys keys;
  bool found;
  uint32_t offset;
  NodeView old;
  if (!IndexLocate(*index, list, spec.name, spec.name_length, &keys, &found, &offset, &old)) {
    return false;
  }
  if (found) {
    *reason =
        PlaceNode(handle, spec, newLength, offset, old.length, old.name_length + old.value_length,
                  [&](uint8_t* at) { WriteNodeAs(at, spec, layout, newLength); });
    if (*reason == KWRC_NONE) {
      IndexNoteReplaced(handle, keys, offset,
                        static_cast<int32_t>(newLength) - static_cast<int32_t>(old.length),
                        layout.name_offset);
    }
    return true;
  }
  *reason = PlaceNode(handle, spec, newLength, offset, 0, 0,
                      [&](uint8_t* at) { WriteNodeAs(at, spec, layout, newLength); });
  if (*reason == KWRC_NONE) {
    if (adopt) {  // the list takes the store's CCSID with its first node
      handle->pProps->CCSID = listCcsid;
      handle->pProps->CCSIDType = listType;
    }
    IndexNoteInserted(handle, offset, newLength, layout.name_offset, keys);
  }
  return true;
}

bool GetPropertyFast(MsgHandle* handle, const PropertyName& name, ZRFPROPINFO* info,
                     KWLONG* reason) {
  constexpr uint32_t fn = kFnInquireMessageProperty;
  int32_t listCcsid;
  uint8_t listType;
  bool adopt;
  const ZRFPROPS* list = FastList(handle, name, &listCcsid, &listType, &adopt);
  if (list == nullptr || adopt) return false;
  PropertyIndex* index = CurrentIndex(handle);
  if (index == nullptr) return false;
  const ZRFPAL pal = ListOf(handle);
  // The store reads the name in the family of its CCSID, the list's for 0.
  const int32_t ccsid = name.ccsid != 0 ? name.ccsid : listCcsid;
  if (DescriptorMappingFast(name.data, name.length, IndexNameFamily(*index, ccsid, &pal)) !=
      nullptr) {
    return false;
  }
  // A pattern is browsed by the store (EndsWithPercentSign, inline for the
  // one-byte families the index serves).
  if (index->hasPercent ? name.data[name.length - 1] == index->percent
                        : EndsWithPercentSign(name.data, name.length, listType)) {
    return false;
  }

  xtr_text_detail(kComponent, fn, "Starting new browse");
  NodeView node;
  if (!IndexFind(*index, list, name.data, name.length, &node)) {
    *reason = KWRC_PROPERTY_NOT_AVAILABLE;
    return true;
  }
  const uint32_t offset = static_cast<uint32_t>(node.node - ListBytes(list));
  *reason = RecordInCursor(handle, node.name, node.name_length, listCcsid, offset);
  if (*reason == KWRC_NONE) FillInfoFromNode(list, node, info);
  return true;
}

}  // namespace zxv::props
