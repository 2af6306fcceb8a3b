// Converting every name and text value of a list into another CCSID.
#include "props/property_store.h"
#include "zxvxcs2/xcs_ccsid.h"
#include "zxvxcs2/xcs_memory.h"
#include "zxvxcs2/xcs_trace.h"

namespace zxv::props {
namespace {

constexpr uint32_t kProbeDamaged = 1;
constexpr uint32_t kProbeMissing = 2;
constexpr uint32_t kProbeNewList = 3;

// Builds the converted list beside the old one, node by node in the same
// order, so that a failure part way leaves the old list untouched.
KWLONG ChangeCcsid(ZRFPAL* pal, int32_t requested, uint32_t fn) {
  if (pal->pProps == nullptr || pal->Size < kHeaderLength) return KWRC_NONE;  // no list
  if (!HeaderUsable(pal)) {
    return DamagedList(pal, __FILE__, kProbeDamaged, "Property list header damaged");
  }
  const ZRFPROPS* old = pal->pProps;
  xtr_parms(kComponent, fn, "CurrentCCSID: %d, RequestedCCSID: %d", old->CCSID, requested);
  if (requested == old->CCSID) return KWRC_NONE;
  if (!xcsIsCCSIDSupported(requested)) {
    xtr_text_detail(kComponent, fn, "Value failed to be converted into properties CCSID");
    return KWRC_NOT_CONVERTED;
  }
  const uint8_t requestedType = xcsGetCCSIDType(requested, kNativeEncoding);
  if (old->StrucLen == kHeaderLength) {  // no text to convert: only the label changes
    pal->pProps->CCSID = requested;
    pal->pProps->CCSIDType = requestedType;
    return KWRC_NONE;
  }
  if (old->CCSID == 0) {
    // Names of an unknown CCSID cannot be converted into anything.
    xtr_text_detail(kComponent, fn, "Value failed to be converted into properties CCSID");
    return KWRC_NOT_CONVERTED;
  }
  if (VerifyRequested(pal)) {
    if (const KWLONG reason = VerifyList(pal, fn); reason != KWRC_NONE) return reason;
  }

  ZRFPAL fresh{};
  if (const KWLONG reason = AllocateList(pal->Size, &fresh, kProbeNewList); reason != KWRC_NONE) {
    return reason;
  }
  std::memcpy(fresh.pProps, old, kHeaderLength);
  fresh.pProps->StrucLen = kHeaderLength;
  fresh.pProps->PropsLen = 0;
  fresh.pProps->CCSID = requested;
  fresh.pProps->CCSIDType = requestedType;

  ScratchSpace scratch(nullptr);
  KWLONG reason = KWRC_NONE;
  const bool walked = ForEachNode(old, [&](const NodeView& node) {
    NodeSpec spec = SpecOfNode(node);
    const bool text = IsTextValue(spec.type_flags);
    Text name;
    Text value;
    reason = ConvertText(old->CCSID, requested, Text{spec.name, spec.name_length},
                         Text{spec.value, spec.value_length}, text, &scratch, &name, &value, fn);
    if (reason == KWRC_NONE && name.length > kMaxNameLength) {
      xtr_text_detail(kComponent, fn, "Value failed to be converted into properties CCSID");
      reason = KWRC_NOT_CONVERTED;  // the converted name no longer fits its length field
    }
    if (reason != KWRC_NONE) return false;
    spec.name = name.data;
    spec.name_length = name.length;
    if (text) {
      spec.value = value.data;
      spec.value_length = value.length;
    }
    reason = AppendNodeAtEnd(&fresh, spec);
    return reason == KWRC_NONE;
  });
  if (!walked) reason = DamagedList(pal, __FILE__, kProbeDamaged, "Property node damaged");
  if (reason != KWRC_NONE) {
    xcsFreeMemFn(fresh.pProps);
    return reason;
  }
  xcsFreeMemFn(pal->pProps);
  *pal = fresh;
  if (VerifyRequested(pal)) return VerifyList(pal, fn);
  return KWRC_NONE;
}

}  // namespace
}  // namespace zxv::props

namespace zp = zxv::props;

extern "C" {

ZXV_API KWLONG zrfChangePropertiesCCSID(ZRFPAL* pPAL, KWLONG RequestedCCSID, KWLONG* pCompCode,
                                        KWLONG* pReason) {
  xtr_FNC_entry(zxv::kComponent, zp::kFnChangePropertiesCCSID);
  const KWLONG reason = pPAL == nullptr
                            ? zp::MissingParameter("pPAL", __FILE__, zp::kProbeMissing)
                            : zp::ChangeCcsid(pPAL, RequestedCCSID, zp::kFnChangePropertiesCCSID);
  zp::SetCodes(reason, pCompCode, pReason);
  xtr_FNC_retcode(zxv::kComponent, zp::kFnChangePropertiesCCSID, reason);
  return reason;
}

}  // extern "C"
