// Inserting a built KWRFH2 into message data behind the transmission,
// dead-letter, extension and older name/value headers (zrfInsertKWRFH2).
//
// The chain is re-pointed rather than the header rewritten: the structure
// in front of the insertion point now names the inserted header in the
// header's own encoding and CCSID, and the header names what that structure
// named before. So a header built in the machine's encoding can go behind a
// chain of any byte order without touching its folders.
#include "props/property_store.h"
#include "props/rfh2_chain.h"
#include "zxvxcs2/xcs_trace.h"

namespace zxv::props {
namespace {

constexpr uint32_t kProbeMissing = 1;
constexpr uint32_t kFn = kFnInsertKWRFH2;

// Where the header goes and the structure in front of it.
struct InsertPoint {
  uint32_t offset = 0;  // the CopyOffset
  // What the structure in front names: the format as stored there and as
  // read in the machine's CCSID, the encoding, and the CCSID in force.
  char named_raw[kFormatLength];
  char named[kFormatLength];
  int32_t encoding = 0;
  int32_t ccsid = 0;
  // The structure in front: the descriptor, or a header at front_offset
  // whose integers are in front_encoding and characters in front_ccsid.
  bool front_is_descriptor = true;
  uint32_t front_offset = 0;
  NextFields front_next{};
  int32_t front_encoding = 0;
  int32_t front_ccsid = kLocalCcsid;
};

// Steps over the headers a KWRFH2 goes behind. 2003 when the data ends
// inside one of them.
KWLONG FindInsertPoint(const uint8_t* data, uint32_t length, const char* format, int32_t encoding,
                       int32_t ccsid, InsertPoint* p) {
  std::memcpy(p->named_raw, format, kFormatLength);
  std::memcpy(p->named, format, kFormatLength);
  p->encoding = encoding;
  p->ccsid = ChainCcsid(kLocalCcsid, ccsid);
  for (;;) {
    const uint32_t remaining = length - p->offset;
    const uint8_t* here = data + p->offset;
    const bool reversed = ReversedIntegers(p->encoding);
    uint32_t struc_length = 0;
    NextFields next = kStandardNext;
    switch (ClassifyFormat(p->named, false)) {
      case FormatKind::kXmit:
        xtr_text_detail(kComponent, kFn, "Found KWXQH at offset %d", p->offset);
        if (remaining < kXqhLength) {
          xtr_text_detail(kComponent, kFn, "Data ends in an incomplete KWXQH header");
          return KWRC_HEADER_INCOMPLETE;
        }
        struc_length = kXqhLength;
        next = kXqhNext;
        break;
      case FormatKind::kDead:
        xtr_text_detail(kComponent, kFn, "Found KWDLH at offset %d", p->offset);
        if (remaining < kDlhLength) {
          xtr_text_detail(kComponent, kFn, "Data ends in an incomplete KWDLH header");
          return KWRC_HEADER_INCOMPLETE;
        }
        struc_length = kDlhLength;
        next = kDlhNext;
        break;
      case FormatKind::kMdExtension:
        xtr_text_detail(kComponent, kFn, "Found KWMDE at offset %d", p->offset);
        if (remaining < kMdeLength) {
          xtr_text_detail(kComponent, kFn, "Data ends in an incomplete KWMDE header");
          return KWRC_HEADER_INCOMPLETE;
        }
        struc_length = kMdeLength;
        break;
      case FormatKind::kRfh1: {
        xtr_text_detail(kComponent, kFn, "Found KWRFH at offset %d", p->offset);
        if (remaining < kRfh1FixedLength) {
          xtr_text_detail(kComponent, kFn, "Data ends in an incomplete KWRFH header");
          return KWRC_HEADER_INCOMPLETE;
        }
        const int32_t declared = LoadInt(here + kStrucLengthOffset, reversed);
        if (declared < static_cast<int32_t>(kRfh1FixedLength) ||
            static_cast<uint32_t>(declared) > remaining) {
          xtr_text_detail(kComponent, kFn, "Data contains truncated KWRFH structure");
          return KWRC_HEADER_INCOMPLETE;
        }
        struc_length = static_cast<uint32_t>(declared);
        break;
      }
      default:
        return KWRC_NONE;  // the header goes here
    }

    // The header stepped over becomes the structure in front.
    p->front_is_descriptor = false;
    p->front_offset = p->offset;
    p->front_next = next;
    p->front_encoding = p->encoding;
    p->front_ccsid = p->ccsid;
    std::memcpy(p->named_raw, here + next.format, kFormatLength);
    if (!ReadChainText(here + next.format, kFormatLength, p->ccsid, p->encoding, p->named, kFn)) {
      // A format that cannot be read is no header to step over: the chain
      // ends behind this one, and the inserted header keeps its bytes.
      std::memcpy(p->named, p->named_raw, kFormatLength);
      p->encoding = LoadInt(here + next.encoding, reversed);
      p->ccsid = ChainCcsid(p->ccsid, LoadInt(here + next.ccsid, reversed));
      p->offset += struc_length;
      return KWRC_NONE;
    }
    p->encoding = LoadInt(here + next.encoding, reversed);
    p->ccsid = ChainCcsid(p->ccsid, LoadInt(here + next.ccsid, reversed));
    p->offset += struc_length;
  }
}

// The header to insert must be a whole KWRFH2 of exactly its length.
KWLONG CheckHeader(const uint8_t* header, uint32_t length, int32_t encoding, int32_t ccsid) {
  if (length < kRfh2FixedLength) {
    xtr_text_detail(kComponent, kFn, "Minimal bytes of KWRFH2 not available: %u %u", length,
                    kRfh2FixedLength);
    return KWRC_HEADER_ERROR;
  }
  char id[kStrucIdLength];
  if (!ReadChainText(header, kStrucIdLength, ccsid, encoding, id, kFn) ||
      std::memcmp(id, KWRFH_STRUC_ID, kStrucIdLength) != 0) {
    xtr_text_detail(kComponent, kFn, "Invalid KWRFH2 StrucId");
    return KWRC_HEADER_ERROR;
  }
  const bool reversed = ReversedIntegers(encoding);
  const int32_t struc_length = LoadInt(header + kStrucLengthOffset, reversed);
  if (struc_length < 0 || static_cast<uint32_t>(struc_length) != length) {
    xtr_text_detail(kComponent, kFn, "KWRFH2 StrucLength %d differs from its length %u",
                    struc_length, length);
    return KWRC_HEADER_ERROR;
  }
  const int32_t version = LoadInt(header + kVersionOffset, reversed);
  if (version != KWRFH_VERSION_2) {
    xtr_text_detail(kComponent, kFn, "Invalid KWRFH2 Version: %d", version);
    return KWRC_RFH_ERROR;
  }
  return KWRC_NONE;
}

struct InsertArgs {
  uint8_t* data;
  uint32_t length;
  uint32_t capacity;
  char* format;
  KWLONG* encoding;
  KWLONG* ccsid;
  const uint8_t* header;
  uint32_t header_length;
  int32_t header_encoding;
  int32_t header_ccsid;
};

KWLONG Insert(const InsertArgs& a, uint32_t* insert_offset, uint32_t* new_length) {
  if (a.length > a.capacity) {
    xtr_text_detail(kComponent, kFn, "DataLength %u exceeds BufferLength %u", a.length, a.capacity);
    return KWRC_BUFFER_LENGTH_ERROR;
  }
  KWLONG reason = CheckHeader(a.header, a.header_length, a.header_encoding, a.header_ccsid);
  if (reason != KWRC_NONE) return reason;
  InsertPoint p;
  reason = FindInsertPoint(a.data, a.length, a.format, *a.encoding, *a.ccsid, &p);
  if (reason != KWRC_NONE) return reason;
  xtr_text_detail(kComponent, kFn, "KWRFH2 to be inserted at CopyOffset %d", p.offset);

  const uint64_t needed = uint64_t{a.length} + a.header_length;
  *new_length = needed > UINT32_MAX ? UINT32_MAX : static_cast<uint32_t>(needed);
  if (needed > a.capacity) {
    xtr_text_detail(kComponent, kFn, "Buffer too small for KWRFH2: %u %u", a.capacity, *new_length);
    return KWRC_HEADERS_TOO_BIG;
  }

  xtr_text_detail(kComponent, kFn, "Inserting KWRFH2...");
  uint8_t* at = a.data + p.offset;
  std::memmove(at + a.header_length, at, a.length - p.offset);
  std::memcpy(at, a.header, a.header_length);

  // The header takes over what the structure in front named.
  const bool header_reversed = ReversedIntegers(a.header_encoding);
  StoreInt(at + kEncodingOffset, p.encoding, header_reversed);
  StoreInt(at + kCcsidOffset, p.ccsid, header_reversed);
  if (p.front_ccsid == a.header_ccsid) {
    std::memcpy(at + kFormatOffset, p.named_raw, kFormatLength);
  } else {
    WriteChainText(p.named, kFormatLength, a.header_ccsid, a.header_encoding, at + kFormatOffset);
  }

  // And the structure in front names the header.
  if (p.front_is_descriptor) {
    std::memcpy(a.format, KWFMT_RF_HEADER_2, kFormatLength);
    *a.encoding = a.header_encoding;
    *a.ccsid = a.header_ccsid;
  } else {
    uint8_t* front = a.data + p.front_offset;
    const bool front_reversed = ReversedIntegers(p.front_encoding);
    StoreInt(front + p.front_next.encoding, a.header_encoding, front_reversed);
    StoreInt(front + p.front_next.ccsid, a.header_ccsid, front_reversed);
    WriteChainText(KWFMT_RF_HEADER_2, kFormatLength, p.front_ccsid, p.front_encoding,
                   front + p.front_next.format);
  }
  *insert_offset = p.offset;
  return KWRC_NONE;
}

}  // namespace
}  // namespace zxv::props

namespace zp = zxv::props;

extern "C" {

ZXV_API KWLONG zrfInsertKWRFH2(void* pData, KWULONG DataLength, KWULONG BufferLength, char* pFormat,
                               KWLONG* pEncoding, KWLONG* pCCSID, const void* pHeader,
                               KWULONG HeaderLength, KWLONG HeaderEncoding, KWLONG HeaderCCSID,
                               KWULONG* pInsertOffset, KWULONG* pNewDataLength, KWLONG* pCompCode,
                               KWLONG* pReason) {
  xtr_FNC_entry(zxv::kComponent, zp::kFn);
  KWLONG reason;
  KWULONG insert_offset = 0;
  KWULONG new_length = DataLength;
  const char* missing = pData == nullptr       ? "pData"
                        : pFormat == nullptr   ? "pFormat"
                        : pEncoding == nullptr ? "pEncoding"
                        : pCCSID == nullptr    ? "pCCSID"
                        : pHeader == nullptr   ? "pHeader"
                                               : nullptr;
  if (missing != nullptr) {
    reason = zp::MissingParameter(missing, __FILE__, zp::kProbeMissing);
  } else {
    xtr_parms(zxv::kComponent, zp::kFn,
              "DataLength: %u, BufferLength: %u, Format: '%.8s', Encoding: %d, CCSID: %d, "
              "HeaderLength: %u",
              DataLength, BufferLength, pFormat, *pEncoding, *pCCSID, HeaderLength);
    const zp::InsertArgs args{static_cast<uint8_t*>(pData),
                              DataLength,
                              BufferLength,
                              pFormat,
                              pEncoding,
                              pCCSID,
                              static_cast<const uint8_t*>(pHeader),
                              HeaderLength,
                              HeaderEncoding,
                              HeaderCCSID};
    reason = zp::Insert(args, &insert_offset, &new_length);
  }
  if (pInsertOffset != nullptr && reason == KWRC_NONE) *pInsertOffset = insert_offset;
  if (pNewDataLength != nullptr) *pNewDataLength = new_length;
  zp::SetCodes(reason, pCompCode, pReason);
  xtr_FNC_retcode(zxv::kComponent, zp::kFn, reason);
  return reason;
}

}  // extern "C"
