// The plain header writer against the general one: random lists (every
// type, flags, Support and copy values, names plain and not, in list order
// and in locate order, ASCII-based and UTF-8, either byte order) written by
// ConvertAllToRfh2 with each writer must agree in every byte, reason code,
// mark, trace line and in how the output buffer grew, also when any one of
// the allocations fails.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "props/props_writer.h"
#include "zxvxcs2/xcs_ccsid.h"
#include "zxvxcs2/xcs_memory.h"
#include "zxvxcs2/xcs_trace.h"

namespace zxv::props {
namespace {

constexpr uint32_t kFn = kFnConvertAllPropertiesToKWRFH2;

// What a conversion left behind.
struct Outcome {
  KWLONG reason = 0;
  std::vector<uint8_t> bytes;
  KWULONG size = 0;
  ZRFMARKS marks{};
  std::vector<std::string> trace;
  uint64_t allocations = 0;
  bool placed = false;  // the writer put the header in the destination
};

void Collect(void* context, const char* line) {
  // Without the time stamp, thread and depth in front of the text.
  const char* text = std::strstr(line, "  ");
  static_cast<std::vector<std::string>*>(context)->emplace_back(text != nullptr ? text : line);
}

// Converts with one writer into an output buffer that already holds
// `prefix` bytes (none: no buffer yet); the allocation `failAt` fails.
// With a destination of `destinationSize` bytes, the bytes are those the
// caller then has there (the destination must be untouched unless the
// header succeeds and fits).
Outcome Convert(const ZRFPAL& pal, const ZRFHDROPTS& opts, WriterPaths paths, uint32_t prefix,
                uint32_t failAt, int64_t destinationSize = -1) {
  Outcome o;
  std::vector<uint8_t> destination(destinationSize > 0 ? destinationSize : 0, 0x5A);
  HeaderDestination d{destination.data(), static_cast<uint32_t>(destination.size()), 0};
  ZRFHDRBUF out{};
  if (prefix != 0) {
    void* block = nullptr;
    EXPECT_EQ(xcsGetMemFn(kWorkBufferSize, &block), xcsRC_OK);
    out.pBuffer = static_cast<uint8_t*>(block);
    out.Size = kWorkBufferSize;
    std::memset(out.pBuffer, 0xA5, prefix);
    out.Length = prefix;
  }
  xtrSetSink(&Collect, &o.trace);
  xtrSetLevel(XTR_LEVEL_DETAIL);
  const uint64_t before = xcsAllocCount();
  xcsInjectAllocFailure(failAt, xcsRC_STORAGE_NOT_AVAILABLE, 0);
  o.reason =
      ConvertAllToRfh2(&pal, opts, &out, &o.marks, kFn, paths, destinationSize >= 0 ? &d : nullptr);
  xcsInjectAllocFailure(0, 0, 0);
  o.allocations = xcsAllocCount() - before;
  xtrSetLevel(XTR_LEVEL_OFF);
  xtrSetSink(nullptr, nullptr);
  o.bytes.assign(out.pBuffer, out.pBuffer + out.Length);
  o.placed = d.placed_from != 0;
  if (destinationSize >= 0 && o.reason == KWRC_NONE && out.Length <= destination.size()) {
    // The caller's copy of the bytes not in place yet.
    if (out.Length != 0) {
      std::memcpy(destination.data(), out.pBuffer, o.placed ? d.placed_from : out.Length);
    }
    o.bytes.assign(destination.begin(), destination.begin() + out.Length);
  } else {
    EXPECT_FALSE(o.placed);
    EXPECT_EQ(std::count(destination.begin(), destination.end(), 0x5A),
              static_cast<std::ptrdiff_t>(destination.size()));
  }
  o.size = out.Size;
  xcsFreeMemFn(out.pBuffer);
  return o;
}

// What the list-order writer makes of a list behind `prefix` bytes of a
// work buffer.
PlainOutcome ListOrderOutcome(const ZRFPAL& pal, const ZRFHDROPTS& opts, uint32_t prefix) {
  void* block = nullptr;
  EXPECT_EQ(xcsGetMemFn(kWorkBufferSize, &block), xcsRC_OK);
  ZRFHDRBUF out{static_cast<uint8_t*>(block), kWorkBufferSize, prefix + kRfh2FixedLength};
  uint32_t written = 0;
  uint32_t skipped = 0;
  KWLONG failure = KWRC_NONE;
  const bool reversed = opts.Encoding != 546;
  const PlainOutcome outcome =
      WritePlainInListOrder(pal.pProps, opts.CopyPurpose, ListFamilyOf(pal.pProps), reversed, &out,
                            &written, &skipped, &failure);
  xcsFreeMemFn(out.pBuffer);
  return outcome;
}

void ExpectSame(const Outcome& plain, const Outcome& general, const std::string& where) {
  EXPECT_EQ(plain.reason, general.reason) << where;
  EXPECT_EQ(plain.bytes, general.bytes) << where;
  EXPECT_EQ(plain.size, general.size) << where;
  EXPECT_EQ(plain.allocations, general.allocations) << where;
  EXPECT_EQ(0, std::memcmp(&plain.marks, &general.marks, sizeof plain.marks)) << where;
  EXPECT_EQ(plain.trace, general.trace) << where;
}

// Random lists rich in what the plain writer must turn down or get right.
class ListMaker {
 public:
  // `odd` in 1000: how often a node or a name has something the plain
  // writer turns down.
  ListMaker(uint64_t seed, uint32_t odd) : rng_(seed), odd_(odd) {}

  // A list of CCSID `ccsid`; `locateOrder` places names as the store does,
  // otherwise they stand in the order made.
  // `atLeast` nodes or more; `userOnly`: every name a user property's, so
  // that the list has one folder.
  ZRFPAL Make(int32_t ccsid, bool locateOrder, uint32_t atLeast = 0, bool userOnly = false) {
    user_only_ = userOnly;
    ZRFPAL pal{};
    EXPECT_EQ(PrepareListForAppend(&pal, kFn), KWRC_NONE);
    pal.pProps->CCSID = ccsid;
    pal.pProps->CCSIDType = ccsid == 819 ? XCS_CCSID_TYPE_ASCII : XCS_CCSID_TYPE_UTF8;
    const uint32_t count = std::max(atLeast, Pick(20) == 0 ? 240 + Pick(40) : Pick(40));
    for (uint32_t i = 0; i < count; ++i) {
      const std::string name = Name();
      NodeSpec spec;
      std::string text;
      uint8_t fixed[8];
      Value(&spec, &text, fixed);
      spec.name = reinterpret_cast<const uint8_t*>(name.data());
      spec.name_length = static_cast<uint32_t>(name.size());
      spec.support = Odd() ? (Pick(2) == 0 ? 2u : 0x100000u) : KWPD_SUPPORT_OPTIONAL;
      spec.copy_options =
          Odd() ? static_cast<uint8_t>(Pick(256)) : static_cast<uint8_t>(KWCOPY_DEFAULT);
      if (Odd()) spec.type_flags |= ZRF_FLAG_USER_CONTEXT;
      if (Pick(40) == 0) spec.type_flags = ZRF_TYPE_NAME_ONLY;
      const KWLONG reason =
          locateOrder ? InsertOrReplaceNode(&pal, spec, false, kFn) : AppendNodeAtEnd(&pal, spec);
      EXPECT_EQ(reason, KWRC_NONE) << name;
    }
    return pal;
  }

  uint32_t Pick(uint32_t n) { return static_cast<uint32_t>(rng_() % n); }
  bool Odd() { return Pick(1000) < odd_; }

 private:
  // Names of one to four parts from pools whose last entries the plain
  // writer turns down; sometimes near 64 bytes.
  std::string Name() {
    static const char* const kFirsts[] = {"mcd",   "jms",   "usr",   "psc",     "kwps",
                                          "kwpse", "kwpsi", "kwext", "zol_rfp", "kw",
                                          "order", "e",     "Dlv",   "a",       "elt"};
    static const char* const kParts[] = {"grp", "g2", "e", "x9", "order", "Pri", "elt"};
    static const char* const kLeaves[] = {
        "Dlv", "Pri", "Seq",   "Exp",    "Tms",  "prop", "p1", "eltx", "x",     "\xC3\x89mile",
        "elt", "a-b", "9lead", "sp ace", "amp&", "$d",   "_u", "@at",  "t\x01", "Msd"};
    if (Odd()) {
      static const char* const kOdd[] = {".x", "x.", "a..b", "", "elt", "mcd", "jms.a.b", "9"};
      return kOdd[Pick(8)];
    }
    std::string name;
    const uint32_t parts = 1 + Pick(4);
    if (parts > 1) {
      name = std::string(kFirsts[user_only_ ? 10 + Pick(4) : Odd() ? Pick(15) : Pick(14)]) + ".";
    }
    for (uint32_t i = 2; i < parts; ++i)
      name += std::string(kParts[Odd() ? Pick(7) : Pick(6)]) + ".";
    name += kLeaves[Odd() ? Pick(20) : Pick(10)];
    if (Pick(15) == 0) {
      const size_t longest = Odd() ? 70 : 64;
      name += std::string(longest - std::min(longest, name.size()) - Pick(3), 'n');
    }
    return name;
  }

  void Value(NodeSpec* spec, std::string* text, uint8_t* fixed) {
    uint32_t code = Pick(12);
    if (code == ZRF_TYPE_NAME_ONLY || (code == ZRF_TYPE_AS_STORED && !Odd())) {
      code = ZRF_TYPE_STRING;
    }
    spec->type_flags = code;
    // Random bits, or a number at a boundary of its decimal digits.
    static const int64_t kEdges[] = {
        0,   9,        10,        99,        100,       9999,      10000,     -1,
        -10, 99999999, 100000000, INT32_MIN, INT32_MAX, INT64_MIN, INT64_MAX, 1700000000003LL};
    const uint64_t bits = Pick(3) == 0 ? static_cast<uint64_t>(kEdges[Pick(16)]) : rng_();
    std::memcpy(fixed, &bits, 8);
    if (code == ZRF_TYPE_STRING || code == ZRF_TYPE_BYTE_STRING || code == ZRF_TYPE_AS_STORED ||
        Odd()) {
      static const char* const kBits[] = {
          "plain", "&", "<",  ">", "'", "\"", "\xE2\x82\xAC", "\xF0\x9F\x98\x80",
          "\xC3",  " ", "123"};
      const uint32_t n = Pick(30) == 0 ? 5000 : Pick(12);
      for (uint32_t i = 0; i < n; ++i) *text += kBits[Pick(11)];
      if (code != ZRF_TYPE_STRING && code != ZRF_TYPE_BYTE_STRING && code != ZRF_TYPE_AS_STORED) {
        spec->type_flags |= ZRF_FLAG_STRING_FORM;
      }
      spec->value = reinterpret_cast<const uint8_t*>(text->data());
      spec->value_length = static_cast<uint32_t>(text->size());
      return;
    }
    if (code == ZRF_TYPE_FLOAT64 && Pick(2) == 0) {
      // Few decimals either sign, whole numbers ending in zeros, and
      // numbers near the largest of those written in fixed form.
      const double kScales[] = {0.125, -0.01, 1e5, 1e9, -0.1};
      const double v = static_cast<double>(Pick(100000)) * kScales[Pick(5)];
      std::memcpy(fixed, &v, 8);
    }
    spec->value = fixed;
    spec->value_length = FixedValueSize(code);
  }

  std::mt19937_64 rng_;
  uint32_t odd_;
  bool user_only_ = false;
};

ZRFHDROPTS OptionsFor(int32_t nameValueCcsid, int32_t encoding, int32_t copyPurpose) {
  ZRFHDROPTS opts{};
  opts.NameValueCCSID = nameValueCcsid;
  opts.CopyPurpose = copyPurpose;
  opts.Encoding = encoding;
  opts.CCSID = 1208;
  opts.DataEncoding = 546;
  opts.DataCCSID = 1208;
  std::memcpy(opts.DataFormat, "KWSTR   ", 8);
  return opts;
}

TEST(PropsPlainWriter, WritesWhatTheGeneralWriterWrites) {
  uint32_t plainLists = 0;
  uint32_t listOrder[4] = {};
  for (int i = 0; i < 1500; ++i) {
    // Lists with something odd in many nodes, in a few, or in none.
    static const uint32_t kOddness[] = {80, 8, 0};
    ListMaker maker(17 + i, kOddness[i % 3]);
    const int32_t ccsid = maker.Pick(4) == 0 ? 819 : 1208;
    ZRFPAL pal = maker.Make(ccsid, maker.Pick(3) != 0);
    const int32_t nameValueCcsid = maker.Pick(10) == 0 ? (ccsid == 819 ? 1208 : 819) : ccsid;
    static const int32_t kPurposes[] = {0, KWCOPY_ALL, KWCOPY_REPLY, KWCOPY_FORWARD};
    const ZRFHDROPTS opts =
        OptionsFor(nameValueCcsid, maker.Pick(3) == 0 ? 273 : 546, kPurposes[maker.Pick(4)]);
    // No buffer yet (the plan), or one of 4096 bytes with some of it used,
    // which the list-order writer takes when nothing has to grow (also
    // near its end, where growing depends on the order of the folders).
    const uint32_t prefix =
        maker.Pick(3) == 0 ? 72 : (maker.Pick(3) == 0 ? 2500 + maker.Pick(1500) : 0);
    PlainPlan plan;
    if (nameValueCcsid == ccsid && PlanPlainFolders(pal.pProps, opts.CopyPurpose, &plan) &&
        plan.folders != 0) {
      ++plainLists;
      if (prefix != 0) ++listOrder[static_cast<int>(ListOrderOutcome(pal, opts, prefix))];
    }
    ExpectSame(Convert(pal, opts, WriterPaths::kAny, prefix, 0),
               Convert(pal, opts, WriterPaths::kGeneralOnly, prefix, 0),
               "list " + std::to_string(i));
    if (HasFailure()) {
      FreeList(&pal);
      return;
    }
    FreeList(&pal);
  }
  // Enough of the lists took the plain writer for the comparison to count,
  // with and without a plan.
  EXPECT_GT(plainLists, 400u);
  EXPECT_GT(listOrder[static_cast<int>(PlainOutcome::kWritten)], 30u);
  EXPECT_GT(listOrder[static_cast<int>(PlainOutcome::kNeedsPlan)], 50u);
}

// A list the plain writer takes, failing each of its allocations in turn:
// without a buffer (the first output block, and its growths when it starts
// small), and behind 72 bytes of a work buffer (its growths; lists of more
// than a few thousand bytes are staged in list order and the buffer grown
// at the end).
TEST(PropsPlainWriter, FailsAsTheGeneralWriterFails) {
  ListMaker maker(3, 0);
  constexpr int64_t kDestinationSize = 64 * 1024;
  uint32_t tried = 0;
  uint32_t grown = 0;
  uint32_t placed = 0;
  for (int i = 0; i < 400 && tried < 60; ++i) {
    ZRFPAL pal = i % 2 == 0 ? maker.Make(1208, true) : maker.Make(1208, true, 150, true);
    const ZRFHDROPTS opts = OptionsFor(1208, 546, 0);
    PlainPlan plan;
    if (PlanPlainFolders(pal.pProps, 0, &plan) && plan.folders != 0) {
      ++tried;
      for (const uint32_t prefix : {0u, 72u}) {
        for (uint32_t failAt = 1; failAt <= 4; ++failAt) {
          const Outcome plain = Convert(pal, opts, WriterPaths::kAny, prefix, failAt);
          ExpectSame(plain, Convert(pal, opts, WriterPaths::kGeneralOnly, prefix, failAt),
                     "list " + std::to_string(i) + ", prefix " + std::to_string(prefix) +
                         ", allocation " + std::to_string(failAt));
          if (failAt == 1 && (prefix == 0 || plain.allocations != 0)) {
            EXPECT_EQ(plain.reason, KWRC_STORAGE_NOT_AVAILABLE);
          }
          // With the caller's buffer as the destination: untouched on
          // failure.
          ExpectSame(Convert(pal, opts, WriterPaths::kAny, prefix, failAt, kDestinationSize),
                     Convert(pal, opts, WriterPaths::kGeneralOnly, prefix, failAt),
                     "list " + std::to_string(i) + ", prefix " + std::to_string(prefix) +
                         ", allocation " + std::to_string(failAt) + ", destination");
        }
        // Destinations that hold the header, one byte short of it, and more.
        const Outcome general = Convert(pal, opts, WriterPaths::kGeneralOnly, prefix, 0);
        const auto length = static_cast<int64_t>(general.bytes.size());
        for (const int64_t size : {length - 1, length, kDestinationSize}) {
          const Outcome plain = Convert(pal, opts, WriterPaths::kAny, prefix, 0, size);
          ExpectSame(plain, general,
                     "list " + std::to_string(i) + ", prefix " + std::to_string(prefix) +
                         ", destination of " + std::to_string(size));
          if (plain.placed) ++placed;
        }
        if (prefix != 0 && Convert(pal, opts, WriterPaths::kAny, prefix, 0).allocations != 0 &&
            ListOrderOutcome(pal, opts, prefix) == PlainOutcome::kWritten) {
          ++grown;
        }
      }
    }
    FreeList(&pal);
  }
  EXPECT_EQ(tried, 60u);
  // Lists written in list order with the buffer grown, the larger
  // destinations taking them whole.
  EXPECT_GE(grown, 10u);
  EXPECT_GE(placed, 2 * grown);
}

}  // namespace
}  // namespace zxv::props
