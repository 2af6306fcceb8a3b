// Handle to header to a new handle, for every property type and every
// encoding family of the folder text: the properties come back with their
// types, values, context, Support and CopyOptions.
#include <cmath>
#include <limits>

#include "tests/props/props_header_test_util.h"

namespace zxv::test::header {
namespace {

struct Family {
  const char* label;
  KWLONG nv_ccsid;
  KWLONG encoding;  // the handle's descriptor: byte order of the header and of UCS-2 text
};

const Family kFamilies[] = {
    {"utf8", 1208, 546},     {"latin1", 819, 546},          {"pc850", 850, 546},
    {"ebcdic500", 500, 546}, {"ebcdic37", 37, 273},         {"ucs2_le", 1200, 546},
    {"ucs2_be", 1200, 273},  {"ucs2_13488_be", 13488, 273},
};

class PropsHeaderRoundTripTest : public PropsHeaderTest,
                                 public ::testing::WithParamInterface<Family> {
 protected:
  template <typename V>
  void SetValue(KWHMSG h, const std::string& name, KWLONG type, V v, const KWPD* pd = nullptr) {
    ASSERT_EQ(Set(h, name, type, &v, sizeof v, pd), KWRC_NONE) << name;
  }
  void SetText(KWHMSG h, const std::string& name, const std::string& v, const KWPD* pd = nullptr) {
    ASSERT_EQ(Set(h, name, KWTYPE_STRING, v.data(), static_cast<KWLONG>(v.size()), pd), KWRC_NONE)
        << name;
  }

  // A handle holding every type, names in every folder, escapes, and
  // descriptors that are not the default.
  KWHMSG Populated() {
    const KWHMSG h = Create();
    const Family& f = GetParam();
    if (f.encoding != 546) SetValue(h, "Root.KWMD.Encoding", KWTYPE_INT32, f.encoding);
    SetText(h, "jms.Dst", "queue:///Q1");
    SetText(h, "jms.Rto", "queue://QM1/REPLY");
    SetValue(h, "jms.Dlv", KWTYPE_INT32, int32_t{2});
    SetValue(h, "jms.Exp", KWTYPE_INT64, int64_t{1700000000123});
    SetText(h, "mcd.Msd", "jms_text");
    SetText(h, "psc.Command", "Publish");
    SetText(h, "kwps.Top", "prices/fruit");
    SetText(h, "color", "a < b & c > d 'q' \"dq\" &lt; caf\xC3\xA9");
    SetText(h, "padded", "  both ends  ");
    SetText(h, "lines", "one\ntwo");
    SetText(h, "empty", "");
    SetText(h, "caf\xC3\xA9", "name beyond ASCII");
    SetValue(h, "flag", KWTYPE_BOOLEAN, int32_t{1});
    SetValue(h, "off", KWTYPE_BOOLEAN, int32_t{0});
    const uint8_t blob[] = {0x00, 0xFF, 0x10, 0xAB};
    EXPECT_EQ(Set(h, "blob", KWTYPE_BYTE_STRING, blob, sizeof blob), KWRC_NONE);
    EXPECT_EQ(Set(h, "noBytes", KWTYPE_BYTE_STRING, blob, 0), KWRC_NONE);
    SetValue(h, "small", KWTYPE_INT8, std::numeric_limits<int8_t>::min());
    SetValue(h, "half", KWTYPE_INT16, std::numeric_limits<int16_t>::min());
    SetValue(h, "whole", KWTYPE_INT32, std::numeric_limits<int32_t>::max());
    SetValue(h, "big", KWTYPE_INT64, std::numeric_limits<int64_t>::min());
    SetValue(h, "tenth", KWTYPE_FLOAT32, 0.1f);
    SetValue(h, "tiny", KWTYPE_FLOAT32, std::numeric_limits<float>::denorm_min());
    SetValue(h, "fnan", KWTYPE_FLOAT32, std::numeric_limits<float>::quiet_NaN());
    SetValue(h, "finf", KWTYPE_FLOAT32, -std::numeric_limits<float>::infinity());
    SetValue(h, "third", KWTYPE_FLOAT64, 1.0 / 3.0);
    SetValue(h, "negZero", KWTYPE_FLOAT64, -0.0);
    SetValue(h, "huge", KWTYPE_FLOAT64, std::numeric_limits<double>::max());
    EXPECT_EQ(Set(h, "nothing", KWTYPE_NULL, nullptr, 0), KWRC_NONE);
    SetValue(h, "order.line.qty", KWTYPE_INT32, int32_t{3});
    SetText(h, "order.line.sku", "X-1");
    SetText(h, "order.id", "A7");
    SetValue(h, "usr.kept", KWTYPE_INT32, int32_t{5});
    SetText(h, "kw.Aui", "user");

    const KWPD user = MakePD(KWCOPY_DEFAULT, KWPD_USER_CONTEXT);
    SetText(h, "ctx", "mine", &user);
    const KWPD required = MakePD(KWCOPY_DEFAULT, KWPD_NO_CONTEXT, 0x00100000);
    SetValue(h, "needed", KWTYPE_INT32, int32_t{9}, &required);
    const KWPD all = MakePD(KWCOPY_ALL);
    SetValue(h, "copyAll", KWTYPE_INT16, int16_t{1}, &all);
    const KWPD none = MakePD(KWCOPY_NONE);
    SetText(h, "copyNone", "x", &none);
    const KWPD some = MakePD(KWCOPY_REPLY | KWCOPY_REPORT, KWPD_USER_CONTEXT, 0x00000401);
    SetValue(h, "copySome", KWTYPE_BOOLEAN, int32_t{1}, &some);
    return h;
  }

  ZSTHDROPTS Options() const {
    ZSTHDROPTS o{};
    o.NameValueCCSID = GetParam().nv_ccsid;
    return o;
  }
};

// The header in the descriptor's byte order comes back as the same
// properties, and a second trip writes the same folders.
TEST_P(PropsHeaderRoundTripTest, EveryTypeComesBack) {
  const KWHMSG a = Populated();
  const ZSTHDROPTS opts = Options();
  const Headers h = ToHeaders(a, KWMD_VERSION_2, &opts);
  ASSERT_EQ(h.reason, KWRC_NONE);
  EXPECT_EQ(std::string(h.md.Format, 8), "KWHRF2  ");
  EXPECT_EQ(h.md.Encoding, GetParam().encoding);
  const bool reversed = (GetParam().encoding & 0xF) == 1;
  const auto field = [&](uint32_t at) {
    uint32_t v;
    std::memcpy(&v, h.bytes.data() + at, 4);
    return reversed ? __builtin_bswap32(v) : v;
  };
  EXPECT_EQ(field(8), h.length);
  EXPECT_EQ(static_cast<KWLONG>(field(32)), GetParam().nv_ccsid);
  const auto folders = FoldersOf(h.bytes, 0, reversed);
  for (const auto& folder : folders) {
    EXPECT_EQ(folder.size() % 4, 0u) << "folders are padded to a multiple of 4";
  }

  const KWHMSG b = Create();
  ASSERT_EQ(FromHeaders(b, h, "body"), KWRC_NONE);
  const std::vector<HandleProp> before = PropsOf(a);
  EXPECT_EQ(PropsOf(b), before);
  EXPECT_EQ(before.size(), 38u);
  // The new handle's descriptor names the header it came from, so only the
  // folders are compared.
  const Headers second = ToHeaders(b, KWMD_VERSION_2, &opts);
  ASSERT_EQ(second.reason, KWRC_NONE);
  EXPECT_EQ(FoldersOf(second.bytes, 0, reversed), folders);
}

INSTANTIATE_TEST_SUITE_P(Families, PropsHeaderRoundTripTest, ::testing::ValuesIn(kFamilies),
                         [](const auto& p) { return std::string(p.param.label); });

}  // namespace
}  // namespace zxv::test::header
