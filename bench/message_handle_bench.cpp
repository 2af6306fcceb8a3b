// Message handles beside the map a C++ program would otherwise keep
// properties in: std::unordered_map<std::string, std::variant<...>>. One
// iteration empties the container, sets N properties of mixed types and
// inquires each by name, copying its value out. After the run the ratio of
// handle to map is printed for each N.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <unordered_map>
#include <variant>
#include <vector>

#include "bench/median_reporter.h"
#include "zxvxzu/message_handle.h"

namespace {

using Value =
    std::variant<bool, int16_t, int32_t, int64_t, double, std::string, std::vector<uint8_t>>;

struct Property {
  std::string name;
  KWLONG type;
  Value value;
  std::vector<uint8_t> bytes;  // the value as the handle takes it
};

// Names as applications write them: a few dotted groups and some plain
// names, 5 to 20 characters.
std::vector<Property> MakeProperties(int count) {
  const char* prefixes[] = {"usr.order.", "usr.customer.", "app.", "trace", "x"};
  std::vector<Property> props;
  for (int i = 0; i < count; ++i) {
    Property p;
    p.name = std::string(prefixes[i % 5]) + std::to_string(i);
    switch (i % 7) {
      case 0: {
        const int32_t v = i * 1000;
        p.type = KWTYPE_INT32;
        p.value = v;
        p.bytes.assign(reinterpret_cast<const uint8_t*>(&v),
                       reinterpret_cast<const uint8_t*>(&v) + sizeof v);
        break;
      }
      case 1: {
        const std::string v = "value-" + std::to_string(i * 7919);
        p.type = KWTYPE_STRING;
        p.value = v;
        p.bytes.assign(v.begin(), v.end());
        break;
      }
      case 2: {
        const int64_t v = int64_t{i} << 40;
        p.type = KWTYPE_INT64;
        p.value = v;
        p.bytes.assign(reinterpret_cast<const uint8_t*>(&v),
                       reinterpret_cast<const uint8_t*>(&v) + sizeof v);
        break;
      }
      case 3: {
        const int32_t v = i & 1;
        p.type = KWTYPE_BOOLEAN;
        p.value = v != 0;
        p.bytes.assign(reinterpret_cast<const uint8_t*>(&v),
                       reinterpret_cast<const uint8_t*>(&v) + sizeof v);
        break;
      }
      case 4: {
        const double v = i * 0.5;
        p.type = KWTYPE_FLOAT64;
        p.value = v;
        p.bytes.assign(reinterpret_cast<const uint8_t*>(&v),
                       reinterpret_cast<const uint8_t*>(&v) + sizeof v);
        break;
      }
      case 5: {
        std::vector<uint8_t> v(16, static_cast<uint8_t>(i));
        p.type = KWTYPE_BYTE_STRING;
        p.value = v;
        p.bytes = v;
        break;
      }
      default: {
        const int16_t v = static_cast<int16_t>(i);
        p.type = KWTYPE_INT16;
        p.value = v;
        p.bytes.assign(reinterpret_cast<const uint8_t*>(&v),
                       reinterpret_cast<const uint8_t*>(&v) + sizeof v);
        break;
      }
    }
    props.push_back(std::move(p));
  }
  return props;
}

void HandleSetInquire(benchmark::State& state, KWLONG createOptions) {
  const std::vector<Property> props = MakeProperties(static_cast<int>(state.range(0)));
  std::vector<KWCHARV> names;
  for (const Property& p : props) {
    names.push_back(KWCHARV{const_cast<char*>(p.name.data()), 0, 0,
                            static_cast<KWLONG>(p.name.size()), KWCCSI_UTF8});
  }
  MsgHandleAnchor anchor{};
  const KWCMHO cmho{{'C', 'M', 'H', 'O'}, KWCMHO_VERSION_1, createOptions};
  KWHMSG hMsg = KWHM_NONE;
  KWLONG cc;
  KWLONG rc;
  if (zstCreateMessageHandle(nullptr, 1, &cmho, &anchor, &hMsg, &cc, &rc) != KWRC_NONE) {
    state.SkipWithError("create failed");
    return;
  }
  uint8_t buffer[64];
  KWIMPO impo = KWIMPO_DEFAULT_INIT;
  for (auto _ : state) {
    zstResetMessageHandle(nullptr, anchor.pHead, 0);
    for (size_t i = 0; i < props.size(); ++i) {
      const Property& p = props[i];
      zstSetMessageProperty(nullptr, 1, hMsg, nullptr, &names[i], nullptr, p.type,
                            static_cast<KWLONG>(p.bytes.size()), p.bytes.data(), &anchor, &cc, &rc);
    }
    for (size_t i = 0; i < props.size(); ++i) {
      KWLONG type = KWTYPE_AS_SET;
      KWLONG length = 0;
      zstInquireMessageProperty(nullptr, 1, hMsg, &impo, &names[i], nullptr, &type, sizeof buffer,
                                buffer, &length, &anchor, &cc, &rc);
      benchmark::DoNotOptimize(buffer);
      if (rc != KWRC_NONE) state.SkipWithError("inquire failed");
    }
  }
  zstDeleteMessageHandle(nullptr, 1, &hMsg, nullptr, &anchor, &cc, &rc);
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

void BM_Handle(benchmark::State& state) { HandleSetInquire(state, KWCMHO_DEFAULT_VALIDATION); }
void BM_HandleValidating(benchmark::State& state) { HandleSetInquire(state, KWCMHO_VALIDATE); }

// The map: a value is copied out of the variant the way an inquiry copies
// it into the caller's buffer.
void BM_Map(benchmark::State& state) {
  const std::vector<Property> props = MakeProperties(static_cast<int>(state.range(0)));
  std::unordered_map<std::string, Value> map;
  uint8_t buffer[64];
  for (auto _ : state) {
    map.clear();
    for (const Property& p : props) map[p.name] = p.value;
    for (const Property& p : props) {
      const auto it = map.find(p.name);
      if (it == map.end()) {
        state.SkipWithError("find failed");
        break;
      }
      std::visit(
          [&](const auto& v) {
            using T = std::decay_t<decltype(v)>;
            if constexpr (std::is_same_v<T, std::string> ||
                          std::is_same_v<T, std::vector<uint8_t>>) {
              std::memcpy(buffer, v.data(), v.size());
            } else {
              std::memcpy(buffer, &v, sizeof v);
            }
          },
          it->second);
      benchmark::DoNotOptimize(buffer);
    }
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

BENCHMARK(BM_Handle)->Arg(20)->Arg(200);
BENCHMARK(BM_HandleValidating)->Arg(20)->Arg(200);
BENCHMARK(BM_Map)->Arg(20)->Arg(200);

// Console output plus the ratio of handle to map at the end.
class RatioReporter : public MedianReporter {
 public:
  void Finalize() override {
    MedianReporter::Finalize();
    std::printf("\n%-28s %12s %12s %8s\n", "set+inquire N properties", "handle ns", "map ns",
                "ratio");
    for (const char* handle : {"BM_Handle", "BM_HandleValidating"}) {
      for (const char* n : {"20", "200"}) {
        const std::string op = std::string(handle) + "/" + n;
        const double ns = CpuNs(op);
        const double mapNs = CpuNs(std::string("BM_Map/") + n);
        if (ns <= 0 || mapNs <= 0) continue;
        std::printf("%-28s %12.0f %12.0f %8.2f\n", op.c_str(), ns, mapNs, ns / mapNs);
      }
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
