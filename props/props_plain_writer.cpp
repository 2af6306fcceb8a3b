// The plain writer: the common case of writing a property list as KWRFH2
// folders, beside the general writer of props_folder_writer.cpp. Most lists
// hold optional properties of the ordinary types under short names of
// letters and digits, in a UTF-8 list written into UTF-8 folders. Each
// name's folder is decided with a few bit masks and an element is written
// with a handful of block copies; anything else makes the plain writer give
// up before a byte counts, and the general writer takes the list from the
// start.
//
// When the output has room for the whole header, the list is written in one
// pass in list order (WritePlainInListOrder), folders moved into their order
// at the end. Otherwise a first pass plans the folders (PlanPlainFolders)
// and a second writes them in order, making room as it goes
// (WritePlainFolders).
//
// Both writers give the same bytes and make room at the same points with
// the same sizes, so that the output buffer grows (and may fail to) exactly
// as it would have.
#include <cmath>
#include <cstring>
#include <string_view>

#include "props/props_text_scan.h"
#include "props/props_writer.h"
#include "props/rfh2_family.h"
#include "props/value_escape.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace zxv::props {
namespace {

// The general writer's room for an element (kept in step with
// FolderWriter::WriteElement): markup units beyond names and value, units
// per group tag.
constexpr uint32_t kMarkupUnits = 192;
constexpr uint32_t kGroupTagUnits = 5;
constexpr uint32_t kFolderAlignment = 4;

// The list-order writer's staging area for headers that make the buffer
// grow, and the largest list it stages. The area is on the stack (16 KB of
// the caller's thread, in one out-of-line frame) rather than from the
// allocator so that the allocations a caller sees, and the failures it can
// inject, stay exactly those of the general writer.
constexpr uint32_t kStageBytes = 16 * 1024;
constexpr uint32_t kMaxStagedList = 12 * 1024;

// Most groups a name of kMaxPlainName bytes can open.
constexpr uint32_t kMaxPlainGroups = kMaxPlainName / 2;

// Folder names as words (byte i in bits 8i..8i+7, zero above), their ids,
// and whether a folder holds groups; "usr" is left out (a name beginning
// "usr." is a user property like any other).
constexpr uint64_t WordOf(std::string_view s) {
  uint64_t w = 0;
  for (size_t i = 0; i < s.size(); ++i) w |= uint64_t{static_cast<uint8_t>(s[i])} << (8 * i);
  return w;
}
struct FolderWord {
  uint64_t word;
  FolderId id;
};
constexpr FolderWord kFolderWords[] = {
    {WordOf("mcd"), FolderId::kMcd},     {WordOf("jms"), FolderId::kJms},
    {WordOf("psc"), FolderId::kPsc},     {WordOf("kwps"), FolderId::kKwps},
    {WordOf("kwpse"), FolderId::kKwpse}, {WordOf("kwpsi"), FolderId::kKwpsi},
    {WordOf("kwext"), FolderId::kKwext}, {WordOf("zol_rfp"), FolderId::kZolRfp},
};

// The folder words by a perfect hash: the top three bits of the word times
// kFolderHashFactor, a different slot for each; a first part is a folder's
// name when it equals the word in its slot.
constexpr uint64_t kFolderHashFactor = 0xe539d34d20d1eb7dULL;
constexpr uint32_t FolderSlot(uint64_t word) {
  return static_cast<uint32_t>((word * kFolderHashFactor) >> 61);
}
struct FolderEntry {
  uint64_t word;
  FolderId id;
  bool no_groups;
};
constexpr auto kFolderHash = [] {
  struct Table {
    FolderEntry entry[8];
    uint32_t filled;
  } t{};
  for (const FolderWord& f : kFolderWords) {
    const bool noGroups = f.id == FolderId::kMcd || f.id == FolderId::kJms ||
                          f.id == FolderId::kKwps || f.id == FolderId::kKwpsi ||
                          f.id == FolderId::kKwext;
    t.entry[FolderSlot(f.word)] = FolderEntry{f.word, f.id, noGroups};
    t.filled |= 1u << FolderSlot(f.word);
  }
  return t;
}();
static_assert(kFolderHash.filled == 0xFF, "the folder hash must give each folder its own slot");

// The jms leaves that the parser reads as numbers when they have no dt.
constexpr uint32_t kJmsInt32Leaves[] = {static_cast<uint32_t>(WordOf("Dlv")),
                                        static_cast<uint32_t>(WordOf("Pri")),
                                        static_cast<uint32_t>(WordOf("Seq"))};
constexpr uint32_t kJmsInt64Leaves[] = {static_cast<uint32_t>(WordOf("Exp")),
                                        static_cast<uint32_t>(WordOf("Tms"))};
constexpr uint64_t kEltWord = WordOf("elt");

// The node layouts of the types the plain writer takes (codes below
// ZRF_TYPE_NAME_ONLY), for reading a node without branches on its type:
// a variable value's length (all ones in variable_mask) or the fixed size,
// and where the value is (behind the name for a variable value).
struct PlainLayout {
  uint8_t name_length_at;
  uint8_t copy_at;
  uint8_t name_at;
  uint8_t value_at;
  uint32_t fixed_size;
  uint32_t variable_mask;
  int32_t value_from_name;  // value_at - name_at
};
constexpr uint32_t kVariableLengthAt = 8;
constexpr auto kPlainLayouts = [] {
  struct Table {
    PlainLayout layout[ZRF_TYPE_NAME_ONLY];
    constexpr const PlainLayout& operator[](uint32_t code) const { return layout[code]; }
  } t{};
  for (uint32_t code = 0; code < ZRF_TYPE_NAME_ONLY; ++code) {
    const NodeLayout& l = kNodeLayouts[code];
    const bool variable = l.length_offset != NodeLayout::kNone;
    const auto valueAt =
        static_cast<uint8_t>(variable ? l.name_offset : (l.fixed_size != 0 ? l.fixed_offset : 0));
    t.layout[code] = PlainLayout{l.name_length_offset,
                                 l.copy_offset,
                                 l.name_offset,
                                 valueAt,
                                 l.fixed_size,
                                 variable ? ~uint32_t{0} : 0,
                                 int32_t{valueAt} - int32_t{l.name_offset}};
  }
  return t;
}();
static_assert(kNodeLayouts[ZRF_TYPE_STRING].length_offset == kVariableLengthAt &&
              kNodeLayouts[ZRF_TYPE_BYTE_STRING].length_offset == kVariableLengthAt);

struct NameShape {
  FolderId folder;
  uint32_t parts_start;
  uint32_t leaf_start;
  uint64_t stops;
};

// What a name's bytes are to the folder choice, a bit per byte: full
// stops, leads (digits and "e": a part may not begin with a digit, and one
// beginning with "e" may be the reserved part elt), and odd bytes (up to
// 0x40 and neither stop nor digit: markup characters, controls, blanks and
// the rarer punctuation).
struct NameBits {
  uint64_t stops = 0;
  uint64_t leads = 0;
  uint64_t odd = 0;
};

#if defined(__SSE2__)
inline void ClassifyBlock(__m128i v, uint32_t at, NameBits* bits) {
  const __m128i low = _mm_cmpeq_epi8(_mm_min_epu8(v, _mm_set1_epi8(0x40)), v);
  const __m128i d = _mm_sub_epi8(v, _mm_set1_epi8('0'));
  const __m128i digit = _mm_cmpeq_epi8(_mm_min_epu8(d, _mm_set1_epi8(9)), d);
  const __m128i stop = _mm_cmpeq_epi8(v, _mm_set1_epi8('.'));
  const __m128i lead = _mm_or_si128(digit, _mm_cmpeq_epi8(v, _mm_set1_epi8('e')));
  const __m128i odd = _mm_andnot_si128(_mm_or_si128(stop, digit), low);
  bits->stops |= uint64_t{static_cast<uint16_t>(_mm_movemask_epi8(stop))} << at;
  bits->leads |= uint64_t{static_cast<uint16_t>(_mm_movemask_epi8(lead))} << at;
  bits->odd |= uint64_t{static_cast<uint16_t>(_mm_movemask_epi8(odd))} << at;
}
#endif

// ClassifyName for names the blocks below do not take: longer ones, and
// those too near the end of the list to read whole blocks. Out of line, so
// that the common case keeps its values in registers.
[[gnu::noinline]] uint64_t ClassifyNameByParts(const uint8_t* name, uint32_t length,
                                               NameBits* bits) {
#if defined(__SSE2__)
  for (uint32_t at = 0; at < length; at += 16) {
    ClassifyBlock(scan::LoadBlock(name + at, length - at), at, bits);
  }
#else
  for (uint32_t at = 0; at < length; ++at) {
    const uint8_t c = name[at];
    const uint64_t bit = uint64_t{1} << at;
    if (c == '.') {
      bits->stops |= bit;
    } else if (c >= '0' && c <= '9') {
      bits->leads |= bit;
    } else if (c <= 0x40) {
      bits->odd |= bit;
    }
    if (c == 'e') bits->leads |= bit;
  }
#endif
  return LoadUpTo8(name, length < 8 ? length : 8);
}

// The bits of a name of 1 to kMaxPlainName bytes and its first 8 bytes
// (zero past its end); `listEnd` bounds what may be read behind it.
inline uint64_t ClassifyName(const uint8_t* name, uint32_t length, const uint8_t* listEnd,
                             NameBits* bits) {
#if defined(__SSE2__)
  // Most names: one or two blocks read whole, whatever lies behind the
  // name.
  if (length <= 32 && listEnd - name >= 32) {
    const __m128i v0 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(name));
    ClassifyBlock(v0, 0, bits);
    if (length > 16) {
      ClassifyBlock(_mm_loadu_si128(reinterpret_cast<const __m128i*>(name + 16)), 16, bits);
    }
    return static_cast<uint64_t>(_mm_cvtsi128_si64(v0));
  }
#else
  (void)listEnd;
#endif
  return ClassifyNameByParts(name, length, bits);
}

// True when a part of the name (its parts begin at `starts`) is elt.
bool HasEltPart(const uint8_t* name, uint32_t length, uint64_t stops) {
  uint32_t start = 0;
  for (uint64_t rest = stops;; rest &= rest - 1) {
    const uint32_t end = rest != 0 ? static_cast<uint32_t>(__builtin_ctzll(rest)) : length;
    if (end - start == 3 && LoadUpTo8(name + start, 3) == kEltWord) return true;
    if (rest == 0) return false;
    start = end + 1;
  }
}

// True when a part of the name begins with a digit or is elt; `leads` holds
// the parts' starts that are digits or "e". Out of line: plain names seldom
// have either.
[[gnu::noinline]] bool HasBadPart(const uint8_t* name, uint32_t length, uint64_t stops,
                                  uint64_t leads) {
  for (uint64_t rest = leads; rest != 0; rest &= rest - 1) {
    const uint8_t c = name[__builtin_ctzll(rest)];
    if (c >= '0' && c <= '9') return true;
  }
  return HasEltPart(name, length, stops);
}

// The folder and the parts of a name of 1 to kMaxPlainName bytes; false
// when the name is not plain as the plain writer takes it (see
// props_writer.h), so that the general folder choice would place it
// otherwise or has to look closer.
[[gnu::always_inline]] inline bool ShapeName(const uint8_t* name, uint32_t length,
                                             const uint8_t* listEnd, NameShape* shape) {
  NameBits bits;
  uint64_t head = ClassifyName(name, length, listEnd, &bits);
  const uint64_t valid = ~uint64_t{0} >> (64 - length);  // length is 1 to 64
  const uint64_t stops = bits.stops & valid;
  // Where the parts begin; a bit past the name only behind a stop at its
  // end, which the name is refused for first.
  const uint64_t starts = (stops << 1) | 1;
  // No odd byte, no part that is empty (a stop at the start, behind a stop
  // or at the end) or begins with a digit, no elt.
  if (((bits.odd & valid) | (stops & (starts | ~(valid >> 1)))) != 0) return false;
  if (const uint64_t leads = bits.leads & starts;
      leads != 0 && HasBadPart(name, length, stops, leads)) {
    return false;
  }
  // Without branches on the name's shape, which varies from name to name:
  // a name without stops has its first part 63 bytes long (no folder's)
  // and its leaf at 0.
  const auto first = static_cast<uint32_t>(__builtin_ctzll(stops | (uint64_t{1} << 63)));
  const auto leaf = stops == 0 ? 0u : static_cast<uint32_t>(64 - __builtin_clzll(stops | 1));
  // The first part as a word; none of 8 bytes or more is a folder's.
  head = first < 8 ? head & ((uint64_t{1} << (8 * first)) - 1) : 0;
  const FolderEntry& f = kFolderHash.entry[FolderSlot(head)];
  // A folder without groups takes two-part names only; the folder's own
  // part is not written.
  const bool inFolder = f.word == head && (!f.no_groups || (stops & (stops - 1)) == 0);
  *shape = NameShape{inFolder ? f.id : FolderId::kUsr, inFolder ? first + 1 : 0, leaf, stops};
  return true;
}

// The eight decimal digits of v (below 10^8) as the bytes of a word, the
// first digit in the lowest byte (0 to 9, not yet characters): the four
// high and four low digits in the two halves, each half split by 100 and
// each quarter by 10, all lanes at once with multiplications that divide
// exactly below 10000 and below 100.
inline uint64_t EightDigitBytes(uint32_t v) {
  uint64_t x = (v / 10000) | (uint64_t{v % 10000} << 32);
  const uint64_t by100 = ((x * 10486) >> 20) & 0x0000007F0000007FULL;
  x = by100 | ((x - by100 * 100) << 16);
  const uint64_t by10 = ((x * 103) >> 10) & 0x000F000F000F000FULL;
  return by10 | ((x - by10 * 10) << 8);
}
constexpr uint64_t kDigitZeros = 0x3030303030303030ULL;

// The decimal text of v (below 10^8) at p, without leading zeros; its end.
// Stores eight bytes (the room behind a value holds them).
inline uint8_t* PutUpTo8Digits(uint8_t* p, uint32_t v) {
  const uint64_t digits = EightDigitBytes(v);
  // Leading zero digits, at most seven (v = 0 is "0").
  const auto zeros = static_cast<uint32_t>(__builtin_ctzll(digits | (uint64_t{1} << 56))) / 8;
  const uint64_t text = (digits + kDigitZeros) >> (8 * zeros);
  std::memcpy(p, &text, sizeof text);
  return p + 8 - zeros;
}

// Exactly eight digits of v (below 10^8) at p, zeros in front; its end.
inline uint8_t* PutEightDigits(uint8_t* p, uint32_t v) {
  const uint64_t text = EightDigitBytes(v) + kDigitZeros;
  std::memcpy(p, &text, sizeof text);
  return p + 8;
}

// The decimal text of v at p; its end. Eight digits per 64-bit division
// (by a constant: a multiplication).
inline uint8_t* PutUnsigned(uint8_t* p, uint64_t v) {
  constexpr uint64_t kEight = 100000000;
  if (v < kEight) return PutUpTo8Digits(p, static_cast<uint32_t>(v));
  const uint64_t high = v / kEight;
  const auto low = static_cast<uint32_t>(v % kEight);
  if (high < kEight) {
    p = PutUpTo8Digits(p, static_cast<uint32_t>(high));
  } else {
    p = PutUpTo8Digits(p, static_cast<uint32_t>(high / kEight));
    p = PutEightDigits(p, static_cast<uint32_t>(high % kEight));
  }
  return PutEightDigits(p, low);
}

inline uint8_t* PutSigned(uint8_t* p, int64_t v) {
  *p = '-';
  const uint64_t magnitude = static_cast<uint64_t>(v);
  return v < 0 ? PutUnsigned(p + 1, uint64_t{0} - magnitude) : PutUnsigned(p, magnitude);
}

// The text of a float64 at p as FormatFixedValue writes it; its end. Values
// of 1 and more with at most two decimals are written here: the fewest
// decimals k for which the nearest integer m to |v| * 10^k gives v back
// (m / 10^k, as FormatFixedValue tries them, in the same operations), then
// m with k decimals, which is the shortest text's fixed form; with k = 0
// fixed while m ends in fewer than five zeros. Any other value goes to
// FormatFixedValue.
inline uint8_t* PutFloat64(uint8_t* p, const uint8_t* value) {
  double v;
  std::memcpy(&v, value, sizeof v);
  const double a = std::fabs(v);
  if (a >= 1 && a < 1e15) {
    *p = '-';
    uint8_t* q = p + (std::signbit(v) ? 1 : 0);
    const auto m0 = static_cast<uint64_t>(a + 0.5);
    if (static_cast<double>(m0) / 1e0 == a) {
      if (m0 % 100000 != 0) return PutUnsigned(q, m0);
    } else if (const double scaled1 = a * 1e1; scaled1 < 1e15) {
      const auto m1 = static_cast<uint64_t>(scaled1 + 0.5);
      if (static_cast<double>(m1) / 1e1 == a) {
        q = PutUnsigned(q, m1 / 10);
        q[0] = '.';
        q[1] = static_cast<uint8_t>('0' + m1 % 10);
        return q + 2;
      }
      if (const double scaled2 = a * 1e2; scaled2 < 1e15) {
        const auto m2 = static_cast<uint64_t>(scaled2 + 0.5);
        if (static_cast<double>(m2) / 1e2 == a) {
          q = PutUnsigned(q, m2 / 100);
          *q = '.';
          std::memcpy(q + 1, kDigitPairs.pair[m2 % 100], 2);
          return q + 3;
        }
      }
    }
  }
  return p + FormatFixedValue(ZRF_TYPE_FLOAT64, value, reinterpret_cast<char*>(p));
}

// Bytes of value text the general writer makes room for, by type: per
// byte of the value, and in all.
constexpr uint8_t kRoomPerValueByte[ZRF_TYPE_COUNT] = {5, 0, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0};
constexpr uint8_t kRoomPerValue[ZRF_TYPE_COUNT] = {0,
                                                   kMaxValueText,
                                                   0,
                                                   kMaxValueText,
                                                   kMaxValueText,
                                                   kMaxValueText,
                                                   kMaxValueText,
                                                   kMaxValueText,
                                                   kMaxValueText,
                                                   0,
                                                   0,
                                                   0};

// A name part of n bytes at p: one block moved whole when the list holds
// sixteen bytes behind it (WholeBlockPart) and the output has room for them.
inline bool WholeBlockPart(const uint8_t* part, uint32_t n, const uint8_t* listEnd) {
  return n <= 16 && listEnd - part >= 16;
}
inline uint8_t* PutPart(uint8_t* p, const uint8_t* part, uint32_t n, bool wholeBlock) {
#if defined(__SSE2__)
  if (wholeBlock) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(p),
                     _mm_loadu_si128(reinterpret_cast<const __m128i*>(part)));
    return p + n;
  }
#else
  (void)wholeBlock;
#endif
  return CopyShort(p, part, n);
}

// The escaped form of a value of n bytes at w, as scan::EscapeBytes writes
// it; its end. When the list holds 15 bytes behind the value, blocks are
// read whole and stored whole (up to 16 bytes past the end, which the
// element's room leaves free), without the short-tail steps.
template <typename T>
[[gnu::always_inline]] inline uint8_t* EscapeValue(uint8_t* w, const uint8_t* text, uint32_t n,
                                                   const uint8_t* listEnd) {
#if defined(__SSE2__)
  if (static_cast<uint64_t>(listEnd - text) >= uint64_t{n} + 15) {
    static constexpr uint8_t kAmp[8] = {T::Char('&'), T::Char('a'), T::Char('m'), T::Char('p'),
                                        T::Char(';')};
    static constexpr uint8_t kLt[4] = {T::Char('&'), T::Char('l'), T::Char('t'), T::Char(';')};
    const uint8_t* s = text;
    const uint8_t* const e = text + n;
    while (s < e) {
      const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s));
      _mm_storeu_si128(reinterpret_cast<__m128i*>(w), v);
      const auto left = static_cast<uint32_t>(e - s);
      uint32_t stops = scan::EscapeStops<T>(v);
      if (left < 16) stops &= (1u << left) - 1;
      if (stops == 0) {
        const uint32_t step = left < 16 ? left : 16;
        w += step;
        s += step;
        continue;
      }
      const auto run = static_cast<uint32_t>(__builtin_ctz(stops));
      w += run;
      s += run;
      if (*s == T::Char('&')) {
        std::memcpy(w, kAmp, sizeof kAmp);
        w += 5;
        ++s;
      } else if (*s == T::Char('<')) {
        std::memcpy(w, kLt, sizeof kLt);
        w += 4;
        ++s;
      } else {
        // A lead byte: its character copied whole (the list holds the bytes
        // read behind it).
        const uint32_t step = T::CharUnits(s, static_cast<uint32_t>(e - s));
        std::memcpy(w, s, 4);
        w += step;
        s += step;
      }
    }
    return w;
  }
#else
  (void)listEnd;
#endif
  return scan::EscapeBytes<T>(w, text, n);
}

// The open groups of the folder being written: the group parts of the
// last element's name (from `base`), where each begins and ends.
struct OpenGroups {
  const uint8_t* base = nullptr;
  uint32_t count = 0;
  uint32_t start[kMaxPlainGroups];
  uint32_t end[kMaxPlainGroups];

  // The general writer's room for the open groups' tags: their bytes and
  // kGroupTagUnits per group and one more; kept as the groups change.
  uint32_t tag_room = kGroupTagUnits;

  void CountRoom() { tag_room = (count == 0 ? 0 : end[count - 1]) + kGroupTagUnits * (count + 1); }

  uint8_t* CloseFrom(uint8_t* p, uint32_t keep) {
    while (count > keep) {
      --count;
      *p++ = '<';
      *p++ = '/';
      p = CopyShort(p, base + start[count], end[count] - start[count]);
      *p++ = '>';
    }
    CountRoom();
    return p;
  }

  // Makes the open groups those of `groups` (parts each ended by a full
  // stop; bit i of `stops` set for a stop at groups[i]), as the general
  // writer does: closes those not shared, opens the rest. Shared groups
  // have the same offsets in both names, as all parts before them are
  // alike.
  uint8_t* Switch(uint8_t* p, const uint8_t* groups, uint64_t stops) {
    uint32_t shared = 0;
    uint32_t from = 0;
    uint64_t rest = stops;
    for (; rest != 0 && shared < count; rest &= rest - 1) {
      const auto at = static_cast<uint32_t>(__builtin_ctzll(rest));
      const uint32_t bytes = at - from;
      if (bytes != end[shared] - start[shared] ||
          !SameName(base + start[shared], groups + from, bytes)) {
        break;
      }
      ++shared;
      from = at + 1;
    }
    p = CloseFrom(p, shared);
    for (; rest != 0; rest &= rest - 1) {
      const auto at = static_cast<uint32_t>(__builtin_ctzll(rest));
      start[count] = from;
      end[count] = at;
      ++count;
      *p++ = '<';
      p = CopyShort(p, groups + from, at - from);
      *p++ = '>';
      from = at + 1;
    }
    base = groups;
    CountRoom();
    return p;
  }
};

// Bit i set where name[i] is a full stop, for the first n (below 64) bytes.
inline uint64_t StopsOf(const uint8_t* name, uint32_t n) {
  uint64_t stops = 0;
  for (uint32_t at = 0; at < n; ++at) stops |= uint64_t{name[at] == '.'} << at;
  return stops;
}

// The output as the writer holds it: the write position and the end of
// the room, in registers rather than in the buffer's fields.
struct Output {
  ZRFHDRBUF* buffer;
  uint8_t* p;
  uint8_t* limit;

  // Room for `more` bytes at p, made as the general writer makes it.
  KWLONG Reserve(uint64_t more) {
    if (more <= static_cast<uint64_t>(limit - p)) return KWRC_NONE;
    return Grow(more);
  }
  [[gnu::noinline]] KWLONG Grow(uint64_t more) {
    buffer->Length = static_cast<KWULONG>(p - buffer->pBuffer);
    const KWLONG reason = ReserveFolderOut(buffer, more);
    p = buffer->pBuffer + buffer->Length;
    limit = buffer->pBuffer + buffer->Size;
    return reason;
  }
};

// A selected node as both writers read it.
struct PlainElement {
  const uint8_t* name;
  const uint8_t* value;
  uint32_t name_bytes;
  uint32_t value_bytes;
  uint32_t code;
  uint32_t parts_start;
  uint32_t leaf_start;
  uint64_t stops;  // bit i set for a full stop at name[i]; 0: not known
};

// A folder's start and end tags as written, built once from its name, so
// that each is one short copy.
struct FolderText {
  uint8_t start[16];  // <name>
  uint8_t end[16];    // </name>
  uint32_t chars;     // the name's
};
inline constexpr auto kFolderTexts = [] {
  constexpr std::string_view kNames[kFolderCount] = {"mcd",   "jms",   "usr",   "psc",    "kwps",
                                                     "kwpse", "kwpsi", "kwext", "zol_rfp"};
  struct Table {
    FolderText text[kFolderCount];
  } t{};
  for (uint32_t f = 0; f < kFolderCount; ++f) {
    FolderText& x = t.text[f];
    const std::string_view name = kNames[f];
    x.chars = static_cast<uint32_t>(name.size());
    x.start[0] = '<';
    x.end[0] = '<';
    x.end[1] = '/';
    for (uint32_t i = 0; i < x.chars; ++i) {
      x.start[1 + i] = static_cast<uint8_t>(name[i]);
      x.end[2 + i] = static_cast<uint8_t>(name[i]);
    }
    x.start[1 + x.chars] = '>';
    x.end[2 + x.chars] = '>';
  }
  return t;
}();
inline const FolderText& FolderTextOf(FolderId folder) {
  return kFolderTexts.text[static_cast<uint32_t>(folder)];
}

// The general writer's room for a folder's start tag behind its
// NameValueLength, for an element (to the byte), and for the end tags and
// padding of a folder.
inline uint64_t FolderStartRoom(const FolderText& folder) {
  return kFolderLengthBytes + uint64_t{folder.chars} + 2;
}
template <typename T>
inline uint64_t ElementRoom(const PlainElement& e, const OpenGroups& open) {
  uint64_t valueRoom = uint64_t{kRoomPerValueByte[e.code]} * e.value_bytes + kRoomPerValue[e.code];
  // (The length first: it is seldom that long, whereas the type changes
  // from element to element.)
  if (e.value_bytes > kWorkBufferSize && e.code == ZRF_TYPE_STRING) {
    valueRoom = EscapeRoutinesFor(T::kCcsidType)->escaped_size(e.value, e.value_bytes);
  }
  return uint64_t{open.tag_room} + uint64_t{3 + kGroupTagUnits} * e.name_bytes + kGroupTagUnits +
         kMarkupUnits + valueRoom;
}
inline uint64_t FolderEndRoom(const FolderText& folder, const OpenGroups& open) {
  return uint64_t{open.tag_room} + folder.chars + 3 + kFolderAlignment;
}

// The folder's start tag at p, behind room for its NameValueLength; the end.
inline uint8_t* PutFolderStart(uint8_t* p, const FolderText& folder) {
  return CopyShort(p + kFolderLengthBytes, folder.start, folder.chars + 2);
}

// Closes the open groups and the folder that begins at folderStart, pads it
// to a multiple of 4 bytes and fills in its NameValueLength; the end.
inline uint8_t* PutFolderEnd(uint8_t* p, uint8_t* folderStart, const FolderText& folder,
                             OpenGroups* open, bool reversed) {
  p = open->CloseFrom(p, 0);
  p = CopyShort(p, folder.end, folder.chars + 3);
  // Blanks up to a multiple of 4 bytes, stored four at once (the end's
  // room holds them).
  std::memcpy(p, "    ", kFolderAlignment);
  p += (kFolderAlignment -
        static_cast<uint32_t>(p - folderStart - kFolderLengthBytes) % kFolderAlignment) %
       kFolderAlignment;
  StoreInt(folderStart, static_cast<int32_t>(p - folderStart - kFolderLengthBytes), reversed);
  return p;
}

// One element at p (room made for it): the groups switched to those of its
// name, its tags, type attribute and value; the end.
template <typename T>
[[gnu::always_inline]] inline uint8_t* PutElement(uint8_t* p, const PlainElement& e, bool jms,
                                                  const uint8_t* listEnd, OpenGroups* open) {
  const uint32_t groupsBytes = e.leaf_start - e.parts_start;
  if (groupsBytes != 0 || open->count != 0) {
    const uint8_t* groups = e.name + e.parts_start;
    // Most often the groups are those of the element before.
    if (open->count != 0 && open->end[open->count - 1] + 1 == groupsBytes &&
        SameName(open->base, groups, groupsBytes)) {
      open->base = groups;
    } else if (groupsBytes == 0) {
      // Out of every group: nothing to compare.
      p = open->CloseFrom(p, 0);
    } else {
      // The name's stops when its node was read, else from its bytes.
      const uint64_t stops = e.stops != 0 ? e.stops : StopsOf(e.name, e.leaf_start);
      p = open->Switch(p, groups, (stops >> e.parts_start) & ((uint64_t{1} << groupsBytes) - 1));
    }
  }
  const uint8_t* leaf = e.name + e.leaf_start;
  const uint32_t leafBytes = e.name_bytes - e.leaf_start;
  const uint32_t code = e.code;
  const uint8_t* value = e.value;
  *p = '<';
  const bool leafBlock = WholeBlockPart(leaf, leafBytes, listEnd);
  p = PutPart(p + 1, leaf, leafBytes, leafBlock);

  const AttributeBlock* attribute = &kTypeBlocks.block[code];
  if (jms && leafBytes == 3) {
    // Leaves the parser reads as numbers: their strings say so, their
    // numbers of the expected size need not.
    const auto word = static_cast<uint32_t>(LoadUpTo8(leaf, 3));
    const bool int32Leaf =
        word == kJmsInt32Leaves[0] || word == kJmsInt32Leaves[1] || word == kJmsInt32Leaves[2];
    const bool int64Leaf = word == kJmsInt64Leaves[0] || word == kJmsInt64Leaves[1];
    if (code == ZRF_TYPE_STRING && (int32Leaf || int64Leaf)) {
      attribute = &kStringBlock;
    } else if ((code == ZRF_TYPE_INT32 && int32Leaf) || (code == ZRF_TYPE_INT64 && int64Leaf)) {
      attribute = &kTypeBlocks.block[ZRF_TYPE_STRING];
    }
  }
  std::memcpy(p, attribute->text, sizeof attribute->text);
  p += attribute->length;

  // One branch on the type for the value.
  *p = '>';
  switch (code) {
    case ZRF_TYPE_NULL:
      p[0] = '/';
      p[1] = '>';
      return p + 2;
    case ZRF_TYPE_STRING:
      p = EscapeValue<T>(p + 1, value, e.value_bytes, listEnd);
      break;
    case ZRF_TYPE_BYTE_STRING:
      ++p;
      for (uint32_t b = 0; b < e.value_bytes; ++b) {
        std::memcpy(p, kHexPairs.pair[value[b]], 2);
        p += 2;
      }
      break;
    case ZRF_TYPE_BOOLEAN:
      p[1] = LoadU32(value) != 0 ? '1' : '0';
      p += 2;
      break;
    case ZRF_TYPE_INT8:
      p = PutSigned(p + 1, static_cast<int8_t>(value[0]));
      break;
    case ZRF_TYPE_INT16:
      p = PutSigned(p + 1, static_cast<int16_t>(LoadU16(value)));
      break;
    case ZRF_TYPE_INT32:
      p = PutSigned(p + 1, static_cast<int32_t>(LoadU32(value)));
      break;
    case ZRF_TYPE_INT64:
      p = PutSigned(p + 1, static_cast<int64_t>(LoadU64(value)));
      break;
    case ZRF_TYPE_FLOAT64:
      p = PutFloat64(p + 1, value);
      break;
    default:  // ZRF_TYPE_FLOAT32
      p += 1 + FormatFixedValue(code, value, reinterpret_cast<char*>(p + 1));
      break;
  }
  p[0] = '<';
  p[1] = '/';
  p = PutPart(p + 2, leaf, leafBytes, leafBlock);
  *p++ = '>';
  return p;
}

template <typename T>
KWLONG WriteFolders(const PlainPlan& plan, const uint8_t* list, const uint8_t* listEnd,
                    bool reversed, ZRFHDRBUF* buffer) {
  Output out{buffer, buffer->pBuffer + buffer->Length, buffer->pBuffer + buffer->Size};
  OpenGroups open;
  for (uint32_t rest = plan.folders; rest != 0; rest &= rest - 1) {
    const auto folder = static_cast<FolderId>(__builtin_ctz(rest));
    const FolderText& text = FolderTextOf(folder);
    if (const KWLONG reason = out.Reserve(FolderStartRoom(text)); reason != KWRC_NONE) {
      return reason;
    }
    const uint64_t lengthAt = static_cast<uint64_t>(out.p - buffer->pBuffer);
    out.p = PutFolderStart(out.p, text);
    const bool jms = folder == FolderId::kJms;

    for (uint32_t i = plan.head[static_cast<uint32_t>(folder)]; i != PlainPlan::kEnd;
         i = plan.slots[i].next) {
      const PlainSlot& slot = plan.slots[i];
      const uint8_t* node = list + slot.offset;
      const PlainElement e{
          node + slot.name_at, node + slot.value_at, slot.name_length, slot.value_length,
          slot.code,           slot.parts_start,     slot.leaf_start,  0};
      if (const KWLONG reason = out.Reserve(ElementRoom<T>(e, open)); reason != KWRC_NONE) {
        return reason;
      }
      out.p = PutElement<T>(out.p, e, jms, listEnd, &open);
    }

    if (const KWLONG reason = out.Reserve(FolderEndRoom(text, open)); reason != KWRC_NONE) {
      return reason;
    }
    out.p = PutFolderEnd(out.p, buffer->pBuffer + lengthAt, text, &open, reversed);
  }
  buffer->Length = static_cast<KWULONG>(out.p - buffer->pBuffer);
  return KWRC_NONE;
}

// What the first pass makes of a node.
enum class NodeUse { kTake, kSkip, kRefuse };

// Reads the node at `offset` (below `end`) for the plain writers: kTake with
// *e, *folder and *next (the offset of the node behind) filled in; kSkip for
// a node that is not written (*next filled in); kRefuse for a node the plain
// writers do not take or cannot decode.
[[gnu::always_inline]] inline NodeUse ReadPlainNode(const uint8_t* bytes, uint32_t offset,
                                                    uint32_t end, const uint8_t* listEnd,
                                                    int32_t copyPurpose, PlainElement* e,
                                                    FolderId* folder, uint32_t* next) {
  const uint8_t* node = bytes + offset;
  const uint32_t left = end - offset;
  const uint32_t code = left >= 4 ? LoadU32(node) : ZRF_TYPE_COUNT;
  // The types the plain writer takes, whose nodes have Support at 4, the
  // name length, copy options and name within the first 20 bytes, a
  // variable value's length at 8.
  if (code >= ZRF_TYPE_NAME_ONLY || left < 20) {
    NodeView view;
    if (!DecodeNode(node, left, &view)) return NodeUse::kRefuse;
    *next = offset + view.length;
    // Nodes that are not written do not matter; any other needs the
    // general writer.
    if (!SelectedByPurpose(view, copyPurpose) ||
        (view.type_flags & ZRF_TYPE_MASK) == ZRF_TYPE_NAME_ONLY) {
      return NodeUse::kSkip;
    }
    return NodeUse::kRefuse;
  }
  // Without branches on the type, which varies from node to node.
  const PlainLayout& layout = kPlainLayouts[code];
  const uint32_t nameLength = LoadU16(node + layout.name_length_at);
  const uint32_t variableLength = LoadU32(node + kVariableLengthAt) & layout.variable_mask;
  const uint64_t padded = PadToNodeAlignment(uint64_t{layout.name_at} + nameLength +
                                             variableLength + (layout.variable_mask & 1));
  if (padded > left) return NodeUse::kRefuse;
  *next = offset + static_cast<uint32_t>(padded);
  const uint32_t copy = node[layout.copy_at];
  if (copyPurpose != 0 && copyPurpose != KWCOPY_ALL &&
      (copy & (KWCOPY_ALL | static_cast<uint32_t>(copyPurpose))) == 0) {
    return NodeUse::kSkip;
  }
  // Any Support but optional and any copy options but the default need
  // the general writer's attributes.
  if (LoadU32(node + 4) != KWPD_SUPPORT_OPTIONAL || (copy & KWCOPY_VALID_MASK) != KWCOPY_DEFAULT ||
      nameLength - 1 >= kMaxPlainName) {
    return NodeUse::kRefuse;
  }
  NameShape shape;
  const uint8_t* name = node + layout.name_at;
  if (!ShapeName(name, nameLength, listEnd, &shape)) return NodeUse::kRefuse;
  *e = PlainElement{name,
                    name + layout.value_from_name + (nameLength & layout.variable_mask),
                    nameLength,
                    variableLength | layout.fixed_size,
                    code,
                    shape.parts_start,
                    shape.leaf_start,
                    shape.stops};
  *folder = shape.folder;
  return NodeUse::kTake;
}

// The list-order writer: each element written as its node is read, into
// the folder that is open, so that no plan is kept. A folder is opened when
// the first of its elements comes and closed when an element of another
// folder does; folders that come out of their order are moved into it at
// the end. It gives up (kNeedsPlan) on a folder whose elements do not all
// follow one another in the list, and wherever the general writer would
// make room by growing the buffer (in its own order of folders) or the
// buffer lacks room for a move; it never allocates.
template <typename T, bool staged>
PlainOutcome WriteInListOrder(const uint8_t* bytes, uint32_t end, int32_t copyPurpose,
                              bool reversed, ZRFHDRBUF* buffer, uint8_t* stage, uint32_t stageBytes,
                              uint32_t* written, uint32_t* skippedOut, KWLONG* failure,
                              HeaderDestination* destination) {
  const uint8_t* listEnd = bytes + end;
  // Written in the buffer itself, or staged apart when the buffer may
  // have to grow: then no element may need more room than the buffer has
  // now, so that every growth of the general writer doubles it.
  uint8_t* const base = staged ? stage : buffer->pBuffer;
  uint8_t* const limit = staged ? stage + stageBytes : base + buffer->Size;
  uint8_t* p = staged ? stage : base + buffer->Length;
  const uint64_t mostRoom = staged ? buffer->Size : ~uint64_t{0};

  // The folders as written: where each begins, its bytes, and the furthest
  // byte from its start that a reservation of the general writer asks for.
  struct Run {
    uint32_t start;
    uint32_t length;
    uint64_t reach;
  };
  Run runs[kFolderCount];
  uint8_t runOf[kFolderCount];
  uint8_t idOf[kFolderCount];
  uint32_t runCount = 0;
  uint32_t seen = 0;
  bool inOrder = true;

  OpenGroups open;
  const FolderText* text = &kFolderTexts.text[0];
  uint8_t* folderStart = nullptr;
  // The furthest byte the folder's reservations reach (within the buffer).
  const uint8_t* reach = nullptr;
  bool jms = false;
  uint32_t count = 0;
  uint32_t skipped = 0;
  const auto closeFolder = [&]() {
    const uint64_t room = FolderEndRoom(*text, open);
    if (room > static_cast<uint64_t>(limit - p) || room > mostRoom) return false;
    reach = p + room > reach ? p + room : reach;
    p = PutFolderEnd(p, folderStart, *text, &open, reversed);
    Run& run = runs[runCount - 1];
    run.length = static_cast<uint32_t>(p - folderStart);
    run.reach = static_cast<uint64_t>(reach - folderStart);
    return true;
  };

  FolderId current = static_cast<FolderId>(kFolderCount);
  for (uint32_t offset = kHeaderLength; offset < end;) {
    PlainElement e;
    FolderId folder;
    const NodeUse use =
        ReadPlainNode(bytes, offset, end, listEnd, copyPurpose, &e, &folder, &offset);
    if (use == NodeUse::kSkip) {
      ++skipped;
      continue;
    }
    if (use == NodeUse::kRefuse) return PlainOutcome::kNotPlain;
    if (folder != current) {
      if (runCount != 0 && !closeFolder()) return PlainOutcome::kNeedsPlan;
      const uint32_t bit = 1u << static_cast<uint32_t>(folder);
      if ((seen & bit) != 0) return PlainOutcome::kNeedsPlan;
      inOrder = inOrder && seen < bit;
      seen |= bit;
      current = folder;
      text = &FolderTextOf(folder);
      jms = folder == FolderId::kJms;
      const uint64_t room = FolderStartRoom(*text);
      if (room > static_cast<uint64_t>(limit - p) || room > mostRoom) {
        return PlainOutcome::kNeedsPlan;
      }
      folderStart = p;
      reach = p + room;
      runOf[static_cast<uint32_t>(folder)] = static_cast<uint8_t>(runCount);
      idOf[runCount] = static_cast<uint8_t>(folder);
      runs[runCount++] = Run{static_cast<uint32_t>(p - base), 0, 0};
      p = PutFolderStart(p, *text);
    }
    const uint64_t room = ElementRoom<T>(e, open);
    if (room > static_cast<uint64_t>(limit - p) || room > mostRoom) return PlainOutcome::kNeedsPlan;
    reach = p + room > reach ? p + room : reach;
    p = PutElement<T>(p, e, jms, listEnd, &open);
    ++count;
  }
  if (count == 0) return PlainOutcome::kNotPlain;
  if (!closeFolder()) return PlainOutcome::kNeedsPlan;

  if constexpr (staged) {
    // The general writer writes the folders in the order of their ids,
    // doubling the buffer whenever a reservation finds it too small (no
    // reservation asks for more than the buffer has): as often as its
    // furthest reservation needs. Then the folders in their order.
    uint64_t at = buffer->Length;
    uint64_t need = at;
    for (uint32_t rest = seen; rest != 0; rest &= rest - 1) {
      const Run& run = runs[runOf[__builtin_ctz(rest)]];
      need = at + run.reach > need ? at + run.reach : need;
      at += run.length;
    }
    const uint32_t length = buffer->Length;
    while (need > buffer->Size) {
      buffer->Length = buffer->Size;
      const KWLONG reason = ReserveFolderOut(buffer, 1);
      buffer->Length = length;
      if (reason != KWRC_NONE) {
        *failure = reason;
        return PlainOutcome::kFailed;
      }
    }
    uint8_t* t = buffer->pBuffer + length;
    if (destination != nullptr && at <= destination->size) {
      // Nothing can fail any more and the header fits the destination:
      // the folders go there at once rather than through the buffer.
      t = destination->bytes + length;
      destination->placed_from = length;
    }
    for (uint32_t rest = seen; rest != 0; rest &= rest - 1) {
      const Run& run = runs[runOf[__builtin_ctz(rest)]];
      std::memcpy(t, stage + run.start, run.length);
      t += run.length;
    }
    buffer->Length = static_cast<KWULONG>(at);
    *written = count;
    *skippedOut = skipped;
    return PlainOutcome::kWritten;
  }

  // The general writer writes the folders in the order of their ids: none
  // of its reservations may find the buffer too small there either.
  uint64_t at = buffer->Length;
  for (uint32_t rest = seen; rest != 0; rest &= rest - 1) {
    const Run& run = runs[runOf[__builtin_ctz(rest)]];
    if (at + run.reach > buffer->Size) return PlainOutcome::kNeedsPlan;
    at += run.length;
  }

  if (!inOrder) {
    // The folders from the first to the last out of place, copied in their
    // order into the room behind them and back.
    uint8_t order[kFolderCount];
    uint32_t n = 0;
    for (uint32_t rest = seen; rest != 0; rest &= rest - 1) {
      order[n++] = static_cast<uint8_t>(__builtin_ctz(rest));
    }
    uint32_t first = 0;
    while (idOf[first] == order[first]) ++first;
    uint32_t last = runCount - 1;
    while (idOf[last] == order[last]) --last;
    const uint32_t from = runs[first].start;
    const uint32_t bytesToMove = runs[last].start + runs[last].length - from;
    if (bytesToMove > static_cast<uint64_t>(limit - p)) return PlainOutcome::kNeedsPlan;
    uint8_t* t = p;
    for (uint32_t k = first; k <= last; ++k) {
      const Run& run = runs[runOf[order[k]]];
      std::memcpy(t, base + run.start, run.length);
      t += run.length;
    }
    std::memcpy(base + from, p, bytesToMove);
  }
  buffer->Length = static_cast<KWULONG>(p - base);
  *written = count;
  *skippedOut = skipped;
  return PlainOutcome::kWritten;
}

// The list-order writer with its staging area, out of line so that the
// common case keeps a small frame.
[[gnu::noinline]] PlainOutcome WriteStaged(const uint8_t* bytes, uint32_t end, int32_t copyPurpose,
                                           uint8_t family, bool reversed, ZRFHDRBUF* out,
                                           uint32_t* written, uint32_t* skipped, KWLONG* failure,
                                           HeaderDestination* destination) {
  uint8_t stage[kStageBytes];
  if (family == XCS_CCSID_TYPE_UTF8) {
    return WriteInListOrder<FamilyTraits<XCS_CCSID_TYPE_UTF8>, true>(
        bytes, end, copyPurpose, reversed, out, stage, kStageBytes, written, skipped, failure,
        destination);
  }
  return WriteInListOrder<FamilyTraits<XCS_CCSID_TYPE_ASCII>, true>(
      bytes, end, copyPurpose, reversed, out, stage, kStageBytes, written, skipped, failure,
      destination);
}

}  // namespace

bool PlanPlainFolders(const ZRFPROPS* list, int32_t copyPurpose, PlainPlan* plan) {
  for (uint16_t& h : plan->head) h = PlainPlan::kEnd;
  plan->folders = 0;
  uint32_t count = 0;
  uint32_t skipped = 0;
  const uint8_t* bytes = ListBytes(list);
  const uint32_t end = list->StrucLen;
  const uint8_t* listEnd = bytes + end;
  const bool everyCopy = copyPurpose == 0 || copyPurpose == KWCOPY_ALL;
  const uint32_t purposeBits = KWCOPY_ALL | static_cast<uint32_t>(copyPurpose);
  for (uint32_t offset = kHeaderLength; offset < end;) {
    const uint8_t* node = bytes + offset;
    const uint32_t left = end - offset;
    const uint32_t code = left >= 4 ? LoadU32(node) : ZRF_TYPE_COUNT;
    // The types the plain writer takes, whose nodes have Support at 4, the
    // name length, copy options and name within the first 20 bytes, a
    // variable value's length at 8.
    if (code >= ZRF_TYPE_NAME_ONLY || left < 20) {
      NodeView view;
      if (!DecodeNode(node, left, &view)) return false;
      offset += view.length;
      // Nodes that are not written do not matter; any other needs the
      // general writer.
      if (!SelectedByPurpose(view, copyPurpose) ||
          (view.type_flags & ZRF_TYPE_MASK) == ZRF_TYPE_NAME_ONLY) {
        ++skipped;
        continue;
      }
      return false;
    }
    // Without branches on the type, which varies from node to node.
    const PlainLayout& layout = kPlainLayouts[code];
    const uint32_t nameLength = LoadU16(node + layout.name_length_at);
    const uint32_t variableLength = LoadU32(node + kVariableLengthAt) & layout.variable_mask;
    const uint32_t valueLength = variableLength | layout.fixed_size;
    const uint64_t padded = PadToNodeAlignment(uint64_t{layout.name_at} + nameLength +
                                               variableLength + (layout.variable_mask & 1));
    if (padded > left) return false;
    const uint32_t at = offset;
    offset += static_cast<uint32_t>(padded);
    const uint32_t copy = node[layout.copy_at];
    if (!everyCopy && (copy & purposeBits) == 0) {
      ++skipped;
      continue;
    }
    // Any Support but optional and any copy options but the default need
    // the general writer's attributes.
    if (LoadU32(node + 4) != KWPD_SUPPORT_OPTIONAL ||
        (copy & KWCOPY_VALID_MASK) != KWCOPY_DEFAULT || nameLength - 1 >= kMaxPlainName ||
        count == kMaxPlainNodes) {
      return false;
    }
    NameShape shape;
    if (!ShapeName(node + layout.name_at, nameLength, listEnd, &shape)) return false;

    PlainSlot& slot = plan->slots[count];
    slot.offset = at;
    slot.value_length = valueLength;
    slot.name_at = layout.name_at;
    slot.name_length = static_cast<uint8_t>(nameLength);
    slot.value_at = static_cast<uint8_t>(layout.value_at + (nameLength & layout.variable_mask));
    slot.code = static_cast<uint8_t>(code);
    slot.parts_start = static_cast<uint8_t>(shape.parts_start);
    slot.leaf_start = static_cast<uint8_t>(shape.leaf_start);
    slot.next = PlainPlan::kEnd;
    const auto folder = static_cast<uint32_t>(shape.folder);
    const uint32_t bit = 1u << folder;
    if ((plan->folders & bit) == 0) {
      plan->head[folder] = static_cast<uint16_t>(count);
    } else {
      plan->slots[plan->tail[folder]].next = static_cast<uint16_t>(count);
    }
    plan->tail[folder] = static_cast<uint16_t>(count);
    plan->folders |= bit;
    ++count;
  }
  plan->count = count;
  plan->skipped = skipped;
  return true;
}

KWLONG WritePlainFolders(const PlainPlan& plan, const ZRFPROPS* list, uint8_t family, bool reversed,
                         ZRFHDRBUF* out) {
  const uint8_t* bytes = ListBytes(list);
  const uint8_t* listEnd = bytes + list->StrucLen;
  if (family == XCS_CCSID_TYPE_UTF8) {
    return WriteFolders<FamilyTraits<XCS_CCSID_TYPE_UTF8>>(plan, bytes, listEnd, reversed, out);
  }
  return WriteFolders<FamilyTraits<XCS_CCSID_TYPE_ASCII>>(plan, bytes, listEnd, reversed, out);
}

PlainOutcome WritePlainInListOrder(const ZRFPROPS* list, int32_t copyPurpose, uint8_t family,
                                   bool reversed, ZRFHDRBUF* out, uint32_t* written,
                                   uint32_t* skipped, KWLONG* failure,
                                   HeaderDestination* destination) {
  const uint8_t* bytes = ListBytes(list);
  const uint32_t end = list->StrucLen;
  // Folders seldom take twice the bytes of the list: a list that fits
  // twice in the room left is written in the buffer; a larger one, up to
  // kMaxStagedList, is staged, and the buffer made to grow as the general
  // writer would.
  if (uint64_t{end} * 2 > out->Size - out->Length) {
    if (end > kMaxStagedList) return PlainOutcome::kNeedsPlan;
    return WriteStaged(bytes, end, copyPurpose, family, reversed, out, written, skipped, failure,
                       destination);
  }
  if (family == XCS_CCSID_TYPE_UTF8) {
    return WriteInListOrder<FamilyTraits<XCS_CCSID_TYPE_UTF8>, false>(
        bytes, end, copyPurpose, reversed, out, nullptr, 0, written, skipped, failure, nullptr);
  }
  return WriteInListOrder<FamilyTraits<XCS_CCSID_TYPE_ASCII>, false>(
      bytes, end, copyPurpose, reversed, out, nullptr, 0, written, skipped, failure, nullptr);
}

}  // namespace zxv::props
