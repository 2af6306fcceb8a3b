// The other forms and checks around the property header: one property in
// the older name/value form, the check of headers an application wrote
// itself, and the preparation of a message for a back-level receiver.
#include "tests/props/props_header_test_util.h"
#include "tests/props/rfh2_test_chain.h"
#include "zxvxzu/folder_parser.h"

namespace zxv::test::header {
namespace {

class Rfh1FormTest : public PropertyStoreTest {
 protected:
  // Appends `name` to the list and returns its node's offset.
  KWULONG Add(const std::string& name, KWULONG type, const void* value, KWULONG length,
              const KWPD& pd = MakePD()) {
    pd_ = pd;
    EXPECT_EQ(Append(name, type, value, length), KWRC_NONE) << name;
    KWULONG offset = 0;
    EXPECT_EQ(zrfLocatePropertyNode(&pal_, name.data(), static_cast<KWULONG>(name.size()), &offset,
                                    &cc_, &rc_),
              KWRC_NONE);
    return offset;
  }
  struct Written {
    KWLONG reason;
    KWLONG written;
    std::vector<uint8_t> text;
  };
  Written Write(KWULONG offset, KWLONG ccsid = 1208, KWLONG encoding = 546) {
    Written w{-1, -1, {}};
    ZRFHDRBUF out{};
    w.reason =
        zrfConvertPropertyToKWRFH1(&pal_, offset, ccsid, encoding, &out, &w.written, &cc_, &rc_);
    EXPECT_EQ(cc_, w.reason == KWRC_NONE ? KWCC_OK : KWCC_FAILED);
    if (out.pBuffer != nullptr) w.text.assign(out.pBuffer, out.pBuffer + out.Length);
    xcsFreeMemFn(out.pBuffer);
    return w;
  }
};

TEST_F(Rfh1FormTest, ValuesAreWrittenAsQuotedText) {
  const int32_t yes = 1;
  const int64_t big = -9000000000;
  const double third = 1.0 / 3.0;
  const std::string quoted = "say \"hi\" now";
  struct Case {
    KWULONG offset;
    const char* text;
  } const cases[] = {
      {Add("color", ZRF_TYPE_STRING, "dark red", 8), " color \"dark red\""},
      {Add("quote", ZRF_TYPE_STRING, quoted.data(), static_cast<KWULONG>(quoted.size())),
       " quote \"say \"\"hi\"\" now\""},
      {Add("flag", ZRF_TYPE_BOOLEAN, &yes, 4), " flag \"TRUE\""},
      {Add("big", ZRF_TYPE_INT64, &big, 8), " big \"-9000000000\""},
      {Add("third", ZRF_TYPE_FLOAT64, &third, 8), " third \"0.3333333333333333\""},
      {Add("empty", ZRF_TYPE_STRING, "", 0), " empty \"\""},
  };
  for (const Case& c : cases) {
    const Written w = Write(c.offset);
    EXPECT_EQ(w.reason, KWRC_NONE) << c.text;
    EXPECT_EQ(w.written, 1);
    EXPECT_EQ(std::string(w.text.begin(), w.text.end()), c.text);
  }
  // In EBCDIC the same characters, in the family's units.
  const Written e = Write(cases[1].offset, 500);
  EXPECT_EQ(e.text, Encode(cases[1].text, 500));
  const Written u = Write(cases[0].offset, 1200, 273);
  EXPECT_EQ(u.text, Encode(cases[0].text, 1200, 273));
}

TEST_F(Rfh1FormTest, WhatTheFormCannotCarryIsSkipped) {
  const int32_t v = 1;
  struct Case {
    KWULONG offset;
    const char* trace;
  } const cases[] = {
      {Add("ctx", ZRF_TYPE_INT32, &v, 4, MakePD(KWCOPY_DEFAULT, KWPD_USER_CONTEXT)),
       "Ignoring user context (which is not RFH1 representable)"},
      {Add("req", ZRF_TYPE_INT32, &v, 4, MakePD(KWCOPY_DEFAULT, KWPD_NO_CONTEXT, 0x00100000)),
       "Ignoring non-optional support value (which is not RFH1 representable)"},
      {Add("cpy", ZRF_TYPE_INT32, &v, 4, MakePD(KWCOPY_ALL)),
       "Ignoring non-default copy options (which is not RFH1 representable)"},
      {Add("nul", ZRF_TYPE_NULL, nullptr, 0),
       "Ignoring null property (which is not RFH1 representable)"},
      {Add("zero", ZRF_TYPE_STRING, "a\0b", 3),
       "Property contains a null character (which is not RFH1 representable)"},
  };
  for (const Case& c : cases) {
    const TraceLines trace;
    const Written w = Write(c.offset);
    EXPECT_EQ(w.reason, KWRC_NONE) << c.trace;
    EXPECT_EQ(w.written, 0) << c.trace;
    EXPECT_TRUE(w.text.empty()) << c.trace;
    EXPECT_TRUE(trace.Contains(c.trace)) << c.trace;
  }
}

TEST_F(Rfh1FormTest, WhatTheFormCannotHoldIsRefused) {
  const uint8_t bytes[] = {1, 2};
  EXPECT_EQ(Write(Add("raw", ZRF_TYPE_BYTE_STRING, bytes, 2)).reason, KWRC_PROPERTY_TYPE_ERROR);
  EXPECT_EQ(Write(Add("grp", ZRF_TYPE_NAME_ONLY, nullptr, 0)).reason, KWRC_PROPERTY_TYPE_ERROR);

  const KWULONG euro = Add("price", ZRF_TYPE_STRING, "5\xE2\x82\xAC", 4);
  const TraceLines trace;
  EXPECT_EQ(Write(euro, 819).reason, KWRC_NOT_CONVERTED);
  EXPECT_TRUE(trace.Contains("Property contains characters that are in error"));
  EXPECT_EQ(Write(euro, 1208).reason, KWRC_NONE);
  EXPECT_EQ(Write(euro + 4).reason, KWRC_UNEXPECTED_ERROR) << "not a node";
}

// Message data as an application writes it, with a descriptor's fields.
ZSTPROPSLEN Measure(const Message& m, KWULONG options, KWLONG* reason) {
  ZSTPROPSLEN lengths{};
  KWLONG cc = -1;
  zstCalculatePropsLength(nullptr, m.data.data(), static_cast<KWULONG>(m.data.size()), m.format,
                          m.encoding, m.ccsid, options, &lengths, &cc, reason);
  EXPECT_EQ(cc, *reason == KWRC_NONE ? KWCC_OK : KWCC_FAILED);
  return lengths;
}

uint32_t Size(const Message& m, size_t part) {
  const size_t next = part + 1 < m.offsets.size() ? m.offsets[part + 1] : m.data.size();
  return static_cast<uint32_t>(next - m.offsets[part]);
}

using PropsLengthTest = PropsHeaderTest;

TEST_F(PropsLengthTest, HeadersBehindTheDescriptorInUtf8AreCompatible) {
  const Message m =
      Chain().Rfh2({"<usr><a>1</a></usr>"}).Rfh2({"<jms><Dst>q</Dst></jms>"}).Body("hello").Build();
  KWLONG reason = -1;
  const TraceLines trace;
  const ZSTPROPSLEN l = Measure(m, 0, &reason);
  EXPECT_EQ(reason, KWRC_NONE);
  EXPECT_EQ(l.MsgLength, m.data.size());
  EXPECT_EQ(l.CompatLength, Size(m, 0) + Size(m, 1));
  EXPECT_EQ(l.NonCompatLength, 0u);
  EXPECT_EQ(l.NonPropsLength, 0u);
  EXPECT_EQ(l.EligibleForMerge, 1u);
  EXPECT_EQ(l.OffsetEndRFH2Props, m.offsets[2]);
  EXPECT_TRUE(trace.Contains("MsgLength: " + std::to_string(m.data.size()) + ", CompatLength: "));
  const ZSTPROPSLEN none = Measure(Chain().Body("plain").Build(), 0, &reason);
  EXPECT_EQ(reason, KWRC_NONE);
  EXPECT_EQ(none.CompatLength + none.NonCompatLength + none.NonPropsLength, 0u);
}

TEST_F(PropsLengthTest, WhatMakesAHeaderNonCompatible) {
  const Message m = Chain()
                        .Rfh2({"<usr><a>1</a></usr>"})
                        .Rfh2({"<usr><b>2</b></usr>"}, 819)
                        .Rfh2({"<usr><c support='00100000'>3</c></usr>"})
                        .Body()
                        .Build();
  KWLONG reason = -1;
  const TraceLines trace;
  const ZSTPROPSLEN l = Measure(m, 0, &reason);
  EXPECT_EQ(reason, KWRC_NONE);
  EXPECT_EQ(l.CompatLength, Size(m, 0));
  EXPECT_EQ(l.NonCompatLength, Size(m, 1) + Size(m, 2));
  EXPECT_EQ(l.OffsetEndRFH2Props, m.offsets[1]);
  EXPECT_TRUE(trace.Contains("Non-optional property included"));

  // A support value in text, or optional support, is no such property.
  const ZSTPROPSLEN k = Measure(
      Chain().Rfh2({"<usr><c support='00000001'>support='00100000'</c></usr>"}).Body().Build(), 0,
      &reason);
  EXPECT_EQ(k.NonCompatLength, 0u);
}

TEST_F(PropsLengthTest, OtherHeadersCountApartAndEndTheCompatibleRun) {
  const Message m = Chain()
                        .Mde()
                        .Rfh2({"<usr><a>1</a></usr>"})
                        .Xqh()
                        .Rfh2({"<usr><b>1</b></usr>"})
                        .Body()
                        .Build();
  KWLONG reason = -1;
  const ZSTPROPSLEN l = Measure(m, 0, &reason);
  EXPECT_EQ(reason, KWRC_NONE);
  EXPECT_EQ(l.NonPropsLength, 72u + 428u);
  EXPECT_EQ(l.CompatLength, 0u);
  EXPECT_EQ(l.NonCompatLength, Size(m, 1) + Size(m, 3));
  EXPECT_EQ(l.EligibleForMerge, 0u);
}

TEST_F(PropsLengthTest, InternalFlagsOnlyOnTheWayToATransmissionQueue) {
  const Message m = Chain().Rfh2({"<usr><a>1</a></usr>"}, 1208, 0x00010000).Body().Build();
  KWLONG reason = -1;
  {
    const TraceLines trace;
    Measure(m, 0, &reason);
    EXPECT_EQ(reason, KWRC_XMIT_Q_REQUIRED);
    EXPECT_TRUE(trace.Contains("Found RFH2s flagged RFH_INTERNAL"));
    EXPECT_TRUE(trace.Contains("KWRFH2 contains internal flags which are banned!"));
    EXPECT_TRUE(trace.Contains("Put allowed only to xmit queue"));
  }
  const ZSTPROPSLEN l = Measure(m, ZST_PROPSLEN_TO_XMIT_Q, &reason);
  EXPECT_EQ(reason, KWRC_NONE);
  EXPECT_EQ(l.NonCompatLength, Size(m, 0));
}

// A damage to the first header of a one-header message and what it gives.
struct Damage {
  const char* label;
  uint32_t at;  // offset in the header
  int32_t value;
  KWLONG reason;
  const char* trace;
};

class PropsLengthDamageTest : public PropsHeaderTest,
                              public ::testing::WithParamInterface<Damage> {};

TEST_P(PropsLengthDamageTest, IsRefusedWithItsTrace) {
  for (const bool bigEndian : {false, true}) {
    Chain c;
    if (bigEndian) c.BigEndian();
    c.Rfh2({"<usr><a>1</a></usr>", "<usr><b>2</b></usr>"}).Body();
    Message m = c.Build();
    m.PutInt(GetParam().at, GetParam().value);
    KWLONG reason = -1;
    const TraceLines trace;
    Measure(m, 0, &reason);
    EXPECT_EQ(reason, GetParam().reason) << (bigEndian ? "big-endian" : "little-endian");
    EXPECT_TRUE(trace.Contains(GetParam().trace)) << GetParam().trace;
  }
}

INSTANTIATE_TEST_SUITE_P(
    Fields, PropsLengthDamageTest,
    ::testing::Values(
        Damage{"ccsid", 16, -5, KWRC_HEADER_ERROR, "KWRFH2 contains an invalid CCSID: -5"},
        Damage{"nvccsid", 32, 0, KWRC_HEADER_ERROR, "KWRFH2 contains an invalid CCSID: 0"},
        Damage{"encoding", 12, 0x3, KWRC_HEADER_ERROR, "KWRFH2 contains an invalid encoding: 3"},
        Damage{"struclength", 8, 66, KWRC_HEADER_ERROR, "KWRFH2 contains bad struclength 0X42"},
        Damage{"folder", 36, 1000, KWRC_RFH_FORMAT_ERROR,
               "FolderLength is invalid for remaining data. FL: 1000"}),
    [](const auto& p) { return std::string(p.param.label); });

TEST_F(PropsLengthTest, FolderWithABadStartTagIsIgnored) {
  KWLONG reason = -1;
  const TraceLines trace;
  const ZSTPROPSLEN l =
      Measure(Chain().Rfh2({"no tag here", "<usr><a>1</a></usr>"}).Body().Build(), 0, &reason);
  EXPECT_EQ(reason, KWRC_NONE);
  EXPECT_TRUE(trace.Contains("Ignoring folder as the start tag is invalid"));
  EXPECT_GT(l.CompatLength, 0u);
}

// Back level: the queue manager's folders and content='properties' ones go;
// a malformed message is returned whole, with a failure record.
TEST_F(PropsHeaderTest, BackLevelKeepsOnlyTheApplicationsFolders) {
  const auto prepare = [](Message& m, KWULONG* offset, KWULONG* length) {
    KWLONG cc = -1;
    KWLONG reason = -1;
    zrfPrepareMsgForBackLevel(m.data.data(), static_cast<KWULONG>(m.data.size()), m.format,
                              m.encoding, m.ccsid, offset, length, &cc, &reason);
    return reason;
  };
  Message m =
      Chain()
          .Rfh2({"<kw><Rsv>00000001</Rsv></kw>", "<usr><a>1</a></usr>", "<kwps><Top>t</Top></kwps>",
                 "<mcd content='properties'><Msd>jms_text</Msd></mcd>"})
          .Body("payload")
          .Build();
  const Message want = Chain().Rfh2({"<usr><a>1</a></usr>"}).Body("payload").Build();
  KWULONG offset = 0;
  KWULONG length = 0;
  const uint32_t records = xcsFailureRecordCount();
  EXPECT_EQ(prepare(m, &offset, &length), KWRC_NONE);
  EXPECT_EQ(xcsFailureRecordCount(), records);
  ASSERT_EQ(length, want.data.size());
  EXPECT_EQ(std::vector<uint8_t>(m.data.begin() + offset, m.data.begin() + offset + length),
            want.data);

  Message bad = Chain().Rfh2({"<usr><a>1</a></usr>"}).Body().Build();
  bad.PutInt(36, 500);  // the folder runs past its header
  EXPECT_EQ(prepare(bad, &offset, &length), KWRC_RFH_FORMAT_ERROR);
  EXPECT_EQ(xcsFailureRecordCount(), records + 1);
  EXPECT_EQ(offset, 0u);
  EXPECT_EQ(length, bad.data.size()) << "the message is still returned";
}

}  // namespace
}  // namespace zxv::test::header
