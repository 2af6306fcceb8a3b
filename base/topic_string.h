// Escaped topic strings: a literal '%', '*' or '?' written as "%%", "%*",
// "%?" so that '*' and '?' elsewhere act as character wildcards.
//
// Strings carry explicit lengths and may hold NULs. When an operation has to
// change a string it returns a new buffer from the platform allocator and
// flags it as allocated; the caller then owns it (xcsFreeMemFn).
//
//   TopicText out;
//   Outcome oc;
//   EscapeTopic(ZUT_TOPIC_ESCAPED, 3, "a*b", &out, &oc);  // "a%*b", allocated
#pragma once

#include <cstdint>

#include "base/result.h"

namespace zxv::base {

// '%', '*' and '?': the three bytes that may follow the escape character.
constexpr bool IsTopicEscapable(uint8_t c) {
  constexpr uint64_t kEscapableBelow64 = 0x8000042000000000ull;  // bits 37, 42, 63
  return c < 64 && ((kEscapableBelow64 >> c) & 1u) != 0;
}

// An escaped string handed back to the caller.
struct TopicText {
  char* data = nullptr;
  uint32_t length = 0;
  bool allocated = false;  // data is a new buffer the caller owns
};

// A topic string being literalized: on entry the caller's string, on a
// successful return the literal one.
struct LiteralTopic {
  char* data = nullptr;
  int32_t length = 0;
  uint32_t buffer_length = 0;
  int32_t ccsid = 0;
  bool allocated = false;
};

// Escapes when `options` has ZUT_TOPIC_ESCAPED. Returns the allocator's code
// on failure, with outcome 2/2071, 2/2102 or 2/2195 and `out` emptied.
Rc EscapeTopic(int32_t options, uint32_t length, const char* string, TopicText* out,
               Outcome* outcome);

// Converts `topic` to UTF-8 when its CCSID is not 1208 and removes the
// escapes. On failure `topic` is unchanged apart from `allocated` (false),
// nothing allocated here is kept, and the outcome carries the reason.
Rc LiteralizeTopic(LiteralTopic* topic, Outcome* outcome);

// False when an escape is dangling or followed by another byte than '%',
// '*' or '?'; true otherwise and whenever ZUT_TOPIC_ESCAPED is clear.
bool ValidateTopic(int32_t options, uint32_t length, const char* string);

}  // namespace zxv::base
