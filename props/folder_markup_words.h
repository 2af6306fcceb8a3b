// The markup vocabulary of property folders, held once per encoding family
// and compared in the folder's own encoding: attribute names and values, dt
// values, the folder names with a treatment of their own, and the internal
// property names the kw folder adds. Built at compile time from ASCII
// through the family's traits (rfh2_family.h).
//
//   using W = MarkupWords<FamilyTraits<XCS_CCSID_TYPE_EBCDIC>>;
//   if (W::kDt.Is(attr, attrLength)) ...   // "dt" as 84 A3
#pragma once

#include <cstdint>
#include <cstring>
#include <string_view>

#include "props/rfh2_family.h"

namespace zxv::props {

// A word in one family's encoding.
struct MarkupWord {
  static constexpr uint32_t kMaxBytes = 32;
  uint8_t bytes[kMaxBytes];
  uint32_t length;  // bytes

  bool Is(const uint8_t* text, uint32_t textLength) const {
    return textLength == length && std::memcmp(text, bytes, length) == 0;
  }
};

// `word` (ASCII, markup characters only) in family T.
template <typename T>
constexpr MarkupWord EncodeWord(std::string_view word) {
  MarkupWord w{};
  uint32_t n = 0;
  for (char c : word) {
    const auto u = static_cast<uint32_t>(T::Char(c));
    if constexpr (T::kUnitBytes == 1) {
      w.bytes[n++] = static_cast<uint8_t>(u);
    } else if constexpr (T::kCcsidType == XCS_CCSID_TYPE_BUCS2) {
      w.bytes[n++] = static_cast<uint8_t>(u >> 8);
      w.bytes[n++] = static_cast<uint8_t>(u & 0xFF);
    } else {
      w.bytes[n++] = static_cast<uint8_t>(u & 0xFF);
      w.bytes[n++] = static_cast<uint8_t>(u >> 8);
    }
  }
  w.length = n;
  return w;
}

template <typename T>
struct MarkupWords {
  // Attributes.
  static constexpr MarkupWord kDt = EncodeWord<T>("dt");
  static constexpr MarkupWord kXsiNil = EncodeWord<T>("xsi:nil");
  static constexpr MarkupWord kName = EncodeWord<T>("name");
  static constexpr MarkupWord kContext = EncodeWord<T>("context");
  static constexpr MarkupWord kCopy = EncodeWord<T>("copy");
  static constexpr MarkupWord kSupport = EncodeWord<T>("support");
  static constexpr MarkupWord kContent = EncodeWord<T>("content");
  // Attribute values.
  static constexpr MarkupWord kProperties = EncodeWord<T>("properties");
  static constexpr MarkupWord kTrue = EncodeWord<T>("true");
  static constexpr MarkupWord kFalse = EncodeWord<T>("false");
  static constexpr MarkupWord kNone = EncodeWord<T>("none");
  static constexpr MarkupWord kUser = EncodeWord<T>("user");
  static constexpr MarkupWord kForward = EncodeWord<T>("forward");
  static constexpr MarkupWord kPublish = EncodeWord<T>("publish");
  static constexpr MarkupWord kReply = EncodeWord<T>("reply");
  static constexpr MarkupWord kReport = EncodeWord<T>("report");
  static constexpr MarkupWord kAll = EncodeWord<T>("all");
  static constexpr MarkupWord kDefault = EncodeWord<T>("default");
  // dt values.
  static constexpr MarkupWord kString = EncodeWord<T>("string");
  static constexpr MarkupWord kBoolean = EncodeWord<T>("boolean");
  static constexpr MarkupWord kBinHex = EncodeWord<T>("bin.hex");
  static constexpr MarkupWord kChar = EncodeWord<T>("char");
  static constexpr MarkupWord kInt = EncodeWord<T>("int");
  static constexpr MarkupWord kI1 = EncodeWord<T>("i1");
  static constexpr MarkupWord kI2 = EncodeWord<T>("i2");
  static constexpr MarkupWord kI4 = EncodeWord<T>("i4");
  static constexpr MarkupWord kI8 = EncodeWord<T>("i8");
  static constexpr MarkupWord kR4 = EncodeWord<T>("r4");
  static constexpr MarkupWord kR8 = EncodeWord<T>("r8");
  // Element names.
  static constexpr MarkupWord kElt = EncodeWord<T>("elt");
  static constexpr MarkupWord kRsv = EncodeWord<T>("Rsv");  // kw: reject-support value
  static constexpr MarkupWord kDlv = EncodeWord<T>("Dlv");
  static constexpr MarkupWord kPri = EncodeWord<T>("Pri");
  static constexpr MarkupWord kSeq = EncodeWord<T>("Seq");
  static constexpr MarkupWord kExp = EncodeWord<T>("Exp");
  static constexpr MarkupWord kTms = EncodeWord<T>("Tms");
  // Folder names with a treatment of their own.
  static constexpr MarkupWord kJms = EncodeWord<T>("jms");
  static constexpr MarkupWord kMcd = EncodeWord<T>("mcd");
  static constexpr MarkupWord kUsr = EncodeWord<T>("usr");
  static constexpr MarkupWord kKw = EncodeWord<T>("kw");
  static constexpr MarkupWord kKwps = EncodeWord<T>("kwps");
  static constexpr MarkupWord kKwpsi = EncodeWord<T>("kwpsi");
  static constexpr MarkupWord kKwext = EncodeWord<T>("kwext");
  // Internal properties the kw folder adds.
  static constexpr MarkupWord kKwiEnc = EncodeWord<T>("kwi.Enc");
  static constexpr MarkupWord kKwiCcs = EncodeWord<T>("kwi.Ccs");
  static constexpr MarkupWord kKwiFmt = EncodeWord<T>("kwi.Fmt");
};

// The ASCII character a unit of family T stands for, for the characters
// that spell numbers, hex digits and the words INF and NaN; 0 for any other.
template <typename T>
constexpr char NumberCharOf(uint32_t unit) {
  constexpr std::string_view kChars = "0123456789abcdefABCDEF+-.INFnaifty";
  for (char c : kChars) {
    if (static_cast<uint32_t>(T::Char(c)) == unit) return c;
  }
  return 0;
}

// NumberCharOf as a table for the single-byte families.
template <typename T>
struct NumberChars {
  static constexpr auto kTable = [] {
    struct Table {
      char c[256];
    } t{};
    for (uint32_t u = 0; u < 256; ++u) t.c[u] = NumberCharOf<T>(u);
    return t;
  }();
  static char Of(uint32_t unit) {
    if constexpr (T::kUnitBytes == 1) {
      return kTable.c[unit & 0xFF];
    } else {
      return unit < 0x80 ? kTable.c[unit] : 0;
    }
  }
};

}  // namespace zxv::props
