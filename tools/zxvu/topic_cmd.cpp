// `zxvu topic`: escape, literalize and validate topic strings. Escaping and
// validation act as for a caller whose options select the escaped form.
#include <fmt/core.h>

#include <CLI/CLI.hpp>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tools/zxvu/cli_common.h"
#include "zxvxcs2/xcs_memory.h"
#include "zxvxzu/topic.h"

namespace zxv::zxvu {
namespace {

struct TopicOptions {
  std::string text;
  bool hex = false;
  bool json = false;
  KWLONG ccsid = KWCCSI_UTF8;
};

// The argument's bytes: decoded from hex with --hex, else as given.
std::optional<std::vector<char>> input_bytes(const TopicOptions& o) {
  if (o.hex) return parse_hex(o.text);
  return std::vector<char>(o.text.begin(), o.text.end());
}

// Frees a result buffer the library allocated, whatever way the command ends.
class LibraryBuffer {
 public:
  LibraryBuffer(char* p, KWULONG allocated) : p_(allocated ? p : nullptr) {}
  ~LibraryBuffer() {
    if (p_ != nullptr) xcsFreeMemFn(p_);
  }
  LibraryBuffer(const LibraryBuffer&) = delete;
  LibraryBuffer& operator=(const LibraryBuffer&) = delete;

 private:
  char* p_;
};

int refuse_topic(ZXVRC rc, KWLONG reason, std::string_view what) {
  if (reason != KWRC_NONE) {
    return refuse_reason(reason, fmt::format("{}: {}", reason_text(reason), what));
  }
  return refuse_rc(rc, what);
}

int not_hex() { return usage_error("STRING is not hex digits, two per byte"); }

int run_escape(const TopicOptions& o) {
  auto in = input_bytes(o);
  if (!in) return not_hex();
  KWULONG out_length = 0;
  char* out = nullptr;
  KWULONG allocated = 0;
  KWLONG cc = KWCC_OK;
  KWLONG reason = KWRC_NONE;
  ZXVRC rc = zutEscapeTopicString(ZUT_TOPIC_ESCAPED, static_cast<KWULONG>(in->size()), in->data(),
                                  &out_length, &out, &allocated, &cc, &reason);
  LibraryBuffer owned(out, allocated);
  if (rc != ZXVRC_OK || cc != KWCC_OK) return refuse_topic(rc, reason, "escaping failed");
  print_bytes(std::string_view(out, out == nullptr ? 0 : out_length), o.hex);
  return kExitOk;
}

int run_literalize(const TopicOptions& o) {
  auto in = input_bytes(o);
  if (!in) return not_hex();
  KWLONG length = static_cast<KWLONG>(in->size());
  char* string = in->data();
  KWULONG buffer_length = static_cast<KWULONG>(in->size());
  KWLONG ccsid = o.ccsid;
  KWULONG allocated = 0;
  KWLONG cc = KWCC_OK;
  KWLONG reason = KWRC_NONE;
  ZXVRC rc =
      zutLiteralizeTopicString(&length, &string, &buffer_length, &ccsid, &allocated, &cc, &reason);
  LibraryBuffer owned(string, allocated);
  if (rc != ZXVRC_OK || cc != KWCC_OK) {
    std::string why = "literalizing failed";
    if (reason == KWRC_TOPIC_STRING_ERROR) {
      why = o.ccsid == KWCCSI_UTF8 ? std::string(
                                         "a '%' at the end or before a character other "
                                         "than '%', '*' or '?'")
                                   : fmt::format(
                                         "a dangling or invalid escape, or text that "
                                         "cannot be converted from CCSID {} to UTF-8",
                                         o.ccsid);
    }
    return refuse_topic(rc, reason, why);
  }
  const std::string_view result(string, string == nullptr || length < 0 ? 0 : length);
  if (o.json) {
    nlohmann::json j = {{"string", std::string(result)},
                        {"hex", to_hex(result)},
                        {"length", length},
                        {"ccsid", ccsid},
                        {"bufferLength", buffer_length},
                        {"allocated", allocated}};
    fmt::print("{}\n", j.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace));
  } else {
    print_bytes(result, o.hex);
  }
  return kExitOk;
}

int run_validate(const TopicOptions& o) {
  auto in = input_bytes(o);
  if (!in) return not_hex();
  const bool valid =
      zutValidateTopicString(ZUT_TOPIC_ESCAPED, static_cast<KWULONG>(in->size()), in->data()) != 0;
  fmt::print("{}\n", valid ? "valid" : "invalid");
  if (valid) return kExitOk;
  // Validation itself gives no reason code; this is the one literalizing
  // gives for the same fault.
  return refuse_reason(KWRC_TOPIC_STRING_ERROR,
                       "topic string error: a '%' at the end or before a character other than "
                       "'%', '*' or '?'");
}

// Adds one topic subcommand taking STRING and --hex; returns it for extras.
CLI::App* add_topic_subcommand(CLI::App& topic, const char* name, const char* description,
                               int (*run)(const TopicOptions&), Action& action,
                               std::shared_ptr<TopicOptions>& opts) {
  opts = std::make_shared<TopicOptions>();
  CLI::App* sub = topic.add_subcommand(name, description);
  sub->add_flag("--hex", opts->hex,
                "STRING is hex digits (two per byte) and the result is printed in hex");
  sub->add_option("STRING", opts->text, "The topic string (use -- before one starting with '-')")
      ->required();
  sub->callback([opts, run, &action] { action = [opts, run] { return run(*opts); }; });
  return sub;
}

}  // namespace

void add_topic_commands(CLI::App& parent, Action& action) {
  CLI::App* topic = parent.add_subcommand("topic", "Topic strings and their '%' escapes");
  topic->require_subcommand(1);

  std::shared_ptr<TopicOptions> opts;
  add_topic_subcommand(*topic, "escape", "Write '%' before every '%', '*' and '?' in STRING",
                       run_escape, action, opts);

  CLI::App* literalize = add_topic_subcommand(
      *topic, "literalize",
      "Bring STRING to UTF-8 and remove its escapes; refused (reason 2425) when an escape is "
      "dangling or invalid",
      run_literalize, action, opts);
  literalize
      ->add_option("--ccsid", opts->ccsid,
                   "CCSID of STRING's bytes (default 1208, UTF-8); with another CCSID the bytes "
                   "are converted to UTF-8 first")
      ->type_name("N")
      ->check(CLI::Range(1, 65535));
  literalize->add_flag("--json", opts->json,
                       "Print the result with its length, CCSID and buffer length as JSON");

  add_topic_subcommand(*topic, "validate",
                       "Print 'valid' when every escape in STRING is well formed, else 'invalid'",
                       run_validate, action, opts);
}

}  // namespace zxv::zxvu
