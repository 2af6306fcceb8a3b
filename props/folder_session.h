// One parse of property folders into a property list: the scratch buffers
// the grammar builds names and values in, the appending of each property
// (name check, descriptor fields, the store), and the all-or-nothing rule
// per folder.
//
// Appending through the store places each node by walking the whole list,
// which makes a header of n properties cost n^2 node visits. A folder's
// properties mostly arrive in the store's own order, so the session keeps a
// set of the name prefixes it has added and appends a node directly at the
// end of the list when the store would put it there anyway: when the name
// shares k parts with the last node and no node has the name's first k + 1
// parts. Everything else (a duplicate, a name joining an earlier group, a
// list in another CCSID, a list that asks for verification) goes through
// the store as before.
//
//   FolderSession session(&pal, ctx);
//   session.BeginFolder();
//   reason = ... session.Add(property) for each property ...;
//   reason == KWRC_NONE ? session.CommitFolder() : session.RollbackFolder();
#pragma once

#include <cstdint>
#include <cstring>

#include "props/byte_words.h"
#include "zxvxzu/folder_parser.h"
#include "zxvxzu/properties.h"

namespace zxv::props {

// A growable byte buffer from the platform allocator, with room for short
// contents inside the object so that most parses allocate nothing for it.
class ScratchBuffer {
 public:
  ScratchBuffer() = default;
  ~ScratchBuffer();
  ScratchBuffer(const ScratchBuffer&) = delete;
  ScratchBuffer& operator=(const ScratchBuffer&) = delete;

  uint8_t* data() { return data_; }
  uint32_t size() const { return size_; }
  // Makes room for `more` bytes after size(); 2071/2102/2195 when it cannot.
  KWLONG Reserve(uint64_t more) {
    return uint64_t{size_} + more <= capacity_ ? KWRC_NONE : Grow(more);
  }
  void Resize(uint32_t size) { size_ = size; }
  // Appends bytes (room reserved by the caller).
  void AppendUnchecked(const uint8_t* bytes, uint32_t length) {
    CopyShort(data_ + size_, bytes, length);
    size_ += length;
  }

 private:
  KWLONG Grow(uint64_t more);

  static constexpr uint32_t kInline = 512;
  uint8_t inline_[kInline];
  uint8_t* data_ = inline_;
  uint32_t size_ = 0;
  uint32_t capacity_ = kInline;
};

// A property as the grammar found it: name and text-form values in the
// folder's encoding, numbers in the machine's.
struct ParsedProperty {
  const uint8_t* name;
  uint32_t name_length;
  uint32_t type;  // ZRF_TYPE_*
  const uint8_t* value;
  uint32_t value_length;
  uint32_t support;
  uint8_t copy_options;
  bool user_context;
};

// Where the parts of a property's name end (bytes) and the hash of the name
// up to the end of each part; the grammar keeps them per open element.
inline constexpr uint32_t kMaxNameParts = 64;
struct NameParts {
  const uint32_t* ends;
  const uint64_t* hashes;
  uint32_t count;
};

// The hash of name prefixes, continued from `h` (kPrefixHashStart for an
// empty prefix) over the bytes of the next part (without the full stop
// before it, so that a part hashes alike wherever its bytes lie: in a
// name, or as a tag in folder text); eight bytes per step, as
// it runs over every name the parser builds. Equal bytes in equal parts
// give equal hashes; that is all the prefix set needs, as its hits are
// only hints.
inline constexpr uint64_t kPrefixHashStart = 0xCBF29CE484222325ull;
inline uint64_t ContinuePrefixHash(uint64_t h, const uint8_t* bytes, uint32_t length) {
  constexpr uint64_t kMul = 0x9E3779B97F4A7C15ull;
  auto mix = [](uint64_t x, uint64_t w) {
    x = (x ^ w) * kMul;
    return x ^ (x >> 29);
  };
  auto load8 = [](const uint8_t* p) {
    uint64_t w;
    std::memcpy(&w, p, 8);
    return w;
  };
  h ^= length;
  if (length >= 8) {
    // Whole words, the last one overlapping the one before when the length
    // is no multiple of eight.
    while (length > 8) {
      h = mix(h, load8(bytes));
      bytes += 8;
      length -= 8;
    }
    h = mix(h, load8(bytes + length - 8));
  } else if (length >= 4) {
    uint32_t a;
    uint32_t b;
    std::memcpy(&a, bytes, 4);
    std::memcpy(&b, bytes + length - 4, 4);
    h = mix(h, (uint64_t{a} << 32) | b);
  } else if (length != 0) {
    h = mix(h, (uint64_t{bytes[0]} << 16) | (uint64_t{bytes[length / 2]} << 8) | bytes[length - 1]);
  } else {
    h = mix(h, 0);
  }
  // The set takes its slot from the low bits, which the multiplications
  // above fill only from the low bytes of each word: names that differ in
  // their last characters alone ("item1", "item2") would share slots. One
  // more round folds the high bits down.
  h ^= h >> 33;
  h *= 0xFF51AFD7ED558CCDull;
  h ^= h >> 33;
  return h == 0 ? 1 : h;  // 0 marks an empty slot of the set
}

class FolderSession {
 public:
  // `ctx` supplies the options and the descriptor to update (may be null
  // there). The list is used from the first Add on.
  FolderSession(ZRFPAL* pal, ZRFFOLDERCTX* ctx);
  ~FolderSession();
  FolderSession(const FolderSession&) = delete;
  FolderSession& operator=(const FolderSession&) = delete;

  ZRFFOLDERCTX* ctx() { return ctx_; }
  ScratchBuffer& names() { return names_; }
  ScratchBuffer& values() { return values_; }
  // The scratch that a byte-string value is decoded into, in place of its
  // text (the bytes are never longer): emptied and given room for the
  // `textBytes` of `text`, unless the text already lies there. Null with
  // *reason set when the room cannot be had.
  uint8_t* HexValueScratch(const uint8_t* text, uint32_t textBytes, KWLONG* reason) {
    if (text != values_.data()) {
      values_.Resize(0);
      if (*reason = values_.Reserve(textBytes / 2 + 1); *reason != KWRC_NONE) return nullptr;
    }
    return values_.data();
  }

  // The folder's text encoding for the Adds that follow.
  void SetFolderEncoding(int32_t ccsid, uint8_t family) {
    ccsid_ = ccsid;
    family_ = family;
  }
  // A hint: a folder of `bytes` bytes follows. Sizes the set of name
  // prefixes once, so that a large header does not grow it step by step.
  void ExpectFolderBytes(uint32_t bytes) {
    if (bytes / kBytesPerPrefix > prefix_hint_) prefix_hint_ = bytes / kBytesPerPrefix;
  }

  void BeginFolder();
  void CommitFolder() {}
  // Puts the list (and descriptor) back as they were at BeginFolder.
  void RollbackFolder();

  // Checks the name, then writes the property into the descriptor or the
  // list. `parts` (may be null: then the name is split here) describes the
  // name's parts. Reasons: 2442/2111 from the name check, the store's.
  KWLONG Add(const ParsedProperty& property, const NameParts* parts, uint32_t fn);

 private:
  KWLONG CheckName(const ParsedProperty& property, KWLONG* id) const;
  uint32_t SharedWithLast(const ParsedProperty& property, const NameParts& parts) const;
  bool CanAppendAtEnd(const ParsedProperty& property, const NameParts& parts,
                      uint32_t* rememberFrom);
  bool GrowPrefixes();
  // One probe answers and inserts: true when `h` was not in the set. When
  // the set cannot grow the fast path stops (and the answer is false).
  bool AddPrefix(uint64_t h) {
    if ((prefix_count_ + 1) * 2 > prefix_capacity_ && !GrowPrefixes()) {
      fast_ = false;
      return false;
    }
    const uint32_t mask = prefix_capacity_ - 1;
    uint32_t slot = static_cast<uint32_t>(h) & mask;
    while (prefixes_[slot] != 0) {
      if (prefixes_[slot] == h) return false;
      slot = (slot + 1) & mask;
    }
    prefixes_[slot] = h;
    ++prefix_count_;
    return true;
  }
  void RememberPrefix(uint64_t h) {
    if (fast_) AddPrefix(h);
  }
  // Remembers the name just added as the last node's, and its prefixes from
  // part `from` on (the earlier ones are known already).
  void RememberLast(const NameParts& parts, uint32_t from) {
    for (uint32_t i = from; i < parts.count; ++i) RememberPrefix(parts.hashes[i]);
    // Mostly one to three parts: a loop, not a call.
    for (uint32_t i = 0; i < parts.count; ++i) {
      last_ends_[i] = parts.ends[i];
      last_hashes_[i] = parts.hashes[i];
    }
    last_count_ = parts.count;
  }
  void FindLastNode();
  KWLONG SaveListForRollback();
  KWLONG AddThroughStore(const ParsedProperty& property, uint32_t fn);

  // The fused pass (folder_fast_pass.cpp) places nodes with the same state.
  friend class FastFolderPass;

  ZRFPAL* pal_;
  ZRFFOLDERCTX* ctx_;
  int32_t ccsid_ = 0;
  uint8_t family_ = 0;
  ScratchBuffer names_;
  ScratchBuffer values_;
  ScratchBuffer swapped_;  // UCS-2 text turned round for the store

  // The fast path: usable while every node of the list came from here.
  bool fast_ = false;
  uint32_t last_node_ = 0;             // offset of the list's last node; 0 when none
  uint32_t last_ends_[kMaxNameParts];  // the last node's name parts
  uint64_t last_hashes_[kMaxNameParts];
  uint32_t last_count_ = 0;
  uint64_t* prefixes_ = nullptr;  // open-addressed set of prefix hashes
  uint32_t prefix_capacity_ = 0;  // a power of two
  uint32_t prefix_count_ = 0;
  uint32_t prefix_hint_ = 0;  // prefixes expected (ExpectFolderBytes)
  // The set's first home, for headers of up to kInlinePrefixes / 2 names.
  static constexpr uint32_t kInlinePrefixes = 128;
  uint64_t inline_prefixes_[kInlinePrefixes];
  // Folder bytes per property in most headers (names and values of a few
  // words, some typed); a denser folder grows the set once or twice.
  static constexpr uint32_t kBytesPerPrefix = 48;

  // What RollbackFolder restores.
  bool had_list_ = false;
  uint32_t struc_len_ = 0;
  uint32_t props_len_ = 0;
  bool saved_ = false;  // saved_list_ holds the list's first struc_len_ bytes
  ScratchBuffer saved_list_;
  // Taken by BeginFolder, before any RollbackFolder reads them: left
  // unset here, so that a session does not clear a descriptor per parse.
  KWMD saved_md_;
  KWULONG saved_fields_ = 0;
};

}  // namespace zxv::props
