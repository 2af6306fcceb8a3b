// The folder parser beside general markup parsers: zrfParse turns a
// realistic KWRFH2 (1 KB with about 20 properties, 8 KB with about 150;
// strings, some with entities, integers, booleans, floats, bytes and a few
// groups) into a property list, with every name checked and every value
// typed; expat (events only) and pugixml (a DOM) parse the same folder
// texts. Throughput counts the folder bytes for all three. After the run the
// ratio of each peer's time to the parser's is printed (above 1: the parser
// is faster).
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#ifdef ZXV_BENCH_EXPAT
#include <expat.h>
#endif
#ifdef ZXV_BENCH_PUGIXML
#include <pugixml.hpp>
#endif

#include "bench/median_reporter.h"
#include "zxvxzu/folder_parser.h"
#include "zxvxzu/properties.h"

namespace {

struct Header {
  std::vector<std::string> folders;  // UTF-8 folder texts
  std::string message;               // KWRFH2 with those folders, then a body
  size_t folder_bytes = 0;
  size_t properties = 0;
};

void PutInt(std::string* out, int32_t v) { out->append(reinterpret_cast<const char*>(&v), 4); }

// One user property of a rotating kind. The values are of the lengths
// real headers carry (names, addresses, identifiers, notes), so that a
// property takes about 55 bytes of folder text: 1 KB holds about 20
// properties and 8 KB about 150.
std::string UserProperty(size_t i, size_t* count) {
  const std::string n = std::to_string(i);
  ++*count;
  switch (i % 10) {
    case 0:
      return "<customerName" + n + ">Jane Doe &amp; Sons Ltd., 12 Harbour Road</customerName" + n +
             ">";
    case 1:
      return "<orderNumber" + n + " dt='i8'>" + std::to_string(9000000000LL + i * 7919) +
             "</orderNumber" + n + ">";
    case 2:
      return "<quantityOrdered" + n + " dt='i4'>" + std::to_string(i * 7) + "</quantityOrdered" +
             n + ">";
    case 3:
      return "<expressDelivery" + n + " dt='boolean'>" + (i % 3 ? "1" : "0") + "</expressDelivery" +
             n + ">";
    case 4:
      return "<unitPrice" + n + " dt='r8'>1234.5" + n + "</unitPrice" + n + ">";
    case 5:
      return "<shippingRegion" + n + ">EMEA-North/Frankfurt-DC2</shippingRegion" + n + ">";
    case 6:
      return "<sessionToken" + n + " dt='bin.hex'>0a1b2c3d4e5f60718293a4b5c6d7e8f9</sessionToken" +
             n + ">";
    case 7:
      *count += 1;
      return "<line" + n + "><sku>SKU-4711-" + n + "</sku><qty dt='i2'>3</qty></line" + n + ">";
    case 8:
      return "<handlingNote" + n + ">weight &lt; 20 kg, fragile &gt; stack</handlingNote" + n + ">";
    default:
      return "<channelPriority" + n + " dt='i1'>5</channelPriority" + n + ">";
  }
}

Header MakeHeader(size_t target) {
  Header h;
  h.folders.push_back("<mcd><Msd>jms_text</Msd></mcd>");
  h.folders.push_back(
      "<jms><Dst>queue:///ORDERS.IN</Dst><Tms>1700000000123</Tms><Dlv>2</Dlv>"
      "<Pri>4</Pri><Rto>queue://QM1/ORDERS.REPLY</Rto></jms>");
  h.properties = 6;
  std::string usr = "<usr>";
  for (size_t i = 0; h.folders[0].size() + h.folders[1].size() + usr.size() + 6 < target; ++i) {
    usr += UserProperty(i, &h.properties);
  }
  usr += "</usr>";
  h.folders.push_back(usr);

  std::string body;
  for (std::string f : h.folders) {
    while (f.size() % 4 != 0) f += ' ';
    h.folder_bytes += f.size();
    PutInt(&body, static_cast<int32_t>(f.size()));
    body += f;
  }
  h.message = "RFH ";
  PutInt(&h.message, 2);
  PutInt(&h.message, static_cast<int32_t>(36 + body.size()));
  PutInt(&h.message, 546);
  PutInt(&h.message, 1208);
  h.message += "KWSTR   ";
  PutInt(&h.message, 0);
  PutInt(&h.message, 1208);
  h.message += body;
  h.message += "message body";
  return h;
}

const Header& Small() {
  static const Header h = MakeHeader(1024);
  return h;
}
const Header& Large() {
  static const Header h = MakeHeader(8192);
  return h;
}
const Header& Pick(const benchmark::State& state) {
  return state.range(0) == 0 ? Small() : Large();
}

void BM_FolderParse(benchmark::State& state) {
  const Header& h = Pick(state);
  std::string message = h.message;
  for (auto _ : state) {
    ZRFPAL pal{};
    KWULONG offset = 0;
    KWULONG length = 0;
    KWLONG cc = 0;
    KWLONG rc = 0;
    zrfParse(ZRF_PARSE_FILL_HANDLE, message.data(), static_cast<KWULONG>(message.size()),
             "KWHRF2  ", 546, 1208, &pal, nullptr, nullptr, &offset, &length, &cc, &rc);
    if (rc != 0) {
      state.SkipWithError("zrfParse failed");
      break;
    }
    benchmark::DoNotOptimize(pal.pProps);
    zrfFreePAL(&pal, 0, &cc, &rc);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * h.folder_bytes));
  state.counters["properties"] = static_cast<double>(h.properties);
}
BENCHMARK(BM_FolderParse)->Arg(0)->Arg(1);

#ifdef ZXV_BENCH_PUGIXML
void BM_PugixmlDom(benchmark::State& state) {
  const Header& h = Pick(state);
  pugi::xml_document doc;
  for (auto _ : state) {
    for (const std::string& f : h.folders) {
      const pugi::xml_parse_result r =
          doc.load_buffer(f.data(), f.size(), pugi::parse_default, pugi::encoding_utf8);
      if (!r) state.SkipWithError("pugixml failed");
      benchmark::DoNotOptimize(doc.first_child());
    }
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * h.folder_bytes));
}
BENCHMARK(BM_PugixmlDom)->Arg(0)->Arg(1);
#endif

#ifdef ZXV_BENCH_EXPAT
struct ExpatCounts {
  size_t elements = 0;
  size_t text = 0;
};
void XMLCALL OnStart(void* data, const XML_Char*, const XML_Char**) {
  ++static_cast<ExpatCounts*>(data)->elements;
}
void XMLCALL OnEnd(void*, const XML_Char*) {}
void XMLCALL OnText(void* data, const XML_Char*, int length) {
  static_cast<ExpatCounts*>(data)->text += static_cast<size_t>(length);
}

void BM_Expat(benchmark::State& state) {
  const Header& h = Pick(state);
  XML_Parser parser = XML_ParserCreate("UTF-8");
  ExpatCounts counts;
  for (auto _ : state) {
    for (const std::string& f : h.folders) {
      XML_ParserReset(parser, "UTF-8");
      XML_SetUserData(parser, &counts);
      XML_SetElementHandler(parser, OnStart, OnEnd);
      XML_SetCharacterDataHandler(parser, OnText);
      if (XML_Parse(parser, f.data(), static_cast<int>(f.size()), 1) != XML_STATUS_OK) {
        state.SkipWithError("expat failed");
      }
    }
  }
  benchmark::DoNotOptimize(counts.elements);
  XML_ParserFree(parser);
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * h.folder_bytes));
}
BENCHMARK(BM_Expat)->Arg(0)->Arg(1);
#endif

// Console output plus the peers' time over the parser's at the end.
class RatioReporter : public MedianReporter {
 public:
  void Finalize() override {
    MedianReporter::Finalize();
    std::printf("\n%-10s %8s %6s %12s %12s %12s\n", "header", "bytes", "props", "parser MB/s",
                "pugixml/ours", "expat/ours");
    for (int arg = 0; arg < 2; ++arg) {
      const Header& h = arg == 0 ? Small() : Large();
      const std::string suffix = "/" + std::to_string(arg);
      const double ours = CpuNs("BM_FolderParse" + suffix);
      if (ours <= 0) continue;
      const double pugi = CpuNs("BM_PugixmlDom" + suffix);
      const double expat = CpuNs("BM_Expat" + suffix);
      std::printf("%-10s %8zu %6zu %12.1f %12s %12s\n", arg == 0 ? "1 KB" : "8 KB", h.folder_bytes,
                  h.properties, h.folder_bytes / ours * 1e3, Ratio(pugi, ours).c_str(),
                  Ratio(expat, ours).c_str());
    }
  }

 private:
  static std::string Ratio(double peer, double ours) {
    if (peer <= 0) return "-";
    char buf[32];
    std::snprintf(buf, sizeof buf, "%.2f", peer / ours);
    return buf;
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
