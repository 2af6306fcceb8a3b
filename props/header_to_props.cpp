// Headers in front of message data to a message handle's properties
// (zstKWRFH2ToProperties): the handle is emptied, takes the caller's
// descriptor, and is filled by the folder parser from every KWRFH2.
#include <cstring>

#include "props/folder_parser.h"
#include "props/props_writer.h"
#include "zxvxcs2/xcs_trace.h"

namespace zxv::props {
namespace {

constexpr uint32_t kProbeMissing = 1;

// A descriptor extension directly behind a version 1 descriptor carries the
// group fields that the descriptor cannot: copy them into the handle's.
void TakeExtension(const uint8_t* data, uint32_t length, KWMD* md, uint32_t fn) {
  char format[kFormatLength];
  std::memcpy(format, md->Format, kFormatLength);
  if (length < kMdeLength || ClassifyFormat(format, false) != FormatKind::kMdExtension) return;
  const int32_t ccsid = ChainCcsid(kUtf8Ccsid, md->CodedCharSetId);
  char strucId[kStrucIdLength];
  if (!ReadChainText(data, kStrucIdLength, ccsid, md->Encoding, strucId, fn) ||
      std::memcmp(strucId, KWMDE_STRUC_ID, kStrucIdLength) != 0) {
    return;
  }
  const bool reversed = ReversedIntegers(md->Encoding);
  if (LoadInt(data + kStrucLengthOffset, reversed) < static_cast<int32_t>(kMdeLength)) return;
  std::memcpy(md->GroupId, data + offsetof(KWMDE, GroupId), sizeof md->GroupId);
  md->MsgSeqNumber = LoadInt(data + offsetof(KWMDE, MsgSeqNumber), reversed);
  md->Offset = LoadInt(data + offsetof(KWMDE, Offset), reversed);
  md->MsgFlags = LoadInt(data + offsetof(KWMDE, MsgFlags), reversed);
  md->OriginalLength = LoadInt(data + offsetof(KWMDE, OriginalLength), reversed);
  xtr_text_detail(kComponent, fn, "Group fields taken from KWMDE: MsgSeqNumber %d",
                  md->MsgSeqNumber);
}

KWLONG HeadersToProperties(xihTHREAD* thread, KWHCONN hConn, KWHMSG hMsg, const KWMD* md,
                           uint8_t* data, uint32_t length, uint32_t options,
                           MsgHandleAnchor* anchor, KWULONG* dataOffset, KWULONG* dataLength) {
  constexpr uint32_t fn = kFnKWRFH2ToProperties;
  if (dataOffset != nullptr) *dataOffset = 0;
  if (dataLength != nullptr) *dataLength = length;
  if (md == nullptr || (data == nullptr && length != 0)) {
    return MissingParameter(md == nullptr ? "pMsgDesc" : "pData", __FILE__, kProbeMissing);
  }
  const int32_t version = md->Version;
  if (version != KWMD_VERSION_1 && version != KWMD_VERSION_2) {
    xtr_text_detail(kComponent, fn, "Unsupported KWMD version: %d", version);
    return KWRC_MD_ERROR;
  }

  HandleCallLock lock(thread, hConn, hMsg, anchor, "zstKWRFH2ToProperties", fn);
  if (lock.reason() != KWRC_NONE) return lock.reason();
  MsgHandle* handle = lock.handle();

  ResetHandle(handle, true);
  std::memcpy(&handle->MsgDesc, md, version == KWMD_VERSION_1 ? KWMD_LENGTH_1 : KWMD_LENGTH_2);
  if (version == KWMD_VERSION_1) TakeExtension(data, length, &handle->MsgDesc, fn);

  // The walk starts at what the caller's descriptor names: the parse may
  // change the handle's copy.
  char format[kFormatLength];
  std::memcpy(format, md->Format, kFormatLength);
  ZRFPAL pal = ListOf(handle);
  uint32_t offset = 0;
  uint32_t remaining = length;
  const KWLONG reason = ParseMessage(
      ZRF_PARSE_FILL_HANDLE | (options & ZST_H2P_INTERNAL_ONLY), data, length, format, md->Encoding,
      md->CodedCharSetId, &pal, &handle->MsgDesc, &handle->MsgDescFieldsSet, &offset, &remaining);
  StoreList(handle, pal);
  NoteListChanged(handle);
  if (dataOffset != nullptr) *dataOffset = offset;
  if (dataLength != nullptr) *dataLength = remaining;
  return reason;
}

}  // namespace
}  // namespace zxv::props

extern "C" {

ZXV_API KWLONG zstKWRFH2ToProperties(ZST_THREAD pThread, KWHCONN hConn, KWHMSG hMsg,
                                     const KWMD* pMsgDesc, void* pData, KWULONG DataLength,
                                     KWULONG Options, MsgHandleAnchor* pAnchor,
                                     KWULONG* pDataOffset, KWULONG* pDataLength, KWLONG* pCompCode,
                                     KWLONG* pReason) {
  namespace zp = zxv::props;
  constexpr uint32_t fn = zp::kFnKWRFH2ToProperties;
  xtr_FNC_entry(zxv::kComponent, fn);
  const KWLONG reason =
      zp::HeadersToProperties(pThread, hConn, hMsg, pMsgDesc, static_cast<uint8_t*>(pData),
                              DataLength, Options, pAnchor, pDataOffset, pDataLength);
  zp::SetCodes(reason, pCompCode, pReason);
  xtr_FNC_retcode(zxv::kComponent, fn, reason);
  return reason;
}

}  // extern "C"
