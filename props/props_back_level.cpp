// Preparing a message for a receiver that does not handle properties
// (zrfPrepareMsgForBackLevel): the folder parser, under its back-level
// option, cuts the queue manager's folders and folders marked
// content='properties' out of every KWRFH2; nothing goes into a list.
#include "props/folder_parser.h"
#include "props/props_writer.h"
#include "zxvxcs2/xcs_erdp.h"
#include "zxvxcs2/xcs_trace.h"

namespace zxv::props {
namespace {

constexpr uint32_t kProbeMissing = 1;
constexpr uint32_t kProbeParse = 2;
constexpr uint32_t kProbeList = 3;

KWLONG PrepareForBackLevel(uint8_t* data, uint32_t length, const char* format, int32_t encoding,
                           int32_t ccsid, KWULONG* dataOffset, KWULONG* dataLength) {
  constexpr uint32_t fn = kFnPrepareMsgForBackLevel;
  if (dataOffset == nullptr || dataLength == nullptr || format == nullptr ||
      (data == nullptr && length != 0)) {
    if (dataOffset != nullptr) *dataOffset = 0;
    if (dataLength != nullptr) *dataLength = length;
    return MissingParameter(format == nullptr ? "pFormat" : "pData, pDataOffset or pDataLength",
                            __FILE__, kProbeMissing);
  }
  ZRFPAL side{};
  uint32_t offset = 0;
  uint32_t remaining = length;
  const KWLONG reason = ParseMessage(ZRF_PARSE_BACK_LEVEL, data, length, format, encoding, ccsid,
                                     &side, nullptr, nullptr, &offset, &remaining);
  *dataOffset = offset;
  *dataLength = remaining;
  if (reason != KWRC_NONE) {
    xcsERDPSFn(kComponent, __FILE__, kProbeParse, xcsRC_UNEXPECTED_ERROR, nullptr, 0,
               "Back-level preparation of the message failed with reason %d", reason);
  } else if (side.pProps != nullptr && side.pProps->StrucLen > kHeaderLength) {
    xcsERDPFn(kComponent, __FILE__, kProbeList, xcsRC_UNEXPECTED_ERROR,
              "Back-level preparation built properties", side.pProps, kHeaderLength);
  }
  if (side.pProps != nullptr) FreeList(&side);
  xtr_text_detail(kComponent, fn, "Message prepared: offset %u, length %u", offset, remaining);
  return reason;
}

}  // namespace
}  // namespace zxv::props

extern "C" {

ZXV_API KWLONG zrfPrepareMsgForBackLevel(void* pData, KWULONG DataLength, const char* pFormat,
                                         KWLONG Encoding, KWLONG CCSID, KWULONG* pDataOffset,
                                         KWULONG* pDataLength, KWLONG* pCompCode, KWLONG* pReason) {
  namespace zp = zxv::props;
  constexpr uint32_t fn = zp::kFnPrepareMsgForBackLevel;
  xtr_FNC_entry(zxv::kComponent, fn);
  const KWLONG reason = zp::PrepareForBackLevel(static_cast<uint8_t*>(pData), DataLength, pFormat,
                                                Encoding, CCSID, pDataOffset, pDataLength);
  zp::SetCodes(reason, pCompCode, pReason);
  xtr_FNC_retcode(zxv::kComponent, fn, reason);
  return reason;
}

}  // extern "C"
