// The grammar of one property folder (zrf_folder_parse): a hand-written,
// single-pass parser over the folder text in its own encoding, with an
// explicit stack of open elements so that no input can make it recurse.
// The grammar is documented in include/zxvxzu/folder_parser.h.
#include <cstring>

#include "props/folder_fast_pass.h"
#include "props/folder_markup_words.h"
#include "props/folder_parser.h"
#include "props/folder_tokens.h"
#include "props/folder_values.h"
#include "props/name_char_table.h"
#include "props/property_store.h"
#include "props/value_escape.h"
#include "zxvxcs2/xcs_ccsid.h"
#include "zxvxcs2/xcs_trace.h"

namespace zxv::props {
namespace {

constexpr uint32_t kProbeMissing = 1;

constexpr uint8_t kNoType = 0xFF;

// True when the `length` bytes at a and b are equal; names are short, so
// inline and eight bytes at a time rather than a call.
inline bool SameBytes(const uint8_t* a, const uint8_t* b, uint32_t length) {
  while (length >= 8) {
    uint64_t x;
    uint64_t y;
    std::memcpy(&x, a, 8);
    std::memcpy(&y, b, 8);
    if (x != y) return false;
    a += 8;
    b += 8;
    length -= 8;
  }
  if (length >= 4) {
    uint32_t x;
    uint32_t y;
    std::memcpy(&x, a, 4);
    std::memcpy(&y, b, 4);
    if (x != y) return false;
    a += 4;
    b += 4;
    length -= 4;
  }
  while (length != 0) {
    if (*a++ != *b++) return false;
    --length;
  }
  return true;
}

enum class FolderKind : uint8_t { kOther, kUser, kJms, kMcd, kKw, kKwps, kKwpsi, kKwext };

enum class Nil : uint8_t { kAbsent, kTrue, kFalse };

// An open element.
struct Frame {
  uint32_t tag;  // tag name in the text (cut to the limit)
  uint32_t tag_bytes;
  uint32_t name_mark;  // length of the full name before this element's part
  uint32_t content;    // where its content starts
  uint32_t support;
  uint8_t dt;  // ZRF_TYPE_* or kNoType
  uint8_t copy;
  Nil nil;
  bool user_context;
  bool children;
  bool has_support;
  bool has_copy;
  bool content_properties;  // the folder only: content='properties'
  // A part of the name up to here holds a full stop (a tag or a name
  // attribute written with one): the session must split the name itself.
  bool dotted;
};

template <typename T>
class FolderGrammar {
  using C = FolderCursor<T>;
  using W = MarkupWords<T>;
  using Unit = typename T::Unit;
  static constexpr uint32_t kStep = T::kUnitBytes;

 public:
  FolderGrammar(const uint8_t* text, uint32_t length, FolderSession* session)
      : c_(text, length),
        text_(text),
        session_(session),
        ctx_(session->ctx()),
        escape_(EscapeRoutinesFor(T::kCcsidType)) {}

  KWLONG Run(uint32_t* action);

 private:
  KWLONG Fail(const char* why) {
    xtr_text_detail(kComponent, kFnFolderParse, "%s", why);
    return KWRC_RFH_FORMAT_ERROR;
  }
  KWLONG SyntaxError() { return Fail("syntax error"); }

  FolderKind KindOf(const uint8_t* name, uint32_t length) const;
  KWLONG Attributes(Frame* f, bool folder, bool* selfClosing, uint32_t* nameAttr,
                    uint32_t* nameAttrBytes);
  bool OnlyDataType(Frame* f, KWLONG* reason);
  KWLONG ElementAttribute(Frame* f, const uint8_t* attr, uint32_t attrBytes, const uint8_t* value,
                          uint32_t valueBytes, uint32_t* seen);
  KWLONG Copy(const uint8_t* value, uint32_t bytes, uint8_t* copy);
  KWLONG Support(const uint8_t* value, uint32_t bytes, uint32_t* support);
  KWLONG AppendNamePart(const uint8_t* part, uint32_t bytes, bool escaped);
  bool MarkNamePart(uint32_t index);
  KWLONG Unescaped(const uint8_t* text, uint32_t bytes, bool entity, const uint8_t** out,
                   uint32_t* outBytes);
  KWLONG Property(const Frame& f, uint32_t depth, const uint8_t* text, uint32_t bytes, bool entity);
  KWLONG Body(const Frame& folder);
  KWLONG KwFolderEnd();

  C c_;
  const uint8_t* text_;
  FolderSession* session_;
  ZRFFOLDERCTX* ctx_;
  const EscapeRoutines* escape_;
  FolderKind kind_ = FolderKind::kOther;
  bool nested_traced_ = false;
  bool rsv_seen_ = false;
  Frame stack_[kMaxFolderDepth];
  // The parts of the name being built: where each ends and the hash of the
  // name up to there (the folder's own part first, except for usr).
  uint32_t base_parts_ = 0;
  uint32_t part_end_[kMaxNameParts];
  uint64_t part_hash_[kMaxNameParts];
};

template <typename T>
FolderKind FolderGrammar<T>::KindOf(const uint8_t* name, uint32_t length) const {
  if (W::kUsr.Is(name, length)) return FolderKind::kUser;
  if (W::kJms.Is(name, length)) return FolderKind::kJms;
  if (W::kMcd.Is(name, length)) return FolderKind::kMcd;
  if (W::kKw.Is(name, length)) return FolderKind::kKw;
  if (W::kKwps.Is(name, length)) return FolderKind::kKwps;
  if (W::kKwpsi.Is(name, length)) return FolderKind::kKwpsi;
  if (W::kKwext.Is(name, length)) return FolderKind::kKwext;
  return FolderKind::kOther;
}

// Reads attributes up to and including ">" or "/>". A name attribute's
// value is left for the caller (escaped) in nameAttr/nameAttrBytes.
template <typename T>
KWLONG FolderGrammar<T>::Attributes(Frame* f, bool folder, bool* selfClosing, uint32_t* nameAttr,
                                    uint32_t* nameAttrBytes) {
  uint32_t seen = 0;
  *nameAttrBytes = 0;
  *nameAttr = 0;
  for (;;) {
    const uint32_t before = c_.pos();
    c_.SkipBlanks();
    if (c_.AtEnd()) return SyntaxError();
    if (c_.Is('>')) {
      c_.Advance();
      *selfClosing = false;
      return KWRC_NONE;
    }
    if (c_.Is('/')) {
      c_.Advance();
      if (!c_.Is('>')) return SyntaxError();
      c_.Advance();
      *selfClosing = true;
      return KWRC_NONE;
    }
    if (c_.pos() == before) return SyntaxError();  // attributes are set apart by blanks

    uint32_t attr = 0;
    uint32_t attrBytes = 0;
    uint32_t chars = 0;
    uint32_t cut = 0;
    uint32_t control = 0;
    if (!c_.ReadName(&attr, &attrBytes, &chars, &cut, &control) || attrBytes == 0) {
      return SyntaxError();
    }
    c_.SkipBlanks();
    if (!c_.Is('=')) return SyntaxError();
    c_.Advance();
    c_.SkipBlanks();
    if (c_.AtEnd()) return SyntaxError();
    const Unit quote = c_.Peek();
    if (quote != T::Char('\'') && quote != T::Char('"')) return SyntaxError();
    c_.Advance();
    const uint32_t value = c_.pos();
    while (!c_.AtEnd() && c_.Peek() != quote) {
      if (c_.Peek() == T::Char('<')) return SyntaxError();
      c_.Advance();
    }
    if (c_.AtEnd()) return SyntaxError();
    const uint32_t valueBytes = c_.pos() - value;
    c_.Advance();

    const uint8_t* a = text_ + attr;
    if (folder) {
      if (W::kContent.Is(a, attrBytes)) {
        if (!W::kProperties.Is(text_ + value, valueBytes)) {
          return Fail("Invalid content attribute value");
        }
        f->content_properties = true;
      }
      continue;  // other folder attributes (namespace declarations) are ignored
    }
    if (W::kName.Is(a, attrBytes)) {
      if (*nameAttrBytes != 0 || valueBytes == 0) return SyntaxError();
      *nameAttr = value;
      *nameAttrBytes = valueBytes;
      continue;
    }
    if (const KWLONG reason = ElementAttribute(f, a, attrBytes, text_ + value, valueBytes, &seen);
        reason != KWRC_NONE) {
      return reason;
    }
  }
}

// The one attribute most typed elements carry, " dt='...'" right before
// ">", read without the attribute loop: true (and *reason what the loop
// would have returned) when the start tag ends so; false, with the cursor
// where it was, for any other shape, which the loop then reads.
template <typename T>
bool FolderGrammar<T>::OnlyDataType(Frame* f, KWLONG* reason) {
  constexpr uint32_t kPrefixUnits = 5;  // " dt=" and the quote
  if (!c_.Has(kPrefixUnits * kStep)) return false;
  const uint32_t at = c_.pos();
  const uint8_t* p = text_ + at;
  if (T::Load(p) != T::Char(' ') || T::Load(p + kStep) != T::Char('d') ||
      T::Load(p + 2 * kStep) != T::Char('t') || T::Load(p + 3 * kStep) != T::Char('=')) {
    return false;
  }
  const Unit quote = T::Load(p + 4 * kStep);
  if (quote != T::Char('\'') && quote != T::Char('"')) return false;
  const uint32_t value = at + kPrefixUnits * kStep;
  const uint32_t end = c_.end();
  uint32_t close = value;
  for (; close < end; close += kStep) {
    const Unit u = T::Load(text_ + close);
    if (u == quote) break;
    if (u == T::Char('<')) return false;
  }
  if (end - close < 2 * kStep || T::Load(text_ + close + kStep) != T::Char('>')) return false;
  uint32_t seen = 0;
  *reason = ElementAttribute(f, p + kStep, W::kDt.length, text_ + value, close - value, &seen);
  c_.set_pos(close + 2 * kStep);
  return true;
}

template <typename T>
KWLONG FolderGrammar<T>::ElementAttribute(Frame* f, const uint8_t* a, uint32_t attrBytes,
                                          const uint8_t* v, uint32_t valueBytes, uint32_t* seen) {
  enum : uint32_t { kSeenDt = 1, kSeenNil = 2, kSeenContext = 4, kSeenCopy = 8, kSeenSupport = 16 };
  if (W::kDt.Is(a, attrBytes)) {
    if (*seen & kSeenDt) return SyntaxError();
    if (*seen & kSeenNil) return Fail("Explicit data type used after xsi attribute");
    *seen |= kSeenDt;
    if (W::kString.Is(v, valueBytes) || W::kChar.Is(v, valueBytes)) {
      f->dt = ZRF_TYPE_STRING;
    } else if (W::kI4.Is(v, valueBytes) || W::kInt.Is(v, valueBytes)) {
      f->dt = ZRF_TYPE_INT32;
    } else if (W::kBoolean.Is(v, valueBytes)) {
      f->dt = ZRF_TYPE_BOOLEAN;
    } else if (W::kBinHex.Is(v, valueBytes)) {
      f->dt = ZRF_TYPE_BYTE_STRING;
    } else if (W::kI8.Is(v, valueBytes)) {
      f->dt = ZRF_TYPE_INT64;
    } else if (W::kI2.Is(v, valueBytes)) {
      f->dt = ZRF_TYPE_INT16;
    } else if (W::kI1.Is(v, valueBytes)) {
      f->dt = ZRF_TYPE_INT8;
    } else if (W::kR8.Is(v, valueBytes)) {
      f->dt = ZRF_TYPE_FLOAT64;
    } else if (W::kR4.Is(v, valueBytes)) {
      f->dt = ZRF_TYPE_FLOAT32;
    } else {
      return SyntaxError();
    }
    return KWRC_NONE;
  }
  if (W::kXsiNil.Is(a, attrBytes)) {
    if (*seen & kSeenNil) return SyntaxError();
    *seen |= kSeenNil;
    if (W::kTrue.Is(v, valueBytes)) {
      if (*seen & kSeenDt) return Fail("Explicit data type used before xsi attribute");
      f->nil = Nil::kTrue;
    } else if (W::kFalse.Is(v, valueBytes)) {
      f->nil = Nil::kFalse;
    } else {
      return SyntaxError();
    }
    return KWRC_NONE;
  }
  if (W::kContext.Is(a, attrBytes)) {
    if (*seen & kSeenContext) return SyntaxError();
    *seen |= kSeenContext;
    if (W::kUser.Is(v, valueBytes)) {
      f->user_context = true;
    } else if (!W::kNone.Is(v, valueBytes)) {
      return SyntaxError();
    }
    return KWRC_NONE;
  }
  if (W::kCopy.Is(a, attrBytes)) {
    if (*seen & kSeenCopy) return SyntaxError();
    *seen |= kSeenCopy;
    f->has_copy = true;
    return Copy(v, valueBytes, &f->copy);
  }
  if (W::kSupport.Is(a, attrBytes)) {
    if (*seen & kSeenSupport) return SyntaxError();
    *seen |= kSeenSupport;
    f->has_support = true;
    return Support(v, valueBytes, &f->support);
  }
  return KWRC_NONE;  // an attribute of no meaning here is ignored
}

// copy='word[,word...]'.
template <typename T>
KWLONG FolderGrammar<T>::Copy(const uint8_t* v, uint32_t bytes, uint8_t* copy) {
  uint32_t options = 0;
  uint32_t start = 0;
  for (uint32_t at = 0; at <= bytes; at += kStep) {
    if (at < bytes && T::Load(v + at) != T::Char(',')) continue;
    const uint8_t* word = v + start;
    const uint32_t n = at - start;
    if (W::kForward.Is(word, n)) {
      options |= KWCOPY_FORWARD;
    } else if (W::kPublish.Is(word, n)) {
      options |= KWCOPY_PUBLISH;
    } else if (W::kReply.Is(word, n)) {
      options |= KWCOPY_REPLY;
    } else if (W::kReport.Is(word, n)) {
      options |= KWCOPY_REPORT;
    } else if (W::kAll.Is(word, n)) {
      options |= KWCOPY_ALL;
    } else if (W::kDefault.Is(word, n)) {
      options |= KWCOPY_DEFAULT;
    } else if (!W::kNone.Is(word, n)) {
      return SyntaxError();
    }
    start = at + kStep;
  }
  *copy = static_cast<uint8_t>(options);
  return KWRC_NONE;
}

// support='XXXXXXXX' (hex digits, either case).
template <typename T>
KWLONG FolderGrammar<T>::Support(const uint8_t* v, uint32_t bytes, uint32_t* support) {
  constexpr uint32_t kDigits = 8;
  if (bytes != kDigits * kStep) return Fail("Length of support attribute value incorrect");
  uint32_t value = 0;
  for (uint32_t i = 0; i < kDigits; ++i) {
    const int d = HexValue<T>(T::Load(v + i * kStep));
    if (d < 0) return Fail("Incorrectly formatted support attribute value");
    value = (value << 4) | static_cast<uint32_t>(d);
  }
  *support = value;
  return KWRC_NONE;
}

// Appends the family's full stop (unless the name is empty) and `part`,
// unescaped when `escaped`.
template <typename T>
KWLONG FolderGrammar<T>::AppendNamePart(const uint8_t* part, uint32_t bytes, bool escaped) {
  ScratchBuffer& names = session_->names();
  if (const KWLONG reason = names.Reserve(uint64_t{bytes} + kStep); reason != KWRC_NONE) {
    return reason;
  }
  if (names.size() != 0) {
    uint8_t stop[2];
    T::Store(stop, T::Char('.'));
    names.AppendUnchecked(stop, kStep);
  }
  if (!escaped) {
    names.AppendUnchecked(part, bytes);
    return KWRC_NONE;
  }
  uint32_t used = 0;
  escape_->compress(part, bytes, names.data() + names.size(), &used);
  names.Resize(names.size() + used);
  return KWRC_NONE;
}

// Records where name part `index` ends (the names buffer's end) and the
// hash of the name up to there. True when the part holds a full stop,
// which makes it more than one part of the name for the store.
template <typename T>
bool FolderGrammar<T>::MarkNamePart(uint32_t index) {
  ScratchBuffer& names = session_->names();
  // The part without the full stop before it.
  const uint32_t from = index == 0 ? 0 : part_end_[index - 1] + kStep;
  const uint64_t h = index == 0 ? kPrefixHashStart : part_hash_[index - 1];
  part_end_[index] = names.size();
  part_hash_[index] = ContinuePrefixHash(h, names.data() + from, names.size() - from);
  for (uint32_t at = from; at < names.size(); at += kStep) {
    if (T::Load(names.data() + at) == T::Char('.')) return true;
  }
  return false;
}

// Element text without its entities: the text itself when it has no "&"
// (`entity`, found by the scan that delimited the text), otherwise
// unescaped into the session's value buffer.
template <typename T>
KWLONG FolderGrammar<T>::Unescaped(const uint8_t* text, uint32_t bytes, bool entity,
                                   const uint8_t** out, uint32_t* outBytes) {
  if (!entity) {
    *out = text;
    *outBytes = bytes - bytes % kStep;
    return KWRC_NONE;
  }
  ScratchBuffer& values = session_->values();
  values.Resize(0);
  if (const KWLONG reason = values.Reserve(bytes); reason != KWRC_NONE) return reason;
  uint32_t used = 0;
  escape_->compress(text, bytes, values.data(), &used);
  *out = values.data();
  *outBytes = used;
  return KWRC_NONE;
}

// One property: the element `f` at `depth` (the folder is depth 0) whose
// text is [text, text + bytes), holding an "&" when `entity`.
template <typename T>
KWLONG FolderGrammar<T>::Property(const Frame& f, uint32_t depth, const uint8_t* text,
                                  uint32_t bytes, bool entity) {
  const uint8_t* tag = text_ + f.tag;
  if (kind_ == FolderKind::kKw && depth == 1 && W::kRsv.Is(tag, f.tag_bytes)) {
    // The reject-support value is checked at the folder's end, not kept.
    if (rsv_seen_) return SyntaxError();
    rsv_seen_ = true;
    char buf[kMaxNumberChars + 1];
    uint32_t n = 0;
    uint32_t value = 0;
    if (!NumberText<T>(text, bytes, buf, &n) || n != 8) return SyntaxError();
    for (uint32_t i = 0; i < n; ++i) {
      const int d = HexValue<FamilyTraits<XCS_CCSID_TYPE_ASCII>>(static_cast<uint8_t>(buf[i]));
      if (d < 0) return SyntaxError();
      value = (value << 4) | static_cast<uint32_t>(d);
    }
    ctx_->RejectSupport = value;
    return KWRC_NONE;
  }

  ParsedProperty p{};
  ScratchBuffer& names = session_->names();
  p.name = names.data();
  p.name_length = names.size();
  p.support = f.has_support ? f.support : KWPD_SUPPORT_OPTIONAL;
  p.copy_options = f.has_copy ? f.copy : static_cast<uint8_t>(KWCOPY_DEFAULT);
  p.user_context = f.user_context;

  if (f.nil == Nil::kTrue) {
    if (bytes != 0) return SyntaxError();  // a null has no text
    p.type = ZRF_TYPE_NULL;
    const NameParts parts{part_end_, part_hash_, base_parts_ + depth};
    return session_->Add(p, f.dotted ? nullptr : &parts, kFnFolderParse);
  }

  const uint8_t* value = nullptr;
  uint32_t valueBytes = 0;
  if (const KWLONG reason = Unescaped(text, bytes, entity, &value, &valueBytes);
      reason != KWRC_NONE) {
    return reason;
  }

  uint8_t type = f.dt;
  union {
    int8_t i8;
    int16_t i16;
    int32_t i32;
    int64_t i64;
    float r4;
    double r8;
  } number{};
  int64_t integer = 0;
  if (type == kNoType) {
    type = ZRF_TYPE_STRING;
    // The jms folder's numeric fields are numbers when they spell one.
    if (kind_ == FolderKind::kJms && depth == 1) {
      if (W::kDlv.Is(tag, f.tag_bytes) || W::kPri.Is(tag, f.tag_bytes) ||
          W::kSeq.Is(tag, f.tag_bytes)) {
        if (ReadInteger<T>(value, valueBytes, INT32_MIN, INT32_MAX, &integer))
          type = ZRF_TYPE_INT32;
      } else if (W::kExp.Is(tag, f.tag_bytes) || W::kTms.Is(tag, f.tag_bytes)) {
        if (ReadInteger<T>(value, valueBytes, INT64_MIN, INT64_MAX, &integer))
          type = ZRF_TYPE_INT64;
      }
      if (type == ZRF_TYPE_INT32) {
        number.i32 = static_cast<int32_t>(integer);
      } else if (type == ZRF_TYPE_INT64) {
        number.i64 = integer;
      }
    }
  } else {
    bool ok = true;
    switch (type) {
      case ZRF_TYPE_BOOLEAN:
        ok = ReadBoolean<T>(value, valueBytes, &number.i32);
        break;
      case ZRF_TYPE_INT8:
        ok = ReadInteger<T>(value, valueBytes, INT8_MIN, INT8_MAX, &integer);
        number.i8 = static_cast<int8_t>(integer);
        break;
      case ZRF_TYPE_INT16:
        ok = ReadInteger<T>(value, valueBytes, INT16_MIN, INT16_MAX, &integer);
        number.i16 = static_cast<int16_t>(integer);
        break;
      case ZRF_TYPE_INT32:
        ok = ReadInteger<T>(value, valueBytes, INT32_MIN, INT32_MAX, &integer);
        number.i32 = static_cast<int32_t>(integer);
        break;
      case ZRF_TYPE_INT64:
        ok = ReadInteger<T>(value, valueBytes, INT64_MIN, INT64_MAX, &integer);
        number.i64 = integer;
        break;
      case ZRF_TYPE_FLOAT32:
        ok = ReadFloat<T, float>(value, valueBytes, &number.r4);
        break;
      case ZRF_TYPE_FLOAT64:
        ok = ReadFloat<T, double>(value, valueBytes, &number.r8);
        break;
      case ZRF_TYPE_BYTE_STRING: {
        KWLONG reason = KWRC_NONE;
        uint8_t* decoded = session_->HexValueScratch(value, valueBytes, &reason);
        if (decoded == nullptr) return reason;
        uint32_t n = 0;
        ok = ReadHexBytes<T>(value, valueBytes, decoded, &n);
        value = decoded;
        valueBytes = n;
        break;
      }
      default:
        break;  // strings as they are
    }
    if (!ok) return SyntaxError();
  }
  p.type = type;
  if (type == ZRF_TYPE_STRING || type == ZRF_TYPE_BYTE_STRING) {
    p.value = value;
    p.value_length = valueBytes;
  } else {
    p.value = reinterpret_cast<const uint8_t*>(&number);
    p.value_length = FixedValueSize(type);
  }
  const NameParts parts{part_end_, part_hash_, base_parts_ + depth};
  return session_->Add(p, f.dotted ? nullptr : &parts, kFnFolderParse);
}

// The elements of the folder, from behind its start tag to behind its end
// tag. Each element pushes a frame; its end tag pops it.
template <typename T>
KWLONG FolderGrammar<T>::Body(const Frame& folder) {
  const bool groupsAllowed = kind_ == FolderKind::kUser || kind_ == FolderKind::kOther;
  ScratchBuffer& names = session_->names();
  stack_[0] = folder;
  uint32_t depth = 1;
  bool afterEnd = false;
  for (;;) {
    Frame& top = stack_[depth - 1];
    const uint32_t run = c_.pos();
    bool entity = false;
    const bool text = c_.SkipToMarkupStart(&entity);
    if (c_.AtEnd()) return SyntaxError();  // an element is still open
    const uint32_t runEnd = c_.pos();
    c_.Advance();  // "<"
    if (c_.Is('/')) {
      c_.Advance();
      // Mostly the end tag is the start tag's name and ">": compared as
      // bytes, without reading the name again.
      const uint32_t tagBytes = top.tag_bytes;
      if (c_.Has(tagBytes + kStep) && SameBytes(text_ + c_.pos(), text_ + top.tag, tagBytes) &&
          T::Load(text_ + c_.pos() + tagBytes) == T::Char('>')) {
        c_.Advance(tagBytes + kStep);
      } else {
        uint32_t start = 0;
        uint32_t bytes = 0;
        uint32_t chars = 0;
        uint32_t cut = 0;
        uint32_t control = 0;
        if (!c_.ReadName(&start, &bytes, &chars, &cut, &control)) return SyntaxError();
        if (cut != tagBytes || !SameBytes(text_ + start, text_ + top.tag, cut)) {
          return Fail("EndTag name does not match StartTag name");
        }
        c_.SkipBlanks();
        if (!c_.Is('>')) return SyntaxError();
        c_.Advance();
      }
      if (top.children || depth == 1) {
        if (text) return SyntaxError();  // text beside elements
        if (runEnd != run) {
          xtr_text_detail(kComponent, kFnFolderParse, "Ignoring blank string after end tag");
        }
      } else if (const KWLONG reason = Property(top, depth - 1, text_ + run, runEnd - run, entity);
                 reason != KWRC_NONE) {
        return reason;
      }
      names.Resize(top.name_mark);
      if (--depth == 0) return KWRC_NONE;
      afterEnd = true;
      continue;
    }

    // A start tag: `top` holds elements.
    if (c_.AtEnd() || c_.Is('!') || c_.Is('?')) return SyntaxError();
    if (text) return SyntaxError();
    if (runEnd != run) {
      xtr_text_detail(kComponent, kFnFolderParse,
                      afterEnd ? "Ignoring blank string after end tag"
                               : "Ignoring blank string before start tag");
    }
    if (depth > 1 && !top.children) {
      if (!groupsAllowed) return Fail("Nested group where no group allowed");
      if (top.dt != kNoType || top.nil != Nil::kAbsent) return SyntaxError();
      if (!nested_traced_) {
        xtr_text_detail(kComponent, kFnFolderParse, "Folder contains a nested group");
        nested_traced_ = true;
      }
    }
    top.children = true;
    if (depth == kMaxFolderDepth) return Fail("memory exhausted");

    Frame& f = stack_[depth++];
    f = Frame{};
    f.dt = kNoType;
    uint32_t bytes = 0;
    uint32_t chars = 0;
    uint32_t control = 0;
    if (!c_.ReadName(&f.tag, &bytes, &chars, &f.tag_bytes, &control) || bytes == 0) {
      return SyntaxError();
    }
    if (chars > kMaxTagChars) {
      xtr_text_detail(kComponent, kFnFolderParse, "Tag name too long (%u chars). Truncating to %u",
                      chars, kMaxTagChars);
    }
    bool selfClosing = false;
    uint32_t nameAttr = 0;
    uint32_t nameAttrBytes = 0;
    KWLONG dtReason = KWRC_NONE;
    if (c_.Is('>')) {
      c_.Advance();  // mostly no attributes
    } else if (OnlyDataType(&f, &dtReason)) {
      if (dtReason != KWRC_NONE) return dtReason;
    } else if (const KWLONG reason = Attributes(&f, false, &selfClosing, &nameAttr, &nameAttrBytes);
               reason != KWRC_NONE) {
      return reason;
    }
    f.name_mark = names.size();
    KWLONG reason;
    if (nameAttrBytes != 0) {
      reason = AppendNamePart(text_ + nameAttr, nameAttrBytes, true);
    } else if (W::kElt.Is(text_ + f.tag, f.tag_bytes)) {
      return SyntaxError();  // elt stands for the name its name attribute gives
    } else {
      reason = AppendNamePart(text_ + f.tag, f.tag_bytes, false);
    }
    if (reason != KWRC_NONE) return reason;
    f.dotted = MarkNamePart(base_parts_ + depth - 2) || top.dotted;
    if (selfClosing) {
      if (const KWLONG r = Property(f, depth - 1, text_ + c_.pos(), 0, false); r != KWRC_NONE) {
        return r;
      }
      names.Resize(f.name_mark);
      --depth;
      afterEnd = true;
    } else {
      f.content = c_.pos();
      afterEnd = false;
    }
  }
}

// The kw folder's own properties and its reject-support check.
template <typename T>
KWLONG FolderGrammar<T>::KwFolderEnd() {
  ctx_->State |= ZRF_STATE_KW_PARSED;
  struct Internal {
    const MarkupWord* name;
    uint32_t type;
    const char* failure;
  };
  const Internal internals[] = {
      {&W::kKwiEnc, ZRF_TYPE_INT32, "Unable to add kwi.Enc"},
      {&W::kKwiCcs, ZRF_TYPE_INT32, "Unable to add kwi.Ccs"},
      {&W::kKwiFmt, ZRF_TYPE_STRING, "Unable to add kwi.Fmt"},
  };
  uint8_t format[KW_FORMAT_LENGTH * 2];
  for (uint32_t i = 0; i < KW_FORMAT_LENGTH; ++i) {
    T::Store(format + i * kStep, T::Char(ctx_->DataFormat[i]));
  }
  for (const Internal& in : internals) {
    ParsedProperty p{};
    p.name = in.name->bytes;
    p.name_length = in.name->length;
    p.type = in.type;
    p.support = KWPD_SUPPORT_OPTIONAL;
    p.copy_options = KWCOPY_DEFAULT;
    if (in.name == &W::kKwiEnc) {
      p.value = reinterpret_cast<const uint8_t*>(&ctx_->DataEncoding);
      p.value_length = sizeof ctx_->DataEncoding;
    } else if (in.name == &W::kKwiCcs) {
      p.value = reinterpret_cast<const uint8_t*>(&ctx_->DataCCSID);
      p.value_length = sizeof ctx_->DataCCSID;
    } else {
      p.value = format;
      p.value_length = KW_FORMAT_LENGTH * kStep;
    }
    if (const KWLONG reason = session_->Add(p, nullptr, kFnFolderParse); reason != KWRC_NONE) {
      xtr_text_detail(kComponent, kFnFolderParse, "%s", in.failure);
      return reason;
    }
  }
  return rsv_seen_ ? ProcessKWFolder(ctx_->RejectSupport, ctx_->Options, kFnFolderParse)
                   : KWRC_NONE;
}

template <typename T>
KWLONG FolderGrammar<T>::Run(uint32_t* action) {
  *action = ZRF_FOLDER_KEEP;
  FolderNameSpan span{};
  if (const KWLONG reason = ScanFolderName<T>(text_, c_.end(), &span, kFnFolderParse);
      reason != KWRC_NONE) {
    return reason;
  }
  const uint8_t* folderName = text_ + span.offset;
  kind_ = KindOf(folderName, span.length);
  const bool internalFolder = kind_ == FolderKind::kKw || kind_ == FolderKind::kKwps ||
                              kind_ == FolderKind::kKwpsi || kind_ == FolderKind::kKwext;
  const uint32_t options = ctx_->Options;

  Frame folder{};
  folder.dt = kNoType;
  folder.tag = span.offset;
  folder.tag_bytes = span.length;
  c_.set_pos(span.after);
  bool selfClosing = false;
  uint32_t nameAttr = 0;
  uint32_t nameAttrBytes = 0;
  if (const KWLONG reason = Attributes(&folder, true, &selfClosing, &nameAttr, &nameAttrBytes);
      reason != KWRC_NONE) {
    return reason;
  }
  const bool contentProperties = folder.content_properties;

  if (options & ZRF_PARSE_BACK_LEVEL) {
    if (contentProperties || internalFolder) {
      if (contentProperties) {
        xtr_text_detail(kComponent, kFnFolderParse,
                        "Removing folder as it is marked with content='properties'");
      }
      *action = ZRF_FOLDER_REMOVE;
    } else {
      xtr_text_detail(kComponent, kFnFolderParse, "Parsing not required for this folder");
    }
    return KWRC_NONE;
  }
  if (kind_ == FolderKind::kKw && (ctx_->State & ZRF_STATE_KW_PARSED)) {
    xtr_text_detail(kComponent, kFnFolderParse, "<kw> folder already parsed. Ignoring this one.");
    return KWRC_NONE;
  }

  ScratchBuffer& names = session_->names();
  names.Resize(0);
  folder.name_mark = 0;
  if (kind_ != FolderKind::kUser) {
    if (const KWLONG reason = AppendNamePart(folderName, span.length, false); reason != KWRC_NONE) {
      return reason;
    }
    folder.dotted = MarkNamePart(0);
    base_parts_ = 1;
  }
  if (!selfClosing) {
    if (const KWLONG reason = Body(folder); reason != KWRC_NONE) return reason;
  }
  // Behind the folder: blanks and NUL padding only.
  while (!c_.AtEnd() && (C::IsBlank(c_.Peek()) || c_.Peek() == 0)) c_.Advance();
  if (!c_.AtEnd()) return SyntaxError();

  if (kind_ == FolderKind::kKw) {
    if (const KWLONG reason = KwFolderEnd(); reason != KWRC_NONE) return reason;
  }
  if (contentProperties) {
    xtr_text_detail(kComponent, kFnFolderParse,
                    "Removing folder as it is marked with content='properties'");
    *action = ZRF_FOLDER_REMOVE;
  } else if (options & ZRF_PARSE_STRIP_PARSED) {
    *action = ZRF_FOLDER_REMOVE;
  }
  return KWRC_NONE;
}

template <typename T>
KWLONG RunGrammar(const uint8_t* text, uint32_t length, FolderSession* session, uint32_t* action) {
  FolderGrammar<T> grammar(text, length, session);
  return grammar.Run(action);
}

}  // namespace

uint8_t FolderFamilyOf(int32_t ccsid, int32_t encoding) {
  if (ccsid <= 0 || FindNameCharRow(ccsid) == nullptr) return XCS_CCSID_TYPE_UNKNOWN;
  // UTF-8, the usual folder CCSID, is its own family in either encoding:
  // known without a call to the platform.
  if (ccsid == kUtf8Ccsid) return XCS_CCSID_TYPE_UTF8;
  const uint8_t family = xcsGetCCSIDType(ccsid, encoding);
  return IsKnownFamily(family) ? family : static_cast<uint8_t>(XCS_CCSID_TYPE_UNKNOWN);
}

KWLONG ParseFolder(const uint8_t* text, uint32_t length, int32_t ccsid, uint8_t family,
                   FolderSession* session, uint32_t* action) {
  session->SetFolderEncoding(ccsid, family);
  session->ExpectFolderBytes(length);
  // The fused pass serves UTF-8 folders of the common shape. It leaves out
  // the traces, so it runs only while trace is off.
  if (family == XCS_CCSID_TYPE_UTF8 && !xtr_active(XTR_LEVEL_FLOW)) {
    KWLONG reason = KWRC_NONE;
    switch (ParseFolderFast(text, length, session, action, &reason)) {
      case FastPass::kDone:
        return reason;
      case FastPass::kGaveUp:
        session->RollbackFolder();
        session->BeginFolder();
        break;
      case FastPass::kDeclined:
        break;
    }
  }
  switch (family) {
    case XCS_CCSID_TYPE_ASCII:
      return RunGrammar<FamilyTraits<XCS_CCSID_TYPE_ASCII>>(text, length, session, action);
    case XCS_CCSID_TYPE_EBCDIC:
      return RunGrammar<FamilyTraits<XCS_CCSID_TYPE_EBCDIC>>(text, length, session, action);
    case XCS_CCSID_TYPE_UTF8:
      return RunGrammar<FamilyTraits<XCS_CCSID_TYPE_UTF8>>(text, length, session, action);
    case XCS_CCSID_TYPE_LUCS2:
      return RunGrammar<FamilyTraits<XCS_CCSID_TYPE_LUCS2>>(text, length, session, action);
    case XCS_CCSID_TYPE_BUCS2:
      return RunGrammar<FamilyTraits<XCS_CCSID_TYPE_BUCS2>>(text, length, session, action);
    default:
      *action = ZRF_FOLDER_KEEP;
      return KWRC_SOURCE_CCSID_ERROR;
  }
}

}  // namespace zxv::props

namespace zp = zxv::props;

extern "C" ZXV_API KWLONG zrf_folder_parse(const void* pFolder, KWULONG Length, KWLONG CCSID,
                                           KWLONG Encoding, ZRFFOLDERCTX* pCtx, ZRFPAL* pPAL,
                                           KWULONG* pAction, KWLONG* pCompCode, KWLONG* pReason) {
  xtr_FNC_entry(zxv::kComponent, zp::kFnFolderParse);
  KWLONG reason;
  uint32_t action = ZRF_FOLDER_KEEP;
  if (pCtx == nullptr || pPAL == nullptr || pAction == nullptr) {
    reason = zp::MissingParameter("pCtx/pPAL/pAction", __FILE__, zp::kProbeMissing);
  } else if (pFolder == nullptr && Length != 0) {
    reason = zp::MissingParameter("pFolder", __FILE__, zp::kProbeMissing);
  } else {
    xtr_parms(zxv::kComponent, zp::kFnFolderParse,
              "Length: %u, CCSID: %d, Encoding: %d, Options: 0x%X", Length, CCSID, Encoding,
              pCtx->Options);
    const uint8_t family = zp::FolderFamilyOf(CCSID, Encoding);
    zp::FolderSession session(pPAL, pCtx);
    session.BeginFolder();
    reason = zp::ParseFolder(static_cast<const uint8_t*>(pFolder), Length, CCSID, family, &session,
                             &action);
    if (reason == KWRC_NONE) {
      session.CommitFolder();
    } else {
      session.RollbackFolder();
      action = ZRF_FOLDER_KEEP;
    }
  }
  if (pAction != nullptr) *pAction = action;
  zp::SetCodes(reason, pCompCode, pReason);
  xtr_FNC_retcode(zxv::kComponent, zp::kFnFolderParse, reason);
  return reason;
}
