// `zxvu pcf dump`: a PCF message file as JSON.
#include <fmt/core.h>

#include <CLI/CLI.hpp>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>

#include "tools/zxvu/cli_common.h"
#include "tools/zxvu/pcf_json.h"

namespace zxv::zxvu {
namespace {

struct DumpOptions {
  std::string file;
  std::string encoding = "546";
  std::string ccsid = "1208";
};

int run_dump(const DumpOptions& o) {
  std::ifstream in(o.file, std::ios::binary);
  if (!in) return usage_error(fmt::format("cannot read {}", o.file));
  const std::string message((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  // Both were checked by number_validator.
  const PcfJson r = PcfToJson(message, static_cast<KWLONG>(*parse_u32(o.encoding)),
                              static_cast<KWLONG>(*parse_u32(o.ccsid)));
  if (r.reason != KWRC_NONE) return refuse_reason(r.reason, r.why);
  fmt::print("{}\n", r.json);
  return kExitOk;
}

}  // namespace

void add_pcf_commands(CLI::App& parent, Action& action) {
  CLI::App* pcf = parent.add_subcommand("pcf", "Command-format (PCF) messages");
  pcf->require_subcommand(1);

  auto o = std::make_shared<DumpOptions>();
  CLI::App* dump = pcf->add_subcommand(
      "dump",
      "Print a PCF message as JSON: its header and its parameters, groups nested, strings in "
      "UTF-8, byte strings in hex");
  dump->add_option("FILE", o->file, "The message: a PCF header and its parameters")
      ->required()
      ->check(CLI::ExistingFile);
  dump->add_option("--encoding", o->encoding,
                   "Encoding of the message's integers (low four bits 1 big-endian, 2 "
                   "little-endian)")
      ->type_name("E")
      ->check(number_validator())
      ->capture_default_str();
  dump->add_option("--ccsid", o->ccsid, "CCSID of the strings whose own CCSID is 0")
      ->type_name("C")
      ->check(number_validator())
      ->capture_default_str();
  dump->callback([&action, o] { action = [o] { return run_dump(*o); }; });
}

}  // namespace zxv::zxvu
