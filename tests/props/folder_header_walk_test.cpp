// zrfParse over whole messages: headers in either byte order and every
// family, folders cut out of the message, headers skipped, the kw folder
// once per message, descriptor fields, and storage failures at every
// allocation.
#include <string>
#include <vector>

#include "props/folder_test_util.h"
#include "zxvxzu/kwmd.h"

namespace zxv::test {
namespace {

class FolderHeaderWalkTest : public ::testing::TestWithParam<NameEncoding>, public FolderTestBase {
 protected:
  void SetUp() override { Start(); }
  void TearDown() override { Finish(); }

  std::string Folder(const std::string& utf8) { return Encode(utf8, GetParam()); }
  // A header of this family; UCS-2 big-endian text needs big-endian integers.
  std::string Header(const std::vector<std::string>& utf8Folders, const char* next = "KWSTR   ",
                     int32_t flags = 0, int32_t nvCcsid = 0) {
    std::vector<std::string> folders;
    for (const std::string& f : utf8Folders) folders.push_back(Folder(f));
    return BuildRfh2(folders, GetParam(), GetParam().encoding, next, flags, nvCcsid);
  }
  ParseRun Parse(const std::string& message, KWULONG options = ZRF_PARSE_FILL_HANDLE) {
    return RunParse(message, &pal_, options, GetParam().encoding);
  }
};

// A later "a.x" joins the a group after "b"; a later "c" is replaced in place.
TEST_P(FolderHeaderWalkTest, PropertiesOfEveryHeader) {
  const std::string message =
      Header({"<jms><Dlv>2</Dlv></jms>", "<usr><a><x dt='i4'>1</x></a><b>x</b><c>3</c></usr>"},
             "KWHRF2  ") +
      Header({"<usr><a><y>4</y></a><c>5</c></usr>"}) + "BODY";
  const ParseRun run = Parse(message);
  ASSERT_EQ(run.reason, 0);
  EXPECT_EQ(PropNames(pal_), (std::vector<std::string>{"jms.Dlv", "a.x", "a.y", "b", "c"}));
  EXPECT_EQ(ReadProps(pal_)[4].value, "5");
  EXPECT_EQ(run.offset, 0u);
  EXPECT_EQ(run.message, message);  // nothing removed
}

TEST_P(FolderHeaderWalkTest, ContentPropertiesFolderIsCutOutEitherWay) {
  const std::string cut = "<usr content='properties'><a>1</a></usr>";
  const std::string kept = "<jms><Dlv>2</Dlv></jms>";
  const std::string cutFolder = Folder(cut);
  const uint32_t cutBytes = 4 + ((static_cast<uint32_t>(cutFolder.size()) + 3) & ~3u);
  struct Case {
    std::string body;
    const char* trace;
  };
  // A long body moves the header up over the folder; a short one the body down.
  const Case cases[] = {{std::string(2000, 'B'), "removing up"}, {"B", "removing down"}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.trace);
    const std::string header = Header({kept, cut});
    const std::string expectedHeader = Header({kept});
    TraceLines trace;
    const ParseRun run = Parse(header + c.body);
    ASSERT_EQ(run.reason, 0);
    EXPECT_TRUE(trace.Contains(c.trace));
    EXPECT_EQ(run.length, header.size() + c.body.size() - cutBytes);
    EXPECT_EQ(run.message, expectedHeader + c.body);  // StrucLength shrunk, the rest intact
    EXPECT_EQ(PropNames(pal_), (std::vector<std::string>{"jms.Dlv", "a"}));
    zrfFreePAL(&pal_, 0, nullptr, nullptr);
  }
}

// Stripping cuts every parsed folder; back level parses nothing and cuts
// only the internal folders.
TEST_P(FolderHeaderWalkTest, OptionsThatCutFolders) {
  ParseRun run = Parse(Header({"<jms><Dlv>2</Dlv></jms>", "<usr><a>1</a></usr>"}) + "BODY",
                       ZRF_PARSE_FILL_HANDLE | ZRF_PARSE_STRIP_PARSED);
  ASSERT_EQ(run.reason, 0);
  EXPECT_EQ(run.message, Header({}) + "BODY");
  zrfFreePAL(&pal_, 0, nullptr, nullptr);
  run = Parse(Header({"<kw><Aui>x</Aui></kw>", "<usr><a>1</a></usr>"}), ZRF_PARSE_BACK_LEVEL);
  ASSERT_EQ(run.reason, 0);
  EXPECT_EQ(run.message, Header({"<usr><a>1</a></usr>"}));
  EXPECT_EQ(pal_.pProps, nullptr);
}

TEST_P(FolderHeaderWalkTest, SecondKwFolderIsIgnored) {
  TraceLines trace;
  const ParseRun run =
      Parse(Header({"<kw><Aui>one</Aui></kw>"}, "KWHRF2  ") + Header({"<kw><Aui>two</Aui></kw>"}));
  ASSERT_EQ(run.reason, 0);
  EXPECT_TRUE(trace.Contains("<kw> folder already parsed. Ignoring this one."));
  const std::vector<Prop> props = ReadProps(pal_);
  ASSERT_EQ(props.size(), 4u);  // kw.Aui and the three kwi properties
  EXPECT_EQ(props[0].value, "one");
  // The first header names another KWRFH2 behind it.
  EXPECT_EQ(props[3].name, "kwi.Fmt");
  EXPECT_EQ(props[3].value, "KWHRF2  ");
}

TEST_P(FolderHeaderWalkTest, SkippedHeaders) {
  struct Case {
    std::string header;
    KWULONG options;
    const char* trace;
  };
  const Case cases[] = {
      {Header({"<usr><a>1</a></usr>"}, "KWHRF2  ", 0, -1), 0,
       "Skipping KWRFH2 due to invalid NameValueCCSID: -1"},
      {Header({"<usr><a>1</a></usr>"}, "KWHRF2  ", 0, 99999), 0,
       "Skipping KWRFH2 due to unsupported NameValueCCSID: 99999"},
      {Header({"<usr><a>1</a></usr>"}, "KWHRF2  "), ZRF_PARSE_INTERNAL_ONLY,
       "Skipping KWRFH2 as not flagged RFH_INTERNAL"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.trace);
    TraceLines trace;
    // The header behind the skipped one is still parsed.
    const std::string message = c.header + Header({"<usr><b>2</b></usr>"}, "KWSTR   ", 0x10000);
    const ParseRun run = Parse(message, ZRF_PARSE_FILL_HANDLE | c.options);
    ASSERT_EQ(run.reason, 0);
    EXPECT_TRUE(trace.Contains(c.trace));
    EXPECT_EQ(PropNames(pal_), (std::vector<std::string>{"b"}));
    EXPECT_EQ(run.message, message);
    zrfFreePAL(&pal_, 0, nullptr, nullptr);
  }
}

TEST_P(FolderHeaderWalkTest, HeaderErrorsKeepEarlierProperties) {
  const std::string good = Header({"<usr><a>1</a></usr>"}, "KWHRF2  ");
  std::string bad = Header({"<usr><b>2</b></usr>"});
  const bool big = (GetParam().encoding & 0xF) == 1;
  std::string length;
  PutInt(&length, 5000, big);  // StrucLength past the data
  bad.replace(8, 4, length);
  TraceLines trace;
  const ParseRun run = Parse(good + bad);
  EXPECT_EQ(run.reason, KWRC_HEADER_ERROR);
  EXPECT_TRUE(trace.Contains("Skipping KWRFH2 due to error found in header"));
  EXPECT_EQ(PropNames(pal_), (std::vector<std::string>{"a"}));
  EXPECT_EQ(run.message, good + bad);
}

TEST_P(FolderHeaderWalkTest, FolderLengthPastTheHeader) {
  std::string message = Header({"<usr><a>1</a></usr>", "<usr><b>2</b></usr>"});
  const bool big = (GetParam().encoding & 0xF) == 1;
  // The second folder's NameValueLength claims 4 bytes more than there are.
  const uint32_t second =
      36 + 4 + ((static_cast<uint32_t>(Folder("<usr><a>1</a></usr>").size()) + 3) & ~3u);
  const uint32_t secondLength = static_cast<uint32_t>(message.size()) - second - 4;
  std::string fl;
  PutInt(&fl, static_cast<int32_t>(secondLength + 4), big);
  message.replace(second, 4, fl);
  TraceLines trace;
  const ParseRun run = Parse(message);
  EXPECT_EQ(run.reason, KWRC_RFH_FORMAT_ERROR);
  EXPECT_TRUE(trace.Contains(
      "FolderLength is invalid for remaining data. FL: " + std::to_string(secondLength + 4) +
      ", RL: " + std::to_string(secondLength)));
  EXPECT_EQ(PropNames(pal_), (std::vector<std::string>{"a"}));
}

TEST_P(FolderHeaderWalkTest, DescriptorFieldsGoToTheDescriptor) {
  KWMD md{};
  KWULONG fields = 0;
  const ParseRun run = RunParse(Header({"<jms><Pri>7</Pri><Dlv>1</Dlv></jms>",
                                        "<Root><KWMD><Priority dt='i4'>8</Priority><Format>too "
                                        "long a format</Format></KWMD></Root>"}),
                                &pal_, ZRF_PARSE_FILL_HANDLE, GetParam().encoding, &md, &fields);
  ASSERT_EQ(run.reason, 0);
  EXPECT_EQ(md.Priority, 8);  // the later one wins
  EXPECT_NE(fields, 0u);
  // jms.Dlv is no descriptor field; a value a field cannot take stays a property.
  EXPECT_EQ(PropNames(pal_), (std::vector<std::string>{"jms.Dlv", "Root.KWMD.Format"}));
}

TEST_P(FolderHeaderWalkTest, StorageFailureAtEveryAllocation) {
  // Enough properties to grow the list past its first 4 KB.
  std::string many = "<usr>";
  for (int i = 0; i < 120; ++i)
    many +=
        "<p" + std::to_string(i) + ">value " + std::to_string(i) + "</p" + std::to_string(i) + ">";
  many += "</usr>";
  const std::string message = Header({"<jms><Dlv>2</Dlv></jms>", many});
  bool sawFailure = false;
  for (uint32_t nth = 1; nth < 200; ++nth) {
    SCOPED_TRACE(nth);
    xcsInjectAllocFailure(nth, xcsRC_STORAGE_NOT_AVAILABLE, 0);
    const ParseRun run = Parse(message);
    xcsInjectAllocFailure(0, 0, 0);
    if (run.reason == 0) {
      EXPECT_EQ(ReadProps(pal_).size(), 121u);
      break;
    }
    sawFailure = true;
    EXPECT_EQ(run.reason, KWRC_STORAGE_NOT_AVAILABLE);
    // Whole folders only: nothing, or the first folder alone.
    const std::vector<std::string> names = PropNames(pal_);
    EXPECT_TRUE(names.empty() || names == std::vector<std::string>{"jms.Dlv"});
    zrfFreePAL(&pal_, 0, nullptr, nullptr);
  }
  EXPECT_TRUE(sawFailure);
}

INSTANTIATE_TEST_SUITE_P(Families, FolderHeaderWalkTest, ::testing::ValuesIn(kAllNameEncodings),
                         FamilyLabel);

TEST(FolderParseArguments, MissingPointersAndEmptyMessages) {
  ZRFPAL pal{};
  KWULONG offset = 1;
  KWULONG length = 1;
  KWLONG cc = -1;
  KWLONG rc = -1;
  EXPECT_EQ(zrfParse(0, nullptr, 0, "KWSTR   ", 546, 1208, &pal, nullptr, nullptr, &offset, &length,
                     &cc, &rc),
            0);
  EXPECT_EQ(length, 0u);
  EXPECT_EQ(zrfParse(0, nullptr, 4, "KWHRF2  ", 546, 1208, &pal, nullptr, nullptr, &offset, &length,
                     &cc, &rc),
            KWRC_UNEXPECTED_ERROR);
  EXPECT_EQ(zrfParse(0, nullptr, 0, "KWSTR   ", 546, 1208, nullptr, nullptr, nullptr, &offset,
                     &length, &cc, &rc),
            KWRC_UNEXPECTED_ERROR);
  ZRFFOLDERCTX ctx{};
  KWULONG action = 0;
  EXPECT_EQ(zrf_folder_parse("<a/>", 4, 1208, 546, nullptr, &pal, &action, &cc, &rc),
            KWRC_UNEXPECTED_ERROR);
  EXPECT_EQ(zrf_folder_parse("<a/>", 4, 4242, 546, &ctx, &pal, &action, &cc, &rc),
            KWRC_SOURCE_CCSID_ERROR);
  EXPECT_EQ(pal.pProps, nullptr);
}

TEST(FolderParseBigEndianChain, SingleByteFolderBehindBigEndianHeader) {
  ZRFPAL pal{};
  const std::string message = BuildRfh2({"<jms><Dlv>2</Dlv></jms>"}, kAsciiName, 273) + "BODY";
  const ParseRun run = RunParse(message, &pal, ZRF_PARSE_FILL_HANDLE, 273);
  ASSERT_EQ(run.reason, 0);
  EXPECT_EQ(PropNames(pal), (std::vector<std::string>{"jms.Dlv"}));
  zrfFreePAL(&pal, 0, nullptr, nullptr);
}

// Regression: names converted from an EBCDIC folder must not let a later
// UTF-8 folder append a second node of the same name at the list's end.
TEST(FolderParseMixedCcsids, LaterFolderReplacesConvertedName) {
  ZRFPAL pal{};
  const int64_t blocks = xcsOutstandingBlocks();
  const std::string message = BuildRfh2({Encode("<usr><a>1</a><b>1</b></usr>", kEbcdicName)},
                                        kEbcdicName, 546, "KWHRF2  ") +
                              BuildRfh2({"<usr><a>2</a></usr>"}, kUtf8Name);
  const ParseRun run = RunParse(message, &pal);
  ASSERT_EQ(run.reason, 0);
  const std::vector<Prop> props = ReadProps(pal);
  ASSERT_EQ(PropNames(pal), (std::vector<std::string>{"a", "b"}));
  EXPECT_EQ(props[0].value, "2");
  zrfFreePAL(&pal, 0, nullptr, nullptr);
  EXPECT_EQ(xcsOutstandingBlocks(), blocks);
}

}  // namespace
}  // namespace zxv::test
