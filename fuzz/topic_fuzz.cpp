// Fuzzes the topic-string operations. The first byte picks a CCSID for one
// literalize call; the rest is the topic string. Checked properties:
//  - literalizing UTF-8 succeeds exactly when validation accepts the string;
//  - escaping yields a valid string one byte longer per '%', '*' or '?';
//  - literalizing the escaped form gives back the input;
//  - every buffer handed out is freed, nothing else is.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "zxvxcs2/xcs_memory.h"
#include "zxvxzu/topic.h"

namespace {

constexpr KWLONG kCcsids[] = {819, 37, 500, 850, 1047, 1200, 13488, 425, 1208, 273, 932, 1386};

void Require(bool condition) {
  if (!condition) std::abort();
}

struct LiteralResult {
  ZXVRC rc;
  std::string text;
};

LiteralResult Literalize(const std::string& input, KWLONG ccsid) {
  std::string caller = input;  // the call must not change the caller's bytes
  KWLONG length = static_cast<KWLONG>(caller.size());
  char* string = caller.data();
  KWULONG buffer_length = static_cast<KWULONG>(caller.size());
  KWULONG allocated = 0;
  KWLONG cc = 0, reason = 0;
  const ZXVRC rc =
      zutLiteralizeTopicString(&length, &string, &buffer_length, &ccsid, &allocated, &cc, &reason);
  Require(caller == input);
  LiteralResult result{rc, {}};
  if (rc == ZXVRC_OK) {
    Require(cc == KWCC_OK && length >= 0 && static_cast<KWULONG>(length) <= buffer_length);
    if (length > 0) result.text.assign(string, static_cast<size_t>(length));
    Require(allocated == 1 || string == caller.data() || length == 0);
    if (allocated) xcsFreeMemFn(string);
  } else {
    Require(cc == KWCC_FAILED && allocated == 0);
    Require(reason == KWRC_TOPIC_STRING_ERROR || reason == KWRC_TOPIC_STRING_CONVERSION ||
            reason == KWRC_UNEXPECTED_ERROR);
  }
  return result;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0 || size > 20000) return 0;
  const int64_t outstanding = xcsOutstandingBlocks();
  const KWLONG other_ccsid = kCcsids[data[0] % (sizeof kCcsids / sizeof kCcsids[0])];
  const std::string input(reinterpret_cast<const char*>(data) + 1, size - 1);
  const KWULONG length = static_cast<KWULONG>(input.size());

  const bool valid = zutValidateTopicString(ZUT_TOPIC_ESCAPED, length, input.data()) == 1;
  const LiteralResult utf8 = Literalize(input, KWCCSI_UTF8);
  Require((utf8.rc == ZXVRC_OK) == valid);
  if (valid) Require(utf8.text.size() <= input.size());
  Literalize(input, other_ccsid);

  KWULONG escaped_length = 0, allocated = 0;
  char* escaped = nullptr;
  KWLONG cc = 0, reason = 0;
  const ZXVRC rc = zutEscapeTopicString(ZUT_TOPIC_ESCAPED, length, input.data(), &escaped_length,
                                        &escaped, &allocated, &cc, &reason);
  Require(rc == ZXVRC_OK && cc == KWCC_OK);
  size_t specials = 0;
  for (char c : input) specials += (c == '%' || c == '*' || c == '?') ? 1 : 0;
  Require(escaped_length == input.size() + specials);
  Require((allocated == 1) == (specials > 0));
  if (escaped_length > 0) {
    const std::string escaped_text(escaped, escaped_length);
    if (allocated) xcsFreeMemFn(escaped);
    Require(zutValidateTopicString(ZUT_TOPIC_ESCAPED, escaped_length, escaped_text.data()) == 1);
    const LiteralResult back = Literalize(escaped_text, KWCCSI_UTF8);
    Require(back.rc == ZXVRC_OK && back.text == input);
  }

  Require(xcsOutstandingBlocks() == outstanding);
  return 0;
}
