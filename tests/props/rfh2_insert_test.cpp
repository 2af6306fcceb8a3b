// zrfInsertKWRFH2: insertion behind each kind of header in front, the
// re-pointed chain read back by the walk, and the refusals.
#include <functional>

#include "props/rfh2_test_chain.h"
#include "zxvxcs2/xcs_erdp.h"

namespace zxv::test {
namespace {

// A built KWRFH2 in the machine's encoding and UTF-8.
std::vector<uint8_t> NewHeader() {
  return Chain().Rfh2({"<usr><colour>red</colour></usr>"}).Build().data;
}

struct Inserted {
  KWLONG reason;
  KWULONG offset = 0;
  KWULONG new_length = 0;
};

Inserted Insert(Message& m, const std::vector<uint8_t>& header, size_t spare = 1024,
                KWLONG header_encoding = 546, KWLONG header_ccsid = 1208) {
  const auto length = static_cast<KWULONG>(m.data.size());
  m.data.resize(m.data.size() + spare);
  Inserted r;
  KWLONG cc = -1;
  KWLONG rc = -1;
  r.reason =
      zrfInsertKWRFH2(m.data.data(), length, static_cast<KWULONG>(m.data.size()), m.format,
                      &m.encoding, &m.ccsid, header.data(), static_cast<KWULONG>(header.size()),
                      header_encoding, header_ccsid, &r.offset, &r.new_length, &cc, &rc);
  EXPECT_EQ(r.reason, rc);
  EXPECT_EQ(cc, rc == 0 ? KWCC_OK : KWCC_FAILED);
  m.data.resize(r.reason == KWRC_NONE ? r.new_length : length);
  return r;
}

TEST(Rfh2Insert, GoesBehindTheHeadersInFrontAndIsFoundThere) {
  struct Case {
    const char* name;
    std::function<void(Chain&)> front;
    uint32_t offset;
    const char* traces[3];
  };
  const Case cases[] = {
      {"nothing in front", [](Chain&) {}, 0, {}},
      {"KWXQH", [](Chain& c) { c.Xqh(); }, 428, {"Found KWXQH at offset 0"}},
      {"KWDLH", [](Chain& c) { c.Dlh(); }, 172, {"Found KWDLH at offset 0"}},
      {"KWMDE", [](Chain& c) { c.Mde(); }, 72, {"Found KWMDE at offset 0"}},
      {"KWRFH", [](Chain& c) { c.Rfh1("abcd"); }, 36, {"Found KWRFH at offset 0"}},
      {"all four",
       [](Chain& c) { c.Xqh().Dlh().Mde().Rfh1(""); },
       428 + 172 + 72 + 32,
       {"Found KWDLH at offset 428", "Found KWMDE at offset 600", "Found KWRFH at offset 672"}},
      {"a KWRFH2 already there", [](Chain& c) { c.Mde().Rfh2({"<mcd/>"}); }, 72, {}},
  };
  const std::vector<uint8_t> header = NewHeader();
  for (const bool big_endian : {false, true}) {
    for (const int32_t ccsid : {1208, 500}) {
      for (const Case& k : cases) {
        SCOPED_TRACE(std::string(k.name) + (big_endian ? ", big-endian " : ", ") +
                     std::to_string(ccsid));
        Chain c;
        if (big_endian) c.BigEndian();
        c.Ccsid(ccsid);
        k.front(c);
        Message m = c.Body("the body").Build();
        const Message before = m;

        TraceLines trace;
        const Inserted r = Insert(m, header);
        ASSERT_EQ(r.reason, KWRC_NONE);
        EXPECT_EQ(r.offset, k.offset);
        EXPECT_EQ(r.new_length, before.data.size() + header.size());
        for (const char* t : k.traces) {
          if (t != nullptr) {
            EXPECT_TRUE(trace.Contains(t)) << t;
          }
        }
        EXPECT_TRUE(
            trace.Contains("KWRFH2 to be inserted at CopyOffset " + std::to_string(k.offset)));
        EXPECT_TRUE(trace.Contains("Inserting KWRFH2..."));

        // Everything in front and behind is where it was.
        EXPECT_TRUE(std::equal(before.data.begin() + k.offset, before.data.end(),
                               m.data.begin() + k.offset + header.size()));

        // The walk now meets the inserted header first, in its own encoding
        // and CCSID, and behind it what used to follow the headers in front.
        ZRFLOC loc;
        ASSERT_EQ(m.Locate(&loc), KWRC_NONE);
        EXPECT_EQ(loc.Offset, k.offset);
        EXPECT_EQ(loc.Encoding, 546);
        EXPECT_EQ(loc.CodedCharSetId, 1208);
        EXPECT_EQ(loc.StrucLength, header.size());
        EXPECT_EQ(loc.NextEncoding, before.encoding);
        EXPECT_EQ(loc.NextCCSID, ccsid);
        ZRFLOC behind;
        const KWLONG next = zrfLocateKWRFH2(m.data.data(), static_cast<KWULONG>(m.data.size()),
                                            loc.NextFormat, loc.NextEncoding, loc.NextCCSID,
                                            loc.NextOffset, &behind, nullptr, nullptr, nullptr);
        if (std::string(k.name) == "a KWRFH2 already there") {
          EXPECT_EQ(next, KWRC_NONE);
          EXPECT_EQ(behind.Offset, k.offset + header.size());
        } else {
          EXPECT_EQ(next, KWRC_PROPERTY_NOT_AVAILABLE);
          EXPECT_EQ(std::string(behind.Format, 8), "KWSTR   ");
          EXPECT_EQ(behind.Offset, m.data.size() - 8);
        }
      }
    }
  }
}

TEST(Rfh2Insert, DescriptorIsRepointedWhenNothingIsInFront) {
  Message m = Chain().BigEndian().Ccsid(500).Body().Build();
  const std::vector<uint8_t> header = NewHeader();
  ASSERT_EQ(Insert(m, header).reason, KWRC_NONE);
  EXPECT_EQ(std::string(m.format, 8), "KWHRF2  ");
  EXPECT_EQ(m.encoding, 546);
  EXPECT_EQ(m.ccsid, 1208);
  // The header names what the descriptor named.
  const KWRFH2* h = reinterpret_cast<const KWRFH2*>(m.data.data());
  EXPECT_EQ(h->Encoding, 273);
  EXPECT_EQ(h->CodedCharSetId, 500);
  EXPECT_EQ(std::string(h->Format, 8), "KWSTR   ");
}

TEST(Rfh2Insert, HeaderInAnotherCcsidTakesTheFormatConverted) {
  // An EBCDIC header behind a UTF-8 extension: the extension names it in
  // UTF-8, the header names the body in EBCDIC.
  Message m = Chain().Mde().Body().Build();
  const std::vector<uint8_t> header = Chain().Ccsid(500).Rfh2({"<usr/>"}).Build().data;
  ASSERT_EQ(Insert(m, header, 1024, 546, 500).reason, KWRC_NONE);
  EXPECT_EQ(std::vector<uint8_t>(m.data.begin() + 72 + 20, m.data.begin() + 72 + 28),
            Encode("KWSTR   ", 500));
  ZRFLOC loc;
  ASSERT_EQ(m.Locate(&loc), KWRC_NONE);
  EXPECT_EQ(loc.CodedCharSetId, 500);
  EXPECT_EQ(std::string(loc.NextFormat, 8), "KWSTR   ");
}

TEST(Rfh2Insert, RefusesDataEndingInsideAHeaderInFront) {
  struct Case {
    const char* name;
    Message m;
    const char* trace;
  };
  const Case cases[] = {
      {"KWXQH", Cut(Chain().Xqh().Build(), 400), "Data ends in an incomplete KWXQH header"},
      {"KWDLH", Cut(Chain().Mde().Dlh().Build(), 72 + 171),
       "Data ends in an incomplete KWDLH header"},
      {"KWMDE", Cut(Chain().Mde().Build(), 71), "Data ends in an incomplete KWMDE header"},
      {"KWRFH", Cut(Chain().Rfh1("").Build(), 31), "Data ends in an incomplete KWRFH header"},
      {"KWRFH StrucLength past the data", WithInt(Chain().Rfh1("abcd").Build(), 8, 40),
       "Data contains truncated KWRFH structure"},
      {"KWRFH StrucLength below 32", WithInt(Chain().BigEndian().Rfh1("abcd").Body().Build(), 8, 4),
       "Data contains truncated KWRFH structure"},
  };
  const std::vector<uint8_t> header = NewHeader();
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    Message m = c.m;
    const Message before = m;
    TraceLines trace;
    EXPECT_EQ(Insert(m, header).reason, KWRC_HEADER_INCOMPLETE);
    EXPECT_TRUE(trace.Contains(c.trace)) << c.trace;
    EXPECT_EQ(m.data, before.data);
    EXPECT_EQ(std::string(m.format, 8), std::string(before.format, 8));
  }
}

TEST(Rfh2Insert, RefusesAHeaderThatIsNotAWholeKwrfh2) {
  struct Case {
    const char* name;
    std::function<void(std::vector<uint8_t>&)> damage;
    KWLONG reason;
  };
  const Case cases[] = {
      {"too short", [](std::vector<uint8_t>& h) { h.resize(35); }, KWRC_HEADER_ERROR},
      {"StrucId", [](std::vector<uint8_t>& h) { h[0] = 'X'; }, KWRC_HEADER_ERROR},
      {"StrucLength differs", [](std::vector<uint8_t>& h) { h.push_back(' '); }, KWRC_HEADER_ERROR},
      {"version 1", [](std::vector<uint8_t>& h) { h[4] = 1; }, KWRC_RFH_ERROR},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    std::vector<uint8_t> header = NewHeader();
    c.damage(header);
    Message m = Chain().Body().Build();
    const Message before = m;
    EXPECT_EQ(Insert(m, header).reason, c.reason);
    EXPECT_EQ(m.data, before.data);
    EXPECT_EQ(std::string(m.format, 8), "KWSTR   ");
  }
}

TEST(Rfh2Insert, TooSmallABufferAndMisuseAreRefused) {
  const std::vector<uint8_t> header = NewHeader();
  Message small = Chain().Xqh().Body().Build();
  const Message before = small;
  const Inserted r = Insert(small, header, header.size() - 1);
  EXPECT_EQ(r.reason, KWRC_HEADERS_TOO_BIG);
  EXPECT_EQ(r.new_length, before.data.size() + header.size()) << "the length it must be";
  EXPECT_EQ(small.data, before.data);

  Message m = Chain().Body().Build();
  KWLONG cc;
  KWLONG rc;
  const uint32_t records = xcsFailureRecordCount();
  EXPECT_EQ(
      zrfInsertKWRFH2(m.data.data(), 4, 4, m.format, &m.encoding, nullptr, header.data(),
                      static_cast<KWULONG>(header.size()), 546, 1208, nullptr, nullptr, &cc, &rc),
      KWRC_UNEXPECTED_ERROR);
  EXPECT_EQ(xcsFailureRecordCount(), records + 1);
  EXPECT_EQ(
      zrfInsertKWRFH2(m.data.data(), 4, 3, m.format, &m.encoding, &m.ccsid, header.data(),
                      static_cast<KWULONG>(header.size()), 546, 1208, nullptr, nullptr, &cc, &rc),
      KWRC_BUFFER_LENGTH_ERROR);
}

}  // namespace
}  // namespace zxv::test
