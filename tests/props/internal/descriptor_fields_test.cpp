// The descriptor-field mapping: every mapped name round-trips a value
// through a KWMD, touches only its own field and sets its bit; the computed
// mappings and the refusals.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "props/descriptor_fields.h"

namespace zxv::props {
namespace {

KWMD DefaultDescriptor() {
  KWMD md;
  std::memset(&md, 0, sizeof md);
  std::memcpy(md.StrucId, KWMD_STRUC_ID, 4);
  md.Version = KWMD_VERSION_2;
  md.MsgType = KWMT_DATAGRAM;
  md.Expiry = KWEI_UNLIMITED;
  md.Encoding = KWENC_NATIVE;
  std::memset(md.Format, ' ', sizeof md.Format);
  md.Priority = KWPRI_PRIORITY_AS_Q_DEF;
  md.Persistence = KWPER_PERSISTENCE_AS_Q_DEF;
  md.MsgSeqNumber = 1;
  md.OriginalLength = KWOL_UNDEFINED;
  return md;
}

std::vector<const DescriptorMapping*> AllMappings() {
  std::vector<const DescriptorMapping*> all;
  for (NameId id = 0; id < 1000; ++id) {
    if (const DescriptorMapping* m = FindDescriptorMapping(id)) all.push_back(m);
  }
  return all;
}

// A value of the mapping's type, different from the default descriptor's.
struct Sample {
  MdPropType type;
  std::vector<uint8_t> bytes;
  int64_t integer = 0;
};

Sample SampleFor(const DescriptorMapping& m) {
  Sample s{m.type, {}, 0};
  auto put = [&s](const void* p, size_t n) {
    s.bytes.assign(static_cast<const uint8_t*>(p), static_cast<const uint8_t*>(p) + n);
  };
  switch (m.kind) {
    case MdValueKind::kInt32:
    case MdValueKind::kCountPlusOne: {
      const int32_t v = 5;
      s.integer = v;
      put(&v, 4);
      break;
    }
    case MdValueKind::kReportBits: {
      const int32_t v = m.mask;
      s.integer = v;
      put(&v, 4);
      break;
    }
    case MdValueKind::kFlag: {
      const int32_t v = 1;
      s.integer = v;
      put(&v, 4);
      break;
    }
    case MdValueKind::kTimestamp: {
      const int64_t v = 1709214307890;  // 2024-02-29 13:45:07.890 UTC
      s.integer = v;
      put(&v, 8);
      break;
    }
    case MdValueKind::kString:
      put("ABC", m.width < 3 ? m.width : 3);
      break;
    case MdValueKind::kBytes: {
      std::vector<uint8_t> b(m.width);
      for (size_t i = 0; i < b.size(); ++i) b[i] = static_cast<uint8_t>(0xA0 + i);
      s.bytes = b;
      break;
    }
  }
  return s;
}

TEST(DescriptorFieldsTest, EveryMappingRoundTripsAndTouchesOnlyItsField) {
  const auto all = AllMappings();
  EXPECT_EQ(all.size(), 59u);
  for (const DescriptorMapping* m : all) {
    SCOPED_TRACE(m->id);
    KWMD md = DefaultDescriptor();
    const KWMD before = md;
    uint32_t set = 0;
    const Sample s = SampleFor(*m);
    ASSERT_EQ(WriteDescriptorValue(&md, &set, *m, s.type, s.bytes.data(),
                                   static_cast<uint32_t>(s.bytes.size())),
              MdAccess::kOk);
    EXPECT_EQ(set, m->fieldBits);
    // Only the bytes of the mapped field changed.
    const auto* a = reinterpret_cast<const uint8_t*>(&before);
    const auto* b = reinterpret_cast<const uint8_t*>(&md);
    for (size_t i = 0; i < sizeof(KWMD); ++i) {
      if (i < m->offset || i >= size_t{m->offset} + m->width) {
        ASSERT_EQ(a[i], b[i]) << i;
      }
    }
    MdValue v;
    ASSERT_EQ(ReadDescriptorValue(md, *m, &v), MdAccess::kOk);
    EXPECT_EQ(v.type, m->type);
    if (m->type == MdPropType::kString || m->type == MdPropType::kBytes) {
      EXPECT_EQ(std::vector<uint8_t>(v.bytes, v.bytes + v.length), s.bytes);
    } else {
      EXPECT_EQ(v.integer, s.integer);
    }
  }
}

TEST(DescriptorFieldsTest, PriorityAndItsSynonymsWriteMsgDescPriority) {
  for (NameId id : {ZRF_NAME_KWMD_PRIORITY, ZRF_NAME_JMS_PRIORITY, ZRF_NAME_JMS_PRI}) {
    KWMD md = DefaultDescriptor();
    uint32_t set = 0;
    const DescriptorMapping* m = FindDescriptorMapping(id);
    ASSERT_NE(m, nullptr);
    const int8_t prio = 7;  // any integer type that fits
    ASSERT_EQ(WriteDescriptorValue(&md, &set, *m, MdPropType::kInt8, &prio, 1), MdAccess::kOk);
    EXPECT_EQ(md.Priority, 7);
    EXPECT_EQ(set, kMdfPriority);
    md.Priority = 3;
    MdValue v;
    ASSERT_EQ(ReadDescriptorValue(md, *m, &v), MdAccess::kOk);
    EXPECT_EQ(v.integer, 3);
    EXPECT_EQ(v.type, MdPropType::kInt32);
  }
}

TEST(DescriptorFieldsTest, NamesThatStayInTheList) {
  for (NameId id : {ZRF_NAME_NONE, ZRF_NAME_JMS_TYPE, ZRF_NAME_JMS_REPLYTO, ZRF_NAME_JMS_DST,
                    ZRF_NAME_JMS_RTO, ZRF_NAME_JMS_EXP, ZRF_NAME_JMS_DLV, ZRF_NAME_MCD_TYPE,
                    ZRF_NAME_PSC_TOPIC, ZRF_NAME_KW_TOPICSTRING}) {
    EXPECT_EQ(FindDescriptorMapping(id), nullptr) << id;
  }
}

TEST(DescriptorFieldsTest, StringsArePaddedWithBlanksAndReadTrimmed) {
  KWMD md = DefaultDescriptor();
  uint32_t set = 0;
  const DescriptorMapping* m = FindDescriptorMapping(ZRF_NAME_JMS_ZOL_FORMAT);
  ASSERT_EQ(WriteDescriptorValue(&md, &set, *m, MdPropType::kString, "STR", 3), MdAccess::kOk);
  EXPECT_EQ(std::string(md.Format, 8), "STR     ");
  MdValue v;
  ASSERT_EQ(ReadDescriptorValue(md, *m, &v), MdAccess::kOk);
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(v.bytes), v.length), "STR");
  // A field of binary zeros reads as the empty string.
  ASSERT_EQ(ReadDescriptorValue(md, *FindDescriptorMapping(ZRF_NAME_KWMD_REPLYTOQ), &v),
            MdAccess::kOk);
  EXPECT_EQ(v.length, 0u);
}

TEST(DescriptorFieldsTest, ShortByteValuesArePaddedWithZeros) {
  KWMD md = DefaultDescriptor();
  std::memset(md.CorrelId, 0xFF, sizeof md.CorrelId);
  uint32_t set = 0;
  const DescriptorMapping* m = FindDescriptorMapping(ZRF_NAME_JMS_CORRELATIONID);
  ASSERT_EQ(WriteDescriptorValue(&md, &set, *m, MdPropType::kBytes, "\x01\x02", 2), MdAccess::kOk);
  EXPECT_EQ(md.CorrelId[0], 1);
  EXPECT_EQ(md.CorrelId[1], 2);
  for (size_t i = 2; i < sizeof md.CorrelId; ++i) EXPECT_EQ(md.CorrelId[i], 0) << i;
  EXPECT_EQ(set, kMdfCorrelId);
}

TEST(DescriptorFieldsTest, ReportOptionsTouchOnlyTheirBits) {
  KWMD md = DefaultDescriptor();
  md.Report = kReportPan | kReportCodMask;
  uint32_t set = 0;
  const DescriptorMapping* coa = FindDescriptorMapping(ZRF_NAME_JMS_ZOL_REPORT_COA);
  const int32_t coaWithData = 0x300;
  ASSERT_EQ(WriteDescriptorValue(&md, &set, *coa, MdPropType::kInt32, &coaWithData, 4),
            MdAccess::kOk);
  EXPECT_EQ(md.Report, kReportPan | kReportCodMask | 0x300);
  MdValue v;
  ASSERT_EQ(ReadDescriptorValue(md, *FindDescriptorMapping(ZRF_NAME_JMS_ZOL_REPORT_COD), &v),
            MdAccess::kOk);
  EXPECT_EQ(v.integer, kReportCodMask);
  const int32_t foreign = 0x800;  // a COD bit given to COA
  EXPECT_EQ(WriteDescriptorValue(&md, &set, *coa, MdPropType::kInt32, &foreign, 4),
            MdAccess::kValueError);
}

TEST(DescriptorFieldsTest, LastMessageInGroupIsAFlag) {
  KWMD md = DefaultDescriptor();
  md.MsgFlags = 0x08;
  uint32_t set = 0;
  const DescriptorMapping* m = FindDescriptorMapping(ZRF_NAME_JMS_ZOL_LAST_MSG_IN_GROUP);
  const int32_t on = 1, off = 0;
  ASSERT_EQ(WriteDescriptorValue(&md, &set, *m, MdPropType::kBoolean, &on, 4), MdAccess::kOk);
  EXPECT_EQ(md.MsgFlags, 0x18);
  ASSERT_EQ(WriteDescriptorValue(&md, &set, *m, MdPropType::kBoolean, &off, 4), MdAccess::kOk);
  EXPECT_EQ(md.MsgFlags, 0x08);
  EXPECT_EQ(WriteDescriptorValue(&md, &set, *m, MdPropType::kInt32, &on, 4),
            MdAccess::kTypeMismatch);
}

TEST(DescriptorFieldsTest, DeliveryCountIsOneMoreThanTheBackoutCount) {
  KWMD md = DefaultDescriptor();
  md.BackoutCount = 2;
  const DescriptorMapping* m = FindDescriptorMapping(ZRF_NAME_JMSX_DELIVERYCOUNT);
  MdValue v;
  ASSERT_EQ(ReadDescriptorValue(md, *m, &v), MdAccess::kOk);
  EXPECT_EQ(v.integer, 3);
  uint32_t set = 0;
  const int32_t one = 1, zero = 0;
  ASSERT_EQ(WriteDescriptorValue(&md, &set, *m, MdPropType::kInt32, &one, 4), MdAccess::kOk);
  EXPECT_EQ(md.BackoutCount, 0);
  EXPECT_EQ(set, kMdfBackoutCount);
  EXPECT_EQ(WriteDescriptorValue(&md, &set, *m, MdPropType::kInt32, &zero, 4),
            MdAccess::kValueError);
}

TEST(DescriptorFieldsTest, TimestampIsPutDateAndPutTime) {
  KWMD md = DefaultDescriptor();
  const DescriptorMapping* m = FindDescriptorMapping(ZRF_NAME_JMS_TIMESTAMP);
  MdValue v;
  EXPECT_EQ(ReadDescriptorValue(md, *m, &v), MdAccess::kNoValue);  // zero fields

  uint32_t set = 0;
  const int64_t ms = 1709214307899;  // 2024-02-29 13:45:07.899
  ASSERT_EQ(WriteDescriptorValue(&md, &set, *m, MdPropType::kInt64, &ms, 8), MdAccess::kOk);
  EXPECT_EQ(std::string(md.PutDate, 8), "20240229");
  EXPECT_EQ(std::string(md.PutTime, 8), "13450789");
  EXPECT_EQ(set, kMdfPutDate | kMdfPutTime);
  ASSERT_EQ(ReadDescriptorValue(md, *FindDescriptorMapping(ZRF_NAME_JMS_TMS), &v), MdAccess::kOk);
  EXPECT_EQ(v.integer, 1709214307890);  // hundredths
  EXPECT_EQ(v.type, MdPropType::kInt64);

  const int64_t before1970 = -1;  // 1969-12-31 23:59:59.999
  ASSERT_EQ(WriteDescriptorValue(&md, &set, *m, MdPropType::kInt64, &before1970, 8), MdAccess::kOk);
  EXPECT_EQ(std::string(md.PutDate, 8), "19691231");
  EXPECT_EQ(std::string(md.PutTime, 8), "23595999");

  std::memcpy(md.PutDate, "20230229", 8);  // no such day
  EXPECT_EQ(ReadDescriptorValue(md, *m, &v), MdAccess::kNoValue);
  const int64_t tooLate = int64_t{1} << 62;
  EXPECT_EQ(WriteDescriptorValue(&md, &set, *m, MdPropType::kInt64, &tooLate, 8),
            MdAccess::kValueError);
}

TEST(DescriptorFieldsTest, RefusalsLeaveTheDescriptorAlone) {
  KWMD md = DefaultDescriptor();
  const KWMD before = md;
  uint32_t set = 0;
  const DescriptorMapping* prio = FindDescriptorMapping(ZRF_NAME_KWMD_PRIORITY);
  const int64_t big = int64_t{1} << 40;
  const int32_t four = 4;
  EXPECT_EQ(WriteDescriptorValue(&md, &set, *prio, MdPropType::kInt64, &big, 8),
            MdAccess::kValueError);
  EXPECT_EQ(WriteDescriptorValue(&md, &set, *prio, MdPropType::kString, "4", 1),
            MdAccess::kTypeMismatch);
  EXPECT_EQ(WriteDescriptorValue(&md, &set, *prio, MdPropType::kInt32, &four, 2),
            MdAccess::kLengthError);
  EXPECT_EQ(WriteDescriptorValue(&md, &set, *prio, MdPropType::kBoolean, &four, 4),
            MdAccess::kTypeMismatch);
  EXPECT_EQ(WriteDescriptorValue(&md, &set, *prio, MdPropType::kInt32, nullptr, 4),
            MdAccess::kLengthError);
  const DescriptorMapping* user = FindDescriptorMapping(ZRF_NAME_JMSX_USERID);
  EXPECT_EQ(WriteDescriptorValue(&md, &set, *user, MdPropType::kString, "thirteen_char", 13),
            MdAccess::kLengthError);
  EXPECT_EQ(WriteDescriptorValue(&md, &set, *user, MdPropType::kBytes, "abc", 3),
            MdAccess::kTypeMismatch);
  EXPECT_EQ(std::memcmp(&md, &before, sizeof md), 0);
  EXPECT_EQ(set, 0u);
}

}  // namespace
}  // namespace zxv::props
