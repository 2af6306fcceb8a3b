// The handle lock of the header conversions: thread lock type 0 with no
// object owner, the anchor released once the handle is locked.
#include "props/props_writer.h"
#include "zxvxcs2/xcs_erdp.h"
#include "zxvxcs2/xcs_trace.h"

namespace zxv::props {
namespace {

constexpr uint32_t kProbeRelease = 1;

}  // namespace

HandleCallLock::HandleCallLock(xihTHREAD* thread, KWHCONN hConn, KWHMSG hMsg,
                               MsgHandleAnchor* anchor, const char* description, uint32_t fn)
    : thread_(thread != nullptr ? thread : xihCurrentThread()) {
  reason_ = AcquireForCall(thread_, hConn, hMsg, anchor, description, fn, &handle_);
}

HandleCallLock::~HandleCallLock() {
  if (handle_ != nullptr && ReleaseForCall(thread_, handle_) != ZXVRC_OK) {
    xcsERDPFn(kComponent, __FILE__, kProbeRelease, ZSTRC_UNEXPECTED_ERROR,
              "Cannot release the message handle after a header conversion", nullptr, 0);
  }
}

}  // namespace zxv::props
