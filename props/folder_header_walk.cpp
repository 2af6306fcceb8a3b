// zrfParse: every KWRFH2 of a message, each folder parsed into the list and
// the folders to be removed cut out of the message.
#include <cstring>

#include "props/folder_parser.h"
#include "props/property_store.h"
#include "zxvxcs2/xcs_ccsid.h"
#include "zxvxcs2/xcs_trace.h"

namespace zxv::props {
namespace {

constexpr uint32_t kProbeMissing = 1;

// The message as it is being changed: `base` is where it starts in the
// caller's buffer (it moves up when bytes in front of a folder are moved
// over it), `length` its length; offsets below are from `base`.
struct Message {
  uint8_t* data;
  uint32_t base;
  uint32_t length;
  uint8_t* at(uint32_t offset) const { return data + base + offset; }
};

// Cuts `cut` bytes at `offset` out of the message by moving the shorter
// side over them. The header's StrucLength (at `strucLengthAt`, already
// updated to `strucLength`) moves with the bytes in front of the folder.
// Offsets from `base` of everything that stays do not change either way.
void CutFolder(Message* m, uint32_t offset, uint32_t cut, uint32_t strucLengthAt,
               int32_t strucLength) {
  const uint32_t behind = m->length - offset - cut;
  if (offset < behind) {
    std::memmove(m->data + m->base + cut, m->data + m->base, offset);
    m->base += cut;
    xtr_text_detail(kComponent, kFnParse,
                    "removing up %u bytes at offset %u, Rfh2StrucLength:%p:%d", cut, offset,
                    static_cast<void*>(m->at(strucLengthAt)), strucLength);
  } else {
    std::memmove(m->at(offset), m->at(offset + cut), behind);
    xtr_text_detail(kComponent, kFnParse,
                    "removing down %u bytes at offset %u, Rfh2StrucLength:%p:%d", cut, offset,
                    static_cast<void*>(m->at(strucLengthAt)), strucLength);
  }
  m->length -= cut;
}

// The folders of the KWRFH2 found at `loc`. *strucLength is updated for
// the folders cut out.
KWLONG ParseHeaderFolders(Message* m, const ZRFLOC& loc, uint8_t family, FolderSession* session,
                          uint32_t* strucLength) {
  const bool reversed = ReversedIntegers(loc.Encoding);
  const uint32_t header = loc.Offset;
  const uint32_t strucLengthAt = header + kStrucLengthOffset;
  uint32_t pos = header + kRfh2FixedLength;
  session->ExpectFolderBytes(*strucLength);
  while (pos < header + *strucLength) {
    const uint32_t remaining = header + *strucLength - pos;
    const int32_t folderLength =
        remaining >= kFolderLengthBytes ? LoadInt(m->at(pos), reversed) : 0;
    if (remaining < kFolderLengthBytes || folderLength < 0 ||
        static_cast<uint32_t>(folderLength) > remaining - kFolderLengthBytes) {
      xtr_text_detail(kComponent, kFnParse,
                      "FolderLength is invalid for remaining data. FL: %u, RL: %d",
                      static_cast<uint32_t>(folderLength),
                      static_cast<int32_t>(remaining) - static_cast<int32_t>(kFolderLengthBytes));
      return KWRC_RFH_FORMAT_ERROR;
    }
    session->BeginFolder();
    uint32_t action = ZRF_FOLDER_KEEP;
    const KWLONG reason =
        ParseFolder(m->at(pos + kFolderLengthBytes), static_cast<uint32_t>(folderLength),
                    loc.NameValueCCSID, family, session, &action);
    if (reason != KWRC_NONE) {
      session->RollbackFolder();
      return reason;
    }
    session->CommitFolder();
    const uint32_t cut = kFolderLengthBytes + static_cast<uint32_t>(folderLength);
    if (action != ZRF_FOLDER_REMOVE) {
      pos += cut;
      continue;
    }
    *strucLength -= cut;
    StoreInt(m->at(strucLengthAt), static_cast<int32_t>(*strucLength), reversed);
    CutFolder(m, pos, cut, strucLengthAt, static_cast<int32_t>(*strucLength));
  }
  return KWRC_NONE;
}

}  // namespace

KWLONG ParseMessage(uint32_t options, uint8_t* data, uint32_t length, const char* format,
                    int32_t encoding, int32_t ccsid, ZRFPAL* pal, KWMD* md, KWULONG* fieldsSet,
                    uint32_t* dataOffset, uint32_t* dataLength) {
  ZRFFOLDERCTX ctx{};
  ctx.Options = options;
  ctx.pMsgDesc = md;
  ctx.pMsgDescFieldsSet = fieldsSet;
  FolderSession session(pal, &ctx);
  Message m{data, 0, length};

  char fmt[kFormatLength];
  std::memcpy(fmt, format, kFormatLength);
  int32_t enc = encoding;
  int32_t chainCcsid = ccsid;
  uint32_t start = 0;
  KWLONG result = KWRC_NONE;
  for (;;) {
    ZRFLOC loc{};
    const KWLONG found = LocateKWRFH2(m.length != 0 ? m.at(0) : nullptr, m.length, fmt, enc,
                                      chainCcsid, start, &loc, nullptr);
    if (found == KWRC_PROPERTY_NOT_AVAILABLE) break;  // no (further) header
    if (found != KWRC_NONE) {
      xtr_text_detail(kComponent, kFnParse, "Skipping KWRFH2 due to error found in header");
      result = found;
      break;
    }
    std::memcpy(fmt, loc.NextFormat, kFormatLength);
    enc = loc.NextEncoding;
    chainCcsid = loc.NextCCSID;
    start = loc.NextOffset;

    if ((options & ZRF_PARSE_INTERNAL_ONLY) && loc.InternalFlags == 0) {
      xtr_text_detail(kComponent, kFnParse, "Skipping KWRFH2 as not flagged RFH_INTERNAL");
      continue;
    }
    if (loc.NameValueCCSID <= 0) {
      xtr_text_detail(kComponent, kFnParse, "Skipping KWRFH2 due to invalid NameValueCCSID: %d",
                      loc.NameValueCCSID);
      continue;
    }
    const uint8_t family = FolderFamilyOf(loc.NameValueCCSID, loc.Encoding);
    if (family == XCS_CCSID_TYPE_UNKNOWN) {
      xtr_text_detail(kComponent, kFnParse, "Skipping KWRFH2 due to unsupported NameValueCCSID: %d",
                      loc.NameValueCCSID);
      continue;
    }
    ctx.DataEncoding = loc.NextEncoding;
    ctx.DataCCSID = loc.NextCCSID;
    std::memcpy(ctx.DataFormat, loc.NextFormat, kFormatLength);

    uint32_t strucLength = loc.StrucLength;
    result = ParseHeaderFolders(&m, loc, family, &session, &strucLength);
    if (result != KWRC_NONE) break;
    start = loc.Offset + strucLength;
  }
  *dataOffset = m.base;
  *dataLength = m.length;
  return result;
}

}  // namespace zxv::props

namespace zp = zxv::props;

extern "C" ZXV_API KWLONG zrfParse(KWULONG Options, void* pData, KWULONG DataLength,
                                   const char* pFormat, KWLONG Encoding, KWLONG CCSID, ZRFPAL* pPAL,
                                   KWMD* pMsgDesc, KWULONG* pMsgDescFieldsSet, KWULONG* pDataOffset,
                                   KWULONG* pDataLength, KWLONG* pCompCode, KWLONG* pReason) {
  xtr_FNC_entry(zxv::kComponent, zp::kFnParse);
  KWLONG reason;
  uint32_t offset = 0;
  uint32_t length = DataLength;
  if (pFormat == nullptr || pPAL == nullptr || pDataOffset == nullptr || pDataLength == nullptr) {
    reason =
        zp::MissingParameter("pFormat/pPAL/pDataOffset/pDataLength", __FILE__, zp::kProbeMissing);
  } else if (pData == nullptr && DataLength != 0) {
    reason = zp::MissingParameter("pData", __FILE__, zp::kProbeMissing);
  } else {
    xtr_parms(zxv::kComponent, zp::kFnParse,
              "Options: 0x%X, DataLength: %u, Encoding: %d, CCSID: %d", Options, DataLength,
              Encoding, CCSID);
    reason = zp::ParseMessage(Options, static_cast<uint8_t*>(pData), DataLength, pFormat, Encoding,
                              CCSID, pPAL, pMsgDesc, pMsgDescFieldsSet, &offset, &length);
  }
  if (pDataOffset != nullptr) *pDataOffset = offset;
  if (pDataLength != nullptr) *pDataLength = length;
  zp::SetCodes(reason, pCompCode, pReason);
  xtr_FNC_retcode(zxv::kComponent, zp::kFnParse, reason);
  return reason;
}
