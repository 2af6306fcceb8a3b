// The second look at the properties a header conversion marked
// (zrfProcessMarkedNodes): those whose Support asks a receiver to recognise
// something are walked once more and judged by the reject-support rules of
// the kw folder.
#include "props/folder_parser.h"
#include "props/props_writer.h"
#include "zxvxcs2/xcs_erdp.h"
#include "zxvxcs2/xcs_trace.h"

namespace zxv::props {
namespace {

constexpr uint32_t kProbeDamaged = 1;
constexpr uint32_t kProbeCount = 2;
constexpr uint32_t kProbeMissing = 3;
constexpr uint32_t kDestinationOptions = ZRF_MARKED_DLQ | ZRF_MARKED_TO_XMIT_Q;

}  // namespace

KWLONG ProcessMarkedNodes(const ZRFPAL* pal, const ZRFMARKS& marks, uint32_t options, uint32_t fn) {
  if (marks.NonCompatible == 0) return KWRC_NONE;
  if (pal->pProps == nullptr || !HeaderUsable(pal)) {
    return DamagedList(pal, __FILE__, kProbeDamaged, "Marked properties without a list");
  }
  const ZRFPROPS* list = pal->pProps;
  uint32_t support = 0;
  uint32_t count = 0;
  const bool walked = ForEachNode(list, [&](const NodeView& node) {
    const auto offset = static_cast<uint32_t>(node.node - ListBytes(list));
    if (offset < marks.FirstMarked || (node.type_flags & ZRF_TYPE_MASK) == ZRF_TYPE_NAME_ONLY ||
        IsCompatibleSupport(node.support) || !SelectedByPurpose(node, marks.CopyPurpose)) {
      return true;
    }
    xtr_text_detail(kComponent, fn, "Marked property at offset %u, Support: 0x%08X", offset,
                    node.support);
    support |= node.support;
    ++count;
    return true;
  });
  if (!walked) return DamagedList(pal, __FILE__, kProbeDamaged, "Property list damaged");
  if (count != marks.NonCompatible || support != marks.MarkedSupport) {
    // The list changed since the conversion: judge what it holds now.
    xcsERDPSFn(kComponent, __FILE__, kProbeCount, xcsRC_UNEXPECTED_ERROR, nullptr, 0,
               "Marked properties changed: %u of Support 0x%08X, now %u of 0x%08X",
               marks.NonCompatible, marks.MarkedSupport, count, support);
  }
  return ProcessKWFolder(support, options & kDestinationOptions, fn);
}

}  // namespace zxv::props

extern "C" {

ZXV_API KWLONG zrfProcessMarkedNodes(const ZRFPAL* pPAL, const ZRFMARKS* pMarks, KWULONG Options,
                                     KWLONG* pCompCode, KWLONG* pReason) {
  namespace zp = zxv::props;
  constexpr uint32_t fn = zp::kFnProcessMarkedNodes;
  xtr_FNC_entry(zxv::kComponent, fn);
  KWLONG reason = KWRC_NONE;
  if (pPAL == nullptr || pMarks == nullptr) {
    reason = zp::MissingParameter(pPAL == nullptr ? "pPAL" : "pMarks", __FILE__, zp::kProbeMissing);
  } else {
    reason = zp::ProcessMarkedNodes(pPAL, *pMarks, Options, fn);
  }
  zp::SetCodes(reason, pCompCode, pReason);
  xtr_FNC_retcode(zxv::kComponent, fn, reason);
  return reason;
}

}  // extern "C"
