// Property names through the exported functions: the character check, the
// reserved words and families and the known names, each case run in every
// encoding family; refusal texts are read from the trace.
#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "props/name_encoding.h"
#include "props/property_test_util.h"
#include "zxvxcs2/xcs_erdp.h"
#include "zxvxzu/property_names.h"

namespace {

using zxv::test::kAllNameEncodings;
using zxv::test::NameEncoding;

// Refusal texts are read from the trace lines of the last call.
class PropertyNamesTest : public ::testing::Test {
 protected:
  bool Traced(const std::string& text) const { return trace_.Contains(text); }

  std::string Encode(std::string_view utf8, const NameEncoding& enc) {
    bool ok = false;
    std::string bytes = zxv::test::EncodeName(utf8, enc, &ok);
    EXPECT_TRUE(ok) << "cannot write " << utf8 << " in " << enc.label;
    return bytes;
  }

  // Validates raw bytes; returns the reason and checks that the completion
  // code agrees with it.
  KWLONG ValidateBytes(const std::string& bytes, int32_t ccsid, int32_t type) {
    trace_.Clear();
    KWLONG cc = -1, rc = -1;
    const KWLONG ret = zrfValidatePropertyName(bytes.data(), static_cast<KWLONG>(bytes.size()),
                                               ccsid, type, &cc, &rc);
    EXPECT_EQ(ret, rc);
    EXPECT_EQ(cc, rc == KWRC_NONE ? KWCC_OK : KWCC_FAILED);
    return rc;
  }

  KWLONG Validate(std::string_view utf8, const NameEncoding& enc) {
    return ValidateBytes(Encode(utf8, enc), enc.ccsid, enc.ccsidType);
  }

  // The family's known-name check.
  KWLONG Known(std::string_view utf8, const NameEncoding& enc, KWLONG* rc) {
    const std::string b = Encode(utf8, enc);
    const auto len = static_cast<KWLONG>(b.size());
    KWLONG cc = -1;
    trace_.Clear();
    KWLONG id;
    switch (enc.ccsidType) {
      case ZRF_CCSIDTYPE_ASCII:
        id = zrfCheckForKnownASCIIName(b.data(), len, &cc, rc);
        break;
      case ZRF_CCSIDTYPE_EBCDIC:
        id = zrfCheckForKnownEBCDICName(b.data(), len, &cc, rc);
        break;
      case ZRF_CCSIDTYPE_UTF8:
        id = zrfCheckForKnownUTF8Name(b.data(), len, &cc, rc);
        break;
      case ZRF_CCSIDTYPE_LUCS2:
        id = zrfCheckForKnownLUCS2Name(b.data(), len, &cc, rc);
        break;
      default:
        id = zrfCheckForKnownBUCS2Name(b.data(), len, &cc, rc);
        break;
    }
    EXPECT_EQ(cc, *rc == KWRC_NONE ? KWCC_OK : KWCC_FAILED);
    return id;
  }

  zxv::test::TraceLines trace_;
};

struct NameCase {
  const char* name;  // UTF-8
  KWLONG reason;
  const char* text;  // traced on refusal; "%P" stands for the byte position
  int position;      // character position for "%P"
};

const NameCase kNameCases[] = {
    {"a.", KWRC_PROPERTY_NAME_ERROR, "Property name ends with a trailing .", 0},
    {"a.b", KWRC_NONE, nullptr, 0},
    {"a..b", KWRC_NONE, nullptr, 0},
    {".a", KWRC_PROPERTY_NAME_ERROR, "Property name has an invalid start character", 0},
    {"1abc", KWRC_PROPERTY_NAME_ERROR, "Property name has an invalid start character", 0},
    {"a-b", KWRC_PROPERTY_NAME_ERROR, "Property name contains an invalid part: %P", 1},
    {"abc d", KWRC_PROPERTY_NAME_ERROR, "Property name contains an invalid part: %P", 3},
    {"my.prop_1$", KWRC_NONE, nullptr, 0},
    {"$", KWRC_NONE, nullptr, 0},
    {"caf\xC3\xA9", KWRC_NONE, nullptr, 0},
    {"\xC3\xA9t\xC3\xA9", KWRC_NONE, nullptr, 0},
    // Reserved words.
    {"AND", KWRC_PROPERTY_NAME_ERROR, "Invalid SQL92 property name AND specified", 0},
    {"and", KWRC_PROPERTY_NAME_ERROR, "Invalid SQL92 property name AND specified", 0},
    {"ANDY", KWRC_NONE, nullptr, 0},
    {"class", KWRC_PROPERTY_NAME_ERROR, "Invalid java keyword property name \"class\" specified",
     0},
    {"Class", KWRC_NONE, nullptr, 0},
    {"Body.x", KWRC_PROPERTY_NAME_ERROR, "Invalid property name \"Body.%\" specified", 0},
    {"Body", KWRC_NONE, nullptr, 0},
    {"Properties.x", KWRC_PROPERTY_NAME_ERROR, "Content \"Properties.%\" specified", 0},
    // Known names and reserved families.
    {"Root.KWMD.Priority", KWRC_NONE, nullptr, 0},
    {"Root.KWMD.Prio", KWRC_PROPERTY_NAME_ERROR, "Unrecognized Root.KWMD. property name", 0},
    {"Root.Other", KWRC_PROPERTY_NAME_ERROR, "Unrecognized Root. property name", 0},
    {"Root", KWRC_NONE, nullptr, 0},
    {"JMS_ZOL_Colour", KWRC_PROPERTY_NAME_ERROR, "Unrecognized JMS_ZOL property name", 0},
    {"JMS_ZOL_Report_COA", KWRC_NONE, nullptr, 0},
    {"JMSDestination", KWRC_PROPERTY_NAME_ERROR, "Unrecognized JMS property name", 0},
    {"JMSXGroupSeq", KWRC_NONE, nullptr, 0},
    {"KWTopic", KWRC_PROPERTY_NAME_ERROR, "Unrecognized KW property name", 0},
    {"KWTopicString", KWRC_NONE, nullptr, 0},
    {"AMQPx", KWRC_PROPERTY_NAME_ERROR, "Unrecognized AMQP property name", 0},
    {"Amqp", KWRC_NONE, nullptr, 0},
    {"kwpsc.Command", KWRC_PROPERTY_NAME_ERROR, "Property not allowed with prefix of kwpsc.", 0},
    {"KWPSC.Command", KWRC_PROPERTY_NAME_ERROR, "KW Property not allowed with prefix of kwpsc.", 0},
    {"psc.Other", KWRC_PROPERTY_NAME_ERROR, "\"psc.\" is not a valid prefix", 0},
    {"psc.Topic", KWRC_NONE, nullptr, 0},
    {"pscx", KWRC_NONE, nullptr, 0},
    {"jms.Anything", KWRC_NONE, nullptr, 0},
};

std::string Expected(const NameCase& c, const NameEncoding& enc) {
  std::string text = c.text;
  const size_t at = text.find("%P");
  if (at != std::string::npos) {
    text.replace(at, 2, std::to_string(c.position * static_cast<int>(enc.unit)));
  }
  return text;
}

TEST_F(PropertyNamesTest, NameCasesInEveryFamily) {
  for (const NameEncoding& enc : kAllNameEncodings) {
    for (const NameCase& c : kNameCases) {
      SCOPED_TRACE(std::string(enc.label) + " " + c.name);
      EXPECT_EQ(Validate(c.name, enc), c.reason);
      if (c.text != nullptr) {
        EXPECT_TRUE(Traced(Expected(c, enc)));
      }
    }
  }
}

// Every identifier in every family is looked up in the internal table test;
// here the exported checks give the identifier, its trace and no false hit.
// A reserved family is refused, a reserved word is no concern of theirs.
TEST_F(PropertyNamesTest, KnownNamesGiveTheirIdentifierInEveryFamily) {
  const struct {
    const char* name;
    KWLONG id;
    KWLONG reason;
  } cases[] = {
      {"Root.KWMD.Priority", ZRF_NAME_KWMD_PRIORITY, KWRC_NONE},
      {"JMSPriority", ZRF_NAME_JMS_PRIORITY, KWRC_NONE},
      {"jms_text", ZRF_NAME_MCD_JMS_TEXT, KWRC_NONE},
      {"kwpse", ZRF_NAME_KWPSE, KWRC_NONE},
      {"ordinary", ZRF_NAME_NONE, KWRC_NONE},
      {"jms.Other", ZRF_NAME_NONE, KWRC_NONE},
      {"root.kwmd.priority", ZRF_NAME_NONE, KWRC_NONE},
      {"AND", ZRF_NAME_NONE, KWRC_NONE},
      {"Root.KWMD.Prio", ZRF_NAME_NONE, KWRC_PROPERTY_NAME_ERROR},
  };
  for (const NameEncoding& enc : kAllNameEncodings) {
    for (const auto& c : cases) {
      SCOPED_TRACE(std::string(enc.label) + " " + c.name);
      KWLONG rc = -1;
      EXPECT_EQ(Known(c.name, enc, &rc), c.id);
      EXPECT_EQ(rc, c.reason);
      EXPECT_TRUE(Traced(c.reason == KWRC_NONE ? "NameIdentifier: " + std::to_string(c.id)
                                               : "Unrecognized Root.KWMD. property name"));
    }
  }
}

TEST_F(PropertyNamesTest, KnownCheckComparesInTheNamesOwnEncoding) {
  // The ASCII bytes of a known name are not that name in EBCDIC or UCS-2.
  KWLONG cc = -1, rc = -1;
  EXPECT_EQ(zrfCheckForKnownEBCDICName("jms.Pri", 7, &cc, &rc), ZRF_NAME_NONE);
  EXPECT_EQ(zrfCheckForKnownLUCS2Name("jms.Pri", 7, &cc, &rc), ZRF_NAME_NONE);
  EXPECT_EQ(zrfCheckForKnownBUCS2Name("j\0m\0s\0.\0P\0r\0i\0", 14, &cc, &rc), ZRF_NAME_NONE);
  EXPECT_EQ(zrfCheckForKnownLUCS2Name("j\0m\0s\0.\0P\0r\0i\0", 14, &cc, &rc), ZRF_NAME_JMS_PRI);
  EXPECT_EQ(zrfCheckForKnownASCIIName(nullptr, 5, &cc, &rc), ZRF_NAME_NONE);
  EXPECT_EQ(rc, KWRC_NONE);
  EXPECT_EQ(zrfCheckForKnownUTF8Name("JMSType", -1, &cc, &rc), ZRF_NAME_NONE);
}

TEST_F(PropertyNamesTest, Utf8Malformations) {
  const struct {
    const char* bytes;
    const char* text;
  } cases[] = {
      {"\x80"
       "abc",
       "Invalid UTF-8 character (multi-byte out of place)"},
      {"ab\xBF", "Invalid UTF-8 character (multi-byte out of place)"},
      {"a\xF0\x9F\x98\x80", "Invalid UTF-8 character (surrogate)"},
      {"a\xF8", "Invalid UTF-8 character (surrogate)"},
      {"a\xC3"
       "A",
       "Invalid supplementary UTF-8 character"},
      {"a\xE2\x82"
       "A",
       "Invalid supplementary UTF-8 character"},
      {"a\xC0\xAE"
       "b",
       "Invalid supplementary UTF-8 character"},                   // overlong full stop
      {"a\xE0\x80\xAE", "Invalid supplementary UTF-8 character"},  // overlong full stop
      {"a\xC3", "EOF reached mid UTF8-character"},
      {"a\xE2\x82", "EOF reached mid UTF8-character"},
      {"a\xED\xA0\x80", "Property name contains an invalid part: 1"},  // encoded surrogate
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.bytes);
    EXPECT_EQ(ValidateBytes(c.bytes, 1208, ZRF_CCSIDTYPE_UTF8), KWRC_PROPERTY_NAME_ERROR);
    EXPECT_TRUE(Traced(c.text));
  }
}

TEST_F(PropertyNamesTest, Ucs2ByteOrderFollowsTheCcsidType) {
  const std::string le("a\0.\0b\0", 6);
  const std::string be("\0a\0.\0b", 6);
  for (int32_t ccsid : {1200, 13488, 17584}) {
    EXPECT_EQ(ValidateBytes(le, ccsid, ZRF_CCSIDTYPE_LUCS2), KWRC_NONE);
    EXPECT_EQ(ValidateBytes(be, ccsid, ZRF_CCSIDTYPE_BUCS2), KWRC_NONE);
    // Read in the wrong order the units are U+6100 ... and U+2E00, which is
    // punctuation.
    EXPECT_EQ(ValidateBytes(le, ccsid, ZRF_CCSIDTYPE_BUCS2), KWRC_PROPERTY_NAME_ERROR);
    // An odd length leaves a byte that is no unit.
    for (KWLONG type : {ZRF_CCSIDTYPE_LUCS2, ZRF_CCSIDTYPE_BUCS2}) {
      EXPECT_EQ(ValidateBytes(std::string("a\0b\0c", 5), ccsid, type), KWRC_PROPERTY_NAME_ERROR);
      EXPECT_TRUE(Traced("Property name has a trailing byte"));
    }
  }
  // Without a byte order in the type the machine's order applies.
  EXPECT_EQ(ValidateBytes(le, 1200, ZRF_CCSIDTYPE_UNKNOWN), KWRC_NONE);
  // Trailing full stops in each order.
  EXPECT_EQ(ValidateBytes(std::string("a\0.\0", 4), 1200, ZRF_CCSIDTYPE_LUCS2),
            KWRC_PROPERTY_NAME_ERROR);
  EXPECT_TRUE(Traced("Property name ends with a trailing ."));
  EXPECT_EQ(ValidateBytes(std::string("\0a\0.", 4), 1200, ZRF_CCSIDTYPE_BUCS2),
            KWRC_PROPERTY_NAME_ERROR);
  EXPECT_TRUE(Traced("Property name ends with a trailing ."));
}

TEST_F(PropertyNamesTest, CcsidWithoutARowGives2111AndAFailureRecord) {
  for (int32_t ccsid : {1234, 0, -1, 1201, 1386}) {
    SCOPED_TRACE(ccsid);
    const uint32_t before = xcsFailureRecordCount();
    EXPECT_EQ(ValidateBytes("abc", ccsid, ZRF_CCSIDTYPE_ASCII), KWRC_SOURCE_CCSID_ERROR);
    EXPECT_EQ(xcsFailureRecordCount(), before + 1);
  }
}

TEST_F(PropertyNamesTest, RowsJudgeBytesByTheirOwnCodePage) {
  const struct {
    int32_t ccsid;
    const char* bytes;
    KWLONG reason;
  } cases[] = {
      // Single bytes of 819, 37 and 1252 are in the character table's own
      // test; here the rows that differ from their neighbours.
      {500, "\x51", KWRC_NONE},                 // e acute
      {37, "\x4A", KWRC_NONE},                  // cent sign, a currency symbol
      {500, "\x4A", KWRC_PROPERTY_NAME_ERROR},  // left bracket
      {819, "a\x8A", KWRC_NONE},                // a C1 control: ignorable, so part only
      {819, "\x8A", KWRC_PROPERTY_NAME_ERROR},
      {819, "\xC1\xC2", KWRC_NONE},                // A grave, A circumflex
      {37, "\xC1\x4B\xC2", KWRC_NONE},             // "A.B"
      {37, "\xC1\x4B", KWRC_PROPERTY_NAME_ERROR},  // "A." in EBCDIC
      {37, "\xC1\x2E", KWRC_NONE},  // 0x2E is no full stop in EBCDIC but an ignorable control
      {1140, "\x9F", KWRC_NONE},    // euro sign
      {1275, "\x8E", KWRC_NONE},    // e acute in Mac Roman
      {1047, "\x6A", KWRC_PROPERTY_NAME_ERROR},  // broken bar
      {924, "\x6A", KWRC_NONE},                  // S caron where 1047 has the broken bar
      {425, "\xC1", KWRC_NONE},                  // rows that borrow a related code page
      {9061, "a", KWRC_NONE},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::to_string(c.ccsid) + " " + c.bytes);
    EXPECT_EQ(ValidateBytes(c.bytes, c.ccsid, ZRF_CCSIDTYPE_UNKNOWN), c.reason);
  }
}

TEST_F(PropertyNamesTest, UnicodeSetsFollowTheJavaIdentifierClasses) {
  const struct {
    const char* utf8;
    KWLONG reason;
  } cases[] = {
      {"$", KWRC_NONE},
      {"_", KWRC_NONE},
      {"\xC3\xA9", KWRC_NONE},      // U+00E9
      {"\xE2\x82\xAC", KWRC_NONE},  // euro sign, a currency symbol
      {"\xE4\xB8\xAD", KWRC_NONE},  // a CJK ideograph
      {"7", KWRC_PROPERTY_NAME_ERROR},
      {"a7", KWRC_NONE},
      {"\xCC\x80", KWRC_PROPERTY_NAME_ERROR},  // combining grave accent: part only
      {"a\xCC\x80", KWRC_NONE},
      {"a\xC2\xB7", KWRC_PROPERTY_NAME_ERROR},  // middle dot: punctuation
      {"%", KWRC_PROPERTY_NAME_ERROR},
      {"a%", KWRC_PROPERTY_NAME_ERROR},
      {"a-", KWRC_PROPERTY_NAME_ERROR},
  };
  for (const NameEncoding& enc :
       {zxv::test::kUtf8Name, zxv::test::kLucs2Name, zxv::test::kBucs2Name}) {
    for (const auto& c : cases) {
      SCOPED_TRACE(std::string(enc.label) + " " + c.utf8);
      EXPECT_EQ(Validate(c.utf8, enc), c.reason);
    }
  }
}

TEST_F(PropertyNamesTest, MissingOrEmptyNamesAreRefused) {
  KWLONG cc = -1, rc = -1;
  EXPECT_EQ(zrfValidatePropertyName(nullptr, 4, 1208, ZRF_CCSIDTYPE_UTF8, &cc, &rc),
            KWRC_PROPERTY_NAME_ERROR);
  EXPECT_EQ(cc, KWCC_FAILED);
  EXPECT_EQ(zrfValidatePropertyName("abc", 0, 1208, ZRF_CCSIDTYPE_UTF8, &cc, &rc),
            KWRC_PROPERTY_NAME_ERROR);
  EXPECT_EQ(zrfValidatePropertyName("abc", -3, 819, ZRF_CCSIDTYPE_ASCII, &cc, &rc),
            KWRC_PROPERTY_NAME_ERROR);
  // Null completion and reason pointers are tolerated.
  EXPECT_EQ(zrfValidatePropertyName("abc", 3, 819, ZRF_CCSIDTYPE_ASCII, nullptr, nullptr),
            KWRC_NONE);
}

}  // namespace
