// The folder iterator and the folder-name scanner of every family.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "props/folder_iter.h"
#include "props/name_encoding.h"
#include "props/rfh2_chain.h"

namespace zxv::props {
namespace {

using Bytes = std::vector<uint8_t>;
using test::NameEncoding;

TEST(FolderName, ScannedInEveryFamily) {
  struct Case {
    const char* folder;
    uint32_t start;  // in characters
    const char* name;
  };
  const Case cases[] = {
      {"<jms><Dlv>2</Dlv></jms>", 1, "jms"},
      {"  <usr.x/>", 3, "usr.x"},
      {"\t\r\n <mcd attr='1'>", 5, "mcd"},
      {"<>", 1, ""},
  };
  for (const NameEncoding& f : test::kAllNameEncodings) {
    const uint32_t unit = f.unit;
    const auto type = static_cast<uint32_t>(f.ccsidType);
    for (const Case& c : cases) {
      SCOPED_TRACE(std::string(f.label) + ": " + c.folder);
      const Bytes text = test::EncodeBytes(f, c.folder);
      FolderName name{99, 99};
      ASSERT_EQ(ScanFolderName(type, text.data(), static_cast<uint32_t>(text.size()), &name, 0),
                KWRC_NONE);
      EXPECT_EQ(name.start, c.start * unit);
      EXPECT_EQ(Bytes(text.begin() + name.start, text.begin() + name.start + name.length),
                test::EncodeBytes(f, c.name));
    }
    // A blank of another family is not a blank here.
    const uint8_t other_blank = type == XCS_CCSID_TYPE_EBCDIC ? 0x20 : 0x40;
    Bytes text = test::EncodeBytes(f, "<a>");
    text.insert(text.begin(), unit, other_blank);
    FolderName name;
    EXPECT_EQ(ScanFolderName(type, text.data(), static_cast<uint32_t>(text.size()), &name, 0),
              KWRC_RFH_FORMAT_ERROR);
  }
  FolderName name;
  EXPECT_EQ(ScanFolderName(0, reinterpret_cast<const uint8_t*>("<a>"), 3, &name, 0),
            KWRC_RFH_FORMAT_ERROR);
}

TEST(FolderIterator, NeverHandsOutAFolderPastTheHeader) {
  // 36-byte fixed part, then folders of 4 and 8 bytes, big-endian lengths.
  Bytes header(36 + 4 + 4 + 4 + 8, ' ');
  StoreInt(header.data() + 36, 4, true);
  StoreInt(header.data() + 44, 8, true);
  FolderIterator it(header.data(), static_cast<uint32_t>(header.size()), true);
  Folder f;
  ASSERT_EQ(it.Next(&f), FolderIterator::Step::kFolder);
  EXPECT_EQ(f.offset, 36u);
  EXPECT_EQ(f.length, 4u);
  ASSERT_EQ(it.Next(&f), FolderIterator::Step::kFolder);
  EXPECT_EQ(f.offset, 44u);
  EXPECT_EQ(f.text, header.data() + 48);
  EXPECT_EQ(it.Next(&f), FolderIterator::Step::kEnd);

  // A length of 0xFFFFFFFC must not wrap around the remaining count.
  StoreInt(header.data() + 44, -4, true);
  FolderIterator bad(header.data(), static_cast<uint32_t>(header.size()), true);
  ASSERT_EQ(bad.Next(&f), FolderIterator::Step::kFolder);
  EXPECT_EQ(bad.Next(&f), FolderIterator::Step::kMalformed);
  EXPECT_EQ(bad.bad_length(), 0xFFFFFFFCu);
  EXPECT_EQ(bad.bad_remaining(), 8);
  EXPECT_EQ(bad.Next(&f), FolderIterator::Step::kMalformed);
}

}  // namespace
}  // namespace zxv::props
