// The known property names: the name families the system defines itself,
// each name with its identifier. Every name is held in all five encoding
// families (encoded_words.h) and compared in the name's own encoding.
#include <array>
#include <string_view>

#include "base/trace_ids.h"
#include "props/encoded_words.h"
#include "props/property_names.h"
#include "zxvxcs2/xcs_trace.h"

namespace zxv::props {

namespace {

struct KnownName {
  std::string_view text;
  NameId id;
};

constexpr KnownName kKnownNames[] = {
    // Descriptor fields.
    {"Root.KWMD.MsgId", ZRF_NAME_KWMD_MSGID},
    {"Root.KWMD.Expiry", ZRF_NAME_KWMD_EXPIRY},
    {"Root.KWMD.Format", ZRF_NAME_KWMD_FORMAT},
    {"Root.KWMD.Offset", ZRF_NAME_KWMD_OFFSET},
    {"Root.KWMD.Report", ZRF_NAME_KWMD_REPORT},
    {"Root.KWMD.GroupId", ZRF_NAME_KWMD_GROUPID},
    {"Root.KWMD.MsgType", ZRF_NAME_KWMD_MSGTYPE},
    {"Root.KWMD.PutDate", ZRF_NAME_KWMD_PUTDATE},
    {"Root.KWMD.PutTime", ZRF_NAME_KWMD_PUTTIME},
    {"Root.KWMD.CorrelId", ZRF_NAME_KWMD_CORRELID},
    {"Root.KWMD.Encoding", ZRF_NAME_KWMD_ENCODING},
    {"Root.KWMD.Feedback", ZRF_NAME_KWMD_FEEDBACK},
    {"Root.KWMD.MsgFlags", ZRF_NAME_KWMD_MSGFLAGS},
    {"Root.KWMD.ReplyToQ", ZRF_NAME_KWMD_REPLYTOQ},
    {"Root.KWMD.Priority", ZRF_NAME_KWMD_PRIORITY},
    {"Root.KWMD.Persistence", ZRF_NAME_KWMD_PERSISTENCE},
    {"Root.KWMD.PutApplName", ZRF_NAME_KWMD_PUTAPPLNAME},
    {"Root.KWMD.PutApplType", ZRF_NAME_KWMD_PUTAPPLTYPE},
    {"Root.KWMD.ReplyToQMgr", ZRF_NAME_KWMD_REPLYTOQMGR},
    {"Root.KWMD.BackoutCount", ZRF_NAME_KWMD_BACKOUTCOUNT},
    {"Root.KWMD.MsgSeqNumber", ZRF_NAME_KWMD_MSGSEQNUMBER},
    {"Root.KWMD.ApplOriginData", ZRF_NAME_KWMD_APPLORIGINDATA},
    {"Root.KWMD.CodedCharSetId", ZRF_NAME_KWMD_CODEDCHARSETID},
    {"Root.KWMD.OriginalLength", ZRF_NAME_KWMD_ORIGINALLENGTH},
    {"Root.KWMD.UserIdentifier", ZRF_NAME_KWMD_USERIDENTIFIER},
    {"Root.KWMD.AccountingToken", ZRF_NAME_KWMD_ACCOUNTINGTOKEN},
    {"Root.KWMD.ApplIdentityData", ZRF_NAME_KWMD_APPLIDENTITYDATA},
    // JMS header names.
    {"JMSCorrelationID", ZRF_NAME_JMS_CORRELATIONID},
    {"JMSXDeliveryCount", ZRF_NAME_JMSX_DELIVERYCOUNT},
    {"JMSType", ZRF_NAME_JMS_TYPE},
    {"JMSXAppID", ZRF_NAME_JMSX_APPID},
    {"JMSReplyTo", ZRF_NAME_JMS_REPLYTO},
    {"JMSXUserID", ZRF_NAME_JMSX_USERID},
    {"JMSPriority", ZRF_NAME_JMS_PRIORITY},
    {"JMSXGroupID", ZRF_NAME_JMSX_GROUPID},
    {"JMSMessageID", ZRF_NAME_JMS_MESSAGEID},
    {"JMSTimestamp", ZRF_NAME_JMS_TIMESTAMP},
    {"JMSXGroupSeq", ZRF_NAME_JMSX_GROUPSEQ},
    // JMS folder short names.
    {"jms.Dst", ZRF_NAME_JMS_DST},
    {"jms.Exp", ZRF_NAME_JMS_EXP},
    {"jms.Pri", ZRF_NAME_JMS_PRI},
    {"jms.Dlv", ZRF_NAME_JMS_DLV},
    {"jms.Cid", ZRF_NAME_JMS_CID},
    {"jms.Rto", ZRF_NAME_JMS_RTO},
    {"jms.Tms", ZRF_NAME_JMS_TMS},
    {"jms.Gid", ZRF_NAME_JMS_GID},
    {"jms.Seq", ZRF_NAME_JMS_SEQ},
    // Message content descriptor.
    {"mcd.Msd", ZRF_NAME_MCD_MSD},
    {"mcd.Type", ZRF_NAME_MCD_TYPE},
    {"mcd.Set", ZRF_NAME_MCD_SET},
    {"mcd.Fmt", ZRF_NAME_MCD_FMT},
    {"jms_bytes", ZRF_NAME_MCD_JMS_BYTES},
    {"jms_map", ZRF_NAME_MCD_JMS_MAP},
    {"jms_none", ZRF_NAME_MCD_JMS_NONE},
    {"jms_object", ZRF_NAME_MCD_JMS_OBJECT},
    {"jms_stream", ZRF_NAME_MCD_JMS_STREAM},
    {"jms_text", ZRF_NAME_MCD_JMS_TEXT},
    // Provider-specific JMS names.
    {"JMS_ZOL_Character_Set", ZRF_NAME_JMS_ZOL_CHARACTER_SET},
    {"JMS_ZOL_Encoding", ZRF_NAME_JMS_ZOL_ENCODING},
    {"JMS_ZOL_Feedback", ZRF_NAME_JMS_ZOL_FEEDBACK},
    {"JMS_ZOL_Format", ZRF_NAME_JMS_ZOL_FORMAT},
    {"JMS_ZOL_Last_Msg_In_Group", ZRF_NAME_JMS_ZOL_LAST_MSG_IN_GROUP},
    {"JMS_ZOL_MsgType", ZRF_NAME_JMS_ZOL_MSGTYPE},
    {"JMS_ZOL_PutApplType", ZRF_NAME_JMS_ZOL_PUTAPPLTYPE},
    {"JMS_ZOL_PutDate", ZRF_NAME_JMS_ZOL_PUTDATE},
    {"JMS_ZOL_PutTime", ZRF_NAME_JMS_ZOL_PUTTIME},
    {"JMS_ZOL_Report_COA", ZRF_NAME_JMS_ZOL_REPORT_COA},
    {"JMS_ZOL_Report_COD", ZRF_NAME_JMS_ZOL_REPORT_COD},
    {"JMS_ZOL_Report_Discard_Msg", ZRF_NAME_JMS_ZOL_REPORT_DISCARD_MSG},
    {"JMS_ZOL_Report_Exception", ZRF_NAME_JMS_ZOL_REPORT_EXCEPTION},
    {"JMS_ZOL_Report_Expiration", ZRF_NAME_JMS_ZOL_REPORT_EXPIRATION},
    {"JMS_ZOL_Report_NAN", ZRF_NAME_JMS_ZOL_REPORT_NAN},
    {"JMS_ZOL_Report_PAN", ZRF_NAME_JMS_ZOL_REPORT_PAN},
    {"JMS_ZOL_Report_Pass_Correl_ID", ZRF_NAME_JMS_ZOL_REPORT_PASS_CORREL_ID},
    {"JMS_ZOL_Report_Pass_Msg_ID", ZRF_NAME_JMS_ZOL_REPORT_PASS_MSG_ID},
    // Queue-manager internal names.
    {"kwi.Fmt", ZRF_NAME_KWI_FMT},
    {"kwi.Ccs", ZRF_NAME_KWI_CCS},
    {"kwi.Enc", ZRF_NAME_KWI_ENC},
    {"kwi.RetPutCID", ZRF_NAME_KWI_RETPUTCID},
    {"kwi.RetPutOpts", ZRF_NAME_KWI_RETPUTOPTS},
    {"kwi.RetPutPrty", ZRF_NAME_KWI_RETPUTPRTY},
    {"kwi.RetPutQmgr", ZRF_NAME_KWI_RETPUTQMGR},
    {"kwi.RetBCollId", ZRF_NAME_KWI_RETBCOLLID},
    {"kwi.RetPIDQMgr", ZRF_NAME_KWI_RETPIDQMGR},
    {"kwi.RetPIDQName", ZRF_NAME_KWI_RETPIDQNAME},
    {"kwi.RetHdrStr", ZRF_NAME_KWI_RETHDRSTR},
    {"kw.Aui", ZRF_NAME_KW_AUI},
    {"kw.Auit", ZRF_NAME_KW_AUIT},
    // Publish/subscribe names.
    {"kwps.Top", ZRF_NAME_KWPS_TOP},
    {"kwps.Sud", ZRF_NAME_KWPS_SUD},
    {"kwps.Ret", ZRF_NAME_KWPS_RET},
    {"kwps.Stn", ZRF_NAME_KWPS_STN},
    {"kwps.Pub", ZRF_NAME_KWPS_PUB},
    {"kwps.Pbl", ZRF_NAME_KWPS_PBL},
    {"kwps.Pflgs", ZRF_NAME_KWPS_PFLGS},
    {"kwps.Ptn", ZRF_NAME_KWPS_PTN},
    {"kwps.Poqm", ZRF_NAME_KWPS_POQM},
    {"kwpse", ZRF_NAME_KWPSE},
    {"kwpse.Pts", ZRF_NAME_KWPSE_PTS},
    {"kwpse.Seq", ZRF_NAME_KWPSE_SEQ},
    {"kwpse.Pfmt", ZRF_NAME_KWPSE_PFMT},
    {"kwpse.Sid", ZRF_NAME_KWPSE_SID},
    {"kwpsi.stn", ZRF_NAME_KWPSI_STN},
    {"kwpsi.rfh", ZRF_NAME_KWPSI_RFH},
    {"kwpsi.ccsid", ZRF_NAME_KWPSI_CCSID},
    {"kwpsi.oth", ZRF_NAME_KWPSI_OTH},
    {"kwpsi.psc", ZRF_NAME_KWPSI_PSC},
    {"kwpsi.psco", ZRF_NAME_KWPSI_PSCO},
    {"zol_rfp", ZRF_NAME_ZOL_RFP},
    {"zol_rfp.Id", ZRF_NAME_ZOL_RFP_ID},
    // Long-form names.
    {"KWApplicationUserId", ZRF_NAME_KW_APPLICATIONUSERID},
    {"KWApplicationUserIdType", ZRF_NAME_KW_APPLICATIONUSERIDTYPE},
    {"KWTopicString", ZRF_NAME_KW_TOPICSTRING},
    {"KWSubUserData", ZRF_NAME_KW_SUBUSERDATA},
    {"KWIsRetained", ZRF_NAME_KW_ISRETAINED},
    {"KWStreamName", ZRF_NAME_KW_STREAMNAME},
    {"KWPubOptions", ZRF_NAME_KW_PUBOPTIONS},
    {"KWPubLevel", ZRF_NAME_KW_PUBLEVEL},
    {"KWPubTime", ZRF_NAME_KW_PUBTIME},
    {"KWPubSeqNum", ZRF_NAME_KW_PUBSEQNUM},
    {"KWPubStrIntData", ZRF_NAME_KW_PUBSTRINTDATA},
    {"KWPubFormat", ZRF_NAME_KW_PUBFORMAT},
    {"KWPubFlags", ZRF_NAME_KW_PUBFLAGS},
    {"KWPubOrigQMgrName", ZRF_NAME_KW_PUBORIGQMGRNAME},
    {"KWPubTopicName", ZRF_NAME_KW_PUBTOPICNAME},
    // Older publish/subscribe command folder.
    {"psc.Command", ZRF_NAME_PSC_COMMAND},
    {"psc.Topic", ZRF_NAME_PSC_TOPIC},
    {"psc.SubPoint", ZRF_NAME_PSC_SUBPOINT},
    {"psc.QMgrName", ZRF_NAME_PSC_QMGRNAME},
    {"psc.QName", ZRF_NAME_PSC_QNAME},
    {"psc.PubOpt", ZRF_NAME_PSC_PUBOPT},
    {"psc.PubTime", ZRF_NAME_PSC_PUBTIME},
    {"psc.SeqNum", ZRF_NAME_PSC_SEQNUM},
};
constexpr size_t kKnownCount = sizeof(kKnownNames) / sizeof(kKnownNames[0]);

constexpr std::array<std::string_view, kKnownCount> KnownTexts() {
  std::array<std::string_view, kKnownCount> texts{};
  for (size_t i = 0; i < kKnownCount; ++i) texts[i] = kKnownNames[i].text;
  return texts;
}
constexpr std::array<std::string_view, kKnownCount> kKnownTexts = KnownTexts();
static_assert(AllInvariant(kKnownTexts), "known names must use invariant characters");

constexpr EncodedWords<kKnownCount, TotalChars(kKnownTexts)> kKnownEncoded(kKnownTexts);

// First characters of known names, as a 128-bit ASCII mask: most ordinary
// names are turned away by their first character alone.
constexpr std::array<uint64_t, 2> FirstCharMask() {
  std::array<uint64_t, 2> mask{};
  for (const KnownName& k : kKnownNames) {
    const auto c = static_cast<uint8_t>(k.text[0]);
    mask[c >> 6] |= uint64_t{1} << (c & 63u);
  }
  return mask;
}
constexpr std::array<uint64_t, 2> kFirstCharMask = FirstCharMask();

// The ASCII character of an EBCDIC invariant code point, 0 for any other.
constexpr std::array<uint8_t, 256> EbcdicToAscii() {
  std::array<uint8_t, 256> table{};
  for (int c = 1; c < 128; ++c) {
    const uint8_t e = EbcdicInvariant(static_cast<char>(c));
    if (e != 0) table[e] = static_cast<uint8_t>(c);
  }
  return table;
}
constexpr std::array<uint8_t, 256> kEbcdicToAscii = EbcdicToAscii();

bool MayBeKnown(const NameBytes& name) {
  uint32_t first = UnitAt(name, 0);
  if (name.family == NameFamily::kEbcdic) first = kEbcdicToAscii[first];
  return first < 128 && ((kFirstCharMask[first >> 6] >> (first & 63u)) & 1u) != 0;
}

}  // namespace

NameId FindKnownName(const NameBytes& name) {
  if (name.family == NameFamily::kUnknown || name.data == nullptr ||
      name.length < UnitBytes(name.family) || !MayBeKnown(name)) {
    return ZRF_NAME_NONE;
  }
  for (size_t i = 0; i < kKnownCount; ++i) {
    if (SameBytes(name, kKnownEncoded.Word(name.family, i))) return kKnownNames[i].id;
  }
  return ZRF_NAME_NONE;
}

KWLONG CheckForKnownName(const NameBytes& name, NameId* id) {
  *id = FindKnownName(name);
  xtr_parms(kComponent, kFnCheckKnownName, "NameIdentifier: %d", *id);
  if (*id != ZRF_NAME_NONE) return KWRC_NONE;
  return CheckReservedFamilies(name);
}

const char* KnownNameText(NameId id) {
  for (const KnownName& k : kKnownNames) {
    if (k.id == id) return k.text.data();  // literals: NUL-terminated
  }
  return nullptr;
}

}  // namespace zxv::props

namespace {

using zxv::props::NameBytes;
using zxv::props::NameFamily;
using zxv::props::NameId;

KWLONG CheckKnownShell(uint32_t fn, NameFamily family, const void* name, KWLONG nameLength,
                       KWLONG* compCode, KWLONG* reason) {
  xtr_FNC_entry(zxv::kComponent, fn);
  KWLONG cc = KWCC_OK;
  KWLONG rc = KWRC_NONE;
  NameId id = ZRF_NAME_NONE;
  if (name != nullptr && nameLength > 0) {
    const NameBytes bytes{static_cast<const uint8_t*>(name), static_cast<uint32_t>(nameLength),
                          family};
    rc = zxv::props::CheckForKnownName(bytes, &id);
    if (rc != KWRC_NONE) cc = KWCC_FAILED;
  }
  if (compCode != nullptr) *compCode = cc;
  if (reason != nullptr) *reason = rc;
  xtr_FNC_retcode(zxv::kComponent, fn, rc);
  return id;
}

}  // namespace

extern "C" {

ZXV_API KWLONG zrfCheckForKnownASCIIName(const void* name, KWLONG nameLength, KWLONG* compCode,
                                         KWLONG* reason) {
  return CheckKnownShell(zxv::props::kFnCheckForKnownASCIIName, NameFamily::kAscii, name,
                         nameLength, compCode, reason);
}

ZXV_API KWLONG zrfCheckForKnownEBCDICName(const void* name, KWLONG nameLength, KWLONG* compCode,
                                          KWLONG* reason) {
  return CheckKnownShell(zxv::props::kFnCheckForKnownEBCDICName, NameFamily::kEbcdic, name,
                         nameLength, compCode, reason);
}

ZXV_API KWLONG zrfCheckForKnownUTF8Name(const void* name, KWLONG nameLength, KWLONG* compCode,
                                        KWLONG* reason) {
  return CheckKnownShell(zxv::props::kFnCheckForKnownUTF8Name, NameFamily::kUtf8, name, nameLength,
                         compCode, reason);
}

ZXV_API KWLONG zrfCheckForKnownBUCS2Name(const void* name, KWLONG nameLength, KWLONG* compCode,
                                         KWLONG* reason) {
  return CheckKnownShell(zxv::props::kFnCheckForKnownBUCS2Name, NameFamily::kBucs2, name,
                         nameLength, compCode, reason);
}

ZXV_API KWLONG zrfCheckForKnownLUCS2Name(const void* name, KWLONG nameLength, KWLONG* compCode,
                                         KWLONG* reason) {
  return CheckKnownShell(zxv::props::kFnCheckForKnownLUCS2Name, NameFamily::kLucs2, name,
                         nameLength, compCode, reason);
}

}  // extern "C"
