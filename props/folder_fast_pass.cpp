// The fused pass over UTF-8 folders of the common shape
// (folder_fast_pass.h). It follows the general grammar of folder_parser.cpp
// step by step for the markup it accepts and gives up wherever that grammar
// would take another branch; every check it makes on a name is the one the
// session's Add makes, in the same order.
#include "props/folder_fast_pass.h"

#include <bit>
#include <cstring>
#include <iterator>
#include <string_view>
#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "props/descriptor_fields.h"
#include "props/folder_markup_words.h"
#include "props/folder_node_append.h"
#include "props/folder_parser.h"
#include "props/folder_tokens.h"
#include "props/folder_values.h"
#include "props/name_char_table.h"
#include "props/name_head.h"
#include "props/property_names.h"
#include "props/property_store.h"
#include "props/value_escape.h"
#include "zxvxcs2/xcs_ccsid.h"

namespace zxv::props {
namespace {

using T = FamilyTraits<XCS_CCSID_TYPE_UTF8>;
using W = MarkupWords<T>;

// Returned by the pass's steps in place of a reason: the general grammar
// must parse the folder. Reasons are never negative.
constexpr KWLONG kGiveUp = -1;

constexpr uint8_t kNoType = 0xFF;
constexpr uint8_t kFullStopByte = '.';
constexpr int32_t kUtf8Ccsid = 1208;
// The names the selector words and keywords could be: at most this long.
constexpr uint32_t kLongestReservedWord = 12;

// What the pass needs to know of a byte of a tag name, one table load per
// byte. The name bits are the UTF-8 row's for ASCII bytes; a byte from
// 0x80 has none, which sends the name to the full character check.
enum ByteClass : uint8_t {
  kStop = 1,           // ends a tag name, or is a control character
  kNameStart = 2,      // may start a property name
  kNameFollow = 4,     // may follow in a property name (the full stop too)
  kLetter = 8,         // A-Z, a-z
  kNotFullStop = 16,   // any byte but the full stop
  kMayBeKnown = 32,    // begins a known name or a reserved family
  kAlphanumeric = 64,  // A-Z, a-z, 0-9
};

struct ByteClasses {
  uint8_t c[256];
  // Every ASCII letter, digit and the low line may follow in a name: the
  // word bytes SkipWordBytes passes need no look at the table.
  bool word_bytes_follow;
};

const ByteClasses& Classes() {
  static const ByteClasses table = [] {
    ByteClasses t{};
    const NameCharRow* row = FindNameCharRow(kUtf8Ccsid);
    for (uint32_t b = 0; b < 256; ++b) {
      uint8_t k = 0;
      if (UnitClasses<T>::kTable.c[b] & (kUnitEndsName | kUnitControl)) k |= kStop;
      if (b < 0x80 && row != nullptr) {
        if (row->classes[b] & kCharMayStart) k |= kNameStart;
        if (row->classes[b] & kCharMayFollow) k |= kNameFollow;
      }
      if ((b >= 'a' && b <= 'z') || (b >= 'A' && b <= 'Z')) k |= kLetter | kAlphanumeric;
      if (b >= '0' && b <= '9') k |= kAlphanumeric;
      if (b != '.') k |= kNotFullStop;
      t.c[b] = k;
    }
    for (uint32_t b = 0; b < 0x80; ++b) {
      if (MayBeginKnownName(static_cast<uint8_t>(b))) t.c[b] |= kMayBeKnown;
    }
    t.word_bytes_follow = true;
    for (uint32_t b = 0; b < 0x80; ++b) {
      const bool word =
          (b >= '0' && b <= '9') || (b >= 'a' && b <= 'z') || (b >= 'A' && b <= 'Z') || b == '_';
      if (word && !(t.c[b] & kNameFollow)) t.word_bytes_follow = false;
    }
    return t;
  }();
  return table;
}

// True when the `length` bytes at a and b are equal (short names: inline,
// eight bytes a step, inline at every call).
[[gnu::always_inline]] inline bool SameBytes(const uint8_t* a, const uint8_t* b, uint32_t length) {
  while (length >= 8) {
    if (Load64(a) != Load64(b)) return false;
    a += 8;
    b += 8;
    length -= 8;
  }
  if (length >= 4) {
    if (Load32(a) != Load32(b)) return false;
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

// SameName for an end tag's name against its start tag's: names of up to
// sixteen bytes, most of them, in two overlapping compares without a loop.
inline bool SameTag(const uint8_t* a, const uint8_t* b, uint32_t length) {
  if (length > 16) return SameName(a, b, length);
  if (length >= 8) {
    return ((Load64(a) ^ Load64(b)) | (Load64(a + length - 8) ^ Load64(b + length - 8))) == 0;
  }
  if (length >= 4) {
    return ((Load32(a) ^ Load32(b)) | (Load32(a + length - 4) ^ Load32(b + length - 4))) == 0;
  }
  // One to three bytes: the first, middle and last are all of them.
  return length == 0 ||
         (a[0] == b[0] && a[length / 2] == b[length / 2] && a[length - 1] == b[length - 1]);
}

// MarkupWord::Is without the library call: words are a few bytes long.
[[gnu::always_inline]] inline bool Is(const MarkupWord& word, const uint8_t* text,
                                      uint32_t length) {
  return length == word.length && SameBytes(text, word.bytes, length);
}

// A word of up to eight bytes as Load64 reads it (zero above).
constexpr uint64_t Packed(const MarkupWord& word) {
  uint64_t v = 0;
  for (uint32_t i = 0; i < word.length && i < 8; ++i) v |= uint64_t{word.bytes[i]} << (8 * i);
  return v;
}

// The value of the eight decimal digits at `p` into *value; false when one
// of them is no digit. The digits are read as one word: each byte's digit
// value, then neighbouring digits, pairs and quadruples joined by three
// multiplications.
inline bool EightDigits(const uint8_t* p, uint64_t* value) {
  constexpr uint64_t kOnes = 0x0101010101010101ull;
  constexpr uint64_t kHighNibbles = 0xF0F0F0F0F0F0F0F0ull;
  // "0" to "9" become 0 to 9, any other byte has a high nibble or is
  // above 9.
  const uint64_t x = Load64(p) ^ (0x30 * kOnes);
  if (((x | (x + 6 * kOnes)) & kHighNibbles) != 0) return false;
  uint64_t v = ((x & 0x0F0F0F0F0F0F0F0Full) * 2561) >> 8;
  v = ((v & 0x00FF00FF00FF00FFull) * 6553601) >> 16;
  v = ((v & 0x0000FFFF0000FFFFull) * 42949672960001ull) >> 32;
  *value = v;
  return true;
}

// ReadInteger for UTF-8 text, which mostly is plain digits (at most 18,
// so that they cannot overflow) after an optional minus sign: those are
// read here (the first ones in a loop, then eight at a step), anything else
// (blanks, a plus sign, more digits, no digit) by ReadInteger itself.
[[gnu::always_inline]] inline bool Integer(const uint8_t* text, uint32_t length, int64_t min,
                                           int64_t max, int64_t* value) {
  constexpr uint32_t kSafeDigits = 18;
  const bool negative = length != 0 && text[0] == '-';
  const uint32_t digits = length - (negative ? 1 : 0);
  if (digits != 0 && digits <= kSafeDigits) {
    const uint8_t* d = text + (negative ? 1 : 0);
    uint64_t sum = 0;  // unsigned: a stray byte only makes it wrap
    uint32_t bad = 0;
    const uint32_t head = digits % 8;
    for (uint32_t i = 0; i < head; ++i) {
      const uint32_t digit = static_cast<uint32_t>(d[i]) - '0';
      bad |= digit > 9 ? 1u : 0u;
      sum = sum * 10 + digit;
    }
    for (uint32_t i = head; i < digits; i += 8) {
      uint64_t eight = 0;
      bad |= EightDigits(d + i, &eight) ? 0u : 1u;
      sum = sum * 100000000 + eight;
    }
    if (bad == 0) {
      const int64_t v = negative ? -static_cast<int64_t>(sum) : static_cast<int64_t>(sum);
      if (v < min || v > max) return false;
      *value = v;
      return true;
    }
  }
  return ReadInteger<T>(text, length, min, max, value);
}

// ReadFloat for a double in UTF-8 text, which mostly is a plain decimal:
// an optional minus sign, at most 15 digits with at most one point between
// them, no exponent. Such a number is its digits as an integer (exact in a
// double) divided by a power of ten (exact up to 1e22), and that one
// division rounds as the reading of the text does. Anything else goes to
// ReadFloat.
inline bool Double(const uint8_t* text, uint32_t length, double* value) {
  constexpr uint32_t kExactDigits = 15;
  static constexpr double kPowers[kExactDigits + 1] = {
      1e0, 1e1, 1e2, 1e3, 1e4, 1e5, 1e6, 1e7, 1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};
  const bool negative = length != 0 && text[0] == '-';
  const uint32_t begin = negative ? 1 : 0;
  const uint32_t n = length - begin;
  if (n == 0 || n > kExactDigits + 1) return ReadFloat<T, double>(text, length, value);
  const uint8_t* p = text + begin;
  // The digits before the point, then those after it: two tight loops.
  uint64_t digits = 0;
  uint32_t at = 0;
  for (uint32_t d; at < n && (d = static_cast<uint32_t>(p[at]) - '0') <= 9; ++at) {
    digits = digits * 10 + d;
  }
  uint32_t point = 0;  // offset of the point in the text, 0 when none
  if (at != n) {
    if (p[at] != '.' || at == 0 || at + 1 == n) return ReadFloat<T, double>(text, length, value);
    point = begin + at;
    for (uint32_t d; ++at < n && (d = static_cast<uint32_t>(p[at]) - '0') <= 9;) {
      digits = digits * 10 + d;
    }
    if (at != n) return ReadFloat<T, double>(text, length, value);
  }
  const uint32_t count = point == 0 ? n : n - 1;
  if (count > kExactDigits) return ReadFloat<T, double>(text, length, value);
  const uint32_t fraction = point == 0 ? 0 : length - point - 1;
  const double v = static_cast<double>(digits) / kPowers[fraction];
  *value = negative ? -v : v;
  return true;
}

// ReadHexBytes for UTF-8 text, which mostly is hex digit pairs without
// blanks around them: those read in one loop with the error checked once,
// any other shape by ReadHexBytes itself.
inline bool HexBytes(const uint8_t* text, uint32_t length, uint8_t* out, uint32_t* outLength) {
  using C = FolderCursor<T>;
  if (length == 0 || length % 2 != 0 || C::IsBlank(text[0]) || C::IsBlank(text[length - 1])) {
    return ReadHexBytes<T>(text, length, out, outLength);
  }
  const int8_t* digit = HexDigits<T>::kTable.v;
  int bad = 0;
  uint32_t at = 0;
#if defined(__SSE2__)
  // Sixteen digits a step: each byte's value as a digit or as a letter
  // (the case bit set), the pairs joined in the 16-bit lanes and packed.
  const __m128i zero = _mm_setzero_si128();
  uint32_t digits = 0xFFFF;
  for (; length - at >= 16; at += 16) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text + at));
    const __m128i d = _mm_sub_epi8(v, _mm_set1_epi8('0'));
    const __m128i isDigit = _mm_cmpeq_epi8(_mm_subs_epu8(d, _mm_set1_epi8(9)), zero);
    const __m128i l = _mm_sub_epi8(_mm_or_si128(v, _mm_set1_epi8(0x20)), _mm_set1_epi8('a'));
    const __m128i isLetter = _mm_cmpeq_epi8(_mm_subs_epu8(l, _mm_set1_epi8(5)), zero);
    digits &= static_cast<uint32_t>(_mm_movemask_epi8(_mm_or_si128(isDigit, isLetter)));
    const __m128i value = _mm_or_si128(_mm_and_si128(isDigit, d),
                                       _mm_and_si128(isLetter, _mm_add_epi8(l, _mm_set1_epi8(10))));
    // Little-endian lanes: the high digit is the lane's low byte.
    const __m128i pair = _mm_or_si128(
        _mm_slli_epi16(_mm_and_si128(value, _mm_set1_epi16(0x00FF)), 4), _mm_srli_epi16(value, 8));
    _mm_storel_epi64(reinterpret_cast<__m128i*>(out + at / 2), _mm_packus_epi16(pair, pair));
  }
  if (digits != 0xFFFF) bad = -1;
#endif
  for (; at < length; at += 2) {
    const int hi = digit[text[at]];
    const int lo = digit[text[at + 1]];
    bad |= hi | lo;  // negative for a unit that is no digit
    out[at / 2] = static_cast<uint8_t>((hi << 4) | lo);
  }
  if (bad < 0) return false;
  *outLength = length / 2;
  return true;
}

// The offset of the first `byte` in [from, n) of `text`, or n; eight bytes
// a step.
inline uint32_t FindByte(const uint8_t* text, uint32_t from, uint32_t n, uint8_t byte) {
  constexpr uint64_t kOnes = 0x0101010101010101ull;
  for (; n - from >= 8; from += 8) {
    const uint64_t x = Load64(text + from) ^ (byte * kOnes);
    const uint64_t hits = (x - kOnes) & ~x & (0x80 * kOnes);
    if (hits != 0) return from + static_cast<uint32_t>(__builtin_ctzll(hits)) / 8;
  }
  while (from < n && text[from] != byte) ++from;
  return from;
}

// Four characters as Load32 reads them.
constexpr uint32_t Word4(const char (&c)[5]) {
  return uint32_t{static_cast<uint8_t>(c[0])} | uint32_t{static_cast<uint8_t>(c[1])} << 8 |
         uint32_t{static_cast<uint8_t>(c[2])} << 16 | uint32_t{static_cast<uint8_t>(c[3])} << 24;
}

// The UTF-8 family's unescaping (value_escape.cpp) for text in which every
// character is one byte, that is without lead bytes (0xC0 and above), which
// the family's routine steps over whole: "&lt;", "&gt;", "&amp;", "&quot;"
// and "&apos;" become their characters, other entities stay as written,
// and an "&" without a ";" after it ends the text. False, with nothing
// written, for text with a lead byte.
inline bool UnescapeBytes(const uint8_t* text, uint32_t n, uint8_t* out, uint32_t* outLength) {
  constexpr uint64_t kHigh = 0x8080808080808080ull;
  uint32_t at = 0;
  for (; n - at >= 8; at += 8) {
    const uint64_t w = Load64(text + at);
    if (w & (w << 1) & kHigh) return false;
  }
  for (; at < n; ++at) {
    if (text[at] >= 0xC0) return false;
  }
  uint8_t* w = out;
  uint32_t run = 0;
  for (;;) {
    const uint32_t amp = FindByte(text, run, n, '&');
    w = CopyShort(w, text + run, amp - run);
    if (amp == n) break;
    // The usual entities whole from one word: their ";" is the first one
    // after the "&".
    if (n - amp >= 4) {
      const auto head = static_cast<uint32_t>(Load32(text + amp));
      if (head == Word4("&lt;") || head == Word4("&gt;")) {
        *w++ = head == Word4("&lt;") ? '<' : '>';
        run = amp + 4;
        continue;
      }
      if (head == Word4("&amp") && n - amp >= 5 && text[amp + 4] == ';') {
        *w++ = '&';
        run = amp + 5;
        continue;
      }
    }
    const uint32_t semi = FindByte(text, amp + 1, n, ';');
    if (semi == n) break;  // the "&" and all after it are dropped
    const uint8_t* name = text + amp + 1;
    uint8_t replacement = 0;
    switch (semi - amp - 1) {
      case 2:
        if (name[1] == 't') replacement = name[0] == 'l' ? '<' : name[0] == 'g' ? '>' : 0;
        break;
      case 3:
        if (name[0] == 'a' && name[1] == 'm' && name[2] == 'p') replacement = '&';
        break;
      case 4:
        if (std::memcmp(name, "quot", 4) == 0) replacement = '"';
        if (std::memcmp(name, "apos", 4) == 0) replacement = '\'';
        break;
      default:
        break;
    }
    if (replacement != 0) {
      *w++ = replacement;
    } else {
      w = CopyShort(w, text + amp, semi - amp + 1);  // kept as written
    }
    run = semi + 1;
  }
  *outLength = static_cast<uint32_t>(w - out);
  return true;
}

struct UsualField {
  uint64_t key;     // the name as LoadUpTo8 reads it
  uint32_t length;  // 0: a free slot
  NameId id;
  KWLONG reason;
};

constexpr std::string_view kUsualFieldNames[] = {
    "jms.Dst", "jms.Rto", "jms.Tms", "jms.Exp", "jms.Cid",  "jms.Pri", "jms.Dlv",
    "jms.Gid", "jms.Seq", "mcd.Msd", "mcd.Set", "mcd.Type", "mcd.Fmt"};

// The names' slots: a multiplier chosen so that each name has a slot of
// its own, so that a look-up is one compare.
constexpr uint32_t kUsualFieldSlots = 32;
constexpr uint64_t kUsualFieldMultiplier = 0x8712b8bc076f3787ULL;

constexpr uint32_t UsualFieldSlot(uint64_t key) {
  return static_cast<uint32_t>((key * kUsualFieldMultiplier) >> 59);
}

// A name of up to eight bytes as LoadUpTo8 reads it.
constexpr uint64_t UsualFieldKey(std::string_view name) {
  uint64_t key = 0;
  for (size_t i = 0; i < name.size() && i < 8; ++i) {
    key |= uint64_t{static_cast<uint8_t>(name[i])} << (8 * i);
  }
  return key;
}

constexpr bool UsualFieldSlotsDistinct() {
  bool taken[kUsualFieldSlots] = {};
  for (const std::string_view name : kUsualFieldNames) {
    const uint32_t slot = UsualFieldSlot(UsualFieldKey(name));
    if (taken[slot] || name.size() > 8) return false;
    taken[slot] = true;
  }
  return true;
}
static_assert(UsualFieldSlotsDistinct());

struct UsualFields {
  UsualField f[kUsualFieldSlots];
};

// Filled on first use, out of line, so that the look-up keeps no registers
// for it.
[[gnu::noinline]] const UsualFields& FillUsualFields() {
  static const UsualFields table = [] {
    UsualFields t{};
    for (const std::string_view name : kUsualFieldNames) {
      const auto* bytes = reinterpret_cast<const uint8_t*>(name.data());
      const auto size = static_cast<uint32_t>(name.size());
      const NameBytes n{bytes, size, NameFamily::kUtf8};
      UsualField& f = t.f[UsualFieldSlot(UsualFieldKey(name))];
      f.key = UsualFieldKey(name);
      f.length = size;
      f.id = MayBeginKnownName(FirstAscii(n)) ? FindKnownName(n) : ZRF_NAME_NONE;
      f.reason = f.id != ZRF_NAME_NONE || !MayBeginKnownName(FirstAscii(n))
                     ? KWRC_NONE
                     : CheckReservedFamilies(n);
    }
    return t;
  }();
  return table;
}

const UsualFields* usualFields = nullptr;

// CheckForKnownName for the usual fields of the jms and mcd folders, which
// come in most headers and are known names: their answers taken once, by
// the same steps without the trace line (trace is off while the pass
// runs). The name is given as LoadUpTo8 reads it (`key`) with its length.
// False for any other name, which CheckForKnownName then takes.
inline bool UsualFieldName(uint64_t key, uint32_t length, NameId* id, KWLONG* reason) {
  const UsualFields* table = __atomic_load_n(&usualFields, __ATOMIC_ACQUIRE);
  if (table == nullptr) {
    table = &FillUsualFields();
    __atomic_store_n(&usualFields, table, __ATOMIC_RELEASE);
  }
  const UsualField& f = table->f[UsualFieldSlot(key)];
  if (f.key != key || f.length != length) return false;
  *id = f.id;
  *reason = f.reason;
  return true;
}

// The ranges of the integer types ZRF_TYPE_INT8 to ZRF_TYPE_INT64.
constexpr uint32_t kIntegerTypes = ZRF_TYPE_INT64 - ZRF_TYPE_INT8 + 1;
constexpr int64_t kIntegerMin[kIntegerTypes] = {INT8_MIN, INT16_MIN, INT32_MIN, INT64_MIN};
constexpr int64_t kIntegerMax[kIntegerTypes] = {INT8_MAX, INT16_MAX, INT32_MAX, INT64_MAX};
// A value's low bytes are its narrower members.
static_assert(std::endian::native == std::endian::little);

enum class Kind : uint8_t { kOther, kUser, kJms, kMcd };

struct Frame {
  uint32_t tag;  // offset of the tag name in the text
  uint32_t tag_bytes;
  uint32_t name_mark;  // of a group: the names' prefix before its part
  uint8_t dt;          // ZRF_TYPE_* or kNoType
  bool children;
  // Every character of the full name up to here passes the row's check
  // (the first as a start character): only the last part is left to check.
  bool name_ok;
  bool letters;  // the tag is letters only
};

}  // namespace

class FastFolderPass {
 public:
  FastFolderPass(const uint8_t* text, uint32_t length, FolderSession* session)
      : FastFolderPass(text, length, session, Classes()) {}

  FastPass Run(uint32_t* action, KWLONG* reason);
  bool touched() const { return touched_; }

 private:
  KWLONG Body(uint32_t pos);
  bool DataType(uint32_t at, Frame* f, uint32_t* pos) const;
  KWLONG Property(const Frame& f, uint32_t depth, uint32_t text, uint32_t bytes, bool entity);
  KWLONG Add(ParsedProperty* p, const Frame& f, uint32_t count, uint64_t fixed);
  bool WholeName(ParsedProperty* p, const Frame& f);
  KWLONG ThroughSession(ParsedProperty* p, const Frame& f, uint32_t count);
  bool SharesPrefixWithLast(uint32_t bytes) const;
  bool QuickAllowed() const;
  bool ShortFolderName(FolderNameSpan* span) const;
  uint32_t SkipWordBytes(uint32_t pos, uint32_t* all) const;

  FastFolderPass(const uint8_t* text, uint32_t length, FolderSession* session,
                 const ByteClasses& classes)
      : text_(text),
        end_(length),
        session_(session),
        ctx_(session->ctx_),
        names_(session->names()),
        classes_(classes.c),
        word_bytes_follow_(classes.word_bytes_follow) {}

  const uint8_t* text_;
  uint32_t end_;
  FolderSession* session_;
  ZRFFOLDERCTX* ctx_;
  ScratchBuffer& names_;
  const uint8_t* classes_;
  bool word_bytes_follow_;
  Kind kind_ = Kind::kOther;
  bool quick_ = false;    // nodes may be written here (QuickAllowed)
  bool touched_ = false;  // the list or descriptor may have changed
  uint32_t after_ = 0;    // where the folder's end tag ends
  // The list's last node's name begins with this many bytes of names_:
  // the prefix it was written with here, less what names_ lost since.
  uint32_t known_shared_ = 0;
  uint32_t base_parts_ = 0;
  uint32_t part_end_[kMaxNameParts];
  uint64_t part_hash_[kMaxNameParts];
  Frame stack_[kMaxFolderDepth];
};

// True when nodes may be appended here: the conditions under which the
// session's CanAppendAtEnd looks at the name at all.
bool FastFolderPass::QuickAllowed() const {
  const FolderSession& s = *session_;
  const ZRFPAL* pal = s.pal_;
  return s.fast_ && pal->pProps != nullptr && pal->Size >= kHeaderLength && !VerifyRequested(pal) &&
         pal->pProps->CCSID == s.ccsid_ && pal->pProps->CCSIDType == s.family_;
}

// ScanFolderName for the usual folder start: "<" at the first byte, then a
// name of ASCII letters and digits (none of which ends a name or is a
// control character), then ">". False for any other start.
bool FastFolderPass::ShortFolderName(FolderNameSpan* span) const {
  constexpr uint32_t kLongest = 16;
  if (end_ < 3 || text_[0] != '<') return false;
  uint32_t p = 1;
  while (p < end_ && p <= kLongest && (classes_[text_[p]] & kAlphanumeric) != 0) ++p;
  if (p == 1 || p >= end_ || text_[p] != '>') return false;
  *span = FolderNameSpan{1, p - 1, p};
  return true;
}

FastPass FastFolderPass::Run(uint32_t* action, KWLONG* reason) {
  const uint32_t options = ctx_->Options;
  if (options & ZRF_PARSE_BACK_LEVEL) return FastPass::kGaveUp;
  FolderNameSpan span{};
  if (!ShortFolderName(&span) &&
      ScanFolderName<T>(text_, end_, &span, kFnFolderParse) != KWRC_NONE) {
    return FastPass::kGaveUp;
  }
  const uint8_t* name = text_ + span.offset;
  if (Is(W::kUsr, name, span.length)) {
    kind_ = Kind::kUser;
  } else if (Is(W::kJms, name, span.length)) {
    kind_ = Kind::kJms;
  } else if (Is(W::kMcd, name, span.length)) {
    kind_ = Kind::kMcd;
  } else if (Is(W::kKw, name, span.length) || Is(W::kKwps, name, span.length) ||
             Is(W::kKwpsi, name, span.length) || Is(W::kKwext, name, span.length)) {
    return FastPass::kGaveUp;  // internal folders
  }
  // A folder start tag without attributes.
  if (span.after >= end_ || text_[span.after] != '>') return FastPass::kGaveUp;

  names_.Resize(0);
  bool folderNameOk = true;
  if (kind_ != Kind::kUser) {
    // The folder's name is the first part of every name in it.
    uint32_t all = kNameFollow | kNotFullStop;
    for (uint32_t i = 0; i < span.length; ++i) all &= classes_[name[i]];
    // A full stop in a part would make it two parts for the store.
    if (!(all & kNotFullStop)) return FastPass::kGaveUp;
    folderNameOk = (all & kNameFollow) && (classes_[name[0]] & kNameStart);
    if (names_.Reserve(span.length) != KWRC_NONE) return FastPass::kGaveUp;
    names_.AppendUnchecked(name, span.length);
    part_end_[0] = span.length;
    part_hash_[0] = ContinuePrefixHash(kPrefixHashStart, name, span.length);
    base_parts_ = 1;
  }
  stack_[0] = Frame{span.offset, span.length, 0, kNoType, false, folderNameOk, false};
  quick_ = QuickAllowed();

  const KWLONG result = Body(span.after + 1);
  if (result == kGiveUp) return FastPass::kGaveUp;
  if (result != KWRC_NONE) {
    *action = ZRF_FOLDER_KEEP;
    *reason = result;
    return FastPass::kDone;
  }
  // Behind the folder: blanks and NUL padding only.
  for (uint32_t p = after_; p < end_; ++p) {
    const uint8_t b = text_[p];
    if (b != 0 && !FolderCursor<T>::IsBlank(b)) return FastPass::kGaveUp;
  }
  *action = (options & ZRF_PARSE_STRIP_PARSED) ? ZRF_FOLDER_REMOVE : ZRF_FOLDER_KEEP;
  *reason = KWRC_NONE;
  return FastPass::kDone;
}

// The offset of the first byte from `pos` on that is no ASCII letter,
// digit or low line, sixteen bytes a step while sixteen remain; the bytes
// passed go into *all as their classes would (none when the row's part set
// lacks one of them: ByteClasses::word_bytes_follow).
[[gnu::always_inline]] inline uint32_t FastFolderPass::SkipWordBytes(uint32_t pos,
                                                                     uint32_t* all) const {
#if defined(__SSE2__)
  if (!word_bytes_follow_) return pos;
  const __m128i below0 = _mm_set1_epi8('0' - 1);
  const __m128i above9 = _mm_set1_epi8('9' + 1);
  const __m128i belowA = _mm_set1_epi8('a' - 1);
  const __m128i aboveZ = _mm_set1_epi8('z' + 1);
  const __m128i caseBit = _mm_set1_epi8(0x20);
  const __m128i lowLine = _mm_set1_epi8('_');
  while (end_ - pos >= 16) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text_ + pos));
    // Signed compares: bytes from 0x80 are negative and in no range.
    const __m128i digit = _mm_and_si128(_mm_cmpgt_epi8(v, below0), _mm_cmplt_epi8(v, above9));
    const __m128i folded = _mm_or_si128(v, caseBit);
    const __m128i letter =
        _mm_and_si128(_mm_cmpgt_epi8(folded, belowA), _mm_cmplt_epi8(folded, aboveZ));
    const __m128i word = _mm_or_si128(_mm_or_si128(digit, letter), _mm_cmpeq_epi8(v, lowLine));
    const auto words = static_cast<uint32_t>(_mm_movemask_epi8(word));
    const auto letters = static_cast<uint32_t>(_mm_movemask_epi8(letter));
    const uint32_t n = static_cast<uint32_t>(__builtin_ctz(~words | 0x10000u));
    const uint32_t passed = (1u << n) - 1;
    if ((letters & passed) != passed) *all &= ~uint32_t{kLetter};
    pos += n;
    if (n < 16) break;
  }
#else
  (void)all;
#endif
  return pos;
}

// " dt='...'>" at `at` (the blank that ended the tag name), as the general
// grammar's OnlyDataType reads it; false for any other shape or value.
[[gnu::always_inline]] inline bool FastFolderPass::DataType(uint32_t at, Frame* f,
                                                            uint32_t* pos) const {
  constexpr uint32_t kPrefix = 5;  // " dt=" and the quote
  if (end_ - at < kPrefix ||
      Load32(text_ + at) != Load32(reinterpret_cast<const uint8_t*>(" dt="))) {
    return false;
  }
  const uint8_t quote = text_[at + 4];
  if (quote != '\'' && quote != '"') return false;
  // The values are two to seven letters: the quote that closes one lies in
  // the eight bytes after the opening one, and a value matches as a word.
  const uint32_t value = at + kPrefix;
  if (end_ - value < 8) return false;
  const uint64_t w = Load64(text_ + value);
  constexpr uint64_t kOnes = 0x0101010101010101ull;
  const uint64_t x = w ^ (quote * kOnes);
  const uint64_t quotes = (x - kOnes) & ~x & (0x80 * kOnes);
  if (quotes == 0) return false;
  const uint32_t n = static_cast<uint32_t>(__builtin_ctzll(quotes)) / 8;
  const uint32_t close = value + n;
  if (end_ - close < 2 || text_[close + 1] != '>') return false;
  const uint64_t word = n == 0 ? 0 : w & (~uint64_t{0} >> (64 - 8 * n));
  uint8_t dt = kNoType;
  switch (n) {
    case 2:
      dt = word == Packed(W::kI4)   ? ZRF_TYPE_INT32
           : word == Packed(W::kI8) ? ZRF_TYPE_INT64
           : word == Packed(W::kI2) ? ZRF_TYPE_INT16
           : word == Packed(W::kI1) ? ZRF_TYPE_INT8
           : word == Packed(W::kR8) ? ZRF_TYPE_FLOAT64
           : word == Packed(W::kR4) ? ZRF_TYPE_FLOAT32
                                    : kNoType;
      break;
    case 3:
      if (word == Packed(W::kInt)) dt = ZRF_TYPE_INT32;
      break;
    case 4:
      if (word == Packed(W::kChar)) dt = ZRF_TYPE_STRING;
      break;
    case 6:
      if (word == Packed(W::kString)) dt = ZRF_TYPE_STRING;
      break;
    case 7:
      dt = word == Packed(W::kBoolean)  ? ZRF_TYPE_BOOLEAN
           : word == Packed(W::kBinHex) ? ZRF_TYPE_BYTE_STRING
                                        : kNoType;
      break;
    default:
      break;
  }
  if (dt == kNoType) return false;
  f->dt = dt;
  *pos = close + 2;
  return true;
}

// The elements of the folder from `pos` (behind the folder's start tag) to
// behind its end tag, as the general grammar's Body reads them.
KWLONG FastFolderPass::Body(uint32_t pos) {
  const bool groupsAllowed = kind_ == Kind::kUser || kind_ == Kind::kOther;
  uint32_t depth = 1;
  for (;;) {
    Frame& top = stack_[depth - 1];
    const uint32_t run = pos;
    bool entity = false;
    bool text = false;
    uint32_t runEnd = pos;
    if (pos >= end_ || text_[pos] != '<') {
      FolderCursor<T> c(text_, end_);
      c.set_pos(pos);
      text = c.SkipToMarkupStart(&entity);
      if (c.AtEnd()) return kGiveUp;
      runEnd = c.pos();
    }
    pos = runEnd + 1;
    if (pos < end_ && text_[pos] == '/') {
      ++pos;
      const uint32_t tagBytes = top.tag_bytes;
      if (end_ - pos < tagBytes + 1 || !SameTag(text_ + pos, text_ + top.tag, tagBytes) ||
          text_[pos + tagBytes] != '>') {
        return kGiveUp;
      }
      pos += tagBytes + 1;
      if (top.children || depth == 1) {
        if (text) return kGiveUp;
        names_.Resize(top.name_mark);
        if (known_shared_ > top.name_mark) known_shared_ = top.name_mark;
      } else if (const KWLONG reason = Property(top, depth - 1, run, runEnd - run, entity);
                 reason != KWRC_NONE) {
        return reason;
      }
      if (--depth == 0) {
        after_ = pos;
        return KWRC_NONE;
      }
      continue;
    }

    // A start tag: `top` holds elements.
    if (pos >= end_ || text || text_[pos] == '!' || text_[pos] == '?') return kGiveUp;
    if (depth > 1 && !top.children) {
      if (!groupsAllowed || top.dt != kNoType) return kGiveUp;
      // `top` becomes a group: its part joins the names' prefix.
      if (names_.Reserve(uint64_t{top.tag_bytes} + 1) != KWRC_NONE) return kGiveUp;
      top.name_mark = names_.size();
      if (top.name_mark != 0) names_.AppendUnchecked(&kFullStopByte, 1);
      names_.AppendUnchecked(text_ + top.tag, top.tag_bytes);
    }
    top.children = true;
    if (depth == kMaxFolderDepth) return kGiveUp;

    const uint32_t tag = pos;
    uint32_t all = kNameFollow | kLetter | kNotFullStop;
    uint32_t p = SkipWordBytes(pos, &all);
    for (;;) {
      if (p >= end_) return kGiveUp;
      const uint8_t k = classes_[text_[p]];
      if (k & kStop) break;
      all &= k;
      ++p;
    }
    const uint32_t tagBytes = p - tag;
    if (tagBytes == 0 || tagBytes > kMaxTagChars || !(all & kNotFullStop)) return kGiveUp;
    Frame& f = stack_[depth++];
    const bool firstPart = base_parts_ + depth == 2;
    f = Frame{tag,
              tagBytes,
              0,
              kNoType,
              false,
              (firstPart ? (classes_[text_[tag]] & kNameStart) != 0 : top.name_ok) &&
                  (all & kNameFollow) != 0,
              (all & kLetter) != 0};
    bool selfClosing = false;
    const uint8_t stop = text_[p];
    if (stop == '>') {
      pos = p + 1;
    } else if (stop == '/' && p + 1 < end_ && text_[p + 1] == '>') {
      selfClosing = true;
      pos = p + 2;
    } else if (stop != ' ' || !DataType(p, &f, &pos)) {
      return kGiveUp;
    }
    if (Is(W::kElt, text_ + tag, tagBytes)) return kGiveUp;

    // The part's end in the full name and the hash of the name up to it,
    // from the tag in the text.
    const uint32_t index = base_parts_ + depth - 2;
    part_end_[index] = index == 0 ? tagBytes : part_end_[index - 1] + 1 + tagBytes;
    part_hash_[index] = ContinuePrefixHash(index == 0 ? kPrefixHashStart : part_hash_[index - 1],
                                           text_ + tag, tagBytes);
    if (selfClosing) {
      if (const KWLONG reason = Property(f, depth - 1, pos, 0, false); reason != KWRC_NONE) {
        return reason;
      }
      --depth;
    }
  }
}

// One property: the element `f` at `depth` (the folder is depth 0) whose
// text is the `bytes` bytes at offset `text`, holding an "&" when `entity`;
// as the general grammar's Property.
[[gnu::always_inline]] inline KWLONG FastFolderPass::Property(const Frame& f, uint32_t depth,
                                                              uint32_t text, uint32_t bytes,
                                                              bool entity) {
  ParsedProperty p{};
  // The name: the prefix in names_, a full stop and the tag; whole in the
  // text for an element of the user folder at its top.
  const uint32_t prefix = names_.size();
  p.name = prefix == 0 ? text_ + f.tag : nullptr;
  p.name_length = prefix == 0 ? f.tag_bytes : prefix + 1 + f.tag_bytes;
  p.support = KWPD_SUPPORT_OPTIONAL;
  p.copy_options = KWCOPY_DEFAULT;
  p.user_context = false;

  const uint8_t* value = text_ + text;
  uint32_t valueBytes = bytes;
  if (entity) {
    ScratchBuffer& values = session_->values();
    values.Resize(0);
    if (const KWLONG reason = values.Reserve(bytes); reason != KWRC_NONE) return reason;
    uint32_t used = 0;
    if (!UnescapeBytes(value, bytes, values.data(), &used)) {
      EscapeRoutinesFor(XCS_CCSID_TYPE_UTF8)->compress(value, bytes, values.data(), &used);
    }
    value = values.data();
    valueBytes = used;
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
    if (kind_ == Kind::kJms && depth == 1) {
      const uint8_t* tag = text_ + f.tag;
      if (Is(W::kDlv, tag, f.tag_bytes) || Is(W::kPri, tag, f.tag_bytes) ||
          Is(W::kSeq, tag, f.tag_bytes)) {
        if (Integer(value, valueBytes, INT32_MIN, INT32_MAX, &integer)) {
          type = ZRF_TYPE_INT32;
          number.i32 = static_cast<int32_t>(integer);
        }
      } else if (Is(W::kExp, tag, f.tag_bytes) || Is(W::kTms, tag, f.tag_bytes)) {
        if (Integer(value, valueBytes, INT64_MIN, INT64_MAX, &integer)) {
          type = ZRF_TYPE_INT64;
          number.i64 = integer;
        }
      }
    }
  } else {
    // One path for every integer type, its range from a table: one copy
    // of the inline integer reading instead of one per type keeps the
    // pass's loop small.
    bool ok = true;
    if (const uint32_t k = type - ZRF_TYPE_INT8; k < kIntegerTypes) {
      ok = Integer(value, valueBytes, kIntegerMin[k], kIntegerMax[k], &integer);
      // The node takes the value's low bytes: its type's size.
      number.i64 = integer;
    } else if (type == ZRF_TYPE_BYTE_STRING) {
      KWLONG reason = KWRC_NONE;
      uint8_t* decoded = session_->HexValueScratch(value, valueBytes, &reason);
      if (decoded == nullptr) return reason;
      uint32_t n = 0;
      ok = HexBytes(value, valueBytes, decoded, &n);
      value = decoded;
      valueBytes = n;
    } else if (type == ZRF_TYPE_FLOAT64) {
      ok = Double(value, valueBytes, &number.r8);
    } else if (type == ZRF_TYPE_BOOLEAN) {
      // Mostly "0" or "1".
      const uint32_t digit = valueBytes == 1 ? static_cast<uint32_t>(value[0]) - '0' : 2;
      if (digit <= 1) {
        number.i32 = static_cast<int32_t>(digit);
      } else {
        ok = ReadBoolean<T>(value, valueBytes, &number.i32);
      }
    } else if (type == ZRF_TYPE_FLOAT32) {
      ok = ReadFloat<T, float>(value, valueBytes, &number.r4);
    }  // strings as they are
    if (!ok) return kGiveUp;
  }
  p.type = type;
  // Selects rather than branches: the type changes from element to
  // element.
  const bool variable = type == ZRF_TYPE_STRING || type == ZRF_TYPE_BYTE_STRING;
  uint64_t word = 0;
  std::memcpy(&word, &number, sizeof word);
  p.value = variable ? value : reinterpret_cast<const uint8_t*>(&number);
  p.value_length = variable ? valueBytes : kNodeLayouts[type].fixed_size;
  // The node's value word: the value, or a variable value's length.
  const uint64_t fixed = variable ? valueBytes : word;
  return Add(&p, f, base_parts_ + depth, fixed);
}

// The session's Add for the property `p` of element `f`, whose name has
// `count` parts (part_end_, part_hash_) and whose node value word
// (AppendParsedNodeWith) is `fixed`: the name checks, then the node at the
// end of the list when the store would put it there; the session itself
// for the rest.
[[gnu::always_inline]] inline KWLONG FastFolderPass::Add(ParsedProperty* p, const Frame& f,
                                                         uint32_t count, uint64_t fixed) {
  FolderSession& s = *session_;
  const uint32_t prefix = names_.size();
  const uint8_t first = prefix == 0 ? text_[f.tag] : names_.data()[0];
  // The name may be a reserved word only when it begins "Body." or
  // "Properties." or is a short word of letters (the session's
  // MayBeReserved for byte families); it may be a known name or in a
  // reserved family only when its first character begins one.
  const bool mayBeReserved = first == 'B' || first == 'P' ||
                             (p->name_length <= kLongestReservedWord && prefix == 0 && f.letters);
  const bool mayBeKnown = (classes_[first] & kMayBeKnown) != 0;
  NameId id = ZRF_NAME_NONE;
  bool knownAnswered = false;
  if (mayBeKnown && f.name_ok && !mayBeReserved && prefix != 0 && kind_ != Kind::kUser &&
      p->name_length <= 8) {
    // A usual field of the jms or mcd folder: its answer from the table,
    // with the name put together in a word rather than in names_.
    const uint64_t key = LoadUpTo8(names_.data(), prefix) |
                         uint64_t{kFullStopByte} << (8 * prefix) |
                         LoadUpTo8(text_ + f.tag, f.tag_bytes) << (8 * (prefix + 1));
    KWLONG known = KWRC_NONE;
    knownAnswered = UsualFieldName(key, p->name_length, &id, &known);
    if (knownAnswered && known != KWRC_NONE) return kGiveUp;
  }
  if (!knownAnswered && (!f.name_ok || mayBeReserved || mayBeKnown)) {
    // The checks of the session's CheckName, on the whole name, whose
    // refusals the general grammar reports (and traces).
    if (p->name == nullptr && !WholeName(p, f)) return kGiveUp;
    if (!f.name_ok &&
        CheckNameCharacters(p->name, p->name_length, s.ccsid_, s.family_, nullptr) != KWRC_NONE) {
      return kGiveUp;
    }
    const NameBytes name{p->name, p->name_length, NameFamily::kUtf8};
    if (mayBeReserved && CheckReservedWords(name) != KWRC_NONE) return kGiveUp;
    if (mayBeKnown && CheckForKnownName(name, &id) != KWRC_NONE) return kGiveUp;
  }
  if (id != ZRF_NAME_NONE && ctx_->pMsgDesc != nullptr && FindDescriptorMapping(id) != nullptr) {
    return ThroughSession(p, f, count);
  }
  if (!quick_ && s.fast_ && s.last_node_ == 0 &&
      (s.pal_->pProps == nullptr || s.pal_->Size < kHeaderLength)) {
    // The first property of a parse into no list: the list the store
    // would create for it, then the node as the store would write it.
    touched_ = true;
    if (const KWLONG reason = PrepareListForAppend(s.pal_, kFnFolderParse); reason != KWRC_NONE) {
      names_.Resize(prefix);
      return reason;
    }
    quick_ = QuickAllowed();
  }
  // The set of prefixes stops the session's own appends when it cannot
  // grow, also while it remembers a name.
  if (!quick_ || !s.fast_) return ThroughSession(p, f, count);

  // The session's CanAppendAtEnd.
  uint32_t rememberFrom = 0;
  if (s.last_node_ == 0) {
    if (s.pal_->pProps->StrucLen != kHeaderLength) return ThroughSession(p, f, count);
  } else {
    const uint32_t n = count < s.last_count_ ? count : s.last_count_;
    uint32_t k = 0;
    while (k < n && part_end_[k] == s.last_ends_[k] && part_hash_[k] == s.last_hashes_[k]) ++k;
    if (k >= count || (k != 0 && !SharesPrefixWithLast(part_end_[k - 1])) ||
        !s.AddPrefix(part_hash_[k])) {
      return ThroughSession(p, f, count);
    }
    rememberFrom = k + 1;
  }
  uint32_t at = 0;
  touched_ = true;
  const uint8_t* tag = text_ + f.tag;
  const uint32_t tagBytes = f.tag_bytes;
  const uint8_t* prefixBytes = names_.data();
  // Property typed the value itself: a parsed type with a value of its size.
  const KWLONG reason = AppendParsedNodeWith<true>(
      s.pal_, *p,
      [=](uint8_t* to) {
        if (prefix != 0) {
          to = CopyShort(to, prefixBytes, prefix);
          *to++ = kFullStopByte;
        }
        return CopyShort(to, tag, tagBytes);
      },
      &at, fixed);
  names_.Resize(prefix);
  if (reason != KWRC_NONE) return reason;
  s.last_node_ = at;
  known_shared_ = prefix;
  s.RememberLast(NameParts{part_end_, part_hash_, count}, rememberFrom);
  return KWRC_NONE;
}

// Puts the whole name of `p` (element `f`) behind the prefix in names_ and
// points p->name at it; false when names_ cannot grow.
bool FastFolderPass::WholeName(ParsedProperty* p, const Frame& f) {
  if (names_.Reserve(uint64_t{f.tag_bytes} + 1) != KWRC_NONE) return false;
  names_.AppendUnchecked(&kFullStopByte, 1);
  names_.AppendUnchecked(text_ + f.tag, f.tag_bytes);
  p->name = names_.data();
  return true;
}

// True when the list's last node's name begins with the first `bytes` bytes
// of the names' prefix (the hashes only pointed the way): known without a
// look at the node when the pass wrote it with that prefix.
bool FastFolderPass::SharesPrefixWithLast(uint32_t bytes) const {
  if (bytes <= known_shared_) return true;
  const ZRFPROPS* list = session_->pal_->pProps;
  NodeView last{};
  return DecodeNode(ListBytes(list) + session_->last_node_, list->StrucLen - session_->last_node_,
                    &last) &&
         last.name_length >= bytes && SameName(last.name, names_.data(), bytes);
}

KWLONG FastFolderPass::ThroughSession(ParsedProperty* p, const Frame& f, uint32_t count) {
  const uint32_t prefix = p->name == text_ + f.tag ? 0 : p->name_length - 1 - f.tag_bytes;
  if (p->name == nullptr && !WholeName(p, f)) return kGiveUp;
  touched_ = true;
  const NameParts parts{part_end_, part_hash_, count};
  known_shared_ = 0;  // the last node may be any node now
  const KWLONG reason = session_->Add(*p, &parts, kFnFolderParse);
  names_.Resize(prefix);
  quick_ = QuickAllowed();
  return reason;
}

FastPass ParseFolderFast(const uint8_t* text, uint32_t length, FolderSession* session,
                         uint32_t* action, KWLONG* reason) {
  FastFolderPass pass(text, length, session);
  const FastPass result = pass.Run(action, reason);
  if (result == FastPass::kGaveUp && !pass.touched()) return FastPass::kDeclined;
  return result;
}

}  // namespace zxv::props
