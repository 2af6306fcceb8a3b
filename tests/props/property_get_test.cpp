// Getting properties: exact gets, typed gets, browsing with a cursor and
// patterns, and the names that live in the message descriptor (set, get,
// browse and delete through the handle paths).
#include "tests/props/property_test_util.h"

namespace zxv::test {
namespace {

class PropertyGetTest : public PropertyStoreTest {
 protected:
  void SetUp() override {
    PropertyStoreTest::SetUp();
    for (const char* name : {"a.x", "b", "a.y"}) ASSERT_EQ(PutInt(name, name[0]), KWRC_NONE);
  }
  // Browses `pattern` with `options`; the name found, or "" with the reason.
  std::string Browse(const std::string& pattern, KWLONG options, KWLONG* reason) {
    *reason =
        zrfGetNamedProperty(options, &pal_, &cursor_, pattern.data(),
                            static_cast<KWULONG>(pattern.size()), 1208, &work_, &info_, &cc_, &rc_);
    if (*reason != KWRC_NONE) return "";
    return std::string(static_cast<const char*>(info_.pName), info_.NameLength);
  }
  std::vector<std::string> BrowseAll(const std::string& pattern) {
    std::vector<std::string> found;
    KWLONG reason = KWRC_NONE;
    for (KWLONG options = 0;; options = ZRF_GET_BROWSE_NEXT) {
      std::string name = Browse(pattern, options, &reason);
      if (reason != KWRC_NONE) break;
      found.push_back(name);
    }
    EXPECT_EQ(reason, KWRC_PROPERTY_NOT_AVAILABLE);
    return found;
  }
  KWLONG Set(const std::string& name, KWULONG type, const void* value, KWULONG length,
             KWLONG validationOff = 0) {
    return zrfSetProperty(0, &pal_, &md_, &fieldsSet_, name.data(),
                          static_cast<KWULONG>(name.size()), 1208, &pd_, type, value, length,
                          &work_, validationOff, &cc_, &rc_);
  }

  ZRFPROPINFO info_{};
  KWMD md_ = DefaultDescriptor();
  KWULONG fieldsSet_ = 0;

  static KWMD DefaultDescriptor() {
    KWMD md;
    std::memset(&md, 0, sizeof md);
    std::memcpy(md.StrucId, KWMD_STRUC_ID, 4);
    md.Version = KWMD_VERSION_2;
    md.Priority = KWPRI_PRIORITY_AS_Q_DEF;
    std::memset(md.Format, ' ', sizeof md.Format);
    return md;
  }
};

TEST_F(PropertyGetTest, ExactGetReturnsNodeAndAttributes) {
  pd_ = MakePD(KWCOPY_REPORT, KWPD_USER_CONTEXT, 0);
  ASSERT_EQ(PutString("s", "text"), KWRC_NONE);
  ASSERT_EQ(zrfGetProperty(&pal_, nullptr, "s", 1, 1208, &work_, &info_, &cc_, &rc_), KWRC_NONE);
  EXPECT_EQ(info_.Source, static_cast<KWULONG>(ZRF_SOURCE_LIST));
  EXPECT_EQ(info_.TypeFlags, ZRF_TYPE_STRING | ZRF_FLAG_USER_CONTEXT);
  EXPECT_EQ(info_.Context, KWPD_USER_CONTEXT);
  EXPECT_EQ(info_.CopyOptions, KWCOPY_REPORT);
  EXPECT_EQ(info_.Support, 0);
  EXPECT_EQ(std::string(static_cast<const char*>(info_.pValue), info_.ValueLength), "text");
  EXPECT_EQ(info_.ValueCCSID, 1208);
  EXPECT_EQ(zrfGetProperty(&pal_, nullptr, "t", 1, 1208, &work_, &info_, &cc_, &rc_),
            KWRC_PROPERTY_NOT_AVAILABLE);
}

TEST_F(PropertyGetTest, TypedGetRefusesOtherTypes) {
  EXPECT_EQ(
      zrfGetProperty2(&pal_, nullptr, "b", 1, 1208, ZRF_TYPE_INT32, &work_, &info_, &cc_, &rc_),
      KWRC_NONE);
  EXPECT_EQ(
      zrfGetProperty2(&pal_, nullptr, "b", 1, 1208, ZRF_TYPE_AS_STORED, &work_, &info_, &cc_, &rc_),
      KWRC_NONE);
  EXPECT_EQ(
      zrfGetProperty2(&pal_, nullptr, "b", 1, 1208, ZRF_TYPE_STRING, &work_, &info_, &cc_, &rc_),
      KWRC_PROPERTY_TYPE_ERROR);
  EXPECT_EQ(rc_, KWRC_PROPERTY_TYPE_ERROR);
}

TEST_F(PropertyGetTest, BrowsingWalksMatchesInListOrder) {
  EXPECT_EQ(BrowseAll("%"), (std::vector<std::string>{"a.x", "a.y", "b"}));
  EXPECT_EQ(BrowseAll("a.%"), (std::vector<std::string>{"a.x", "a.y"}));
  EXPECT_EQ(BrowseAll("b"), (std::vector<std::string>{"b"}));
  EXPECT_EQ(BrowseAll("zz%"), (std::vector<std::string>{}));
  ASSERT_NE(cursor_, nullptr);
  EXPECT_GE(cursor_->Capacity, 256u);
}

TEST_F(PropertyGetTest, CursorSurvivesChangesToTheList) {
  KWLONG reason;
  TraceLines trace;
  EXPECT_EQ(Browse("%", 0, &reason), "a.x");
  EXPECT_TRUE(trace.Contains("Starting new browse"));
  EXPECT_EQ(Browse("", ZRF_GET_UNDER_CURSOR, &reason), "a.x");
  ASSERT_EQ(PutInt("a.w", 0), KWRC_NONE);  // goes after a.y
  EXPECT_EQ(Browse("%", ZRF_GET_BROWSE_NEXT, &reason), "a.y");
  EXPECT_TRUE(trace.Contains("Continuing previous browse"));
  // The property under the cursor is deleted: the browse goes on with the
  // node that took its place.
  ASSERT_EQ(zrfDeleteNamedProperty(&pal_, "a.y", 3, 1208, &work_, &cc_, &rc_), KWRC_NONE);
  EXPECT_EQ(Browse("", ZRF_GET_UNDER_CURSOR, &reason), "");
  EXPECT_EQ(reason, KWRC_PROPERTY_NOT_AVAILABLE);
  EXPECT_EQ(Browse("%", ZRF_GET_BROWSE_NEXT, &reason), "a.w");
  EXPECT_EQ(Browse("%", ZRF_GET_BROWSE_NEXT, &reason), "b");
  // A next for a pattern the cursor does not match starts afresh.
  EXPECT_EQ(Browse("a.%", ZRF_GET_BROWSE_NEXT, &reason), "a.x");
}

TEST_F(PropertyGetTest, VerifyOptionChecksTheListFirst) {
  pal_.pProps->PropsLen += 1;
  EXPECT_EQ(zrfGetPropertyWithBrowse(static_cast<KWLONG>(ZRF_GET_VERIFY), &pal_, &md_, &cursor_,
                                     "b", 1, 1208, &work_, &info_, &cc_, &rc_),
            KWRC_UNEXPECTED_ERROR);
  EXPECT_EQ(
      zrfGetPropertyWithBrowse(0, &pal_, &md_, &cursor_, "b", 1, 1208, &work_, &info_, &cc_, &rc_),
      KWRC_NONE);
  pal_.pProps->PropsLen -= 1;
}

TEST_F(PropertyGetTest, BrowseCursorAllocationFailureIsReported) {
  KWLONG reason;
  xcsInjectAllocFailure(1, xcsRC_RESOURCE_PROBLEM, 0);
  EXPECT_EQ(Browse("%", 0, &reason), "");
  xcsInjectAllocFailure(0, 0, 0);
  EXPECT_EQ(reason, KWRC_RESOURCE_PROBLEM);
}

TEST_F(PropertyGetTest, DescriptorNamesChangeTheDescriptorNotTheList) {
  const std::vector<uint8_t> list = InUse(pal_);
  const int32_t seven = 7;
  ASSERT_EQ(Set("Root.KWMD.Priority", ZRF_TYPE_INT32, &seven, 4), KWRC_NONE);
  EXPECT_EQ(md_.Priority, 7);
  EXPECT_NE(fieldsSet_, 0u);
  EXPECT_EQ(InUse(pal_), list);

  // Read back through the synonym.
  ASSERT_EQ(zrfGetProperty(&pal_, &md_, "JMSPriority", 11, 1208, &work_, &info_, &cc_, &rc_),
            KWRC_NONE);
  EXPECT_EQ(info_.Source, static_cast<KWULONG>(ZRF_SOURCE_DESCRIPTOR));
  EXPECT_EQ(info_.TypeFlags, static_cast<KWULONG>(ZRF_TYPE_INT32));
  ASSERT_EQ(info_.ValueLength, 4u);
  EXPECT_EQ(U32At(static_cast<const uint8_t*>(info_.pValue)), 7u);

  // A single property when browsing: a second inquiry of the same name ends.
  const char* name = "Root.KWMD.Priority";
  TraceLines trace;
  EXPECT_EQ(zrfGetPropertyWithBrowse(0, &pal_, &md_, &cursor_, name, 18, 1208, &work_, &info_, &cc_,
                                     &rc_),
            KWRC_NONE);
  EXPECT_EQ(U32At(static_cast<const uint8_t*>(info_.pValue)), 7u);
  EXPECT_EQ(zrfGetPropertyWithBrowse(ZRF_GET_BROWSE_NEXT, &pal_, &md_, &cursor_, name, 18, 1208,
                                     &work_, &info_, &cc_, &rc_),
            KWRC_PROPERTY_NOT_AVAILABLE);
  EXPECT_TRUE(trace.Contains("Continuing previous browse on single property"));

  // Delete restores the default and clears the bit; a second delete finds
  // nothing.
  ASSERT_EQ(zrfDeleteProperty(0, &pal_, &md_, &fieldsSet_, "jms.Pri", 7, 1208, &work_, &cc_, &rc_),
            KWRC_NONE);
  EXPECT_EQ(md_.Priority, KWPRI_PRIORITY_AS_Q_DEF);
  EXPECT_EQ(fieldsSet_, 0u);
  EXPECT_EQ(zrfDeleteProperty(0, &pal_, &md_, &fieldsSet_, "jms.Pri", 7, 1208, &work_, &cc_, &rc_),
            KWRC_PROPERTY_NOT_AVAILABLE);
}

TEST_F(PropertyGetTest, DescriptorFieldsRefuseValuesThatDoNotFit) {
  const double d = 1.5;
  EXPECT_EQ(Set("Root.KWMD.Priority", ZRF_TYPE_FLOAT64, &d, 8), KWRC_PROPERTY_TYPE_ERROR);
  EXPECT_EQ(Set("Root.KWMD.Format", ZRF_TYPE_STRING, "much too long", 13),
            KWRC_PROPERTY_TYPE_ERROR);
  EXPECT_EQ(fieldsSet_, 0u);
  ASSERT_EQ(Set("Root.KWMD.Format", ZRF_TYPE_STRING, "KWSTR", 5), KWRC_NONE);
  EXPECT_EQ(0, std::memcmp(md_.Format, "KWSTR   ", 8));
}

TEST_F(PropertyGetTest, SetPathChecksNamesUnlessValidationIsOff) {
  const int32_t v = 1;
  EXPECT_EQ(Set("AND", ZRF_TYPE_INT32, &v, 4), KWRC_PROPERTY_NAME_ERROR);
  EXPECT_EQ(Names(), (std::vector<std::string>{"a.x", "a.y", "b"}));
  EXPECT_EQ(Set("AND", ZRF_TYPE_INT32, &v, 4, 1), KWRC_NONE);
  EXPECT_EQ(Set("usr.fine", ZRF_TYPE_INT32, &v, 4), KWRC_NONE);
  EXPECT_EQ(Names(), (std::vector<std::string>{"a.x", "a.y", "b", "AND", "usr.fine"}));
  EXPECT_EQ(zrfDeleteProperty(0, &pal_, &md_, &fieldsSet_, "AND", 3, 1208, &work_, &cc_, &rc_),
            KWRC_NONE);
}

}  // namespace
}  // namespace zxv::test
