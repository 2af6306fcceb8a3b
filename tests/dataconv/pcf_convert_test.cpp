// The PCF converter through vpiConvertData: byte-exact conversion of a
// message from a big-endian EBCDIC sender, strings that change length, the
// header and parameter checks with their traces and messages, truncation,
// and groups nested far deeper than any call stack would allow.
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "dataconv/pcf_message_builder.h"
#include "dataconv_test_util.h"
#include "zxvxcs2/xcs_ccsid.h"
#include "zxvxcs2/xcs_message.h"
#include "zxvxcs2/xcs_trace.h"
#include "zxvxzu/dataconv.h"
#include "zxvxzu/kwrfh2.h"
#include "zxvxzu/pcf.h"

namespace {

using zxv::testing::kBigEndian;
using zxv::testing::kLittleEndian;
using zxv::testing::PcfMessage;

std::string Ebcdic(const std::string& ascii) { return dctest::EbcStr(ascii); }

// German letters in the three CCSIDs of the tests.
struct Umlauts {
  const char* ae;  // a with diaeresis
  const char* oe;
  const char* ue;
  const char* sz;  // sharp s
};
constexpr Umlauts kUmlauts37 = {"\x43", "\xCC", "\xDC", "\x59"};
constexpr Umlauts kUmlauts850 = {"\x84", "\x94", "\x81", "\xE1"};
constexpr Umlauts kUmlautsUtf8 = {"\xC3\xA4", "\xC3\xB6", "\xC3\xBC", "\xC3\x9F"};

struct Result {
  KWLONG reason = -1;
  KWLONG comp_code = -1;
  std::string data;
};

Result Convert(const std::string& in, KWLONG from_encoding, KWLONG from_ccsid, KWLONG to_encoding,
               KWLONG to_ccsid, size_t buffer_length, KWLONG options = 0) {
  dctest::Conversion c(dctest::Vec(in.begin(), in.end()),
                       dctest::Form{false, false, from_encoding, from_ccsid},
                       dctest::Form{false, false, to_encoding, to_ccsid}, KWFMT_PCF, buffer_length);
  c.req.Options = options;
  Result r;
  r.reason = c.Run();
  r.comp_code = c.req.CompCode;
  const dctest::Vec out = c.Result();
  r.data.assign(out.begin(), out.end());
  return r;
}

Result Convert(const std::string& in, KWLONG from_encoding, KWLONG from_ccsid, KWLONG to_encoding,
               KWLONG to_ccsid) {
  return Convert(in, from_encoding, from_ccsid, to_encoding, to_ccsid, 2 * in.size() + 64);
}

std::string Hex(const std::string& s) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string out;
  for (size_t i = 0; i < s.size(); ++i) {
    if (i > 0 && i % 4 == 0) out.push_back(' ');
    const auto b = static_cast<unsigned char>(s[i]);
    out.push_back(kDigits[b >> 4]);
    out.push_back(kDigits[b & 0xF]);
  }
  return out;
}

class PcfConvertTest : public ::testing::Test {
 protected:
  bool Traced(const std::string& text) const { return trace_.Contains(text); }
  // Asserts the shape of a refusal: the reason, and the output holding the
  // message exactly as it was given.
  static void ExpectRefused(const Result& r, const std::string& in, KWLONG reason) {
    EXPECT_EQ(r.reason, reason);
    EXPECT_NE(r.comp_code, KWCC_OK);
    EXPECT_EQ(Hex(r.data), Hex(in)) << "the data must come back as it was given";
  }

  dctest::TraceLines trace_;
};

// The message of a big-endian EBCDIC sender: every parameter type, strings
// of its own CCSID and of CCSID 0 (the message's), groups three deep. The
// same message in another byte order and character set, with the strings
// given in it, is what the conversion must produce.
struct Strings {
  std::string queue;     // "QUEUE.NAME  "
  std::string greeting;  // "Gruesse" spelt with u-umlaut and sharp s: 5 characters
  std::string ch1, ch2;  // "CHANNEL1", "SVRCONN "
  std::string pattern;   // "APP*"
  std::string deep;      // "DEEP"
  std::string pair1;     // a-umlaut o-umlaut
  std::string pair2;     // u-umlaut and a blank, padded to the list's width
  int32_t own_ccsid;     // the CCSID written in strings that name their own
  int32_t pair_width;
};

PcfMessage Message(bool big_endian, const Strings& s, char greeting_pad) {
  PcfMessage m(big_endian);
  m.Header(42)
      .Integer(1001, 0x01020304)
      .String(2002, s.own_ccsid, s.queue)
      .String(2003, 0, s.greeting, greeting_pad)
      .IntegerList(3003, {1, -2, 0x7FFFFFFF})
      .StringList(3004, s.own_ccsid, 8, {s.ch1, s.ch2})
      .Bytes(4005, "\x01\x02\x03\x04\x05", '\x40')
      .IntegerFilter(5006, KWCFOP_GREATER, 100)
      .StringFilter(5007, KWCFOP_LIKE, s.own_ccsid, s.pattern)
      .BytesFilter(5008, KWCFOP_EQUAL, "\xAA\xBB\xCC")
      .Integer64(6009, 0x0102030405060708LL)
      .Integer64List(6010, {-1, 0x1122334455667788LL})
      .Group(7011, 3)
      .Integer(7012, 7)
      .Group(7013, 2)
      .String(7014, s.own_ccsid, s.deep)
      .Group(7015, 1)
      .Integer64(7016, 42)
      .StringList(7017, 0, s.pair_width, {s.pair1, s.pair2});
  return m;
}

Strings SenderStrings() {
  const Umlauts& u = kUmlauts37;
  return {Ebcdic("QUEUE.NAME  "),   Ebcdic("Gr") + u.ue + u.sz + Ebcdic("e"),
          Ebcdic("CHANNEL1"),       Ebcdic("SVRCONN "),
          Ebcdic("APP*"),           Ebcdic("DEEP"),
          std::string(u.ae) + u.oe, std::string(u.ue) + Ebcdic(" "),
          KWCCSI_EBCDIC_US,         2};
}

// The ASCII-based strings of a target CCSID: `u` gives its umlauts. Strings
// of the same length as the sender's keep their padding; the greeting in
// UTF-8 grows and is padded with NULs; the list grows to its widest string,
// the shorter one filled with a blank.
Strings TargetStrings(const Umlauts& u, int32_t ccsid) {
  const bool utf8 = ccsid == KWCCSI_UTF8;
  return {"QUEUE.NAME  ",
          std::string("Gr") + u.ue + u.sz + "e",
          "CHANNEL1",
          "SVRCONN ",
          "APP*",
          "DEEP",
          std::string(u.ae) + u.oe,
          std::string(u.ue) + (utf8 ? "  " : " "),
          ccsid,
          utf8 ? 4 : 2};
}

TEST_F(PcfConvertTest, BigEndianEbcdicSenderToLocalIsByteExact) {
  const std::string sent = Message(kBigEndian, SenderStrings(), '\x40').bytes();
  struct Case {
    int32_t ccsid;
    const Umlauts* umlauts;
    char greeting_pad;  // kept as sent when the greeting keeps its length
  } const cases[] = {{KWCCSI_PC_LATIN1, &kUmlauts850, '\x40'}, {KWCCSI_UTF8, &kUmlautsUtf8, 0}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.ccsid);
    const std::string expected =
        Message(kLittleEndian, TargetStrings(*c.umlauts, c.ccsid), c.greeting_pad).bytes();
    const Result r = Convert(sent, 273, KWCCSI_EBCDIC_US, KWENC_NATIVE, c.ccsid);
    ASSERT_EQ(r.reason, KWRC_NONE);
    EXPECT_EQ(r.comp_code, KWCC_OK);
    EXPECT_EQ(Hex(r.data), Hex(expected));
  }
}

TEST_F(PcfConvertTest, LocalMessageConvertsBackToTheSendersBytes) {
  const std::string sent = Message(kBigEndian, SenderStrings(), '\x40').bytes();
  const Result there = Convert(sent, 273, KWCCSI_EBCDIC_US, KWENC_NATIVE, KWCCSI_PC_LATIN1);
  ASSERT_EQ(there.reason, KWRC_NONE);
  const Result back = Convert(there.data, KWENC_NATIVE, KWCCSI_PC_LATIN1, 273, KWCCSI_EBCDIC_US);
  ASSERT_EQ(back.reason, KWRC_NONE);
  EXPECT_EQ(Hex(back.data), Hex(sent));
}

// Small messages whose conversion must give exactly the bytes built for the
// target: byte order alone, two-byte strings, a bare header, bytes after the
// last parameter, and a list of empty strings that says it has very many.
TEST_F(PcfConvertTest, SmallMessagesAreByteExact) {
  struct Case {
    const char* what;
    PcfMessage sent;
    KWLONG from_encoding, from_ccsid, to_encoding, to_ccsid;
    PcfMessage expected;
  };
  const auto msg = [](bool big) { return PcfMessage(big); };
  std::vector<Case> cases = {
      {"same forms", Message(kBigEndian, SenderStrings(), '\x40'), 273, 37, 273, 37,
       Message(kBigEndian, SenderStrings(), '\x40')},
      {"byte order only", Message(kBigEndian, SenderStrings(), '\x40'), 273, 37, 546, 37,
       Message(kLittleEndian, SenderStrings(), '\x40')},
      {"UTF-16 big-endian",
       msg(kBigEndian).Header(1).String(10, KWCCSI_UTF16, std::string("\0A\0B", 4)), 273, 37, 546,
       KWCCSI_UTF8, msg(kLittleEndian).Header(1).String(10, KWCCSI_UTF8, "AB")},
      {"UTF-16 little-endian",
       msg(kLittleEndian).Header(1).String(10, KWCCSI_UTF16, std::string("A\0B\0", 4)), 546, 37,
       546, KWCCSI_UTF8, msg(kLittleEndian).Header(1).String(10, KWCCSI_UTF8, "AB")},
      {"header alone", msg(kBigEndian).Header(7, KWCFT_RESPONSE, 0), 273, 37, 546, 850,
       msg(kLittleEndian).Header(7, KWCFT_RESPONSE, 0)},
      {"bytes after the last parameter",
       msg(kBigEndian).Header(1).Integer(5, 6).Raw("\xC1\xC2\xC3"), 273, 37, 546, 850,
       msg(kLittleEndian).Header(1).Integer(5, 6).Raw("\xC1\xC2\xC3")},
      {"many empty strings",
       msg(kBigEndian).Header(1).StringList(9, 37, 0, {}).Patch32(52, 0x7FFFFFFF), 273, 37, 546,
       850, msg(kLittleEndian).Header(1).StringList(9, 850, 0, {}).Patch32(52, 0x7FFFFFFF)},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    const Result r =
        Convert(c.sent.bytes(), c.from_encoding, c.from_ccsid, c.to_encoding, c.to_ccsid);
    ASSERT_EQ(r.reason, KWRC_NONE);
    EXPECT_EQ(Hex(r.data), Hex(c.expected.bytes()));
  }
}

// Damaged headers and counts: each refused with the data as given, and with
// its trace line or catalogue message.
TEST_F(PcfConvertTest, BadHeadersAndCountsAreRefused) {
  PcfMessage two(kBigEndian);
  two.Header(1).Integer(1, 1).Integer(2, 2);
  const std::string& g = two.bytes();
  PcfMessage unknown(kBigEndian);
  unknown.Header(1, 1, 2).Integer(1, 1).Raw32(99).Raw32(16).Raw32(3).Raw32(4);
  struct Case {
    const char* what;
    std::string in;
    const char* trace;    // or null
    const char* message;  // catalogue message and an insert, or null
    const char* insert;
  };
  const Case cases[] = {
      {"short header", g.substr(0, 35), "Buffer too small for complete PCF header. Len=35", nullptr,
       nullptr},
      {"header length 40", PcfMessage(kBigEndian).Header(1, 1, 0).Raw32(0).Patch32(4, 40).bytes(),
       nullptr, "ZXV7924", "40"},
      {"negative parameter count", PcfMessage(kBigEndian).Header(1, 1, 0).Patch32(32, -1).bytes(),
       nullptr, "ZXV7926", ""},
      {"parameter one byte past the data", g.substr(0, g.size() - 1),
       "Incomplete PCF header @2. Len=16 Index=1", nullptr, nullptr},
      {"more parameters counted than present",
       PcfMessage(kBigEndian).Header(1, 1, 2).Integer(1, 1).bytes(),
       "Incomplete PCF header @2. Len=0 Index=1", nullptr, nullptr},
      {"unknown type", unknown.bytes(), nullptr, "ZXV7927", "99"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    trace_.Clear();
    const uint32_t shown = xcsDisplayedMessageCount();
    ExpectRefused(Convert(c.in, 273, 37, 546, 850), c.in, KWRC_NOT_CONVERTED);
    if (c.trace != nullptr) {
      EXPECT_TRUE(Traced(c.trace)) << c.trace;
    }
    if (c.message != nullptr) {
      ASSERT_EQ(xcsDisplayedMessageCount(), shown + 1);
      char text[512];
      xcsLastDisplayedMessage(text, sizeof text);
      EXPECT_NE(std::string(text).find(c.message), std::string::npos) << text;
      EXPECT_NE(std::string(text).find(c.insert), std::string::npos) << text;
    }
  }
}

// The second parameter (index 1) of each message is damaged in its length or
// in a count or length that its structure length cannot hold.
TEST_F(PcfConvertTest, BadLengthsAreRefused) {
  constexpr size_t kSecond = 36 + 16;  // after the header and a good integer
  struct Case {
    const char* what;
    void (*damage)(PcfMessage&);
    int32_t traced_length;
  } const cases[] = {
      {"integer of 12 bytes", [](PcfMessage& m) { m.Integer(2, 2).Patch32(kSecond + 4, 12); }, 12},
      {"negative length", [](PcfMessage& m) { m.Integer(2, 2).Patch32(kSecond + 4, -16); }, -16},
      {"length under type and length", [](PcfMessage& m) { m.Raw32(77).Raw32(4); }, 4},
      {"string longer than its structure",
       [](PcfMessage& m) { m.String(2, 37, "ABCDEFGH").Patch32(kSecond + 16, 9); }, 28},
      {"negative string length",
       [](PcfMessage& m) { m.String(2, 37, "ABCD").Patch32(kSecond + 16, -1); }, 24},
      {"integer list count past its structure",
       [](PcfMessage& m) {
         m.IntegerList(2, {1, 2}).Patch32(kSecond + 12, 3);
       },
       24},
      {"string list count times width overflowing",
       [](PcfMessage& m) {
         m.StringList(2, 37, 4, {"ABCD"})
             .Patch32(kSecond + 16, 0x40000000)
             .Patch32(kSecond + 20, 0x40000000);
       },
       28},
      {"byte string longer than its structure",
       [](PcfMessage& m) { m.Bytes(2, "1234").Patch32(kSecond + 12, 100); }, 20},
      {"byte string filter longer than its structure",
       [](PcfMessage& m) { m.BytesFilter(2, 2, "1234").Patch32(kSecond + 16, 5); }, 24},
      {"string filter negative length",
       [](PcfMessage& m) { m.StringFilter(2, 2, 37, "1234").Patch32(kSecond + 20, -4); }, 28},
      {"negative group count", [](PcfMessage& m) { m.Group(2, 0).Patch32(kSecond + 12, -1); }, 16},
      {"64-bit integer of 20 bytes",
       [](PcfMessage& m) { m.Integer64(2, 5).Patch32(kSecond + 4, 20); }, 20},
      {"64-bit list count past its structure",
       [](PcfMessage& m) { m.Integer64List(2, {1}).Patch32(kSecond + 12, 2); }, 24},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    trace_.Clear();
    PcfMessage sent(kBigEndian);
    sent.Header(1, 1, 2).Integer(1, 1);
    c.damage(sent);
    ExpectRefused(Convert(sent.bytes(), 273, 37, 546, 850), sent.bytes(), KWRC_NOT_CONVERTED);
    const std::string line =
        "Bad length in PCF header @1. Len=" + std::to_string(c.traced_length) + " Index=1";
    EXPECT_TRUE(Traced(line)) << line;
  }
}

TEST_F(PcfConvertTest, StringsThatDoNotConvertAreRefused) {
  struct Case {
    const char* what;
    int32_t ccsid;
    std::string text;
  } const cases[] = {
      {"EBCDIC control without a mapping in 850", 37, "\xC1\x04\xC2"},
      {"CCSID without a table", 425, "\x41\x42"},
      {"UTF-8 that is not valid", KWCCSI_UTF8, "\xC3"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    PcfMessage sent(kBigEndian);
    sent.Header(1).Integer(1, 1).String(2, c.ccsid, c.text);
    ExpectRefused(Convert(sent.bytes(), 273, 37, 546, 850), sent.bytes(), KWRC_NOT_CONVERTED);
  }
}

// Long messages of many strings convert through a table of the CCSID pair;
// the result must not differ from the one built here, and a byte without a
// mapping must still stop the conversion.
TEST_F(PcfConvertTest, ManyStringsConvertAsFewDo) {
  const Umlauts& from = kUmlauts37;
  const Umlauts& to = kUmlauts850;
  PcfMessage sent(kBigEndian);
  PcfMessage expected(kLittleEndian);
  sent.Header(1);
  expected.Header(1);
  for (int k = 0; k < 200; ++k) {
    sent.String(k, 37, Ebcdic("SYSTEM.DEFAULT.LOCAL.QUEUE ") + from.ue + from.sz, '\x40')
        .StringList(k, 0, 3, {Ebcdic("AB") + from.ae, Ebcdic("C") + from.oe + Ebcdic("D")});
    expected.String(k, 850, std::string("SYSTEM.DEFAULT.LOCAL.QUEUE ") + to.ue + to.sz, '\x40')
        .StringList(k, 0, 3, {std::string("AB") + to.ae, std::string("C") + to.oe + "D"});
  }
  const Result r = Convert(sent.bytes(), 273, 37, 546, 850);
  ASSERT_EQ(r.reason, KWRC_NONE);
  EXPECT_EQ(Hex(r.data), Hex(expected.bytes()));

  sent.String(999, 37, "\xC1\x04");
  ExpectRefused(Convert(sent.bytes(), 273, 37, 546, 850), sent.bytes(), KWRC_NOT_CONVERTED);
}

// CCSID 939 writes a two-byte character between shift-out and shift-in, so
// two of them in a row are not the two written alone one after the other.
// The platform's conversion of each whole string is what must come out,
// table or not.
TEST_F(PcfConvertTest, ShiftedTargetsConvertWholeStrings) {
  const std::vector<std::string> texts = {std::string(40, 'A') + "PAYROLL.QUEUE", "\x9E\x9E",
                                          "x\x9E" + std::string(30, 'y') + "\x9E"};
  PcfMessage sent(kLittleEndian);
  PcfMessage expected(kLittleEndian);
  sent.Header(1);
  expected.Header(1);
  for (int round = 0; round < 30; ++round) {
    for (const std::string& text : texts) {
      char out[256];
      uint32_t used = 0;
      ASSERT_EQ(xcsConvertString(850, 546, text.data(), static_cast<uint32_t>(text.size()), 939,
                                 546, out, sizeof out, &used),
                xcsRC_OK);
      sent.String(round, 850, text);
      expected.String(round, 939, std::string(out, used));
    }
  }
  const Result r = Convert(sent.bytes(), 546, 850, 546, 939);
  ASSERT_EQ(r.reason, KWRC_NONE);
  EXPECT_EQ(Hex(r.data), Hex(expected.bytes()));
}

TEST_F(PcfConvertTest, ThreadsConvertingANewPairAgree) {
  xtrSetLevel(XTR_LEVEL_OFF);  // the collecting sink is for one thread
  // CCSID 500 spells these letters as 37 does.
  PcfMessage sent(kBigEndian);
  PcfMessage expected(kLittleEndian);
  sent.Header(1);
  expected.Header(1);
  for (int k = 0; k < 100; ++k) {
    sent.String(k, 500, Ebcdic("PAYROLL.REQUEST.QUEUE.0042"));
    expected.String(k, 819, "PAYROLL.REQUEST.QUEUE.0042");
  }
  std::vector<std::string> results(4);
  std::vector<std::thread> threads;
  for (std::string& result : results) {
    threads.emplace_back([&sent, &result] {
      for (int round = 0; round < 5; ++round) {
        const Result r = Convert(sent.bytes(), 273, 500, 546, 819);
        result = r.reason == KWRC_NONE ? r.data : "reason " + std::to_string(r.reason);
        if (r.reason != KWRC_NONE) return;
      }
    });
  }
  for (std::thread& t : threads) t.join();
  for (const std::string& result : results) EXPECT_EQ(Hex(result), Hex(expected.bytes()));
}

TEST_F(PcfConvertTest, OutputTooSmallIsRefusedOrTruncated) {
  PcfMessage sent(kBigEndian);
  sent.Header(1).Integer(1, 1).String(2, 37, Ebcdic("ABCD")).Integer(3, 3);
  PcfMessage whole(kLittleEndian);
  whole.Header(1).Integer(1, 1).String(2, 850, "ABCD").Integer(3, 3);
  const size_t room = sent.size() - 10;

  const Result refused = Convert(sent.bytes(), 273, 37, 546, 850, room);
  EXPECT_EQ(refused.reason, KWRC_CONVERTED_MSG_TOO_BIG);

  const Result truncated =
      Convert(sent.bytes(), 273, 37, 546, 850, room, KWGMO_ACCEPT_TRUNCATED_MSG);
  EXPECT_EQ(truncated.reason, KWRC_TRUNCATED_MSG_ACCEPTED);
  EXPECT_EQ(truncated.comp_code, KWCC_WARNING);
  EXPECT_EQ(Hex(truncated.data), Hex(whole.bytes().substr(0, room)));

  // A fault after the cut is still found.
  sent.Raw32(99).Raw32(8).Patch32(32, 4);
  ExpectRefused(Convert(sent.bytes(), 273, 37, 546, 850, room, KWGMO_ACCEPT_TRUNCATED_MSG),
                sent.bytes().substr(0, room), KWRC_NOT_CONVERTED);
}

TEST_F(PcfConvertTest, InvalidEncodingsAreRefused) {
  PcfMessage sent(kBigEndian);
  sent.Header(1).Integer(1, 1);
  EXPECT_EQ(Convert(sent.bytes(), 0x270, 37, 546, 850).reason, KWRC_SOURCE_INTEGER_ENC_ERROR);
  EXPECT_EQ(Convert(sent.bytes(), 273, 37, 0x223, 850).reason, KWRC_TARGET_INTEGER_ENC_ERROR);
}

// Each group holds the next one; the innermost holds one integer. A
// recursive walk would need a stack frame per level.
TEST_F(PcfConvertTest, GroupsNestedTenThousandDeepConvert) {
  constexpr int kDepth = 10000;
  PcfMessage sent(kBigEndian);
  PcfMessage expected(kLittleEndian);
  sent.Header(1);
  expected.Header(1);
  for (int level = 0; level < kDepth; ++level) {
    sent.Group(level, 1);
    expected.Group(level, 1);
  }
  sent.Integer(kDepth, -7);
  expected.Integer(kDepth, -7);
  xtrSetLevel(XTR_LEVEL_OFF);
  const Result r = Convert(sent.bytes(), 273, 37, 546, 850);
  ASSERT_EQ(r.reason, KWRC_NONE);
  EXPECT_TRUE(r.data == expected.bytes());

  // One member short at the bottom: the walk runs out of data.
  const std::string cut = sent.bytes().substr(0, sent.size() - 16);
  xtrSetLevel(XTR_LEVEL_DETAIL);
  const Result incomplete = Convert(cut, 273, 37, 546, 850);
  EXPECT_EQ(incomplete.reason, KWRC_NOT_CONVERTED);
  EXPECT_TRUE(Traced("Incomplete PCF header @2. Len=0 Index=10000"));
}

}  // namespace
