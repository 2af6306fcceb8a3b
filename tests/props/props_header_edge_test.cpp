// Handle to headers and back: the descriptor in either version with its
// extension, the exact folder text, what the conversion marks and selects,
// and the failures (buffer too small, storage, a bad descriptor).
#include "tests/props/props_header_test_util.h"
#include "tests/props/rfh2_test_chain.h"
#include "zxvxzu/folder_parser.h"

namespace zxv::test::header {
namespace {

using PropsHeaderEdgeTest = PropsHeaderTest;

std::string FormatOf(const char* field) { return std::string(field, 8); }

int32_t IntAt(const std::vector<uint8_t>& bytes, uint32_t at) {
  int32_t v;
  std::memcpy(&v, bytes.data() + at, 4);
  return v;
}

TEST_F(PropsHeaderEdgeTest, FolderTextIsWrittenInTheDocumentedOrderAndForm) {
  const KWHMSG h = Create();
  ASSERT_EQ(SetString(h, "order.id", "A<&'"), KWRC_NONE);
  ASSERT_EQ(SetInt32(h, "jms.Dlv", 2), KWRC_NONE);
  ASSERT_EQ(SetString(h, "mcd.Msd", "jms_text"), KWRC_NONE);
  ASSERT_EQ(SetString(h, "jms.Dst", "queue:///Q"), KWRC_NONE);
  ASSERT_EQ(SetInt32(h, "jms.Pri", 7), KWRC_NONE);  // a descriptor field, not a folder
  const float tenth = 0.1f;
  ASSERT_EQ(Set(h, "tenth", KWTYPE_FLOAT32, &tenth, 4), KWRC_NONE);
  const uint8_t bytes[] = {0x0A, 0xFF};
  ASSERT_EQ(Set(h, "raw", KWTYPE_BYTE_STRING, bytes, 2), KWRC_NONE);
  ASSERT_EQ(Set(h, "none", KWTYPE_NULL, nullptr, 0), KWRC_NONE);
  ASSERT_EQ(SetInt32(h, "usr.kept", 1), KWRC_NONE);
  ASSERT_EQ(SetString(h, "kwps.Top", "a/b"), KWRC_NONE);

  const Headers out = ToHeaders(h, KWMD_VERSION_2);
  ASSERT_EQ(out.reason, KWRC_NONE);
  std::vector<std::string> texts;
  for (const auto& f : FoldersOf(out.bytes)) texts.push_back(Text(f));
  ASSERT_EQ(texts.size(), 4u);
  EXPECT_EQ(texts[0], "<mcd><Msd>jms_text</Msd></mcd>  ");
  EXPECT_EQ(texts[1], "<jms><Dlv>2</Dlv><Dst>queue:///Q</Dst></jms>");
  EXPECT_EQ(texts[2],
            "<usr><order><id>A&lt;&amp;'</id></order><tenth dt='r4'>0.1</tenth>"
            "<raw dt='bin.hex'>0aff</raw><none xsi:nil='true'/><usr><kept dt='i4'>1</kept></usr>"
            "</usr> ");
  EXPECT_EQ(texts[3], "<kwps><Top>a/b</Top></kwps> ");
  EXPECT_EQ(out.md.Priority, 7);
  EXPECT_EQ(IntAt(out.bytes, 8), static_cast<int32_t>(out.length));
  EXPECT_EQ(FormatOf(reinterpret_cast<const char*>(out.bytes.data()) + 20), "        ");
}

TEST_F(PropsHeaderEdgeTest, JmsNumbersAsTextKeepTheirTypeWithExplicitString) {
  const KWHMSG a = Create();
  ASSERT_EQ(SetString(a, "jms.Exp", "12"), KWRC_NONE);
  ASSERT_EQ(SetString(a, "jms.Dlv", "1"), KWRC_NONE);
  const Headers out = ToHeaders(a, KWMD_VERSION_2);
  ASSERT_EQ(out.reason, KWRC_NONE);
  EXPECT_EQ(Text(FoldersOf(out.bytes)[0]),
            "<jms><Exp dt='string'>12</Exp><Dlv dt='string'>1</Dlv></jms>");
  const KWHMSG b = Create();
  ASSERT_EQ(FromHeaders(b, out), KWRC_NONE);
  EXPECT_EQ(PropsOf(b), PropsOf(a));
}

TEST_F(PropsHeaderEdgeTest, NamesThatAreNoMarkupTravelInAnEltElement) {
  // A handle that does not validate takes any name; the writer must still
  // write markup that reads back.
  const KWHMSG h = Create(kConn, KWCMHO_NO_VALIDATION);
  ASSERT_EQ(SetString(h, "a b<c", "v"), KWRC_NONE);
  ASSERT_EQ(SetString(h, "x.'q'", "w"), KWRC_NONE);
  ASSERT_EQ(SetString(h, "elt", "e"), KWRC_NONE);
  const Headers out = ToHeaders(h, KWMD_VERSION_2);
  ASSERT_EQ(out.reason, KWRC_NONE);
  EXPECT_EQ(Text(FoldersOf(out.bytes)[0]),
            "<usr><elt name='a b&lt;c'>v</elt><elt name='x.&apos;q&apos;'>w</elt>"
            "<elt name='elt'>e</elt></usr>   ");
}

TEST_F(PropsHeaderEdgeTest, GroupFieldsOnVersionOneGoInAnExtensionAndComeBack) {
  const KWHMSG a = Create();
  ASSERT_EQ(SetInt32(a, "count", 3), KWRC_NONE);
  // With the group fields at their defaults there is no extension.
  const Headers plain = ToHeaders(a, KWMD_VERSION_1);
  ASSERT_EQ(plain.reason, KWRC_NONE);
  EXPECT_EQ(FormatOf(plain.md.Format), "KWHRF2  ");
  EXPECT_EQ(std::string(plain.bytes.begin(), plain.bytes.begin() + 4), "RFH ");
  ASSERT_EQ(SetInt32(a, "Root.KWMD.MsgSeqNumber", 2), KWRC_NONE);
  const Headers out = ToHeaders(a, KWMD_VERSION_1);
  ASSERT_EQ(out.reason, KWRC_NONE);
  EXPECT_EQ(FormatOf(out.md.Format), "KWHMDE  ");
  EXPECT_EQ(out.md.Encoding, 546);
  EXPECT_EQ(out.md.CodedCharSetId, 1208) << "the application's CCSID";
  ASSERT_GT(out.length, 72u);
  EXPECT_EQ(std::string(out.bytes.begin(), out.bytes.begin() + 4), "MDE ");
  EXPECT_EQ(IntAt(out.bytes, 8), 72);
  EXPECT_EQ(IntAt(out.bytes, 12), 546);
  EXPECT_EQ(IntAt(out.bytes, 16), 0);
  EXPECT_EQ(FormatOf(reinterpret_cast<const char*>(out.bytes.data()) + 20), "KWHRF2  ");
  EXPECT_EQ(IntAt(out.bytes, 56), 2) << "MsgSeqNumber";
  EXPECT_EQ(IntAt(out.bytes, 68), -1) << "OriginalLength";
  EXPECT_EQ(std::string(out.bytes.begin() + 72, out.bytes.begin() + 76), "RFH ");

  const KWHMSG b = Create();
  ASSERT_EQ(FromHeaders(b, out), KWRC_NONE);
  EXPECT_EQ(PropsOf(b), PropsOf(a));
  EXPECT_EQ(HandleAt(b)->MsgDesc.MsgSeqNumber, 2);
}

TEST_F(PropsHeaderEdgeTest, ApplicationCcsidComesFromKWCCSIDOrIs1208) {
  for (const char* value : {"", "abc", "-5", "0"}) {
    const ScopedEnv env("KWCCSID", value);
    EXPECT_EQ(zrfGetApplicationCCSID(), 1208) << "'" << value << "'";
  }
  const ScopedEnv env("KWCCSID", "819");
  TraceLines trace;
  EXPECT_EQ(zrfGetApplicationCCSID(), 819);
  EXPECT_TRUE(trace.Contains("Application CCSID selected is 819."));
  const KWHMSG h = Create();
  ASSERT_EQ(SetInt32(h, "Root.KWMD.Offset", 100), KWRC_NONE);
  const Headers out = ToHeaders(h, KWMD_VERSION_1);
  ASSERT_EQ(out.reason, KWRC_NONE);
  EXPECT_EQ(out.md.CodedCharSetId, 819);
}

TEST_F(PropsHeaderEdgeTest, ExtensionAloneNamesTheBodyWhenThereAreNoProperties) {
  const KWHMSG a = Create();
  // Without properties or descriptor fields there is nothing to write.
  const Headers nothing = ToHeaders(a, KWMD_VERSION_2);
  EXPECT_EQ(nothing.reason, KWRC_NONE);
  EXPECT_EQ(nothing.cc, KWCC_OK);
  EXPECT_EQ(nothing.length, 0u);
  EXPECT_EQ(FormatOf(nothing.md.Format), "        ");
  ASSERT_EQ(SetInt32(a, "Root.KWMD.MsgFlags", 0x10), KWRC_NONE);
  ASSERT_EQ(SetString(a, "Root.KWMD.Format", "KWSTR"), KWRC_NONE);
  const Headers out = ToHeaders(a, KWMD_VERSION_1);
  ASSERT_EQ(out.reason, KWRC_NONE);
  ASSERT_EQ(out.length, 72u);
  EXPECT_EQ(FormatOf(out.md.Format), "KWHMDE  ");
  EXPECT_EQ(FormatOf(reinterpret_cast<const char*>(out.bytes.data()) + 20), "KWSTR   ");
  const KWHMSG b = Create();
  ASSERT_EQ(FromHeaders(b, out), KWRC_NONE);
  EXPECT_EQ(HandleAt(b)->MsgDesc.MsgFlags, 0x10);
}

TEST_F(PropsHeaderEdgeTest, FillingResetsTheHandleFirst) {
  const KWHMSG a = Create();
  ASSERT_EQ(SetInt32(a, "fromMessage", 1), KWRC_NONE);
  const Headers out = ToHeaders(a, KWMD_VERSION_2);
  ASSERT_EQ(out.reason, KWRC_NONE);
  const KWHMSG b = Create();
  ASSERT_EQ(SetInt32(b, "earlier", 1), KWRC_NONE);
  ASSERT_EQ(SetInt32(b, "Root.KWMD.Priority", 4), KWRC_NONE);
  ASSERT_EQ(FromHeaders(b, out), KWRC_NONE);
  const std::vector<HandleProp> props = PropsOf(b);
  ASSERT_EQ(props.size(), 1u);
  EXPECT_EQ(props[0].name, "fromMessage");
  EXPECT_EQ(HandleAt(b)->MsgDesc.Priority, KWPRI_PRIORITY_AS_Q_DEF);
  EXPECT_EQ(HandleAt(b)->MsgDescFieldsSet, 0u);
}

TEST_F(PropsHeaderEdgeTest, DescriptorPropertiesInTheHeaderLandInTheDescriptor) {
  const Message m = Chain().Rfh2({"<jms><Pri>6</Pri><Dst>q</Dst></jms>"}).Body().Build();
  Headers in;
  in.md.Version = KWMD_VERSION_2;
  std::memcpy(in.md.Format, m.format, 8);
  in.md.Encoding = m.encoding;
  in.md.CodedCharSetId = m.ccsid;
  in.bytes = m.data;
  const KWHMSG h = Create();
  KWULONG offset = 99;
  KWULONG length = 0;
  ASSERT_EQ(FromHeaders(h, in, "", &offset, &length), KWRC_NONE);
  EXPECT_EQ(offset, 0u);
  EXPECT_EQ(length, m.data.size());
  EXPECT_EQ(HandleAt(h)->MsgDesc.Priority, 6);
  EXPECT_EQ(PropsOf(h).size(), 1u);
}

TEST_F(PropsHeaderEdgeTest, SmallBufferGives2469AndTheLengthNeeded) {
  const KWHMSG h = Create();
  ASSERT_EQ(SetString(h, "greeting", "hello"), KWRC_NONE);
  const Headers full = ToHeaders(h, KWMD_VERSION_2);
  ASSERT_EQ(full.reason, KWRC_NONE);
  for (size_t size : {size_t{0}, size_t{36}, size_t{full.length - 1}}) {
    const Headers small = ToHeaders(h, KWMD_VERSION_2, nullptr, size);
    EXPECT_EQ(small.reason, KWRC_HEADERS_TOO_BIG) << size;
    EXPECT_EQ(small.cc, KWCC_FAILED);
    EXPECT_EQ(small.length, full.length);
    EXPECT_TRUE(std::all_of(small.bytes.begin(), small.bytes.end(), [](uint8_t b) {
      return b == 0xEE;
    })) << "nothing copied";
  }
  EXPECT_EQ(ToHeaders(h, KWMD_VERSION_2, nullptr, full.length).reason, KWRC_NONE);
}

TEST_F(PropsHeaderEdgeTest, DescriptorOfAnotherVersionIsRefused) {
  const KWHMSG h = Create();
  for (KWLONG version : {0, 3, -1}) {
    const Headers out = ToHeaders(h, version);
    EXPECT_EQ(out.reason, KWRC_MD_ERROR) << version;
    out.md.Version == version ? void() : ADD_FAILURE() << "descriptor changed";
    Headers in;
    in.md.Version = version;
    EXPECT_EQ(FromHeaders(h, in), KWRC_MD_ERROR);
  }
}

TEST_F(PropsHeaderEdgeTest, HandlesOfOtherAnchorsAreRefused) {
  KWHMSG other = Create(kUnassoc);
  const Headers out = ToHeaders(other, KWMD_VERSION_2);
  EXPECT_EQ(out.reason, KWRC_HMSG_ERROR);
  Headers in;
  in.md.Version = KWMD_VERSION_2;
  EXPECT_EQ(FromHeaders(KWHM_UNUSABLE_HMSG, in), KWRC_HMSG_ERROR);
  EXPECT_EQ(ToHeaders(other, KWMD_VERSION_2, nullptr, 1 << 16, kUnassoc).reason, KWRC_NONE);
}

struct StorageCase {
  xcsRC code;
  KWLONG reason;
};

class PropsHeaderStorageTest : public PropsHeaderTest,
                               public ::testing::WithParamInterface<StorageCase> {};

// The work buffer cannot be had, or cannot grow past its 4096 bytes.
TEST_P(PropsHeaderStorageTest, WorkBufferFailureReleasesTheHandle) {
  const KWHMSG h = Create();
  ASSERT_EQ(SetInt32(h, "count", 1), KWRC_NONE);
  const uint32_t records = xcsFailureRecordCount();
  xcsInjectAllocFailure(1, GetParam().code, 0);
  Headers out = ToHeaders(h, KWMD_VERSION_2);
  xcsInjectAllocFailure(0, 0, 0);
  EXPECT_EQ(out.reason, GetParam().reason);
  EXPECT_EQ(out.cc, KWCC_FAILED);
  EXPECT_EQ(xcsFailureRecordCount() > records, GetParam().reason == KWRC_UNEXPECTED_ERROR);
  // The handle was released: a later call acquires it.
  EXPECT_EQ(SetInt32(h, "count", 2), KWRC_NONE);
  EXPECT_EQ(HandleAt(h)->TidRecursionCount, 0u);

  ASSERT_EQ(SetString(h, "longText", std::string(6000, 'v')), KWRC_NONE);
  xcsInjectAllocFailure(2, GetParam().code, 0);
  out = ToHeaders(h, KWMD_VERSION_2);
  xcsInjectAllocFailure(0, 0, 0);
  EXPECT_EQ(out.reason, GetParam().reason);
  out = ToHeaders(h, KWMD_VERSION_2);
  ASSERT_EQ(out.reason, KWRC_NONE);
  EXPECT_GT(out.length, 6000u);
}

INSTANTIATE_TEST_SUITE_P(
    Codes, PropsHeaderStorageTest,
    ::testing::Values(StorageCase{xcsRC_STORAGE_NOT_AVAILABLE, KWRC_STORAGE_NOT_AVAILABLE},
                      StorageCase{xcsRC_STORAGE_NOT_AVAILABLE_TRACE, KWRC_STORAGE_NOT_AVAILABLE},
                      StorageCase{xcsRC_RESOURCE_PROBLEM, KWRC_RESOURCE_PROBLEM},
                      StorageCase{xcsRC_UNEXPECTED_ERROR, KWRC_UNEXPECTED_ERROR}));

TEST_F(PropsHeaderEdgeTest, CopyPurposeSelectsProperties) {
  const KWHMSG h = Create();
  const KWPD reply = MakePD(KWCOPY_REPLY);
  const KWPD all = MakePD(KWCOPY_ALL);
  const int32_t v = 1;
  ASSERT_EQ(Set(h, "forReply", KWTYPE_INT32, &v, 4, &reply), KWRC_NONE);
  ASSERT_EQ(Set(h, "forAll", KWTYPE_INT32, &v, 4, &all), KWRC_NONE);
  ASSERT_EQ(SetInt32(h, "byDefault", 1), KWRC_NONE);
  ZSTHDROPTS opts{};
  opts.CopyPurpose = KWCOPY_REPLY;
  const Headers out = ToHeaders(h, KWMD_VERSION_2, &opts);
  ASSERT_EQ(out.reason, KWRC_NONE);
  const std::string text = Text(FoldersOf(out.bytes)[0]);
  EXPECT_NE(text.find("forReply"), std::string::npos);
  EXPECT_NE(text.find("forAll"), std::string::npos);
  EXPECT_EQ(text.find("byDefault"), std::string::npos);
  opts.CopyPurpose = KWCOPY_PUBLISH;
  const KWHMSG only = Create();
  ASSERT_EQ(Set(only, "forReply", KWTYPE_INT32, &v, 4, &reply), KWRC_NONE);
  const Headers none = ToHeaders(only, KWMD_VERSION_2, &opts);
  EXPECT_EQ(none.reason, KWRC_NONE);
  EXPECT_EQ(none.length, 0u);
}

// Support values and what the marked-property check makes of them.
struct MarkCase {
  KWLONG support;
  KWULONG options;
  KWLONG reason;
};

class PropsHeaderMarkTest : public PropsHeaderTest,
                            public ::testing::WithParamInterface<MarkCase> {};

TEST_P(PropsHeaderMarkTest, MarkedPropertiesAreJudgedAfterTheHeaderIsWritten) {
  const KWHMSG h = Create();
  ASSERT_EQ(SetInt32(h, "plain", 1), KWRC_NONE);
  const KWPD pd = MakePD(KWCOPY_DEFAULT, KWPD_NO_CONTEXT, GetParam().support);
  const int32_t v = 2;
  ASSERT_EQ(Set(h, "marked", KWTYPE_INT32, &v, 4, &pd), KWRC_NONE);
  ZSTHDROPTS opts{};
  opts.Options = ZST_P2H_PROCESS_MARKED | GetParam().options;
  const Headers out = ToHeaders(h, KWMD_VERSION_2, &opts, 4096);
  EXPECT_EQ(out.reason, GetParam().reason);
  EXPECT_GT(out.length, 0u) << "written all the same";
  // Without the option the check does not run.
  opts.Options = GetParam().options;
  EXPECT_EQ(ToHeaders(h, KWMD_VERSION_2, &opts).reason, KWRC_NONE);
  // The marked property sits in a folder of its own, after the compatible ones.
  const Headers plain = ToHeaders(h, KWMD_VERSION_2);
  const auto folders = FoldersOf(plain.bytes);
  if (GetParam().support != KWPD_SUPPORT_OPTIONAL) {
    ASSERT_EQ(folders.size(), 2u);
    EXPECT_NE(Text(folders[1]).find("marked"), std::string::npos);
  }
}

INSTANTIATE_TEST_SUITE_P(Support, PropsHeaderMarkTest,
                         ::testing::Values(MarkCase{KWPD_SUPPORT_OPTIONAL, 0, KWRC_NONE},
                                           MarkCase{ZRF_SUPPORT_REQUIRED, 0, KWRC_NONE},
                                           MarkCase{0x00200000, 0, KWRC_PROPERTY_NOT_SUPPORTED},
                                           MarkCase{0x00200000, ZST_P2H_DLQ, KWRC_NONE},
                                           MarkCase{0x00000800, 0, KWRC_XMIT_Q_REQUIRED},
                                           MarkCase{0x00000800, ZST_P2H_TO_XMIT_Q, KWRC_NONE}));

TEST_F(PropsHeaderEdgeTest, ConversionOfAListReportsWhatItMarked) {
  ZRFPAL pal{};
  const int32_t v = 1;
  const KWPD required = MakePD(KWCOPY_DEFAULT, KWPD_NO_CONTEXT, 0x00300000);
  KWLONG cc;
  KWLONG rc;
  ASSERT_EQ(zrfAppendProperty(&pal, "a", 1, 1208, ZRF_TYPE_INT32, &v, 4, nullptr, &cc, &rc), 0);
  ASSERT_EQ(zrfAppendProperty(&pal, "b", 1, 1208, ZRF_TYPE_INT32, &v, 4, &required, &cc, &rc), 0);
  ASSERT_EQ(
      zrfAppendProperty(&pal, "c", 1, 1208, ZRF_TYPE_NAME_ONLY, nullptr, 0, nullptr, &cc, &rc), 0);
  ZRFHDRBUF out{};
  ZRFMARKS marks{};
  EXPECT_EQ(zrfConvertAllPropertiesToKWRFH2(&pal, nullptr, &out, &marks, &cc, &rc), KWRC_NONE);
  EXPECT_EQ(marks.Written, 2u);
  EXPECT_EQ(marks.Compatible, 1u);
  EXPECT_EQ(marks.NonCompatible, 1u);
  EXPECT_EQ(marks.Skipped, 1u) << "the name-only entry";
  EXPECT_EQ(marks.MarkedSupport, 0x00300000u);
  EXPECT_GT(marks.FirstMarked, 24u);
  EXPECT_EQ(zrfProcessMarkedNodes(&pal, &marks, 0, &cc, &rc), KWRC_PROPERTY_NOT_SUPPORTED);
  EXPECT_EQ(zrfProcessMarkedNodes(&pal, &marks, ZRF_MARKED_DLQ, &cc, &rc), KWRC_NONE);

  // A single property as a folder of its own.
  const KWULONG before = out.Length;
  EXPECT_EQ(zrfConvertPropertyToKWRFH2(&pal, marks.FirstMarked, nullptr, &out, &cc, &rc),
            KWRC_NONE);
  const std::string folder(out.pBuffer + before + 4, out.pBuffer + out.Length);
  EXPECT_EQ(folder, "<usr><b dt='i4' support='00300000'>1</b></usr>  ");
  EXPECT_EQ(zrfConvertPropertyToKWRFH2(&pal, marks.FirstMarked + 4, nullptr, &out, &cc, &rc),
            KWRC_UNEXPECTED_ERROR)
      << "not a node";
  xcsFreeMemFn(out.pBuffer);
  zrfFreePAL(&pal, 0, &cc, &rc);
}

TEST_F(PropsHeaderEdgeTest, ListConversionRefusals) {
  ZRFPAL pal{};
  KWLONG cc;
  KWLONG rc;
  ZRFHDRBUF out{};
  EXPECT_EQ(zrfConvertAllPropertiesToKWRFH2(&pal, nullptr, &out, nullptr, &cc, &rc),
            KWRC_PROPERTY_NOT_AVAILABLE);
  ASSERT_EQ(zrfAppendProperty(&pal, "euro", 4, 1208, ZRF_TYPE_STRING, "\xE2\x82\xAC", 3, nullptr,
                              &cc, &rc),
            0);
  ZRFHDROPTS opts{};
  opts.Encoding = 546;
  opts.NameValueCCSID = 819;  // has no euro sign
  EXPECT_EQ(zrfConvertAllPropertiesToKWRFH2(&pal, &opts, &out, nullptr, &cc, &rc),
            KWRC_NOT_CONVERTED);
  EXPECT_EQ(out.Length, 0u);
  opts.NameValueCCSID = 4242;  // no such CCSID
  EXPECT_EQ(zrfConvertAllPropertiesToKWRFH2(&pal, &opts, &out, nullptr, &cc, &rc),
            KWRC_SOURCE_CCSID_ERROR);
  EXPECT_EQ(zrfConvertAllPropertiesToKWRFH2(nullptr, &opts, &out, nullptr, &cc, &rc),
            KWRC_UNEXPECTED_ERROR);
  xcsFreeMemFn(out.pBuffer);
  zrfFreePAL(&pal, 0, &cc, &rc);
}

}  // namespace
}  // namespace zxv::test::header
