// Converters of the headers that have a fixed length: transmission header,
// dead-letter header, descriptor extension, TRX bridge header, SAP header.
#include <cstddef>

#include "dataconv/fn_numbers.h"
#include "dataconv/header_converters.h"
#include "dataconv/header_fields.h"
#include "zxvxcs2/xcs_trace.h"
#include "zxvxzu/headers.h"

namespace zxv::dataconv {
namespace {

#define ZXV_FIELD(T, m, kind) \
  Field { static_cast<uint16_t>(offsetof(T, m)), static_cast<uint16_t>(sizeof(T::m)), kind }
// A field of the version-1 descriptor embedded at `base`.
#define ZXV_MD_FIELD(base, m, kind)                                                              \
  Field {                                                                                        \
    static_cast<uint16_t>((base) + offsetof(KWMD1, m)), static_cast<uint16_t>(sizeof(KWMD1::m)), \
        kind                                                                                     \
  }

constexpr FieldKind kI = FieldKind::kInt32;
constexpr FieldKind kC = FieldKind::kChars;
constexpr FieldKind kB = FieldKind::kBytes;
constexpr FieldKind kN = FieldKind::kCharInt;

constexpr size_t kXqhMd = offsetof(KWXQH, MsgDesc);

constexpr Field kXqhFields[] = {
    ZXV_FIELD(KWXQH, StrucId, kC),
    ZXV_FIELD(KWXQH, Version, kI),
    ZXV_FIELD(KWXQH, RemoteQName, kC),
    ZXV_FIELD(KWXQH, RemoteQMgrName, kC),
    ZXV_MD_FIELD(kXqhMd, StrucId, kC),
    ZXV_MD_FIELD(kXqhMd, Version, kI),
    ZXV_MD_FIELD(kXqhMd, Report, kI),
    ZXV_MD_FIELD(kXqhMd, MsgType, kI),
    ZXV_MD_FIELD(kXqhMd, Expiry, kI),
    ZXV_MD_FIELD(kXqhMd, Feedback, kI),
    ZXV_MD_FIELD(kXqhMd, Encoding, kI),
    ZXV_MD_FIELD(kXqhMd, CodedCharSetId, kI),
    ZXV_MD_FIELD(kXqhMd, Format, kC),
    ZXV_MD_FIELD(kXqhMd, Priority, kI),
    ZXV_MD_FIELD(kXqhMd, Persistence, kI),
    ZXV_MD_FIELD(kXqhMd, MsgId, kB),
    ZXV_MD_FIELD(kXqhMd, CorrelId, kB),
    ZXV_MD_FIELD(kXqhMd, BackoutCount, kI),
    ZXV_MD_FIELD(kXqhMd, ReplyToQ, kC),
    ZXV_MD_FIELD(kXqhMd, ReplyToQMgr, kC),
    ZXV_MD_FIELD(kXqhMd, UserIdentifier, kC),
    ZXV_MD_FIELD(kXqhMd, AccountingToken, kB),
    ZXV_MD_FIELD(kXqhMd, ApplIdentityData, kC),
    ZXV_MD_FIELD(kXqhMd, PutApplType, kI),
    ZXV_MD_FIELD(kXqhMd, PutApplName, kC),
    ZXV_MD_FIELD(kXqhMd, PutDate, kC),
    ZXV_MD_FIELD(kXqhMd, PutTime, kC),
    ZXV_MD_FIELD(kXqhMd, ApplOriginData, kC),
};

constexpr Field kDlhFields[] = {
    ZXV_FIELD(KWDLH, StrucId, kC),        ZXV_FIELD(KWDLH, Version, kI),
    ZXV_FIELD(KWDLH, Reason, kI),         ZXV_FIELD(KWDLH, DestQName, kC),
    ZXV_FIELD(KWDLH, DestQMgrName, kC),   ZXV_FIELD(KWDLH, Encoding, kI),
    ZXV_FIELD(KWDLH, CodedCharSetId, kI), ZXV_FIELD(KWDLH, Format, kC),
    ZXV_FIELD(KWDLH, PutApplType, kI),    ZXV_FIELD(KWDLH, PutApplName, kC),
    ZXV_FIELD(KWDLH, PutDate, kC),        ZXV_FIELD(KWDLH, PutTime, kC),
};

constexpr Field kMdeFields[] = {
    ZXV_STANDARD_PREFIX_FIELDS,         ZXV_FIELD(KWMDE, GroupId, kB),
    ZXV_FIELD(KWMDE, MsgSeqNumber, kI), ZXV_FIELD(KWMDE, Offset, kI),
    ZXV_FIELD(KWMDE, MsgFlags, kI),     ZXV_FIELD(KWMDE, OriginalLength, kI),
};

constexpr Field kTihFields[] = {
    ZXV_STANDARD_PREFIX_FIELDS,          ZXV_FIELD(KWTIH, LTermOverride, kC),
    ZXV_FIELD(KWTIH, MapName, kC),       ZXV_FIELD(KWTIH, ReplyToFormat, kC),
    ZXV_FIELD(KWTIH, Authenticator, kC), ZXV_FIELD(KWTIH, TranInstanceId, kB),
    ZXV_FIELD(KWTIH, TranState, kC),     ZXV_FIELD(KWTIH, CommitMode, kC),
    ZXV_FIELD(KWTIH, SecurityScope, kC), ZXV_FIELD(KWTIH, Reserved, kC),
};

constexpr Field kSaphFields[] = {
    ZXV_STANDARD_PREFIX_FIELDS,          ZXV_FIELD(KWSAPH, Client, kN),
    ZXV_FIELD(KWSAPH, Language, kC),     ZXV_FIELD(KWSAPH, HostName, kC),
    ZXV_FIELD(KWSAPH, UserId, kC),       ZXV_FIELD(KWSAPH, Password, kC),
    ZXV_FIELD(KWSAPH, SystemNumber, kN), ZXV_FIELD(KWSAPH, Reserved, kB),
};

#undef ZXV_FIELD
#undef ZXV_MD_FIELD

template <size_t N>
constexpr HeaderLayout Prefixed(const char* id, size_t length, const Field (&fields)[N]) {
  return HeaderLayout{id,
                      length,
                      fields,
                      N,
                      kPrefixEncodingAt,
                      kPrefixCcsidAt,
                      kPrefixFormatAt,
                      kPrefixStrucLengthAt};
}

constexpr HeaderLayout kXqhLayout{KWXQH_STRUC_ID,
                                  KWXQH_LENGTH,
                                  kXqhFields,
                                  sizeof kXqhFields / sizeof kXqhFields[0],
                                  kXqhMd + offsetof(KWMD1, Encoding),
                                  kXqhMd + offsetof(KWMD1, CodedCharSetId),
                                  kXqhMd + offsetof(KWMD1, Format),
                                  HeaderLayout::kNone};
constexpr HeaderLayout kDlhLayout{KWDLH_STRUC_ID,
                                  KWDLH_LENGTH,
                                  kDlhFields,
                                  sizeof kDlhFields / sizeof kDlhFields[0],
                                  offsetof(KWDLH, Encoding),
                                  offsetof(KWDLH, CodedCharSetId),
                                  offsetof(KWDLH, Format),
                                  HeaderLayout::kNone};
constexpr HeaderLayout kMdeLayout = Prefixed(KWMDE_STRUC_ID, KWMDE_LENGTH, kMdeFields);
constexpr HeaderLayout kTihLayout = Prefixed(KWTIH_STRUC_ID, KWTIH_LENGTH, kTihFields);
constexpr HeaderLayout kSaphLayout = Prefixed(KWSAPH_STRUC_ID, KWSAPH_LENGTH, kSaphFields);

int32_t Fixed(Step& step, const HeaderLayout& layout, uint32_t fn) {
  const int32_t reason = ConvertFixedHeader(step, layout, false, nullptr);
  xtr_text_detail(kComponent, fn, "Header %.4s from CCSID %d enc %d: reason %d", layout.struc_id,
                  static_cast<int>(step.source_ccsid), static_cast<int>(step.source_encoding),
                  static_cast<int>(reason));
  return reason;
}

}  // namespace

int32_t ConvertXQH(Step& step) { return Fixed(step, kXqhLayout, kFnHeaderXQH); }
int32_t ConvertDLH(Step& step) { return Fixed(step, kDlhLayout, kFnHeaderDLH); }
int32_t ConvertMDE(Step& step) { return Fixed(step, kMdeLayout, kFnHeaderMDE); }
int32_t ConvertTIH(Step& step) { return Fixed(step, kTihLayout, kFnHeaderTIH); }
int32_t ConvertSAPH(Step& step) { return Fixed(step, kSaphLayout, kFnHeaderSAP); }

}  // namespace zxv::dataconv
