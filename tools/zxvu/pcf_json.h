// A PCF message as JSON, for `zxvu pcf dump` and the demo.
//
// Integers are read in the message's encoding; every string is decoded to
// UTF-8 from its CCSID (a CCSID of 0 means the message's) through the
// platform's conversion service; byte strings are written as lower-case hex.
// The message is checked as the PCF converter checks it: a header of 36
// bytes, each parameter's length within the data and consistent with what
// the structure holds, every type one of the known ones. One limit is the
// tool's own: a string list of empty strings may count no more of them than
// its structure has bytes, or a few bytes could ask for gigabytes of output.
//
//   PcfJson r = PcfToJson(bytes, 273, 37);
//   if (r.reason == 0) fmt::print("{}\n", r.json);
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "zxvxzu/zxvxzu_types.h"

namespace zxv::zxvu {

struct PcfJson {
  KWLONG reason = KWRC_NONE;  // 0, 2119 malformed or not decodable, 2112 bad encoding
  std::string json;           // one line: {"header":{...},"parameters":[...]}
  std::string why;            // what was wrong, when reason is not 0
};

// Writes `message` (a whole PCF message) in `encoding` with strings of CCSID
// 0 in `ccsid` as one line of JSON. Groups nest to any depth: the walk keeps
// its open groups in a list, not on the call stack.
PcfJson PcfToJson(std::string_view message, KWLONG encoding, KWLONG ccsid);

}  // namespace zxv::zxvu
