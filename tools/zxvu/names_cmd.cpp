// `zxvu names`: judge object, queue-manager, installation and profile names,
// and map internal return codes to one byte and back.
#include <fmt/core.h>

#include <CLI/CLI.hpp>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>

#include "tools/zxvu/cli_common.h"
#include "zxvxzu/names.h"

namespace zxv::zxvu {
namespace {

enum class NameKind { kObject, kQMgr, kInstallation, kProfile };

const std::map<std::string, NameKind> kKinds = {
    {"object", NameKind::kObject},
    {"qmgr", NameKind::kQMgr},
    {"installation", NameKind::kInstallation},
    {"profile", NameKind::kProfile},
};

KWULONG field_width(NameKind kind) {
  switch (kind) {
    case NameKind::kObject:
      return KW_OBJECT_NAME_LENGTH;
    case NameKind::kQMgr:
      return KW_Q_MGR_NAME_LENGTH;
    case NameKind::kInstallation:
      return KW_INSTALLATION_NAME_LENGTH;
    case NameKind::kProfile:
      return KW_PROFILE_NAME_LENGTH;
  }
  return KW_OBJECT_NAME_LENGTH;
}

struct CheckOptions {
  std::string kind;
  std::string options = "0";
  std::string name;
  bool json = false;
  bool options_given = false;
};

// What one check found; `reason` is set for queue-manager names only, `rc`
// for the other kinds.
struct Verdict {
  bool valid = false;
  KWLONG asterisk = -1;  // object names under ZUT_NAME_ALLOW_GENERIC only
  ZXVRC rc = ZXVRC_OK;
  KWLONG reason = KWRC_NONE;
};

Verdict judge(NameKind kind, const char* field, KWLONG options) {
  Verdict v;
  switch (kind) {
    case NameKind::kObject:
      v.rc = zutCheckValidName(field, options, &v.asterisk);
      break;
    case NameKind::kQMgr: {
      KWLONG cc = KWCC_OK;
      zutCheckQMName(field, &cc, &v.reason);
      v.valid = cc == KWCC_OK;
      return v;
    }
    case NameKind::kInstallation:
      v.rc = zutCheckValidInstallationName(field);
      break;
    case NameKind::kProfile:
      v.rc = zutCheckValidProfile(field);
      break;
  }
  v.valid = v.rc == ZXVRC_OK;
  return v;
}

int run_check(const CheckOptions& o) {
  const NameKind kind = kKinds.at(o.kind);
  const KWLONG options = static_cast<KWLONG>(*parse_u32(o.options));
  if (o.options_given && kind != NameKind::kObject) {
    return usage_error("--options applies to --kind object only");
  }

  const KWULONG width = field_width(kind);
  std::string field(width, ' ');
  zutCvtKWNameFromStr(o.name.c_str(), field.data(), width);
  if (o.name.size() > width) {
    fmt::print(stderr, "note: the {}-character field holds the first {} of {} characters\n", width,
               width, o.name.size());
  }

  const Verdict v = judge(kind, field.data(), options);
  const bool show_asterisk =
      v.valid && kind == NameKind::kObject && (options & ZUT_NAME_ALLOW_GENERIC) && v.asterisk >= 0;

  if (o.json) {
    nlohmann::json j = {
        {"kind", o.kind}, {"name", o.name.substr(0, width)}, {"width", width}, {"valid", v.valid}};
    if (kind == NameKind::kObject) j["options"] = options;
    if (show_asterisk) j["asterisk"] = v.asterisk;
    if (kind == NameKind::kQMgr) {
      j["reason"] = v.reason;
    } else {
      j["rc"] = v.rc;
    }
    fmt::print("{}\n", j.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace));
  } else if (show_asterisk) {
    fmt::print("valid asterisk={}\n", v.asterisk);
  } else {
    fmt::print("{}\n", v.valid ? "valid" : "invalid");
  }
  if (v.valid) return kExitOk;

  if (kind == NameKind::kQMgr) {
    return refuse_reason(v.reason,
                         fmt::format("{}: not a valid queue-manager name", reason_text(v.reason)));
  }
  if (kind == NameKind::kObject) {
    return refuse_rc(v.rc, fmt::format("not a valid object name under options 0x{:x}", options));
  }
  return refuse_rc(v.rc, fmt::format("not a valid {} name", o.kind));
}

struct MapRcOptions {
  std::string to_8bit;
  std::string from_8bit;
};

int run_map_rc(const MapRcOptions& o) {
  if (!o.to_8bit.empty()) {
    KWULONG code = *parse_u32(o.to_8bit);
    zutMapRCTo8bit(&code);
    fmt::print("0x{:02x}\n", code);
  } else {
    KWULONG code = *parse_u32(o.from_8bit);
    zutMapRCFrom8bit(&code);
    fmt::print("0x{:08x}\n", code);
  }
  return kExitOk;
}

}  // namespace

void add_names_commands(CLI::App& parent, Action& action) {
  CLI::App* names = parent.add_subcommand("names", "Object names and one-byte return codes");
  names->require_subcommand(1);

  auto check_opts = std::make_shared<CheckOptions>();
  CLI::App* check = names->add_subcommand(
      "check",
      "Place NAME in a blank-padded field of the kind's width (object, qmgr and profile 48, "
      "installation 16) and judge it. Prints 'valid', 'valid asterisk=<pos>' (kind object with "
      "option 0x2 and a '*' in the name) or 'invalid'.");
  check->add_option("--kind", check_opts->kind, "Kind of name")
      ->required()
      ->check(CLI::IsMember({"object", "qmgr", "installation", "profile"}));
  CLI::Option* options_opt =
      check
          ->add_option("--options", check_opts->options,
                       "Object-name option bits, decimal or 0x hex: 0x1 all-blank accepted, 0x2 "
                       "one trailing '*' accepted, 0x4 '.' and '/' refused, 0x8 '-' accepted "
                       "(not first)")
          ->type_name("N")
          ->check(number_validator());
  check->add_flag("--json", check_opts->json, "Print the verdict as a JSON object");
  check->add_option("NAME", check_opts->name, "The name (use -- before a name starting with '-')")
      ->required();
  check->callback([check_opts, options_opt, &action] {
    check_opts->options_given = options_opt->count() > 0;
    action = [check_opts] { return run_check(*check_opts); };
  });

  auto map_opts = std::make_shared<MapRcOptions>();
  CLI::App* map_rc = names->add_subcommand(
      "map-rc", "Map an internal return code to its one-byte form, or a byte back to the code");
  CLI::Option_group* direction = map_rc->add_option_group("direction", "Direction of the mapping");
  direction
      ->add_option("--to-8bit", map_opts->to_8bit,
                   "A 32-bit return code; prints its one-byte form in hex")
      ->type_name("CODE")
      ->check(number_validator());
  direction
      ->add_option("--from-8bit", map_opts->from_8bit,
                   "A one-byte form; prints the 32-bit return code it stands for")
      ->type_name("BYTE")
      ->check(number_validator());
  direction->require_option(1);
  map_rc->callback([map_opts, &action] { action = [map_opts] { return run_map_rc(*map_opts); }; });
}

}  // namespace zxv::zxvu
