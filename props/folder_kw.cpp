// The reject-support processing of the kw folder (zrfProcessKWFolder).
#include "props/folder_parser.h"
#include "props/property_store.h"
#include "zxvxcs2/xcs_trace.h"

namespace zxv::props {

KWLONG ProcessKWFolder(uint32_t rejectSupport, uint32_t options, uint32_t fn) {
  const uint32_t unrecognised = rejectSupport & ~static_cast<uint32_t>(ZRF_SUPPORT_RECOGNISED);
  if (unrecognised & ZRF_SUPPORT_REJECT_MASK) {
    if (options & ZRF_PARSE_DLQ) {
      xtr_text_detail(kComponent, fn, "Ignoring unrecognised reject support value (DLQing)");
      return KWRC_NONE;
    }
    xtr_text_detail(kComponent, fn, "Unrecognised reject support value");
    return KWRC_PROPERTY_NOT_SUPPORTED;
  }
  if ((unrecognised & ZRF_SUPPORT_XMIT_MASK) && !(options & ZRF_PARSE_TO_XMIT_Q)) {
    xtr_text_detail(kComponent, fn, "Put allowed only to xmit queue");
    return KWRC_XMIT_Q_REQUIRED;
  }
  // Bits of the accept range may be ignored by any receiver.
  return KWRC_NONE;
}

}  // namespace zxv::props

extern "C" ZXV_API KWLONG zrfProcessKWFolder(KWULONG RejectSupport, KWULONG Options,
                                             KWLONG* pCompCode, KWLONG* pReason) {
  namespace zp = zxv::props;
  xtr_FNC_entry(zxv::kComponent, zp::kFnProcessKWFolder);
  xtr_parms(zxv::kComponent, zp::kFnProcessKWFolder, "RejectSupport: 0x%08X, Options: 0x%X",
            RejectSupport, Options);
  const KWLONG reason = zp::ProcessKWFolder(RejectSupport, Options, zp::kFnProcessKWFolder);
  zp::SetCodes(reason, pCompCode, pReason);
  xtr_FNC_retcode(zxv::kComponent, zp::kFnProcessKWFolder, reason);
  return reason;
}
