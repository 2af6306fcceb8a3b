/* A data-conversion exit for the format "ZXVSWAP ": the data is an array of
 * 32-bit integers, converted from the descriptor's encoding to the target
 * encoding. Data that starts with the bytes "FAIL" makes the exit fail with
 * the reason in the next 4 bytes (native order), so tests can drive every
 * outcome. Too small an output: the whole integers that fit with 2079 when
 * the get accepts truncation, else 2120. */
#include <string.h>

#include "zxvxzu/dataconv.h"

#define EXIT_ENTRY __attribute__((visibility("default")))

static void Fail(KWDXP* dxp, KWLONG reason) {
  dxp->CompCode = KWCC_FAILED;
  dxp->Reason = reason;
  dxp->ExitResponse = KWXDR_CONVERSION_FAILED;
}

EXIT_ENTRY void KWDataConvExit(KWDXP* dxp, KWMD* md, KWLONG inLength, void* inBuffer,
                               KWLONG outLength, void* outBuffer);

EXIT_ENTRY void KWDataConvExit(KWDXP* dxp, KWMD* md, KWLONG inLength, void* inBuffer,
                               KWLONG outLength, void* outBuffer) {
  const unsigned char* in = (const unsigned char*)inBuffer;
  unsigned char* out = (unsigned char*)outBuffer;
  KWLONG count, i, j;
  int swap;
  if (memcmp(dxp->StrucId, KWDXP_STRUC_ID, 4) != 0 || memcmp(md->Format, "ZXVSWAP ", 8) != 0) {
    Fail(dxp, KWRC_FORMAT_ERROR);
    return;
  }
  if (inLength >= 8 && memcmp(in, "FAIL", 4) == 0) {
    KWLONG reason;
    memcpy(&reason, in + 4, sizeof reason);
    Fail(dxp, reason);
    return;
  }
  if (inLength % 4 != 0) {
    Fail(dxp, KWRC_NOT_CONVERTED);
    return;
  }
  count = inLength / 4;
  dxp->CompCode = KWCC_OK;
  dxp->Reason = KWRC_NONE;
  if (outLength < inLength) {
    if ((dxp->AppOptions & KWGMO_ACCEPT_TRUNCATED_MSG) == 0) {
      Fail(dxp, KWRC_CONVERTED_MSG_TOO_BIG);
      return;
    }
    count = outLength / 4;
    dxp->CompCode = KWCC_WARNING;
    dxp->Reason = KWRC_TRUNCATED_MSG_ACCEPTED;
  }
  swap = (md->Encoding & KWENC_INTEGER_MASK) != (dxp->Encoding & KWENC_INTEGER_MASK);
  for (i = 0; i < count; ++i) {
    for (j = 0; j < 4; ++j) out[i * 4 + j] = in[i * 4 + (swap ? 3 - j : j)];
  }
  dxp->DataLength = count * 4;
  dxp->ExitResponse = KWXDR_OK;
  md->Encoding = dxp->Encoding;
  md->CodedCharSetId = dxp->CodedCharSetId;
}
