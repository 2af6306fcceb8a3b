// The consistency check of a property list (zrfVerifyPropertiesFn), run
// around every change when the list's verify flag is set.
#include <algorithm>
#include <cstdio>

#include "props/property_store.h"
#include "zxvxcs2/xcs_erdp.h"
#include "zxvxcs2/xcs_trace.h"

namespace zxv::props {
namespace {

constexpr uint32_t kProbeVerify = 1;
constexpr size_t kCommentLength = 128;

KWLONG Refuse(const ZRFPAL* pal, uint32_t fn, const char* comment) {
  xtr_text_detail(kComponent, fn, "%s", comment);
  const size_t dump = pal->pProps == nullptr ? 0 : std::min<size_t>(pal->Size, kHeaderLength);
  xcsERDPFn(kComponent, __FILE__, kProbeVerify, xcsRC_UNEXPECTED_ERROR, comment, pal->pProps, dump);
  return KWRC_UNEXPECTED_ERROR;
}

}  // namespace

KWLONG VerifyList(const ZRFPAL* pal, uint32_t fn) {
  char comment[kCommentLength];
  if (pal->pProps == nullptr) return KWRC_NONE;  // no list yet: nothing to be wrong
  if (pal->Size < kHeaderLength) return Refuse(pal, fn, "Property list smaller than its header");
  const ZRFPROPS* list = pal->pProps;
  if (std::memcmp(list->StrucId, ZRFP_STRUC_ID, sizeof list->StrucId) != 0) {
    return Refuse(pal, fn, "Property list eye-catcher not valid");
  }
  if ((list->VersionFlags & ZRFP_VERSION_MASK) != ZRFP_VERSION_1) {
    std::snprintf(comment, sizeof comment, "Property list version not valid: %u",
                  list->VersionFlags & ZRFP_VERSION_MASK);
    return Refuse(pal, fn, comment);
  }
  if (list->StrucLen < kHeaderLength || list->StrucLen > pal->Size) {
    std::snprintf(comment, sizeof comment, "StrucLen %u outside %u..%u", list->StrucLen,
                  kHeaderLength, pal->Size);
    return Refuse(pal, fn, comment);
  }
  uint64_t propsLen = 0;
  uint32_t offset = kHeaderLength;
  const char* problem = nullptr;
  const bool walked = ForEachNode(list, [&](const NodeView& node) {
    if (node.name_length == 0) {
      problem = "has no name";
      return false;
    }
    if (node.layout->variable() && node.value[node.value_length] != 0) {
      problem = "lacks the zero byte after its value";
      return false;
    }
    propsLen += uint64_t{node.name_length} + node.value_length;
    offset += node.length;
    return true;
  });
  if (!walked) problem = "has an unknown type or overruns StrucLen";
  if (problem != nullptr) {
    std::snprintf(comment, sizeof comment, "Property node at offset %u %s", offset, problem);
    return Refuse(pal, fn, comment);
  }
  if (propsLen != list->PropsLen) {
    std::snprintf(comment, sizeof comment, "PropsLen %u differs from the nodes' %llu",
                  list->PropsLen, static_cast<unsigned long long>(propsLen));
    return Refuse(pal, fn, comment);
  }
  return KWRC_NONE;
}

}  // namespace zxv::props

namespace zp = zxv::props;

extern "C" {

ZXV_API KWLONG zrfVerifyPropertiesFn(const ZRFPAL* pPAL, KWLONG* pCompCode, KWLONG* pReason) {
  xtr_FNC_entry(zxv::kComponent, zp::kFnVerifyProperties);
  const KWLONG reason = pPAL == nullptr ? KWRC_NONE : zp::VerifyList(pPAL, zp::kFnVerifyProperties);
  zp::SetCodes(reason, pCompCode, pReason);
  xtr_FNC_retcode(zxv::kComponent, zp::kFnVerifyProperties, reason);
  return reason;
}

}  // extern "C"
