// The fused pass over UTF-8 folders against the general grammar. Random
// headers (every dt type with good and bad values, entities, groups left and
// joined again, repeated, known and reserved names, names the check
// refuses, attributes and markup the pass leaves to the grammar, damaged
// markup) are parsed with trace off, where the fused pass runs, and with
// trace on, where the general grammar runs alone: into an empty list, a
// list that asks for verification and a list that holds properties
// already, with and without a descriptor. Reasons, the message, the list
// and the descriptor must come out the same, byte for byte.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "props/folder_fast_pass.h"
#include "props/folder_parser.h"
#include "props/folder_test_util.h"
#include "zxvxcs2/xcs_env.h"
#include "zxvxcs2/xcs_trace.h"

namespace zxv::props {
namespace {

using test::BuildRfh2;
using test::InUse;
using test::kUtf8Name;

// Names: ordinary ones of every length class, names the character check
// refuses, a dotted tag, reserved words and prefixes, known names and
// members of reserved families, the jms fields, and one over the tag limit.
const char* const kNames[] = {
    "a",     "b",          "name1",       "orderNumber", "quantityOrdered12",
    "x_y",   "$d",         "caf\xC3\xA9", "1abc",        "a-b",
    "a.b",   "class",      "AND",         "and",         "Body",
    "Bx",    "Properties", "JMSType",     "JMSFoo",      "KWTopicString",
    "KWFoo", "Dlv",        "Pri",         "Exp",         "Seq",
    "Tms",   "Msd",        "elt",         "g1",          "g2",
    "Root",  "kwpsc",      "psc",         "Dst",         "ab",
};

// The first names are ordinary ones.
constexpr uint32_t kCleanNames = 7;

const char* const kFolders[] = {"usr", "usr", "usr", "app", "jms", "mcd", "kw", "kwps"};

struct TypedValues {
  const char* dt;  // nullptr: no dt attribute
  std::vector<const char*> values;
};

const TypedValues kTyped[] = {
    {nullptr,
     {"plain", "a &amp; b", "&lt;&gt;&quot;&apos;", "&foo; &#60;", "tail &lt", "", "5", " 7 ",
      "caf\xC3\xA9 &amp;", "\xE2&amp;x", "99999999999999999999", "&amp;&lt;x&gt;&amp",
      "&ampx; &l; &gt", "x&lt;;&am;p&quot"}},
    {"string", {"s", "x &amp; y", ""}},
    {"char", {"c"}},
    {"int", {"12", "-3", "x"}},
    {"i1", {"-128", "128", "5"}},
    {"i2", {"+32767", "3", "-32769"}},
    {"i4", {"14", " 9 ", "2147483648", ""}},
    {"i8", {"9000007919", "-9223372036854775808", "1 2"}},
    {"r4", {"1.5", "1e999", "INF"}},
    {"r8", {"1234.54", "-2.5E3", "NaN", "x"}},
    {"boolean", {"1", "0", "true", "false", "yes"}},
    // Sixteen digits and more are decoded a block at a time: bad units
    // at the edges of the digit and letter ranges, in the first block and
    // the second one.
    {"bin.hex",
     {"00ff10Ab0a1b2c3d4e5f60718293A4B5C6D7E8F9", "0a1", "zz", "", "0123456789abcdeg",
      ":123456789abcdef", "/123456789ABCDEF", "@123456789abcdef", "G123456789abcdef",
      "`123456789abcdef", "0123456789abcdef0123456789abcd\xC3\xA9", "00ff10Ab"}},
    // The types above take their first value.
    {"bogus", {"1"}},
    {"", {"1"}},
};

// The types before "bogus" (each with a good first value).
constexpr uint32_t kCleanTypes = 12;

class Generator {
 public:
  explicit Generator(uint32_t seed) : rng_(seed) {}

  // One folder: half of them clean (ordinary names, good values, no other
  // attributes), the others with anything in them, sometimes damaged.
  std::string Folder() {
    clean_ = Pick(2) == 0;
    if (clean_) {
      std::string f = "<usr>";
      const uint32_t count = Pick(12);
      for (uint32_t i = 0; i < count; ++i) f += Element(1);
      return f + "</usr>";
    }
    const std::string name = kFolders[Pick(std::size(kFolders))];
    std::string f;
    switch (Pick(12)) {
      case 0:
        f = "<" + name + " >";
        break;
      case 1:
        f = " <" + name + ">";
        break;
      case 2:
        f = "<" + name + " content='properties'>";
        break;
      default:
        f = "<" + name + ">";
        break;
    }
    const uint32_t count = Pick(12);
    for (uint32_t i = 0; i < count; ++i) f += Element(1);
    f += "</" + name + ">";
    if (Pick(4) == 0) f += Pick(2) == 0 ? "  " : std::string("\0\0", 2);
    if (Pick(40) == 0) f.resize(Pick(static_cast<uint32_t>(f.size())));  // cut short
    return f;
  }

 private:
  uint32_t Pick(uint32_t n) { return n == 0 ? 0 : static_cast<uint32_t>(rng_() % n); }

  std::string Element(uint32_t depth) {
    std::string name = kNames[Pick(clean_ ? kCleanNames : std::size(kNames))];
    if (!clean_ && Pick(60) == 0) name = std::string(300, 'n');
    std::string out;
    if (!clean_ && Pick(8) == 0) out += Pick(2) == 0 ? "\n  " : " ";
    if (depth < 3 && Pick(6) == 0) {
      out += "<" + name + ">";
      const uint32_t count = 1 + Pick(3);
      for (uint32_t i = 0; i < count; ++i) out += Element(depth + 1);
      if (!clean_ && Pick(30) == 0) out += "text";
      return out + "</" + name + ">";
    }
    const TypedValues& typed = kTyped[Pick(clean_ ? kCleanTypes : std::size(kTyped))];
    std::string value = typed.values[Pick(clean_ ? 1 : static_cast<uint32_t>(typed.values.size()))];
    if (typed.dt != nullptr && (typed.dt[0] == 'r' || typed.dt[0] == 'i') && Pick(2) == 0) {
      // In range for the type in a clean folder.
      const std::string dt = typed.dt;
      const uint32_t most = !clean_ || dt[0] == 'r' ? 20
                            : dt == "i1"            ? 2
                            : dt == "i2"            ? 4
                            : dt == "i8"            ? 18
                                                    : 9;
      value = Number(dt[0] == 'r', most);
    }
    std::string attrs;
    if (typed.dt != nullptr) {
      const char q = Pick(4) == 0 ? '"' : '\'';
      attrs = std::string(!clean_ && Pick(10) == 0 ? "\t" : " ") + "dt=" + q + typed.dt + q;
    }
    switch (clean_ ? 5 : Pick(16)) {
      case 0:
        attrs += " xsi:nil='true'";
        break;
      case 1:
        attrs += " copy='forward,reply'";
        break;
      case 2:
        attrs += " support='0000000A'";
        break;
      case 3:
        attrs += " context='user'";
        break;
      case 4:
        attrs += " ";
        break;
      default:
        break;
    }
    if (Pick(10) == 0) return out + "<" + name + attrs + "/>";
    std::string end = "</" + name + ">";
    if (!clean_ && Pick(50) == 0) end = "</" + name + "x>";
    if (!clean_ && Pick(50) == 0) end = "</" + name + " >";
    return out + "<" + name + attrs + ">" + value + end;
  }

  // Digits around an optional point (when `point`), sometimes signed: the
  // shapes whose reading the pass does itself, and their edges.
  std::string Number(bool point, uint32_t most) {
    std::string n = Pick(3) == 0 ? "-" : "";
    const uint32_t digits = 1 + Pick(most);
    const uint32_t at = point && Pick(2) == 0 ? Pick(digits + 1) : digits + 1;
    for (uint32_t i = 0; i < digits; ++i) {
      if (i == at) n += '.';
      n += static_cast<char>('0' + Pick(10));
    }
    return n;
  }

  std::mt19937 rng_;
  bool clean_ = false;
};

enum class ListKind { kEmpty, kVerify, kFilled };

struct Outcome {
  KWLONG reason = -1;
  KWULONG offset = 0;
  KWULONG length = 0;
  std::string message;
  std::vector<std::string> names;
  std::vector<uint8_t> list;
  std::vector<uint8_t> md;
  KWULONG fields = 0;
};

void Drop(void*, const char*) {}

// Parses `message` as zstKWRFH2ToProperties and the back-level preparation
// do, with the general grammar alone when `general`.
Outcome Parse(const std::string& message, ListKind kind, bool withMd, KWULONG options,
              bool general) {
  if (kind == ListKind::kVerify) setenv("ZXV_VERIFY_PROPERTIES", "1", 1);
  xcsClearEnvCache();
  ZRFPAL pal{};
  if (kind == ListKind::kFilled) {
    std::string first = BuildRfh2(
        {"<usr><a>0</a><g1><x>1</x></g1><Dst>q</Dst></usr>", "<app><b>2</b></app>"}, kUtf8Name);
    EXPECT_EQ(test::RunParse(first, &pal).reason, KWRC_NONE);
  }
  const int level = xtrLevel;
  if (general) {
    xtrSetSink(&Drop, nullptr);
    xtrSetLevel(XTR_LEVEL_DETAIL);
  }
  KWMD md{};
  md.Version = KWMD_VERSION_2;
  md.Priority = -1;
  KWULONG fields = 0;
  Outcome out;
  const test::ParseRun run = test::RunParse(message, &pal, options, 546, withMd ? &md : nullptr,
                                            withMd ? &fields : nullptr);
  if (general) {
    xtrSetLevel(level);
    xtrSetSink(nullptr, nullptr);
  }
  unsetenv("ZXV_VERIFY_PROPERTIES");
  xcsClearEnvCache();
  out.reason = run.reason;
  out.offset = run.offset;
  out.length = run.length;
  out.message = run.message;
  out.names = test::PropNames(pal);
  out.list = InUse(pal);
  const auto* mdBytes = reinterpret_cast<const uint8_t*>(&md);
  out.md.assign(mdBytes, mdBytes + sizeof md);
  out.fields = fields;
  zrfFreePAL(&pal, 0, nullptr, nullptr);
  return out;
}

TEST(FolderFastPass, RandomHeadersParseAsTheGeneralGrammarParsesThem) {
  ASSERT_FALSE(xtr_active(XTR_LEVEL_FLOW)) << "the fused pass runs only while trace is off";
  Generator gen(20261121);
  std::mt19937 pick(7);
  constexpr int kMessages = 2500;
  for (int i = 0; i < kMessages; ++i) {
    std::vector<std::string> folders;
    const uint32_t count = 1 + pick() % 3;
    for (uint32_t k = 0; k < count; ++k) folders.push_back(gen.Folder());
    const std::string message = BuildRfh2(folders, kUtf8Name);
    const auto kind = static_cast<ListKind>(pick() % 3);
    const bool withMd = pick() % 2 == 0;
    const uint32_t o = pick() % 6;
    const KWULONG options = o == 0   ? ZRF_PARSE_BACK_LEVEL
                            : o == 1 ? ZRF_PARSE_FILL_HANDLE | ZRF_PARSE_STRIP_PARSED
                                     : ZRF_PARSE_FILL_HANDLE;
    testing::Message what;
    what << "message " << i << " list " << static_cast<int>(kind) << " md " << withMd << " options "
         << options;
    for (const std::string& f : folders) what << "\n  " << f;
    SCOPED_TRACE(what);
    const Outcome fused = Parse(message, kind, withMd, options, false);
    const Outcome general = Parse(message, kind, withMd, options, true);
    ASSERT_EQ(fused.reason, general.reason);
    ASSERT_EQ(fused.offset, general.offset);
    ASSERT_EQ(fused.length, general.length);
    ASSERT_EQ(fused.message, general.message);
    ASSERT_EQ(fused.names, general.names);
    ASSERT_EQ(fused.list, general.list);
    ASSERT_EQ(fused.md, general.md);
    ASSERT_EQ(fused.fields, general.fields);
  }
}

// The pass alone over one UTF-8 folder into a new list, which it leaves as
// the session would (rolled back unless the pass finished it cleanly); the
// names the list then holds go to `names` when given.
FastPass FastPassOver(const std::string& text, KWLONG* reason,
                      std::vector<std::string>* names = nullptr) {
  ZRFPAL pal{};
  ZRFFOLDERCTX ctx{};
  ctx.Options = ZRF_PARSE_FILL_HANDLE;
  FastPass result;
  {
    FolderSession session(&pal, &ctx);
    session.BeginFolder();
    session.SetFolderEncoding(1208, XCS_CCSID_TYPE_UTF8);
    uint32_t action = 0;
    result = ParseFolderFast(reinterpret_cast<const uint8_t*>(text.data()),
                             static_cast<uint32_t>(text.size()), &session, &action, reason);
    if (result != FastPass::kDone || *reason != KWRC_NONE) session.RollbackFolder();
  }
  if (names != nullptr) *names = test::PropNames(pal);
  zrfFreePAL(&pal, 0, nullptr, nullptr);
  return result;
}

// The generator's folders do reach the pass's own path often: a differential
// test that always gave up would prove nothing.
TEST(FolderFastPass, TakesTheCommonShapeItself) {
  Generator gen(99);
  int done = 0;
  constexpr int kRuns = 400;
  for (int i = 0; i < kRuns; ++i) {
    const std::string text = gen.Folder();
    KWLONG reason = -1;
    if (FastPassOver(text, &reason) == FastPass::kDone) ++done;
  }
  EXPECT_GT(done, kRuns / 4);

  // A header of the usual shape is the pass's alone.
  const std::string usual =
      "<usr><customerName0>Jane Doe &amp; Sons</customerName0><orderNumber1 "
      "dt='i8'>90</orderNumber1>"
      "<line7><sku>SKU-4711-7</sku><qty dt='i2'>3</qty></line7><note/><p dt=\"r8\">1.5</p></usr>";
  KWLONG reason = -1;
  std::vector<std::string> names;
  EXPECT_EQ(FastPassOver(usual, &reason, &names), FastPass::kDone);
  EXPECT_EQ(reason, KWRC_NONE);
  EXPECT_EQ(names, (std::vector<std::string>{"customerName0", "orderNumber1", "line7.sku",
                                             "line7.qty", "note", "p"}));
}

}  // namespace
}  // namespace zxv::props
