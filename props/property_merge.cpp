// Adding every property of one list to another (merge), and moving them
// (merge, then empty the source).
#include "props/property_store.h"
#include "zxvxcs2/xcs_ccsid.h"
#include "zxvxcs2/xcs_memory.h"
#include "zxvxcs2/xcs_trace.h"

namespace zxv::props {
namespace {

constexpr uint32_t kProbeDamaged = 1;
constexpr uint32_t kProbeMissing = 2;
constexpr uint32_t kProbeCopy = 3;

bool HasList(const ZRFPAL* pal) { return pal->pProps != nullptr && pal->Size >= kHeaderLength; }

// The target to merge into, as a copy: a failure part way through then
// leaves the real target untouched.
KWLONG WorkingCopyOfTarget(const ZRFPAL* target, ZRFPAL* work, uint32_t fn) {
  if (!HasList(target)) return PrepareListForAppend(work, fn);
  if (!HeaderUsable(target)) {
    return DamagedList(target, __FILE__, kProbeDamaged, "Target list header damaged");
  }
  if (const KWLONG reason = AllocateList(target->Size, work, kProbeCopy); reason != KWRC_NONE) {
    return reason;
  }
  std::memcpy(work->pProps, target->pProps, target->pProps->StrucLen);
  ZRFPROPS* list = work->pProps;
  if (list->CCSID == 0 && list->StrucLen == kHeaderLength) {  // as an append would
    list->CCSID = kStoreCcsid;
    list->CCSIDType = XCS_CCSID_TYPE_UTF8;
  }
  return KWRC_NONE;
}

KWLONG MergeInto(ZRFPAL* work, const ZRFPAL* sourcePal, bool keepExisting, uint32_t fn) {
  const ZRFPROPS* source = sourcePal->pProps;
  const int32_t targetCcsid = work->pProps->CCSID;
  const bool convert = NeedsConversion(source->CCSID, targetCcsid);
  ScratchSpace scratch(nullptr);
  KWLONG reason = KWRC_NONE;
  const bool walked = ForEachNode(source, [&](const NodeView& node) {
    NodeSpec spec = SpecOfNode(node);
    if (convert) {
      const bool text = IsTextValue(spec.type_flags);
      Text name;
      Text value;
      reason = ConvertText(source->CCSID, targetCcsid, Text{spec.name, spec.name_length},
                           Text{spec.value, spec.value_length}, text, &scratch, &name, &value, fn);
      if (reason != KWRC_NONE) return false;
      spec.name = name.data;
      spec.name_length = name.length;
      if (text) {
        spec.value = value.data;
        spec.value_length = value.length;
      }
      reason = CheckNodeSpec(spec, fn);
      if (reason != KWRC_NONE) return false;
    }
    reason = InsertOrReplaceNode(work, spec, keepExisting, fn);
    return reason == KWRC_NONE;
  });
  if (!walked && reason == KWRC_NONE) {
    return DamagedList(sourcePal, __FILE__, kProbeDamaged, "Source property node damaged");
  }
  return reason;
}

KWLONG Merge(KWLONG options, const ZRFPAL* source, ZRFPAL* target, uint32_t fn) {
  if (!HasList(source) || source->pProps == target->pProps) return KWRC_NONE;
  if (!HeaderUsable(source)) {
    return DamagedList(source, __FILE__, kProbeDamaged, "Source list header damaged");
  }
  if (source->pProps->StrucLen == kHeaderLength) return KWRC_NONE;  // nothing to add
  ZRFPAL work{};
  if (const KWLONG reason = WorkingCopyOfTarget(target, &work, fn); reason != KWRC_NONE) {
    return reason;
  }
  const KWLONG reason = MergeInto(&work, source, (options & ZRF_MERGE_KEEP_EXISTING) != 0, fn);
  if (reason != KWRC_NONE) {
    xcsFreeMemFn(work.pProps);
    return reason;
  }
  if (HasList(target)) xcsFreeMemFn(target->pProps);
  *target = work;
  return KWRC_NONE;
}

}  // namespace
}  // namespace zxv::props

namespace zp = zxv::props;

extern "C" {

ZXV_API KWLONG zrfMergeProperties(KWLONG Options, const ZRFPAL* pSource, ZRFPAL* pTarget,
                                  KWLONG* pCompCode, KWLONG* pReason) {
  xtr_FNC_entry(zxv::kComponent, zp::kFnMergeProperties);
  const KWLONG reason = (pSource == nullptr || pTarget == nullptr)
                            ? zp::MissingParameter(pSource == nullptr ? "pSource" : "pTarget",
                                                   __FILE__, zp::kProbeMissing)
                            : zp::Merge(Options, pSource, pTarget, zp::kFnMergeProperties);
  zp::SetCodes(reason, pCompCode, pReason);
  xtr_FNC_retcode(zxv::kComponent, zp::kFnMergeProperties, reason);
  return reason;
}

ZXV_API KWLONG zrfMoveProperties(KWLONG Options, ZRFPAL* pSource, ZRFPAL* pTarget,
                                 KWLONG* pCompCode, KWLONG* pReason) {
  xtr_FNC_entry(zxv::kComponent, zp::kFnMoveProperties);
  KWLONG reason;
  if (pSource == nullptr || pTarget == nullptr) {
    reason = zp::MissingParameter(pSource == nullptr ? "pSource" : "pTarget", __FILE__,
                                  zp::kProbeMissing);
  } else {
    reason = zp::Merge(Options, pSource, pTarget, zp::kFnMoveProperties);
    if (reason == KWRC_NONE && zp::HasList(pSource) && pSource->pProps != pTarget->pProps) {
      pSource->pProps->StrucLen = zp::kHeaderLength;
      pSource->pProps->PropsLen = 0;
    }
  }
  zp::SetCodes(reason, pCompCode, pReason);
  xtr_FNC_retcode(zxv::kComponent, zp::kFnMoveProperties, reason);
  return reason;
}

}  // extern "C"
