// Writing a property list as KWRFH2 folders (zrfConvertAllPropertiesToKWRFH2,
// zrfConvertPropertyToKWRFH2): one writer per encoding family of the folder
// text, the markup spelled in the family's own units, names and string
// values converted from the list's CCSID only when it differs. What goes
// where, and the text of each type, are set out in
// include/zxvxzu/props_header.h.
#include <algorithm>
#include <cstring>
#include <iterator>
#include <string_view>

#include "props/folder_parser.h"
#include "props/props_text_scan.h"
#include "props/props_writer.h"
#include "props/rfh2_family.h"
#include "props/value_escape.h"
#include "zxvxcs2/xcs_erdp.h"
#include "zxvxcs2/xcs_memory.h"
#include "zxvxcs2/xcs_trace.h"

namespace zxv::props {
namespace {

using scan::EscapeBytes;

constexpr uint32_t kProbeOut = 1;
constexpr uint32_t kProbeDamaged = 3;

// Units of markup around one element beyond its names and value: the tags'
// brackets and the longest set of attributes (dt, xsi:nil, context, support
// and every copy word).
constexpr uint32_t kMarkupUnits = 192;
// Units of markup per tag of a group (open and close: "<", ">", "</", ">").
constexpr uint32_t kGroupTagUnits = 5;
constexpr uint32_t kFolderAlignment = 4;
constexpr uint32_t kSupportDigits = 8;
constexpr uint32_t kBucketCount = 2 * kFolderCount;  // compatible, then not

// Leaf names of the jms folder that the parser reads as numbers when they
// have no dt.
constexpr std::string_view kJmsInt32Leaves[] = {"Dlv", "Pri", "Seq"};
constexpr std::string_view kJmsInt64Leaves[] = {"Exp", "Tms"};

// Nodes that the first pass keeps, decoded and placed, so that each
// folder's pass visits only its own nodes; longer lists are walked once
// per folder.
constexpr uint32_t kSlotCache = 256;
constexpr uint32_t kNoSlot = UINT32_MAX;

// A node as the first pass keeps it: what writing it needs, in 36 bytes.
struct Slot {
  uint32_t offset;  // of the node in the list
  uint32_t next;    // the bucket's next slot
  uint32_t type_flags;
  uint32_t support;
  uint32_t value_at;  // offsets in the node
  uint32_t value_length;
  uint16_t name_length;
  uint8_t name_at;
  uint8_t copy_options;
  uint16_t first_stop;  // the placement
  uint16_t last_stop;
  uint8_t folder;
  uint8_t elt;

  static Slot Of(const NodeView& node, uint32_t offset, const Placement& placement) {
    return Slot{offset,
                kNoSlot,
                node.type_flags,
                node.support,
                static_cast<uint32_t>(node.value - node.node),
                node.value_length,
                static_cast<uint16_t>(node.name_length),
                static_cast<uint8_t>(node.name - node.node),
                static_cast<uint8_t>(node.copy_options),
                static_cast<uint16_t>(placement.first_stop),
                static_cast<uint16_t>(placement.last_stop),
                static_cast<uint8_t>(placement.folder),
                static_cast<uint8_t>(placement.elt)};
  }
  NodeView View(const ZRFPROPS* list) const {
    NodeView view{};
    view.node = ListBytes(list) + offset;
    view.type_flags = type_flags;
    view.support = support;
    view.copy_options = copy_options;
    view.name = view.node + name_at;
    view.name_length = name_length;
    view.value = view.node + value_at;
    view.value_length = value_length;
    return view;
  }
  Placement Place() const {
    return Placement{static_cast<FolderId>(folder), elt, first_stop, last_stop};
  }
};
// Name lengths are 16-bit in a node, so are the stops of a placement;
// copy options fit in a byte.
static_assert(sizeof(Slot) == 36);

struct CopyWord {
  uint32_t bit;
  std::string_view word;
};
constexpr CopyWord kCopyWords[] = {{KWCOPY_ALL, "all"},
                                   {KWCOPY_FORWARD, "forward"},
                                   {KWCOPY_PUBLISH, "publish"},
                                   {KWCOPY_REPLY, "reply"},
                                   {KWCOPY_REPORT, "report"}};

// The list being written.
struct Source {
  const ZRFPROPS* list;
  uint8_t family;
  TextCodes codes;
};

// What the folders are written in.
struct Target {
  TextCodes codes;  // NameValueCCSID, and the header's encoding for UCS-2
  uint8_t family;
  bool same_text;  // names and strings of the list are already in it
  bool reversed;   // the header's integers
};

uint32_t BucketOf(const Placement& placement, const NodeView& node) {
  const uint32_t folder = static_cast<uint32_t>(placement.folder);
  return IsCompatibleSupport(node.support) ? folder : kFolderCount + folder;
}

bool IsTextNode(uint32_t typeFlags) {
  return (typeFlags & ZRF_FLAG_STRING_FORM) != 0 || (typeFlags & ZRF_TYPE_MASK) == ZRF_TYPE_STRING;
}

template <typename T>
bool IsWordIn(const uint8_t* text, uint32_t bytes, std::string_view word) {
  const size_t n = word.size();
  if (bytes != n * T::kUnitBytes) return false;
  for (size_t i = 0; i < n; ++i) {
    if (T::Load(text + i * T::kUnitBytes) != T::Char(word[i])) return false;
  }
  return true;
}

template <typename T, size_t N>
bool IsOneOf(const uint8_t* text, uint32_t bytes, const std::string_view (&words)[N]) {
  for (const std::string_view w : words) {
    if (IsWordIn<T>(text, bytes, w)) return true;
  }
  return false;
}

// Writes the folders of family T into the output buffer. The writing
// helpers take and return the write position, which stays in a register:
// a member pointer would be reloaded after every byte written, since the
// bytes may alias anything.
template <typename T>
class FolderWriter {
  static constexpr uint32_t kStep = T::kUnitBytes;
  // Markup characters are their ASCII bytes.
  static constexpr bool kAsciiUnits =
      T::kCcsidType == XCS_CCSID_TYPE_ASCII || T::kCcsidType == XCS_CCSID_TYPE_UTF8;

 public:
  FolderWriter(const Source& source, const Target& target, ZRFHDRBUF* out, uint32_t fn)
      : source_(source),
        target_(target),
        out_(out),
        fn_(fn),
        escape_(EscapeRoutinesFor(T::kCcsidType)) {}
  FolderWriter(const FolderWriter&) = delete;
  FolderWriter& operator=(const FolderWriter&) = delete;

  // A folder is written as BeginFolder, WriteElement for each of its
  // nodes in list order, and EndFolder, which ends its text, pads it and
  // sets its NameValueLength.
  KWLONG BeginFolder(FolderId folder);
  KWLONG WriteElement(const NodeView& node, const Placement& placement, FolderId folder);
  KWLONG EndFolder(FolderId folder);

 private:
  static uint8_t* Put(uint8_t* p, char c) {
    T::Store(p, T::Char(c));
    return p + kStep;
  }
  static uint8_t* PutAscii(uint8_t* p, const char* s, uint32_t n) {
    if constexpr (kAsciiUnits) {
      return CopyShort(p, reinterpret_cast<const uint8_t*>(s), n);
    } else {
      for (uint32_t i = 0; i < n; ++i) p = Put(p, s[i]);
      return p;
    }
  }
  static uint8_t* PutAscii(uint8_t* p, std::string_view s) {
    return PutAscii(p, s.data(), static_cast<uint32_t>(s.size()));
  }
  // An attribute of up to 16 characters, with 16 bytes of room.
  static uint8_t* PutBlock(uint8_t* p, const AttributeBlock& b) {
    if constexpr (kAsciiUnits) {
      std::memcpy(p, b.text, sizeof b.text);
      return p + b.length;
    } else {
      return PutAscii(p, b.text, b.length);
    }
  }
  uint8_t* PutEscaped(uint8_t* p, const uint8_t* text, uint32_t n) const {
    if constexpr (kStep == 1) {
      return EscapeBytes<T>(p, text, n);
    } else {
      uint32_t used = 0;
      if (n != 0) escape_->expand(text, n, p, &used);
      return p + used;
    }
  }
  // An attribute value in apostrophes: "'" as &apos; besides the family's
  // escapes.
  uint8_t* PutEscapedAttribute(uint8_t* p, const uint8_t* text, uint32_t n) const;
  static uint8_t* PutHex(uint8_t* p, const uint8_t* bytes, uint32_t n);
  static uint8_t* PutTag(uint8_t* p, bool close, const uint8_t* name, uint32_t n) {
    p = Put(p, '<');
    if (close) p = Put(p, '/');
    p = CopyShort(p, name, n);
    return Put(p, '>');
  }

  uint8_t* Cursor() const { return out_->pBuffer + out_->Length; }
  void Done(const uint8_t* p) { out_->Length = static_cast<KWULONG>(p - out_->pBuffer); }
  KWLONG Reserve(uint64_t more) {
    if (uint64_t{out_->Length} + more <= out_->Size) return KWRC_NONE;
    return ReserveFolderOut(out_, more);
  }

  KWLONG NameOf(const NodeView& node, const uint8_t** name, uint32_t* length);
  uint8_t* WriteAttributes(uint8_t* p, const NodeView& node, FolderId folder, bool nested,
                           const uint8_t* leaf, uint32_t leafBytes) const;
  static uint8_t* WriteRareAttributes(uint8_t* p, const NodeView& node);
  uint8_t* SwitchGroups(uint8_t* p, const uint8_t* groups, uint32_t groupsBytes);
  uint8_t* CloseGroupsFrom(uint8_t* p, uint32_t keep);
  // Bytes of the names of the open groups, at most.
  uint64_t OpenGroupBytes() const { return open_ == 0 ? 0 : group_end_[open_ - 1]; }

  // The position of the last (or first) full stop in name[from, length),
  // or `length` (`from`) when there is none.
  static uint32_t LastStop(const uint8_t* name, uint32_t from, uint32_t length);
  static uint32_t FirstStop(const uint8_t* name, uint32_t length);

  const Source& source_;
  const Target& target_;
  ZRFHDRBUF* out_;
  uint32_t fn_;
  const EscapeRoutines* escape_;
  // Names converted into the folder's CCSID, in turns: the open groups are
  // parts of the previous name, which must outlive the next conversion.
  ScratchBytes name_scratch_[2];
  uint32_t name_turn_ = 0;
  ScratchBytes value_scratch_;

  uint32_t length_at_ = 0;  // of the folder being written

  // The groups open in the folder being written: the group parts of the
  // last element's name (from group_base_), where each begins and ends.
  const uint8_t* group_base_ = nullptr;
  uint32_t open_ = 0;
  uint32_t group_start_[kMaxNestedParts + 1];
  uint32_t group_end_[kMaxNestedParts + 1];
};

template <typename T>
uint8_t* FolderWriter<T>::PutEscapedAttribute(uint8_t* p, const uint8_t* text, uint32_t n) const {
  uint32_t start = 0;
  for (uint32_t at = 0; at + kStep <= n; at += kStep) {
    if (T::Load(text + at) != T::Char('\'')) continue;
    p = PutEscaped(p, text + start, at - start);
    p = PutAscii(p, "&apos;");
    start = at + kStep;
  }
  return PutEscaped(p, text + start, n - start);
}

template <typename T>
uint8_t* FolderWriter<T>::PutHex(uint8_t* p, const uint8_t* bytes, uint32_t n) {
  for (uint32_t i = 0; i < n; ++i) {
    const char* pair = kHexPairs.pair[bytes[i]];
    if constexpr (kAsciiUnits) {
      std::memcpy(p, pair, 2);
      p += 2;
    } else {
      p = Put(p, pair[0]);
      p = Put(p, pair[1]);
    }
  }
  return p;
}

// Names are short: a plain loop beats a library call.
template <typename T>
uint32_t FolderWriter<T>::LastStop(const uint8_t* name, uint32_t from, uint32_t length) {
  for (uint32_t at = length; at >= from + kStep; at -= kStep) {
    if (T::Load(name + at - kStep) == T::Char('.')) return at - kStep;
  }
  return length;
}

template <typename T>
uint32_t FolderWriter<T>::FirstStop(const uint8_t* name, uint32_t length) {
  for (uint32_t at = 0; at + kStep <= length; at += kStep) {
    if (T::Load(name + at) == T::Char('.')) return at;
  }
  return length;
}

template <typename T>
KWLONG FolderWriter<T>::NameOf(const NodeView& node, const uint8_t** name, uint32_t* length) {
  if (target_.same_text) {
    *name = node.name;
    *length = node.name_length;
    return KWRC_NONE;
  }
  name_turn_ ^= 1;
  return ConvertText(source_.codes, target_.codes, node.name, node.name_length,
                     &name_scratch_[name_turn_], name, length, fn_, false);
}

template <typename T>
uint8_t* FolderWriter<T>::CloseGroupsFrom(uint8_t* p, uint32_t keep) {
  while (open_ > keep) {
    --open_;
    const uint32_t begin = group_start_[open_];
    p = PutTag(p, true, group_base_ + begin, group_end_[open_] - begin);
  }
  return p;
}

// Makes the open groups those of `groups` (groupsBytes bytes of name parts,
// each ended by a full stop): closes the open ones it does not share and
// opens the rest. The open groups then point into `groups`, which must stay
// in place until the next switch.
template <typename T>
uint8_t* FolderWriter<T>::SwitchGroups(uint8_t* p, const uint8_t* groups, uint32_t groupsBytes) {
  // Most often the groups are those of the element before.
  if (open_ != 0 && group_end_[open_ - 1] + kStep == groupsBytes &&
      std::memcmp(group_base_, groups, groupsBytes) == 0) {
    group_base_ = groups;
    return p;
  }
  uint32_t starts[kMaxNestedParts + 1];
  uint32_t ends[kMaxNestedParts + 1];
  uint32_t n = 0;
  uint32_t start = 0;
  for (uint32_t at = 0; at < groupsBytes && n <= kMaxNestedParts; at += kStep) {
    if (T::Load(groups + at) != T::Char('.')) continue;
    starts[n] = start;
    ends[n] = at;
    ++n;
    start = at + kStep;
  }
  uint32_t shared = 0;
  while (shared < n && shared < open_) {
    const uint32_t bytes = group_end_[shared] - group_start_[shared];
    if (bytes != ends[shared] - starts[shared] ||
        std::memcmp(group_base_ + group_start_[shared], groups + starts[shared], bytes) != 0) {
      break;
    }
    ++shared;
  }
  p = CloseGroupsFrom(p, shared);
  for (uint32_t g = shared; g < n; ++g) {
    p = PutTag(p, false, groups + starts[g], ends[g] - starts[g]);
  }
  group_base_ = groups;
  std::memcpy(group_start_, starts, n * sizeof starts[0]);
  std::memcpy(group_end_, ends, n * sizeof ends[0]);
  open_ = n;
  return p;
}

template <typename T>
uint8_t* FolderWriter<T>::WriteAttributes(uint8_t* p, const NodeView& node, FolderId folder,
                                          bool nested, const uint8_t* leaf,
                                          uint32_t leafBytes) const {
  const uint32_t code = node.type_flags & ZRF_TYPE_MASK;
  const bool jmsLeaf = folder == FolderId::kJms && !nested;
  if (code == ZRF_TYPE_STRING) {
    // (A string is always text.)
    if (jmsLeaf && (IsOneOf<T>(leaf, leafBytes, kJmsInt32Leaves) ||
                    IsOneOf<T>(leaf, leafBytes, kJmsInt64Leaves))) {
      p = PutBlock(p, kStringBlock);
    }
  } else if (code < ZRF_TYPE_COUNT) {
    // Null first: xsi:nil whatever the form.
    const bool implied =
        jmsLeaf && code != ZRF_TYPE_NULL && (node.type_flags & ZRF_FLAG_STRING_FORM) == 0 &&
        ((code == ZRF_TYPE_INT32 && IsOneOf<T>(leaf, leafBytes, kJmsInt32Leaves)) ||
         (code == ZRF_TYPE_INT64 && IsOneOf<T>(leaf, leafBytes, kJmsInt64Leaves)));
    if (!implied) p = PutBlock(p, kTypeBlocks.block[code]);
  }
  if ((node.type_flags & ZRF_FLAG_USER_CONTEXT) != 0 || node.support != KWPD_SUPPORT_OPTIONAL ||
      (node.copy_options & KWCOPY_VALID_MASK) != KWCOPY_DEFAULT) {
    p = WriteRareAttributes(p, node);
  }
  return p;
}

// Context, Support and CopyOptions, which most properties leave alone.
template <typename T>
uint8_t* FolderWriter<T>::WriteRareAttributes(uint8_t* p, const NodeView& node) {
  if ((node.type_flags & ZRF_FLAG_USER_CONTEXT) != 0) p = PutAscii(p, " context='user'");
  if (node.support != KWPD_SUPPORT_OPTIONAL) {
    static constexpr char kDigits[] = "0123456789abcdef";
    p = PutAscii(p, " support='");
    for (uint32_t i = 0; i < kSupportDigits; ++i) {
      p = Put(p, kDigits[(node.support >> (4 * (kSupportDigits - 1 - i))) & 0xF]);
    }
    p = Put(p, '\'');
  }
  const uint32_t copy = node.copy_options & KWCOPY_VALID_MASK;
  if (copy != KWCOPY_DEFAULT) {
    p = PutAscii(p, " copy='");
    if (copy == KWCOPY_NONE) {
      p = PutAscii(p, "none");
    } else {
      bool first = true;
      for (const CopyWord& w : kCopyWords) {
        if ((copy & w.bit) == 0) continue;
        if (!first) p = Put(p, ',');
        p = PutAscii(p, w.word);
        first = false;
      }
    }
    p = Put(p, '\'');
  }
  return p;
}

template <typename T>
KWLONG FolderWriter<T>::WriteElement(const NodeView& node, const Placement& placement,
                                     FolderId folder) {
  const uint8_t* name = nullptr;
  uint32_t nameBytes = 0;
  if (const KWLONG reason = NameOf(node, &name, &nameBytes); reason != KWRC_NONE) return reason;

  // The value: text (converted into the folder's CCSID), bytes, or the
  // ASCII text of a number.
  const uint32_t code = node.type_flags & ZRF_TYPE_MASK;
  const bool text = IsTextNode(node.type_flags);
  const uint8_t* value = node.value;
  uint32_t valueBytes = node.value_length;
  uint64_t valueRoom = 0;
  if (text) {
    if (!target_.same_text) {
      if (const KWLONG reason =
              ConvertText(source_.codes, target_.codes, node.value, node.value_length,
                          &value_scratch_, &value, &valueBytes, fn_, false);
          reason != KWRC_NONE) {
        return reason;
      }
    }
    // Escaping makes a unit at most five units; sizing long values exactly
    // keeps the buffer from growing far beyond what they need.
    valueRoom = valueBytes <= kWorkBufferSize ? uint64_t{5} * valueBytes
                                              : escape_->escaped_size(value, valueBytes);
  } else if (code == ZRF_TYPE_BYTE_STRING || code == ZRF_TYPE_AS_STORED) {
    valueRoom = uint64_t{2} * kStep * valueBytes;
  } else if (code != ZRF_TYPE_NULL) {
    valueRoom = uint64_t{kStep} * kMaxValueText;
  }

  // Where the name's parts are: the first is the folder's own unless the
  // folder is usr; an elt element takes the whole name.
  uint32_t partsStart = 0;
  uint32_t leafStart = 0;
  if (!placement.elt) {
    // The placement knows where the full stops are in the list's text,
    // which is the folder's when no conversion was needed.
    const uint32_t first = target_.same_text ? placement.first_stop : FirstStop(name, nameBytes);
    if (folder != FolderId::kUsr) partsStart = first < nameBytes ? first + kStep : nameBytes;
    const uint32_t last =
        target_.same_text ? placement.last_stop : LastStop(name, partsStart, nameBytes);
    leafStart = last >= nameBytes || last < partsStart ? partsStart : last + kStep;
  }

  // Room: closing every open group, opening every group of the name, the
  // leaf's tags (an elt name attribute escapes each unit to at most six),
  // attributes and the value.
  const uint64_t room =
      OpenGroupBytes() + uint64_t{kGroupTagUnits} * kStep * (open_ + 1) + uint64_t{3} * nameBytes +
      uint64_t{kGroupTagUnits} * kStep * (nameBytes / kStep + 1) +
      (placement.elt ? uint64_t{6} * nameBytes : 0) + uint64_t{kMarkupUnits} * kStep + valueRoom;
  if (const KWLONG reason = Reserve(room); reason != KWRC_NONE) return reason;

  uint8_t* p = Cursor();
  const uint8_t* leaf = name + leafStart;
  const uint32_t leafBytes = nameBytes - leafStart;
  if (placement.elt) {
    p = CloseGroupsFrom(p, 0);
    p = PutAscii(p, "<elt name='");
    p = PutEscapedAttribute(p, name, nameBytes);
    p = Put(p, '\'');
  } else {
    if (leafStart > partsStart || open_ != 0) {
      p = SwitchGroups(p, name + partsStart, leafStart - partsStart);
    }
    p = Put(p, '<');
    p = CopyShort(p, leaf, leafBytes);
  }
  p = WriteAttributes(p, node, folder, leafStart > partsStart, leaf, leafBytes);
  if (code == ZRF_TYPE_NULL) {
    Done(PutAscii(p, "/>"));
    return KWRC_NONE;
  }
  p = Put(p, '>');
  if (text) {
    p = PutEscaped(p, value, valueBytes);
  } else if (code == ZRF_TYPE_BYTE_STRING || code == ZRF_TYPE_AS_STORED) {
    p = PutHex(p, value, valueBytes);
  } else if constexpr (kAsciiUnits) {
    p += FormatFixedValue(code, node.value, reinterpret_cast<char*>(p));
  } else {
    char number[kMaxValueText];
    p = PutAscii(p, number, FormatFixedValue(code, node.value, number));
  }
  p = placement.elt ? PutAscii(p, "</elt>") : PutTag(p, true, leaf, leafBytes);
  Done(p);
  return KWRC_NONE;
}

template <typename T>
KWLONG FolderWriter<T>::BeginFolder(FolderId folder) {
  const std::string_view folderName = FolderNameOf(folder);
  const auto folderChars = static_cast<uint32_t>(folderName.size());
  if (const KWLONG reason = Reserve(kFolderLengthBytes + uint64_t{kStep} * (folderChars + 2));
      reason != KWRC_NONE) {
    return reason;
  }
  length_at_ = out_->Length;
  uint8_t* p = Cursor() + kFolderLengthBytes;
  p = Put(p, '<');
  p = PutAscii(p, folderName);
  Done(Put(p, '>'));
  return KWRC_NONE;
}

template <typename T>
KWLONG FolderWriter<T>::EndFolder(FolderId folder) {
  // The end tags, and blanks up to a multiple of 4 bytes.
  const std::string_view folderName = FolderNameOf(folder);
  const auto folderChars = static_cast<uint32_t>(folderName.size());
  if (const KWLONG reason =
          Reserve(OpenGroupBytes() + uint64_t{kGroupTagUnits} * kStep * (open_ + 1) +
                  uint64_t{kStep} * (folderChars + 3) + kFolderAlignment);
      reason != KWRC_NONE) {
    return reason;
  }
  uint8_t* p = CloseGroupsFrom(Cursor(), 0);
  p = Put(p, '<');
  p = Put(p, '/');
  p = PutAscii(p, folderName);
  p = Put(p, '>');
  while ((p - out_->pBuffer - length_at_ - kFolderLengthBytes) % kFolderAlignment != 0) {
    p = Put(p, ' ');
  }
  Done(p);
  StoreInt(out_->pBuffer + length_at_,
           static_cast<int32_t>(out_->Length - length_at_ - kFolderLengthBytes), target_.reversed);
  return KWRC_NONE;
}

// Sets up source and target; 2111 when either has no encoding family.
KWLONG Prepare(const ZRFPROPS* list, const ZRFHDROPTS& opts, Source* source, Target* target) {
  source->list = list;
  source->family = ListFamilyOf(list);
  source->codes = ListCodesOf(list);
  target->codes = TextCodes{opts.NameValueCCSID, opts.Encoding};
  target->family = FolderFamilyOf(opts.NameValueCCSID, opts.Encoding);
  target->reversed = ReversedIntegers(opts.Encoding);
  if (source->family == XCS_CCSID_TYPE_UNKNOWN || target->family == XCS_CCSID_TYPE_UNKNOWN) {
    return KWRC_SOURCE_CCSID_ERROR;
  }
  target->same_text =
      source->codes.ccsid == opts.NameValueCCSID && source->family == target->family;
  return KWRC_NONE;
}

// The fixed part of a KWRFH2 at `at`.
void WriteFixedPart(uint8_t* at, const ZRFHDROPTS& opts, uint32_t strucLength) {
  const bool reversed = ReversedIntegers(opts.Encoding);
  const int32_t ccsid = ChainCcsid(kUtf8Ccsid, opts.CCSID);
  if (ccsid == kUtf8Ccsid || ccsid == kLocalCcsid) {
    // The machine's own characters: WriteChainText's copy, without its
    // calls.
    std::memcpy(at, KWRFH_STRUC_ID, kStrucIdLength);
    std::memcpy(at + kFormatOffset, opts.DataFormat, kFormatLength);
  } else {
    WriteChainText(KWRFH_STRUC_ID, kStrucIdLength, ccsid, opts.Encoding, at);
    WriteChainText(opts.DataFormat, kFormatLength, ccsid, opts.Encoding, at + kFormatOffset);
  }
  StoreInt(at + kVersionOffset, KWRFH_VERSION_2, reversed);
  StoreInt(at + kStrucLengthOffset, static_cast<int32_t>(strucLength), reversed);
  StoreInt(at + kEncodingOffset, opts.DataEncoding, reversed);
  StoreInt(at + kCcsidOffset, opts.DataCCSID, reversed);
  StoreInt(at + kRfhFlagsOffset, opts.Flags, reversed);
  StoreInt(at + kRfh2NameValueCcsidOffset, opts.NameValueCCSID, reversed);
}

// True when the list holds nodes to read.
bool HasNodes(const ZRFPAL* pal) {
  return pal != nullptr && pal->pProps != nullptr && pal->Size >= kHeaderLength &&
         pal->pProps->StrucLen > kHeaderLength;
}

bool IsSelected(const NodeView& node, int32_t copyPurpose) {
  return SelectedByPurpose(node, copyPurpose) &&
         (node.type_flags & ZRF_TYPE_MASK) != ZRF_TYPE_NAME_ONLY;
}

// What the first pass learnt of a list: the first nodes, decoded and placed,
// chained per bucket; which buckets have nodes; whether every selected node
// is kept.
struct Plan {
  Slot slots[kSlotCache];
  uint32_t count = 0;
  uint32_t head[kBucketCount];
  uint32_t tail[kBucketCount] = {};
  uint32_t buckets = 0;
  bool all_kept = true;

  Plan() { std::fill(std::begin(head), std::end(head), kNoSlot); }
  Plan(const Plan&) = delete;
  Plan& operator=(const Plan&) = delete;

  void Add(const NodeView& node, uint32_t offset, const Placement& placement, uint32_t bucket) {
    buckets |= 1u << bucket;
    if (count == kSlotCache) {
      all_kept = false;
      return;
    }
    slots[count] = Slot::Of(node, offset, placement);
    if (head[bucket] == kNoSlot) {
      head[bucket] = count;
    } else {
      slots[tail[bucket]].next = count;
    }
    tail[bucket] = count;
    ++count;
  }
};

// Writes the folders of the plan's buckets in bucket order.
template <typename T>
KWLONG WriteBuckets(const Plan& plan, const Source& source, const Target& target,
                    int32_t copyPurpose, ZRFHDRBUF* out, uint32_t fn) {
  const ZRFPROPS* list = source.list;
  FolderWriter<T> writer(source, target, out, fn);
  for (uint32_t rest = plan.buckets; rest != 0; rest &= rest - 1) {
    const auto bucket = static_cast<uint32_t>(__builtin_ctz(rest));
    const auto folder = static_cast<FolderId>(bucket % kFolderCount);
    if (const KWLONG reason = writer.BeginFolder(folder); reason != KWRC_NONE) return reason;
    // The kept nodes first, then (for a long list) the rest of the list
    // from behind the last kept node.
    for (uint32_t i = plan.head[bucket]; i != kNoSlot; i = plan.slots[i].next) {
      const Slot& slot = plan.slots[i];
      if (const KWLONG reason = writer.WriteElement(slot.View(list), slot.Place(), folder);
          reason != KWRC_NONE) {
        return reason;
      }
    }
    if (!plan.all_kept) {
      const uint32_t resume = plan.slots[plan.count - 1].offset;
      KWLONG reason = KWRC_NONE;
      const bool walked = ForEachNode(list, [&](const NodeView& node) {
        const auto offset = static_cast<uint32_t>(node.node - ListBytes(list));
        if (offset <= resume || !IsSelected(node, copyPurpose)) return true;
        const Placement placement = PlaceName(source.family, node.name, node.name_length);
        if (BucketOf(placement, node) != bucket) return true;
        reason = writer.WriteElement(node, placement, folder);
        return reason == KWRC_NONE;
      });
      if (reason != KWRC_NONE) return reason;
      if (!walked) {
        xcsERDPFn(kComponent, __FILE__, kProbeDamaged, xcsRC_UNEXPECTED_ERROR,
                  "Property list damaged", list, kHeaderLength);
        return KWRC_UNEXPECTED_ERROR;
      }
    }
    if (const KWLONG reason = writer.EndFolder(folder); reason != KWRC_NONE) return reason;
  }
  return KWRC_NONE;
}

// True when the folder text's markup is in ASCII bytes, as the plain
// writer writes it.
bool HasAsciiMarkup(uint8_t family) {
  return family == XCS_CCSID_TYPE_ASCII || family == XCS_CCSID_TYPE_UTF8;
}

}  // namespace

KWLONG ReserveFolderOut(ZRFHDRBUF* out, uint64_t more) {
  return ReserveOut(out, more, __FILE__, kProbeOut);
}

// The last step of every writer: the fixed part in front of the folders
// written from `start`, the copy purpose in the marks, and the trace.
static KWLONG FinishHeader(const ZRFHDROPTS& opts, uint32_t start, ZRFHDRBUF* out, ZRFMARKS* marks,
                           uint32_t fn) {
  marks->CopyPurpose = opts.CopyPurpose;
  WriteFixedPart(out->pBuffer + start, opts, out->Length - start);
  xtr_text_detail(kComponent, fn, "Compatible properties: %u, non-compatible properties: %u",
                  marks->Compatible, marks->NonCompatible);
  return KWRC_NONE;
}

KWLONG ConvertAllToRfh2(const ZRFPAL* pal, const ZRFHDROPTS& opts, ZRFHDRBUF* out, ZRFMARKS* marks,
                        uint32_t fn) {
  return ConvertAllToRfh2(pal, opts, out, marks, fn, WriterPaths::kAny);
}

KWLONG ConvertAllToRfh2(const ZRFPAL* pal, const ZRFHDROPTS& opts, ZRFHDRBUF* out, ZRFMARKS* marks,
                        uint32_t fn, WriterPaths paths, HeaderDestination* destination) {
  *marks = ZRFMARKS{};
  if (!HasNodes(pal)) return KWRC_PROPERTY_NOT_AVAILABLE;
  if (!HeaderUsable(pal)) {
    return DamagedList(pal, __FILE__, kProbeDamaged, "Property list header damaged");
  }
  Source source{};
  Target target{};
  if (const KWLONG reason = Prepare(pal->pProps, opts, &source, &target); reason != KWRC_NONE) {
    xtr_text_detail(kComponent, fn, "No encoding family for CCSID %d or %d", source.codes.ccsid,
                    opts.NameValueCCSID);
    return reason;
  }
  const ZRFPROPS* list = pal->pProps;

  // The common case, when the plain writer takes the list.
  if (paths == WriterPaths::kAny && target.same_text && HasAsciiMarkup(target.family)) {
    // In list order, when the output has room for the fixed part already
    // (so that making it room allocates nothing).
    PlainOutcome outcome = PlainOutcome::kNeedsPlan;
    if (out->pBuffer != nullptr && out->Size - out->Length >= kRfh2FixedLength) {
      const uint32_t start = out->Length;
      out->Length += kRfh2FixedLength;
      uint32_t written = 0;
      uint32_t skipped = 0;
      KWLONG failure = KWRC_NONE;
      outcome = WritePlainInListOrder(list, opts.CopyPurpose, target.family, target.reversed, out,
                                      &written, &skipped, &failure, destination);
      if (outcome == PlainOutcome::kFailed) {
        out->Length = start;
        return failure;
      }
      if (outcome == PlainOutcome::kWritten) {
        marks->Written = written;
        marks->Compatible = written;
        marks->Skipped = skipped;
        return FinishHeader(opts, start, out, marks, fn);
      }
      out->Length = start;
    }
    PlainPlan plain;
    if (outcome == PlainOutcome::kNeedsPlan && PlanPlainFolders(list, opts.CopyPurpose, &plain) &&
        plain.folders != 0) {
      marks->Written = plain.count;
      marks->Compatible = plain.count;
      marks->Skipped = plain.skipped;
      const uint32_t start = out->Length;
      if (const KWLONG reason = ReserveFolderOut(out, kRfh2FixedLength); reason != KWRC_NONE) {
        return reason;
      }
      out->Length += kRfh2FixedLength;
      if (const KWLONG reason = WritePlainFolders(plain, list, target.family, target.reversed, out);
          reason != KWRC_NONE) {
        out->Length = start;
        *marks = ZRFMARKS{};
        return reason;
      }
      return FinishHeader(opts, start, out, marks, fn);
    }
  }

  // First pass: each selected node's folder, kept for the first nodes and
  // chained per bucket, and which folders have properties, so that each is
  // written in one pass over its own nodes. (A plain loop: counters that a
  // lambda captures live in memory.)
  Plan plan;
  uint32_t firstMarked = 0;
  const uint8_t* bytes = ListBytes(list);
  const uint32_t end = list->StrucLen;
  for (uint32_t offset = kHeaderLength; offset < end;) {
    NodeView node;
    if (!DecodeNode(bytes + offset, end - offset, &node)) {
      return DamagedList(pal, __FILE__, kProbeDamaged, "Property list damaged");
    }
    const uint32_t at = offset;
    offset += node.length;
    if (!IsSelected(node, opts.CopyPurpose)) {
      ++marks->Skipped;
      continue;
    }
    const Placement placement = PlaceName(source.family, node.name, node.name_length);
    const uint32_t bucket = BucketOf(placement, node);
    plan.Add(node, at, placement, bucket);
    ++marks->Written;
    if (bucket < kFolderCount) {
      ++marks->Compatible;
    } else {
      ++marks->NonCompatible;
      marks->MarkedSupport |= node.support;
      if (firstMarked == 0) firstMarked = at;
    }
  }
  if (plan.buckets == 0) return KWRC_PROPERTY_NOT_AVAILABLE;

  const uint32_t start = out->Length;
  if (const KWLONG reason = ReserveFolderOut(out, kRfh2FixedLength); reason != KWRC_NONE) {
    return reason;
  }
  out->Length += kRfh2FixedLength;

  KWLONG reason = KWRC_NONE;
  WithFamily(target.family, [&](auto traits) {
    using T = decltype(traits);
    reason = WriteBuckets<T>(plan, source, target, opts.CopyPurpose, out, fn);
  });
  if (reason != KWRC_NONE) {
    out->Length = start;
    *marks = ZRFMARKS{};
    return reason;
  }
  marks->FirstMarked = firstMarked;
  return FinishHeader(opts, start, out, marks, fn);
}

KWLONG ConvertOneToRfh2(const ZRFPAL* pal, uint32_t nodeOffset, const ZRFHDROPTS& opts,
                        ZRFHDRBUF* out, uint32_t fn) {
  if (!HasNodes(pal) || !HeaderUsable(pal)) {
    return DamagedList(pal, __FILE__, kProbeDamaged, "No property list to read");
  }
  NodeView node{};
  if (!NodeAtOffset(pal->pProps, nodeOffset, &node)) {
    return DamagedList(pal, __FILE__, kProbeDamaged, "Offset is not a property node");
  }
  if ((node.type_flags & ZRF_TYPE_MASK) == ZRF_TYPE_NAME_ONLY) return KWRC_PROPERTY_TYPE_ERROR;
  Source source{};
  Target target{};
  if (const KWLONG reason = Prepare(pal->pProps, opts, &source, &target); reason != KWRC_NONE) {
    return reason;
  }
  const Placement placement = PlaceName(source.family, node.name, node.name_length);
  const uint32_t start = out->Length;
  KWLONG reason = KWRC_NONE;
  WithFamily(target.family, [&](auto traits) {
    using T = decltype(traits);
    FolderWriter<T> writer(source, target, out, fn);
    reason = writer.BeginFolder(placement.folder);
    if (reason == KWRC_NONE) reason = writer.WriteElement(node, placement, placement.folder);
    if (reason == KWRC_NONE) reason = writer.EndFolder(placement.folder);
  });
  if (reason != KWRC_NONE) out->Length = start;
  return reason;
}

}  // namespace zxv::props

namespace zxv::props {
namespace {

constexpr uint32_t kProbeMissing = 4;

// The converters' options with their defaults filled in.
ZRFHDROPTS ResolvedOptions(const ZRFHDROPTS* opts) {
  ZRFHDROPTS resolved{};
  if (opts != nullptr) {
    resolved = *opts;
  } else {
    resolved.Encoding = kNativeEncoding;
    resolved.CCSID = kUtf8Ccsid;
    resolved.DataEncoding = kNativeEncoding;
    std::memcpy(resolved.DataFormat, KWFMT_NONE, kFormatLength);
  }
  if (resolved.NameValueCCSID == 0) resolved.NameValueCCSID = ZRF_DEFAULT_NAME_VALUE_CCSID;
  return resolved;
}

}  // namespace
}  // namespace zxv::props

extern "C" {

ZXV_API KWLONG zrfConvertAllPropertiesToKWRFH2(const ZRFPAL* pPAL, const ZRFHDROPTS* pOpts,
                                               ZRFHDRBUF* pOut, ZRFMARKS* pMarks, KWLONG* pCompCode,
                                               KWLONG* pReason) {
  namespace zp = zxv::props;
  constexpr uint32_t fn = zp::kFnConvertAllPropertiesToKWRFH2;
  xtr_FNC_entry(zxv::kComponent, fn);
  KWLONG reason = KWRC_NONE;
  if (pPAL == nullptr || pOut == nullptr) {
    reason = zp::MissingParameter(pPAL == nullptr ? "pPAL" : "pOut", __FILE__, zp::kProbeMissing);
  } else {
    ZRFMARKS marks{};
    reason = zp::ConvertAllToRfh2(pPAL, zp::ResolvedOptions(pOpts), pOut, &marks, fn);
    if (pMarks != nullptr) *pMarks = marks;
  }
  zp::SetCodes(reason, pCompCode, pReason);
  xtr_FNC_retcode(zxv::kComponent, fn, reason);
  return reason;
}

ZXV_API KWLONG zrfConvertPropertyToKWRFH2(const ZRFPAL* pPAL, KWULONG NodeOffset,
                                          const ZRFHDROPTS* pOpts, ZRFHDRBUF* pOut,
                                          KWLONG* pCompCode, KWLONG* pReason) {
  namespace zp = zxv::props;
  constexpr uint32_t fn = zp::kFnConvertPropertyToKWRFH2;
  xtr_FNC_entry(zxv::kComponent, fn);
  KWLONG reason = KWRC_NONE;
  if (pPAL == nullptr || pOut == nullptr) {
    reason = zp::MissingParameter(pPAL == nullptr ? "pPAL" : "pOut", __FILE__, zp::kProbeMissing);
  } else {
    reason = zp::ConvertOneToRfh2(pPAL, NodeOffset, zp::ResolvedOptions(pOpts), pOut, fn);
  }
  zp::SetCodes(reason, pCompCode, pReason);
  xtr_FNC_retcode(zxv::kComponent, fn, reason);
  return reason;
}

}  // extern "C"
