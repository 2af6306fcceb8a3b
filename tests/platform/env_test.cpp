// Environment: values and absences cached per process; the full copy.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "zxvxcs2/xcs_env.h"
#include "zxvxcs2/xcs_memory.h"

namespace {

class EnvTest : public ::testing::Test {
 protected:
  void SetUp() override { xcsClearEnvCache(); }
  void TearDown() override {
    ::unsetenv("ZXV_ENV_TEST");
    xcsInjectAllocFailure(0, 0, 0);
    xcsClearEnvCache();
  }
};

TEST_F(EnvTest, ValuesAndAbsencesAreReadOnceUntilCleared) {
  ::setenv("ZXV_ENV_TEST", "first", 1);
  const char* value = xcsGetEnv("ZXV_ENV_TEST");
  ASSERT_NE(value, nullptr);
  EXPECT_STREQ(value, "first");
  ::setenv("ZXV_ENV_TEST", "second", 1);
  EXPECT_EQ(xcsGetEnv("ZXV_ENV_TEST"), value);  // the same cached string
  xcsClearEnvCache();
  EXPECT_STREQ(xcsGetEnv("ZXV_ENV_TEST"), "second");

  ::unsetenv("ZXV_ENV_TEST");
  xcsClearEnvCache();
  EXPECT_EQ(xcsGetEnv("ZXV_ENV_TEST"), nullptr);
  ::setenv("ZXV_ENV_TEST", "", 1);
  EXPECT_EQ(xcsGetEnv("ZXV_ENV_TEST"), nullptr);  // the absence is cached too
  xcsClearEnvCache();
  EXPECT_STREQ(xcsGetEnv("ZXV_ENV_TEST"), "");  // an empty value is present

  EXPECT_EQ(xcsGetEnv(nullptr), nullptr);
  EXPECT_EQ(xcsGetEnv(""), nullptr);
}

TEST_F(EnvTest, ReadEnvironmentCopiesEveryVariable) {
  ::setenv("ZXV_ENV_TEST", "copied", 1);
  const int64_t outstanding = xcsOutstandingBlocks();
  char** list = nullptr;
  uint32_t count = 0;
  ASSERT_EQ(xcsReadEnvironment(&list, &count), xcsRC_OK);
  ASSERT_NE(list, nullptr);
  EXPECT_EQ(list[count], nullptr);
  bool found = false;
  for (uint32_t i = 0; i < count; ++i) {
    ASSERT_NE(list[i], nullptr);
    if (std::strcmp(list[i], "ZXV_ENV_TEST=copied") == 0) found = true;
  }
  EXPECT_TRUE(found);
  EXPECT_EQ(xcsOutstandingBlocks(), outstanding + count + 1);
  xcsFreeEnvironment(list);
  EXPECT_EQ(xcsOutstandingBlocks(), outstanding);
  xcsFreeEnvironment(nullptr);
  EXPECT_EQ(xcsReadEnvironment(nullptr, &count), xcsRC_INVALID_PARAMETER);
  EXPECT_EQ(xcsReadEnvironment(&list, nullptr), xcsRC_INVALID_PARAMETER);
}

TEST_F(EnvTest, ReadEnvironmentFailsCleanlyAtEveryAllocation) {
  ::setenv("ZXV_ENV_TEST", "x", 1);
  const int64_t outstanding = xcsOutstandingBlocks();
  for (uint32_t nth : {1u, 2u, 3u}) {
    xcsInjectAllocFailure(nth, xcsRC_STORAGE_NOT_AVAILABLE, 0);
    char** list = reinterpret_cast<char**>(1);
    uint32_t count = 7;
    EXPECT_EQ(xcsReadEnvironment(&list, &count), xcsRC_STORAGE_NOT_AVAILABLE) << nth;
    EXPECT_EQ(list, nullptr);
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(xcsOutstandingBlocks(), outstanding) << nth;
  }
}

}  // namespace
