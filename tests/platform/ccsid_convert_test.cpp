// CCSID conversion: the ICU-backed paths, byte orders, and every failure code.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "zxvxcs2/xcs_ccsid.h"
#include "zxvxcs2/xcs_memory.h"

namespace {

constexpr int32_t kBig = 273;     // two-byte sets most significant byte first
constexpr int32_t kLittle = 546;  // least significant byte first

using Bytes = std::vector<uint8_t>;

struct Converted {
  xcsRC rc;
  Bytes out;
};

Converted Convert(int32_t from, int32_t from_enc, const Bytes& in, int32_t to, int32_t to_enc,
                  size_t capacity = 256) {
  Bytes out(capacity + 1, 0xEE);
  uint32_t used = 0xFFFFFFFF;
  const xcsRC rc = xcsConvertString(from, from_enc, in.data(), static_cast<uint32_t>(in.size()), to,
                                    to_enc, out.data(), static_cast<uint32_t>(capacity), &used);
  EXPECT_LE(used, capacity);
  EXPECT_EQ(out[capacity], 0xEE) << "wrote past the buffer";
  out.resize(used <= capacity ? used : 0);
  return {rc, out};
}

Bytes B(const std::string& s) { return Bytes(s.begin(), s.end()); }

// Bytes written as hex pairs, blanks between them ignored: X("c8 85").
Bytes X(const char* hex) {
  Bytes v;
  for (const char* p = hex; *p != '\0'; ++p) {
    if (*p == ' ') continue;
    v.push_back(static_cast<uint8_t>(std::stoi(std::string(p, 2), nullptr, 16)));
    ++p;
  }
  return v;
}

struct Case {
  const char* what;
  int32_t from;
  int32_t from_enc;
  Bytes in;
  int32_t to;
  int32_t to_enc;
  Bytes expected;
};

// clang-format off
TEST(ConvertTest, Pairs) {
  const Case cases[] = {
      {"EBCDIC 37 to UTF-8", 37, kLittle, X("c8 85 93 93 96 5a"), 1208, kLittle, B("Hello!")},
      {"UTF-8 to EBCDIC 37", 1208, kLittle, B("Hello!"), 37, kLittle, X("c8 85 93 93 96 5a")},
      {"EBCDIC 500 differs from 37 at '!'", 1208, kLittle, B("!"), 500, kLittle, X("4f")},
      {"ISO-8859-1 to UTF-8", 819, kLittle, X("63 e9"), 1208, kLittle, X("63 c3a9")},
      {"UTF-8 to UTF-16 big-endian", 1208, kLittle, X("41 c3a9"), 1200, kBig, X("0041 00e9")},
      {"UTF-8 to UTF-16 little-endian", 1208, kLittle, X("41 c3a9"), 1200, kLittle, X("4100 e900")},
      {"UTF-16 big-endian to UTF-8", 13488, kBig, X("0041 20ac"), 1208, kLittle, X("41 e282ac")},
      {"a BOM overrides the encoding and is dropped", 1200, kLittle, X("feff 0041"), 1208, kLittle, B("A")},
      {"a little-endian BOM", 17584, kBig, X("fffe 4100"), 1208, kLittle, B("A")},
      {"UTF-16 byte swap", 1200, kBig, X("0041 d83d de00"), 1200, kLittle, X("4100 3dd8 00de")},
      {"same order copies without the BOM", 1200, kBig, X("fffe 4100"), 1202, kLittle, X("4100")},
      {"equal CCSIDs copy even bytes invalid in the set", 1208, kLittle, X("ffc3"), 1208, kLittle, X("ffc3")},
      {"Mac Roman by its own name", 1275, kLittle, X("8e"), 1208, kLittle, X("c3a9")},
      {"Mac Cyrillic", 1283, kLittle, X("80"), 1208, kLittle, X("d090")},
      {"Japanese mixed EBCDIC with shifts", 1208, kLittle, X("41 e38182"), 930, kLittle, X("c1 0e 4481 0f")},
      {"empty input", 37, kLittle, {}, 1208, kLittle, {}},
  };
  for (const Case& c : cases) {
    const Converted r = Convert(c.from, c.from_enc, c.in, c.to, c.to_enc);
    EXPECT_EQ(r.rc, xcsRC_OK) << c.what;
    EXPECT_EQ(r.out, c.expected) << c.what;
  }
}

TEST(ConvertTest, BufferTooSmallKeepsWholeCharacters) {
  struct {
    const char* what;
    int32_t from;
    Bytes in;
    int32_t to;
    int32_t to_enc;
    size_t capacity;
    Bytes fitted;
  } cases[] = {
      {"single byte target", 1208, B("abc"), 819, kLittle, 2, B("ab")},
      {"two-byte UTF-8 char not split", 819, X("61 e9"), 1208, kLittle, 2, B("a")},
      {"UTF-16 unit not split", 37, X("c1 c2"), 1200, kBig, 3, X("0041")},
      {"surrogate pair not split", 1208, X("61 f09f9880"), 1200, kLittle, 5, X("6100")},
      {"DBCS pair and its shift not split", 1208, X("41 e38182"), 930, kLittle, 3, X("c1")},
      {"copy of UTF-8 stops on a boundary", 1208, X("61 c3a9"), 1208, kLittle, 2, B("a")},
      {"copy of UTF-16 keeps whole units", 1200, X("4100 4200"), 1200, kLittle, 3, X("4100")},
      {"nothing fits", 37, X("c1"), 1208, kLittle, 0, {}},
  };
  for (const auto& c : cases) {
    const Converted r = Convert(c.from, kLittle, c.in, c.to, c.to_enc, c.capacity);
    EXPECT_EQ(r.rc, xcsRC_CONV_BUFFER_TOO_SMALL) << c.what;
    EXPECT_EQ(r.out, c.fitted) << c.what;
  }
}

TEST(ConvertTest, BadSourcesAndTargets) {
  struct {
    const char* what;
    int32_t from;
    int32_t from_enc;
    Bytes in;
    int32_t to;
    xcsRC rc;
  } cases[] = {
      {"invalid UTF-8", 1208, kLittle, X("61 c3 28"), 37, xcsRC_CONV_INVALID_SOURCE},
      {"overlong UTF-8", 1208, kLittle, X("c080"), 819, xcsRC_CONV_INVALID_SOURCE},
      {"UTF-8 ends inside a character", 1208, kLittle, X("61 e282"), 37, xcsRC_CONV_TRUNCATED_SOURCE},
      {"odd-length UTF-16", 1200, kBig, X("0041 00"), 1208, xcsRC_CONV_TRUNCATED_SOURCE},
      {"unpaired surrogate", 1200, kBig, X("dc00 0041"), 1208, xcsRC_CONV_INVALID_SOURCE},
      {"euro sign has no Latin-1 byte", 1208, kLittle, X("e282ac"), 819, xcsRC_CONV_UNMAPPABLE},
      {"unsupported source 425", 425, kLittle, B("a"), 1208, xcsRC_CONV_NOT_SUPPORTED},
      {"unsupported target 425", 1208, kLittle, B("a"), 425, xcsRC_CONV_NOT_SUPPORTED},
      {"unsupported 9061 even when empty", 9061, kLittle, {}, 1208, xcsRC_CONV_NOT_SUPPORTED},
      {"nonsense CCSID", 4711, kLittle, B("a"), 1208, xcsRC_CONV_NOT_SUPPORTED},
      {"negative CCSID", -37, kLittle, B("a"), 1208, xcsRC_CONV_NOT_SUPPORTED},
      {"CCSID beyond 16 bits", 1208, kLittle, B("a"), 65536 + 37, xcsRC_CONV_NOT_SUPPORTED},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(Convert(c.from, c.from_enc, c.in, c.to, kLittle).rc, c.rc) << c.what;
  }
}
// clang-format on

TEST(ConvertTest, UnmappableReportsWhatWasConvertedBefore) {
  const Converted r = Convert(1208, kLittle, X("6162 e282ac 63"), 819, kLittle);
  EXPECT_EQ(r.rc, xcsRC_CONV_UNMAPPABLE);
  EXPECT_EQ(r.out, B("ab"));
}

TEST(ConvertTest, NullArguments) {
  uint8_t out[4];
  uint32_t used = 0;
  EXPECT_EQ(xcsConvertString(37, kLittle, "a", 1, 1208, kLittle, out, 4, nullptr),
            xcsRC_INVALID_PARAMETER);
  EXPECT_EQ(xcsConvertString(37, kLittle, nullptr, 1, 1208, kLittle, out, 4, &used),
            xcsRC_INVALID_PARAMETER);
  EXPECT_EQ(xcsConvertString(37, kLittle, "a", 1, 1208, kLittle, nullptr, 4, &used),
            xcsRC_INVALID_PARAMETER);
  EXPECT_EQ(xcsConvertString(37, kLittle, nullptr, 0, 1208, kLittle, nullptr, 0, &used), xcsRC_OK);
  EXPECT_EQ(used, 0u);
}

TEST(ConvertTest, LongTextRoundTripsThroughEbcdic) {
  std::string text;
  for (int i = 0; i < 3000; ++i) text += static_cast<char>('a' + i % 26);
  const Converted there = Convert(1208, kLittle, B(text), 1047, kLittle, text.size());
  ASSERT_EQ(there.rc, xcsRC_OK);
  const Converted back = Convert(1047, kLittle, there.out, 1208, kLittle, text.size());
  ASSERT_EQ(back.rc, xcsRC_OK);
  EXPECT_EQ(back.out, B(text));
}

TEST(ConvertTest, StorageFailureForLongTextIsPassedUp) {
  const Bytes long_text(4000, 'x');
  const int64_t outstanding = xcsOutstandingBlocks();
  xcsInjectAllocFailure(1, xcsRC_STORAGE_NOT_AVAILABLE_2, 0);
  EXPECT_EQ(Convert(1208, kLittle, long_text, 37, kLittle, 4000).rc, xcsRC_STORAGE_NOT_AVAILABLE_2);
  // The whole-character fit needs scratch storage of its own.
  for (uint32_t nth : {2u, 3u}) {
    xcsInjectAllocFailure(nth, xcsRC_RESOURCE_PROBLEM, 0);
    EXPECT_EQ(Convert(1208, kLittle, long_text, 37, kLittle, 100).rc, xcsRC_RESOURCE_PROBLEM);
  }
  xcsInjectAllocFailure(0, 0, 0);
  EXPECT_EQ(xcsOutstandingBlocks(), outstanding);
}

TEST(ConvertTest, SupportedCcsids) {
  for (int32_t ccsid : {37, 500, 819, 850, 1047, 1208, 1200, 13488, 1252, 1275, 1282, 930}) {
    EXPECT_TRUE(xcsIsCCSIDSupported(ccsid)) << ccsid;
  }
  for (int32_t ccsid : {425, 806, 924, 1043, 9061, 0, -1, 4711, 70000}) {
    EXPECT_FALSE(xcsIsCCSIDSupported(ccsid)) << ccsid;
  }
}

}  // namespace
