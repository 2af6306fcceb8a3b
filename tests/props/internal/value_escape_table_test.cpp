// The per-family routine tables that the parser and the header writer use:
// indexed by CCSIDType, with the quoting routine that has no exported name.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "props/value_escape.h"
#include "zxvxcs2/xcs_ccsid.h"

namespace zxv::props {
namespace {

using Bytes = std::vector<uint8_t>;

struct Family {
  const char* name;
  uint32_t type;
  int32_t ccsid;
  int32_t encoding;
};
constexpr Family kFamilies[] = {
    {"ASCII", XCS_CCSID_TYPE_ASCII, 819, 546},  {"EBCDIC", XCS_CCSID_TYPE_EBCDIC, 500, 546},
    {"UTF8", XCS_CCSID_TYPE_UTF8, 1208, 546},   {"LUCS2", XCS_CCSID_TYPE_LUCS2, 1200, 546},
    {"BUCS2", XCS_CCSID_TYPE_BUCS2, 1200, 273},
};

Bytes In(const Family& f, const std::string& text) {
  Bytes out(text.size() * 4 + 4);
  uint32_t used = 0;
  EXPECT_EQ(xcsConvertString(1208, 546, text.data(), static_cast<uint32_t>(text.size()), f.ccsid,
                             f.encoding, out.data(), static_cast<uint32_t>(out.size()), &used),
            xcsRC_OK);
  out.resize(used);
  return out;
}

TEST(EscapeTable, UnknownFamiliesHaveNoRoutines) {
  EXPECT_EQ(EscapeRoutinesFor(0), nullptr);
  EXPECT_EQ(EscapeRoutinesFor(6), nullptr);
  EXPECT_EQ(EscapeRoutinesFor(0xFFFFFFFF), nullptr);
  for (const Family& f : kFamilies) {
    const EscapeRoutines* r = EscapeRoutinesFor(f.type);
    ASSERT_NE(r, nullptr);
    EXPECT_EQ(r, &kEscapeRoutines[f.type]);
  }
}

TEST(EscapeTable, TheTableEscapesInTheFamilyItIsIndexedBy) {
  for (const Family& f : kFamilies) {
    SCOPED_TRACE(f.name);
    const EscapeRoutines* r = EscapeRoutinesFor(f.type);
    const Bytes text = In(f, "1 < 2 & 3");
    Bytes out(r->escaped_size(text.data(), static_cast<uint32_t>(text.size())));
    uint32_t used = 0;
    r->expand(text.data(), static_cast<uint32_t>(text.size()), out.data(), &used);
    EXPECT_EQ(out, In(f, "1 &lt; 2 &amp; 3"));
    r->compress(out.data(), used, out.data(), &used);
    out.resize(used);
    EXPECT_EQ(out, text);
  }
}

TEST(EscapeTable, QuotingDoublesQuotesAndOptionallyEncloses) {
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
  for (const Family& f : kFamilies) {
    const EscapeRoutines* r = EscapeRoutinesFor(f.type);
    for (const Case& c : cases) {
      SCOPED_TRACE(std::string(f.name) + ": " + c.text);
      const Bytes text = In(f, c.text);
      const Bytes prefix = In(f, "x=");
      const uint32_t size =
          r->quoted_size(c.enclose, text.data(), static_cast<uint32_t>(text.size()));
      Bytes out = prefix;
      out.resize(prefix.size() + size + 1, 0xEE);
      auto used = static_cast<uint32_t>(prefix.size());
      r->quote(c.enclose, text.data(), static_cast<uint32_t>(text.size()), out.data(), &used);
      EXPECT_EQ(used, prefix.size() + size);
      EXPECT_EQ(out[used], 0xEE);
      out.resize(used);
      Bytes expected = prefix;
      const Bytes quoted = In(f, c.quoted);
      expected.insert(expected.end(), quoted.begin(), quoted.end());
      EXPECT_EQ(out, expected);
    }
  }
}

}  // namespace
}  // namespace zxv::props
