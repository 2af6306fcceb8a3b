// A weak stand-in for the PCF converter, so that the dispatch table links
// before pcf_converter.cpp provides the real vwb_admin (whose strong
// definition replaces this one at link time).
#include "dataconv/converter.h"

namespace zxv::dataconv {

__attribute__((weak)) int32_t vwb_admin(Step& step) {
  step.in_used = 0;
  step.out_used = 0;
  return KWRC_NOT_CONVERTED;
}

}  // namespace zxv::dataconv
