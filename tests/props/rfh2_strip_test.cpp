// zrfStripFolders: removal by name in every encoding family and byte order,
// and malformed folders refused before anything moves.
#include "props/rfh2_test_chain.h"
#include "zxvxcs2/xcs_erdp.h"

namespace zxv::test {
namespace {

const std::vector<std::string> kFolders = {"<mcd><Msd>jms_text</Msd></mcd>",
                                           "<jms><Dlv>2</Dlv></jms>", "<kwps><Top>a/b</Top></kwps>",
                                           "<usr><colour>blue</colour></usr>", "  <usr.x/>"};

struct Stripped {
  KWLONG reason;
  KWULONG new_length;
};

Stripped Strip(Message& m, uint32_t offset, std::vector<const char*> names) {
  Stripped s{};
  KWLONG cc = -1;
  KWLONG rc = -1;
  s.reason =
      zrfStripFolders(m.data.data(), static_cast<KWULONG>(m.data.size()), offset, m.encoding,
                      names.data(), static_cast<KWULONG>(names.size()), &s.new_length, &cc, &rc);
  EXPECT_EQ(s.reason, rc);
  EXPECT_EQ(cc, rc == 0 ? KWCC_OK : KWCC_FAILED);
  if (s.reason == KWRC_NONE) m.data.resize(s.new_length);
  return s;
}

// The folders left in the header at `offset`, as sizes of their data.
std::vector<int32_t> FolderLengths(const Message& m, uint32_t offset) {
  std::vector<int32_t> lengths;
  const auto end = offset + static_cast<uint32_t>(m.IntAt(offset + 8));
  for (uint32_t at = offset + 36; at < end;) {
    lengths.push_back(m.IntAt(at));
    at += 4 + static_cast<uint32_t>(lengths.back());
  }
  return lengths;
}

struct Family {
  const char* name;
  bool big_endian;
  int32_t nv_ccsid;
};
constexpr Family kFamilies[] = {
    {"UTF-8", false, 1208},        {"ASCII", false, 819},     {"EBCDIC", true, 500},
    {"UCS-2 little", false, 1200}, {"UCS-2 big", true, 1200},
};

TEST(Rfh2Strip, RemovesTheNamedFoldersInEveryFamily) {
  for (const Family& f : kFamilies) {
    SCOPED_TRACE(f.name);
    Chain c;
    if (f.big_endian) c.BigEndian();
    Message m = c.Xqh().Rfh2(kFolders, f.nv_ccsid).Body("the body").Build();
    const std::vector<int32_t> all = FolderLengths(m, 428);
    ASSERT_EQ(all.size(), 5u);
    const int32_t struc_length = m.IntAt(428 + 8);

    TraceLines trace;
    const Stripped s = Strip(m, 428, {"kwps", "mcd", "usr.x", "absent"});
    ASSERT_EQ(s.reason, KWRC_NONE);
    const int32_t removed = 12 + all[0] + all[2] + all[4];
    EXPECT_EQ(m.IntAt(428 + 8), struc_length - removed);
    EXPECT_EQ(FolderLengths(m, 428), (std::vector<int32_t>{all[1], all[3]}));
    EXPECT_TRUE(trace.Contains("Removing folder at offset 36"));

    // The rest of the message moved down with it and the walk still works.
    EXPECT_EQ(std::string(m.data.end() - 8, m.data.end()), "the body");
    ZRFLOC loc;
    ASSERT_EQ(m.Locate(&loc), KWRC_NONE);
    EXPECT_EQ(loc.NextOffset, m.data.size() - 8);
  }
}

TEST(Rfh2Strip, NamesMatchWholeAndExactly) {
  Message m = Chain().Rfh2(kFolders).Build();
  const Message before = m;
  // "usr" is not "usr.x", "MCD" not "mcd", a prefix not the name.
  ASSERT_EQ(Strip(m, 0, {"MCD", "kw", "usr.", "jms.Dlv"}).reason, KWRC_NONE);
  EXPECT_EQ(m.data, before.data);
  ASSERT_EQ(Strip(m, 0, {"usr"}).reason, KWRC_NONE);
  EXPECT_EQ(FolderLengths(m, 0).size(), 4u);
  // No names leave the header alone; all of them leave the fixed part.
  ASSERT_EQ(Strip(m, 0, {}).reason, KWRC_NONE);
  EXPECT_EQ(FolderLengths(m, 0).size(), 4u);
  ASSERT_EQ(Strip(m, 0, {"mcd", "jms", "kwps", "usr.x"}).reason, KWRC_NONE);
  EXPECT_EQ(m.IntAt(8), 36);
  EXPECT_EQ(m.data.size(), 36u);
}

TEST(Rfh2Strip, MalformedFoldersAreRefusedBeforeAnythingMoves) {
  struct Case {
    const char* name;
    std::vector<std::string> folders;
    std::function<void(Message&)> damage;
    const char* trace;
  };
  const auto none = [](Message&) {};
  const Case cases[] = {
      {"length past the header",
       {"<a/>", "<bb/>"},
       [](Message& m) { m.PutInt(36 + 8, 1000); },
       "FolderLength is invalid for remaining data. FL: 1000, RL: 8"},
      {"no room for a length",
       {"<a/>"},
       [](Message& m) {
         m.PutInt(8, 36 + 8 + 2);
         m.data.insert(m.data.begin() + 44, {' ', ' '});
       },
       "FolderLength is invalid for remaining data. FL: 0, RL: -2"},
      {"only blanks", {"<a/>", "        "}, none, "Folder contains no data"},
      {"empty", {"<a/>", ""}, none, "Folder contains no data"},
      {"line feeds only", {"\n\n\n\n"}, none, "End of folder reached before tag start"},
      {"text before the tag", {"x<a/>"}, none, "Invalid character 0x120 reached before tag start"},
      {"nothing after <", {"   <"}, none, "End of folder reached before folder name"},
      {"control after <",
       {"<\x01"
        "ab>"},
       none,
       "Invalid control character 0x1 reached before folder name"},
      {"control in the name",
       {"<ab\x02>"},
       none,
       "Invalid control character 0x2 reached before folder name end"},
      {"name runs to the end", {"<abcdefg"}, none, "End of folder reached before folder name end"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    Message m = Chain().Rfh2(c.folders).Body().Build();
    c.damage(m);
    const Message before = m;
    TraceLines trace;
    EXPECT_EQ(Strip(m, 0, {"a"}).reason, KWRC_RFH_FORMAT_ERROR);
    EXPECT_TRUE(trace.Contains(c.trace)) << c.trace;
    EXPECT_EQ(m.data, before.data);
  }
}

TEST(Rfh2Strip, RefusesABadFixedPartAndMissingPointers) {
  Message m = Chain().Rfh2(kFolders).Build();
  m.PutInt(8, 20);
  EXPECT_EQ(Strip(m, 0, {"usr"}).reason, KWRC_RFH2_STRUC_LENGTH_SHORT);
  m.PutInt(8, static_cast<int32_t>(m.data.size()) + 4);
  EXPECT_EQ(Strip(m, 0, {"usr"}).reason, KWRC_HEADER_ERROR);
  EXPECT_EQ(Strip(m, static_cast<uint32_t>(m.data.size()) - 10, {"usr"}).reason, KWRC_HEADER_ERROR);

  Message unknown = Chain().Rfh2(kFolders).Build();
  unknown.PutInt(32, 99999);
  TraceLines trace;
  EXPECT_EQ(Strip(unknown, 0, {"usr"}).reason, KWRC_SOURCE_CCSID_ERROR);
  EXPECT_TRUE(trace.Contains("Invalid NameValueCCSID: 99999"));

  // Missing pointers are an unexpected error on record.
  KWLONG cc;
  KWLONG rc;
  const uint32_t records = xcsFailureRecordCount();
  EXPECT_EQ(zrfStripFolders(nullptr, 40, 0, 546, nullptr, 0, nullptr, &cc, &rc),
            KWRC_UNEXPECTED_ERROR);
  EXPECT_EQ(zrfStripFolders(m.data.data(), 40, 0, 546, nullptr, 2, nullptr, &cc, &rc),
            KWRC_UNEXPECTED_ERROR);
  EXPECT_EQ(xcsFailureRecordCount(), records + 2);
}

}  // namespace
}  // namespace zxv::test
