// Pointer probing: never faults, checks whole ranges, puts written bytes back.
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>

#include "zxvxcs2/xcs_guard.h"

namespace {

// Three pages: read-write, read-only, inaccessible.
class PointerProbeTest : public ::testing::Test {
 protected:
  void SetUp() override {
    page_ = static_cast<size_t>(::sysconf(_SC_PAGESIZE));
    void* map =
        ::mmap(nullptr, 3 * page_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(map, MAP_FAILED);
    base_ = static_cast<uint8_t*>(map);
    std::memset(base_, 0x5A, 2 * page_);
    ASSERT_EQ(::mprotect(base_ + page_, page_, PROT_READ), 0);
    ASSERT_EQ(::mprotect(base_ + 2 * page_, page_, PROT_NONE), 0);
  }
  void TearDown() override { ::munmap(base_, 3 * page_); }
  uint8_t* writable() const { return base_; }
  uint8_t* read_only() const { return base_ + page_; }
  uint8_t* no_access() const { return base_ + 2 * page_; }
  size_t page_ = 0;
  uint8_t* base_ = nullptr;
};

TEST_F(PointerProbeTest, Table) {
  struct {
    const char* what;
    const void* address;
    size_t length;
    int mode;
    xcsRC rc;
  } cases[] = {
      {"null", nullptr, 4, XCS_PTR_READ, xcsRC_BAD_POINTER},
      {"low address", reinterpret_cast<const void*>(16), 4, XCS_PTR_READ, xcsRC_BAD_POINTER},
      {"writable page read", writable(), 16, XCS_PTR_READ, xcsRC_OK},
      {"writable page write", writable(), 16, XCS_PTR_WRITE, xcsRC_OK},
      {"writable page read-write", writable(), page_, XCS_PTR_READWRITE, xcsRC_OK},
      {"read-only page read", read_only(), page_, XCS_PTR_READ, xcsRC_OK},
      {"read-only page write", read_only(), 1, XCS_PTR_WRITE, xcsRC_BAD_POINTER},
      {"read-only page read-write", read_only() + 10, 1, XCS_PTR_READWRITE, xcsRC_BAD_POINTER},
      {"range running into read-only", writable() + page_ - 4, 8, XCS_PTR_WRITE, xcsRC_BAD_POINTER},
      {"unmapped page", no_access(), 1, XCS_PTR_READ, xcsRC_BAD_POINTER},
      {"range ending in unmapped page", writable() + 8, 3 * page_ - 8, XCS_PTR_READ,
       xcsRC_BAD_POINTER},
      {"range ending just before unmapped page", writable(), 2 * page_, XCS_PTR_READ, xcsRC_OK},
      {"length 0 checks one byte", no_access(), 0, XCS_PTR_READ, xcsRC_BAD_POINTER},
      {"length 0 on good memory", writable(), 0, XCS_PTR_WRITE, xcsRC_OK},
      {"wrapping range", writable(), SIZE_MAX, XCS_PTR_READ, xcsRC_BAD_POINTER},
      {"kernel address", reinterpret_cast<const void*>(~uintptr_t{0} - 4096), 1, XCS_PTR_READ,
       xcsRC_BAD_POINTER},
      {"unknown mode", writable(), 1, 8, xcsRC_INVALID_PARAMETER},
      {"no mode", writable(), 1, 0, xcsRC_INVALID_PARAMETER},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(xcsCheckPointer(c.address, c.length, c.mode), c.rc) << c.what;
  }
}

TEST_F(PointerProbeTest, WriteProbeLeavesTheBytesAsTheyWere) {
  for (size_t i = 0; i < page_; ++i) writable()[i] = static_cast<uint8_t>(i * 7);
  ASSERT_EQ(xcsCheckPointer(writable(), page_, XCS_PTR_WRITE), xcsRC_OK);
  for (size_t i = 0; i < page_; ++i) ASSERT_EQ(writable()[i], static_cast<uint8_t>(i * 7)) << i;
}

}  // namespace
