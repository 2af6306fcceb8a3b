// The built-in header converters, each alone and chained, checked against
// bytes the tests build themselves in both forms: big-endian EBCDIC (273/37)
// and little-endian ASCII (546/850).
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "dataconv_test_util.h"
#include "zxvxzu/dataconv.h"
#include "zxvxzu/headers.h"

namespace {

using dctest::Bytes;
using dctest::Counting;
using dctest::Dlh;
using dctest::Form;
using dctest::kBigEbcdic;
using dctest::kLittleAscii;
using dctest::Vec;

// ---- Builders: each writes its structure in the given form, naming `next`
// (and the form's own encoding and CCSID) as what follows.

Bytes Prefix(const Form& f, const char* id, int32_t version, int32_t length,
             const std::string& next) {
  Bytes b(f);
  b.Text(id).I32(version).I32(length).Next(next).I32(0);
  return b;
}

Bytes Xqh(const Form& f, const std::string& next) {
  Bytes b(f);
  b.Text("XQH ").I32(1).Text("TARGET.Q", 48).Text("QM2", 48);
  b.Text("MD  ").I32(1).I32(0).I32(8).I32(-1).I32(0).Next(next).I32(4).I32(1);
  b.Raw(Counting(24, 1)).Raw(Counting(24, 0x80)).I32(0);
  b.Text("REPLY.Q", 48).Text("QM1", 48).Text("user1", 12).Raw(Counting(32, 0x40));
  b.Text("ident", 32).I32(11).Text("app", 28).Text("20240101", 8).Text("12000000", 8).Text("", 4);
  return b;
}

Bytes DlhTo(const Form& f, const std::string& next) { return Dlh(f, next); }

Bytes Mde(const Form& f, const std::string& next) {
  Bytes b = Prefix(f, "MDE ", 2, 72, next);
  b.Raw(Counting(24, 0x10)).I32(1).I32(0).I32(0).I32(-1);
  return b;
}

Bytes Tih(const Form& f, const std::string& next) {
  Bytes b = Prefix(f, "TIH ", 1, 84, next);
  b.Text("LTERM", 8).Text("MAP1", 8).Text("KWSTR", 8).Text("AUTH", 8).Raw(Counting(16, 0x20));
  b.Text("C").Text("0").Text("S").Text(" ");
  return b;
}

Bytes Saph(const Form& f, const std::string& next) {
  Bytes b = Prefix(f, "SAPH", 1, 96, next);
  b.Text("100").Text("EN").Text("host.example", 32).Text("user", 12).Text("secret", 8);
  b.Text("00").Fill(5, 0);
  return b;
}

Bytes Rmh(const Form& f, const std::string& next) {
  Bytes b = Prefix(f, "RMH ", 1, 124, next);
  b.Text("FILE", 8).Raw(Counting(24, 0x30));
  b.I32(4).I32(108).I32(8).I32(112).I32(0).I32(0).I32(3).I32(120).I32(1000).I32(0).I32(0);
  b.Text("ENV1").Text("name.txt").Text("out").Fill(1, 0x00);
  return b;
}

Bytes Rfh(const Form& f, const std::string& next) {
  Bytes b = Prefix(f, "RFH ", 1, 44, next);
  b.Text("name=value", 12);
  return b;
}

Bytes Rfh2(const Form& f, const std::string& next) {
  Bytes b = Prefix(f, "RFH ", 2, 60, next);
  b.I32(f.ccsid).I32(20).Text("<usr><a>1</a></usr>", 20);
  return b;
}

Bytes Cfh(const Form& f, int32_t count) {
  Bytes b(f);
  b.I32(1).I32(36).I32(1).I32(42).I32(1).I32(1).I32(0).I32(0).I32(count);
  return b;
}
Bytes Cfin(const Form& f) {
  Bytes b(f);
  b.I32(3).I32(16).I32(1001).I32(7);
  return b;
}
Bytes Cfst(const Form& f) {
  Bytes b(f);
  b.I32(4).I32(28).I32(2016).I32(f.ccsid).I32(8).Text("QUEUE.01");
  return b;
}

Bytes Eph(const Form& f, const std::string& next) {
  Bytes b = Prefix(f, "EPH ", 1, 84, next);
  b.Append(Cfh(f, 1)).Append(Cfin(f));
  return b;
}

Bytes Tm(const Form& f) {
  Bytes b(f);
  b.Text("TM  ").I32(1).Text("INIT.Q", 48).Text("PROC", 48).Text("trigdata", 64).I32(2);
  b.Text("/bin/app", 256).Text("env", 128).Text("user", 128);
  return b;
}

Bytes TrxVs(const Form& f) {
  Bytes b(f);
  b.I16(9).I16(0).Text("TRAN1").I16(7).I16(256).Text("ABC");
  return b;
}

Bytes Str(const Form& f, const std::string& text) {
  Bytes b(f);
  b.Text(text);
  return b;
}

// Converts `source` in format `format` from one form to another and expects
// exactly `expected`.
void ExpectConverts(const char* what, const Vec& source, const Form& from, const Form& to,
                    const char* format, const Vec& expected) {
  dctest::Conversion c(source, from, to, format, source.size() * 2 + 64);
  EXPECT_EQ(c.Run(), 0) << what;
  EXPECT_EQ(c.req.CompCode, KWCC_OK) << what;
  EXPECT_EQ(c.Result(), expected) << what;
  EXPECT_EQ(c.req.ResultEncoding, to.encoding) << what;
  EXPECT_EQ(c.req.ResultCCSID, to.ccsid) << what;
}

struct HeaderCase {
  const char* name;
  const char* format;
  std::function<Bytes(const Form&)> build;
};

// A header followed by a little text names "KWSTR   " as what follows.
template <Bytes (*Header)(const Form&, const std::string&)>
Bytes WithText(const Form& f) {
  Bytes b = Header(f, "KWSTR   ");
  b.Append(Str(f, "ABC"));
  return b;
}

const HeaderCase kHeaderCases[] = {
    {"transmission header", "KWXMIT  ", WithText<Xqh>},
    {"dead-letter header", "KWDEAD  ", WithText<DlhTo>},
    {"descriptor extension", "KWHMDE  ", WithText<Mde>},
    {"TRX bridge header", "KWTRX   ", WithText<Tih>},
    {"SAP header", "KWHSAP  ", WithText<Saph>},
    {"reference header", "KWHREF  ", WithText<Rmh>},
    {"older name/value header", "KWHRF   ", WithText<Rfh>},
    {"property header", "KWHRF2  ", WithText<Rfh2>},
    {"embedded PCF header", "KWHEPCF ", WithText<Eph>},
    {"trigger message", "KWTRIG  ", Tm},
    {"TRX variable string", "KWTRXVS ", TrxVs},
    {"text", "KWSTR   ", [](const Form& f) { return Str(f, "Hello, World."); }},
    {"command 1", "KWCMD1  ", [](const Form& f) { return Str(f, "DISPLAY QMGR"); }},
    {"command 2", "KWCMD2  ", [](const Form& f) { return Str(f, "PING"); }},
    {"PCF", "KWPCF   ", [](const Form& f) { return Cfh(f, 2).Append(Cfin(f)).Append(Cfst(f)); }},
    {"admin", "KWADMIN ", [](const Form& f) { return Cfh(f, 1).Append(Cfin(f)); }},
    {"event", "KWEVENT ", [](const Form& f) { return Cfh(f, 0); }},
};

TEST(HeaderConverters, EachFormatAloneBothWays) {
  for (const HeaderCase& c : kHeaderCases) {
    const Vec big = c.build(kBigEbcdic).bytes();
    const Vec little = c.build(kLittleAscii).bytes();
    ExpectConverts(c.name, big, kBigEbcdic, kLittleAscii, c.format, little);
    ExpectConverts(c.name, little, kLittleAscii, kBigEbcdic, c.format, big);
  }
}

Bytes Chain(const Form& f, const char* last) {
  Bytes b = Xqh(f, "KWDEAD  ");
  b.Append(Dlh(f, "KWHMDE  ")).Append(Mde(f, "KWHRF2  ")).Append(Rfh2(f, last));
  if (std::string(last) == "KWPCF   ") {
    b.Append(Cfh(f, 2)).Append(Cfin(f)).Append(Cfst(f));
  } else {
    b.Append(Str(f, "HELLO WORLD"));
  }
  return b;
}

TEST(HeaderConverters, ChainFromTransmissionHeaderToTextOrPcf) {
  ASSERT_EQ(Chain(kBigEbcdic, "KWSTR   ").size(), 428u + 172 + 72 + 60 + 11);
  for (const char* last : {"KWSTR   ", "KWPCF   "}) {
    const Vec big = Chain(kBigEbcdic, last).bytes();
    const Vec little = Chain(kLittleAscii, last).bytes();
    ExpectConverts(last, big, kBigEbcdic, kLittleAscii, "KWXMIT  ", little);
    ExpectConverts(last, little, kLittleAscii, kBigEbcdic, "KWXMIT  ", big);
  }
}

TEST(HeaderConverters, InheritedCcsidIsKeptAndFollowed) {
  // A dead-letter header saying CCSID 0 for what follows: the text is in the
  // header's own CCSID, and the 0 stays.
  ExpectConverts("inherited CCSID", Dlh(kBigEbcdic, "KWSTR", 273, 0).Text("TEXT").bytes(),
                 kBigEbcdic, kLittleAscii, "KWDEAD  ",
                 Dlh(kLittleAscii, "KWSTR", 546, 0).Text("TEXT").bytes());
}

TEST(HeaderConverters, PropertyFoldersChangeLengthAndStayMultiplesOfFour) {
  // A folder with a character that becomes two bytes of UTF-8: 8 bytes of
  // code page 37 become 9, padded with ASCII blanks to 12.
  const Form utf8 = dctest::kLittleUtf8;
  Bytes src = Prefix(kBigEbcdic, "RFH ", 2, 48, "        ");
  src.I32(37).I32(8).Text("<a>").Raw({0x4A}).Text("</a>");
  Bytes expected = Prefix(utf8, "RFH ", 2, 52, "        ");
  expected.I32(1208).I32(12).Text("<a>").Raw({0xC2, 0xA2}).Text("</a>").Text("", 3);
  // What follows has no format: it is copied, and the header keeps
  // describing it with the source values.
  // 273 and 37 in little-endian order at the header's Encoding and CCSID.
  Vec want = expected.bytes();
  const Vec source_values = {0x11, 0x01, 0x00, 0x00, 0x25, 0x00, 0x00, 0x00};
  std::copy(source_values.begin(), source_values.end(), want.begin() + 12);
  ExpectConverts("folder growth", src.bytes(), kBigEbcdic, utf8, "KWHRF2  ", want);

  // A folder of 19 ASCII characters becomes 20 in EBCDIC, padded with 0x40.
  Bytes ascii = Prefix(kLittleAscii, "RFH ", 2, 59, "KWSTR   ");
  ascii.I32(850).I32(19).Text("<usr><a>1</a></usr>");
  ExpectConverts("EBCDIC padding", ascii.bytes(), kLittleAscii, kBigEbcdic, "KWHRF2  ",
                 Rfh2(kBigEbcdic, "KWSTR   ").bytes());
}

}  // namespace
