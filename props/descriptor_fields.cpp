// The names whose value lives in the message descriptor, and reading and
// writing those values (the table is documented in descriptor_fields.h).
#include "props/descriptor_fields.h"

#include <array>
#include <cstddef>
#include <cstring>
#include <limits>

namespace zxv::props {

namespace {

constexpr uint8_t kBlank = 0x20;  // padding of the descriptor's character fields

#define ZXV_MD_FIELD(field) \
  static_cast<uint16_t>(offsetof(KWMD, field)), static_cast<uint16_t>(sizeof(KWMD::field))

constexpr DescriptorMapping kMappings[] = {
    // id, offset, width, kind, type, bits, mask
    {ZRF_NAME_KWMD_REPORT, ZXV_MD_FIELD(Report), MdValueKind::kInt32, MdPropType::kInt32,
     kMdfReport, 0},
    {ZRF_NAME_JMS_ZOL_REPORT_COA, ZXV_MD_FIELD(Report), MdValueKind::kReportBits,
     MdPropType::kInt32, kMdfReport, kReportCoaMask},
    {ZRF_NAME_JMS_ZOL_REPORT_COD, ZXV_MD_FIELD(Report), MdValueKind::kReportBits,
     MdPropType::kInt32, kMdfReport, kReportCodMask},
    {ZRF_NAME_JMS_ZOL_REPORT_EXCEPTION, ZXV_MD_FIELD(Report), MdValueKind::kReportBits,
     MdPropType::kInt32, kMdfReport, kReportExceptionMask},
    {ZRF_NAME_JMS_ZOL_REPORT_EXPIRATION, ZXV_MD_FIELD(Report), MdValueKind::kReportBits,
     MdPropType::kInt32, kMdfReport, kReportExpirationMask},
    {ZRF_NAME_JMS_ZOL_REPORT_PAN, ZXV_MD_FIELD(Report), MdValueKind::kReportBits,
     MdPropType::kInt32, kMdfReport, kReportPan},
    {ZRF_NAME_JMS_ZOL_REPORT_NAN, ZXV_MD_FIELD(Report), MdValueKind::kReportBits,
     MdPropType::kInt32, kMdfReport, kReportNan},
    {ZRF_NAME_JMS_ZOL_REPORT_PASS_MSG_ID, ZXV_MD_FIELD(Report), MdValueKind::kReportBits,
     MdPropType::kInt32, kMdfReport, kReportPassMsgId},
    {ZRF_NAME_JMS_ZOL_REPORT_PASS_CORREL_ID, ZXV_MD_FIELD(Report), MdValueKind::kReportBits,
     MdPropType::kInt32, kMdfReport, kReportPassCorrelId},
    {ZRF_NAME_JMS_ZOL_REPORT_DISCARD_MSG, ZXV_MD_FIELD(Report), MdValueKind::kReportBits,
     MdPropType::kInt32, kMdfReport, kReportDiscardMsg},
    {ZRF_NAME_KWMD_MSGTYPE, ZXV_MD_FIELD(MsgType), MdValueKind::kInt32, MdPropType::kInt32,
     kMdfMsgType, 0},
    {ZRF_NAME_JMS_ZOL_MSGTYPE, ZXV_MD_FIELD(MsgType), MdValueKind::kInt32, MdPropType::kInt32,
     kMdfMsgType, 0},
    {ZRF_NAME_KWMD_EXPIRY, ZXV_MD_FIELD(Expiry), MdValueKind::kInt32, MdPropType::kInt32,
     kMdfExpiry, 0},
    {ZRF_NAME_KWMD_FEEDBACK, ZXV_MD_FIELD(Feedback), MdValueKind::kInt32, MdPropType::kInt32,
     kMdfFeedback, 0},
    {ZRF_NAME_JMS_ZOL_FEEDBACK, ZXV_MD_FIELD(Feedback), MdValueKind::kInt32, MdPropType::kInt32,
     kMdfFeedback, 0},
    {ZRF_NAME_KWMD_ENCODING, ZXV_MD_FIELD(Encoding), MdValueKind::kInt32, MdPropType::kInt32,
     kMdfEncoding, 0},
    {ZRF_NAME_JMS_ZOL_ENCODING, ZXV_MD_FIELD(Encoding), MdValueKind::kInt32, MdPropType::kInt32,
     kMdfEncoding, 0},
    {ZRF_NAME_KWMD_CODEDCHARSETID, ZXV_MD_FIELD(CodedCharSetId), MdValueKind::kInt32,
     MdPropType::kInt32, kMdfCodedCharSetId, 0},
    {ZRF_NAME_JMS_ZOL_CHARACTER_SET, ZXV_MD_FIELD(CodedCharSetId), MdValueKind::kInt32,
     MdPropType::kInt32, kMdfCodedCharSetId, 0},
    {ZRF_NAME_KWMD_FORMAT, ZXV_MD_FIELD(Format), MdValueKind::kString, MdPropType::kString,
     kMdfFormat, 0},
    {ZRF_NAME_JMS_ZOL_FORMAT, ZXV_MD_FIELD(Format), MdValueKind::kString, MdPropType::kString,
     kMdfFormat, 0},
    {ZRF_NAME_KWMD_PRIORITY, ZXV_MD_FIELD(Priority), MdValueKind::kInt32, MdPropType::kInt32,
     kMdfPriority, 0},
    {ZRF_NAME_JMS_PRIORITY, ZXV_MD_FIELD(Priority), MdValueKind::kInt32, MdPropType::kInt32,
     kMdfPriority, 0},
    {ZRF_NAME_JMS_PRI, ZXV_MD_FIELD(Priority), MdValueKind::kInt32, MdPropType::kInt32,
     kMdfPriority, 0},
    {ZRF_NAME_KWMD_PERSISTENCE, ZXV_MD_FIELD(Persistence), MdValueKind::kInt32, MdPropType::kInt32,
     kMdfPersistence, 0},
    {ZRF_NAME_KWMD_MSGID, ZXV_MD_FIELD(MsgId), MdValueKind::kBytes, MdPropType::kBytes, kMdfMsgId,
     0},
    {ZRF_NAME_JMS_MESSAGEID, ZXV_MD_FIELD(MsgId), MdValueKind::kBytes, MdPropType::kBytes,
     kMdfMsgId, 0},
    {ZRF_NAME_KWMD_CORRELID, ZXV_MD_FIELD(CorrelId), MdValueKind::kBytes, MdPropType::kBytes,
     kMdfCorrelId, 0},
    {ZRF_NAME_JMS_CORRELATIONID, ZXV_MD_FIELD(CorrelId), MdValueKind::kBytes, MdPropType::kBytes,
     kMdfCorrelId, 0},
    {ZRF_NAME_JMS_CID, ZXV_MD_FIELD(CorrelId), MdValueKind::kBytes, MdPropType::kBytes,
     kMdfCorrelId, 0},
    {ZRF_NAME_KWMD_BACKOUTCOUNT, ZXV_MD_FIELD(BackoutCount), MdValueKind::kInt32,
     MdPropType::kInt32, kMdfBackoutCount, 0},
    {ZRF_NAME_JMSX_DELIVERYCOUNT, ZXV_MD_FIELD(BackoutCount), MdValueKind::kCountPlusOne,
     MdPropType::kInt32, kMdfBackoutCount, 0},
    {ZRF_NAME_KWMD_REPLYTOQ, ZXV_MD_FIELD(ReplyToQ), MdValueKind::kString, MdPropType::kString,
     kMdfReplyToQ, 0},
    {ZRF_NAME_KWMD_REPLYTOQMGR, ZXV_MD_FIELD(ReplyToQMgr), MdValueKind::kString,
     MdPropType::kString, kMdfReplyToQMgr, 0},
    {ZRF_NAME_KWMD_USERIDENTIFIER, ZXV_MD_FIELD(UserIdentifier), MdValueKind::kString,
     MdPropType::kString, kMdfUserIdentifier, 0},
    {ZRF_NAME_JMSX_USERID, ZXV_MD_FIELD(UserIdentifier), MdValueKind::kString, MdPropType::kString,
     kMdfUserIdentifier, 0},
    {ZRF_NAME_KWMD_ACCOUNTINGTOKEN, ZXV_MD_FIELD(AccountingToken), MdValueKind::kBytes,
     MdPropType::kBytes, kMdfAccountingToken, 0},
    {ZRF_NAME_KWMD_APPLIDENTITYDATA, ZXV_MD_FIELD(ApplIdentityData), MdValueKind::kString,
     MdPropType::kString, kMdfApplIdentityData, 0},
    {ZRF_NAME_KWMD_PUTAPPLTYPE, ZXV_MD_FIELD(PutApplType), MdValueKind::kInt32, MdPropType::kInt32,
     kMdfPutApplType, 0},
    {ZRF_NAME_JMS_ZOL_PUTAPPLTYPE, ZXV_MD_FIELD(PutApplType), MdValueKind::kInt32,
     MdPropType::kInt32, kMdfPutApplType, 0},
    {ZRF_NAME_KWMD_PUTAPPLNAME, ZXV_MD_FIELD(PutApplName), MdValueKind::kString,
     MdPropType::kString, kMdfPutApplName, 0},
    {ZRF_NAME_JMSX_APPID, ZXV_MD_FIELD(PutApplName), MdValueKind::kString, MdPropType::kString,
     kMdfPutApplName, 0},
    {ZRF_NAME_KWMD_PUTDATE, ZXV_MD_FIELD(PutDate), MdValueKind::kString, MdPropType::kString,
     kMdfPutDate, 0},
    {ZRF_NAME_JMS_ZOL_PUTDATE, ZXV_MD_FIELD(PutDate), MdValueKind::kString, MdPropType::kString,
     kMdfPutDate, 0},
    {ZRF_NAME_KWMD_PUTTIME, ZXV_MD_FIELD(PutTime), MdValueKind::kString, MdPropType::kString,
     kMdfPutTime, 0},
    {ZRF_NAME_JMS_ZOL_PUTTIME, ZXV_MD_FIELD(PutTime), MdValueKind::kString, MdPropType::kString,
     kMdfPutTime, 0},
    {ZRF_NAME_JMS_TIMESTAMP, static_cast<uint16_t>(offsetof(KWMD, PutDate)),
     static_cast<uint16_t>(sizeof(KWMD::PutDate) + sizeof(KWMD::PutTime)), MdValueKind::kTimestamp,
     MdPropType::kInt64, kMdfPutDate | kMdfPutTime, 0},
    {ZRF_NAME_JMS_TMS, static_cast<uint16_t>(offsetof(KWMD, PutDate)),
     static_cast<uint16_t>(sizeof(KWMD::PutDate) + sizeof(KWMD::PutTime)), MdValueKind::kTimestamp,
     MdPropType::kInt64, kMdfPutDate | kMdfPutTime, 0},
    {ZRF_NAME_KWMD_APPLORIGINDATA, ZXV_MD_FIELD(ApplOriginData), MdValueKind::kString,
     MdPropType::kString, kMdfApplOriginData, 0},
    {ZRF_NAME_KWMD_GROUPID, ZXV_MD_FIELD(GroupId), MdValueKind::kBytes, MdPropType::kBytes,
     kMdfGroupId, 0},
    {ZRF_NAME_JMSX_GROUPID, ZXV_MD_FIELD(GroupId), MdValueKind::kBytes, MdPropType::kBytes,
     kMdfGroupId, 0},
    {ZRF_NAME_JMS_GID, ZXV_MD_FIELD(GroupId), MdValueKind::kBytes, MdPropType::kBytes, kMdfGroupId,
     0},
    {ZRF_NAME_KWMD_MSGSEQNUMBER, ZXV_MD_FIELD(MsgSeqNumber), MdValueKind::kInt32,
     MdPropType::kInt32, kMdfMsgSeqNumber, 0},
    {ZRF_NAME_JMSX_GROUPSEQ, ZXV_MD_FIELD(MsgSeqNumber), MdValueKind::kInt32, MdPropType::kInt32,
     kMdfMsgSeqNumber, 0},
    {ZRF_NAME_JMS_SEQ, ZXV_MD_FIELD(MsgSeqNumber), MdValueKind::kInt32, MdPropType::kInt32,
     kMdfMsgSeqNumber, 0},
    {ZRF_NAME_KWMD_OFFSET, ZXV_MD_FIELD(Offset), MdValueKind::kInt32, MdPropType::kInt32,
     kMdfOffset, 0},
    {ZRF_NAME_KWMD_MSGFLAGS, ZXV_MD_FIELD(MsgFlags), MdValueKind::kInt32, MdPropType::kInt32,
     kMdfMsgFlags, 0},
    {ZRF_NAME_JMS_ZOL_LAST_MSG_IN_GROUP, ZXV_MD_FIELD(MsgFlags), MdValueKind::kFlag,
     MdPropType::kBoolean, kMdfMsgFlags, kMsgFlagLastMsgInGroup},
    {ZRF_NAME_KWMD_ORIGINALLENGTH, ZXV_MD_FIELD(OriginalLength), MdValueKind::kInt32,
     MdPropType::kInt32, kMdfOriginalLength, 0},
};

#undef ZXV_MD_FIELD

// --- Timestamps: PutDate "YYYYMMDD" and PutTime "HHMMSSTH" <-> ms since 1970 UTC.

constexpr int64_t kMsPerDay = 86400000;
constexpr int64_t kMinYear = 1;
constexpr int64_t kMaxYear = 9999;

// Days since 1970-01-01 of a proleptic Gregorian date.
constexpr int64_t DaysFromCivil(int64_t y, int64_t m, int64_t d) {
  y -= m <= 2 ? 1 : 0;
  const int64_t era = (y >= 0 ? y : y - 399) / 400;
  const int64_t yoe = y - era * 400;
  const int64_t doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
  const int64_t doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  return era * 146097 + doe - 719468;
}

constexpr void CivilFromDays(int64_t z, int64_t* y, int64_t* m, int64_t* d) {
  z += 719468;
  const int64_t era = (z >= 0 ? z : z - 146096) / 146097;
  const int64_t doe = z - era * 146097;
  const int64_t yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
  const int64_t doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
  const int64_t mp = (5 * doy + 2) / 153;
  *d = doy - (153 * mp + 2) / 5 + 1;
  *m = mp < 10 ? mp + 3 : mp - 9;
  *y = yoe + era * 400 + (*m <= 2 ? 1 : 0);
}

static_assert(DaysFromCivil(1970, 1, 1) == 0);
static_assert(DaysFromCivil(2000, 3, 1) == 11017);

constexpr int64_t kMinTimestamp = DaysFromCivil(kMinYear, 1, 1) * kMsPerDay;
constexpr int64_t kMaxTimestamp = DaysFromCivil(kMaxYear + 1, 1, 1) * kMsPerDay - 1;

bool Digits(const char* p, int n, int64_t* out) {
  int64_t v = 0;
  for (int i = 0; i < n; ++i) {
    if (p[i] < '0' || p[i] > '9') return false;
    v = v * 10 + (p[i] - '0');
  }
  *out = v;
  return true;
}

void PutDigits(char* p, int n, int64_t v) {
  for (int i = n - 1; i >= 0; --i) {
    p[i] = static_cast<char>('0' + v % 10);
    v /= 10;
  }
}

bool ReadTimestamp(const KWMD& md, int64_t* ms) {
  int64_t y, mo, d, hh, mi, ss, th;
  if (!Digits(md.PutDate, 4, &y) || !Digits(md.PutDate + 4, 2, &mo) ||
      !Digits(md.PutDate + 6, 2, &d) || !Digits(md.PutTime, 2, &hh) ||
      !Digits(md.PutTime + 2, 2, &mi) || !Digits(md.PutTime + 4, 2, &ss) ||
      !Digits(md.PutTime + 6, 2, &th)) {
    return false;
  }
  if (y < kMinYear || mo < 1 || mo > 12 || d < 1 || hh > 23 || mi > 59 || ss > 59) return false;
  // A day past the month's end would be carried into the next month.
  int64_t cy, cm, cd;
  CivilFromDays(DaysFromCivil(y, mo, d), &cy, &cm, &cd);
  if (cd != d) return false;
  *ms = DaysFromCivil(y, mo, d) * kMsPerDay + ((hh * 60 + mi) * 60 + ss) * 1000 + th * 10;
  return true;
}

void WriteTimestamp(KWMD* md, int64_t ms) {
  // Floor division, so that times before 1970 fall on the right day.
  int64_t days = ms / kMsPerDay;
  int64_t rest = ms % kMsPerDay;
  if (rest < 0) {
    rest += kMsPerDay;
    --days;
  }
  int64_t y, m, d;
  CivilFromDays(days, &y, &m, &d);
  PutDigits(md->PutDate, 4, y);
  PutDigits(md->PutDate + 4, 2, m);
  PutDigits(md->PutDate + 6, 2, d);
  const int64_t secs = rest / 1000;
  PutDigits(md->PutTime, 2, secs / 3600);
  PutDigits(md->PutTime + 2, 2, secs / 60 % 60);
  PutDigits(md->PutTime + 4, 2, secs % 60);
  PutDigits(md->PutTime + 6, 2, rest % 1000 / 10);
}

// --- Value access.

int32_t ReadInt32(const KWMD& md, uint16_t offset) {
  int32_t v;
  std::memcpy(&v, reinterpret_cast<const uint8_t*>(&md) + offset, sizeof v);
  return v;
}

void WriteInt32(KWMD* md, uint16_t offset, int32_t v) {
  std::memcpy(reinterpret_cast<uint8_t*>(md) + offset, &v, sizeof v);
}

// An integer value of any integer type (the boolean included) as int64.
MdAccess IntegerOf(MdPropType type, const void* value, uint32_t length, int64_t* out) {
  switch (type) {
    case MdPropType::kInt8: {
      if (length != 1) return MdAccess::kLengthError;
      int8_t v;
      std::memcpy(&v, value, 1);
      *out = v;
      return MdAccess::kOk;
    }
    case MdPropType::kInt16: {
      if (length != 2) return MdAccess::kLengthError;
      int16_t v;
      std::memcpy(&v, value, 2);
      *out = v;
      return MdAccess::kOk;
    }
    case MdPropType::kBoolean:
    case MdPropType::kInt32: {
      if (length != 4) return MdAccess::kLengthError;
      int32_t v;
      std::memcpy(&v, value, 4);
      *out = v;
      return MdAccess::kOk;
    }
    case MdPropType::kInt64: {
      if (length != 8) return MdAccess::kLengthError;
      int64_t v;
      std::memcpy(&v, value, 8);
      *out = v;
      return MdAccess::kOk;
    }
    default:
      return MdAccess::kTypeMismatch;
  }
}

// Mapped identifiers are below this bound (all in the descriptor, JMS and
// JMS_ZOL families, the highest of which is 5); kMappingOfId gives each
// identifier below it the index of its mapping, or -1.
constexpr NameId kMappedIdLimit = (ZRF_NAME_FAMILY_JMS_ZOL + 1) * 100;
constexpr size_t kMappingCount = sizeof(kMappings) / sizeof(kMappings[0]);
static_assert(kMappingCount < 128, "mapping indexes are held as signed bytes");

constexpr std::array<int8_t, kMappedIdLimit> MappingOfId() {
  std::array<int8_t, kMappedIdLimit> index{};
  for (int8_t& i : index) i = -1;
  // The first mapping of an identifier answers, as a search in table order
  // would.
  for (size_t i = kMappingCount; i-- > 0;) {
    index[static_cast<size_t>(kMappings[i].id)] = static_cast<int8_t>(i);
  }
  return index;
}
constexpr std::array<int8_t, kMappedIdLimit> kMappingOfId = MappingOfId();

constexpr bool MappedIdsBelowLimit() {
  for (const DescriptorMapping& m : kMappings)
    if (m.id <= 0 || m.id >= kMappedIdLimit) return false;
  return true;
}
static_assert(MappedIdsBelowLimit(), "a mapped identifier outside the index");

bool FitsInt32(int64_t v) {
  return v >= std::numeric_limits<int32_t>::min() && v <= std::numeric_limits<int32_t>::max();
}

}  // namespace

const DescriptorMapping* FindDescriptorMapping(NameId id) {
  if (id < 0 || id >= kMappedIdLimit) return nullptr;
  const int8_t i = kMappingOfId[static_cast<size_t>(id)];
  return i < 0 ? nullptr : &kMappings[static_cast<size_t>(i)];
}

MdAccess ReadDescriptorValue(const KWMD& md, const DescriptorMapping& m, MdValue* out) {
  const auto* base = reinterpret_cast<const uint8_t*>(&md) + m.offset;
  MdValue v;
  v.type = m.type;
  switch (m.kind) {
    case MdValueKind::kInt32:
      v.integer = ReadInt32(md, m.offset);
      break;
    case MdValueKind::kReportBits:
      v.integer = ReadInt32(md, m.offset) & m.mask;
      break;
    case MdValueKind::kFlag:
      v.integer = (ReadInt32(md, m.offset) & m.mask) != 0 ? 1 : 0;
      break;
    case MdValueKind::kCountPlusOne: {
      // The count stays an int32: a backout count at its maximum reads as that.
      const int32_t backouts = ReadInt32(md, m.offset);
      v.integer = backouts < std::numeric_limits<int32_t>::max() ? int64_t{backouts} + 1 : backouts;
      break;
    }
    case MdValueKind::kTimestamp:
      if (!ReadTimestamp(md, &v.integer)) return MdAccess::kNoValue;
      break;
    case MdValueKind::kString: {
      uint32_t len = m.width;
      while (len > 0 && (base[len - 1] == kBlank || base[len - 1] == 0)) --len;
      v.bytes = base;
      v.length = len;
      break;
    }
    case MdValueKind::kBytes:
      v.bytes = base;
      v.length = m.width;
      break;
  }
  *out = v;
  return MdAccess::kOk;
}

MdAccess WriteDescriptorValue(KWMD* md, uint32_t* fieldsSet, const DescriptorMapping& m,
                              MdPropType type, const void* value, uint32_t length) {
  if (value == nullptr && length > 0) return MdAccess::kLengthError;
  auto* base = reinterpret_cast<uint8_t*>(md) + m.offset;
  switch (m.kind) {
    case MdValueKind::kString:
    case MdValueKind::kBytes: {
      const MdPropType wanted =
          m.kind == MdValueKind::kString ? MdPropType::kString : MdPropType::kBytes;
      if (type != wanted) return MdAccess::kTypeMismatch;
      if (length > m.width) return MdAccess::kLengthError;
      if (length > 0) std::memcpy(base, value, length);
      std::memset(base + length, m.kind == MdValueKind::kString ? kBlank : 0, m.width - length);
      break;
    }
    case MdValueKind::kFlag: {
      if (type != MdPropType::kBoolean) return MdAccess::kTypeMismatch;
      int64_t on;
      const MdAccess a = IntegerOf(type, value, length, &on);
      if (a != MdAccess::kOk) return a;
      const int32_t old = ReadInt32(*md, m.offset);
      WriteInt32(md, m.offset, on != 0 ? (old | m.mask) : (old & ~m.mask));
      break;
    }
    case MdValueKind::kInt32:
    case MdValueKind::kReportBits:
    case MdValueKind::kCountPlusOne:
    case MdValueKind::kTimestamp: {
      if (type == MdPropType::kBoolean) return MdAccess::kTypeMismatch;
      int64_t v;
      const MdAccess a = IntegerOf(type, value, length, &v);
      if (a != MdAccess::kOk) return a;
      if (m.kind == MdValueKind::kTimestamp) {
        if (v < kMinTimestamp || v > kMaxTimestamp) return MdAccess::kValueError;
        WriteTimestamp(md, v);
        break;
      }
      if (m.kind == MdValueKind::kCountPlusOne) {
        if (v < 1) return MdAccess::kValueError;
        --v;
      }
      if (!FitsInt32(v)) return MdAccess::kValueError;
      const auto v32 = static_cast<int32_t>(v);
      if (m.kind == MdValueKind::kReportBits) {
        if ((v32 & ~m.mask) != 0) return MdAccess::kValueError;
        WriteInt32(md, m.offset, (ReadInt32(*md, m.offset) & ~m.mask) | v32);
      } else {
        WriteInt32(md, m.offset, v32);
      }
      break;
    }
  }
  *fieldsSet |= m.fieldBits;
  return MdAccess::kOk;
}

}  // namespace zxv::props
