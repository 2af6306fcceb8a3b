// A property list's text as the header converters see it: its encoding
// family, its CCSID and byte order, conversion of names and values into
// the header's CCSID, and finding a node by offset.
#include "props/props_writer.h"
#include "props/rfh2_family.h"
#include "zxvxcs2/xcs_ccsid.h"
#include "zxvxcs2/xcs_trace.h"

namespace zxv::props {
namespace {

constexpr int32_t kBigEndianEncoding = 273;  // integer part 1: most significant byte first
constexpr uint32_t kConversionSlack = 16;
constexpr uint32_t kConversionGrowth = 4;
constexpr uint32_t kProbeConvert = 1;

}  // namespace

uint8_t ListFamilyOf(const ZRFPROPS* list) {
  if (IsKnownFamily(list->CCSIDType)) return list->CCSIDType;
  // A list the store created takes 1208; CCSID 0 is the default header's.
  if (list->CCSID == 0 || list->CCSID == kStoreCcsid) return XCS_CCSID_TYPE_UTF8;
  const uint8_t family = xcsGetCCSIDType(list->CCSID, kNativeEncoding);
  return IsKnownFamily(family) ? family : static_cast<uint8_t>(XCS_CCSID_TYPE_UNKNOWN);
}

TextCodes ListCodesOf(const ZRFPROPS* list) {
  const int32_t ccsid = list->CCSID == 0 ? kStoreCcsid : list->CCSID;
  return TextCodes{
      ccsid, ListFamilyOf(list) == XCS_CCSID_TYPE_BUCS2 ? kBigEndianEncoding : kNativeEncoding};
}

bool NodeAtOffset(const ZRFPROPS* list, uint32_t offset, NodeView* view) {
  bool found = false;
  const bool walked = ForEachNode(list, [&](const NodeView& node) {
    const auto at = static_cast<uint32_t>(node.node - ListBytes(list));
    if (at == offset) {
      *view = node;
      found = true;
    }
    return at < offset;
  });
  return walked && found;
}

KWLONG ConvertText(TextCodes from, TextCodes to, const uint8_t* text, uint32_t length,
                   ScratchBytes* scratch, const uint8_t** out, uint32_t* outLength, uint32_t fn,
                   bool quiet) {
  if (length == 0) {
    *out = text;
    *outLength = 0;
    return KWRC_NONE;
  }
  uint64_t room = uint64_t{length} * kConversionGrowth + kConversionSlack;
  for (;;) {
    if (const KWLONG reason = scratch->Reserve(room); reason != KWRC_NONE) return reason;
    uint32_t used = 0;
    const xcsRC rc = xcsConvertString(from.ccsid, from.encoding, text, length, to.ccsid,
                                      to.encoding, scratch->data(), scratch->capacity(), &used);
    if (rc == xcsRC_OK) {
      *out = scratch->data();
      *outLength = used;
      return KWRC_NONE;
    }
    if (rc == xcsRC_CONV_BUFFER_TOO_SMALL && room < kMaxListSize) {
      room = uint64_t{scratch->capacity()} * 2;
      continue;
    }
    if (rc == xcsRC_CONV_INVALID_SOURCE || rc == xcsRC_CONV_UNMAPPABLE ||
        rc == xcsRC_CONV_TRUNCATED_SOURCE) {
      if (!quiet) {
        xtr_text_detail(kComponent, fn, "Value failed to be converted into CCSID %d", to.ccsid);
      }
      return KWRC_NOT_CONVERTED;
    }
    if (rc == xcsRC_CONV_NOT_SUPPORTED) return KWRC_SOURCE_CCSID_ERROR;
    return StorageReason(rc, __FILE__, kProbeConvert);
  }
}

}  // namespace zxv::props
