// The escaping routines of every encoding family: one table of cases, each
// run through all five families with the text converted into the family's
// encoding.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "props/rfh2_test_chain.h"
#include "zxvxcs2/xcs_erdp.h"
#include "zxvxzu/value_escape.h"

namespace zxv::test {
namespace {

using Bytes = std::vector<uint8_t>;

struct Family {
  const char* name;
  int32_t ccsid;
  int32_t encoding;
  uint32_t unit;  // bytes per unit
  KWULONG (*size)(const void*, KWULONG);
  KWLONG (*expand)(const void*, KWULONG, void*, KWULONG*);
  KWLONG (*compress)(const void*, KWULONG, void*, KWULONG*);
};

const Family kFamilies[] = {
    {"ASCII", 819, 546, 1, zrfASCIICalculateEscapedSize, zrfASCIIExpandString,
     zrfASCIICompressEscapedString},
    {"EBCDIC", 500, 546, 1, zrfEBCDICCalculateEscapedSize, zrfEBCDICExpandString,
     zrfEBCDICCompressEscapedString},
    {"UTF8", 1208, 546, 1, zrfUTF8CalculateEscapedSize, zrfUTF8ExpandString,
     zrfUTF8CompressEscapedString},
    {"BUCS2", 1200, 273, 2, zrfBUCS2CalculateEscapedSize, zrfBUCS2ExpandString,
     zrfBUCS2CompressEscapedString},
    {"LUCS2", 1200, 546, 2, zrfLUCS2CalculateEscapedSize, zrfLUCS2ExpandString,
     zrfLUCS2CompressEscapedString},
};

Bytes In(const Family& f, const std::string& text) { return Encode(text, f.ccsid, f.encoding); }

// Appends the escaped form behind a three-character prefix, so that the
// running output length is exercised.
Bytes Escaped(const Family& f, const Bytes& text) {
  Bytes out = In(f, "pre");
  const KWULONG size = f.size(text.data(), static_cast<KWULONG>(text.size()));
  const auto prefix = static_cast<KWULONG>(out.size());
  out.resize(prefix + size + 16, 0xEE);
  KWULONG used = prefix;
  EXPECT_EQ(f.expand(text.data(), static_cast<KWULONG>(text.size()), out.data(), &used), 0);
  EXPECT_EQ(used, prefix + size) << "size and expansion disagree";
  EXPECT_EQ(out[used], 0xEE) << "wrote past what it counted";
  out.resize(used);
  return Bytes(out.begin() + prefix, out.end());
}

Bytes Unescaped(const Family& f, const Bytes& text) {
  Bytes out(text.size() + 1, 0xEE);
  KWULONG used = 12345;
  EXPECT_EQ(f.compress(text.data(), static_cast<KWULONG>(text.size()), out.data(), &used), 0);
  EXPECT_LE(used, text.size());
  out.resize(used);
  return out;
}

TEST(ValueEscape, EscapesOnlyAmpersandAndLessThan) {
  struct Case {
    const char* text;
    const char* escaped;
  };
  const Case cases[] = {
      {"a<b&c>d", "a&lt;b&amp;c>d"},
      {"a < b & c > d", "a &lt; b &amp; c > d"},
      {"", ""},
      {"plain", "plain"},
      {"\"quoted\" 'single' >", "\"quoted\" 'single' >"},
      {"&&<<", "&amp;&amp;&lt;&lt;"},
      {"&amp;", "&amp;amp;"},
      {"caf\xC3\xA9 & cr\xC3\xA8me", "caf\xC3\xA9 &amp; cr\xC3\xA8me"},
  };
  for (const Family& f : kFamilies) {
    for (const Case& c : cases) {
      SCOPED_TRACE(std::string(f.name) + ": " + c.text);
      EXPECT_EQ(Escaped(f, In(f, c.text)), In(f, c.escaped));
    }
  }
}

TEST(ValueEscape, UnescapesTheFiveEntitiesAndKeepsTheRest) {
  struct Case {
    const char* escaped;
    const char* text;
  };
  const Case cases[] = {
      {"&lt;&gt;&amp;&quot;&apos;", "<>&\"'"},
      {"a &lt; b &amp; c &gt; d", "a < b & c > d"},
      {"a &foo; b", "a &foo; b"},
      {"&#60;", "&#60;"},
      {"&#x3C;", "&#x3C;"},
      {"&;", "&;"},
      {"&LT;", "&LT;"},
      {"&ampx;", "&ampx;"},
      {"&amp;lt;", "&lt;"},
      {"&a&lt;", "&a&lt;"},
      {"x &lt", "x "},
      {"x &", "x "},
      {"&", ""},
      {"ok&lt;&", "ok<"},
      {"no entities", "no entities"},
      {"caf\xC3\xA9&amp;", "caf\xC3\xA9&"},
  };
  for (const Family& f : kFamilies) {
    for (const Case& c : cases) {
      SCOPED_TRACE(std::string(f.name) + ": " + c.escaped);
      EXPECT_EQ(Unescaped(f, In(f, c.escaped)), In(f, c.text));
    }
  }
}

TEST(ValueEscape, RoundTripAndInPlaceUnescaping) {
  const char* texts[] = {"", "a<b&c>d", "&&&", "<<<<", "&lt; stays literal", "caf\xC3\xA9 <&>"};
  for (const Family& f : kFamilies) {
    for (const char* t : texts) {
      SCOPED_TRACE(std::string(f.name) + ": " + t);
      const Bytes text = In(f, t);
      Bytes escaped = Escaped(f, text);
      EXPECT_EQ(Unescaped(f, escaped), text);
      KWULONG used = 0;
      ASSERT_EQ(
          f.compress(escaped.data(), static_cast<KWULONG>(escaped.size()), escaped.data(), &used),
          0);
      escaped.resize(used);
      EXPECT_EQ(escaped, text);
    }
  }
}

TEST(ValueEscape, TwoByteFamiliesIgnoreATrailingOddByte) {
  for (const Family& f : kFamilies) {
    if (f.unit != 2) continue;
    SCOPED_TRACE(f.name);
    Bytes text = In(f, "a&b");
    text.push_back(0x26);  // 7 bytes: 3 units
    EXPECT_EQ(f.size(text.data(), 7), (1 + 5 + 1) * 2u);
    EXPECT_EQ(Escaped(f, text), In(f, "a&amp;b"));
    Bytes escaped = In(f, "&lt;");
    escaped.push_back(0x3C);
    EXPECT_EQ(Unescaped(f, escaped), In(f, "<"));
  }
}

TEST(ValueEscape, Utf8StepsMultiByteCharactersWhole) {
  const Family& utf8 = kFamilies[2];
  // A three-byte lead byte swallows what follows it, even an "&": size and
  // expansion agree on that, so the output never outgrows its count.
  const Bytes malformed = {0xE2, '&', '<', 'x'};
  EXPECT_EQ(utf8.size(malformed.data(), 4), 3u + 1u);
  EXPECT_EQ(Escaped(utf8, malformed), malformed);
  // A lead byte cut off by the end counts only the bytes that are there.
  const Bytes cut = {'a', 0xF0, 0x9F};
  EXPECT_EQ(utf8.size(cut.data(), 3), 3u);
  EXPECT_EQ(Escaped(utf8, cut), cut);
  // Four-byte characters around markup.
  const Bytes smile = In(utf8, "\xF0\x9F\x98\x80<\xF0\x9F\x98\x80");
  EXPECT_EQ(utf8.size(smile.data(), static_cast<KWULONG>(smile.size())), 4u + 4u + 4u);
  EXPECT_EQ(Unescaped(utf8, Escaped(utf8, smile)), smile);
}

TEST(ValueEscape, MissingPointersAreRefused) {
  const uint32_t records = xcsFailureRecordCount();
  KWULONG used = 0;
  uint8_t out[8];
  for (const Family& f : kFamilies) {
    SCOPED_TRACE(f.name);
    EXPECT_EQ(f.size(nullptr, 4), 0u);
    EXPECT_EQ(f.expand("ab", 2, nullptr, &used), KWRC_UNEXPECTED_ERROR);
    EXPECT_EQ(f.compress("ab", 2, out, nullptr), KWRC_UNEXPECTED_ERROR);
    EXPECT_EQ(f.compress(nullptr, 2, out, &used), KWRC_UNEXPECTED_ERROR);
    EXPECT_EQ(f.expand(nullptr, 0, out, &used), 0);
    EXPECT_EQ(used, 0u);
  }
  EXPECT_EQ(xcsFailureRecordCount(), records + 4 * 5);
}

}  // namespace
}  // namespace zxv::test
