// The known property names: the name families the system defines itself,
// each name with its identifier. A name is compared in its own encoding
// through its ASCII reading (name_head.h), found by a perfect hash over the
// known names and confirmed by four 64-bit compares.
#include <array>
#include <string_view>

#include "base/trace_ids.h"
#include "props/name_head.h"
#include "props/property_names.h"
#include "props/word_hash.h"
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

// Known names have 5 to 29 characters; the lookup reads a name of that many
// characters whole, as four 64-bit words.
constexpr uint32_t kShortestKnown = 5;
constexpr uint32_t kLongestKnown = 29;
constexpr uint32_t kKnownBuffer = 32;  // characters, rounded up to whole words

constexpr bool KnownNamesFit() {
  for (const KnownName& k : kKnownNames) {
    if (k.text.size() < kShortestKnown || k.text.size() > kLongestKnown) return false;
    for (char c : k.text)
      if (EbcdicInvariant(c) == 0) return false;
  }
  return true;
}
static_assert(KnownNamesFit(), "known names: 5 to 29 invariant characters");

// A name of n (5..29) ASCII characters as the words the lookup compares:
// the first 8 characters, the last 8 (when there are more than 8), and
// characters 8-15 and 16-23 when the first and last words do not cover
// them. Together they hold every character, so equal words mean equal names.
struct KnownWords {
  uint64_t w[4];
};

constexpr KnownWords WordsOfText(std::string_view t) {
  const auto n = static_cast<uint32_t>(t.size());
  return KnownWords{
      {Pack(t), n > 8 ? Pack(t, n - 8) : 0, n > 16 ? Pack(t, 8) : 0, n > 24 ? Pack(t, 16) : 0}};
}

// The same words of n readable bytes at p (no byte at or past p + n read).
inline KnownWords WordsOfBytes(const uint8_t* p, uint32_t n) {
  return KnownWords{{LoadUpTo8(p, n), n > 8 ? Load64(p + n - 8) : 0, n > 16 ? Load64(p + 8) : 0,
                     n > 24 ? Load64(p + 16) : 0}};
}

constexpr uint64_t KnownKey(const KnownWords& words, uint32_t n) {
  return MixKey(words.w[0], words.w[1], n);
}

struct KnownEntry {
  KnownWords words;
  uint32_t length;
  NameId id;
};

constexpr std::array<KnownEntry, kKnownCount> KnownEntries() {
  std::array<KnownEntry, kKnownCount> entries{};
  for (size_t i = 0; i < kKnownCount; ++i) {
    entries[i] = KnownEntry{WordsOfText(kKnownNames[i].text),
                            static_cast<uint32_t>(kKnownNames[i].text.size()), kKnownNames[i].id};
  }
  return entries;
}
constexpr std::array<KnownEntry, kKnownCount> kKnownEntries = KnownEntries();

constexpr std::array<uint64_t, kKnownCount> KnownKeys() {
  std::array<uint64_t, kKnownCount> keys{};
  for (size_t i = 0; i < kKnownCount; ++i) {
    keys[i] = KnownKey(kKnownEntries[i].words, kKnownEntries[i].length);
  }
  return keys;
}
constexpr WordHash<kKnownCount, 11> kKnownHash(KnownKeys());
static_assert(kKnownHash.ok(), "the known names need a perfect hash");

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

bool MayBeFirst(uint8_t c) { return c < 128 && ((kFirstCharMask[c >> 6] >> (c & 63u)) & 1u) != 0; }

// The same for the reserved families of CheckReservedFamilies.
constexpr std::array<uint64_t, 2> FamilyFirstMask() {
  std::array<uint64_t, 2> mask{};
  for (char c : std::string_view(kReservedFamilyInitials)) {
    const auto b = static_cast<uint8_t>(c);
    mask[b >> 6] |= uint64_t{1} << (b & 63u);
  }
  return mask;
}
constexpr std::array<uint64_t, 2> kFamilyFirstMask = FamilyFirstMask();

bool MayBeFamilyFirst(uint8_t c) {
  return c < 128 && ((kFamilyFirstMask[c >> 6] >> (c & 63u)) & 1u) != 0;
}

NameId Lookup(const KnownWords& words, uint32_t n) {
  const int i = kKnownHash.Find(KnownKey(words, n));
  if (i < 0) return ZRF_NAME_NONE;
  const KnownEntry& e = kKnownEntries[static_cast<size_t>(i)];
  const bool same = e.length == n && e.words.w[0] == words.w[0] && e.words.w[1] == words.w[1] &&
                    e.words.w[2] == words.w[2] && e.words.w[3] == words.w[3];
  return same ? e.id : ZRF_NAME_NONE;
}

// The lookup words of a name read unit by unit (EBCDIC, UCS-2).
KnownWords WordsOfUnits(const NameBytes& name, uint32_t n) {
  uint64_t chars[kKnownBuffer / 8] = {0, 0, 0, 0};  // characters 0-7, 8-15, ...
  for (uint32_t k = 0; 8 * k < n; ++k) {
    const uint32_t left = n - 8 * k;
    chars[k] = GatherAscii(name, 8 * k, left < 8 ? left : 8);
  }
  uint64_t last = 0;  // characters n-8 .. n-1
  if (n > 8) {
    const uint32_t from = n - 8;
    const uint32_t shift = 8 * (from % 8);
    last = chars[from / 8] >> shift;
    if (shift != 0) last |= chars[from / 8 + 1] << (64 - shift);
  }
  return KnownWords{{chars[0], last, n > 16 ? chars[1] : 0, n > 24 ? chars[2] : 0}};
}

}  // namespace

NameId FindKnownName(const NameBytes& name) {
  if (name.family == NameFamily::kUnknown || name.data == nullptr) return ZRF_NAME_NONE;
  const uint32_t unit = UnitBytes(name.family);
  const uint32_t n = name.length / unit;
  // Known names are whole units of 5 to 29 characters.
  if (n < kShortestKnown || n > kLongestKnown || name.length % unit != 0) return ZRF_NAME_NONE;
  if (ReadInPlace(name.family)) {
    if (!MayBeFirst(name.data[0])) return ZRF_NAME_NONE;
    return Lookup(WordsOfBytes(name.data, n), n);
  }
  if (!MayBeFirst(static_cast<uint8_t>(GatherAscii(name, 0, 1)))) return ZRF_NAME_NONE;
  return Lookup(WordsOfUnits(name, n), n);
}

KWLONG CheckForKnownName(const NameBytes& name, NameId* id) {
  // A name whose first character begins no known name and no reserved
  // family (most user names) needs neither search.
  if (!MayBeginKnownName(FirstAscii(name))) {
    *id = ZRF_NAME_NONE;
    xtr_parms(kComponent, kFnCheckKnownName, "NameIdentifier: %d", *id);
    return KWRC_NONE;
  }
  *id = FindKnownName(name);
  xtr_parms(kComponent, kFnCheckKnownName, "NameIdentifier: %d", *id);
  if (*id != ZRF_NAME_NONE) return KWRC_NONE;
  return CheckReservedFamilies(name);
}

bool MayBeginKnownName(uint8_t c) { return MayBeFirst(c) || MayBeFamilyFirst(c); }

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
