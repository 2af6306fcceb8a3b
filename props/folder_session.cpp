// Appending parsed properties to a list: name check, descriptor fields, the
// end-of-list fast path and the per-folder rollback (folder_session.h).
#include "props/folder_session.h"

#include <cstring>

#include "props/descriptor_fields.h"
#include "props/folder_node_append.h"
#include "props/name_parts.h"
#include "props/property_names.h"
#include "props/property_store.h"
#include "zxvxcs2/xcs_ccsid.h"
#include "zxvxcs2/xcs_memory.h"
#include "zxvxcs2/xcs_trace.h"

namespace zxv::props {
namespace {

constexpr uint32_t kProbeScratch = 1;
constexpr uint32_t kInitialPrefixCapacity = 256;

bool IsUcs2(uint8_t family) {
  return family == XCS_CCSID_TYPE_LUCS2 || family == XCS_CCSID_TYPE_BUCS2;
}

}  // namespace

// ---------------------------------------------------------------------------
ScratchBuffer::~ScratchBuffer() {
  if (data_ != inline_) xcsFreeMemFn(data_);
}

KWLONG ScratchBuffer::Grow(uint64_t more) {
  const uint64_t need = uint64_t{size_} + more;
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

// ---------------------------------------------------------------------------
FolderSession::FolderSession(ZRFPAL* pal, ZRFFOLDERCTX* ctx) : pal_(pal), ctx_(ctx) {
  // The fast path needs to know every node: only a list that starts empty.
  fast_ = pal_->pProps == nullptr || pal_->Size < kHeaderLength ||
          (HeaderUsable(pal_) && pal_->pProps->StrucLen == kHeaderLength);
}

FolderSession::~FolderSession() {
  if (prefixes_ != inline_prefixes_) xcsFreeMemFn(prefixes_);
}

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
  // The nodes the folder found in the list are as they were unless the
  // store changed them (then the copy taken before its first change holds
  // them). The header counts are set apart from the copy: appends at the
  // end before that change had already counted their nodes in it.
  if (saved_) std::memcpy(ListBytes(pal_->pProps), saved_list_.data(), struc_len_);
  pal_->pProps->StrucLen = struc_len_;
  pal_->pProps->PropsLen = props_len_;
  // Prefixes of the removed nodes stay in the set: they can only send later
  // names the slow way, never place one wrongly.
  FindLastNode();
}

// Splits a name at the family's full stops into `out` (at most
// kMaxNameParts parts; false for more).
static bool SplitName(const uint8_t* name, uint32_t length, uint8_t family, uint32_t* ends,
                      uint64_t* hashes, uint32_t* count) {
  const FamilyChar stop = FullStopOf(family);
  uint32_t n = 0;
  uint32_t start = 0;
  uint64_t h = kPrefixHashStart;
  for (;;) {
    const uint32_t end = NamePartEnd(name, length, start, family);
    if (n == kMaxNameParts) return false;
    h = ContinuePrefixHash(h, name + start, end - start);
    ends[n] = end;
    hashes[n] = h;
    ++n;
    if (end >= length || stop.length == 0) break;
    start = end + stop.length;
  }
  *count = n;
  return true;
}

void FolderSession::FindLastNode() {
  last_node_ = 0;
  last_count_ = 0;
  if (pal_->pProps == nullptr) return;
  uint32_t offset = kHeaderLength;
  NodeView last{};
  ForEachNode(pal_->pProps, [&](const NodeView& node) {
    last_node_ = offset;
    last = node;
    offset += node.length;
    return true;
  });
  if (last_node_ != 0 &&
      !SplitName(last.name, last.name_length, family_, last_ends_, last_hashes_, &last_count_)) {
    fast_ = false;
  }
}

bool FolderSession::GrowPrefixes() {
  uint32_t capacity = prefix_capacity_ * 2;
  uint64_t* grown = nullptr;
  if (prefix_capacity_ == 0 && prefix_hint_ <= kInlinePrefixes / 2) {
    // A header of a few dozen properties: the set inside the session, no
    // allocation.
    capacity = kInlinePrefixes;
    grown = inline_prefixes_;
  } else {
    if (prefix_capacity_ == 0) {
      // At most half full with the prefixes expected.
      capacity = kInitialPrefixCapacity;
      while (capacity < (1u << 20) && capacity / 2 < prefix_hint_) capacity *= 2;
    }
    void* block = nullptr;
    if (capacity > (1u << 26) ||
        xcsGetMemFn(uint64_t{capacity} * sizeof(uint64_t), &block) != xcsRC_OK) {
      return false;
    }
    grown = static_cast<uint64_t*>(block);
  }
  std::memset(grown, 0, uint64_t{capacity} * sizeof(uint64_t));
  for (uint32_t i = 0; i < prefix_capacity_; ++i) {
    const uint64_t old = prefixes_[i];
    if (old == 0) continue;
    uint32_t slot = static_cast<uint32_t>(old) & (capacity - 1);
    while (grown[slot] != 0) slot = (slot + 1) & (capacity - 1);
    grown[slot] = old;
  }
  if (prefixes_ != inline_prefixes_) xcsFreeMemFn(prefixes_);
  prefixes_ = grown;
  prefix_capacity_ = capacity;
  return true;
}

// Leading parts the name shares with the last node's name.
inline uint32_t FolderSession::SharedWithLast(const ParsedProperty& property,
                                              const NameParts& parts) const {
  uint32_t k = 0;
  const uint32_t n = parts.count < last_count_ ? parts.count : last_count_;
  while (k < n && parts.ends[k] == last_ends_[k] && parts.hashes[k] == last_hashes_[k]) ++k;
  if (k == 0) return 0;
  // The hashes only pointed the way: the bytes decide.
  NodeView last{};
  if (!DecodeNode(ListBytes(pal_->pProps) + last_node_, pal_->pProps->StrucLen - last_node_,
                  &last) ||
      last.name_length < parts.ends[k - 1] ||
      std::memcmp(last.name, property.name, parts.ends[k - 1]) != 0) {
    return UINT32_MAX;
  }
  return k;
}

// True when the store would put the name behind the list's last node; then
// the name's prefixes from *rememberFrom on are still to be remembered.
inline bool FolderSession::CanAppendAtEnd(const ParsedProperty& property, const NameParts& parts,
                                          uint32_t* rememberFrom) {
  if (!fast_ || pal_->pProps == nullptr || pal_->Size < kHeaderLength || VerifyRequested(pal_)) {
    return false;
  }
  const ZRFPROPS* list = pal_->pProps;
  if (list->CCSID != ccsid_ || list->CCSIDType != family_) return false;
  if (last_node_ == 0) {
    *rememberFrom = 0;
    return list->StrucLen == kHeaderLength;
  }
  const uint32_t k = SharedWithLast(property, parts);
  // The store puts a new name after the last node that shares the most
  // parts with it: that is the list's last node unless another node has
  // the name's first k + 1 parts (or the name itself). Asking the set
  // also puts those parts in it.
  if (k >= parts.count) return false;
  *rememberFrom = k + 1;
  return AddPrefix(parts.hashes[k]);
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

// True when a name may be one of the reserved words, which are whole names
// of 2 to 12 letters (the longest is "synchronized"), or begins "Body." or
// "Properties.": any other character, or more of them, rules a word out.
static bool MayBeReserved(const uint8_t* name, uint32_t length, uint8_t family) {
  constexpr uint32_t kLongestReservedWord = 12;
  struct Letters {
    bool ascii[256];
    bool ebcdic[256];
  };
  static constexpr Letters kLetters = [] {
    Letters t{};
    for (uint32_t u = 0; u < 256; ++u) {
      t.ascii[u] = (u >= 'a' && u <= 'z') || (u >= 'A' && u <= 'Z');
      t.ebcdic[u] = (u >= 0x81 && u <= 0xA9) || (u >= 0xC1 && u <= 0xE9);
    }
    return t;
  }();
  const bool ebcdic = family == XCS_CCSID_TYPE_EBCDIC;
  if (!IsUcs2(family)) {
    const uint8_t first = name[0];
    if (first == (ebcdic ? 0xC2u : uint32_t{'B'}) || first == (ebcdic ? 0xD7u : uint32_t{'P'})) {
      return true;
    }
    if (length > kLongestReservedWord) return false;
    const bool* letter = ebcdic ? kLetters.ebcdic : kLetters.ascii;
    for (uint32_t at = 0; at < length; ++at) {
      if (!letter[name[at]]) return false;
    }
    return true;
  }
  auto unitAt = [&](uint32_t at) -> uint32_t {
    return family == XCS_CCSID_TYPE_BUCS2 ? (uint32_t{name[at]} << 8) | name[at + 1]
                                          : name[at] | (uint32_t{name[at + 1]} << 8);
  };
  const uint32_t first = unitAt(0);
  if (first == 'B' || first == 'P') return true;
  if (length / 2 > kLongestReservedWord) return false;
  for (uint32_t at = 0; at + 2 <= length; at += 2) {
    const uint32_t u = unitAt(at);
    if (u >= 0x100 || !kLetters.ascii[u]) return false;
  }
  return true;
}

// The check of ValidatePropertyName (characters, reserved words, known
// names), the reserved words looked at only where one can match.
KWLONG FolderSession::CheckName(const ParsedProperty& property, KWLONG* id) const {
  NameFamily family = NameFamily::kUnknown;
  if (const KWLONG reason =
          CheckNameCharacters(property.name, property.name_length, ccsid_, family_, &family);
      reason != KWRC_NONE) {
    return reason;
  }
  const NameBytes name{property.name, property.name_length, family};
  if (MayBeReserved(property.name, property.name_length, family_)) {
    if (const KWLONG reason = CheckReservedWords(name); reason != KWRC_NONE) return reason;
  }
  return CheckForKnownName(name, id);
}

KWLONG FolderSession::Add(const ParsedProperty& property, const NameParts* given, uint32_t fn) {
  NameId id = ZRF_NAME_NONE;
  if (const KWLONG reason = CheckName(property, &id); reason != KWRC_NONE) return reason;
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

  uint32_t ends[kMaxNameParts];
  uint64_t hashes[kMaxNameParts];
  NameParts split{ends, hashes, 0};
  const NameParts* parts = given;
  if (parts == nullptr) {
    if (!SplitName(property.name, property.name_length, family_, ends, hashes, &split.count)) {
      fast_ = false;
    }
    parts = &split;
  }
  uint32_t rememberFrom = 0;
  if (CanAppendAtEnd(property, *parts, &rememberFrom)) {
    uint32_t at = 0;
    if (const KWLONG reason = AppendParsedNode(pal_, property, &at); reason != KWRC_NONE) {
      return reason;
    }
    last_node_ = at;
    RememberLast(*parts, rememberFrom);
    return KWRC_NONE;
  }
  if (const KWLONG reason = AddThroughStore(property, fn); reason != KWRC_NONE) return reason;
  // Names converted into another CCSID are not the bytes the set hashed:
  // from here on only the store knows where names are.
  if (pal_->pProps->CCSID != ccsid_ || pal_->pProps->CCSIDType != family_) fast_ = false;
  // The node may have gone anywhere: FindLastNode (in AddThroughStore)
  // found the list's last one; every prefix of this name is now known.
  for (uint32_t i = 0; i < parts->count; ++i) RememberPrefix(parts->hashes[i]);
  return KWRC_NONE;
}

}  // namespace zxv::props
