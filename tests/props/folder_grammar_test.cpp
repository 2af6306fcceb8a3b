// The folder grammar through zrf_folder_parse, every case run in each of
// the five encoding families: names, dt types, groups, entities, xsi:nil,
// the context/copy/support attributes, and every grammar error with its
// reason and trace text.
#include <cmath>
#include <string>
#include <vector>

#include "props/folder_test_util.h"

namespace zxv::test {
namespace {

class FolderGrammarTest : public ::testing::TestWithParam<NameEncoding>, public FolderTestBase {
 protected:
  void SetUp() override { Start(); }
  void TearDown() override { Finish(); }

  KWLONG Parse(const std::string& utf8, KWULONG options = ZRF_PARSE_FILL_HANDLE,
               KWULONG state = 0) {
    const std::string text = Encode(utf8, GetParam());
    ctx_ = ZRFFOLDERCTX{};
    ctx_.Options = options;
    ctx_.State = state;
    ctx_.DataEncoding = 273;
    ctx_.DataCCSID = 500;
    std::memcpy(ctx_.DataFormat, "KWSTR   ", 8);
    action_ = 99;
    KWLONG cc = -1;
    const KWLONG reason =
        zrf_folder_parse(text.data(), static_cast<KWULONG>(text.size()), GetParam().ccsid,
                         GetParam().encoding, &ctx_, &pal_, &action_, &cc, nullptr);
    EXPECT_EQ(cc, reason == 0 ? KWCC_OK : KWCC_FAILED);
    return reason;
  }

  // The one property of that name; fails the test when there is none.
  Prop Get(const std::string& name) {
    for (const Prop& p : ReadProps(pal_)) {
      if (p.name == name) return p;
    }
    ADD_FAILURE() << "no property " << name << " (" << GetParam().label << ")";
    return Prop{};
  }

  ZRFFOLDERCTX ctx_{};
  KWULONG action_ = 0;
};

TEST_P(FolderGrammarTest, FolderNameAndElementMakeTheName) {
  ASSERT_EQ(Parse("<jms><Dlv>2</Dlv><Dst>queue:///Q1</Dst><Tms>1700000000123</Tms></jms>"), 0);
  EXPECT_EQ(PropNames(pal_), (std::vector<std::string>{"jms.Dlv", "jms.Dst", "jms.Tms"}));
  EXPECT_EQ(Get("jms.Dlv").type, ZRF_TYPE_INT32);
  EXPECT_EQ(Get("jms.Dlv").integer, 2);
  EXPECT_EQ(Get("jms.Dst").value, "queue:///Q1");
  EXPECT_EQ(Get("jms.Tms").type, ZRF_TYPE_INT64);
  EXPECT_EQ(Get("jms.Tms").integer, 1700000000123LL);
  EXPECT_EQ(action_, static_cast<KWULONG>(ZRF_FOLDER_KEEP));
  // Names in the user folder stand alone; other folders prefix theirs.
  ASSERT_EQ(Parse("  <usr><color>red</color></usr>  "), 0);
  ASSERT_EQ(Parse("<mine><color>blue</color></mine>"), 0);
  EXPECT_EQ(PropNames(pal_),
            (std::vector<std::string>{"jms.Dlv", "jms.Dst", "jms.Tms", "color", "mine.color"}));
}

struct TypedCase {
  const char* element;
  uint32_t type;
  int64_t integer;
  double real;
  const char* text;
};

TEST_P(FolderGrammarTest, EveryDataType) {
  const TypedCase cases[] = {
      {"<a dt='string'> x y </a>", ZRF_TYPE_STRING, 0, 0, " x y "},
      {"<a dt='char'>z</a>", ZRF_TYPE_STRING, 0, 0, "z"},
      {"<a>plain</a>", ZRF_TYPE_STRING, 0, 0, "plain"},
      {"<a/>", ZRF_TYPE_STRING, 0, 0, ""},
      {"<a></a>", ZRF_TYPE_STRING, 0, 0, ""},
      {"<a dt='boolean'>1</a>", ZRF_TYPE_BOOLEAN, 1, 0, nullptr},
      {"<a dt='boolean'> false </a>", ZRF_TYPE_BOOLEAN, 0, 0, nullptr},
      {"<a dt='bin.hex'>01aFff</a>", ZRF_TYPE_BYTE_STRING, 0, 0, "\x01\xAF\xFF"},
      {"<a dt='bin.hex'></a>", ZRF_TYPE_BYTE_STRING, 0, 0, ""},
      {"<a dt='int'>-7</a>", ZRF_TYPE_INT32, -7, 0, nullptr},
      {"<a dt='i1'>-128</a>", ZRF_TYPE_INT8, -128, 0, nullptr},
      {"<a dt='i2'>+32767</a>", ZRF_TYPE_INT16, 32767, 0, nullptr},
      {"<a dt='i4'>2147483647</a>", ZRF_TYPE_INT32, 2147483647, 0, nullptr},
      {"<a dt='i8'>-9223372036854775808</a>", ZRF_TYPE_INT64, INT64_MIN, 0, nullptr},
      {"<a dt='r4'>1.5</a>", ZRF_TYPE_FLOAT32, 0, 1.5, nullptr},
      {"<a dt='r8'>-2.5E3</a>", ZRF_TYPE_FLOAT64, 0, -2500.0, nullptr},
      {"<a dt='r8'>-INF</a>", ZRF_TYPE_FLOAT64, 0, -HUGE_VAL, nullptr},
      {"<a dt='r4'>NaN</a>", ZRF_TYPE_FLOAT32, 0, NAN, nullptr},
      {"<a xsi:nil='true'/>", ZRF_TYPE_NULL, 0, 0, nullptr},
      {"<a xsi:nil='true'></a>", ZRF_TYPE_NULL, 0, 0, nullptr},
      {"<a dt='i4' xsi:nil='false'>5</a>", ZRF_TYPE_INT32, 5, 0, nullptr},
  };
  for (const TypedCase& c : cases) {
    SCOPED_TRACE(c.element);
    ASSERT_EQ(Parse(std::string("<usr>") + c.element + "</usr>"), 0);
    const Prop p = Get("a");
    EXPECT_EQ(p.type, c.type);
    if (std::isnan(c.real)) {
      EXPECT_TRUE(std::isnan(p.real));
    } else if (c.type == ZRF_TYPE_FLOAT32 || c.type == ZRF_TYPE_FLOAT64) {
      EXPECT_EQ(p.real, c.real);
    } else if (c.text != nullptr) {
      // Strings come back in the list's CCSID (1208): compare as UTF-8.
      EXPECT_EQ(p.value, c.text);
    } else {
      EXPECT_EQ(p.integer, c.integer);
    }
    zrfFreePAL(&pal_, 0, nullptr, nullptr);
  }
}

TEST_P(FolderGrammarTest, GroupsJoinTheirNames) {
  TraceLines trace;
  ASSERT_EQ(Parse("<usr> <g><x>1</x> <h><y>2</y></h></g>\n<z>3</z> </usr>"), 0);
  ASSERT_EQ(Parse("<app><g><x>4</x></g></app>"), 0);
  EXPECT_EQ(PropNames(pal_), (std::vector<std::string>{"g.x", "g.h.y", "z", "app.g.x"}));
  EXPECT_TRUE(trace.Contains("Folder contains a nested group"));
  EXPECT_TRUE(trace.Contains("Ignoring blank string before start tag"));
  EXPECT_TRUE(trace.Contains("Ignoring blank string after end tag"));
}

TEST_P(FolderGrammarTest, EntitiesAreUnescaped) {
  ASSERT_EQ(Parse("<usr><e>a &lt; b &amp; c &gt; d &quot;&apos; &#60; &foo;</e>"
                  "<elt name='x&amp;y'>v</elt><h dt='bin.hex'>4&#65;</h></usr>",
                  ZRF_PARSE_FILL_HANDLE),
            KWRC_PROPERTY_NAME_ERROR);  // "x&y" is no property name
  ASSERT_EQ(Parse("<usr><e>a &lt; b &amp; c &gt; d &quot;&apos; &#60; &foo;</e>"
                  "<elt name='renamed'>v</elt></usr>"),
            0);
  EXPECT_EQ(Get("e").value, "a < b & c > d \"' &#60; &foo;");
  EXPECT_EQ(Get("renamed").value, "v");
}

TEST_P(FolderGrammarTest, ContextCopyAndSupport) {
  ASSERT_EQ(Parse("<usr><p context='user' copy='forward,reply' support='0010000a'>v</p>"
                  "<q copy='none' context='none'>w</q><r copy='all'>x</r><s>y</s></usr>"),
            0);
  const Prop p = Get("p");
  EXPECT_TRUE(p.user_context);
  EXPECT_EQ(p.copy, static_cast<uint32_t>(KWCOPY_FORWARD | KWCOPY_REPLY));
  EXPECT_EQ(p.support, 0x0010000Au);
  EXPECT_EQ(Get("q").copy, static_cast<uint32_t>(KWCOPY_NONE));
  EXPECT_FALSE(Get("q").user_context);
  EXPECT_EQ(Get("r").copy, static_cast<uint32_t>(KWCOPY_ALL));
  EXPECT_EQ(Get("s").copy, static_cast<uint32_t>(KWCOPY_DEFAULT));
  EXPECT_EQ(Get("s").support, static_cast<uint32_t>(KWPD_SUPPORT_OPTIONAL));
}

TEST_P(FolderGrammarTest, LongTagNamesAreCut) {
  TraceLines trace;
  const std::string longName(300, 'n');
  ASSERT_EQ(Parse("<usr><" + longName + ">1</" + longName + "></usr>"), 0);
  EXPECT_TRUE(trace.Contains("Tag name too long (300 chars). Truncating to 255"));
  EXPECT_EQ(PropNames(pal_), (std::vector<std::string>{std::string(255, 'n')}));
}

struct ErrorCase {
  const char* folder;
  KWLONG reason;
  const char* trace;
};

TEST_P(FolderGrammarTest, MalformedFoldersAreRefusedAndLeaveTheListAlone) {
  const ErrorCase cases[] = {
      {"<usr><a>1</b></usr>", KWRC_RFH_FORMAT_ERROR, "EndTag name does not match StartTag name"},
      {"<usr><a xsi:nil='true' dt='i4'/></usr>", KWRC_RFH_FORMAT_ERROR,
       "Explicit data type used after xsi attribute"},
      {"<usr><a dt='i4' xsi:nil='true'/></usr>", KWRC_RFH_FORMAT_ERROR,
       "Explicit data type used before xsi attribute"},
      {"<usr><a support='123'>1</a></usr>", KWRC_RFH_FORMAT_ERROR,
       "Length of support attribute value incorrect"},
      {"<usr><a support='0010000G'>1</a></usr>", KWRC_RFH_FORMAT_ERROR,
       "Incorrectly formatted support attribute value"},
      {"<usr content='other'><a>1</a></usr>", KWRC_RFH_FORMAT_ERROR,
       "Invalid content attribute value"},
      {"<jms><g><a>1</a></g></jms>", KWRC_RFH_FORMAT_ERROR, "Nested group where no group allowed"},
      {"<usr><a>1</a>", KWRC_RFH_FORMAT_ERROR, "syntax error"},
      {"<usr><a>1<b>2</b></a></usr>", KWRC_RFH_FORMAT_ERROR, "syntax error"},
      {"<usr>text<a>1</a></usr>", KWRC_RFH_FORMAT_ERROR, "syntax error"},
      {"<usr><a dt='i9'>1</a></usr>", KWRC_RFH_FORMAT_ERROR, "syntax error"},
      {"<usr><a dt='i1'>128</a></usr>", KWRC_RFH_FORMAT_ERROR, "syntax error"},
      {"<usr><a dt='i4'>12x</a></usr>", KWRC_RFH_FORMAT_ERROR, "syntax error"},
      {"<usr><a dt='boolean'>yes</a></usr>", KWRC_RFH_FORMAT_ERROR, "syntax error"},
      {"<usr><a dt='bin.hex'>abc</a></usr>", KWRC_RFH_FORMAT_ERROR, "syntax error"},
      {"<usr><a xsi:nil='true'>x</a></usr>", KWRC_RFH_FORMAT_ERROR, "syntax error"},
      {"<usr><a dt='i4' dt='i4'>1</a></usr>", KWRC_RFH_FORMAT_ERROR, "syntax error"},
      {"<usr><a copy='sideways'>1</a></usr>", KWRC_RFH_FORMAT_ERROR, "syntax error"},
      {"<usr><a dt=i4>1</a></usr>", KWRC_RFH_FORMAT_ERROR, "syntax error"},
      {"<usr><a dt='i4'b='c'>1</a></usr>", KWRC_RFH_FORMAT_ERROR, "syntax error"},
      {"<usr><elt>1</elt></usr>", KWRC_RFH_FORMAT_ERROR, "syntax error"},
      {"<usr><g dt='i4'><a>1</a></g></usr>", KWRC_RFH_FORMAT_ERROR, "syntax error"},
      {"<usr><a>1</a></usr>junk", KWRC_RFH_FORMAT_ERROR, "syntax error"},
      {"<usr><!-- c --></usr>", KWRC_RFH_FORMAT_ERROR, "syntax error"},
      {"<usr><>1</></usr>", KWRC_RFH_FORMAT_ERROR, "syntax error"},
      {"   ", KWRC_RFH_FORMAT_ERROR, "Folder contains no data"},
      {"<usr><ok>1</ok><AND>1</AND></usr>", KWRC_PROPERTY_NAME_ERROR, nullptr},
  };
  for (const ErrorCase& c : cases) {
    SCOPED_TRACE(c.folder);
    ASSERT_EQ(Parse("<usr><kept>1</kept></usr>"), 0);
    const std::vector<uint8_t> before = InUse(pal_);
    {
      TraceLines trace;
      EXPECT_EQ(Parse(c.folder), c.reason);
      if (c.trace != nullptr) {
        EXPECT_TRUE(trace.Contains(c.trace));
      }
    }
    EXPECT_EQ(InUse(pal_), before);
    EXPECT_EQ(action_, static_cast<KWULONG>(ZRF_FOLDER_KEEP));
    zrfFreePAL(&pal_, 0, nullptr, nullptr);
  }
}

TEST_P(FolderGrammarTest, DeepNestingEndsInMemoryExhausted) {
  std::string deep = "<usr>";
  for (int i = 0; i < 10000; ++i) deep += "<g>";
  TraceLines trace;
  EXPECT_EQ(Parse(deep), KWRC_RFH_FORMAT_ERROR);
  EXPECT_TRUE(trace.Contains("memory exhausted"));
  EXPECT_EQ(pal_.pProps, nullptr);  // the list this folder created is gone again

  // The limit itself: 63 levels below the folder still parse.
  std::string fits = "<usr>";
  for (int i = 0; i < 62; ++i) fits += "<g>";
  fits += "<v>1</v>";
  for (int i = 0; i < 62; ++i) fits += "</g>";
  ASSERT_EQ(Parse(fits + "</usr>"), 0);
  EXPECT_EQ(ReadProps(pal_).size(), 1u);
}

// content='properties' folders are parsed, then removed; back level parses
// nothing and removes only the internal folders.
TEST_P(FolderGrammarTest, FolderActions) {
  TraceLines trace;
  ASSERT_EQ(Parse("<usr content='properties'><a>1</a></usr>"), 0);
  EXPECT_EQ(action_, static_cast<KWULONG>(ZRF_FOLDER_REMOVE));
  EXPECT_EQ(PropNames(pal_), (std::vector<std::string>{"a"}));
  EXPECT_TRUE(trace.Contains("Removing folder as it is marked with content='properties'"));
  zrfFreePAL(&pal_, 0, nullptr, nullptr);
  ASSERT_EQ(Parse("<usr><a>1</a></usr>", ZRF_PARSE_BACK_LEVEL), 0);
  EXPECT_EQ(action_, static_cast<KWULONG>(ZRF_FOLDER_KEEP));
  EXPECT_TRUE(trace.Contains("Parsing not required for this folder"));
  ASSERT_EQ(Parse("<kwpsi><a>1</a></kwpsi>", ZRF_PARSE_BACK_LEVEL), 0);
  EXPECT_EQ(action_, static_cast<KWULONG>(ZRF_FOLDER_REMOVE));
  EXPECT_EQ(pal_.pProps, nullptr);
}

TEST_P(FolderGrammarTest, KwFolderAddsInternalPropertiesOnce) {
  ASSERT_EQ(Parse("<kw><Aui>app</Aui></kw>"), 0);
  EXPECT_EQ(PropNames(pal_), (std::vector<std::string>{"kw.Aui", "kwi.Enc", "kwi.Ccs", "kwi.Fmt"}));
  EXPECT_EQ(Get("kwi.Enc").integer, 273);
  EXPECT_EQ(Get("kwi.Ccs").integer, 500);
  EXPECT_EQ(Get("kwi.Fmt").value, "KWSTR   ");
  EXPECT_TRUE(ctx_.State & ZRF_STATE_KW_PARSED);
}

// The support values themselves are judged in FolderReject below; here the
// parse must hand the verdict on and refuse a value that is no number.
TEST_P(FolderGrammarTest, KwRejectSupportValue) {
  EXPECT_EQ(Parse("<kw><Rsv>00200000</Rsv></kw>"), KWRC_PROPERTY_NOT_SUPPORTED);
  EXPECT_EQ(pal_.pProps, nullptr);
  EXPECT_EQ(Parse("<kw><Rsv>0010</Rsv></kw>"), KWRC_RFH_FORMAT_ERROR);
}

INSTANTIATE_TEST_SUITE_P(Families, FolderGrammarTest, ::testing::ValuesIn(kAllNameEncodings),
                         FamilyLabel);

TEST(FolderReject, SupportRanges) {
  struct Case {
    KWULONG value;
    KWULONG options;
    KWLONG reason;
    const char* trace;
  };
  const Case cases[] = {
      {0x00000001, 0, 0, nullptr},
      {0x00100000 | 0x00000400, 0, 0, nullptr},
      {0x00000002, 0, 0, nullptr},  // accept range: ignored
      {0x00200000, 0, KWRC_PROPERTY_NOT_SUPPORTED, "Unrecognised reject support value"},
      {0x00200000, ZRF_PARSE_DLQ, 0, "Ignoring unrecognised reject support value (DLQing)"},
      {0x00000800, 0, KWRC_XMIT_Q_REQUIRED, "Put allowed only to xmit queue"},
      {0x00000800, ZRF_PARSE_TO_XMIT_Q, 0, nullptr},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.value);
    TraceLines trace;
    KWLONG cc = -1;
    KWLONG rc = -1;
    EXPECT_EQ(zrfProcessKWFolder(c.value, c.options, &cc, &rc), c.reason);
    EXPECT_EQ(rc, c.reason);
    if (c.trace != nullptr) {
      EXPECT_TRUE(trace.Contains(c.trace));
    }
  }
}

}  // namespace
}  // namespace zxv::test
