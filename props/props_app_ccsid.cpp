// The application's CCSID (zrfGetApplicationCCSID): what a descriptor names
// for headers the library puts in front of an application's data.
#include <charconv>
#include <cstring>

#include "props/props_writer.h"
#include "zxvxcs2/xcs_env.h"
#include "zxvxcs2/xcs_trace.h"

namespace zxv::props {
namespace {

constexpr const char* kApplicationCcsidVariable = "KWCCSID";
constexpr int32_t kDefaultApplicationCcsid = KWCCSI_UTF8;

}  // namespace

int32_t ApplicationCcsid() {
  const char* value = xcsGetEnv(kApplicationCcsidVariable);
  int32_t ccsid = kDefaultApplicationCcsid;
  if (value != nullptr) {
    int32_t v = 0;
    const char* end = value + std::strlen(value);
    const auto [ptr, ec] = std::from_chars(value, end, v);
    if (ec == std::errc() && ptr == end && v > 0) ccsid = v;
  }
  xtr_text_detail(kComponent, kFnGetApplicationCCSID, "Application CCSID selected is %d.", ccsid);
  return ccsid;
}

}  // namespace zxv::props

extern "C" {

ZXV_API KWLONG zrfGetApplicationCCSID(void) {
  constexpr uint32_t fn = zxv::props::kFnGetApplicationCCSID;
  xtr_FNC_entry(zxv::kComponent, fn);
  const KWLONG ccsid = zxv::props::ApplicationCcsid();
  xtr_FNC_retcode(zxv::kComponent, fn, ccsid);
  return ccsid;
}

}  // extern "C"
