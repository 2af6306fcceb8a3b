// Internal result plumbing shared by every subsystem.
//
// Internal functions return a ZXVRC (0 = success). RETURN_IF_ERROR passes a
// failure up unchanged; Reason carries an API-shaped completion/reason pair.
#pragma once

#include <cstdint>

#include "zxvxzu/zxvxzu_types.h"

namespace zxv {

using Rc = ZXVRC;

struct Outcome {
  KWLONG comp_code = KWCC_OK;
  KWLONG reason = KWRC_NONE;

  bool ok() const { return comp_code == KWCC_OK; }
  void fail(KWLONG r) {
    comp_code = KWCC_FAILED;
    reason = r;
  }
};

}  // namespace zxv

#define ZXV_RETURN_IF_ERROR(expr)        \
  do {                                   \
    ::zxv::Rc zxv_rc_ = (expr);          \
    if (zxv_rc_ != ZXVRC_OK) return zxv_rc_; \
  } while (0)
