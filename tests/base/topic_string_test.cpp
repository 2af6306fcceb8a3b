// Escaping, literalizing and validating topic strings.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/trace_lines.h"
#include "zxvxcs2/xcs_base.h"
#include "zxvxcs2/xcs_erdp.h"
#include "zxvxcs2/xcs_memory.h"
#include "zxvxcs2/xcs_trace.h"
#include "zxvxzu/topic.h"

namespace {

constexpr KWULONG kUnset = 0xDEADu;
constexpr xcsRC kOddAllocatorCode = xcsRC_UNEXPECTED_ERROR;

// Allocator codes and the reasons they must give.
struct StorageCase {
  xcsRC code;
  KWLONG reason;
};
const std::vector<StorageCase> kStorageCases = {
    {xcsRC_STORAGE_NOT_AVAILABLE, KWRC_STORAGE_NOT_AVAILABLE},
    {xcsRC_STORAGE_NOT_AVAILABLE_2, KWRC_STORAGE_NOT_AVAILABLE},
    {xcsRC_STORAGE_NOT_AVAILABLE_TRACE, KWRC_STORAGE_NOT_AVAILABLE},
    {xcsRC_RESOURCE_PROBLEM, KWRC_RESOURCE_PROBLEM},
    {kOddAllocatorCode, KWRC_UNEXPECTED_ERROR},
};

// Checks that every test frees what it was given, and captures trace lines.
class TopicTest : public ::testing::Test {
 protected:
  void SetUp() override {
    outstanding_ = xcsOutstandingBlocks();
    records_ = xcsFailureRecordCount();
  }
  void TearDown() override {
    xcsInjectAllocFailure(0, 0, 0);
    EXPECT_EQ(xcsOutstandingBlocks(), outstanding_) << "leaked blocks";
  }

  uint32_t NewRecords() const { return xcsFailureRecordCount() - records_; }
  bool Traced(const std::string& text) const { return trace_.Contains(text); }

  struct Escaped {
    ZXVRC rc;
    KWULONG length;
    char* string;
    KWULONG allocated;
    KWLONG cc;
    KWLONG reason;
    std::string text() const { return string ? std::string(string, length) : "<null>"; }
  };
  Escaped Escape(const std::string& in, KWLONG options = ZUT_TOPIC_ESCAPED) {
    Escaped e{0, kUnset, nullptr, kUnset, -1, -1};
    e.rc = zutEscapeTopicString(options, static_cast<KWULONG>(in.size()), in.data(), &e.length,
                                &e.string, &e.allocated, &e.cc, &e.reason);
    return e;
  }

  struct Literal {
    ZXVRC rc;
    KWLONG length;
    char* string;
    KWULONG buffer_length;
    KWLONG ccsid;
    KWULONG allocated;
    KWLONG cc;
    KWLONG reason;
    std::string text() const { return string ? std::string(string, length) : "<null>"; }
    void Free() {
      if (allocated) xcsFreeMemFn(string);
    }
  };
  Literal Literalize(std::string& in, KWLONG ccsid = KWCCSI_UTF8, KWULONG buffer_length = 77) {
    Literal l{0, static_cast<KWLONG>(in.size()), in.data(), buffer_length, ccsid, kUnset, -1, -1};
    l.rc = zutLiteralizeTopicString(&l.length, &l.string, &l.buffer_length, &l.ccsid, &l.allocated,
                                    &l.cc, &l.reason);
    return l;
  }

  zxv::test::TraceLines trace_;

 private:
  int64_t outstanding_ = 0;
  uint32_t records_ = 0;
};

TEST_F(TopicTest, EscapeTable) {
  struct Case {
    std::string in;
    KWLONG options;
    std::string out;
    bool allocated;
  };
  const std::vector<Case> cases = {
      {"a*b", ZUT_TOPIC_ESCAPED, "a%*b", true},
      {"a*b", 0, "a*b", false},
      {"a*b", ~ZUT_TOPIC_ESCAPED, "a*b", false},
      {"abc", ZUT_TOPIC_ESCAPED, "abc", false},
      {"%%", ZUT_TOPIC_ESCAPED, "%%%%", true},
      {"?x*", ZUT_TOPIC_ESCAPED, "%?x%*", true},
      {std::string("a\0*", 3), ZUT_TOPIC_ESCAPED, std::string("a\0%*", 4), true},
      // Bytes of 64 and above are never escaped, whatever their low six bits.
      {"j\xA5\xBF\xEA\x65\x7F", ZUT_TOPIC_ESCAPED, "j\xA5\xBF\xEA\x65\x7F", false},
      {"***", ZUT_TOPIC_ESCAPED, "%*%*%*", true},
  };
  for (const Case& c : cases) {
    Escaped e = Escape(c.in, c.options);
    EXPECT_EQ(e.rc, ZXVRC_OK);
    EXPECT_EQ(e.cc, KWCC_OK);
    EXPECT_EQ(e.reason, KWRC_NONE);
    EXPECT_EQ(e.text(), c.out) << "input '" << c.in << "'";
    EXPECT_EQ(e.allocated, c.allocated ? 1u : 0u) << "input '" << c.in << "'";
    if (!c.allocated) {
      EXPECT_EQ(e.string, c.in.data()) << "unchanged input is handed back";
    }
    if (e.allocated) xcsFreeMemFn(e.string);
  }
}

TEST_F(TopicTest, EscapeEmptyOrMissingString) {
  const char* text = "x";
  KWULONG len = kUnset, alloc = kUnset;
  char* out = nullptr;
  KWLONG cc = -1, reason = -1;
  EXPECT_EQ(zutEscapeTopicString(ZUT_TOPIC_ESCAPED, 0, text, &len, &out, &alloc, &cc, &reason), 0u);
  EXPECT_EQ(len, 0u);
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(alloc, 0u);
  EXPECT_EQ(zutEscapeTopicString(ZUT_TOPIC_ESCAPED, 5, nullptr, &len, &out, &alloc, &cc, &reason),
            0u);
  EXPECT_EQ(len, 0u);
  EXPECT_EQ(out, nullptr);
  // Without the option the input is handed back as it is, even empty.
  EXPECT_EQ(zutEscapeTopicString(0, 0, text, &len, &out, &alloc, &cc, &reason), 0u);
  EXPECT_EQ(out, text);
}

TEST_F(TopicTest, LiteralizeUtf8Table) {
  struct Case {
    std::string in;
    std::string out;
    bool allocated;
  };
  const std::vector<Case> cases = {
      {"%%%%", "%%", true},
      {"a%*b%?", "a*b?", true},
      {"%%*", "%*", true},  // the escaped '%' is not looked at again
      {"abc", "abc", false},
      {"a*b?", "a*b?", false},
      {std::string("\0%%\0", 4), std::string("\0%\0", 3), true},
  };
  for (const Case& c : cases) {
    std::string in = c.in;
    Literal l = Literalize(in);
    EXPECT_EQ(l.rc, ZXVRC_OK);
    EXPECT_EQ(l.cc, KWCC_OK);
    EXPECT_EQ(l.text(), c.out) << "input '" << c.in << "'";
    EXPECT_EQ(l.allocated, c.allocated ? 1u : 0u);
    EXPECT_EQ(l.ccsid, KWCCSI_UTF8);
    EXPECT_EQ(in, c.in) << "caller's bytes changed";
    if (c.allocated) {
      EXPECT_NE(l.string, in.data());
      EXPECT_EQ(l.buffer_length, c.in.size());
    } else {
      EXPECT_EQ(l.string, in.data());
      EXPECT_EQ(l.buffer_length, 77u);
    }
    l.Free();
  }
}

TEST_F(TopicTest, LiteralizeMalformedEscapes) {
  struct Case {
    std::string in;
    std::string trace;
  };
  const std::vector<Case> cases = {
      {"ab%", "Escape character found at end of topic string"},
      {"%", "Escape character found at end of topic string"},
      {"%%%", "Escape character found at end of topic string"},
      {"a%b", "Invalid char following escape: 0x62"},
      {"%%a%\xC3", "Invalid char following escape: 0xC3"},
  };
  for (const Case& c : cases) {
    trace_.Clear();
    std::string in = c.in;
    Literal l = Literalize(in);
    EXPECT_EQ(l.rc, ZXVRC_TOPIC_STRING_INVALID);
    EXPECT_EQ(l.cc, KWCC_FAILED);
    EXPECT_EQ(l.reason, KWRC_TOPIC_STRING_ERROR) << "input '" << c.in << "'";
    EXPECT_EQ(l.allocated, 0u);
    EXPECT_EQ(l.string, in.data()) << "in/out values kept on failure";
    EXPECT_EQ(l.length, static_cast<KWLONG>(in.size()));
    EXPECT_EQ(in, c.in);
    EXPECT_TRUE(Traced(c.trace)) << "input '" << c.in << "'";
  }
  // The results do not depend on the trace.
  xtrSetLevel(XTR_LEVEL_OFF);
  trace_.Clear();
  std::string in = "a%b";
  EXPECT_EQ(Literalize(in).reason, KWRC_TOPIC_STRING_ERROR);
  EXPECT_EQ(zutValidateTopicString(ZUT_TOPIC_ESCAPED, 3, "a%b"), 0);
  EXPECT_TRUE(trace_.Empty());
}

TEST_F(TopicTest, LiteralizeEmptyOrMissing) {
  for (KWLONG length : {0, -1}) {
    char text[] = "%%";
    KWLONG len = length;
    char* str = text;
    KWULONG buf = 9, alloc = kUnset;
    KWLONG ccsid = 819, cc = -1, reason = -1;
    EXPECT_EQ(zutLiteralizeTopicString(&len, &str, &buf, &ccsid, &alloc, &cc, &reason), 0u);
    EXPECT_EQ(len, 0);
    EXPECT_EQ(str, nullptr);
    EXPECT_EQ(alloc, 0u);
    EXPECT_EQ(cc, KWCC_OK);
  }
  KWLONG len = 3;
  char* str = nullptr;
  KWULONG buf = 0, alloc = kUnset;
  KWLONG ccsid = 1208, cc = -1, reason = -1;
  EXPECT_EQ(zutLiteralizeTopicString(&len, &str, &buf, &ccsid, &alloc, &cc, &reason), 0u);
  EXPECT_EQ(len, 0);
}

TEST_F(TopicTest, LiteralizeConvertsToUtf8InTheConversionBuffer) {
  std::string in = "caf\xE9";  // ISO-8859-1
  Literal l = Literalize(in, KWCCSI_ISO8859_1);
  ASSERT_EQ(l.rc, ZXVRC_OK);
  EXPECT_EQ(l.text(), "caf\xC3\xA9");
  EXPECT_EQ(l.buffer_length, static_cast<KWULONG>(ZUT_TOPIC_CONVERT_BUFFER_LENGTH));
  EXPECT_EQ(l.ccsid, KWCCSI_UTF8);
  EXPECT_EQ(l.allocated, 1u);
  EXPECT_EQ(in, "caf\xE9");
  l.Free();

  // EBCDIC 'a' '%' '*' '%' '%': the escapes are recognised only in UTF-8,
  // and are taken out in the same buffer.
  in = "\x81\x6C\x5C\x6C\x6C";
  const uint64_t allocs = xcsAllocCount();
  l = Literalize(in, KWCCSI_EBCDIC_US);
  ASSERT_EQ(l.rc, ZXVRC_OK);
  EXPECT_EQ(xcsAllocCount() - allocs, 1u);
  EXPECT_EQ(l.text(), "a*%");
  l.Free();

  // A dangling escape found after conversion: the buffer is freed (the
  // fixture checks) and the caller's values stay.
  in = "\x81\x6C";
  l = Literalize(in, KWCCSI_EBCDIC_US);
  EXPECT_EQ(l.reason, KWRC_TOPIC_STRING_ERROR);
  EXPECT_EQ(l.allocated, 0u);
  EXPECT_EQ(l.ccsid, KWCCSI_EBCDIC_US);
  EXPECT_TRUE(Traced("Escape character found at end of topic string"));
}

TEST_F(TopicTest, LiteralizeUnconvertibleText) {
  struct Case {
    std::string in;
    KWLONG ccsid;
    const char* what;
  };
  const std::vector<Case> cases = {
      {"abc", 425, "CCSID without a table"},
      {std::string("a\0b", 3), KWCCSI_UTF16, "odd UTF-16 length"},
      {std::string(10241, 'x'), KWCCSI_ISO8859_1, "longer than the buffer"},
      {std::string(6000, '\xE9'), KWCCSI_ISO8859_1, "longer than the buffer once converted"},
  };
  for (const Case& c : cases) {
    std::string in = c.in;
    Literal l = Literalize(in, c.ccsid);
    EXPECT_NE(l.rc, ZXVRC_OK) << c.what;
    EXPECT_EQ(l.cc, KWCC_FAILED) << c.what;
    EXPECT_EQ(l.reason, KWRC_TOPIC_STRING_ERROR) << c.what;
    EXPECT_EQ(l.allocated, 0u) << c.what;
    EXPECT_EQ(l.ccsid, c.ccsid) << c.what;
    EXPECT_EQ(l.string, in.data()) << c.what;
  }
  EXPECT_EQ(NewRecords(), 0u);
}

TEST_F(TopicTest, LiteralizeMapsConversionServiceCodes) {
  // The conversion service takes heap storage for sources over 512 bytes;
  // failing that allocation (the second one of the call) makes the service
  // return the injected code, which stands in for its own failures.
  struct Case {
    xcsRC code;
    KWLONG reason;
  };
  const std::vector<Case> cases = {
      {0x10806055, KWRC_TOPIC_STRING_CONVERSION}, {0x20006047, KWRC_TOPIC_STRING_ERROR},
      {0x20006048, KWRC_TOPIC_STRING_ERROR},      {0x20006050, KWRC_TOPIC_STRING_ERROR},
      {0x20006053, KWRC_TOPIC_STRING_ERROR},      {0x20006180, KWRC_TOPIC_STRING_ERROR},
      {0x20006317, KWRC_TOPIC_STRING_ERROR},      {0x20006318, KWRC_TOPIC_STRING_ERROR},
      {0x20806102, KWRC_TOPIC_STRING_ERROR},      {0x20806197, KWRC_TOPIC_STRING_ERROR},
      {0x20806198, KWRC_TOPIC_STRING_ERROR},      {0x10806199, KWRC_TOPIC_STRING_ERROR},
      {0x20006118, KWRC_UNEXPECTED_ERROR},        {0x20006035, KWRC_UNEXPECTED_ERROR},
  };
  for (const Case& c : cases) {
    std::string in(600, 'x');
    const uint32_t records_before = NewRecords();
    xcsInjectAllocFailure(2, c.code, 0);
    Literal l = Literalize(in, KWCCSI_ISO8859_1);
    xcsInjectAllocFailure(0, 0, 0);
    EXPECT_EQ(l.rc, c.code);
    EXPECT_EQ(l.cc, KWCC_FAILED);
    EXPECT_EQ(l.reason, c.reason) << std::hex << c.code;
    EXPECT_EQ(l.allocated, 0u);
    EXPECT_EQ(NewRecords() - records_before, c.reason == KWRC_UNEXPECTED_ERROR ? 1u : 0u)
        << std::hex << c.code;
  }
}

TEST_F(TopicTest, AllocationFailuresMapAllocatorCodes) {
  // The escaped copy (ccsid 0 below); the conversion buffer (CCSID 819) and
  // the copy made for unescaping (UTF-8).
  for (const StorageCase& s : kStorageCases) {
    for (KWLONG ccsid : {KWLONG{0}, KWCCSI_ISO8859_1, KWCCSI_UTF8}) {
      SCOPED_TRACE(testing::Message() << std::hex << s.code << " ccsid " << std::dec << ccsid);
      std::string in = ccsid == 0 ? "a*b" : "a%*b";
      const uint32_t records_before = NewRecords();
      xcsInjectAllocFailure(1, s.code, 0);
      ZXVRC rc;
      KWLONG cc, reason;
      KWULONG allocated;
      if (ccsid == 0) {
        const Escaped e = Escape(in);
        rc = e.rc, cc = e.cc, reason = e.reason, allocated = e.allocated;
        EXPECT_EQ(e.string, nullptr);
        EXPECT_EQ(e.length, 0u);
      } else {
        const Literal l = Literalize(in, ccsid);
        rc = l.rc, cc = l.cc, reason = l.reason, allocated = l.allocated;
        EXPECT_EQ(l.string, in.data());
      }
      xcsInjectAllocFailure(0, 0, 0);
      EXPECT_EQ(rc, s.code);
      EXPECT_EQ(cc, KWCC_FAILED);
      EXPECT_EQ(reason, s.reason);
      EXPECT_EQ(allocated, 0u);
      EXPECT_EQ(NewRecords() - records_before, s.reason == KWRC_UNEXPECTED_ERROR ? 1u : 0u);
    }
  }
  // A dangling escape fails as malformed even when storage would run out.
  std::string in = "ab%";
  xcsInjectAllocFailure(1, xcsRC_STORAGE_NOT_AVAILABLE, 1);
  const Literal l = Literalize(in);
  xcsInjectAllocFailure(0, 0, 0);
  EXPECT_EQ(l.reason, KWRC_TOPIC_STRING_ERROR);
}

TEST_F(TopicTest, ValidateTable) {
  struct Case {
    std::string in;
    KWLONG options;
    KWLONG result;
    const char* trace;
  };
  const std::vector<Case> cases = {
      {"a%", ZUT_TOPIC_ESCAPED, 0, "Escape character found at end of topic string"},
      {"a%", 0, 1, nullptr},
      {"a%%", ZUT_TOPIC_ESCAPED, 1, nullptr},
      {"%%%", ZUT_TOPIC_ESCAPED, 0, "Escape character found at end of topic string"},
      {"%*%?x*?", ZUT_TOPIC_ESCAPED, 1, nullptr},
      {"%x", ZUT_TOPIC_ESCAPED, 0, "Invalid char following escape: 0x78"},
      {"%\x65", ZUT_TOPIC_ESCAPED, 0, "Invalid char following escape: 0x65"},
      {"", ZUT_TOPIC_ESCAPED, 1, nullptr},
  };
  for (const Case& c : cases) {
    trace_.Clear();
    EXPECT_EQ(zutValidateTopicString(c.options, static_cast<KWULONG>(c.in.size()), c.in.data()),
              c.result)
        << "input '" << c.in << "'";
    if (c.trace != nullptr) {
      EXPECT_TRUE(Traced(c.trace)) << "input '" << c.in << "'";
    }
  }
  EXPECT_EQ(zutValidateTopicString(ZUT_TOPIC_ESCAPED, 4, nullptr), 1);
}

}  // namespace
