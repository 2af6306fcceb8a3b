// User data-conversion exits: a format that is not built in is converted by
// an exit whose module is named after the format (trailing blanks removed),
// loaded through the platform's exit search and called under a fault guard.
#pragma once

#include "dataconv/converter.h"

namespace zxv::dataconv {

// Converts the rest of the message (step.in .. in_length) through the exit
// of step.format. `pending_comp_code`/`pending_reason` are the get's result
// so far, handed to the exit in its KWDXP. Returns:
//   0 or 2079 (the exit truncated under step.accept_truncation): step.in_used
//     and step.out_used set;
//   kExitNotFound: no module or no entry point (one condition; the engine
//     decides its reason);
//   2374 when the exit faulted (the fault guard's reason for user code);
//   the exit's own reason, 2119 when it failed without one or reported a
//     length outside the output;
//   2071/2102/2195 for storage.
int32_t CallUserExit(Step& step, int32_t pending_comp_code, int32_t pending_reason);

// The exit-not-found condition of CallUserExit (not a reason code).
inline constexpr int32_t kExitNotFound = -1;

}  // namespace zxv::dataconv
