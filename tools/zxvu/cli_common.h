// Conventions shared by every zxvu subcommand: exit statuses, the report of a
// refused input, number and hex parsing, and the registration interface of
// the command families.
//
// A subcommand's parse step stores an Action; main runs it after the whole
// command line parsed, so output starts only once the arguments are known
// to be well formed.
//
//   int run_thing(const ThingOptions& o) {
//     if (rc != 0) return refuse_rc(rc, "what went wrong");
//     fmt::print("{}\n", result);
//     return kExitOk;
//   }
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "zxvxzu/zxvxzu_types.h"

namespace CLI {
class App;
class Validator;
}  // namespace CLI

namespace zxv::zxvu {

inline constexpr int kExitOk = 0;
inline constexpr int kExitRefused = 1;  // the library refused the input
inline constexpr int kExitUsage = 2;    // the command line was malformed

// The work of the subcommand that was parsed; returns the exit status.
using Action = std::function<int()>;

// Command families; each adds its subcommands to `parent` and sets `action`
// when one of them is selected.
void add_names_commands(CLI::App& parent, Action& action);
void add_topic_commands(CLI::App& parent, Action& action);
void add_pcf_commands(CLI::App& parent, Action& action);
void add_convert_command(CLI::App& parent, Action& action);
void add_props_commands(CLI::App& parent, Action& action);
void add_demo_command(CLI::App& parent, Action& action);

// Reports a refused input: writes "reason <code>: <why>" as the last line of
// standard error and returns kExitRefused.
int refuse_reason(KWLONG reason, std::string_view why);

// As refuse_reason for an internal return code: "rc 0x<hex>: <why>".
int refuse_rc(ZXVRC rc, std::string_view why);

// Reports a usage error found after parsing (the parser reports its own) and
// returns kExitUsage.
int usage_error(std::string_view what);

// Short text for a reason code the current families give ("" when unknown).
std::string_view reason_text(KWLONG reason);

// A 32-bit unsigned number written in decimal or as 0x followed by hex digits.
// No sign, no octal, no surrounding blanks.
std::optional<uint32_t> parse_u32(std::string_view text);

// CLI11 validator that accepts what parse_u32 accepts.
const CLI::Validator& number_validator();

// Bytes from hex digits, two per byte, upper or lower case; blanks between
// bytes are ignored. nullopt for anything else (odd digit count included).
std::optional<std::vector<char>> parse_hex(std::string_view text);

// Lower-case hex digits, two per byte, no separators.
std::string to_hex(std::string_view bytes);

// Writes `bytes` followed by a newline to standard output, as hex when
// `hex` is set, raw otherwise.
void print_bytes(std::string_view bytes, bool hex);

}  // namespace zxv::zxvu
