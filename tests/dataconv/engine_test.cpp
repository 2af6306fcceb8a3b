// vpiConvertData and vxKWXDX: the trace switch and its dumps, format names
// over all 8 characters, the built-in stage without user exits, results that
// leave the data as given, truncation, in-place conversion, argument checks.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "dataconv_test_util.h"
#include "zxvxcs2/xcs_memory.h"
#include "zxvxzu/dataconv.h"
#include "zxvxzu/headers.h"

namespace {

using dctest::Bytes;
using dctest::Conversion;
using dctest::Dlh;
using dctest::Form;
using dctest::kBigEbcdic;
using dctest::kLittleAscii;
using dctest::ScopedEnv;
using dctest::TraceLines;
using dctest::Vec;

constexpr Form kLatin1 = dctest::kLittleLatin1;
constexpr Form kUtf8 = dctest::kLittleUtf8;

Vec Text(const Form& f, const std::string& s) { return Bytes(f).Text(s).bytes(); }

// Converts `length` bytes at the start of `buffer` where they are.
VPICONVERTREQ InPlace(Vec& buffer, size_t length, const Form& from, const char* format) {
  VPICONVERTREQ req{};
  req.SourceEncoding = from.encoding;
  req.SourceCCSID = from.ccsid;
  req.TargetEncoding = from.big ? kLittleAscii.encoding : kBigEbcdic.encoding;
  req.TargetCCSID = from.big ? kLittleAscii.ccsid : kBigEbcdic.ccsid;
  std::memcpy(req.Format, format, 8);
  req.DataLength = req.AvailableLength = static_cast<KWLONG>(length);
  req.InBuffer = req.OutBuffer = buffer.data();
  req.BufferLength = static_cast<KWLONG>(buffer.size());
  return req;
}

class EngineTest : public ::testing::Test {
 protected:
  // No user exits are found unless a test says where they are.
  ScopedEnv exit_path_{"ZXV_EXIT_PATH", "/nonexistent"};
  ScopedEnv no_exits_{"ZXV_NO_USER_DATACONV", nullptr};
  ScopedEnv trace_switch_{"ZXV_TRACE_DATACONV", nullptr};
};

TEST_F(EngineTest, TraceSwitchIsReadOnceAndDumpsWholeOrStartAndEnd) {
  {
    TraceLines trace;
    Conversion c(Vec(4, 0xC1), kBigEbcdic, kLittleAscii, "KWSTR   ", 16);
    c.Run();
    EXPECT_FALSE(trace.Contains("Pre conversion"));
    // Set behind the cache's back: the first answer stands.
    setenv("ZXV_TRACE_DATACONV", "1", 1);
    c.Run();
    EXPECT_FALSE(trace.Contains("Pre conversion"));
  }
  ScopedEnv on("ZXV_TRACE_DATACONV", "1");
  struct {
    size_t length;
    const char* present;
    const char* absent;
  } const cases[] = {
      {128, "Message Data - all", "Message Data - start"},
      {129, "Message Data - end", "Message Data - all"},
      {0, "Message Data - AvailableLength <= 0 ", "Message Data - all"},
  };
  for (const auto& k : cases) {
    TraceLines trace;
    Conversion c(Vec(k.length, 0xC1), kBigEbcdic, kLittleAscii, "KWSTR   ", 256);
    EXPECT_EQ(c.Run(), 0);
    EXPECT_TRUE(trace.Contains(k.present)) << k.length;
    EXPECT_FALSE(trace.Contains(k.absent)) << k.length;
    if (k.length == 128) {
      EXPECT_TRUE(
          trace.Contains("Pre conversion - CompCode (0) - Reason (0) - Data Length (128) - "
                         "Available Length (128) - Buffer Length (256)"));
      EXPECT_TRUE(trace.Contains("Post conversion - Data Length (128)"));
    }
  }
}

TEST_F(EngineTest, TransmissionHeaderAndTriggerMessageAreTraced) {
  TraceLines trace;
  Bytes xqh(kBigEbcdic);
  xqh.Text("XQH ").I32(1).Text("Q", 48).Text("QM", 48).Text("MD  ").I32(1).Fill(16, 0);
  xqh.Next("        ").Fill(428 - 144, 0x40);
  Conversion c(xqh.bytes(), kBigEbcdic, kLittleAscii, "KWXMIT  ", 512);
  EXPECT_EQ(c.Run(), 0);
  EXPECT_TRUE(trace.Contains("KWXQH Header (428 bytes)"));
  Bytes tm(kBigEbcdic);
  tm.Text("TM  ").I32(1).Text("Q", 48).Text("P", 48).Text("", 64).I32(2).Text("", 512);
  Conversion t(tm.bytes(), kBigEbcdic, kLittleAscii, "KWTRIG  ", 1024);
  EXPECT_EQ(t.Run(), 0);
  EXPECT_TRUE(trace.Contains("TM Eyecatcher TM  "));
}

TEST_F(EngineTest, FormatNamesCompareOverAllEightCharacters) {
  const Vec text = Text(kBigEbcdic, "ABCD");
  struct Case {
    const char* format;
    KWLONG reason;
  } cases[] = {
      {"KWSTR   ", 0},
      {"KWSTR\0\0\0", KWRC_FORMAT_ERROR},
      {"kwstr   ", KWRC_FORMAT_ERROR},
      {" KWSTR  ", KWRC_FORMAT_ERROR},
      {"KWSTR  .", KWRC_FORMAT_ERROR},
      {"KWXMIT\0 ", KWRC_FORMAT_ERROR},
  };
  for (const Case& c : cases) {
    Conversion conv(text, kBigEbcdic, kLittleAscii, c.format, 16);
    EXPECT_EQ(conv.Run(), c.reason) << std::string(c.format, 8);
    const Vec expected = c.reason == 0 ? Text(kLittleAscii, "ABCD") : text;
    EXPECT_EQ(conv.Result(), expected) << std::string(c.format, 8);
  }
}

TEST_F(EngineTest, NoFormatAndAmqpAreCopiedAsGiven) {
  TraceLines trace;
  const Vec data = {'A', 'B', 'C', 'D', 0xFF, 0x00};
  for (const char* format : {"        ", "KWAMQP  "}) {
    Conversion c(data, kBigEbcdic, kLittleAscii, format, 16);
    EXPECT_EQ(c.Run(), 0) << format;
    EXPECT_EQ(c.Result(), data);
    EXPECT_EQ(c.req.ResultEncoding, kBigEbcdic.encoding);
    EXPECT_EQ(c.req.ResultCCSID, kBigEbcdic.ccsid);
  }
  EXPECT_TRUE(trace.Contains("Copy 6 bytes starting with string 'ABCD'"));
}

TEST_F(EngineTest, NoUserExitsLeavesAUserFormatWithTheBuiltInStagesReason) {
  ScopedEnv off("ZXV_NO_USER_DATACONV", "1");
  const Vec data = {0x00, 0x00, 0x00, 0x01, 0xC1, 0xC2};
  Conversion c(data, kBigEbcdic, kLittleAscii, "MYFMT   ", 16);
  EXPECT_EQ(c.Run(), 0);
  EXPECT_EQ(c.req.CompCode, KWCC_OK);
  EXPECT_EQ(c.Result(), data);
  EXPECT_EQ(c.req.ResultEncoding, kBigEbcdic.encoding);
  EXPECT_EQ(c.req.ResultCCSID, kBigEbcdic.ccsid);

  // A reason of the get stands.
  Conversion pending(data, kBigEbcdic, kLittleAscii, "MYFMT   ", 16);
  pending.req.CompCode = KWCC_WARNING;
  pending.req.Reason = KWRC_TRUNCATED_MSG_ACCEPTED;
  EXPECT_EQ(pending.Run(), KWRC_TRUNCATED_MSG_ACCEPTED);
  EXPECT_EQ(pending.req.CompCode, KWCC_WARNING);
  EXPECT_EQ(pending.Result(), data);

  // Behind a header: the header is converted and names the data that kept
  // its source form.
  Conversion chained(Dlh(kBigEbcdic, "MYFMT").Raw(data).bytes(), kBigEbcdic, kLittleAscii,
                     "KWDEAD  ", 256);
  EXPECT_EQ(chained.Run(), 0);
  EXPECT_EQ(chained.Result(),
            Dlh(kLittleAscii, "MYFMT", kBigEbcdic.encoding, kBigEbcdic.ccsid).Raw(data).bytes());
  EXPECT_EQ(chained.req.ResultEncoding, kLittleAscii.encoding);
}

// Inputs that cannot be converted, each with its reason: the output holds
// the input byte for byte.
struct AsGivenCase {
  const char* what;
  Vec data;
  Form from, to;
  const char* format;
  size_t room;
  KWLONG reason;
};

std::vector<AsGivenCase> AsGivenCases() {
  Vec truncated_dlh = Dlh(kBigEbcdic, "KWSTR").bytes();
  truncated_dlh.resize(100);
  Vec bad_id = Dlh(kBigEbcdic, "KWSTR").bytes();
  bad_id[0] = dctest::Ebcdic('X');
  Bytes long_name(kLatin1);
  long_name.Text("DLH ").I32(1).I32(2053).Fill(48, 0xE9).Text("QM2", 48).Next("KWSTR   ");
  long_name.I32(11).Text("dlq", 28).Text("20240102", 8).Text("13000000", 8);
  Bytes bad_folder(kBigEbcdic);
  bad_folder.Text("RFH ").I32(2).I32(48).Next("KWSTR   ").I32(0).I32(37).I32(9).Text("<a></a> ");
  Bytes past_data(kBigEbcdic);
  past_data.Text("RFH ").I32(2).I32(400).Next("KWSTR   ").I32(0).I32(37);
  Bytes short_ll(kBigEbcdic);
  short_ll.I16(3).I16(0).Text("X");
  Bytes bad_rmh(kBigEbcdic);
  bad_rmh.Text("RMH ").I32(1).I32(112).Next("KWSTR   ").I32(0).Text("FILE", 8).Fill(24, 1);
  bad_rmh.I32(8).I32(108).Fill(32, 0).Text("ENV1");  // 8 bytes at 108 run past 112
  Bytes bad_client(kBigEbcdic);
  bad_client.Text("SAPH").I32(1).I32(96).Next("KWSTR   ").I32(0).Text("1A0").Text("EN");
  bad_client.Text("host", 32).Text("user", 12).Text("pw", 8).Text("00").Fill(5, 0);
  Bytes long_mde(kBigEbcdic);
  long_mde.Text("MDE ").I32(2).I32(76).Next("KWSTR   ").I32(0).Fill(44, 0);
  Bytes wrong_tm(kBigEbcdic);
  wrong_tm.Text("MT  ").I32(1).Fill(676, 0x40);
  Bytes pcf_short(kBigEbcdic);
  pcf_short.I32(1).I32(36).I32(1);
  return {
      {"header cut short", truncated_dlh, kBigEbcdic, kLittleAscii, "KWDEAD  ", 512,
       KWRC_NOT_CONVERTED},
      {"wrong structure id", bad_id, kBigEbcdic, kLittleAscii, "KWDEAD  ", 512, KWRC_FORMAT_ERROR},
      {"field too small for its text", long_name.bytes(), kLatin1, kUtf8, "KWDEAD  ", 512,
       KWRC_CONVERTED_STRING_TOO_BIG},
      {"folder past the header", bad_folder.bytes(), kBigEbcdic, kLittleAscii, "KWHRF2  ", 512,
       KWRC_NOT_CONVERTED},
      {"header past the data", past_data.bytes(), kBigEbcdic, kLittleAscii, "KWHRF2  ", 512,
       KWRC_NOT_CONVERTED},
      {"segment shorter than its prefix", short_ll.bytes(), kBigEbcdic, kLittleAscii, "KWTRXVS ",
       512, KWRC_NOT_CONVERTED},
      {"reference string outside", bad_rmh.bytes(), kBigEbcdic, kLittleAscii, "KWHREF  ", 512,
       KWRC_NOT_CONVERTED},
      {"character integer not a number", bad_client.bytes(), kBigEbcdic, kLittleAscii, "KWHSAP  ",
       512, KWRC_NOT_CONVERTED},
      {"fixed header of another length", long_mde.bytes(), kBigEbcdic, kLittleAscii, "KWHMDE  ",
       512, KWRC_NOT_CONVERTED},
      {"trigger message without its eye-catcher", wrong_tm.bytes(), kBigEbcdic, kLittleAscii,
       "KWTRIG  ", 1024, KWRC_FORMAT_ERROR},
      {"PCF header cut short", pcf_short.bytes(), kBigEbcdic, kLittleAscii, "KWPCF   ", 512,
       KWRC_NOT_CONVERTED},
      {"character without a mapping", Vec{'A', 0xE2, 0x82, 0xAC}, kUtf8, kLatin1, "KWSTR   ", 512,
       KWRC_NOT_CONVERTED},
      {"converted message too big", Vec{0x4A, 0x4A, 0x4A, 0x4A}, kBigEbcdic, kUtf8, "KWSTR   ", 6,
       KWRC_CONVERTED_MSG_TOO_BIG},
      {"source encoding not valid", Dlh(kBigEbcdic, "KWSTR").bytes(), Form{true, true, 0, 37},
       kLittleAscii, "KWDEAD  ", 512, KWRC_SOURCE_INTEGER_ENC_ERROR},
      {"target encoding not valid", Dlh(kBigEbcdic, "KWSTR").bytes(), kBigEbcdic,
       Form{false, false, 0x220, 850}, "KWDEAD  ", 512, KWRC_TARGET_INTEGER_ENC_ERROR},
      {"format neither built in nor an exit", Vec{1, 2, 3}, kBigEbcdic, kLittleAscii, "NOSUCHX ",
       512, KWRC_FORMAT_ERROR},
  };
}

TEST_F(EngineTest, FailuresLeaveTheDataAsGivenByteForByte) {
  for (const AsGivenCase& c : AsGivenCases()) {
    Conversion conv(c.data, c.from, c.to, c.format, c.room);
    EXPECT_EQ(conv.Run(), c.reason) << c.what;
    EXPECT_EQ(conv.req.Reason, c.reason) << c.what;
    EXPECT_EQ(conv.req.CompCode, KWCC_WARNING) << c.what;
    EXPECT_EQ(conv.Result(), c.data) << c.what;
    EXPECT_EQ(conv.req.ResultEncoding, c.from.encoding) << c.what;
    EXPECT_EQ(conv.req.ResultCCSID, c.from.ccsid) << c.what;
  }
}

TEST_F(EngineTest, TruncationAcceptedKeepsWhatFits) {
  // Four cent signs become eight bytes of UTF-8; six fit.
  Conversion c(Vec{0x4A, 0x4A, 0x4A, 0x4A}, kBigEbcdic, kUtf8, "KWSTR   ", 6);
  c.req.Options = KWGMO_ACCEPT_TRUNCATED_MSG;
  EXPECT_EQ(c.Run(), KWRC_TRUNCATED_MSG_ACCEPTED);
  EXPECT_EQ(c.req.CompCode, KWCC_WARNING);
  EXPECT_EQ(c.Result(), (Vec{0xC2, 0xA2, 0xC2, 0xA2, 0xC2, 0xA2}));

  // A header and its text, cut inside the text.
  Conversion h(Dlh(kBigEbcdic, "KWSTR").Text("HELLO").bytes(), kBigEbcdic, kLittleAscii, "KWDEAD  ",
               KWDLH_LENGTH + 3);
  h.req.Options = KWGMO_ACCEPT_TRUNCATED_MSG;
  EXPECT_EQ(h.Run(), KWRC_TRUNCATED_MSG_ACCEPTED);
  EXPECT_EQ(h.Result(), Dlh(kLittleAscii, "KWSTR").Text("HEL").bytes());
}

TEST_F(EngineTest, PendingReasonOfTheGetStandsOnSuccess) {
  Conversion c(Text(kBigEbcdic, "AB"), kBigEbcdic, kLittleAscii, "KWSTR   ", 16);
  c.req.CompCode = KWCC_WARNING;
  c.req.Reason = KWRC_TRUNCATED_MSG_ACCEPTED;
  c.req.DataLength = 100;  // the message was longer than what the get kept
  EXPECT_EQ(c.Run(), KWRC_TRUNCATED_MSG_ACCEPTED);
  EXPECT_EQ(c.req.CompCode, KWCC_WARNING);
  EXPECT_EQ(c.Result(), Text(kLittleAscii, "AB"));
}

TEST_F(EngineTest, ConvertsInPlaceAndPutsTheDataBackOnFailure) {
  Vec buffer = Dlh(kBigEbcdic, "KWSTR").Text("IN PLACE").bytes();
  const Vec expected = Dlh(kLittleAscii, "KWSTR").Text("IN PLACE").bytes();
  const size_t length = buffer.size();
  buffer.resize(length + 16, 0);
  VPICONVERTREQ req = InPlace(buffer, length, kBigEbcdic, "KWDEAD  ");
  EXPECT_EQ(vpiConvertData(&req), 0);
  EXPECT_EQ(Vec(buffer.begin(), buffer.begin() + req.DataLength), expected);

  // Read as ASCII the header is cut short: the original bytes are back.
  Vec bad(buffer.begin(), buffer.begin() + 100);
  const Vec original = bad;
  req = InPlace(bad, bad.size(), kLittleAscii, "KWDEAD  ");
  EXPECT_EQ(vpiConvertData(&req), KWRC_NOT_CONVERTED);
  EXPECT_EQ(bad, original);

  // The in-place copy can fail for storage; so can the aside conversion
  // that accepting truncation needs.
  Vec abc = Text(kBigEbcdic, "ABC");
  req = InPlace(abc, 3, kBigEbcdic, "KWSTR   ");
  xcsInjectAllocFailure(1, xcsRC_STORAGE_NOT_AVAILABLE, 0);
  EXPECT_EQ(vpiConvertData(&req), KWRC_STORAGE_NOT_AVAILABLE);
  xcsInjectAllocFailure(0, 0, 0);
  EXPECT_EQ(req.CompCode, KWCC_FAILED);
  EXPECT_EQ(abc, Text(kBigEbcdic, "ABC"));
  Conversion c(Vec{0x4A, 0x4A}, kBigEbcdic, kUtf8, "KWSTR   ", 3);
  c.req.Options = KWGMO_ACCEPT_TRUNCATED_MSG;
  xcsInjectAllocFailure(1, xcsRC_RESOURCE_PROBLEM, 0);
  EXPECT_EQ(c.Run(), KWRC_RESOURCE_PROBLEM);
  xcsInjectAllocFailure(0, 0, 0);
  EXPECT_EQ(c.Result(), (Vec{0x4A, 0x4A}));
}

TEST_F(EngineTest, RefusedArguments) {
  EXPECT_EQ(vpiConvertData(nullptr), KWRC_BUFFER_ERROR);
  Conversion c(Vec{1, 2, 3}, kBigEbcdic, kLittleAscii, "KWSTR   ", 8);
  c.req.AvailableLength = -1;
  EXPECT_EQ(c.Run(), KWRC_BUFFER_LENGTH_ERROR);
  EXPECT_EQ(c.req.CompCode, KWCC_FAILED);
  Conversion n(Vec{1, 2, 3}, kBigEbcdic, kLittleAscii, "KWSTR   ", 8);
  n.req.OutBuffer = nullptr;
  EXPECT_EQ(n.Run(), KWRC_BUFFER_ERROR);
}

// vxKWXDX runs the same engine; what is its own is the parameter block.
TEST_F(EngineTest, BuiltInExitAnswersThroughItsParameterBlock) {
  struct Call {
    KWDXP dxp{};
    KWMD md{};
    Vec in, out;
    Call(const Vec& data, const char* format, size_t room) : in(data), out(room, 0xEE) {
      std::memcpy(dxp.StrucId, KWDXP_STRUC_ID, 4);
      dxp.Encoding = kLittleAscii.encoding;
      dxp.CodedCharSetId = kLittleAscii.ccsid;
      md.Encoding = kBigEbcdic.encoding;
      md.CodedCharSetId = kBigEbcdic.ccsid;
      std::memcpy(md.Format, format, 8);
    }
    KWLONG Run() {
      return vxKWXDX(&dxp, &md, static_cast<KWLONG>(in.size()), in.data(),
                     static_cast<KWLONG>(out.size()), out.data());
    }
  };
  Call ok(Dlh(kBigEbcdic, "KWSTR").Text("AB").bytes(), "KWDEAD  ", 512);
  EXPECT_EQ(ok.Run(), 0);
  EXPECT_EQ(ok.dxp.ExitResponse, KWXDR_OK);
  EXPECT_EQ(ok.md.Encoding, kLittleAscii.encoding);
  EXPECT_EQ(ok.md.CodedCharSetId, kLittleAscii.ccsid);
  ok.out.resize(static_cast<size_t>(ok.dxp.DataLength));
  EXPECT_EQ(ok.out, Dlh(kLittleAscii, "KWSTR").Text("AB").bytes());

  Vec cut = Dlh(kBigEbcdic, "KWSTR").bytes();
  cut.resize(100);
  Call failed(cut, "KWDEAD  ", 512);
  EXPECT_EQ(failed.Run(), KWRC_NOT_CONVERTED);
  EXPECT_EQ(failed.dxp.ExitResponse, KWXDR_CONVERSION_FAILED);
  EXPECT_EQ(failed.md.Encoding, kBigEbcdic.encoding);
  failed.out.resize(static_cast<size_t>(failed.dxp.DataLength));
  EXPECT_EQ(failed.out, cut);

  // No user exits behind the built-in one.
  Call user(Text(kBigEbcdic, "AB"), "ZXVSWAP ", 8);
  EXPECT_EQ(user.Run(), KWRC_FORMAT_ERROR);

  // Without its eye-catcher the block is not touched.
  Call stranger(Text(kBigEbcdic, "AB"), "KWSTR   ", 8);
  std::memcpy(stranger.dxp.StrucId, "DXP?", 4);
  const KWDXP before = stranger.dxp;
  EXPECT_EQ(stranger.Run(), KWRC_NOT_CONVERTED);
  EXPECT_EQ(std::memcmp(&stranger.dxp, &before, sizeof before), 0);
  EXPECT_EQ(stranger.out, Vec(8, 0xEE));
  EXPECT_EQ(vxKWXDX(nullptr, &ok.md, 2, ok.in.data(), 8, ok.out.data()), KWRC_NOT_CONVERTED);
  EXPECT_EQ(vxKWXDX(&ok.dxp, nullptr, 2, ok.in.data(), 8, ok.out.data()), KWRC_NOT_CONVERTED);
  EXPECT_EQ(ok.dxp.CompCode, KWCC_FAILED);
  EXPECT_EQ(vxKWXDX(&ok.dxp, &ok.md, -1, ok.in.data(), 8, ok.out.data()), KWRC_BUFFER_LENGTH_ERROR);
}

}  // namespace
