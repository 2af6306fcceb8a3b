// Helpers shared by the lookup table tests: a fixture that makes a table and
// checks at the end that it was freed without a leak, a view of the table
// header, and the last failure record.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "base/lookup_table_internal.h"
#include "tests/trace_lines.h"
#include "zxvxcs2/xcs_erdp.h"
#include "zxvxcs2/xcs_memory.h"
#include "zxvxcs2/xcs_trace.h"
#include "zxvxzu/lookup.h"

namespace lookup_test {

inline zxv::lookup::Table* Header(hLook h) { return zxv::lookup::FromHandle(h); }
inline zxv::lookup::Entry* EntryOf(hLookEntry h) { return zxv::lookup::FromHandle(h); }

struct FailureRecord {
  std::string comment;
  uint32_t probe = 0;
  xcsRC rc = 0;
};

inline FailureRecord LastFailureRecord() {
  char comment[512];
  FailureRecord r;
  xcsLastFailureRecord(nullptr, 0, comment, sizeof comment, &r.probe, &r.rc);
  r.comment = comment;
  return r;
}

using zxv::test::TraceLines;

// A table of capacity 2 and load factor 0.75 per test; TearDown frees it
// and checks that every block the test made has been given back.
class LookupFixture : public ::testing::Test {
 protected:
  void SetUp() override {
    blocksBefore_ = xcsOutstandingBlocks();
    ASSERT_EQ(zutLookupCreateEx(nullptr, 2, 0.75f, &table_), zutLURC_OK);
  }
  void TearDown() override {
    xcsInjectAllocFailure(0, 0, 0);
    if (table_ != nullptr) {
      EXPECT_EQ(zutLookupFree(nullptr, table_), zutLURC_OK);
    }
    EXPECT_EQ(xcsOutstandingBlocks(), blocksBefore_);
  }

  ZXVRC Put(KWLONG key, void* object, KWULONG flags = 0, hLookEntry* entry = nullptr) {
    return zutLookupPut(nullptr, table_, flags, key, object, entry);
  }
  ZXVRC PutS(const std::string& key, void* object, KWULONG flags = 0, hLookEntry* entry = nullptr) {
    return zutLookupPutString(nullptr, table_, flags, static_cast<KWLONG>(key.size()), key.data(),
                              object, entry);
  }
  // The object found under `key`, or null.
  void* Get(KWLONG key, KWULONG flags = 0) {
    void* object = nullptr;
    zutLookupGet(nullptr, table_, flags, key, &object, nullptr, nullptr);
    return object;
  }
  void* GetS(const std::string& key) {
    void* object = nullptr;
    zutLookupGetString(nullptr, table_, 0, static_cast<KWLONG>(key.size()), key.data(), &object,
                       nullptr, nullptr);
    return object;
  }
  zxv::lookup::Table* H() const { return Header(table_); }

  hLook table_ = nullptr;
  int64_t blocksBefore_ = 0;
};

}  // namespace lookup_test
