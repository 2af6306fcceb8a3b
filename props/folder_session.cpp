// Appending parsed properties to a list: name check, descriptor fields, the
// end-of-list fast path and the per-folder rollback (folder_session.h).
#include "props/folder_session.h"

#include <cstring>

#include "props/descriptor_fields.h"
#include "props/name_parts.h"
#include "props/property_names.h"
#include "props/property_store.h"
#include "zxvxcs2/xcs_ccsid.h"
#include "zxvxcs2/xcs_memory.h"
#include "zxvxcs2/xcs_trace.h"

namespace zxv::props {
namespace {

constexpr uint32_t kProbeScratch = 1;
constexpr uint32_t kProbeSaveList = 2;
constexpr uint32_t kInitialPrefixCapacity = 256;

constexpr uint64_t kFnvOffset = 0xCBF29CE484222325ull;
constexpr uint64_t kFnvPrime = 0x100000001B3ull;

// The set's hashes are never 0, which marks an empty slot.
inline uint64_t NonZero(uint64_t h) { return h == 0 ? 1 : h; }

bool IsUcs2(uint8_t family) {
  return family == XCS_CCSID_TYPE_LUCS2 || family == XCS_CCSID_TYPE_BUCS2;
}

}  // namespace

// ---------------------------------------------------------------------------
ScratchBuffer::~ScratchBuffer() {
  if (data_ != inline_) xcsFreeMemFn(data_);
}

KWLONG ScratchBuffer::Reserve(uint64_t more) {
  const uint64_t need = uint64_t{size_} + more;
  if (need <= capacity_) return KWRC_NONE;
  if (need > kMaxListSize) return KWRC_STORAGE_NOT_AVAILABLE;
  uint64_t grown = uint64_t{capacity_} * 2;
  if (grown < need) grown = need;
  if (grown > kMaxListSize) grown = kMaxListSize;
  void* block = nullptr;
  const xcsRC rc = xcsGetMemFn(grown, &block);
  if (rc != xcsRC_OK) return StorageReason(rc, __FILE__, kProbeScratch);
  std::memcpy(block, data_, size_);
  if (data_ != inline_) xcsFreeMemFn(data_);
  data_ = static_cast<uint8_t*>(block);
  capacity_ = static_cast<uint32_t>(grown);
  return KWRC_NONE;
}

void ScratchBuffer::AppendUnchecked(const uint8_t* bytes, uint32_t length) {
  if (length != 0) std::memcpy(data_ + size_, bytes, length);
  size_ += length;
}

// ---------------------------------------------------------------------------
FolderSession::FolderSession(ZRFPAL* pal, ZRFFOLDERCTX* ctx) : pal_(pal), ctx_(ctx) {
  // The fast path needs to know every node: only a list that starts empty.
  fast_ = pal_->pProps == nullptr || pal_->Size < kHeaderLength ||
          (HeaderUsable(pal_) && pal_->pProps->StrucLen == kHeaderLength);
}

FolderSession::~FolderSession() { xcsFreeMemFn(prefixes_); }

void FolderSession::BeginFolder() {
  had_list_ = pal_->pProps != nullptr && pal_->Size >= kHeaderLength;
  struc_len_ = had_list_ ? pal_->pProps->StrucLen : 0;
  props_len_ = had_list_ ? pal_->pProps->PropsLen : 0;
  saved_ = false;
  if (ctx_->pMsgDesc != nullptr) saved_md_ = *ctx_->pMsgDesc;
  if (ctx_->pMsgDescFieldsSet != nullptr) saved_fields_ = *ctx_->pMsgDescFieldsSet;
}

KWLONG FolderSession::SaveListForRollback() {
  if (!had_list_ || saved_) return KWRC_NONE;
  saved_list_.Resize(0);
  if (const KWLONG reason = saved_list_.Reserve(struc_len_); reason != KWRC_NONE) return reason;
  saved_list_.AppendUnchecked(ListBytes(pal_->pProps), struc_len_);
  saved_ = true;
  return KWRC_NONE;
}

void FolderSession::RollbackFolder() {
  if (ctx_->pMsgDesc != nullptr) *ctx_->pMsgDesc = saved_md_;
  if (ctx_->pMsgDescFieldsSet != nullptr) *ctx_->pMsgDescFieldsSet = saved_fields_;
  if (!had_list_) {
    // The folder created the list: none again.
    if (pal_->pProps != nullptr) FreeList(pal_);
    last_node_ = 0;
    return;
  }
  if (pal_->pProps == nullptr) return;
  if (saved_) {
    std::memcpy(ListBytes(pal_->pProps), saved_list_.data(), struc_len_);
  } else {
    pal_->pProps->StrucLen = struc_len_;
    pal_->pProps->PropsLen = props_len_;
  }
  // Prefixes of the removed nodes stay in the set: they can only send later
  // names the slow way, never place one wrongly.
  FindLastNode();
}

void FolderSession::FindLastNode() {
  last_node_ = 0;
  if (pal_->pProps == nullptr) return;
  uint32_t offset = kHeaderLength;
  ForEachNode(pal_->pProps, [&](const NodeView& node) {
    last_node_ = offset;
    offset += node.length;
    return true;
  });
}

// Calls visit(hash) for the name's first 1, 2, ... parts (the whole name
// last), hashed as bytes.
template <typename Visit>
static void ForEachPrefixHash(const uint8_t* name, uint32_t length, uint8_t family, Visit&& visit) {
  const FamilyChar stop = FullStopOf(family);
  const uint32_t unit = CharUnitOf(family);
  uint64_t h = kFnvOffset;
  for (uint32_t i = 0; i < length; i += unit) {
    const bool boundary = stop.length != 0 && i + stop.length <= length &&
                          std::memcmp(name + i, stop.bytes, stop.length) == 0;
    if (boundary && i != 0) visit(NonZero(h));
    for (uint32_t b = 0; b < unit && i + b < length; ++b) {
      h = (h ^ name[i + b]) * kFnvPrime;
    }
  }
  visit(NonZero(h));
}

void FolderSession::RememberPrefixes(const uint8_t* name, uint32_t length) {
  if (!fast_) return;
  if ((prefix_count_ + 16) * 2 > prefix_capacity_) {
    // Grow (or create) the set; without room the fast path just stops.
    const uint32_t capacity = prefix_capacity_ == 0 ? kInitialPrefixCapacity : prefix_capacity_ * 2;
    void* block = nullptr;
    if (capacity > (1u << 26) ||
        xcsGetMemFn(uint64_t{capacity} * sizeof(uint64_t), &block) != xcsRC_OK) {
      fast_ = false;
      return;
    }
    auto* grown = static_cast<uint64_t*>(block);
    std::memset(grown, 0, uint64_t{capacity} * sizeof(uint64_t));
    for (uint32_t i = 0; i < prefix_capacity_; ++i) {
      const uint64_t h = prefixes_[i];
      if (h == 0) continue;
      uint32_t slot = static_cast<uint32_t>(h) & (capacity - 1);
      while (grown[slot] != 0) slot = (slot + 1) & (capacity - 1);
      grown[slot] = h;
    }
    xcsFreeMemFn(prefixes_);
    prefixes_ = grown;
    prefix_capacity_ = capacity;
  }
  ForEachPrefixHash(name, length, family_, [&](uint64_t h) {
    uint32_t slot = static_cast<uint32_t>(h) & (prefix_capacity_ - 1);
    while (prefixes_[slot] != 0) {
      if (prefixes_[slot] == h) return;
      slot = (slot + 1) & (prefix_capacity_ - 1);
    }
    if (prefix_count_ * 2 + 2 >= prefix_capacity_) return;  // full: a later call grows it
    prefixes_[slot] = h;
    ++prefix_count_;
  });
}

bool FolderSession::CanAppendAtEnd(const uint8_t* name, uint32_t length) {
  if (!fast_ || pal_->pProps == nullptr || !HeaderUsable(pal_) || VerifyRequested(pal_)) {
    return false;
  }
  const ZRFPROPS* list = pal_->pProps;
  if (list->CCSID != ccsid_ || list->CCSIDType != family_) return false;
  if (last_node_ == 0) return list->StrucLen == kHeaderLength;
  NodeView last{};
  if (!DecodeNode(ListBytes(list) + last_node_, list->StrucLen - last_node_, &last) ||
      last_node_ + last.length != list->StrucLen) {
    return false;
  }
  const uint32_t shared = SharedLeadingParts(last.name, last.name_length, name, length, family_);
  // The name's first shared + 1 parts must be new to the list.
  uint32_t depth = 0;
  bool known = true;
  bool reached = false;
  ForEachPrefixHash(name, length, family_, [&](uint64_t h) {
    if (reached) return;
    if (depth++ != shared) return;
    reached = true;
    uint32_t slot = static_cast<uint32_t>(h) & (prefix_capacity_ - 1);
    known = false;
    if (prefix_capacity_ == 0) return;
    while (prefixes_[slot] != 0) {
      if (prefixes_[slot] == h) {
        known = true;
        return;
      }
      slot = (slot + 1) & (prefix_capacity_ - 1);
    }
  });
  return reached && !known;
}

// The property with its name and text value turned round to the other UCS-2
// byte order in `buffer` when `swap`; as it is otherwise.
static KWLONG Turned(const ParsedProperty& property, bool swap, ScratchBuffer* buffer,
                     ParsedProperty* out) {
  *out = property;
  if (!swap) return KWRC_NONE;
  const bool text = IsTextValue(property.type);
  const uint32_t valueBytes = text ? property.value_length : 0;
  buffer->Resize(0);
  if (const KWLONG reason = buffer->Reserve(uint64_t{property.name_length} + valueBytes);
      reason != KWRC_NONE) {
    return reason;
  }
  uint8_t* turned = buffer->data();
  auto turn = [](const uint8_t* from, uint32_t length, uint8_t* to) {
    for (uint32_t i = 0; i + 1 < length; i += 2) {
      to[i] = from[i + 1];
      to[i + 1] = from[i];
    }
    if (length % 2 != 0) to[length - 1] = from[length - 1];
  };
  turn(property.name, property.name_length, turned);
  out->name = turned;
  if (text) {
    turn(property.value, property.value_length, turned + property.name_length);
    out->value = turned + property.name_length;
  }
  return KWRC_NONE;
}

KWLONG FolderSession::AddThroughStore(const ParsedProperty& property, uint32_t fn) {
  if (const KWLONG reason = SaveListForRollback(); reason != KWRC_NONE) return reason;
  // The store converts UCS-2 text as least significant byte first, and
  // copies text of the list's own CCSID as it stands: give it the byte
  // order it will read.
  bool swap = false;
  if (IsUcs2(family_)) {
    const ZRFPROPS* list = pal_->Size >= kHeaderLength ? pal_->pProps : nullptr;
    const bool isBig = family_ == XCS_CCSID_TYPE_BUCS2;
    bool wantBig = false;
    if (list != nullptr && list->CCSID == ccsid_) {
      wantBig = IsUcs2(list->CCSIDType) ? list->CCSIDType == XCS_CCSID_TYPE_BUCS2 : isBig;
    }
    swap = wantBig != isBig;
  }
  ParsedProperty ready{};
  if (const KWLONG reason = Turned(property, swap, &swapped_, &ready); reason != KWRC_NONE) {
    return reason;
  }
  KWPD pd{};
  std::memcpy(pd.StrucId, KWPD_STRUC_ID, sizeof pd.StrucId);
  pd.Version = KWPD_VERSION_1;
  pd.Support = static_cast<KWLONG>(ready.support);
  pd.Context = ready.user_context ? KWPD_USER_CONTEXT : KWPD_NO_CONTEXT;
  pd.CopyOptions = ready.copy_options;
  const KWLONG reason = AppendProperty(pal_, ready.name, ready.name_length, ccsid_, ready.type,
                                       ready.value, ready.value_length, &pd, nullptr, fn);
  if (reason != KWRC_NONE) return reason;
  FindLastNode();
  return KWRC_NONE;
}

KWLONG FolderSession::Add(const ParsedProperty& property, uint32_t fn) {
  NameId id = ZRF_NAME_NONE;
  if (const KWLONG reason = ValidatePropertyName(
          property.name, static_cast<KWLONG>(property.name_length), ccsid_, family_, &id);
      reason != KWRC_NONE) {
    return reason;
  }
  if (ctx_->pMsgDesc != nullptr && id != ZRF_NAME_NONE) {
    if (const DescriptorMapping* mapping = FindDescriptorMapping(id)) {
      KWULONG fields = ctx_->pMsgDescFieldsSet != nullptr ? *ctx_->pMsgDescFieldsSet : 0;
      // Descriptor text is converted as least significant byte first too.
      ParsedProperty ready{};
      if (const KWLONG reason =
              Turned(property, family_ == XCS_CCSID_TYPE_BUCS2, &swapped_, &ready);
          reason != KWRC_NONE) {
        return reason;
      }
      const KWLONG reason =
          WriteDescriptorProperty(ctx_->pMsgDesc, &fields, *mapping, ready.type, ready.value,
                                  ready.value_length, ccsid_, nullptr, fn);
      if (reason == KWRC_NONE) {
        if (ctx_->pMsgDescFieldsSet != nullptr) *ctx_->pMsgDescFieldsSet = fields;
        return KWRC_NONE;
      }
      // A value the field cannot take is kept as an ordinary property.
      xtr_text_detail(kComponent, fn, "Descriptor field refused the value (%d); kept in the list",
                      reason);
    }
  }

  if (CanAppendAtEnd(property.name, property.name_length)) {
    NodeSpec spec;
    spec.type_flags = property.type | (property.user_context ? ZRF_FLAG_USER_CONTEXT : 0u);
    spec.support = property.support;
    spec.copy_options = property.copy_options;
    spec.name = property.name;
    spec.name_length = property.name_length;
    spec.value = property.value;
    spec.value_length = property.value_length;
    spec.value_ccsid = ccsid_;
    if (const KWLONG reason = CheckNodeSpec(spec, fn); reason != KWRC_NONE) return reason;
    const uint32_t at = pal_->pProps->StrucLen;
    if (const KWLONG reason = AppendNodeAtEnd(pal_, spec); reason != KWRC_NONE) return reason;
    last_node_ = at;
  } else if (const KWLONG reason = AddThroughStore(property, fn); reason != KWRC_NONE) {
    return reason;
  }
  RememberPrefixes(property.name, property.name_length);
  return KWRC_NONE;
}

}  // namespace zxv::props
