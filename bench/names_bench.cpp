// Name checks and topic escaping beside their floors: memchr over the same
// 48-byte names (a check cannot read less than the name), and memcpy of the
// same topic bytes (escaping cannot write less than the string). Each
// iteration handles one name or one topic string; after the run the ratio
// of each operation to its floor is printed.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "bench/median_reporter.h"
#include "zxvxcs2/xcs_memory.h"
#include "zxvxzu/names.h"
#include "zxvxzu/topic.h"

namespace {

constexpr size_t kWidth = KW_OBJECT_NAME_LENGTH;

// Queue, channel and queue-manager names as installations use them: mostly
// dotted qualifiers of 10 to 35 characters, a few short ones, a few at the
// full width.
std::vector<std::string> MakeNames() {
  const char* bases[] = {
      "SYSTEM.DEFAULT.LOCAL.QUEUE",
      "SYSTEM.ADMIN.COMMAND.QUEUE",
      "SYSTEM.DEAD.LETTER.QUEUE",
      "APP.ORDERS.IN",
      "APP.ORDERS.OUT",
      "PAYROLL.REPLY",
      "QM1",
      "QMGR_PROD_01",
      "TO.REMOTE.QM2/XMIT",
      "CLUS.BROKER.%STATUS",
      "RETAIL.STORE.0042.SALES",
      "HR.EMPLOYEE.UPDATES.V2",
      "A",
      "MQ.TEST_QUEUE.DEV",
      "INVENTORY.RESTOCK.REQUEST",
      "FINANCE.LEDGER.POSTINGS.DAILY.BATCH.NIGHTLY.RUN",
  };
  std::vector<std::string> names;
  for (int round = 0; round < 4; ++round) {
    for (const char* b : bases) {
      std::string n = b;
      if (round > 0 && n.size() + 3 <= kWidth) n += ".R" + std::to_string(round);
      n.resize(kWidth, ' ');
      names.push_back(n);
    }
  }
  return names;  // 64 names
}

std::vector<std::string> MakeTopics(bool with_escapes) {
  if (!with_escapes) {
    return {
        "sports/football/premier/results",
        "price/fruit/apples",
        "finance/markets/equities/london/ftse100/constituents/update",
        "iot/building7/floor3/room312/temperature",
        "news/world/europe",
        "orders/retail/store0042/created",
        "telemetry/fleet/truck-1187/gps/position/latest",
        "weather/forecast/uk/london/hourly",
    };
  }
  return {
      "promotions/50%/off/today",
      "faq/what?/why*",
      "sports/football/premier/results",
      "discounts/100%",
      "search/q?term=*apples*",
      "iot/building7/floor3/room312/temperature",
      "rates/5%/fixed",
      "news/world/europe",
  };
}

const std::vector<std::string>& Names() {
  static const std::vector<std::string> names = MakeNames();
  return names;
}

void BM_CheckValidName(benchmark::State& state) {
  const auto& names = Names();
  size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(zutCheckValidName(names[i].data(), 0, nullptr));
    i = (i + 1) % names.size();
  }
}
BENCHMARK(BM_CheckValidName);

void BM_CheckQMName(benchmark::State& state) {
  const auto& names = Names();
  size_t i = 0;
  KWLONG cc, reason;
  for (auto _ : state) {
    benchmark::DoNotOptimize(zutCheckQMName(names[i].data(), &cc, &reason));
    i = (i + 1) % names.size();
  }
}
BENCHMARK(BM_CheckQMName);

void BM_NameFloor_memchr(benchmark::State& state) {
  const auto& names = Names();
  size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(std::memchr(names[i].data(), '\0', kWidth));
    i = (i + 1) % names.size();
  }
}
BENCHMARK(BM_NameFloor_memchr);

void Escape(benchmark::State& state, bool with_escapes) {
  const auto topics = MakeTopics(with_escapes);
  size_t i = 0;
  for (auto _ : state) {
    const std::string& t = topics[i];
    KWULONG len, alloc;
    char* out;
    KWLONG cc, reason;
    zutEscapeTopicString(ZUT_TOPIC_ESCAPED, static_cast<KWULONG>(t.size()), t.data(), &len, &out,
                         &alloc, &cc, &reason);
    benchmark::DoNotOptimize(out);
    if (alloc) xcsFreeMemFn(out);
    i = (i + 1) % topics.size();
  }
}

void Copy(benchmark::State& state, bool with_escapes) {
  const auto topics = MakeTopics(with_escapes);
  char buffer[256];
  size_t i = 0;
  for (auto _ : state) {
    const std::string& t = topics[i];
    std::memcpy(buffer, t.data(), t.size());
    benchmark::DoNotOptimize(buffer);
    benchmark::ClobberMemory();
    i = (i + 1) % topics.size();
  }
}

void BM_EscapeTopic_NoEscapes(benchmark::State& s) { Escape(s, false); }
void BM_EscapeTopic_SomeEscapes(benchmark::State& s) { Escape(s, true); }
void BM_TopicFloor_memcpy_NoEscapes(benchmark::State& s) { Copy(s, false); }
void BM_TopicFloor_memcpy_SomeEscapes(benchmark::State& s) { Copy(s, true); }
BENCHMARK(BM_EscapeTopic_NoEscapes);
BENCHMARK(BM_EscapeTopic_SomeEscapes);
BENCHMARK(BM_TopicFloor_memcpy_NoEscapes);
BENCHMARK(BM_TopicFloor_memcpy_SomeEscapes);

// Console output plus a table of ratios to the floors at the end.
class RatioReporter : public MedianReporter {
 public:
  void Finalize() override {
    MedianReporter::Finalize();
    const std::pair<const char*, const char*> pairs[] = {
        {"BM_CheckValidName", "BM_NameFloor_memchr"},
        {"BM_CheckQMName", "BM_NameFloor_memchr"},
        {"BM_EscapeTopic_NoEscapes", "BM_TopicFloor_memcpy_NoEscapes"},
        {"BM_EscapeTopic_SomeEscapes", "BM_TopicFloor_memcpy_SomeEscapes"},
    };
    std::printf("\n%-28s %10s %10s %8s\n", "operation", "ns/op", "floor ns", "ratio");
    for (const auto& [op, floor] : pairs) {
      const double ns = RealNs(op);
      const double floorNs = RealNs(floor);
      if (ns <= 0 || floorNs <= 0) continue;
      std::printf("%-28s %10.2f %10.2f %8.1f\n", op, ns, floorNs, ns / floorNs);
    }
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
