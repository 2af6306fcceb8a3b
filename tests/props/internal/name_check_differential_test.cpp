// The property-name checks against their plain reference
// (name_check_reference.h): for many names (every known name, every reserved
// word and prefix, mutations of them, user names, single characters and
// invalid bytes) in every encoding family and every CCSID of the character
// table, each check gives the same reason, the same name identifier and the
// same trace lines as the reference.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "props/descriptor_fields.h"
#include "props/internal/name_check_reference.h"
#include "props/name_char_table.h"
#include "props/name_encoding.h"
#include "props/property_names.h"
#include "props/property_store.h"
#include "zxvxcs2/xcs_trace.h"

namespace zxv::props {
namespace {

namespace ref = reference;
using zxv::test::kAllNameEncodings;
using zxv::test::NameEncoding;

// What a check said: its result, an identifier, and its trace lines without
// the time stamp, process and thread.
struct Said {
  KWLONG rc = 0;
  NameId id = 0;
  int family = -1;
  std::vector<std::string> lines;
  bool operator==(const Said& o) const {
    return rc == o.rc && id == o.id && family == o.family && lines == o.lines;
  }
};

std::string Hex(const std::string& bytes) {
  static const char kDigits[] = "0123456789ABCDEF";
  std::string out;
  for (unsigned char c : bytes) {
    out += kDigits[c >> 4];
    out += kDigits[c & 15];
    out += ' ';
  }
  return out;
}

std::ostream& operator<<(std::ostream& os, const Said& s) {
  os << "rc " << s.rc << " id " << s.id << " family " << s.family;
  for (const std::string& l : s.lines) os << "\n  " << l;
  return os;
}

class NameCheckDifferentialTest : public ::testing::Test {
 protected:
  void SetUp() override {
    saved_level_ = xtrLevel;
    xtrSetSink(&NameCheckDifferentialTest::Collect, &lines_);
    xtrSetLevel(XTR_LEVEL_FLOW);
  }
  void TearDown() override {
    xtrSetLevel(saved_level_);
    xtrSetSink(nullptr, nullptr);
  }
  static void Collect(void* context, const char* line) {
    std::string_view l(line);
    // "<stamp> <pid>.<tid> <depth> -  <comp>:<fn> <text>": keep from the mark.
    const size_t mark = l.find(" -  ");
    static_cast<std::vector<std::string>*>(context)->emplace_back(
        mark == std::string_view::npos ? l : l.substr(mark));
  }

  template <typename F>
  Said Run(F&& check) {
    lines_.clear();
    Said s;
    check(&s);
    s.lines = lines_;
    return s;
  }

  // Every check on `bytes` read in `ccsid` / `type`, new against reference.
  void Compare(const std::string& bytes, int32_t ccsid, int32_t type) {
    const auto* data = reinterpret_cast<const uint8_t*>(bytes.data());
    const auto len = static_cast<uint32_t>(bytes.size());
    ++compared_;
    const Said fresh = Run([&](Said* s) {
      s->rc = ValidatePropertyName(data, static_cast<KWLONG>(len), ccsid, type, &s->id);
    });
    const Said old = Run([&](Said* s) {
      s->rc = ref::ValidatePropertyName(data, static_cast<KWLONG>(len), ccsid, type, &s->id);
    });
    ASSERT_EQ(fresh, old) << "validate " << Hex(bytes) << " ccsid " << ccsid << " type " << type;

    const Said freshChars = Run([&](Said* s) {
      NameFamily f = NameFamily::kUnknown;
      s->rc = CheckNameCharacters(data, len, ccsid, type, &f);
      s->family = static_cast<int>(f);
    });
    const Said oldChars = Run([&](Said* s) {
      NameFamily f = NameFamily::kUnknown;
      s->rc = ref::CheckNameCharacters(data, len, ccsid, type, &f);
      s->family = static_cast<int>(f);
    });
    ASSERT_EQ(freshChars, oldChars) << "characters " << Hex(bytes) << " ccsid " << ccsid;
  }

  // The word and family checks on raw bytes in `family` (no character check
  // first, as the exported known-name checks call them).
  void CompareWords(const std::string& bytes, NameFamily family) {
    const NameBytes nb{reinterpret_cast<const uint8_t*>(bytes.data()),
                       static_cast<uint32_t>(bytes.size()), family};
    ++compared_;
    const Said freshWords = Run([&](Said* s) { s->rc = CheckReservedWords(nb); });
    const Said oldWords = Run([&](Said* s) { s->rc = ref::CheckReservedWords(nb); });
    ASSERT_EQ(freshWords, oldWords) << "words " << Hex(bytes) << " family " << int(family);
    const Said freshKnown = Run([&](Said* s) { s->rc = CheckForKnownName(nb, &s->id); });
    const Said oldKnown = Run([&](Said* s) { s->rc = ref::CheckForKnownName(nb, &s->id); });
    ASSERT_EQ(freshKnown, oldKnown) << "known " << Hex(bytes) << " family " << int(family);
    // The descriptor mapping follows the identifier.
    const DescriptorMapping* m =
        DescriptorMappingOf(nb.data, nb.length, static_cast<uint8_t>(family));
    const NameId id = ref::FindKnownName(nb);
    ASSERT_EQ(m != nullptr ? m->id : ZRF_NAME_NONE,
              FindDescriptorMapping(id) != nullptr ? id : ZRF_NAME_NONE);
  }

  // `utf8` in each family's test CCSID, through every check.
  void CompareEverywhere(std::string_view utf8) {
    for (const NameEncoding& enc : kAllNameEncodings) {
      bool ok = false;
      const std::string bytes = zxv::test::EncodeName(utf8, enc, &ok);
      if (!ok) continue;
      Compare(bytes, enc.ccsid, enc.ccsidType);
      if (HasFailure()) return;
      const auto family = static_cast<NameFamily>(enc.ccsidType);
      CompareWords(bytes, family);
      if (enc.unit == 2 && !bytes.empty()) {
        CompareWords(bytes.substr(0, bytes.size() - 1), family);  // odd length
        Compare(bytes.substr(0, bytes.size() - 1), enc.ccsid, enc.ccsidType);
      }
      if (HasFailure()) return;
    }
    // The bytes as written read in the families they were not written for.
    const std::string raw(utf8);
    CompareWords(raw, NameFamily::kEbcdic);
    CompareWords(raw, NameFamily::kUnknown);
  }

  std::vector<std::string> lines_;
  int saved_level_ = 0;
  size_t compared_ = 0;
};

// The fixed words and realistic names every mutation starts from.
std::vector<std::string> BaseNames() {
  std::vector<std::string> names;
  for (NameId id = 100; id < 1000; ++id) {
    if (const char* text = KnownNameText(id)) names.emplace_back(text);
  }
  for (std::string_view w : ref::kSelectorWords) names.emplace_back(w);
  for (std::string_view w : ref::kJavaKeywords) names.emplace_back(w);
  for (std::string_view p : ref::kPrefixes) names.emplace_back(p);
  for (const char* n : {"Root.KWMD",
                        "kwpsc.x",
                        "KWpsc.Topic",
                        "kWpSc.",
                        "psc.Other",
                        "JMS_ZOL_",
                        "JMSX",
                        "AMQPx",
                        "Body",
                        "Body.a",
                        "Properties",
                        "Properties.a",
                        "KW",
                        "kw",
                        "Root",
                        "JMS",
                        "AMQP.a",
                        "usr.order.12",
                        "usr.customer.reference",
                        "app.trace",
                        "orderId17",
                        "customerName3",
                        "x",
                        "ab",
                        "a.b.c.d.e.f.g.h.i.j.k.l.m.n.o.p.q.r.s.t.u.v.w.x.y.z.0.1.2.3.4",
                        "région",
                        "Größe",
                        "名前",
                        "price$",
                        "_underscore",
                        "sku",
                        "line9.qty"}) {
    names.emplace_back(n);
  }
  return names;
}

// Case changes, one character added or removed, dots and non-ASCII letters.
std::vector<std::string> Mutations(const std::string& base) {
  std::vector<std::string> out{base};
  std::string upper = base;
  std::string lower = base;
  for (char& c : upper) c = (c >= 'a' && c <= 'z') ? static_cast<char>(c - 32) : c;
  for (char& c : lower) c = (c >= 'A' && c <= 'Z') ? static_cast<char>(c + 32) : c;
  out.push_back(upper);
  out.push_back(lower);
  for (size_t i = 0; i < base.size(); ++i) {
    std::string t = base;
    const char c = t[i];
    if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z')) {
      t[i] = static_cast<char>(c ^ 0x20);
      out.push_back(t);
    }
    out.push_back(base.substr(0, i) + base.substr(i + 1));  // one removed
  }
  const size_t mid = base.size() / 2;
  for (const char* add : {"x", ".", "_", "9", "é", "$", "\x80", "\xFF", " "}) {
    out.push_back(add + base);
    out.push_back(base + add);
    out.push_back(base.substr(0, mid) + add + base.substr(mid));
  }
  std::string dotless = base;
  for (char& c : dotless) c = c == '.' ? '_' : c;
  out.push_back(dotless);
  return out;
}

TEST_F(NameCheckDifferentialTest, FixedWordsAndTheirMutationsInEveryFamily) {
  for (const std::string& base : BaseNames()) {
    for (const std::string& name : Mutations(base)) {
      CompareEverywhere(name);
      if (HasFailure()) return;
    }
  }
  EXPECT_GT(compared_, 20000u);
}

// Every CCSID of the table: every byte first, and every byte after a
// character that may start a name; UCS-2 units the same in both orders.
TEST_F(NameCheckDifferentialTest, EveryCharacterOfEveryRow) {
  for (size_t r = 0; r < kNameCharRowCount; ++r) {
    const NameCharRow& row = kNameCharTable[r];
    SCOPED_TRACE(row.ccsid);
    if (row.form == NameCharForm::kUcs2) {
      for (int32_t type : {ZRF_CCSIDTYPE_LUCS2, ZRF_CCSIDTYPE_BUCS2}) {
        const bool big = type == ZRF_CCSIDTYPE_BUCS2;
        for (uint32_t u = 0; u < 0x10000; u += (row.ccsid == 1200 ? 1 : 97)) {
          const char a = static_cast<char>(big ? 0 : 'a');
          const char b = static_cast<char>(big ? 'a' : 0);
          const char hi = static_cast<char>(u >> 8);
          const char lo = static_cast<char>(u & 0xFF);
          const std::string unit = big ? std::string{hi, lo} : std::string{lo, hi};
          Compare(std::string{a, b} + unit, row.ccsid, type);
          if (u % 5 == 0) {  // first and in the middle: a sample is enough
            Compare(unit, row.ccsid, type);
            Compare(std::string{a, b} + unit + std::string{a, b}, row.ccsid, type);
          }
          if (HasFailure()) return;
        }
      }
      continue;
    }
    // A byte that may start a name in this row.
    uint32_t starter = 0;
    while (starter < 256 && !TestCharBit(row.start, starter)) ++starter;
    ASSERT_LT(starter, 256u);
    const int32_t type = row.form == NameCharForm::kEbcdicByte ? ZRF_CCSIDTYPE_EBCDIC
                         : row.form == NameCharForm::kUtf8     ? ZRF_CCSIDTYPE_UTF8
                                                               : ZRF_CCSIDTYPE_ASCII;
    const char s = static_cast<char>(starter);
    for (uint32_t b = 0; b < 256; ++b) {
      const char c = static_cast<char>(b);
      Compare(std::string{c}, row.ccsid, type);
      Compare(std::string{s, c}, row.ccsid, type);
      Compare(std::string{s, s, s, s, s, s, s, s, s, c, s}, row.ccsid, type);
      if (HasFailure()) return;
    }
  }
}

// UTF-8: every two-byte sequence after a starting letter, and three-byte
// forms around the ranges the decoder treats apart.
TEST_F(NameCheckDifferentialTest, Utf8Sequences) {
  for (uint32_t a = 0; a < 256; ++a) {
    for (uint32_t b = 0; b < 256; ++b) {
      const std::string two{static_cast<char>(a), static_cast<char>(b)};
      Compare(two, 1208, ZRF_CCSIDTYPE_UTF8);
      Compare("n" + two, 1208, ZRF_CCSIDTYPE_UTF8);
      if (HasFailure()) return;
    }
  }
  for (uint32_t lead : {0xE0u, 0xE1u, 0xE2u, 0xEDu, 0xEFu, 0xF0u, 0xF4u, 0xF8u}) {
    for (uint32_t b = 0x70; b < 0xD0; ++b) {
      for (uint32_t c : {0x20u, 0x80u, 0x8Fu, 0xA0u, 0xBFu, 0xC0u}) {
        const std::string three{static_cast<char>(lead), static_cast<char>(b),
                                static_cast<char>(c)};
        Compare("n" + three, 1208, ZRF_CCSIDTYPE_UTF8);
        Compare(three + "n", 1208, ZRF_CCSIDTYPE_UTF8);
        Compare("n" + three.substr(0, 2), 1208, ZRF_CCSIDTYPE_UTF8);
        if (HasFailure()) return;
      }
    }
  }
}

// Names the table has no row for, and empty or absent names.
TEST_F(NameCheckDifferentialTest, NoRowAndNoName) {
  for (int32_t ccsid : {0, -1, 1, 1386, 65535, 1208 + 65536, 37 + (1 << 20)}) {
    NameFamily f = NameFamily::kUnknown;
    EXPECT_EQ(CheckNameCharacters(reinterpret_cast<const uint8_t*>("abc"), 3, ccsid,
                                  ZRF_CCSIDTYPE_ASCII, &f),
              ref::CheckNameCharacters(reinterpret_cast<const uint8_t*>("abc"), 3, ccsid,
                                       ZRF_CCSIDTYPE_ASCII, &f))
        << ccsid;
  }
  for (const NameEncoding& enc : kAllNameEncodings) {
    Compare("", enc.ccsid, enc.ccsidType);
    const Said fresh = Run([&](Said* s) {
      s->rc = ValidatePropertyName(nullptr, 4, enc.ccsid, enc.ccsidType, &s->id);
    });
    const Said old = Run([&](Said* s) {
      s->rc = ref::ValidatePropertyName(nullptr, 4, enc.ccsid, enc.ccsidType, &s->id);
    });
    EXPECT_EQ(fresh, old);
    CompareWords("", static_cast<NameFamily>(enc.ccsidType));
  }
}

// The descriptor mapping of every identifier is its own, and found for the
// same identifiers as a search of the table would find.
TEST_F(NameCheckDifferentialTest, DescriptorMappingByIdentifier) {
  size_t mapped = 0;
  for (NameId id = -200; id < 1200; ++id) {
    const DescriptorMapping* m = FindDescriptorMapping(id);
    if (m == nullptr) continue;
    ++mapped;
    EXPECT_EQ(m->id, id);
    EXPECT_NE(KnownNameText(id), nullptr) << id;
  }
  EXPECT_EQ(mapped, 59u);
}

}  // namespace
}  // namespace zxv::props
