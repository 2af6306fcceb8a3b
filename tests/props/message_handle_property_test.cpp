// Properties through a handle: every type set and inquired, type and value
// conversion on inquiry, length checks, property descriptors, names that
// live in the message descriptor, browsing (wildcards, inquire next, the
// property under the cursor), returned names, delete, and storage failures.
#include <cmath>
#include <limits>

#include "props/descriptor_fields.h"
#include "tests/props/message_handle_test_util.h"

namespace zxv::test {
namespace {

class MessageHandlePropertyTest : public MessageHandleTest {
 protected:
  void SetUp() override {
    MessageHandleTest::SetUp();
    hMsg_ = Create();
  }
  std::vector<std::string> BrowseAll(const std::string& pattern) {
    std::vector<std::string> found;
    for (KWLONG options = KWIMPO_INQ_FIRST;; options = KWIMPO_INQ_NEXT) {
      const Inquired r = Inquire(hMsg_, pattern, options, KWTYPE_AS_SET, 256, 64);
      if (r.reason != KWRC_NONE) {
        EXPECT_EQ(r.reason, KWRC_PROPERTY_NOT_AVAILABLE);
        break;
      }
      found.push_back(r.name);
    }
    return found;
  }
  // Inquires with the caller's options and name descriptor; the returned
  // type and length land in type_ and length_.
  KWLONG InquireRaw(KWIMPO* impo, const KWCHARV& name, void* value, KWLONG size) {
    type_ = KWTYPE_AS_SET;
    return zstInquireMessageProperty(nullptr, kConn, hMsg_, impo, &name, nullptr, &type_, size,
                                     value, &length_, &anchor_, &cc_, &rc_);
  }
  KWHMSG hMsg_ = KWHM_NONE;
  KWLONG type_ = KWTYPE_AS_SET;
  KWLONG length_ = 0;
};

std::vector<uint8_t> Bytes(const void* p, size_t n) {
  const auto* b = static_cast<const uint8_t*>(p);
  return std::vector<uint8_t>(b, b + n);
}

TEST_F(MessageHandlePropertyTest, EveryTypeRoundTrips) {
  const int8_t i8 = -7;
  const int16_t i16 = -30000;
  const int32_t i32 = 2000000000;
  const int64_t i64 = -9000000000000000000LL;
  const float f32 = 1.5f;
  const double f64 = -2.25e300;
  const int32_t boolean = 1;
  const std::string text = "h\xC3\xA9llo";
  const uint8_t bytes[] = {0, 1, 2, 0xFF};
  struct Case {
    const char* name;
    KWLONG type;
    std::vector<uint8_t> value;
  };
  const Case cases[] = {
      {"t.int8", KWTYPE_INT8, Bytes(&i8, 1)},
      {"t.int16", KWTYPE_INT16, Bytes(&i16, 2)},
      {"t.int32", KWTYPE_INT32, Bytes(&i32, 4)},
      {"t.int64", KWTYPE_INT64, Bytes(&i64, 8)},
      {"t.float32", KWTYPE_FLOAT32, Bytes(&f32, 4)},
      {"t.float64", KWTYPE_FLOAT64, Bytes(&f64, 8)},
      {"t.boolean", KWTYPE_BOOLEAN, Bytes(&boolean, 4)},
      {"t.string", KWTYPE_STRING, Bytes(text.data(), text.size())},
      {"t.empty", KWTYPE_STRING, {}},
      {"t.bytes", KWTYPE_BYTE_STRING, Bytes(bytes, sizeof bytes)},
      {"t.null", KWTYPE_NULL, {}},
  };
  for (const Case& c : cases) {
    ASSERT_EQ(Set(hMsg_, c.name, c.type, c.value.data(), static_cast<KWLONG>(c.value.size())),
              KWRC_NONE)
        << c.name;
  }
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const Inquired r = Inquire(hMsg_, c.name);
    ASSERT_EQ(r.reason, KWRC_NONE);
    EXPECT_EQ(r.cc, KWCC_OK);
    EXPECT_EQ(r.type, c.type);
    EXPECT_EQ(r.length, static_cast<KWLONG>(c.value.size()));
    EXPECT_EQ(r.value, c.value);
    EXPECT_EQ(std::memcmp(r.pd.StrucId, "PD  ", 4), 0);
    EXPECT_EQ(r.pd.CopyOptions, KWCOPY_DEFAULT);
  }
  // A value that does not suit its type is refused.
  EXPECT_EQ(Set(hMsg_, "bad", KWTYPE_INT32, &i16, 2), KWRC_PROPERTY_TYPE_ERROR);
  EXPECT_EQ(Set(hMsg_, "bad", 3 /* no such type */, &i32, 4), KWRC_PROPERTY_TYPE_ERROR);
}

// The store's own calls on a list and descriptor of their own, for the
// handle's bytes to be compared with.
struct StoreMirror {
  explicit StoreMirror(const KWMD& start) : md(start) {}
  ~StoreMirror() {
    zrfFreePAL(&pal, 0, nullptr, nullptr);
    xcsFreeMemFn(work.pBuffer);
  }
  KWLONG Set(const std::string& name, KWLONG type, const void* value, KWLONG length) {
    const KWLONG byCode[] = {KWTYPE_STRING,  KWTYPE_BOOLEAN, KWTYPE_BYTE_STRING, KWTYPE_INT8,
                             KWTYPE_INT16,   KWTYPE_INT32,   KWTYPE_INT64,       KWTYPE_FLOAT32,
                             KWTYPE_FLOAT64, KWTYPE_NULL};
    uint32_t internal = ZRF_TYPE_STRING;
    while (byCode[internal] != type) ++internal;
    KWLONG cc;
    KWLONG rc;
    return zrfSetProperty(0, &pal, &md, &fields, name.data(), static_cast<KWULONG>(name.size()),
                          KWCCSI_UTF8, nullptr, internal, value, static_cast<KWULONG>(length),
                          &work, 1, &cc, &rc);
  }
  void Delete(const std::string& name) {
    KWLONG cc;
    KWLONG rc;
    zrfDeleteProperty(0, &pal, &md, &fields, name.data(), static_cast<KWULONG>(name.size()),
                      KWCCSI_UTF8, &work, &cc, &rc);
  }
  // The handle's list and descriptor are these, byte for byte.
  void ExpectSameAs(const MsgHandle* h) const {
    ASSERT_NE(pal.pProps, nullptr);
    EXPECT_EQ(h->PropsSize, pal.Size);
    ASSERT_EQ(h->pProps->StrucLen, pal.pProps->StrucLen);
    EXPECT_EQ(std::memcmp(h->pProps, pal.pProps, pal.pProps->StrucLen), 0);
    EXPECT_EQ(std::memcmp(&h->MsgDesc, &md, sizeof md), 0);
  }

  ZRFPAL pal{};
  KWMD md;
  KWULONG fields = 0;
  ZRFWORKAREA work{};
};

// The length of a value of `type` in these tests (strings: `text`).
KWLONG LengthOf(KWLONG type, KWLONG text = 4) {
  if (type == KWTYPE_STRING || type == KWTYPE_BYTE_STRING) return text;
  return type == KWTYPE_INT8                              ? 1
         : type == KWTYPE_INT16                           ? 2
         : type == KWTYPE_NULL                            ? 0
         : type == KWTYPE_INT64 || type == KWTYPE_FLOAT64 ? 8
                                                          : 4;
}

// The handle places, replaces and finds nodes through an index of its own;
// the list must come out byte for byte as the store's calls make it.
TEST_F(MessageHandlePropertyTest, ListMatchesTheStoresOwn) {
  hMsg_ = Create(kConn, KWCMHO_DEFAULT_VALIDATION);  // names such as ".x" are fine
  StoreMirror ref(HandleAt(hMsg_)->MsgDesc);
  struct Step {
    const char* name;
    KWLONG type;  // KWTYPE_AS_SET deletes
  };
  const Step steps[] = {
      {"a.b", KWTYPE_INT32},       {"c", KWTYPE_STRING},      {"a.c", KWTYPE_INT8},
      {"a", KWTYPE_INT64},         {"a.b.x", KWTYPE_BOOLEAN}, {"c.d.e", KWTYPE_FLOAT64},
      {"a.b", KWTYPE_INT16},       {"c.d", KWTYPE_NULL},      {"ab", KWTYPE_STRING},
      {"a.b", KWTYPE_STRING},      {".x", KWTYPE_INT32},      {".y", KWTYPE_INT32},
      {"t.", KWTYPE_INT32},        {"t.u", KWTYPE_INT32},     {"a.c", KWTYPE_AS_SET},
      {"a.c", KWTYPE_BYTE_STRING}, {"c", KWTYPE_INT8},        {"JMSPriority", KWTYPE_INT32},
  };
  std::vector<std::string> extra;
  for (int i = 0; i < 150; ++i)
    extra.push_back("g" + std::to_string(i % 7) + ".n" + std::to_string(i));
  auto apply = [&](const std::string& name, KWLONG type) {
    if (type == KWTYPE_AS_SET) {
      EXPECT_EQ(DeleteProperty(hMsg_, name), KWRC_NONE) << name;
      ref.Delete(name);
      return;
    }
    const std::vector<uint8_t> value(static_cast<size_t>(LengthOf(type)), 0x5A);
    ASSERT_EQ(Set(hMsg_, name, type, value.data(), LengthOf(type)), KWRC_NONE) << name;
    ref.Set(name, type, value.data(), LengthOf(type));
  };
  for (const Step& s : steps) apply(s.name, s.type);
  for (const std::string& name : extra) apply(name, KWTYPE_INT32);
  // A name in another CCSID goes through the store itself, in between.
  const char ebcdic[] = "\x87\xF3\x4B\x95\xF1";  // "g3.n1"
  const int32_t v = 9;
  ASSERT_EQ(
      Set(hMsg_, std::string(ebcdic, 5), KWTYPE_INT32, &v, 4, nullptr, kConn, KWCCSI_EBCDIC_US),
      KWRC_NONE);
  apply("g3.n1", KWTYPE_INT32);
  for (const std::string& name : extra) apply(name + ".z", KWTYPE_INT16);

  ref.ExpectSameAs(HandleAt(hMsg_));
  // And every property is found again.
  for (const std::string& name : extra) {
    EXPECT_EQ(Inquire(hMsg_, name).reason, KWRC_NONE) << name;
    EXPECT_EQ(Inquire(hMsg_, name + ".z").type, KWTYPE_INT16) << name;
  }
  EXPECT_EQ(Inquire(hMsg_, "g3.n").reason, KWRC_PROPERTY_NOT_AVAILABLE);
}

// A reset handle takes names again into an emptied index, and its list
// takes the store's CCSID with the first node: the bytes are the store's,
// also after more resets than the index's slot generations count.
TEST_F(MessageHandlePropertyTest, RefillAfterResetMatchesTheStore) {
  hMsg_ = Create(kConn, KWCMHO_DEFAULT_VALIDATION);
  MsgHandle* h = HandleAt(hMsg_);
  const std::vector<std::string> names = {"u.o.1", "u.c.2", "a.3", "t4", "u.o.5", "u.c.6",
                                          "a.7",   "t8",    "u.9", "u",  "u.o.1", "a.b.c.d"};
  for (int round = 0; round < 70000; ++round) {
    zstResetMessageHandle(nullptr, h, 0);
    const std::string& name = names[static_cast<size_t>(round) % names.size()];
    ASSERT_EQ(SetInt32(hMsg_, name, round), KWRC_NONE);
    if (round % 997 == 0) {
      ASSERT_EQ(ValueAs<int32_t>(Inquire(hMsg_, name)), round);
    }
  }
  zstResetMessageHandle(nullptr, h, 0);
  StoreMirror ref(h->MsgDesc);
  ASSERT_EQ(xcsGetMemFn(h->PropsSize, reinterpret_cast<void**>(&ref.pal.pProps)), xcsRC_OK);
  ref.pal.Size = h->PropsSize;
  std::memcpy(ref.pal.pProps, h->pProps, ZRFP_HEADER_LENGTH);  // the reset header, CCSID 0
  const uint8_t bytes[24] = {1, 2, 3};
  const KWLONG types[] = {KWTYPE_INT32, KWTYPE_STRING, KWTYPE_INT8,   KWTYPE_BYTE_STRING,
                          KWTYPE_NULL,  KWTYPE_INT64,  KWTYPE_BOOLEAN};
  for (size_t i = 0; i < 3 * names.size(); ++i) {
    const std::string& name = names[i % names.size()];
    const KWLONG type = types[(i * 5) % 7];
    const KWLONG length = LengthOf(type, type == KWTYPE_STRING ? static_cast<KWLONG>(i % 9) : 17);
    ASSERT_EQ(Set(hMsg_, name, type, bytes, length), KWRC_NONE) << name;
    ASSERT_EQ(ref.Set(name, type, bytes, length), KWRC_NONE) << name;
    ref.ExpectSameAs(h);
    if (HasFailure()) return;
  }
  for (const std::string& name : names) EXPECT_EQ(Inquire(hMsg_, name).reason, KWRC_NONE) << name;
}

// The index is a cache: without storage for it the calls still work, on the
// list itself.
TEST_F(MessageHandlePropertyTest, NoStorageForTheIndexIsNoFailure) {
  ASSERT_EQ(SetInt32(hMsg_, "a.x", 1), KWRC_NONE);  // the list gets its CCSID
  xcsInjectAllocFailure(1, xcsRC_STORAGE_NOT_AVAILABLE, 0);
  EXPECT_EQ(SetInt32(hMsg_, "b", 2), KWRC_NONE);
  xcsInjectAllocFailure(1, xcsRC_STORAGE_NOT_AVAILABLE, 0);
  EXPECT_EQ(SetInt32(hMsg_, "a.y", 3), KWRC_NONE);
  xcsInjectAllocFailure(0, 0, 0);
  EXPECT_EQ(ListNames(hMsg_), (std::vector<std::string>{"a.x", "a.y", "b"}));
  EXPECT_EQ(ValueAs<int32_t>(Inquire(hMsg_, "a.y")), 3);
  EXPECT_EQ(Inquire(hMsg_, "c").reason, KWRC_PROPERTY_NOT_AVAILABLE);
}

// Inquiry with KWIMPO_CONVERT_TYPE: a stored value read as another type.
TEST_F(MessageHandlePropertyTest, ConvertTypeTable) {
  const int8_t i8 = -5;
  const int32_t i32 = 70000;
  const float f32 = 0.5f;
  const int32_t yes = 1;
  const uint8_t bytes[] = {1, 2};
  ASSERT_EQ(Set(hMsg_, "i8", KWTYPE_INT8, &i8, 1), KWRC_NONE);
  ASSERT_EQ(Set(hMsg_, "i32", KWTYPE_INT32, &i32, 4), KWRC_NONE);
  ASSERT_EQ(Set(hMsg_, "f32", KWTYPE_FLOAT32, &f32, 4), KWRC_NONE);
  ASSERT_EQ(Set(hMsg_, "yes", KWTYPE_BOOLEAN, &yes, 4), KWRC_NONE);
  ASSERT_EQ(Set(hMsg_, "bytes", KWTYPE_BYTE_STRING, bytes, 2), KWRC_NONE);
  ASSERT_EQ(Set(hMsg_, "nothing", KWTYPE_NULL, nullptr, 0), KWRC_NONE);
  ASSERT_EQ(SetString(hMsg_, "s.int", "-120"), KWRC_NONE);
  ASSERT_EQ(SetString(hMsg_, "s.big", "300"), KWRC_NONE);
  ASSERT_EQ(SetString(hMsg_, "s.float", "2.5e3"), KWRC_NONE);
  ASSERT_EQ(SetString(hMsg_, "s.true", "tRuE"), KWRC_NONE);
  ASSERT_EQ(SetString(hMsg_, "s.zero", "0"), KWRC_NONE);
  ASSERT_EQ(SetString(hMsg_, "s.word", "12ab"), KWRC_NONE);
  ASSERT_EQ(SetString(hMsg_, "s.plus", "+42"), KWRC_NONE);

  struct Case {
    const char* name;
    KWLONG asked;
    KWLONG reason;
    KWLONG type;                  // returned
    std::vector<uint8_t> result;  // the value's bytes
  };
  const auto text = [](const char* s) { return Bytes(s, std::strlen(s)); };
  const auto asI16 = [](int16_t v) { return Bytes(&v, sizeof v); };
  const auto asI32 = [](int32_t v) { return Bytes(&v, sizeof v); };
  const auto asI64 = [](int64_t v) { return Bytes(&v, sizeof v); };
  const auto asF64 = [](double v) { return Bytes(&v, sizeof v); };
  const int8_t minus120 = -120;
  const Case cases[] = {
      {"i8", KWTYPE_INT16, KWRC_NONE, KWTYPE_INT16, asI16(-5)},
      {"i8", KWTYPE_INT64, KWRC_NONE, KWTYPE_INT64, asI64(-5)},
      {"i8", KWTYPE_STRING, KWRC_NONE, KWTYPE_STRING, text("-5")},
      {"i32", KWTYPE_INT64, KWRC_NONE, KWTYPE_INT64, asI64(70000)},
      {"i32", KWTYPE_INT16, KWRC_PROP_CONV_NOT_SUPPORTED, 0, {}},
      {"i32", KWTYPE_FLOAT64, KWRC_PROP_CONV_NOT_SUPPORTED, 0, {}},
      {"i32", KWTYPE_BOOLEAN, KWRC_PROP_CONV_NOT_SUPPORTED, 0, {}},
      {"i32", KWTYPE_BYTE_STRING, KWRC_PROP_CONV_NOT_SUPPORTED, 0, {}},
      {"i32", KWTYPE_NULL, KWRC_PROP_CONV_NOT_SUPPORTED, 0, {}},
      {"i32", KWTYPE_AS_SET, KWRC_NONE, KWTYPE_INT32, asI32(70000)},
      {"i32", 3 /* no type */, KWRC_NONE, KWTYPE_INT32, asI32(70000)},
      {"f32", KWTYPE_FLOAT64, KWRC_NONE, KWTYPE_FLOAT64, asF64(0.5)},
      {"f32", KWTYPE_STRING, KWRC_NONE, KWTYPE_STRING, text("0.5")},
      {"f32", KWTYPE_INT32, KWRC_PROP_CONV_NOT_SUPPORTED, 0, {}},
      {"yes", KWTYPE_STRING, KWRC_NONE, KWTYPE_STRING, text("TRUE")},
      {"yes", KWTYPE_INT32, KWRC_PROP_CONV_NOT_SUPPORTED, 0, {}},
      {"bytes", KWTYPE_STRING, KWRC_PROP_CONV_NOT_SUPPORTED, 0, {}},
      {"nothing", KWTYPE_INT32, KWRC_NONE, KWTYPE_NULL, {}},
      {"s.int", KWTYPE_INT8, KWRC_NONE, KWTYPE_INT8, Bytes(&minus120, 1)},
      {"s.big", KWTYPE_INT8, KWRC_PROP_NUMBER_FORMAT_ERROR, 0, {}},
      {"s.big", KWTYPE_INT16, KWRC_NONE, KWTYPE_INT16, asI16(300)},
      {"s.float", KWTYPE_FLOAT64, KWRC_NONE, KWTYPE_FLOAT64, asF64(2500)},
      {"s.float", KWTYPE_INT32, KWRC_PROP_NUMBER_FORMAT_ERROR, 0, {}},
      {"s.true", KWTYPE_BOOLEAN, KWRC_NONE, KWTYPE_BOOLEAN, asI32(1)},
      {"s.zero", KWTYPE_BOOLEAN, KWRC_NONE, KWTYPE_BOOLEAN, asI32(0)},
      {"s.word", KWTYPE_INT64, KWRC_PROP_NUMBER_FORMAT_ERROR, 0, {}},
      {"s.word", KWTYPE_BYTE_STRING, KWRC_PROP_CONV_NOT_SUPPORTED, 0, {}},
      {"s.plus", KWTYPE_INT32, KWRC_NONE, KWTYPE_INT32, asI32(42)},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(::testing::Message() << c.name << " as " << c.asked);
    const Inquired r = Inquire(hMsg_, c.name, KWIMPO_CONVERT_TYPE, c.asked);
    ASSERT_EQ(r.reason, c.reason);
    if (c.reason != KWRC_NONE) {
      EXPECT_EQ(r.cc, KWCC_FAILED);
      EXPECT_EQ(r.type, c.asked);  // left as the caller gave it
      continue;
    }
    EXPECT_EQ(r.type, c.type);
    EXPECT_EQ(r.value, c.result);
  }
  // Without the option the requested type is ignored.
  const Inquired r = Inquire(hMsg_, "i32", KWIMPO_INQ_FIRST, KWTYPE_STRING);
  EXPECT_EQ(r.type, KWTYPE_INT32);
}

TEST_F(MessageHandlePropertyTest, BufferTooSmallGivesTheLength) {
  ASSERT_EQ(SetString(hMsg_, "s", "0123456789"), KWRC_NONE);
  const int64_t v = 1;
  ASSERT_EQ(Set(hMsg_, "i", KWTYPE_INT64, &v, 8), KWRC_NONE);

  Inquired r = Inquire(hMsg_, "s", KWIMPO_INQ_FIRST, KWTYPE_AS_SET, 9);
  EXPECT_EQ(r.reason, KWRC_PROPERTY_VALUE_TOO_BIG);
  EXPECT_EQ(r.cc, KWCC_FAILED);
  EXPECT_EQ(r.length, 10);
  EXPECT_EQ(r.value, std::vector<uint8_t>(9, 0xEE));  // nothing copied
  EXPECT_EQ(Inquire(hMsg_, "s", KWIMPO_INQ_FIRST, KWTYPE_AS_SET, 10).reason, KWRC_NONE);

  r = Inquire(hMsg_, "i", KWIMPO_INQ_FIRST, KWTYPE_AS_SET, 7);
  EXPECT_EQ(r.reason, KWRC_PROPERTY_VALUE_TOO_BIG);
  EXPECT_EQ(r.length, 8);
  // The converted value is what must fit: "1" as text needs one byte.
  r = Inquire(hMsg_, "i", KWIMPO_CONVERT_TYPE, KWTYPE_STRING, 1);
  EXPECT_EQ(r.reason, KWRC_NONE);
  EXPECT_EQ(TextOf(r), "1");

  // Asking for the length only.
  r = Inquire(hMsg_, "s", KWIMPO_QUERY_LENGTH, KWTYPE_AS_SET, 0);
  EXPECT_EQ(r.reason, KWRC_NONE);
  EXPECT_EQ(r.length, 10);
  EXPECT_EQ(r.type, KWTYPE_STRING);
}

TEST_F(MessageHandlePropertyTest, PropertyDescriptorChecks) {
  ASSERT_EQ(SetInt32(hMsg_, "keep", 1), KWRC_NONE);
  const std::vector<uint8_t> before = ListBytes(hMsg_);
  struct Case {
    KWLONG context;
    KWLONG copyOptions;
    const char* trace;
  };
  const Case bad[] = {{2, KWCOPY_DEFAULT, "Unsupported KWPD Context value"},
                      {3, KWCOPY_DEFAULT, "Multiple KWPD Context values"},
                      {-1, KWCOPY_DEFAULT, "Multiple KWPD Context values"},
                      {KWPD_NO_CONTEXT, 32, "Unsupported KWPD CopyOptions value"},
                      {KWPD_NO_CONTEXT, -1, "Unsupported KWPD CopyOptions value"}};
  for (const Case& c : bad) {
    SCOPED_TRACE(c.trace);
    TraceLines trace;
    const KWPD pd = MakePD(c.copyOptions, c.context);
    const int32_t v = 5;
    EXPECT_EQ(Set(hMsg_, "p", KWTYPE_INT32, &v, 4, &pd), KWRC_PD_ERROR);
    EXPECT_EQ(cc_, KWCC_FAILED);
    EXPECT_TRUE(trace.Contains(c.trace));
    EXPECT_EQ(ListBytes(hMsg_), before);
  }
  // The good ones are stored and given back; a validating handle keeps the
  // support value, one that does not validate marks it optional.
  const KWPD pd = MakePD(KWCOPY_ALL | KWCOPY_REPLY, KWPD_USER_CONTEXT, 0);
  const int32_t v = 5;
  ASSERT_EQ(Set(hMsg_, "p", KWTYPE_INT32, &v, 4, &pd), KWRC_NONE);
  const Inquired r = Inquire(hMsg_, "p");
  EXPECT_EQ(r.pd.Context, KWPD_USER_CONTEXT);
  EXPECT_EQ(r.pd.CopyOptions, KWCOPY_ALL | KWCOPY_REPLY);
  EXPECT_EQ(r.pd.Support, 0);
  const KWHMSG lax = Create(kConn, KWCMHO_DEFAULT_VALIDATION);
  ASSERT_EQ(Set(lax, "p", KWTYPE_INT32, &v, 4, &pd), KWRC_NONE);
  EXPECT_EQ(Inquire(lax, "p").pd.Support, KWPD_SUPPORT_OPTIONAL);
  // Names are checked only on a validating handle.
  EXPECT_EQ(SetInt32(lax, "JMSBogus", 1), KWRC_NONE);
  EXPECT_EQ(SetInt32(hMsg_, "JMSBogus", 1), KWRC_PROPERTY_NAME_ERROR);
}

// The store's descriptor paths have their own tests; here the handle must
// route both spellings of a field to its descriptor, not to its list.
TEST_F(MessageHandlePropertyTest, DescriptorNamesLiveInTheDescriptor) {
  MsgHandle* h = HandleAt(hMsg_);
  ASSERT_EQ(SetInt32(hMsg_, "JMSPriority", 6), KWRC_NONE);
  EXPECT_EQ(h->MsgDesc.Priority, 6);
  EXPECT_NE(h->MsgDescFieldsSet & props::kMdfPriority, 0u);
  EXPECT_EQ(h->pProps->StrucLen, static_cast<KWULONG>(ZRFP_HEADER_LENGTH));  // not in the list
  h->MsgDesc.Priority = 3;
  const Inquired r = Inquire(hMsg_, "Root.KWMD.Priority");
  ASSERT_EQ(r.reason, KWRC_NONE);
  EXPECT_EQ(ValueAs<int32_t>(r), 3);
  // The property under the cursor is the descriptor field.
  const Inquired again = Inquire(hMsg_, "", KWIMPO_INQ_PROP_UNDER_CURSOR, KWTYPE_AS_SET, 256, 32);
  ASSERT_EQ(again.reason, KWRC_NONE);
  EXPECT_EQ(again.name, "Root.KWMD.Priority");
  EXPECT_EQ(DeleteProperty(hMsg_, "Root.KWMD.Priority"), KWRC_NONE);
  EXPECT_EQ(h->MsgDesc.Priority, -1);
  EXPECT_EQ(h->MsgDescFieldsSet & props::kMdfPriority, 0u);
}

TEST_F(MessageHandlePropertyTest, BrowseInListOrderSurvivesDeletingTheCurrentProperty) {
  EXPECT_EQ(DeleteProperty(hMsg_, "", KWDMPO_DEL_PROP_UNDER_CURSOR), KWRC_PROPERTY_NOT_AVAILABLE);
  EXPECT_EQ(Inquire(hMsg_, "", KWIMPO_INQ_PROP_UNDER_CURSOR).reason, KWRC_PROPERTY_NOT_AVAILABLE);
  for (const char* name : {"a.1", "b", "a.2", "apple", "a.3", "JMSPriority"}) {
    ASSERT_EQ(SetInt32(hMsg_, name, 1), KWRC_NONE);
  }
  EXPECT_EQ(BrowseAll("a%"), (std::vector<std::string>{"a.1", "a.2", "a.3", "apple"}));
  // Descriptor fields are not part of a wildcard browse.
  EXPECT_EQ(BrowseAll("%"), ListNames(hMsg_));
  Inquired r = Inquire(hMsg_, "a.%", KWIMPO_INQ_FIRST, KWTYPE_AS_SET, 256, 16);
  ASSERT_EQ(r.name, "a.1");
  r = Inquire(hMsg_, "a.%", KWIMPO_INQ_NEXT, KWTYPE_AS_SET, 256, 16);
  ASSERT_EQ(r.name, "a.2");
  // Delete the property under the cursor, then go on.
  ASSERT_EQ(DeleteProperty(hMsg_, "", KWDMPO_DEL_PROP_UNDER_CURSOR), KWRC_NONE);
  EXPECT_EQ(ListNames(hMsg_), (std::vector<std::string>{"a.1", "a.3", "b", "apple"}));
  r = Inquire(hMsg_, "a.%", KWIMPO_INQ_NEXT, KWTYPE_AS_SET, 256, 16);
  EXPECT_EQ(r.name, "a.3");
  // Under the cursor reads the last one returned again.
  r = Inquire(hMsg_, "ignored", KWIMPO_INQ_PROP_UNDER_CURSOR, KWTYPE_AS_SET, 256, 16);
  EXPECT_EQ(r.reason, KWRC_NONE);
  EXPECT_EQ(r.name, "a.3");
}

TEST_F(MessageHandlePropertyTest, ReturnedNameAndItsTruncation) {
  ASSERT_EQ(SetInt32(hMsg_, "usr.name", 1), KWRC_NONE);
  Inquired r = Inquire(hMsg_, "usr.%", KWIMPO_INQ_FIRST, KWTYPE_AS_SET, 256, 64);
  EXPECT_EQ(r.name, "usr.name");
  EXPECT_EQ(r.impo.ReturnedName.VSLength, 8);
  EXPECT_EQ(r.impo.ReturnedName.VSCCSID, 1208);

  r = Inquire(hMsg_, "usr.%", KWIMPO_INQ_FIRST, KWTYPE_AS_SET, 256, 5);
  EXPECT_EQ(r.reason, KWRC_PROPERTY_NAME_TOO_BIG);
  EXPECT_EQ(r.cc, KWCC_WARNING);
  EXPECT_EQ(r.name, "usr.n");
  EXPECT_EQ(r.impo.ReturnedName.VSLength, 8);
  EXPECT_EQ(ValueAs<int32_t>(r), 1);  // the value came all the same

  // A failed get is not overwritten by the name's warning.
  r = Inquire(hMsg_, "usr.%", KWIMPO_INQ_FIRST, KWTYPE_AS_SET, 2, 5);
  EXPECT_EQ(r.reason, KWRC_PROPERTY_VALUE_TOO_BIG);

  // Length only: no name is copied.
  r = Inquire(hMsg_, "usr.%", KWIMPO_QUERY_LENGTH, KWTYPE_AS_SET, 0, 64);
  EXPECT_EQ(r.reason, KWRC_NONE);
  EXPECT_EQ(r.impo.ReturnedName.VSLength, 8);
  EXPECT_TRUE(r.name.empty() || r.name.find('u') == std::string::npos);
}

TEST_F(MessageHandlePropertyTest, NameAndValueInTheRequestedCcsid) {
  ASSERT_EQ(SetString(hMsg_, "k.abc", "AB"), KWRC_NONE);
  KWIMPO impo = KWIMPO_DEFAULT_INIT;
  impo.Options = KWIMPO_CONVERT_VALUE;
  impo.RequestedCCSID = KWCCSI_UTF16;
  impo.RequestedEncoding = KWENC_INTEGER_NORMAL;  // big-endian
  char name[32];
  impo.ReturnedName = KWCHARV{name, 0, sizeof name, 0, KWCCSI_EBCDIC_US};
  char value[16];
  ASSERT_EQ(InquireRaw(&impo, NameOf("k.abc"), value, sizeof value), KWRC_NONE);
  EXPECT_EQ(length_, 4);
  EXPECT_EQ(std::string(value, 4), std::string("\0A\0B", 4));
  EXPECT_EQ(impo.ReturnedCCSID, KWCCSI_UTF16);
  EXPECT_EQ(impo.ReturnedName.VSCCSID, KWCCSI_EBCDIC_US);
  EXPECT_EQ(std::string(name, 5), "\x92\x4B\x81\x82\x83");  // "k.abc" in EBCDIC

  // Numbers in the requested byte order.
  ASSERT_EQ(SetInt32(hMsg_, "n", 0x01020304), KWRC_NONE);
  ASSERT_EQ(InquireRaw(&impo, NameOf("n"), value, sizeof value), KWRC_NONE);
  EXPECT_EQ(std::string(value, 4), "\x01\x02\x03\x04");
  EXPECT_EQ(impo.ReturnedEncoding, KWENC_INTEGER_NORMAL);

  // Text that has no form in the requested CCSID stays as stored (a
  // warning).
  ASSERT_EQ(SetString(hMsg_, "k.euro", "\xE2\x82\xAC"), KWRC_NONE);
  impo.RequestedCCSID = KWCCSI_ISO8859_1;
  EXPECT_EQ(InquireRaw(&impo, NameOf("k.euro"), value, sizeof value),
            KWRC_PROP_VALUE_NOT_CONVERTED);
  EXPECT_EQ(cc_, KWCC_WARNING);
  EXPECT_EQ(length_, 3);
  EXPECT_EQ(impo.ReturnedCCSID, KWCCSI_UTF8);

  // A name that has no form in the requested CCSID is given as stored.
  ASSERT_EQ(SetInt32(hMsg_, "n\xC3\xA9", 1), KWRC_NONE);  // "né"
  impo = KWIMPO_DEFAULT_INIT;
  impo.ReturnedName = KWCHARV{name, 0, sizeof name, 0, 367 /* ASCII only */};
  int32_t number = 0;
  EXPECT_EQ(InquireRaw(&impo, NameOf("n\xC3\xA9"), &number, sizeof number),
            KWRC_PROP_NAME_NOT_CONVERTED);
  EXPECT_EQ(cc_, KWCC_WARNING);
  EXPECT_EQ(number, 1);
  EXPECT_EQ(impo.ReturnedName.VSCCSID, KWCCSI_UTF8);
  EXPECT_EQ(std::string(name, 3), "n\xC3\xA9");
}

TEST_F(MessageHandlePropertyTest, MissingNamesAndProperties) {
  EXPECT_EQ(Inquire(hMsg_, "none").reason, KWRC_PROPERTY_NOT_AVAILABLE);
  EXPECT_EQ(DeleteProperty(hMsg_, "none"), KWRC_PROPERTY_NOT_AVAILABLE);
  EXPECT_EQ(cc_, KWCC_FAILED);
  EXPECT_EQ(DeleteProperty(hMsg_, "JMSPriority"), KWRC_PROPERTY_NOT_AVAILABLE);  // never set
  EXPECT_EQ(SetInt32(hMsg_, "", 1), KWRC_PROPERTY_NAME_ERROR);
  const int32_t v = 1;
  EXPECT_EQ(zstSetMessageProperty(nullptr, kConn, hMsg_, nullptr, nullptr, nullptr, KWTYPE_INT32, 4,
                                  &v, &anchor_, &cc_, &rc_),
            KWRC_PROPERTY_NAME_ERROR);
  const KWCHARV negative{const_cast<char*>("a"), 0, 0, -5, KWCCSI_UTF8};
  EXPECT_EQ(zstSetMessageProperty(nullptr, kConn, hMsg_, nullptr, &negative, nullptr, KWTYPE_INT32,
                                  4, &v, &anchor_, &cc_, &rc_),
            KWRC_PROPERTY_NAME_ERROR);
  EXPECT_EQ(Set(hMsg_, "a", KWTYPE_STRING, "x", -1), KWRC_PROPERTY_TYPE_ERROR);
  // A NUL-terminated name finds the property.
  ASSERT_EQ(SetInt32(hMsg_, "abc", 9), KWRC_NONE);
  const KWCHARV terminated{const_cast<char*>("abc"), 0, 0, KWVS_NULL_TERMINATED, KWCCSI_APPL};
  int32_t value = 0;
  EXPECT_EQ(InquireRaw(nullptr, terminated, &value, sizeof value), KWRC_NONE);
  EXPECT_EQ(value, 9);
}

TEST_F(MessageHandlePropertyTest, ListGrowsAndSurvivesFailedGrowth) {
  // Fill the initial 4096 bytes, then make the next set need more.
  const std::string big(1000, 'v');
  for (int i = 0; i < 3; ++i)
    ASSERT_EQ(SetString(hMsg_, "big" + std::to_string(i), big), KWRC_NONE);
  const std::vector<uint8_t> before = ListBytes(hMsg_);
  for (xcsRC code : {xcsRC_STORAGE_NOT_AVAILABLE, xcsRC_RESOURCE_PROBLEM}) {
    xcsInjectAllocFailure(1, code, 1);
    const KWLONG reason = SetString(hMsg_, "big3", big);
    xcsInjectAllocFailure(0, 0, 0);
    EXPECT_EQ(reason, xcsStorageReason(code));
    EXPECT_EQ(ListBytes(hMsg_), before);
  }
  ASSERT_EQ(SetString(hMsg_, "big3", big), KWRC_NONE);
  EXPECT_GT(HandleAt(hMsg_)->PropsSize, static_cast<uint32_t>(ZRFP_INITIAL_SIZE));
  EXPECT_EQ(TextOf(Inquire(hMsg_, "big0", 0, KWTYPE_AS_SET, 2000)), big);
  EXPECT_EQ(TextOf(Inquire(hMsg_, "big3", 0, KWTYPE_AS_SET, 2000)), big);
}

TEST_F(MessageHandlePropertyTest, CursorStorageFailureOnFirstInquiry) {
  ASSERT_EQ(SetInt32(hMsg_, "n", 1), KWRC_NONE);
  xcsInjectAllocFailure(1, xcsRC_STORAGE_NOT_AVAILABLE, 1);
  const Inquired r = Inquire(hMsg_, "n");
  xcsInjectAllocFailure(0, 0, 0);
  EXPECT_EQ(r.reason, KWRC_STORAGE_NOT_AVAILABLE);
  EXPECT_EQ(HandleAt(hMsg_)->TidRecursionCount, 0u);  // lock left as it was
  EXPECT_EQ(ValueAs<int32_t>(Inquire(hMsg_, "n")), 1);
}

TEST_F(MessageHandlePropertyTest, CopyPropertyValueOnItsOwn) {
  // A string-form node (as a header parser writes it) reads as its type.
  ZRFPROPINFO info{};
  const char text[] = "123";
  info.TypeFlags = ZRF_TYPE_INT32 | ZRF_FLAG_STRING_FORM;
  info.pValue = text;
  info.ValueLength = 3;
  info.ValueCCSID = KWCCSI_UTF8;
  int32_t v = 0;
  KWLONG type = KWTYPE_AS_SET;
  KWLONG length = 0;
  EXPECT_EQ(zstCopyPropertyValue(nullptr, &info, nullptr, &type, nullptr, sizeof v, &v, &length,
                                 nullptr, &cc_, &rc_),
            KWRC_NONE);
  EXPECT_EQ(v, 123);
  EXPECT_EQ(type, KWTYPE_INT32);
  // Nodes without a property type.
  for (KWULONG code : {KWULONG{ZRF_TYPE_NAME_ONLY}, KWULONG{ZRF_TYPE_AS_STORED}}) {
    info.TypeFlags = code;
    EXPECT_EQ(zstCopyPropertyValue(nullptr, &info, nullptr, &type, nullptr, sizeof v, &v, &length,
                                   nullptr, &cc_, &rc_),
              KWRC_PROP_TYPE_NOT_SUPPORTED);
    EXPECT_EQ(cc_, KWCC_FAILED);
  }
  EXPECT_EQ(zstCopyPropertyValue(nullptr, nullptr, nullptr, &type, nullptr, 0, nullptr, &length,
                                 nullptr, &cc_, &rc_),
            KWRC_UNEXPECTED_ERROR);
}

TEST_F(MessageHandlePropertyTest, InquireTracesNamesOnlyInDetail) {
  ASSERT_EQ(SetInt32(hMsg_, "secret.name", 1), KWRC_NONE);
  {
    TraceLines trace;
    xtrSetLevel(XTR_LEVEL_FLOW);
    Inquire(hMsg_, "secret.%", 0, KWTYPE_AS_SET, 256, 32);
    EXPECT_TRUE(trace.Contains("< Property name suppressed >"));
    EXPECT_FALSE(trace.Contains("secret.name"));
  }
  TraceLines trace;
  Inquire(hMsg_, "secret.%", 0, KWTYPE_AS_SET, 256, 32);
  EXPECT_TRUE(trace.Contains("secret.name"));
  EXPECT_TRUE(trace.Contains("Associated"));
}

}  // namespace
}  // namespace zxv::test
