// The per-family routine tables that the parser and the header writer use:
// indexed by CCSIDType, with the quoting routine that has no exported name.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "props/name_encoding.h"
#include "props/value_escape.h"

namespace zxv::props {
namespace {

using Bytes = std::vector<uint8_t>;
using test::NameEncoding;

TEST(EscapeTable, UnknownFamiliesHaveNoRoutines) {
  EXPECT_EQ(EscapeRoutinesFor(0), nullptr);
  EXPECT_EQ(EscapeRoutinesFor(6), nullptr);
}

// Each family's entry escapes and unescapes in that family (a table indexed
// wrongly would escape in another's units), and quotes.
TEST(EscapeTable, EachEntryEscapesAndQuotesInItsFamily) {
  struct Case {
    bool enclose;
    const char* text;
    const char* quoted;
  };
  const Case cases[] = {
      {true, "plain", "\"plain\""},
      {false, "plain", "plain"},
      {true, "say \"hi\"", "\"say \"\"hi\"\"\""},
      {false, "\"", "\"\""},
      {true, "", "\"\""},
      {false, "", ""},
      {true, "'&<", "\"'&<\""},
  };
  for (const NameEncoding& f : test::kAllNameEncodings) {
    const EscapeRoutines* r = EscapeRoutinesFor(static_cast<uint32_t>(f.ccsidType));
    ASSERT_NE(r, nullptr) << f.label;
    const Bytes text = test::EncodeBytes(f, "1 < 2 & 3");
    Bytes escaped(r->escaped_size(text.data(), static_cast<uint32_t>(text.size())));
    uint32_t used = 0;
    r->expand(text.data(), static_cast<uint32_t>(text.size()), escaped.data(), &used);
    EXPECT_EQ(escaped, test::EncodeBytes(f, "1 &lt; 2 &amp; 3")) << f.label;
    r->compress(escaped.data(), used, escaped.data(), &used);
    escaped.resize(used);
    EXPECT_EQ(escaped, text) << f.label;
    for (const Case& c : cases) {
      SCOPED_TRACE(std::string(f.label) + ": " + c.text);
      const Bytes value = test::EncodeBytes(f, c.text);
      const Bytes prefix = test::EncodeBytes(f, "x=");
      const uint32_t size =
          r->quoted_size(c.enclose, value.data(), static_cast<uint32_t>(value.size()));
      Bytes out = prefix;
      out.resize(prefix.size() + size + 1, 0xEE);
      used = static_cast<uint32_t>(prefix.size());
      r->quote(c.enclose, value.data(), static_cast<uint32_t>(value.size()), out.data(), &used);
      EXPECT_EQ(used, prefix.size() + size);
      EXPECT_EQ(out[used], 0xEE);
      out.resize(used);
      Bytes expected = prefix;
      const Bytes quoted = test::EncodeBytes(f, c.quoted);
      expected.insert(expected.end(), quoted.begin(), quoted.end());
      EXPECT_EQ(out, expected);
    }
  }
}

}  // namespace
}  // namespace zxv::props
