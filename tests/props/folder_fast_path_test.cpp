// The parser's short cuts against its general paths. End-of-list appends
// against the store: the same messages parsed into a fresh list (nodes
// appended at the end where the order allows) and into a list that asks
// for verification (every node placed by the store) must give the same
// nodes, byte for byte. The lone dt attribute read without the attribute
// loop against the loop (a tab before the attribute sends it there).
#include <cstdlib>
#include <string>
#include <vector>

#include "props/folder_test_util.h"
#include "zxvxcs2/xcs_env.h"

namespace zxv::test {
namespace {

// Every type, entities in text and names, attributes, nulls, groups that
// are left and joined again, repeated names, an empty element, a long name
// and names whose lengths give every padding.
const char* const kRichUser =
    "<usr><s>plain</s><e>a &lt; b &amp; c &gt; d &quot;q&quot; &apos;</e><empty/>"
    "<b1 dt='boolean'>true</b1><b0 dt='boolean'> 0 </b0><i1 dt='i1'>-128</i1>"
    "<i2 dt='i2'>+32767</i2><i4 dt='int'>-7</i4><i8 dt='i8'>-9223372036854775808</i8>"
    "<r4 dt='r4'>1.5</r4><r8 dt='r8'>-2.5E3</r8><x dt='bin.hex'>00ff10Ab</x><hx dt='bin.hex'/>"
    "<n xsi:nil='true'/><c dt='char'>z</c>"
    "<p context='user' copy='forward,reply' support='0010000a'>v</p>"
    "<g><a>1</a><b><c>2</c><d>3</d></b></g><h>4</h><g><z>5</z></g><s>again</s>"
    "<elt name='dotted.nm'>named</elt><abcdefghijklmnopqrstuvwxyz0123456789>long"
    "</abcdefghijklmnopqrstuvwxyz0123456789><ab>1</ab><abc>2</abc><abcd>3</abcd></usr>";

const char* const kNamedFolder =
    "<app><Name>order</Name><Count dt='i4'>3</Count><Sub><Inner>x</Inner></Sub>"
    "<Sub><Other dt='r8'>0.25</Other></Sub></app>";

std::string ManyProperties(int count) {
  std::string f = "<usr>";
  for (int i = 0; i < count; ++i) {
    const std::string n = std::to_string(i);
    f += i % 3 == 0   ? "<v" + n + " dt='i8'>" + n + "</v" + n + ">"
         : i % 3 == 1 ? "<grp" + n + "><w>text &amp; more " + n + "</w></grp" + n + ">"
                      : "<t" + n + ">" + std::string(i % 17, 'x') + "</t" + n + ">";
  }
  return f + "</usr>";
}

// The nodes of a parse (the list without its header, whose flags differ).
std::vector<uint8_t> NodesOf(const std::string& message, bool verify, KWLONG* reason) {
  if (verify) setenv("ZXV_VERIFY_PROPERTIES", "1", 1);
  xcsClearEnvCache();
  ZRFPAL pal{};
  *reason = RunParse(message, &pal).reason;
  unsetenv("ZXV_VERIFY_PROPERTIES");
  xcsClearEnvCache();
  if (verify && pal.pProps != nullptr) {
    EXPECT_NE(pal.pProps->VersionFlags & ZRFP_FLAG_VERIFY, 0u) << "the store placed nothing";
  }
  std::vector<uint8_t> nodes = InUse(pal);
  if (nodes.size() >= ZRFP_HEADER_LENGTH) {
    nodes.erase(nodes.begin(), nodes.begin() + ZRFP_HEADER_LENGTH);
  }
  zrfFreePAL(&pal, 0, nullptr, nullptr);
  return nodes;
}

TEST(FolderFastPath, AppendsGiveTheNodesTheStoreGives) {
  const std::vector<std::vector<std::string>> headers = {
      {kRichUser},
      {kNamedFolder, kRichUser},
      {"<jms><Dst>queue:///Q</Dst><Dlv>2</Dlv><Tms>17</Tms></jms>", ManyProperties(400)},
      // A second folder joins groups and replaces names of the first.
      {ManyProperties(40), ManyProperties(20)},
      // Tags and name attributes with full stops are several parts each.
      {"<usr><a.b>1</a.b><x>2</x><a><c>3</c></a><elt name='x.y'>4</elt><y>5</y>"
       "<x><z>6</z></x></usr>",
       "<a.b><c>7</c><x><e>8</e></x></a.b>"},
  };
  for (size_t i = 0; i < headers.size(); ++i) {
    SCOPED_TRACE(i);
    const std::string message = BuildRfh2(headers[i], kUtf8Name);
    KWLONG fast = -1;
    KWLONG store = -1;
    const std::vector<uint8_t> appended = NodesOf(message, false, &fast);
    const std::vector<uint8_t> placed = NodesOf(message, true, &store);
    ASSERT_EQ(fast, 0);
    ASSERT_EQ(store, 0);
    EXPECT_FALSE(appended.empty());
    EXPECT_EQ(appended, placed);
  }
}

TEST(FolderFastPath, AFailingFolderTakesItsAppendsBackWithItsStoreChanges) {
  // The second folder appends b at the end, has the store put a.y beside
  // a.x, then fails: the list is the first folder's again.
  for (const char* verify : {"0", "1"}) {
    SCOPED_TRACE(verify);
    setenv("ZXV_VERIFY_PROPERTIES", verify, 1);
    xcsClearEnvCache();
    ZRFPAL pal{};
    const ParseRun run = RunParse(BuildRfh2({"<usr><a><x>1</x></a></usr>",
                                             "<usr><b>1</b><a><y>2</y></a><c dt='i4'>x</c></usr>"},
                                            kUtf8Name),
                                  &pal);
    unsetenv("ZXV_VERIFY_PROPERTIES");
    xcsClearEnvCache();
    EXPECT_EQ(run.reason, KWRC_RFH_FORMAT_ERROR);
    EXPECT_EQ(PropNames(pal), std::vector<std::string>{"a.x"});
    zrfFreePAL(&pal, 0, nullptr, nullptr);
  }
}

struct Folded {
  KWLONG reason = -1;
  std::vector<uint8_t> nodes;
};

Folded ParseUser(const std::string& element, const NameEncoding& enc) {
  const std::string text = Encode("<usr>" + element + "</usr>", enc);
  ZRFPAL pal{};
  ZRFFOLDERCTX ctx{};
  ctx.Options = ZRF_PARSE_FILL_HANDLE;
  KWULONG action = 0;
  Folded out;
  out.reason = zrf_folder_parse(text.data(), static_cast<KWULONG>(text.size()), enc.ccsid,
                                enc.encoding, &ctx, &pal, &action, nullptr, nullptr);
  out.nodes = InUse(pal);
  zrfFreePAL(&pal, 0, nullptr, nullptr);
  return out;
}

TEST(FolderFastPath, LoneDataTypeReadsAsTheAttributeLoopReadsIt) {
  // Each tail follows "<a dt=" (the short cut) and "<a\tdt=" (the loop).
  const char* const tails[] = {
      "'i4'>5</a>",
      "\"i4\">5</a>",
      "'i4' >5</a>",
      "'r8'>1.5</a>",
      "'i1'>128</a>",
      "'bogus'>1</a>",
      "''>x</a>",
      "'x<'>1</a>",
      "'i4'/>",
      "'i4'",
      "'i4' xsi:nil='true'/>",
      "'string'>a &amp; b</a>",
  };
  for (const NameEncoding& enc : kAllNameEncodings) {
    for (const char* tail : tails) {
      SCOPED_TRACE(std::string(enc.label) + " " + tail);
      const Folded shortCut = ParseUser(std::string("<a dt=") + tail, enc);
      const Folded loop = ParseUser(std::string("<a\tdt=") + tail, enc);
      EXPECT_EQ(shortCut.reason, loop.reason);
      EXPECT_EQ(shortCut.nodes, loop.nodes);
    }
  }
}

}  // namespace
}  // namespace zxv::test
