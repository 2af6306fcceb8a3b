// zrfLocateKWRFH2: the chain walk over every header kind, in both byte
// orders and in an EBCDIC CCSID, its reasons and traces.
#include <functional>

#include "props/rfh2_test_chain.h"
#include "zxvxcs2/xcs_erdp.h"

namespace zxv::test {
namespace {

const std::vector<std::string> kFolders = {"<mcd><Msd>jms_text</Msd></mcd>",
                                           "<usr><colour>blue</colour></usr>"};

// The same chain in each byte order and CCSID the walk must read.
struct Variant {
  const char* name;
  bool big_endian;
  int32_t ccsid;
};
constexpr Variant kVariants[] = {
    {"little-endian UTF-8", false, 1208},
    {"big-endian UTF-8", true, 1208},
    {"little-endian EBCDIC", false, 500},
    {"big-endian EBCDIC", true, 500},
};

Chain In(const Variant& v) {
  Chain c;
  if (v.big_endian) c.BigEndian();
  c.Ccsid(v.ccsid);
  return c;
}

TEST(Rfh2Locate, FindsTheHeaderBehindEveryKindOfHeader) {
  struct Case {
    const char* name;
    std::function<void(Chain&)> front;
    uint32_t offset;
    KWLONG first;  // FirstRFH2Offset expected
  };
  const Case cases[] = {
      {"directly", [](Chain&) {}, 0, 0},
      {"behind KWXQH", [](Chain& c) { c.Xqh(); }, 428, -1},
      {"behind KWXQH and KWMDE", [](Chain& c) { c.Xqh().Mde(); }, 428 + 72, -1},
      {"behind KWDLH", [](Chain& c) { c.Dlh(); }, 172, -1},
      {"behind an older header", [](Chain& c) { c.Rfh1("ab"); }, 32 + 2, 34},
      {"behind two older headers", [](Chain& c) { c.Rfh1("").Rfh1(""); }, 64, 64},
      {"behind an embedded PCF", [](Chain& c) { c.Eph(); }, 68, -1},
      {"behind another header", [](Chain& c) { c.Other(); }, 40, -1},
      {"behind KWDLH, KWXQH, KWMDE, KWRFH", [](Chain& c) { c.Dlh().Xqh().Mde().Rfh1(""); },
       172 + 428 + 72 + 32, -1},
  };
  for (const Variant& v : kVariants) {
    for (const Case& k : cases) {
      SCOPED_TRACE(std::string(v.name) + ", " + k.name);
      Chain c = In(v);
      k.front(c);
      Message m = c.Rfh2(kFolders).Body("hello").Build();
      ZRFLOC loc;
      ASSERT_EQ(m.Locate(&loc), KWRC_NONE);
      EXPECT_EQ(loc.Offset, k.offset);
      EXPECT_EQ(loc.Encoding, m.encoding);
      EXPECT_EQ(loc.CodedCharSetId, v.ccsid);
      EXPECT_EQ(std::string(loc.Format, 8), "KWHRF2  ");
      EXPECT_EQ(loc.StrucLength, static_cast<KWULONG>(m.IntAt(k.offset + 8)));
      EXPECT_EQ(loc.NameValueCCSID, 1208);
      EXPECT_EQ(loc.InternalFlags, 0u);
      EXPECT_EQ(loc.FirstRFH2Offset, k.first);
      EXPECT_EQ(loc.NextOffset, k.offset + loc.StrucLength);
      EXPECT_EQ(loc.NextOffset, m.data.size() - 5);  // the body
      EXPECT_EQ(loc.NextEncoding, m.encoding);
      EXPECT_EQ(loc.NextCCSID, v.ccsid);
      EXPECT_EQ(std::string(loc.NextFormat, 8), "KWSTR   ");
    }
  }
}

// Each call takes its format, encoding and CCSID from the output of the
// last, which it also writes: the arguments may alias the output.
TEST(Rfh2Locate, WalksOnFromHeaderToHeaderToTheBody) {
  for (const Variant& v : kVariants) {
    SCOPED_TRACE(v.name);
    Message m = In(v).Rfh2(kFolders).Mde().Rfh2({"<usr/>"}, 819).Body().Build();
    ZRFLOC loc;
    std::vector<KWULONG> found;
    KWLONG reason = m.Locate(&loc);
    for (; reason == KWRC_NONE;
         reason = zrfLocateKWRFH2(m.data.data(), static_cast<KWULONG>(m.data.size()),
                                  loc.NextFormat, loc.NextEncoding, loc.NextCCSID, loc.NextOffset,
                                  &loc, nullptr, nullptr, nullptr)) {
      found.push_back(loc.Offset);
      EXPECT_EQ(loc.FirstRFH2Offset, found.size() == 1 ? 0 : -1);
    }
    EXPECT_EQ(reason, KWRC_PROPERTY_NOT_AVAILABLE);
    EXPECT_EQ(found, (std::vector<KWULONG>{m.offsets[0], m.offsets[2]}));
    // Where the walk stopped: the body.
    EXPECT_EQ(loc.Offset, m.offsets[3]);
    EXPECT_EQ(std::string(loc.Format, 8), "KWSTR   ");
  }
}

TEST(Rfh2Locate, FirstHeaderNeedsUtf8Folders) {
  Message m = Chain().Rfh1("").Rfh2(kFolders, 819).Body().Build();
  ZRFLOC loc;
  ASSERT_EQ(m.Locate(&loc), KWRC_NONE);
  EXPECT_EQ(loc.NameValueCCSID, 819);
  EXPECT_EQ(loc.FirstRFH2Offset, -1);
}

// A damaged chain and the reason and trace it must give.
struct Damage {
  const char* name;
  Message m;
  KWLONG reason;
  const char* trace;  // null: no trace asserted
};

TEST(Rfh2Locate, RefusesMalformedChainsWithTheExactReason) {
  const Message full = Chain().Rfh2(kFolders).Build();
  const auto size = static_cast<uint32_t>(full.data.size());
  const Damage damages[] = {
      {"string format ends at once", Chain().Body().Build(), KWRC_PROPERTY_NOT_AVAILABLE, nullptr},
      {"non-KW format ends", Chain().Body("x", "MYFMT   ").Rfh2(kFolders).Build(),
       KWRC_PROPERTY_NOT_AVAILABLE, nullptr},
      {"KWRFH2 shorter than 36", Cut(Chain().Rfh2({}).Build(), 35), KWRC_PROPERTY_NOT_AVAILABLE,
       "Minimal bytes of KWRFH2 not available: 35 36"},
      {"StrucLength 35", WithInt(Chain().Rfh2({}).Body().Build(), 8, 35),
       KWRC_RFH2_STRUC_LENGTH_SHORT, "KWRFH2 StrucLength too short: 35"},
      {"StrucLength negative", WithInt(Chain().Rfh2({}).Build(), 8, -4),
       KWRC_RFH2_STRUC_LENGTH_SHORT, "KWRFH2 StrucLength too short: -4"},
      {"StrucLength past the data", Cut(full, size - 1), KWRC_HEADER_ERROR,
       "Full KWRFH2 not available: "},
      {"StrucId wrong", WithByte(full, 3, 'X'), KWRC_HEADER_ERROR, "Invalid KWRFH2 StrucId"},
      {"version 3", WithInt(full, 4, 3), KWRC_RFH_ERROR, "Invalid KWRFH2 Version: 3"},
      {"embedded PCF shorter than 68", Cut(Chain().Eph().Build(), 67), KWRC_EPH_ERROR,
       "Minimal bytes of KWEPH not available: 67 68"},
      {"embedded PCF StrucLength past the data", WithInt(Chain().Eph().Build(), 8, 72),
       KWRC_EPH_ERROR, "Full KWEPH not available: 68 72 0"},
      {"embedded PCF StrucLength below 68", WithInt(Chain().Eph().Rfh2({}).Build(), 8, 0),
       KWRC_EPH_ERROR, "Full KWEPH not available: "},
      {"KWXQH truncated", Cut(Chain().Xqh().Build(), 427), KWRC_HEADER_ERROR,
       "Full KWXQH not available: 427 428"},
      {"KWDLH truncated", Cut(Chain().Xqh().Dlh().Build(), 428 + 100), KWRC_HEADER_ERROR,
       "Full KWDLH not available: 100 172"},
      {"command format shorter than 36", Cut(Chain().Admin().Build(), 20), KWRC_CFH_ERROR,
       "Minimal bytes of KWCFH not available: 20 36"},
      {"command format ends the chain", Chain().Admin().Rfh2({}).Build(),
       KWRC_PROPERTY_NOT_AVAILABLE, nullptr},
      {"other header shorter than 32", Cut(Chain().Other().Build(), 31), KWRC_HEADER_ERROR,
       "Minimal bytes of header not available: 31 32"},
      {"other header StrucLength past the data", WithInt(Chain().Other().Build(), 8, 41),
       KWRC_HEADER_ERROR, "Full header not available: 40 41 0"},
      {"other header StrucLength 0 cannot loop", WithInt(Chain().Rfh1("").Other().Build(), 40, 0),
       KWRC_HEADER_ERROR, "Full header not available: 40 0 32"},
  };
  for (const Damage& d : damages) {
    SCOPED_TRACE(d.name);
    TraceLines trace;
    ZRFLOC loc;
    EXPECT_EQ(d.m.Locate(&loc), d.reason);
    if (d.trace != nullptr) {
      EXPECT_TRUE(trace.Contains(d.trace)) << d.trace;
    }
  }
}

TEST(Rfh2Locate, OtherByteOrderReversesLengthsAndCcsids) {
  // Read in the wrong order, the lengths would be absurd: the walk must use
  // the order each structure in front names.
  Message m = Chain().BigEndian().Xqh().Rfh1("abcd").Rfh2(kFolders, 1208).Body().Build();
  ZRFLOC loc;
  ASSERT_EQ(m.Locate(&loc), KWRC_NONE);
  EXPECT_EQ(loc.Offset, 428u + 36u);
  EXPECT_EQ(loc.NameValueCCSID, 1208);
  EXPECT_EQ(loc.Encoding, 273);

  // Told the little-endian order, the same bytes are a truncated header.
  m.encoding = 546;
  EXPECT_EQ(m.Locate(&loc), KWRC_HEADER_ERROR);
}

TEST(Rfh2Locate, EncodingOfEachStructureAppliesToTheNext) {
  // A little-endian descriptor, a KWXQH that names big-endian data.
  Message m = Chain().Xqh().Rfh2(kFolders).Build();
  m.PutInt(128, 273);
  uint8_t* h = m.data.data() + 428;
  for (uint32_t at : {4u, 8u, 12u, 16u, 28u, 32u, 36u}) {
    uint32_t v;
    std::memcpy(&v, h + at, 4);
    v = __builtin_bswap32(v);
    std::memcpy(h + at, &v, 4);
  }
  ZRFLOC loc;
  ASSERT_EQ(m.Locate(&loc), KWRC_NONE);
  EXPECT_EQ(loc.Encoding, 273);
  EXPECT_EQ(loc.StrucLength, m.data.size() - 428);
}

TEST(Rfh2Locate, CcsidZeroAndMinusOneKeepTheOneBeforeOthersStand) {
  for (int32_t named : {0, -1, -2}) {
    SCOPED_TRACE(named);
    Message m = Chain().Ccsid(500).Mde().Rfh2(kFolders).Body().Build();
    m.PutInt(16, named);  // the extension names "as before": still EBCDIC
    ZRFLOC loc;
    ASSERT_EQ(m.Locate(&loc), KWRC_NONE);
    EXPECT_EQ(loc.CodedCharSetId, 500);
  }
  // At the start of the walk 0 means the machine's CCSID.
  Message m = Chain().Rfh2(kFolders).Build();
  m.ccsid = 0;
  ZRFLOC loc;
  ASSERT_EQ(m.Locate(&loc), KWRC_NONE);
  EXPECT_EQ(loc.CodedCharSetId, 1208);
  // 425 is ASCII-based and has no conversion table here: read as it stands.
  Message other = WithInt(Chain().Mde().Rfh2(kFolders).Build(), 16, 425);
  other.ccsid = 425;
  ASSERT_EQ(other.Locate(&loc), KWRC_NONE);
  EXPECT_EQ(loc.CodedCharSetId, 425);
}

TEST(Rfh2Locate, UnconvertibleFormatWritesAFailureRecordAndEnds) {
  // The extension names UTF-16 for what follows; the next header's format
  // field holds lone surrogates, which no conversion accepts.
  Message m = Chain().Mde().Other().Rfh2(kFolders).Build();
  m.PutInt(16, 1200);
  const uint8_t surrogates[8] = {0x00, 0xD8, 0x00, 0xD8, 0x00, 0xD8, 0x00, 0xD8};
  std::memcpy(m.data.data() + 72 + 20, surrogates, 8);
  const uint32_t records = xcsFailureRecordCount();
  ZRFLOC loc;
  EXPECT_EQ(m.Locate(&loc), KWRC_PROPERTY_NOT_AVAILABLE);
  EXPECT_EQ(xcsFailureRecordCount(), records + 1);
  EXPECT_EQ(loc.Offset, 72u);
}

TEST(Rfh2Locate, InternalFlagsAreReportedAndTraced) {
  Message m = Chain().Rfh2(kFolders, 1208, 0x00030001).Build();
  TraceLines trace;
  ZRFLOC loc;
  ASSERT_EQ(m.Locate(&loc), KWRC_NONE);
  EXPECT_EQ(loc.InternalFlags, 0x00030000u);
  EXPECT_TRUE(trace.Contains("Internal RFH2 flags in header"));

  // Reported even when the version then refuses the header.
  m.PutInt(4, 1);
  EXPECT_EQ(m.Locate(&loc), KWRC_RFH_ERROR);
  EXPECT_EQ(loc.InternalFlags, 0x00030000u);
}

TEST(Rfh2Locate, TraceRouteCommandsSetTheCallersFlag) {
  struct Case {
    const char* name;
    Message m;
    KWLONG reason;
    bool flagged;
  };
  const Case cases[] = {
      {"embedded type 10", Chain().Eph(10).Rfh2(kFolders).Build(), KWRC_NONE, true},
      {"embedded type 1", Chain().Eph(1).Rfh2(kFolders).Build(), KWRC_NONE, false},
      {"command format type 10", Chain().Admin(10).Build(), KWRC_PROPERTY_NOT_AVAILABLE, true},
      {"big-endian command type 10", Chain().BigEndian().Admin(10).Build(),
       KWRC_PROPERTY_NOT_AVAILABLE, true},
      {"command format type 2", Chain().Admin(2).Build(), KWRC_PROPERTY_NOT_AVAILABLE, false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    TraceLines trace;
    KWULONG flags = 0x1;
    ZRFLOC loc;
    EXPECT_EQ(c.m.Locate(&loc, 0, &flags), c.reason);
    EXPECT_EQ(flags, c.flagged ? 0x801u : 0x1u);
    EXPECT_EQ(trace.Contains("Possible trace-route message"), c.flagged);
  }
}

TEST(Rfh2Locate, PartialMatchAcceptsAnyLastTwoCharacters) {
  const Message m = Chain().Rfh2(kFolders, 1208, 0, "KWHRF2XY").Body().Build();
  ZRFLOC loc;
  {
    // Without the switch "KWHRF2XY" is just another header, stepped over.
    EXPECT_EQ(m.Locate(&loc), KWRC_PROPERTY_NOT_AVAILABLE);
    EXPECT_EQ(std::string(loc.Format, 8), "KWSTR   ");
  }
  {
    ScopedEnv env("ZXV_PARTIAL_MATCH_RFH2", "");
    ASSERT_EQ(m.Locate(&loc), KWRC_NONE);
    EXPECT_EQ(loc.Offset, 0u);
    EXPECT_EQ(std::string(loc.Format, 8), "KWHRF2XY");
  }
  // Read once: a change without clearing the cache is not seen.
  ScopedEnv env("ZXV_PARTIAL_MATCH_RFH2", "1");
  EXPECT_EQ(m.Locate(&loc), KWRC_NONE);
  unsetenv("ZXV_PARTIAL_MATCH_RFH2");
  EXPECT_EQ(m.Locate(&loc), KWRC_NONE);
}

TEST(Rfh2Locate, MissingPointersGiveUnexpectedError) {
  const Message m = Chain().Rfh2(kFolders).Build();
  KWLONG cc;
  KWLONG rc;
  const uint32_t records = xcsFailureRecordCount();
  EXPECT_EQ(zrfLocateKWRFH2(m.data.data(), 100, nullptr, 546, 1208, 0, nullptr, nullptr, &cc, &rc),
            KWRC_UNEXPECTED_ERROR);
  EXPECT_EQ(cc, KWCC_FAILED);
  EXPECT_EQ(zrfLocateKWRFH2(nullptr, 100, m.format, 546, 1208, 0, nullptr, nullptr, &cc, &rc),
            KWRC_UNEXPECTED_ERROR);
  EXPECT_EQ(xcsFailureRecordCount(), records + 2);
  // No data at all is a message without headers; outputs are optional.
  EXPECT_EQ(zrfLocateKWRFH2(nullptr, 0, m.format, 546, 1208, 0, nullptr, nullptr, nullptr, nullptr),
            KWRC_PROPERTY_NOT_AVAILABLE);
}

}  // namespace
}  // namespace zxv::test
