// Whether a list must be rewritten before it is copied to a new message:
// some property's CopyOptions keep it from the copy being made.
#include "props/property_store.h"
#include "zxvxcs2/xcs_trace.h"

namespace zxv::props {
namespace {

constexpr uint32_t kProbeDamaged = 1;

// Whether a property with `copyOptions` goes with a copy made for `purpose`.
bool TravelsWith(uint32_t copyOptions, KWLONG purpose) {
  return (copyOptions & KWCOPY_ALL) != 0 || (copyOptions & static_cast<uint32_t>(purpose)) != 0;
}

KWLONG CheckCopyOptions(const ZRFPAL* pal, KWLONG purpose, bool* modificationRequired) {
  *modificationRequired = false;
  if ((purpose & KWCOPY_ALL) != 0) return KWRC_NONE;  // a full copy keeps everything
  if (pal == nullptr || pal->pProps == nullptr || pal->Size < kHeaderLength) return KWRC_NONE;
  if (!HeaderUsable(pal)) {
    return DamagedList(pal, __FILE__, kProbeDamaged, "Property list header damaged");
  }
  const bool walked = ForEachNode(pal->pProps, [&](const NodeView& node) {
    if (!TravelsWith(node.copy_options, purpose)) *modificationRequired = true;
    return !*modificationRequired;
  });
  if (!walked) return DamagedList(pal, __FILE__, kProbeDamaged, "Property node damaged");
  return KWRC_NONE;
}

}  // namespace
}  // namespace zxv::props

namespace zp = zxv::props;

extern "C" {

ZXV_API KWLONG zrfCheckCopyOptions(const ZRFPAL* pPAL, KWLONG CopyPurpose,
                                   KWLONG* pModificationRequired, KWLONG* pCompCode,
                                   KWLONG* pReason) {
  xtr_FNC_entry(zxv::kComponent, zp::kFnCheckCopyOptions);
  bool required = false;
  const KWLONG reason = zp::CheckCopyOptions(pPAL, CopyPurpose, &required);
  xtr_parms(zxv::kComponent, zp::kFnCheckCopyOptions, "ModificationRequired: %s",
            required ? "TRUE" : "FALSE");
  if (pModificationRequired != nullptr) *pModificationRequired = required ? 1 : 0;
  zp::SetCodes(reason, pCompCode, pReason);
  xtr_FNC_retcode(zxv::kComponent, zp::kFnCheckCopyOptions, reason);
  return reason;
}

}  // extern "C"
