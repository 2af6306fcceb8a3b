// PCF conversion beside its floor. Two 64 KB messages from a big-endian
// EBCDIC sender (encoding 273, CCSID 37) converted to 546/850 through
// vpiConvertData: one mostly of string parameters, one mostly of integer
// lists. The floor of each is what no converter can avoid: ICU converting
// the message's string bytes in one call, plus a byte-swap loop over the
// message's 32- and 64-bit integers. A third case converts the string
// message to UTF-8, where the strings with non-ASCII letters change length.
// Small conversions are the common case, so the per-call cost of converting
// one 8-character format name is measured too, beside one ICU call on the
// same 8 bytes. After the run the ratio of each operation to its floor is
// printed.
#include <benchmark/benchmark.h>
#include <unicode/ucnv.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "bench/median_reporter.h"
#include "zxvxzu/dataconv.h"
#include "zxvxzu/kwrfh2.h"
#include "zxvxzu/pcf.h"

namespace {

// ICU's platform of numbered code pages: value 0 of UConverterPlatform, the
// only one ucnv_openCCSID accepts.
constexpr UConverterPlatform kNumberedCodePages = static_cast<UConverterPlatform>(0);

constexpr size_t kMessageSize = 64 * 1024;

// A message being built, with the parts its floor consists of kept aside.
struct Message {
  std::string bytes;
  std::string strings;           // every string's bytes, one after another
  std::vector<uint32_t> ints32;  // every 32-bit integer as sent
  std::vector<uint64_t> ints64;  // every 64-bit integer as sent

  void I32(int32_t v) {
    const uint32_t u = static_cast<uint32_t>(v);
    for (int shift = 24; shift >= 0; shift -= 8) bytes.push_back(static_cast<char>(u >> shift));
    ints32.push_back(__builtin_bswap32(u));  // as it lies in memory, big-endian
  }
  void I64(int64_t v) {
    const uint64_t u = static_cast<uint64_t>(v);
    for (int shift = 56; shift >= 0; shift -= 8) bytes.push_back(static_cast<char>(u >> shift));
    ints64.push_back(__builtin_bswap64(u));
  }
  void Header() {
    for (int32_t v : {KWCFT_RESPONSE, KWCFH_STRUC_LENGTH, 3, 13, 1, 1, 0, 0, 0}) I32(v);
  }
  void Count(int32_t parameters) {
    const uint32_t u = static_cast<uint32_t>(parameters);
    for (int k = 0; k < 4; ++k) bytes[32 + k] = static_cast<char>(u >> (24 - 8 * k));
  }
  void String(int32_t id, const std::string& text) {
    const size_t length = (KWCFST_STRUC_LENGTH_FIXED + text.size() + 3) / 4 * 4;
    I32(KWCFT_STRING), I32(static_cast<int32_t>(length)), I32(id), I32(37);
    I32(static_cast<int32_t>(text.size()));
    bytes += text;
    strings += text;
    bytes.append(length - KWCFST_STRUC_LENGTH_FIXED - text.size(), '\x40');
  }
  void Integer(int32_t id, int32_t value) {
    I32(KWCFT_INTEGER), I32(KWCFIN_STRUC_LENGTH), I32(id), I32(value);
  }
  void IntegerList(int32_t id, int32_t count) {
    I32(KWCFT_INTEGER_LIST), I32(KWCFIL_STRUC_LENGTH_FIXED + 4 * count), I32(id), I32(count);
    for (int32_t k = 0; k < count; ++k) I32(k * 7919);
  }
  void Integer64(int32_t id, int64_t value) {
    I32(KWCFT_INTEGER64), I32(KWCFIN64_STRUC_LENGTH), I32(id), I32(0), I64(value);
  }
};

// EBCDIC (CCSID 37) text of `n` bytes: upper- and lower-case letters,
// digits, '.', blanks, and now and then a German letter (u-umlaut 0xDC,
// sharp s 0x59), all of which CCSID 850 has.
std::string EbcdicText(size_t n, unsigned seed) {
  static const char kAlphabet[] =
      "\xC1\xC2\xC3\xC4\xC5\xC6\xC7\xC8\xC9\xD1\xD2\xD3\xD4\xD5\xD6\xD7\xD8\xD9\xE2\xE3\xE4\xE5"
      "\xE6\xE7\xE8\xE9\x81\x82\x83\x84\x85\x86\x87\x88\x89\x91\x92\x93\x94\x95\x96\x97\x98\x99"
      "\xA2\xA3\xA4\xA5\xA6\xA7\xA8\xA9\xF0\xF1\xF2\xF3\xF4\xF5\xF6\xF7\xF8\xF9\x4B\x40";
  std::string s;
  for (size_t k = 0; k < n; ++k) {
    seed = seed * 1103515245u + 12345u;
    s.push_back(kAlphabet[(seed >> 16) % (sizeof kAlphabet - 1)]);
  }
  if (seed % 4 == 0 && n >= 8) {
    s[n / 2] = '\xDC';
    s[n / 2 + 1] = '\x59';
  }
  return s;
}

// Mostly strings, as an inquiry's response carries them: object names of
// 48, descriptions of 64, short fields of 12 and 28, a long text now and
// then, with an integer or two beside them.
const Message& StringMessage() {
  static const Message m = [] {
    Message msg;
    msg.Header();
    int32_t parameters = 0;
    unsigned seed = 1;
    const size_t widths[] = {48, 64, 12, 28, 48, 256};
    for (size_t k = 0; msg.bytes.size() < kMessageSize - 512; ++k) {
      msg.String(2000 + static_cast<int32_t>(k % 50), EbcdicText(widths[k % 6], seed++));
      ++parameters;
      if (k % 4 == 0) {
        msg.Integer(1000 + static_cast<int32_t>(k % 30), static_cast<int32_t>(k));
        ++parameters;
      }
    }
    msg.Count(parameters);
    return msg;
  }();
  return m;
}

// Mostly integer lists of 16 to 128 values, with an object name and a
// 64-bit counter now and then.
const Message& IntegerListMessage() {
  static const Message m = [] {
    Message msg;
    msg.Header();
    int32_t parameters = 0;
    const int32_t counts[] = {16, 64, 128, 32};
    for (size_t k = 0; msg.bytes.size() < kMessageSize - 1024; ++k) {
      msg.IntegerList(1000 + static_cast<int32_t>(k % 40), counts[k % 4]);
      ++parameters;
      if (k % 8 == 0) {
        msg.String(2016, EbcdicText(48, static_cast<unsigned>(k)));
        msg.Integer64(3000, static_cast<int64_t>(k) << 33);
        parameters += 2;
      }
    }
    msg.Count(parameters);
    return msg;
  }();
  return m;
}

void Convert(benchmark::State& state, const Message& m, KWLONG target_ccsid) {
  std::string out(2 * m.bytes.size(), '\0');
  VPICONVERTREQ req = {};
  KWLONG reason = KWRC_NONE;
  for (auto _ : state) {
    req.SourceEncoding = 273;
    req.SourceCCSID = KWCCSI_EBCDIC_US;
    req.TargetEncoding = KWENC_NATIVE;
    req.TargetCCSID = target_ccsid;
    std::memcpy(req.Format, KWFMT_PCF, KW_FORMAT_LENGTH);
    req.Options = 0;
    req.CompCode = KWCC_OK;
    req.Reason = KWRC_NONE;
    req.DataLength = req.AvailableLength = static_cast<KWLONG>(m.bytes.size());
    req.BufferLength = static_cast<KWLONG>(out.size());
    req.InBuffer = m.bytes.data();
    req.OutBuffer = out.data();
    reason = vpiConvertData(&req);
    benchmark::DoNotOptimize(out.data());
    benchmark::ClobberMemory();
  }
  if (reason != KWRC_NONE) state.SkipWithError("conversion failed");
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * m.bytes.size()));
}

// ICU over the message's string bytes in one call, then every integer
// swapped into place.
void Floor(benchmark::State& state, const Message& m, int32_t target_ccsid) {
  UErrorCode status = U_ZERO_ERROR;
  UConverter* from = ucnv_openCCSID(37, kNumberedCodePages, &status);
  UConverter* to = ucnv_openCCSID(target_ccsid, kNumberedCodePages, &status);
  if (U_FAILURE(status)) {
    state.SkipWithError("ICU converters did not open");
    return;
  }
  std::string out(4 * m.strings.size() + 16, '\0');
  std::vector<uint32_t> ints32(m.ints32.size());
  std::vector<uint64_t> ints64(m.ints64.size());
  for (auto _ : state) {
    status = U_ZERO_ERROR;
    char* target = out.data();
    const char* source = m.strings.data();
    ucnv_convertEx(to, from, &target, out.data() + out.size(), &source,
                   m.strings.data() + m.strings.size(), nullptr, nullptr, nullptr, nullptr, true,
                   true, &status);
    for (size_t k = 0; k < m.ints32.size(); ++k) ints32[k] = __builtin_bswap32(m.ints32[k]);
    for (size_t k = 0; k < m.ints64.size(); ++k) ints64[k] = __builtin_bswap64(m.ints64[k]);
    benchmark::DoNotOptimize(out.data());
    benchmark::DoNotOptimize(ints32.data());
    benchmark::DoNotOptimize(ints64.data());
    benchmark::ClobberMemory();
  }
  if (U_FAILURE(status)) state.SkipWithError("ICU conversion failed");
  ucnv_close(from);
  ucnv_close(to);
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * m.bytes.size()));
}

void BM_PcfStrings_To850(benchmark::State& s) { Convert(s, StringMessage(), KWCCSI_PC_LATIN1); }
void BM_PcfStrings_Floor850(benchmark::State& s) { Floor(s, StringMessage(), KWCCSI_PC_LATIN1); }
void BM_PcfIntLists_To850(benchmark::State& s) {
  Convert(s, IntegerListMessage(), KWCCSI_PC_LATIN1);
}
void BM_PcfIntLists_Floor850(benchmark::State& s) {
  Floor(s, IntegerListMessage(), KWCCSI_PC_LATIN1);
}
void BM_PcfStrings_ToUtf8(benchmark::State& s) { Convert(s, StringMessage(), KWCCSI_UTF8); }
void BM_PcfStrings_FloorUtf8(benchmark::State& s) { Floor(s, StringMessage(), KWCCSI_UTF8); }
BENCHMARK(BM_PcfStrings_To850);
BENCHMARK(BM_PcfStrings_Floor850);
BENCHMARK(BM_PcfIntLists_To850);
BENCHMARK(BM_PcfIntLists_Floor850);
BENCHMARK(BM_PcfStrings_ToUtf8);
BENCHMARK(BM_PcfStrings_FloorUtf8);

// "KWADMIN " in EBCDIC, as a header from the sender names its successor.
const char kFormatName[] = "\xD2\xE6\xC1\xC4\xD4\xC9\xD5\x40";

void BM_FormatName_vxtConvertCharsFn(benchmark::State& state) {
  char out[KW_FORMAT_LENGTH];
  KWLONG length = 0, cc = 0, reason = 0;
  for (auto _ : state) {
    vxtConvertCharsFn(KWCCSI_EBCDIC_US, KWCCSI_PC_LATIN1, kFormatName, KW_FORMAT_LENGTH, out,
                      KW_FORMAT_LENGTH, 273, KWENC_NATIVE, VXT_CHARS_FIELD, &length, &cc, &reason);
    benchmark::DoNotOptimize(out);
    benchmark::ClobberMemory();
  }
  if (reason != KWRC_NONE || std::memcmp(out, KWFMT_ADMIN, KW_FORMAT_LENGTH) != 0) {
    state.SkipWithError("format name not converted");
  }
}

void BM_FormatName_FloorICU(benchmark::State& state) {
  UErrorCode status = U_ZERO_ERROR;
  UConverter* from = ucnv_openCCSID(37, kNumberedCodePages, &status);
  UConverter* to = ucnv_openCCSID(850, kNumberedCodePages, &status);
  char out[KW_FORMAT_LENGTH];
  for (auto _ : state) {
    status = U_ZERO_ERROR;
    char* target = out;
    const char* source = kFormatName;
    ucnv_convertEx(to, from, &target, out + sizeof out, &source, kFormatName + KW_FORMAT_LENGTH,
                   nullptr, nullptr, nullptr, nullptr, true, true, &status);
    benchmark::DoNotOptimize(out);
    benchmark::ClobberMemory();
  }
  ucnv_close(from);
  ucnv_close(to);
}
BENCHMARK(BM_FormatName_vxtConvertCharsFn);
BENCHMARK(BM_FormatName_FloorICU);

// Console output plus a table of ratios to the floors at the end.
class RatioReporter : public MedianReporter {
 public:
  void Finalize() override {
    MedianReporter::Finalize();
    const std::pair<const char*, const char*> pairs[] = {
        {"BM_PcfStrings_To850", "BM_PcfStrings_Floor850"},
        {"BM_PcfIntLists_To850", "BM_PcfIntLists_Floor850"},
        {"BM_PcfStrings_ToUtf8", "BM_PcfStrings_FloorUtf8"},
        {"BM_FormatName_vxtConvertCharsFn", "BM_FormatName_FloorICU"},
    };
    std::printf("\n%-32s %12s %12s %8s\n", "operation", "ns/op", "floor ns", "ratio");
    for (const auto& [op, floor] : pairs) {
      const double ns = CpuNs(op);
      const double floorNs = CpuNs(floor);
      if (ns <= 0 || floorNs <= 0) continue;
      std::printf("%-32s %12.1f %12.1f %8.2f\n", op, ns, floorNs, ns / floorNs);
    }
    const Message& s = StringMessage();
    const Message& l = IntegerListMessage();
    std::printf("\nstring message: %zu bytes, %zu string bytes, %zu + %zu integers\n",
                s.bytes.size(), s.strings.size(), s.ints32.size(), s.ints64.size());
    std::printf("integer-list message: %zu bytes, %zu string bytes, %zu + %zu integers\n",
                l.bytes.size(), l.strings.size(), l.ints32.size(), l.ints64.size());
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
