// vxKWXDX: the built-in data-conversion exit, the engine behind the exit
// interface with the built-in converters only.
#include <cstring>

#include "dataconv/engine.h"
#include "dataconv/fn_numbers.h"
#include "zxvxcs2/xcs_trace.h"
#include "zxvxzu/dataconv.h"

extern "C" ZXV_API KWLONG vxKWXDX(KWDXP* dxp, KWMD* md, KWLONG inLength, void* inBuffer,
                                  KWLONG outLength, void* outBuffer) {
  using namespace zxv::dataconv;
  using zxv::kComponent;
  xtr_FNC_entry(kComponent, kFnKWXDX);
  // Without its eye-catcher the block is not ours to read any further.
  if (dxp == nullptr || std::memcmp(dxp->StrucId, KWDXP_STRUC_ID, sizeof dxp->StrucId) != 0) {
    xtr_text_detail(kComponent, kFnKWXDX, "Parameter block without \"DXP \"");
    xtr_FNC_retcode(kComponent, kFnKWXDX, KWRC_NOT_CONVERTED);
    return KWRC_NOT_CONVERTED;
  }
  int32_t refused = KWRC_NONE;
  if (md == nullptr) {
    refused = KWRC_NOT_CONVERTED;
  } else if (inLength < 0 || outLength < 0) {
    refused = KWRC_BUFFER_LENGTH_ERROR;
  } else if ((inLength > 0 && inBuffer == nullptr) || (outLength > 0 && outBuffer == nullptr)) {
    refused = KWRC_BUFFER_ERROR;
  }
  if (refused != KWRC_NONE) {
    dxp->CompCode = KWCC_FAILED;
    dxp->Reason = refused;
    dxp->ExitResponse = KWXDR_CONVERSION_FAILED;
    xtr_FNC_retcode(kComponent, kFnKWXDX, refused);
    return refused;
  }

  Message m;
  m.source_encoding = md->Encoding;
  m.source_ccsid = md->CodedCharSetId;
  m.target_encoding = dxp->Encoding;
  m.target_ccsid = dxp->CodedCharSetId;
  std::memcpy(m.format, md->Format, KW_FORMAT_LENGTH);
  m.in = static_cast<const uint8_t*>(inBuffer);
  m.in_length = static_cast<size_t>(inLength);
  m.out = static_cast<uint8_t*>(outBuffer);
  m.out_length = static_cast<size_t>(outLength);
  m.accept_truncation = (dxp->AppOptions & KWGMO_ACCEPT_TRUNCATED_MSG) != 0;
  m.pending_comp_code = dxp->CompCode;
  m.pending_reason = dxp->Reason;
  m.user_exits = false;
  xtr_parms(kComponent, kFnKWXDX, "Format '%.8s' from %d/%d to %d/%d, %d bytes", md->Format,
            static_cast<int>(m.source_encoding), static_cast<int>(m.source_ccsid),
            static_cast<int>(m.target_encoding), static_cast<int>(m.target_ccsid),
            static_cast<int>(inLength));

  const Converted result = ConvertMessage(m);
  dxp->CompCode = result.comp_code;
  dxp->Reason = result.reason;
  dxp->DataLength = static_cast<KWLONG>(result.length);
  const bool converted =
      result.comp_code == KWCC_OK || result.reason == KWRC_TRUNCATED_MSG_ACCEPTED;
  dxp->ExitResponse = converted ? KWXDR_OK : KWXDR_CONVERSION_FAILED;
  md->Encoding = result.encoding;
  md->CodedCharSetId = result.ccsid;
  xtr_FNC_retcode(kComponent, kFnKWXDX, result.reason);
  return result.reason;
}
