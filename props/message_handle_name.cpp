// The name of an inquired property, in the CCSID the caller asks for
// (zstCalculatePropertyName).
#include <algorithm>
#include <cstring>

#include "props/message_handle.h"
#include "props/property_store.h"
#include "zxvxcs2/xcs_ccsid.h"
#include "zxvxcs2/xcs_memory.h"
#include "zxvxcs2/xcs_trace.h"

namespace zxv::props {
namespace {

constexpr uint32_t kProbeMissingInfo = 1;

// See message_handle_copy_value.cpp: the most a conversion grows text by.
constexpr uint32_t kConversionGrowth = 4;

// The CCSID the name is wanted in: ReturnedName's, else RequestedCCSID,
// else the one it is stored in (0 there, too, means "as stored").
int32_t WantedCcsid(const KWIMPO& impo, int32_t stored) {
  KWLONG wanted = impo.ReturnedName.VSCCSID;
  if (wanted == KWCCSI_AS_STORED) wanted = impo.RequestedCCSID;
  if (wanted == KWCCSI_AS_STORED) return stored;
  return wanted == KWCCSI_APPL ? XCS_NATIVE_CCSID : wanted;
}

uint8_t* BufferOf(KWCHARV* v) {
  if (v->VSPtr != nullptr) return static_cast<uint8_t*>(v->VSPtr);
  return v->VSOffset > 0 ? reinterpret_cast<uint8_t*>(v) + v->VSOffset : nullptr;
}

void TraceName(const ZRFPROPINFO& info, uint32_t fn) {
  // Names are the application's data: they appear only in a detailed trace.
  if (xtr_active(XTR_LEVEL_DETAIL)) {
    xtr_text_detail(kComponent, fn, "Property name: %.*s", static_cast<int>(info.NameLength),
                    static_cast<const char*>(info.pName));
  } else {
    xtr_parms(kComponent, fn, "Property name: %s", "< Property name suppressed >");
  }
}

}  // namespace

KWLONG CalculatePropertyName(const ZRFPROPINFO& info, KWIMPO* impo, ZRFWORKAREA* work,
                             uint32_t fn) {
  TraceName(info, fn);
  KWCHARV* returned = &impo->ReturnedName;
  const int32_t stored = info.NameCCSID;
  int32_t ccsid = WantedCcsid(*impo, stored);
  const auto* name = static_cast<const uint8_t*>(info.pName);
  uint32_t length = info.NameLength;
  KWLONG reason = KWRC_NONE;

  if (ccsid != stored && stored != 0 && length != 0) {
    const uint64_t room = uint64_t{length} * kConversionGrowth;
    uint32_t used = 0;
    reason = ReserveWork(work, room);
    if (reason == KWRC_NONE &&
        xcsConvertString(stored, kNativeEncoding, name, length, ccsid, kNativeEncoding,
                         work->pBuffer, work->Capacity, &used) == xcsRC_OK) {
      name = work->pBuffer;
      length = used;
    } else {
      if (reason == KWRC_NONE) reason = KWRC_PROP_NAME_NOT_CONVERTED;
      ccsid = stored;  // the caller gets the name as it is stored
    }
    // Out of storage for the conversion is a failure of its own.
    if (reason != KWRC_NONE && reason != KWRC_PROP_NAME_NOT_CONVERTED) return reason;
  }

  returned->VSLength = static_cast<KWLONG>(length);
  returned->VSCCSID = ccsid;
  if (impo->Options & KWIMPO_QUERY_LENGTH) return reason;
  uint8_t* buffer = BufferOf(returned);
  if (buffer == nullptr || returned->VSBufSize <= 0) return reason;
  const uint32_t room = static_cast<uint32_t>(returned->VSBufSize);
  std::memcpy(buffer, name, std::min(room, length));
  if (length > room && reason == KWRC_NONE) reason = KWRC_PROPERTY_NAME_TOO_BIG;
  return reason;
}

}  // namespace zxv::props

namespace zp = zxv::props;

extern "C" {

ZXV_API KWLONG zstCalculatePropertyName(ZST_THREAD, const ZRFPROPINFO* pInfo, KWIMPO* pInqPropOpts,
                                        ZRFWORKAREA* pWork, KWLONG* pCompCode, KWLONG* pReason) {
  constexpr uint32_t fn = zp::kFnCalculatePropertyName;
  xtr_FNC_entry(zxv::kComponent, fn);
  KWLONG reason;
  if (pInfo == nullptr || pInqPropOpts == nullptr) {
    reason = zp::MissingParameter(pInfo == nullptr ? "pInfo" : "pInqPropOpts", __FILE__,
                                  zp::kProbeMissingInfo);
  } else {
    ZRFWORKAREA own{};
    reason = zp::CalculatePropertyName(*pInfo, pInqPropOpts, pWork != nullptr ? pWork : &own, fn);
    xcsFreeMemFn(own.pBuffer);
  }
  if (pCompCode != nullptr) {
    *pCompCode = reason == KWRC_NONE ? KWCC_OK
                 : reason == KWRC_PROPERTY_NAME_TOO_BIG || reason == KWRC_PROP_NAME_NOT_CONVERTED
                     ? KWCC_WARNING
                     : KWCC_FAILED;
  }
  if (pReason != nullptr) *pReason = reason;
  xtr_FNC_retcode(zxv::kComponent, fn, reason);
  return reason;
}

}  // extern "C"
