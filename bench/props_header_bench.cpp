// Building the property header from a message handle
// (zstPropertiesToKWRFH2: lock, descriptor, folder choice, escaping, typed
// text) beside pugixml serialising the equivalent documents, for a header
// of about 1 KB (20 properties) and one of about 8 KB (150 properties) of
// mixed types with some escapes. Each iteration builds one header; the
// table at the end gives MB/s of header text and how many times faster the
// header is built than pugixml writes the same folders.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "bench/median_reporter.h"
#include "zxvxzu/message_handle.h"
#include "zxvxzu/props_header.h"

#if defined(ZXV_BENCH_PUGIXML)
#include <pugixml.hpp>
#endif

namespace {

constexpr KWHCONN kConn = 1;

// One property as set, for building the equivalent document.
struct Spec {
  std::string name;
  KWLONG type;
  std::string text;  // a string value
  int64_t integer;   // an integer or boolean value
  double real;       // a float value
};

// A handle holding `count` properties: a few in jms and mcd, the rest user
// properties of every type, some of them grouped, some strings with
// characters that must be escaped.
class Messages {
 public:
  explicit Messages(int count) {
    KWCMHO cmho{{'C', 'M', 'H', 'O'}, KWCMHO_VERSION_1, KWCMHO_VALIDATE};
    KWLONG cc;
    KWLONG rc;
    zstCreateMessageHandle(nullptr, kConn, &cmho, &anchor_, &h_, &cc, &rc);
    Set("jms.Dst", KWTYPE_STRING, "queue:///ORDERS.IN", 18);
    Set("jms.Rto", KWTYPE_STRING, "queue://QM1/ORDERS.REPLY", 24);
    Set("mcd.Msd", KWTYPE_STRING, "jms_text", 8);
    for (int i = 3; i < count; ++i) {
      const std::string group = i % 3 == 0 ? "order" + std::to_string(i / 12) + "." : "";
      const std::string name = group + "property" + std::to_string(i);
      switch (i % 6) {
        case 0: {
          const std::string v = "Customer <" + std::to_string(i) + "> & sons, wholesale and retail";
          Set(name, KWTYPE_STRING, v.data(), static_cast<KWLONG>(v.size()));
          break;
        }
        case 1: {
          const int32_t v = i * 1000;
          Set(name, KWTYPE_INT32, &v, sizeof v);
          break;
        }
        case 2: {
          const double v = i * 1.25;
          Set(name, KWTYPE_FLOAT64, &v, sizeof v);
          break;
        }
        case 3: {
          const int64_t v = 1700000000000LL + i;
          Set(name, KWTYPE_INT64, &v, sizeof v);
          break;
        }
        case 4: {
          const int32_t v = i & 1;
          Set(name, KWTYPE_BOOLEAN, &v, sizeof v);
          break;
        }
        default: {
          const std::string v =
              "plain text value number " + std::to_string(i) + " of the customer order";
          Set(name, KWTYPE_STRING, v.data(), static_cast<KWLONG>(v.size()));
          break;
        }
      }
    }
  }
  ~Messages() {
    KWLONG cc;
    KWLONG rc;
    zstDeleteMessageHandle(nullptr, kConn, &h_, nullptr, &anchor_, &cc, &rc);
  }

  const std::vector<Spec>& specs() const { return specs_; }

  // Builds the header into `out`; its length.
  KWULONG Build(std::vector<uint8_t>* out) {
    KWMD md{};
    md.Version = KWMD_VERSION_2;
    KWULONG length = 0;
    KWLONG cc;
    KWLONG rc;
    zstPropertiesToKWRFH2(nullptr, kConn, h_, nullptr, &md, out->data(),
                          static_cast<KWULONG>(out->size()), &anchor_, &length, &cc, &rc);
    return rc == KWRC_NONE ? length : 0;
  }

 private:
  void Set(const std::string& name, KWLONG type, const void* v, KWLONG length) {
    KWCHARV n{const_cast<char*>(name.data()), 0, 0, static_cast<KWLONG>(name.size()), 1208};
    KWLONG cc;
    KWLONG rc;
    zstSetMessageProperty(nullptr, kConn, h_, nullptr, &n, nullptr, type, length, v, &anchor_, &cc,
                          &rc);
    if (rc != KWRC_NONE) std::fprintf(stderr, "cannot set %s: %d\n", name.c_str(), rc);
    Spec spec{name, type, {}, 0, 0};
    if (type == KWTYPE_STRING) {
      spec.text.assign(static_cast<const char*>(v), static_cast<size_t>(length));
    } else if (type == KWTYPE_FLOAT64) {
      std::memcpy(&spec.real, v, sizeof spec.real);
    } else if (type == KWTYPE_INT64) {
      std::memcpy(&spec.integer, v, sizeof spec.integer);
    } else {
      int32_t i;
      std::memcpy(&i, v, sizeof i);
      spec.integer = i;
    }
    specs_.push_back(spec);
  }

  std::vector<Spec> specs_;
  MsgHandleAnchor anchor_{};
  KWHMSG h_ = KWHM_NONE;
};

void BM_PropsToHeader(benchmark::State& state) {
  Messages m(static_cast<int>(state.range(0)));
  std::vector<uint8_t> out(64 * 1024);
  KWULONG length = 0;
  for (auto _ : state) {
    length = m.Build(&out);
    benchmark::DoNotOptimize(out.data());
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * length);
  state.counters["header_bytes"] = length;
}
BENCHMARK(BM_PropsToHeader)->Arg(20)->Arg(150);

#if defined(ZXV_BENCH_PUGIXML)
// Appends to a string whose room is kept between iterations.
class StringWriter : public pugi::xml_writer {
 public:
  void write(const void* data, size_t size) override {
    text.append(static_cast<const char*>(data), size);
  }
  std::string text;
};

// The folders of our header as pugixml documents, serialised raw.
void BM_PugixmlSerialize(benchmark::State& state) {
  Messages m(static_cast<int>(state.range(0)));
  std::vector<uint8_t> header(64 * 1024);
  const KWULONG length = m.Build(&header);
  std::vector<pugi::xml_document> docs;
  for (uint32_t at = 36; at + 4 <= length;) {
    uint32_t n;
    std::memcpy(&n, header.data() + at, 4);
    docs.emplace_back();
    docs.back().load_buffer(header.data() + at + 4, n);
    at += 4 + n;
  }
  StringWriter writer;
  writer.text.reserve(2 * length);
  for (auto _ : state) {
    writer.text.clear();
    for (const pugi::xml_document& d : docs) {
      d.save(writer, "", pugi::format_raw | pugi::format_no_declaration);
    }
    benchmark::DoNotOptimize(writer.text.data());
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * writer.text.size()));
  state.counters["xml_bytes"] = static_cast<double>(writer.text.size());
}
BENCHMARK(BM_PugixmlSerialize)->Arg(20)->Arg(150);

// The same work as building the header: the documents built from the
// properties (folders, groups, typed text), then serialised.
void BM_PugixmlBuildAndSerialize(benchmark::State& state) {
  Messages m(static_cast<int>(state.range(0)));
  StringWriter writer;
  writer.text.reserve(16 * 1024);
  for (auto _ : state) {
    pugi::xml_document mcd;
    pugi::xml_document jms;
    pugi::xml_document usr;
    pugi::xml_node roots[] = {mcd.append_child("mcd"), jms.append_child("jms"),
                              usr.append_child("usr")};
    for (const Spec& spec : m.specs()) {
      std::string_view name = spec.name;
      pugi::xml_node parent = roots[2];
      if (name.substr(0, 4) == "mcd.") {
        parent = roots[0];
        name.remove_prefix(4);
      } else if (name.substr(0, 4) == "jms.") {
        parent = roots[1];
        name.remove_prefix(4);
      }
      for (size_t dot; (dot = name.find('.')) != std::string_view::npos;) {
        const std::string group(name.substr(0, dot));
        pugi::xml_node child = parent.last_child();
        parent = child && group == child.name() ? child : parent.append_child(group.c_str());
        name.remove_prefix(dot + 1);
      }
      pugi::xml_node leaf = parent.append_child(std::string(name).c_str());
      switch (spec.type) {
        case KWTYPE_STRING:
          leaf.text().set(spec.text.c_str());
          break;
        case KWTYPE_INT32:
          leaf.append_attribute("dt") = "i4";
          leaf.text().set(static_cast<int>(spec.integer));
          break;
        case KWTYPE_INT64:
          leaf.append_attribute("dt") = "i8";
          leaf.text().set(static_cast<long long>(spec.integer));
          break;
        case KWTYPE_BOOLEAN:
          leaf.append_attribute("dt") = "boolean";
          leaf.text().set(spec.integer != 0 ? "1" : "0");
          break;
        default:
          leaf.append_attribute("dt") = "r8";
          leaf.text().set(spec.real);
          break;
      }
    }
    writer.text.clear();
    for (const pugi::xml_document* d : {&mcd, &jms, &usr}) {
      d->save(writer, "", pugi::format_raw | pugi::format_no_declaration);
    }
    benchmark::DoNotOptimize(writer.text.data());
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * writer.text.size()));
  state.counters["xml_bytes"] = static_cast<double>(writer.text.size());
}
BENCHMARK(BM_PugixmlBuildAndSerialize)->Arg(20)->Arg(150);
#endif

// Console output plus MB/s and the ratio to pugixml at the end.
class RatioReporter : public MedianReporter {
 public:
  void Finalize() override {
    MedianReporter::Finalize();
    // CPU time: the machine may be shared. Ratio: pugixml's time over ours
    // (above 1, the header is built faster).
    std::printf("\n%-30s %10s %10s %12s\n", "per header (CPU)", "ns", "MB/s", "ratio");
    for (const char* n : {"20", "150"}) {
      const std::string ours = std::string("BM_PropsToHeader/") + n;
      const double oursNs = CpuNs(ours);
      if (oursNs <= 0) continue;
      std::printf("%-30s %10.0f %10.1f\n", ours.c_str(), oursNs,
                  Counter(ours, "bytes_per_second") / 1e6);
      for (const char* peer : {"BM_PugixmlSerialize/", "BM_PugixmlBuildAndSerialize/"}) {
        const std::string other = std::string(peer) + n;
        const double otherNs = CpuNs(other);
        if (otherNs <= 0) continue;
        std::printf("%-30s %10.0f %10.1f %12.2f\n", other.c_str(), otherNs,
                    Counter(other, "bytes_per_second") / 1e6, otherNs / oursNs);
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
