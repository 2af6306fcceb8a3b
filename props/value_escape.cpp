// Escaping and unescaping of folder values, and quoting, written once over
// the family traits of rfh2_family.h; the per-family tables and the
// exported zrf<family>* shells are instances of the one algorithm.
#include "props/value_escape.h"

#include <array>
#include <bit>
#include <cstring>
#include <iterator>

#include "props/property_store.h"
#include "props/rfh2_family.h"
#include "zxvxcs2/xcs_erdp.h"
#include "zxvxcs2/xcs_trace.h"
#include "zxvxzu/value_escape.h"

namespace zxv::props {
namespace {

constexpr uint32_t kProbeMissing = 1;

template <typename T>
class Escaper {
 public:
  using Unit = typename T::Unit;
  static constexpr uint32_t kB = T::kUnitBytes;

  static uint32_t EscapedSize(const uint8_t* text, uint32_t length) {
    const uint32_t units = length / kB;
    uint64_t size = 0;
    uint32_t i = 0;
    for (;;) {
      const uint32_t plain = Skip<kStopAmp | kStopLt>(text, i, units);
      size += uint64_t{plain - i} * kB;
      if ((i = plain) >= units) break;
      const Unit u = T::Load(text + i * kB);
      if (u == kAmp || u == kLt) {
        size += (u == kAmp ? std::size(kAmpEntity) : std::size(kLtEntity)) * kB;
        ++i;
      } else {
        const uint32_t n = T::CharUnits(text + i * kB, units - i);
        size += uint64_t{n} * kB;
        i += n;
      }
    }
    return size > UINT32_MAX ? UINT32_MAX : static_cast<uint32_t>(size);
  }

  static void Expand(const uint8_t* text, uint32_t length, uint8_t* out, uint32_t* out_length) {
    const uint32_t units = length / kB;
    uint8_t* w = out + *out_length;
    uint32_t run = 0;  // first unit not yet copied
    uint32_t i = 0;
    while ((i = Skip<kStopAmp | kStopLt>(text, i, units)) < units) {
      const Unit u = T::Load(text + i * kB);
      if (u != kAmp && u != kLt) {
        i += T::CharUnits(text + i * kB, units - i);
        continue;
      }
      w = Copy(w, text + run * kB, i - run);
      w = u == kAmp ? Put(w, kAmpEntity) : Put(w, kLtEntity);
      run = ++i;
    }
    w = Copy(w, text + run * kB, units - run);
    *out_length = static_cast<uint32_t>(w - out);
  }

  // Output never runs ahead of input, so out may equal text; runs are moved,
  // not copied.
  static void Compress(const uint8_t* text, uint32_t length, uint8_t* out, uint32_t* out_length) {
    const uint32_t units = length / kB;
    uint8_t* w = out;
    uint32_t run = 0;
    uint32_t i = 0;
    while ((i = Skip<kStopAmp>(text, i, units)) < units) {
      if (T::Load(text + i * kB) != kAmp) {
        i += T::CharUnits(text + i * kB, units - i);
        continue;
      }
      w = Move(w, text + run * kB, i - run);
      uint32_t end = i + 1;  // the ";" that closes the entity name
      while ((end = Skip<kStopSemi>(text, end, units)) < units &&
             T::Load(text + end * kB) != kSemi) {
        end += T::CharUnits(text + end * kB, units - end);
      }
      if (end >= units) {
        // No ";" before the end: the "&" and all after it are dropped.
        *out_length = static_cast<uint32_t>(w - out);
        return;
      }
      Unit replacement;
      if (Entity(text + (i + 1) * kB, end - i - 1, &replacement)) {
        T::Store(w, replacement);
        w += kB;
      } else {
        w = Move(w, text + i * kB, end - i + 1);  // kept as written
      }
      run = i = end + 1;
    }
    w = Move(w, text + run * kB, units - run);
    *out_length = static_cast<uint32_t>(w - out);
  }

  static uint32_t QuotedSize(bool enclose, const uint8_t* text, uint32_t length) {
    const uint32_t units = length / kB;
    uint64_t size = enclose ? 2 * kB : 0;
    uint32_t i = 0;
    for (;;) {
      const uint32_t plain = Skip<kStopQuote>(text, i, units);
      size += uint64_t{plain - i} * kB;
      if ((i = plain) >= units) break;
      if (T::Load(text + i * kB) == kQuote) {
        size += 2 * kB;
        ++i;
      } else {
        const uint32_t n = T::CharUnits(text + i * kB, units - i);
        size += uint64_t{n} * kB;
        i += n;
      }
    }
    return size > UINT32_MAX ? UINT32_MAX : static_cast<uint32_t>(size);
  }

  static void Quote(bool enclose, const uint8_t* text, uint32_t length, uint8_t* out,
                    uint32_t* out_length) {
    const uint32_t units = length / kB;
    uint8_t* w = out + *out_length;
    if (enclose) w = PutUnit(w, kQuote);
    uint32_t run = 0;
    uint32_t i = 0;
    while ((i = Skip<kStopQuote>(text, i, units)) < units) {
      if (T::Load(text + i * kB) != kQuote) {
        i += T::CharUnits(text + i * kB, units - i);
        continue;
      }
      // Copy through the quote, then write it once more.
      ++i;
      w = Copy(w, text + run * kB, i - run);
      w = PutUnit(w, kQuote);
      run = i;
    }
    w = Copy(w, text + run * kB, units - run);
    if (enclose) w = PutUnit(w, kQuote);
    *out_length = static_cast<uint32_t>(w - out);
  }

 private:
  static constexpr Unit kAmp = T::Char('&');
  static constexpr Unit kLt = T::Char('<');
  static constexpr Unit kSemi = T::Char(';');
  static constexpr Unit kQuote = T::Char('"');

  // The units a walk must look at: the markup it acts on, and in UTF-8 the
  // lead bytes, whose characters it steps over whole.
  static constexpr uint32_t kStopAmp = 1;
  static constexpr uint32_t kStopLt = 2;
  static constexpr uint32_t kStopSemi = 4;
  static constexpr uint32_t kStopQuote = 8;

  template <uint32_t kStops>
  static constexpr bool IsStop(Unit u) {
    return ((kStops & kStopAmp) != 0 && u == kAmp) || ((kStops & kStopLt) != 0 && u == kLt) ||
           ((kStops & kStopSemi) != 0 && u == kSemi) ||
           ((kStops & kStopQuote) != 0 && u == kQuote) || (T::kHasLeadBytes && u >= 0xC0);
  }

  template <uint32_t kStops>
  static constexpr std::array<bool, 256> StopTable() {
    std::array<bool, 256> table{};
    for (uint32_t b = 0; b < 256; ++b) table[b] = IsStop<kStops>(static_cast<Unit>(b));
    return table;
  }

  // Flags the high bit of every byte of `w` that equals `c` (exact for the
  // lowest such byte; a borrow may flag bytes above it).
  static uint64_t BytesEqual(uint64_t w, uint8_t c) {
    constexpr uint64_t kOnes = 0x0101010101010101ull;
    const uint64_t v = w ^ (kOnes * c);
    return (v - kOnes) & ~v & (kOnes * 0x80);
  }

  // The first unit from i on that a walk must look at; `units` when none.
  // Single-byte text is looked at eight bytes a step, then through a table.
  template <uint32_t kStops>
  static uint32_t Skip(const uint8_t* text, uint32_t i, uint32_t units) {
    if constexpr (kB == 1) {
      static constexpr std::array<bool, 256> kTable = StopTable<kStops>();
      // The byte that a flag stands for is found from the low end.
      while (std::endian::native == std::endian::little && units - i >= 8) {
        uint64_t w;
        std::memcpy(&w, text + i, 8);
        uint64_t stops = 0;
        if constexpr ((kStops & kStopAmp) != 0) stops |= BytesEqual(w, kAmp);
        if constexpr ((kStops & kStopLt) != 0) stops |= BytesEqual(w, kLt);
        if constexpr ((kStops & kStopSemi) != 0) stops |= BytesEqual(w, kSemi);
        if constexpr ((kStops & kStopQuote) != 0) stops |= BytesEqual(w, kQuote);
        // UTF-8 lead bytes: both top bits set.
        if constexpr (T::kHasLeadBytes) stops |= w & (w << 1) & 0x8080808080808080ull;
        if (stops != 0) return i + static_cast<uint32_t>(__builtin_ctzll(stops)) / 8;
        i += 8;
      }
      while (i < units && !kTable[text[i]]) ++i;
    } else {
      while (i < units && !IsStop<kStops>(T::Load(text + i * kB))) ++i;
    }
    return i;
  }

  // Entities as the family writes them, and the names unescaping knows.
  static constexpr Unit kAmpEntity[] = {T::Char('&'), T::Char('a'), T::Char('m'), T::Char('p'),
                                        T::Char(';')};
  static constexpr Unit kLtEntity[] = {T::Char('&'), T::Char('l'), T::Char('t'), T::Char(';')};
  static constexpr Unit kNameLt[] = {T::Char('l'), T::Char('t')};
  static constexpr Unit kNameGt[] = {T::Char('g'), T::Char('t')};
  static constexpr Unit kNameAmp[] = {T::Char('a'), T::Char('m'), T::Char('p')};
  static constexpr Unit kNameQuot[] = {T::Char('q'), T::Char('u'), T::Char('o'), T::Char('t')};
  static constexpr Unit kNameApos[] = {T::Char('a'), T::Char('p'), T::Char('o'), T::Char('s')};

  // Runs of `units` units; empty runs touch nothing (text may be null then).
  static uint8_t* Copy(uint8_t* w, const uint8_t* from, uint32_t units) {
    if (units == 0) return w;
    std::memcpy(w, from, size_t{units} * kB);
    return w + size_t{units} * kB;
  }
  static uint8_t* Move(uint8_t* w, const uint8_t* from, uint32_t units) {
    if (units == 0) return w;
    std::memmove(w, from, size_t{units} * kB);
    return w + size_t{units} * kB;
  }

  static uint8_t* PutUnit(uint8_t* w, Unit u) {
    T::Store(w, u);
    return w + kB;
  }

  template <size_t N>
  static uint8_t* Put(uint8_t* w, const Unit (&units)[N]) {
    for (const Unit u : units) w = PutUnit(w, u);
    return w;
  }

  template <size_t N>
  static bool Is(const uint8_t* name, const Unit (&units)[N]) {
    for (size_t k = 0; k < N; ++k) {
      if (T::Load(name + k * kB) != units[k]) return false;
    }
    return true;
  }

  // The character an entity name of `units` units stands for, if any.
  static bool Entity(const uint8_t* name, uint32_t units, Unit* replacement) {
    switch (units) {
      case 2:
        if (Is(name, kNameLt)) return *replacement = T::Char('<'), true;
        if (Is(name, kNameGt)) return *replacement = T::Char('>'), true;
        return false;
      case 3:
        if (Is(name, kNameAmp)) return *replacement = T::Char('&'), true;
        return false;
      case 4:
        if (Is(name, kNameQuot)) return *replacement = T::Char('"'), true;
        if (Is(name, kNameApos)) return *replacement = T::Char('\''), true;
        return false;
      default:
        return false;
    }
  }
};

template <uint8_t kType>
constexpr EscapeRoutines RoutinesOf() {
  using E = Escaper<FamilyTraits<kType>>;
  return EscapeRoutines{&E::EscapedSize, &E::Expand, &E::Compress, &E::Quote, &E::QuotedSize};
}

// The shells' argument checks. The text may be null only when empty.
bool TextUsable(const void* text, KWULONG length, uint32_t fn) {
  if (text != nullptr || length == 0) return true;
  xcsERDPSFn(kComponent, __FILE__, kProbeMissing, xcsRC_INVALID_PARAMETER, nullptr, 0,
             "Missing parameter: pText (function 0x%X)", fn);
  return false;
}

// Nothing is written for empty text, so the output may be null then.
bool OutputUsable(const void* out, const KWULONG* out_length, KWULONG length, uint32_t fn) {
  if ((out != nullptr || length == 0) && out_length != nullptr) return true;
  xcsERDPSFn(kComponent, __FILE__, kProbeMissing, xcsRC_INVALID_PARAMETER, nullptr, 0,
             "Missing parameter: %s (function 0x%X)", out == nullptr ? "pOut" : "pOutLength", fn);
  return false;
}

template <uint8_t kType>
KWULONG SizeShell(const void* text, KWULONG length) {
  constexpr uint32_t fn = kFnEscapeBase + 4 * kType + 0;
  xtr_FNC_entry(kComponent, fn);
  const KWULONG size =
      TextUsable(text, length, fn) && length != 0
          ? Escaper<FamilyTraits<kType>>::EscapedSize(static_cast<const uint8_t*>(text), length)
          : 0;
  xtr_FNC_retcode(kComponent, fn, size);
  return size;
}

template <uint8_t kType>
KWLONG ExpandShell(const void* text, KWULONG length, void* out, KWULONG* out_length) {
  constexpr uint32_t fn = kFnEscapeBase + 4 * kType + 1;
  xtr_FNC_entry(kComponent, fn);
  KWLONG reason = KWRC_UNEXPECTED_ERROR;
  if (TextUsable(text, length, fn) && OutputUsable(out, out_length, length, fn)) {
    reason = KWRC_NONE;
    if (length != 0) {
      Escaper<FamilyTraits<kType>>::Expand(static_cast<const uint8_t*>(text), length,
                                           static_cast<uint8_t*>(out), out_length);
    }
  }
  xtr_FNC_retcode(kComponent, fn, reason);
  return reason;
}

template <uint8_t kType>
KWLONG CompressShell(const void* text, KWULONG length, void* out, KWULONG* out_length) {
  constexpr uint32_t fn = kFnEscapeBase + 4 * kType + 2;
  xtr_FNC_entry(kComponent, fn);
  KWLONG reason = KWRC_UNEXPECTED_ERROR;
  if (TextUsable(text, length, fn) && OutputUsable(out, out_length, length, fn)) {
    reason = KWRC_NONE;
    *out_length = 0;
    if (length != 0) {
      Escaper<FamilyTraits<kType>>::Compress(static_cast<const uint8_t*>(text), length,
                                             static_cast<uint8_t*>(out), out_length);
    }
  }
  xtr_FNC_retcode(kComponent, fn, reason);
  return reason;
}

}  // namespace

const EscapeRoutines kEscapeRoutines[kEscapeFamilies] = {
    EscapeRoutines{nullptr, nullptr, nullptr, nullptr, nullptr},
    RoutinesOf<XCS_CCSID_TYPE_ASCII>(),
    RoutinesOf<XCS_CCSID_TYPE_EBCDIC>(),
    RoutinesOf<XCS_CCSID_TYPE_UTF8>(),
    RoutinesOf<XCS_CCSID_TYPE_LUCS2>(),
    RoutinesOf<XCS_CCSID_TYPE_BUCS2>(),
};

}  // namespace zxv::props

namespace zp = zxv::props;

// The exported names: one set of three per family, each a shell around the
// family's instance of the algorithm.
#define ZXV_ESCAPE_FAMILY(TAG, TYPE)                                                            \
  ZXV_API KWULONG zrf##TAG##CalculateEscapedSize(const void* pText, KWULONG Length) {           \
    return zp::SizeShell<TYPE>(pText, Length);                                                  \
  }                                                                                             \
  ZXV_API KWLONG zrf##TAG##ExpandString(const void* pText, KWULONG Length, void* pOut,          \
                                        KWULONG* pOutLength) {                                  \
    return zp::ExpandShell<TYPE>(pText, Length, pOut, pOutLength);                              \
  }                                                                                             \
  ZXV_API KWLONG zrf##TAG##CompressEscapedString(const void* pText, KWULONG Length, void* pOut, \
                                                 KWULONG* pOutLength) {                         \
    return zp::CompressShell<TYPE>(pText, Length, pOut, pOutLength);                            \
  }

extern "C" {
ZXV_ESCAPE_FAMILY(ASCII, XCS_CCSID_TYPE_ASCII)
ZXV_ESCAPE_FAMILY(EBCDIC, XCS_CCSID_TYPE_EBCDIC)
ZXV_ESCAPE_FAMILY(UTF8, XCS_CCSID_TYPE_UTF8)
ZXV_ESCAPE_FAMILY(BUCS2, XCS_CCSID_TYPE_BUCS2)
ZXV_ESCAPE_FAMILY(LUCS2, XCS_CCSID_TYPE_LUCS2)
}  // extern "C"
