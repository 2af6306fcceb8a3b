// `zxvu props encode` and `zxvu props decode`, run as child processes:
// decode(encode(x)) gives x back in every folder encoding and descriptor
// version, floats read back exactly, refused inputs end in "reason <code>"
// and malformed ones are usage errors.
#include <algorithm>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "gtest/gtest.h"
#include "zxvu_runner.h"

namespace {

using nlohmann::json;
using zxv::test::ZxvuRun;

ZxvuRun Zxvu(std::vector<std::string> args) { return zxv::test::RunZxvu(std::move(args)); }

class PropsCmdTest : public zxv::test::ZxvuFileTest {
 protected:
  // encode x with `encode_args`, then decode the result with `decode_args`.
  json RoundTrip(const json& x, std::vector<std::string> encode_args,
                 std::vector<std::string> decode_args, const std::string& body = "") {
    std::vector<std::string> e = {"props", "encode"};
    e.insert(e.end(), encode_args.begin(), encode_args.end());
    e.push_back(File(x.dump()));
    if (!body.empty()) e.push_back(File(body));
    const ZxvuRun encoded = Zxvu(e);
    EXPECT_EQ(encoded.status, 0) << encoded.err;
    encoded_ = encoded.out;
    std::vector<std::string> d = {"props", "decode"};
    d.insert(d.end(), decode_args.begin(), decode_args.end());
    d.push_back(File(encoded.out));
    const ZxvuRun decoded = Zxvu(d);
    EXPECT_EQ(decoded.status, 0) << decoded.err;
    const json out = json::parse(decoded.out, nullptr, false);
    EXPECT_FALSE(out.is_discarded()) << decoded.out;
    return out;
  }
  static json WithoutOffset(json j) {
    j.erase("body_offset");
    return j;
  }

  std::string encoded_;
};

const json kEveryType = json::parse(R"({
  "properties": [
    {"name": "jms.Dst", "type": "string", "value": "queue:///Q1"},
    {"name": "mcd.Msd", "type": "string", "value": "jms_text"},
    {"name": "color", "type": "string", "value": "a < b & c > 'd' \"e\" caf\u00e9"},
    {"name": "flag", "type": "boolean", "value": true},
    {"name": "blob", "type": "bytes", "value": "00ff10ab"},
    {"name": "small", "type": "int8", "value": -128},
    {"name": "half", "type": "int16", "value": 32767},
    {"name": "whole", "type": "int32", "value": -2147483648},
    {"name": "big", "type": "int64", "value": 9223372036854775807},
    {"name": "tenth", "type": "float32", "value": 0.1},
    {"name": "third", "type": "float64", "value": 0.3333333333333333},
    {"name": "tiny", "type": "float32", "value": 1e-45},
    {"name": "nan", "type": "float64", "value": "NaN"},
    {"name": "inf", "type": "float32", "value": "-INF"},
    {"name": "nothing", "type": "null", "value": null},
    {"name": "order.line.qty", "type": "int32", "value": 3},
    {"name": "mine", "type": "string", "value": "x", "context": "user"},
    {"name": "needed", "type": "int32", "value": 1, "support": 1048576},
    {"name": "everywhere", "type": "int16", "value": 2, "copy": 1}
  ]
})");

// Properties in name order: decode lists them in the order the header
// gives, which groups them by folder.
json Sorted(json j) {
  std::sort(j["properties"].begin(), j["properties"].end(),
            [](const json& a, const json& b) { return a["name"] < b["name"]; });
  return j;
}

// The folder encodings themselves are the library's; the tool must pass
// --nv-ccsid on and find the body behind the header.
TEST_F(PropsCmdTest, DecodeOfEncodeGivesBackEveryType) {
  for (const char* ccsid : {"1208", "500", "1200"}) {
    SCOPED_TRACE(ccsid);
    const json out = RoundTrip(kEveryType, {"--nv-ccsid", ccsid}, {}, "the body");
    EXPECT_EQ(Sorted(WithoutOffset(out)), Sorted(kEveryType));
    EXPECT_EQ(out["body_offset"].get<size_t>(), encoded_.size() - 8);
    EXPECT_EQ(encoded_.substr(0, 4), "RFH ");
    EXPECT_EQ(encoded_.substr(encoded_.size() - 8), "the body");
  }
}

TEST_F(PropsCmdTest, FloatsArePrintedShortAndExact) {
  const json x = json::parse(R"({"properties": [
      {"name": "a", "type": "float32", "value": 0.1},
      {"name": "b", "type": "float64", "value": 0.1},
      {"name": "c", "type": "float32", "value": 16777217}]})");
  RoundTrip(x, {}, {});
  const ZxvuRun r = Zxvu({"props", "decode", File(encoded_)});
  EXPECT_NE(r.out.find(R"("name":"a","type":"float32","value":0.1})"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find(R"("name":"b","type":"float64","value":0.1})"), std::string::npos);
  EXPECT_NE(r.out.find(R"("name":"c","type":"float32","value":16777216})"), std::string::npos)
      << "the float32 nearest 16777217";
}

// A version 2 descriptor carries its fields in front of the header; on
// version 1 the group fields go into an extension between the two.
TEST_F(PropsCmdTest, DescriptorInFrontOfTheHeader) {
  struct Case {
    const char* version;
    const char* descriptor;
    const char* format;  // the descriptor's
    size_t header_at;
  } const cases[] = {
      {"2",
       R"({"Format": "MYFMT", "Priority": 4, "MsgSeqNumber": 3, "ReplyToQ": "REPLY.Q",
           "CorrelId": "0102030405060708090a0b0c0d0e0f101112131415161718"})",
       "KWHRF2  ", 364},
      {"1", R"({"MsgSeqNumber": 2, "Priority": 1})", "KWHMDE  ", 324 + 72},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.version);
    json x = kEveryType;
    x["descriptor"] = json::parse(c.descriptor);
    const json out = RoundTrip(x, {"--md-version", c.version}, {"--md"}, "body");
    EXPECT_EQ(Sorted(WithoutOffset(out)), Sorted(x));
    EXPECT_EQ(out["body_offset"].get<size_t>(), encoded_.size() - 4);
    EXPECT_EQ(encoded_[4], c.version[0] - '0');
    EXPECT_EQ(encoded_.substr(32, 8), c.format);
    EXPECT_EQ(encoded_.substr(c.header_at, 4), "RFH ");
  }
}

TEST_F(PropsCmdTest, NoPropertiesNoHeader) {
  const json out = RoundTrip(json::parse(R"({"properties": []})"), {}, {}, "just body");
  EXPECT_EQ(encoded_, "just body");
  EXPECT_EQ(out["properties"], json::array());
  EXPECT_EQ(out["body_offset"], 0);
}

TEST_F(PropsCmdTest, DecodeReadsHeadersInFrontOfOtherHeadersAndOptions) {
  // A big-endian UCS-2 header, told through the options.
  const json x = json::parse(R"({"properties": [{"name": "n", "type": "int32", "value": 5}],
      "descriptor": {"Encoding": 273}})");
  RoundTrip(x, {"--md-version", "2", "--nv-ccsid", "1200"}, {"--md"});
  const std::string data = encoded_.substr(364);
  const ZxvuRun r = Zxvu({"props", "decode", "--encoding", "273", "--ccsid", "1208", "--format",
                          "KWHRF2", File(data)});
  ASSERT_EQ(r.status, 0) << r.err;
  const json out = json::parse(r.out);
  EXPECT_EQ(out["properties"], x["properties"]);
  EXPECT_EQ(out["descriptor"], x["descriptor"]);
}

TEST_F(PropsCmdTest, RefusedInputsEndWithTheReason) {
  const ZxvuRun name = Zxvu(
      {"props", "encode", File(R"({"properties":[{"name":"AND","type":"int32","value":1}]})")});
  EXPECT_EQ(name.status, 1);
  EXPECT_TRUE(name.err_starts("reason 2442")) << name.err;

  std::string header =
      Zxvu({"props", "encode", File(R"({"properties":[{"name":"a","type":"int32","value":1}]})")})
          .out;
  header[0] = 'X';  // StrucId
  const ZxvuRun bad = Zxvu({"props", "decode", File(header)});
  EXPECT_EQ(bad.status, 1);
  EXPECT_TRUE(bad.err_starts("reason 2142")) << bad.err;

  header[0] = 'R';
  header[40] = '?';  // inside the folder's start tag: "<usr>" becomes "<us?>" ... then mismatched
  header[header.find("</usr>") + 2] = 'x';
  const ZxvuRun folder = Zxvu({"props", "decode", File(header)});
  EXPECT_EQ(folder.status, 1);
  EXPECT_TRUE(folder.err_starts("reason 2421")) << folder.err;
}

TEST_F(PropsCmdTest, MalformedInputsAreUsageErrors) {
  const char* cases[] = {
      "not json",
      R"([1, 2])",
      R"({"properties": [{"name": "a", "type": "int33", "value": 1}]})",
      R"({"properties": [{"name": "a", "type": "int8", "value": 300}]})",
      R"({"properties": [{"name": "a", "type": "bytes", "value": "abc"}]})",
      R"({"properties": [{"name": "a", "type": "boolean", "value": 1}]})",
      R"({"properties": [{"type": "string", "value": "x"}]})",
      R"({"properties": [], "extra": 1})",
      R"({"properties": [], "descriptor": {"Priority": 1}})",
      R"({"properties": [{"name": "jms.Pri", "type": "int32", "value": 1}]})",
  };
  for (const char* c : cases) {
    const ZxvuRun r = Zxvu({"props", "encode", File(c)});
    EXPECT_EQ(r.status, 2) << c << "\n" << r.err;
  }
  EXPECT_EQ(Zxvu({"props", "decode"}).status, 2);
  EXPECT_EQ(Zxvu({"props", "encode", "--md-version", "3", File("{}")}).status, 2);
  EXPECT_EQ(Zxvu({"props", "decode", "--md", File("short")}).status, 2);
}

}  // namespace
