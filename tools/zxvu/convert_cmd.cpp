// `zxvu convert`: a whole message through the conversion engine.
#include <fmt/core.h>

#include <CLI/CLI.hpp>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "tools/zxvu/cli_common.h"
#include "zxvxzu/dataconv.h"
#include "zxvxzu/kwmd.h"

namespace zxv::zxvu {
namespace {

struct ConvertOptions {
  std::string from_encoding;
  std::string from_ccsid;
  std::string to_encoding;
  std::string to_ccsid;
  std::string format;
  std::string in_file;
  std::string out_file;
  std::string max_length;
  bool format_given = false;  // --format "" names the data "no format"
  bool md = false;
  bool accept_truncation = false;
};

// Room for the converted message when no maximum is given: characters grow
// at most fourfold between the sets the engine converts.
constexpr size_t kGrowth = 4;
constexpr size_t kSlack = 256;

std::string_view conversion_reason_text(KWLONG reason) {
  switch (reason) {
    case KWRC_TRUNCATED_MSG_ACCEPTED:
      return "truncated message accepted";
    case KWRC_FORMAT_ERROR:
      return "format error";
    case KWRC_SOURCE_INTEGER_ENC_ERROR:
      return "source integer encoding not valid";
    case KWRC_TARGET_CCSID_ERROR:
      return "target CCSID not supported";
    case KWRC_TARGET_INTEGER_ENC_ERROR:
      return "target integer encoding not valid";
    case KWRC_NOT_CONVERTED:
      return "message not converted";
    case KWRC_CONVERTED_MSG_TOO_BIG:
      return "converted message too big";
    case KWRC_DBCS_ERROR:
      return "two-byte string of odd length";
    case KWRC_CONVERTED_STRING_TOO_BIG:
      return "converted string too big for its field";
    case KWRC_API_EXIT_ERROR:
      return "data-conversion exit failed";
    default:
      return reason_text(reason);
  }
}

int run_convert(const ConvertOptions& o) {
  std::ifstream in(o.in_file, std::ios::binary);
  if (!in) return usage_error(fmt::format("cannot read {}", o.in_file));
  const std::string file((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());

  VPICONVERTREQ req{};
  KWMD md{};
  size_t data_at = 0;
  if (o.md) {
    if (file.size() < sizeof md) {
      return usage_error(fmt::format("{} is shorter than a version 2 descriptor ({} bytes)",
                                     o.in_file, sizeof md));
    }
    std::memcpy(&md, file.data(), sizeof md);
    if (md.Version != KWMD_VERSION_2) {
      return usage_error(fmt::format("the descriptor's version is {}, not 2", md.Version));
    }
    data_at = sizeof md;
    req.SourceEncoding = md.Encoding;
    req.SourceCCSID = md.CodedCharSetId;
    std::memcpy(req.Format, md.Format, KW_FORMAT_LENGTH);
  } else {
    if (o.from_encoding.empty() || o.from_ccsid.empty() || !o.format_given) {
      return usage_error("--from-encoding, --from-ccsid and --format are needed without --md");
    }
  }
  // Given options override the descriptor's values.
  if (!o.from_encoding.empty())
    req.SourceEncoding = static_cast<KWLONG>(*parse_u32(o.from_encoding));
  if (!o.from_ccsid.empty()) req.SourceCCSID = static_cast<KWLONG>(*parse_u32(o.from_ccsid));
  if (o.format_given) {
    if (o.format.size() > KW_FORMAT_LENGTH) {
      return usage_error("--format takes at most 8 characters");
    }
    std::memset(req.Format, ' ', KW_FORMAT_LENGTH);
    std::memcpy(req.Format, o.format.data(), o.format.size());
  }
  req.TargetEncoding = static_cast<KWLONG>(*parse_u32(o.to_encoding));
  req.TargetCCSID = static_cast<KWLONG>(*parse_u32(o.to_ccsid));

  const size_t length = file.size() - data_at;
  if (length > 0x7FFFFFFF / kGrowth - kSlack) return usage_error("the message is too long");
  size_t room = length * kGrowth + kSlack;
  if (!o.max_length.empty()) room = *parse_u32(o.max_length);
  if (room > 0x7FFFFFFF) return usage_error("--max-length is too large");
  std::vector<char> out(room == 0 ? 1 : room);
  req.Options = o.accept_truncation ? KWGMO_ACCEPT_TRUNCATED_MSG : 0;
  req.DataLength = req.AvailableLength = static_cast<KWLONG>(length);
  req.InBuffer = file.data() + data_at;
  req.BufferLength = static_cast<KWLONG>(room);
  req.OutBuffer = out.data();

  const KWLONG reason = vpiConvertData(&req);
  if (req.CompCode != KWCC_OK && reason != KWRC_TRUNCATED_MSG_ACCEPTED) {
    return refuse_reason(reason, conversion_reason_text(reason));
  }

  std::ofstream outf(o.out_file, std::ios::binary | std::ios::trunc);
  if (!outf) return usage_error(fmt::format("cannot write {}", o.out_file));
  if (o.md) {
    md.Encoding = req.ResultEncoding;
    md.CodedCharSetId = req.ResultCCSID;
    outf.write(reinterpret_cast<const char*>(&md), sizeof md);
  }
  outf.write(out.data(), req.DataLength);
  outf.close();
  if (!outf) return usage_error(fmt::format("cannot write {}", o.out_file));
  fmt::print("converted {} bytes to {} bytes, encoding {} CCSID {}{}\n", length, req.DataLength,
             req.ResultEncoding, req.ResultCCSID,
             reason == KWRC_TRUNCATED_MSG_ACCEPTED ? " (truncated)" : "");
  return kExitOk;
}

}  // namespace

void add_convert_command(CLI::App& parent, Action& action) {
  auto o = std::make_shared<ConvertOptions>();
  CLI::App* cmd = parent.add_subcommand(
      "convert",
      "Convert a whole message to another encoding and CCSID through the conversion engine: "
      "its chain of headers, then its data by format (user exits for formats not built in)");
  cmd->add_option("IN", o->in_file, "The message (with --md: a version 2 descriptor in front)")
      ->required()
      ->check(CLI::ExistingFile);
  cmd->add_option("OUT", o->out_file, "Where the converted message goes")->required();
  cmd->add_option("--from-encoding", o->from_encoding, "Encoding of the message as given")
      ->type_name("E")
      ->check(number_validator());
  cmd->add_option("--from-ccsid", o->from_ccsid, "CCSID of the message as given")
      ->type_name("C")
      ->check(number_validator());
  cmd->add_option("--to-encoding", o->to_encoding, "Wanted encoding")
      ->type_name("E")
      ->required()
      ->check(number_validator());
  cmd->add_option("--to-ccsid", o->to_ccsid, "Wanted CCSID")
      ->type_name("C")
      ->required()
      ->check(number_validator());
  CLI::Option* format =
      cmd->add_option("--format", o->format,
                      "Format of the message's first structure, e.g. KWSTR (blank padded)")
          ->type_name("F");
  cmd->add_flag("--md", o->md,
                "IN starts with a version 2 message descriptor (364 bytes, native integers) "
                "whose Encoding, CodedCharSetId and Format start the walk; OUT gets it too, "
                "updated");
  cmd->add_option("--max-length", o->max_length, "Size of the output buffer (default: ample)")
      ->type_name("N")
      ->check(number_validator());
  cmd->add_flag("--accept-truncation", o->accept_truncation,
                "Keep what fits when the converted message exceeds --max-length (reason 2079)");
  cmd->callback([&action, o, format] {
    o->format_given = format->count() > 0;
    action = [o] { return run_convert(*o); };
  });
}

}  // namespace zxv::zxvu
