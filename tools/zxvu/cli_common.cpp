// Exit statuses, refusal reports and argument parsing shared by all families.
#include "tools/zxvu/cli_common.h"

#include <fmt/core.h>

#include <CLI/CLI.hpp>
#include <charconv>
#include <cstdio>

namespace zxv::zxvu {

int refuse_reason(KWLONG reason, std::string_view why) {
  std::fflush(stdout);
  fmt::print(stderr, "reason {}: {}\n", reason, why);
  return kExitRefused;
}

int refuse_rc(ZXVRC rc, std::string_view why) {
  std::fflush(stdout);
  fmt::print(stderr, "rc 0x{:08x}: {}\n", rc, why);
  return kExitRefused;
}

int usage_error(std::string_view what) {
  fmt::print(stderr, "{}\nRun with --help for more information.\n", what);
  return kExitUsage;
}

std::string_view reason_text(KWLONG reason) {
  switch (reason) {
    case KWRC_Q_MGR_NAME_ERROR:
      return "queue-manager name error";
    case KWRC_STORAGE_NOT_AVAILABLE:
      return "storage not available";
    case KWRC_RESOURCE_PROBLEM:
      return "resource problem";
    case KWRC_UNEXPECTED_ERROR:
      return "unexpected error (see the failure records)";
    case KWRC_TOPIC_STRING_ERROR:
      return "topic string error";
    case KWRC_TOPIC_STRING_CONVERSION:
      return "topic string conversion error";
    default:
      return "";
  }
}

std::optional<uint32_t> parse_u32(std::string_view text) {
  int base = 10;
  if (text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
    text.remove_prefix(2);
    base = 16;
  }
  if (text.empty()) return std::nullopt;
  uint32_t value = 0;
  const char* end = text.data() + text.size();
  // from_chars accepts neither a sign nor a prefix, which is what we want.
  auto [ptr, ec] = std::from_chars(text.data(), end, value, base);
  if (ec != std::errc() || ptr != end) return std::nullopt;
  return value;
}

const CLI::Validator& number_validator() {
  static const CLI::Validator kNumber(
      [](std::string& input) -> std::string {
        if (parse_u32(input)) return {};
        return "'" + input + "' is not a 32-bit number (decimal or 0x hex)";
      },
      "", "number");
  return kNumber;
}

namespace {

int hex_digit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

}  // namespace

std::optional<std::vector<char>> parse_hex(std::string_view text) {
  std::vector<char> out;
  out.reserve(text.size() / 2);
  size_t i = 0;
  while (i < text.size()) {
    if (text[i] == ' ' || text[i] == '\t') {
      ++i;
      continue;
    }
    if (i + 1 >= text.size()) return std::nullopt;
    int hi = hex_digit(text[i]);
    int lo = hex_digit(text[i + 1]);
    if (hi < 0 || lo < 0) return std::nullopt;
    out.push_back(static_cast<char>((hi << 4) | lo));
    i += 2;
  }
  return out;
}

std::string to_hex(std::string_view bytes) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string out;
  out.reserve(bytes.size() * 2);
  for (char c : bytes) {
    auto b = static_cast<unsigned char>(c);
    out.push_back(kDigits[b >> 4]);
    out.push_back(kDigits[b & 0xF]);
  }
  return out;
}

void print_bytes(std::string_view bytes, bool hex) {
  if (hex) {
    fmt::print("{}\n", to_hex(bytes));
  } else {
    // An empty result may come back as a null pointer.
    if (!bytes.empty()) std::fwrite(bytes.data(), 1, bytes.size(), stdout);
    std::fputc('\n', stdout);
  }
}

}  // namespace zxv::zxvu
