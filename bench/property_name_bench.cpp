// The property-name check (characters, reserved words, known names) on
// realistic names: user names of 5 to 30 characters, dotted groups, a few
// known names and some near misses of reserved words, in UTF-8, a
// single-byte EBCDIC CCSID (37) and UCS-2 (1200, least significant byte
// first). Beside it, for each encoding:
//   - the plain first implementation of the same checks (kept as the test
//     reference), on the same names;
//   - a floor: a loop that only tests each byte against a 256-entry table;
//   - an std::unordered_set<std::string_view> lookup of each name among the
//     known names (the cost of a hash-set membership test).
// Times are per name; after the run the ratios are printed.
#include <benchmark/benchmark.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <map>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "bench/median_reporter.h"
#include "props/name_char_table.h"
#include "props/property_names.h"
#include "tests/props/internal/name_check_reference.h"
#include "zxvxcs2/xcs_ccsid.h"

namespace {

namespace zp = zxv::props;

struct Encoding {
  const char* label;
  int32_t ccsid;
  int32_t encoding;
  int32_t ccsidType;
};
constexpr Encoding kEncodings[] = {
    {"UTF-8", 1208, 546, ZRF_CCSIDTYPE_UTF8},
    {"37", 37, 546, ZRF_CCSIDTYPE_EBCDIC},
    {"UCS-2", 1200, 546, ZRF_CCSIDTYPE_LUCS2},
};

// Names as applications and the system write them; every one passes.
std::vector<std::string> Utf8Names() {
  std::vector<std::string> names = {
      // user names and dotted groups
      "orderId", "customerName", "usr.order.17", "usr.customer.reference", "app.trace", "quantity",
      "express", "region", "shipping.address.postcode", "priceInCents", "correlationToken",
      "retryCount", "tenant.id", "batch.sequence.number", "x.y.z", "traceparent", "sourceSystem",
      "line3.sku", "routingKey", "messageVersion", "ordersProcessedToday", "a.b", "userAgentString",
      "contentEncoding", "eventType",
      // known names
      "Root.KWMD.Priority", "Root.KWMD.CorrelId", "jms.Dst", "jms.Tms", "jms.Pri", "mcd.Msd",
      "JMSCorrelationID", "JMS_ZOL_Format", "kwps.Top", "KWTopicString",
      // near misses of reserved words and families
      "classes", "Android", "inValue", "Bodyx", "Propertiesx", "isReady", "notify", "orders",
      "doubled", "newOrder", "kwpscx", "pscx", "Rooted", "JMx"};
  return names;
}

struct NameSet {
  std::vector<std::string> bytes;
  std::vector<std::string> utf8;
};

const NameSet& Names(const Encoding& enc) {
  static std::map<int32_t, NameSet> sets;
  NameSet& s = sets[enc.ccsidType];
  if (!s.bytes.empty()) return s;
  s.utf8 = Utf8Names();
  for (const std::string& n : s.utf8) {
    std::string out(n.size() * 4, '\0');
    uint32_t used = 0;
    if (xcsConvertString(1208, 546, n.data(), static_cast<uint32_t>(n.size()), enc.ccsid,
                         enc.encoding, out.data(), static_cast<uint32_t>(out.size()),
                         &used) != xcsRC_OK) {
      std::fprintf(stderr, "cannot convert %s to %d\n", n.c_str(), enc.ccsid);
      std::abort();
    }
    out.resize(used);
    s.bytes.push_back(out);
  }
  return s;
}

template <typename Check>
void RunChecks(benchmark::State& state, Check check) {
  const Encoding& enc = kEncodings[state.range(0)];
  const NameSet& names = Names(enc);
  for (const std::string& n : names.bytes) {
    zp::NameId id = 0;
    if (check(n, enc, &id) != KWRC_NONE) {
      state.SkipWithError("a benchmark name was refused");
      return;
    }
  }
  for (auto _ : state) {
    for (const std::string& n : names.bytes) {
      zp::NameId id = 0;
      benchmark::DoNotOptimize(check(n, enc, &id));
      benchmark::DoNotOptimize(id);
    }
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * names.bytes.size()));
  state.SetLabel(enc.label);
}

void BM_Validate(benchmark::State& state) {
  RunChecks(state, [](const std::string& n, const Encoding& enc, zp::NameId* id) {
    return zp::ValidatePropertyName(n.data(), static_cast<KWLONG>(n.size()), enc.ccsid,
                                    enc.ccsidType, id);
  });
}

void BM_ValidateReference(benchmark::State& state) {
  RunChecks(state, [](const std::string& n, const Encoding& enc, zp::NameId* id) {
    return zp::reference::ValidatePropertyName(n.data(), static_cast<KWLONG>(n.size()), enc.ccsid,
                                               enc.ccsidType, id);
  });
}

// The floor: each byte of each name against a 256-entry table (the part set
// of the row's first 256 characters), nothing else.
void BM_ByteTableFloor(benchmark::State& state) {
  const Encoding& enc = kEncodings[state.range(0)];
  const NameSet& names = Names(enc);
  const zp::NameCharRow* row = zp::FindNameCharRow(enc.ccsid);
  std::array<uint8_t, 256> table{};
  for (uint32_t b = 0; b < 256; ++b) table[b] = zp::TestCharBit(row->part, b) ? 1 : 0;
  table[enc.ccsidType == ZRF_CCSIDTYPE_EBCDIC ? 0x4B : 0x2E] = 1;
  table[0] = 1;  // the zero bytes of UCS-2
  for (auto _ : state) {
    for (const std::string& n : names.bytes) {
      uint8_t ok = 1;
      for (unsigned char c : n) ok &= table[c];
      benchmark::DoNotOptimize(ok);
    }
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * names.bytes.size()));
  state.SetLabel(enc.label);
}

// A hash-set membership test of each name among the known names, in the
// name's own encoding.
void BM_UnorderedSet(benchmark::State& state) {
  const Encoding& enc = kEncodings[state.range(0)];
  const NameSet& names = Names(enc);
  // The known names written in this encoding, kept alive for the views.
  static std::map<int32_t, std::vector<std::string>> known;
  std::vector<std::string>& k = known[enc.ccsidType];
  if (k.empty()) {
    for (zp::NameId id = 100; id < 1000; ++id) {
      const char* text = zp::KnownNameText(id);
      if (text == nullptr) continue;
      std::string out(std::strlen(text) * 4, '\0');
      uint32_t used = 0;
      if (xcsConvertString(1208, 546, text, static_cast<uint32_t>(std::strlen(text)), enc.ccsid,
                           enc.encoding, out.data(), static_cast<uint32_t>(out.size()),
                           &used) == xcsRC_OK) {
        out.resize(used);
        k.push_back(out);
      }
    }
  }
  const std::unordered_set<std::string_view> set(k.begin(), k.end());
  for (auto _ : state) {
    for (const std::string& n : names.bytes) {
      benchmark::DoNotOptimize(set.count(std::string_view(n)));
    }
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * names.bytes.size()));
  state.SetLabel(enc.label);
}

BENCHMARK(BM_Validate)->DenseRange(0, 2);
BENCHMARK(BM_ValidateReference)->DenseRange(0, 2);
BENCHMARK(BM_ByteTableFloor)->DenseRange(0, 2);
BENCHMARK(BM_UnorderedSet)->DenseRange(0, 2);

// Console output plus, per encoding, ns per name and the ratios.
class RatioReporter : public MedianReporter {
 public:
  void Finalize() override {
    MedianReporter::Finalize();
    std::printf("\n%-8s %10s %10s %10s %10s %10s %10s %10s\n", "names", "ours ns", "first ns",
                "floor ns", "set ns", "first/ours", "ours/floor", "ours/set");
    for (size_t i = 0; i < std::size(kEncodings); ++i) {
      const std::string arg = "/" + std::to_string(i);
      const double ours = PerName("BM_Validate" + arg);
      const double first = PerName("BM_ValidateReference" + arg);
      const double floor = PerName("BM_ByteTableFloor" + arg);
      const double set = PerName("BM_UnorderedSet" + arg);
      if (ours <= 0) continue;
      std::printf("%-8s %10.1f %10.1f %10.1f %10.1f %10.2f %10.2f %10.2f\n", kEncodings[i].label,
                  ours, first, floor, set, first / ours, floor > 0 ? ours / floor : 0,
                  set > 0 ? ours / set : 0);
    }
  }

 private:
  // CPU ns per name (the machine may be shared).
  double PerName(const std::string& name) const {
    return CpuNs(name) / static_cast<double>(Utf8Names().size());
  }
};

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  return 0;
}
