// Walking the chain of headers to the next KWRFH2 (zrfLocateKWRFH2).
#include "props/property_store.h"
#include "props/rfh2_chain.h"
#include "zxvxcs2/xcs_trace.h"

namespace zxv::props {
namespace {

constexpr uint32_t kProbeMissing = 1;

// The walk's state: where it is and what the structure in front named.
struct Walk {
  const uint8_t* data;
  uint32_t length;
  uint32_t offset;
  char format[kFormatLength];
  int32_t encoding;
  int32_t ccsid;
  bool first;  // nothing but older-form headers since the descriptor
  ZRFLOC* loc;
  KWULONG* flags;

  uint32_t remaining() const { return offset < length ? length - offset : 0; }
  const uint8_t* here() const { return data + offset; }
  bool reversed() const { return ReversedIntegers(encoding); }
  int32_t Int(uint32_t at) const { return LoadInt(here() + at, reversed()); }

  // Reports where the walk stands; called before each structure is looked at.
  void Mark() const {
    loc->Offset = offset;
    loc->Encoding = encoding;
    loc->CodedCharSetId = ccsid;
    std::memcpy(loc->Format, format, kFormatLength);
    loc->NextOffset = offset;
    loc->NextEncoding = encoding;
    loc->NextCCSID = ccsid;
    std::memcpy(loc->NextFormat, format, kFormatLength);
  }

  void TraceRoute() const {
    xtr_text_detail(kComponent, kFnLocateKWRFH2, "Possible trace-route message");
    if (flags != nullptr) *flags |= ZRF_LOC_TRACE_ROUTE;
  }

  // Reads what the structure here names for the data behind it and moves
  // behind it. False (failure record written) when its format cannot be
  // read in the CCSID in force here.
  bool Step(uint32_t struc_length, const NextFields& next) {
    char named[kFormatLength];
    if (!ReadChainText(here() + next.format, kFormatLength, ccsid, encoding, named,
                       kFnLocateKWRFH2)) {
      return false;
    }
    const int32_t next_encoding = Int(next.encoding);
    ccsid = ChainCcsid(ccsid, Int(next.ccsid));
    encoding = next_encoding;
    std::memcpy(format, named, kFormatLength);
    offset += struc_length;
    return true;
  }
};

// A header with the standard prefix, at least `minimum` bytes: its
// StrucLength, or -1 when it is truncated (traced with the given texts).
int32_t StandardLength(const Walk& w, uint32_t minimum, const char* minimal_text,
                       const char* full_text) {
  const uint32_t remaining = w.remaining();
  if (remaining < minimum) {
    xtr_text_detail(kComponent, kFnLocateKWRFH2, minimal_text, remaining, minimum);
    return -1;
  }
  const int32_t struc_length = w.Int(kStrucLengthOffset);
  // A length below the minimum could not be stepped over safely: it is as
  // unusable as one running past the data.
  if (struc_length < static_cast<int32_t>(minimum) ||
      static_cast<uint32_t>(struc_length) > remaining) {
    xtr_text_detail(kComponent, kFnLocateKWRFH2, full_text, remaining, struc_length, w.offset);
    return -1;
  }
  return struc_length;
}

// The checks of a KWRFH2 met by the walk; fills the location on success.
KWLONG CheckRfh2(Walk& w) {
  const uint32_t remaining = w.remaining();
  if (remaining < kRfh2FixedLength) {
    xtr_text_detail(kComponent, kFnLocateKWRFH2, "Minimal bytes of KWRFH2 not available: %u %u",
                    remaining, kRfh2FixedLength);
    return KWRC_PROPERTY_NOT_AVAILABLE;
  }
  char id[kStrucIdLength];
  if (!ReadChainText(w.here(), kStrucIdLength, w.ccsid, w.encoding, id, kFnLocateKWRFH2)) {
    return KWRC_PROPERTY_NOT_AVAILABLE;
  }
  if (std::memcmp(id, KWRFH_STRUC_ID, kStrucIdLength) != 0) {
    xtr_text_detail(kComponent, kFnLocateKWRFH2, "Invalid KWRFH2 StrucId");
    return KWRC_HEADER_ERROR;
  }
  const int32_t struc_length = w.Int(kStrucLengthOffset);
  if (struc_length > 0 && static_cast<uint32_t>(struc_length) > remaining) {
    xtr_text_detail(kComponent, kFnLocateKWRFH2, "Full KWRFH2 not available: %u %d %u", remaining,
                    struc_length, w.offset);
    return KWRC_HEADER_ERROR;
  }
  if (struc_length < static_cast<int32_t>(kRfh2FixedLength)) {
    xtr_text_detail(kComponent, kFnLocateKWRFH2, "KWRFH2 StrucLength too short: %d", struc_length);
    return KWRC_RFH2_STRUC_LENGTH_SHORT;
  }
  const auto internal = static_cast<uint32_t>(w.Int(kRfhFlagsOffset)) & KWRFH_INTERNAL_FLAGS_MASK;
  if (internal != 0) {
    xtr_text_detail(kComponent, kFnLocateKWRFH2, "Internal RFH2 flags in header");
    w.loc->InternalFlags = internal;
  }
  const int32_t version = w.Int(kVersionOffset);
  if (version != KWRFH_VERSION_2) {
    xtr_text_detail(kComponent, kFnLocateKWRFH2, "Invalid KWRFH2 Version: %d", version);
    return KWRC_RFH_ERROR;
  }

  ZRFLOC* loc = w.loc;
  loc->StrucLength = static_cast<uint32_t>(struc_length);
  loc->NameValueCCSID = w.Int(kRfh2NameValueCcsidOffset);
  if (w.first && loc->NameValueCCSID == kUtf8Ccsid)
    loc->FirstRFH2Offset = static_cast<KWLONG>(w.offset);
  // What the header names for the data behind it, for a walk that goes on.
  // A format that cannot be read names nothing: such a walk ends at once.
  const uint32_t at = w.offset;
  if (w.Step(static_cast<uint32_t>(struc_length), kStandardNext)) {
    loc->NextOffset = w.offset;
    loc->NextEncoding = w.encoding;
    loc->NextCCSID = w.ccsid;
    std::memcpy(loc->NextFormat, w.format, kFormatLength);
  } else {
    loc->NextOffset = at + static_cast<uint32_t>(struc_length);
    std::memcpy(loc->NextFormat, KWFMT_NONE, kFormatLength);
  }
  return KWRC_NONE;
}

// The kind of the format in front of the walk. ZXV_PARTIAL_MATCH_RFH2 can
// change the answer only for a format that begins like a KWRFH2's without
// being its exact name (any other "KWH..." name to the strict test), so the
// variable is read only for such a format.
FormatKind ChainFormatKind(const char* format) {
  // The two formats most walks meet, each one compare of eight bytes.
  if (std::memcmp(format, KWFMT_RF_HEADER_2, kFormatLength) == 0) return FormatKind::kRfh2;
  if (std::memcmp(format, KWFMT_STRING, kFormatLength) == 0) return FormatKind::kEnd;
  const FormatKind kind = ClassifyFormat(format, false);
  if (kind == FormatKind::kOtherHeader && ClassifyFormat(format, true) == FormatKind::kRfh2 &&
      PartialMatchRfh2()) {
    return FormatKind::kRfh2;
  }
  return kind;
}

KWLONG Locate(Walk& w) {
  for (;;) {
    w.Mark();
    const uint32_t remaining = w.remaining();
    int32_t struc_length = 0;
    const FormatKind kind = ChainFormatKind(w.format);
    switch (kind) {
      case FormatKind::kRfh2:
        return CheckRfh2(w);

      case FormatKind::kEmbeddedPcf:
        struc_length =
            StandardLength(w, kEphMinLength, "Minimal bytes of KWEPH not available: %u %u",
                           "Full KWEPH not available: %u %d %u");
        if (struc_length < 0) return KWRC_EPH_ERROR;
        if (w.Int(kEphCommandTypeOffset) == kCfhTypeTraceRoute) w.TraceRoute();
        w.first = false;
        if (!w.Step(static_cast<uint32_t>(struc_length), kStandardNext)) {
          return KWRC_PROPERTY_NOT_AVAILABLE;
        }
        break;

      case FormatKind::kXmit:
        if (remaining < kXqhLength) {
          xtr_text_detail(kComponent, kFnLocateKWRFH2, "Full KWXQH not available: %u %u", remaining,
                          kXqhLength);
          return KWRC_HEADER_ERROR;
        }
        w.first = false;
        if (!w.Step(kXqhLength, kXqhNext)) return KWRC_PROPERTY_NOT_AVAILABLE;
        break;

      case FormatKind::kDead:
        if (remaining < kDlhLength) {
          xtr_text_detail(kComponent, kFnLocateKWRFH2, "Full KWDLH not available: %u %u", remaining,
                          kDlhLength);
          return KWRC_HEADER_ERROR;
        }
        w.first = false;
        if (!w.Step(kDlhLength, kDlhNext)) return KWRC_PROPERTY_NOT_AVAILABLE;
        break;

      case FormatKind::kAdmin:
        if (remaining < kCfhLength) {
          xtr_text_detail(kComponent, kFnLocateKWRFH2,
                          "Minimal bytes of KWCFH not available: %u %u", remaining, kCfhLength);
          return KWRC_CFH_ERROR;
        }
        if (w.Int(kCfhTypeOffset) == kCfhTypeTraceRoute) w.TraceRoute();
        return KWRC_PROPERTY_NOT_AVAILABLE;

      case FormatKind::kRfh1:
      case FormatKind::kMdExtension:
      case FormatKind::kOtherHeader:
        struc_length =
            StandardLength(w, kStandardHeaderMin, "Minimal bytes of header not available: %u %u",
                           "Full header not available: %u %d %u");
        if (struc_length < 0) return KWRC_HEADER_ERROR;
        // An older-form header in front still leaves the next KWRFH2 first.
        if (kind != FormatKind::kRfh1) w.first = false;
        if (!w.Step(static_cast<uint32_t>(struc_length), kStandardNext)) {
          return KWRC_PROPERTY_NOT_AVAILABLE;
        }
        break;

      case FormatKind::kEnd:
        return KWRC_PROPERTY_NOT_AVAILABLE;
    }
  }
}

}  // namespace

KWLONG LocateKWRFH2(const uint8_t* data, uint32_t length, const char* format, int32_t encoding,
                    int32_t ccsid, uint32_t start, ZRFLOC* loc, KWULONG* flags) {
  Walk w{};
  w.data = data;
  w.length = length;
  w.offset = start;
  std::memcpy(w.format, format, kFormatLength);  // before *loc is written: it may point there
  w.encoding = encoding;
  w.ccsid = ChainCcsid(kLocalCcsid, ccsid);
  w.first = start == 0;
  w.flags = flags;
  ZRFLOC scratch;
  w.loc = loc != nullptr ? loc : &scratch;
  w.loc->StrucLength = 0;
  w.loc->NameValueCCSID = 0;
  w.loc->InternalFlags = 0;
  w.loc->FirstRFH2Offset = -1;
  return Locate(w);
}

}  // namespace zxv::props

namespace zp = zxv::props;

extern "C" {

ZXV_API KWLONG zrfLocateKWRFH2(const void* pData, KWULONG DataLength, const char* pFormat,
                               KWLONG Encoding, KWLONG CCSID, KWULONG StartOffset,
                               ZRFLOC* pLocation, KWULONG* pFlags, KWLONG* pCompCode,
                               KWLONG* pReason) {
  xtr_FNC_entry(zxv::kComponent, zp::kFnLocateKWRFH2);
  KWLONG reason;
  if (pData == nullptr && DataLength != 0) {
    reason = zp::MissingParameter("pData", __FILE__, zp::kProbeMissing);
  } else if (pFormat == nullptr) {
    reason = zp::MissingParameter("pFormat", __FILE__, zp::kProbeMissing);
  } else {
    xtr_parms(zxv::kComponent, zp::kFnLocateKWRFH2,
              "DataLength: %u, Format: '%.8s', Encoding: %d, CCSID: %d, StartOffset: %u",
              DataLength, pFormat, Encoding, CCSID, StartOffset);
    reason = zp::LocateKWRFH2(static_cast<const uint8_t*>(pData), DataLength, pFormat, Encoding,
                              CCSID, StartOffset, pLocation, pFlags);
    if (pLocation != nullptr) {
      xtr_parms(zxv::kComponent, zp::kFnLocateKWRFH2,
                "Offset: %u, StrucLength: %u, NameValueCCSID: %d", pLocation->Offset,
                pLocation->StrucLength, pLocation->NameValueCCSID);
    }
  }
  zp::SetCodes(reason, pCompCode, pReason);
  xtr_FNC_retcode(zxv::kComponent, zp::kFnLocateKWRFH2, reason);
  return reason;
}

}  // extern "C"
