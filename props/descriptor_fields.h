// Property names whose value lives in the message descriptor.
//
// A message handle keeps a KWMD beside its property list. The names below are
// single properties stored in that descriptor, not in the list: setting one
// writes the field and sets the field's bit in the handle's MsgDescFieldsSet;
// inquiring one reads the field. Which names map, onto which field and as
// which property type:
//
// | names                          | field            | off | wid | kind      | type   | bit      |
// |--------------------------------|------------------|-----|-----|-----------|--------|----------|
// | Root.KWMD.Report               | Report           |   8 |   4 | int32     | int32  | 00000001 |
// | JMS_ZOL_Report_COA, _COD,      | Report           |   8 |   4 | report    | int32  | 00000001 |
// |   _Exception, _Expiration,     |                  |     |     |           |        |          |
// |   _PAN, _NAN, _Pass_Msg_ID,    |                  |     |     |           |        |          |
// |   _Pass_Correl_ID,             |                  |     |     |           |        |          |
// |   _Discard_Msg                 |                  |     |     |           |        |          |
// | Root.KWMD.MsgType              | MsgType          |  12 |   4 | int32     | int32  | 00000002 |
// |   JMS_ZOL_MsgType              |                  |     |     |           |        |          |
// | Root.KWMD.Expiry               | Expiry           |  16 |   4 | int32     | int32  | 00000004 |
// | Root.KWMD.Feedback             | Feedback         |  20 |   4 | int32     | int32  | 00000008 |
// |   JMS_ZOL_Feedback             |                  |     |     |           |        |          |
// | Root.KWMD.Encoding             | Encoding         |  24 |   4 | int32     | int32  | 00000010 |
// |   JMS_ZOL_Encoding             |                  |     |     |           |        |          |
// | Root.KWMD.CodedCharSetId       | CodedCharSetId   |  28 |   4 | int32     | int32  | 00000020 |
// |   JMS_ZOL_Character_Set        |                  |     |     |           |        |          |
// | Root.KWMD.Format               | Format           |  32 |   8 | string    | string | 00000040 |
// |   JMS_ZOL_Format               |                  |     |     |           |        |          |
// | Root.KWMD.Priority             | Priority         |  40 |   4 | int32     | int32  | 00000080 |
// |   JMSPriority, jms.Pri         |                  |     |     |           |        |          |
// | Root.KWMD.Persistence          | Persistence      |  44 |   4 | int32     | int32  | 00000100 |
// | Root.KWMD.MsgId, JMSMessageID  | MsgId            |  48 |  24 | bytes     | bytes  | 00000200 |
// | Root.KWMD.CorrelId,            | CorrelId         |  72 |  24 | bytes     | bytes  | 00000400 |
// |   JMSCorrelationID, jms.Cid    |                  |     |     |           |        |          |
// | Root.KWMD.BackoutCount         | BackoutCount     |  96 |   4 | int32     | int32  | 00000800 |
// | JMSXDeliveryCount              | BackoutCount     |  96 |   4 | count + 1 | int32  | 00000800 |
// | Root.KWMD.ReplyToQ             | ReplyToQ         | 100 |  48 | string    | string | 00001000 |
// | Root.KWMD.ReplyToQMgr          | ReplyToQMgr      | 148 |  48 | string    | string | 00002000 |
// | Root.KWMD.UserIdentifier       | UserIdentifier   | 196 |  12 | string    | string | 00004000 |
// |   JMSXUserID                   |                  |     |     |           |        |          |
// | Root.KWMD.AccountingToken      | AccountingToken  | 208 |  32 | bytes     | bytes  | 00008000 |
// | Root.KWMD.ApplIdentityData     | ApplIdentityData | 240 |  32 | string    | string | 00010000 |
// | Root.KWMD.PutApplType          | PutApplType      | 272 |   4 | int32     | int32  | 00020000 |
// |   JMS_ZOL_PutApplType          |                  |     |     |           |        |          |
// | Root.KWMD.PutApplName          | PutApplName      | 276 |  28 | string    | string | 00040000 |
// |   JMSXAppID                    |                  |     |     |           |        |          |
// | Root.KWMD.PutDate              | PutDate          | 304 |   8 | string    | string | 00080000 |
// |   JMS_ZOL_PutDate              |                  |     |     |           |        |          |
// | Root.KWMD.PutTime              | PutTime          | 312 |   8 | string    | string | 00100000 |
// |   JMS_ZOL_PutTime              |                  |     |     |           |        |          |
// | JMSTimestamp, jms.Tms          | PutDate, PutTime | 304 |  16 | timestamp | int64  | 00180000 |
// | Root.KWMD.ApplOriginData       | ApplOriginData   | 320 |   4 | string    | string | 00200000 |
// | Root.KWMD.GroupId              | GroupId          | 324 |  24 | bytes     | bytes  | 00400000 |
// |   JMSXGroupID, jms.Gid         |                  |     |     |           |        |          |
// | Root.KWMD.MsgSeqNumber,        | MsgSeqNumber     | 348 |   4 | int32     | int32  | 00800000 |
// |   JMSXGroupSeq, jms.Seq        |                  |     |     |           |        |          |
// | Root.KWMD.Offset               | Offset           | 352 |   4 | int32     | int32  | 01000000 |
// | Root.KWMD.MsgFlags             | MsgFlags         | 356 |   4 | int32     | int32  | 02000000 |
// | JMS_ZOL_Last_Msg_In_Group      | MsgFlags         | 356 |   4 | flag 0x10 | bool   | 02000000 |
// | Root.KWMD.OriginalLength       | OriginalLength   | 360 |   4 | int32     | int32  | 04000000 |
//
// (off: offset in KWMD; wid: bytes; bit: the MsgDescFieldsSet bit in hex.)
//
// Kinds: int32 is the field itself. string is a blank-padded character field:
// read without its trailing blanks and NULs, written padded with blanks, a
// longer value refused. bytes is a byte field: read whole, written padded with
// zero bytes, a longer value refused. report reads and writes only the
// bits of one report option within Report (COA 0x700, COD 0x3800, Exception
// 0x7000000, Expiration 0xE00000, PAN 0x1, NAN 0x2, Pass_Msg_ID 0x80,
// Pass_Correl_ID 0x40, Discard_Msg 0x8000000); a value with other bits is
// refused. flag is a boolean: the bit set or clear. count + 1 is the delivery
// count, one more than the backout count; values below 1 are refused.
// timestamp is milliseconds since 1970-01-01 00:00 UTC held as PutDate
// "YYYYMMDD" and PutTime "HHMMSSTH" (hundredths, so the milliseconds are cut
// to tens); reading fields that hold no such date and time gives kNoValue.
//
// Not mapped, so kept in the property list like any other name: JMSType,
// JMSReplyTo, jms.Dst, jms.Rto (a destination is a queue and a queue manager,
// not one field), jms.Exp (an absolute time; Expiry counts from the put),
// jms.Dlv (a delivery mode, whose values are not Persistence's), and all
// other known names.
//
// Integer values may be written as any integer type whose value fits the
// field; the property types read back are the ones in the table. The types
// are the property store's internal type codes.
//
//   const DescriptorMapping* m = FindDescriptorMapping(ZRF_NAME_JMS_PRIORITY);
//   int32_t prio = 7;
//   WriteDescriptorValue(&md, &fieldsSet, *m, MdPropType::kInt32, &prio, 4);
//   // md.Priority == 7, fieldsSet & kMdfPriority
#pragma once

#include <cstdint>

#include "props/property_names.h"
#include "zxvxzu/kwmd.h"

namespace zxv::props {

// MsgDescFieldsSet bits, one per descriptor field, in field order.
inline constexpr uint32_t kMdfReport = 0x00000001;
inline constexpr uint32_t kMdfMsgType = 0x00000002;
inline constexpr uint32_t kMdfExpiry = 0x00000004;
inline constexpr uint32_t kMdfFeedback = 0x00000008;
inline constexpr uint32_t kMdfEncoding = 0x00000010;
inline constexpr uint32_t kMdfCodedCharSetId = 0x00000020;
inline constexpr uint32_t kMdfFormat = 0x00000040;
inline constexpr uint32_t kMdfPriority = 0x00000080;
inline constexpr uint32_t kMdfPersistence = 0x00000100;
inline constexpr uint32_t kMdfMsgId = 0x00000200;
inline constexpr uint32_t kMdfCorrelId = 0x00000400;
inline constexpr uint32_t kMdfBackoutCount = 0x00000800;
inline constexpr uint32_t kMdfReplyToQ = 0x00001000;
inline constexpr uint32_t kMdfReplyToQMgr = 0x00002000;
inline constexpr uint32_t kMdfUserIdentifier = 0x00004000;
inline constexpr uint32_t kMdfAccountingToken = 0x00008000;
inline constexpr uint32_t kMdfApplIdentityData = 0x00010000;
inline constexpr uint32_t kMdfPutApplType = 0x00020000;
inline constexpr uint32_t kMdfPutApplName = 0x00040000;
inline constexpr uint32_t kMdfPutDate = 0x00080000;
inline constexpr uint32_t kMdfPutTime = 0x00100000;
inline constexpr uint32_t kMdfApplOriginData = 0x00200000;
inline constexpr uint32_t kMdfGroupId = 0x00400000;
inline constexpr uint32_t kMdfMsgSeqNumber = 0x00800000;
inline constexpr uint32_t kMdfOffset = 0x01000000;
inline constexpr uint32_t kMdfMsgFlags = 0x02000000;
inline constexpr uint32_t kMdfOriginalLength = 0x04000000;

// Report options and the message flag that the JMS_ZOL names read and write.
inline constexpr int32_t kReportCoaMask = 0x00000700;
inline constexpr int32_t kReportCodMask = 0x00003800;
inline constexpr int32_t kReportExceptionMask = 0x07000000;
inline constexpr int32_t kReportExpirationMask = 0x00E00000;
inline constexpr int32_t kReportPan = 0x00000001;
inline constexpr int32_t kReportNan = 0x00000002;
inline constexpr int32_t kReportPassCorrelId = 0x00000040;
inline constexpr int32_t kReportPassMsgId = 0x00000080;
inline constexpr int32_t kReportDiscardMsg = 0x08000000;
inline constexpr int32_t kMsgFlagLastMsgInGroup = 0x00000010;

// Property types, numbered as the property store's internal type codes.
enum class MdPropType : uint8_t {
  kString = 0,
  kBoolean = 1,
  kBytes = 2,
  kInt8 = 3,
  kInt16 = 4,
  kInt32 = 5,
  kInt64 = 6,
};

enum class MdValueKind : uint8_t {
  kInt32,
  kString,
  kBytes,
  kReportBits,
  kFlag,
  kCountPlusOne,
  kTimestamp,
};

struct DescriptorMapping {
  NameId id;
  uint16_t offset;  // of the (first) field in KWMD
  uint16_t width;   // bytes, all fields covered
  MdValueKind kind;
  MdPropType type;     // the property type the value has
  uint32_t fieldBits;  // MsgDescFieldsSet bits a write sets
  int32_t mask;        // kReportBits, kFlag: the bits concerned
};

// The mapping of name identifier `id`, or null when that name does not live
// in the descriptor.
const DescriptorMapping* FindDescriptorMapping(NameId id);

enum class MdAccess : uint8_t {
  kOk,
  kTypeMismatch,  // the value's type cannot go into this field
  kLengthError,   // value length wrong for its type, or longer than the field
  kValueError,    // the value is out of the field's range
  kNoValue,       // (read) the fields hold no value of this kind
};

// A value read from the descriptor. String and byte values point into the
// descriptor read from (valid while it is).
struct MdValue {
  MdPropType type = MdPropType::kInt32;
  int64_t integer = 0;             // int32, int64 and boolean (0 or 1)
  const uint8_t* bytes = nullptr;  // string, bytes
  uint32_t length = 0;             // string, bytes: bytes at `bytes`
};

// Reads the value of mapping `m` from `md`.
MdAccess ReadDescriptorValue(const KWMD& md, const DescriptorMapping& m, MdValue* out);

// Writes a value of property type `type` (`length` bytes at `value`; integers
// and booleans in the machine's byte order, a boolean as 4 bytes) into `md`
// through mapping `m` and sets m.fieldBits in *fieldsSet. On failure neither
// `md` nor *fieldsSet changes.
MdAccess WriteDescriptorValue(KWMD* md, uint32_t* fieldsSet, const DescriptorMapping& m,
                              MdPropType type, const void* value, uint32_t length);

}  // namespace zxv::props
