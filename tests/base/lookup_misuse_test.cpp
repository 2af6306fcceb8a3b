// Lookup table misuse and storage failures: every refused call answers with
// its code and failure record and leaves the table as it was; every
// allocation that fails is passed back with nothing leaked and nothing
// changed.
#include <functional>
#include <string>

#include "tests/base/lookup_test_util.h"

namespace {

using lookup_test::EntryOf;
using lookup_test::Header;
using lookup_test::LastFailureRecord;
using lookup_test::LookupFixture;

int object;

void NoOp(ZUT_THREAD, hLook, KWLONG, void*, hLookEntry, void*, void*, KWULONG*) {}

struct MisuseCase {
  const char* name;
  ZXVRC (*call)(hLook t, hLookEntry e);  // e: an entry with key 5 and no use
  ZXVRC rc;
  const char* comment;  // null: checked by prefix below
};

// One refused call per line: CALL(expression using t and e).
#define CALL(expr)                     \
  [](hLook t, hLookEntry e) -> ZXVRC { \
    (void)t;                           \
    (void)e;                           \
    return expr;                       \
  }

hLookEntry EntryAb(hLook t) {
  hLookEntry ab = nullptr;
  zutLookupGetString(nullptr, t, 0, 2, "ab", nullptr, nullptr, &ab);
  return ab;
}

ZXVRC ReleaseUnused(hLook t, hLookEntry e) {
  KWLONG uses = -7;
  ZXVRC rc = zutLookupRelease(nullptr, t, 0, e, &uses, nullptr);
  EXPECT_EQ(uses, 0);  // the count stays at 0
  return rc;
}

class LookupMisuse : public LookupFixture {};

// clang-format off
const MisuseCase kMisuses[] = {
  {"create without output", CALL(zutLookupCreateEx(nullptr, 10, 0.75f, nullptr)),
   zutLURC_MISUSE, "Create without a return pointer"},
  {"put without table", CALL(zutLookupPut(nullptr, nullptr, 0, 1, &object, nullptr)),
   zutLURC_MISUSE, "Put without a lookup table"},
  {"put use count, no entry ptr", CALL(zutLookupPut(nullptr, t, zutLUF_USE_COUNT, 1, &object, nullptr)),
   zutLURC_MISUSE, "zutLUF_USE_COUNT flag without providing an entry handle ptr"},
  {"put id only, no generate", CALL(zutLookupPut(nullptr, t, zutLUF_ID_ONLY, 1, &object, nullptr)),
   zutLURC_MISUSE, "zutLUF_ID_ONLY flag without zutLUF_GENERATE_ID"},
  {"put empty string", CALL(zutLookupPutString(nullptr, t, 0, 0, "x", &object, nullptr)),
   zutLURC_MISUSE, "Invalid string key"},
  {"put null string", CALL(zutLookupPutString(nullptr, t, 0, 3, nullptr, &object, nullptr)),
   zutLURC_MISUSE, "Invalid string key"},
  {"get use count, no entry ptr", CALL(zutLookupGet(nullptr, t, zutLUF_USE_COUNT, 5, nullptr, nullptr, nullptr)),
   zutLURC_MISUSE, "zutLUF_USE_COUNT flag without providing return pointers"},
  {"get by entry, no entry", CALL(zutLookupGet(nullptr, t, zutLUF_BY_ENTRY, 5, nullptr, nullptr, nullptr)),
   zutLURC_MISUSE, "zutLUF_BY_ENTRY flag without an entry handle"},
  {"get negative length", CALL(zutLookupGetString(nullptr, t, 0, -1, "ab", nullptr, nullptr, nullptr)),
   zutLURC_MISUSE, "Invalid string key"},
  {"release without table", CALL(zutLookupRelease(nullptr, nullptr, 0, e, nullptr, nullptr)),
   zutLURC_MISUSE, "Release without a table or an entry handle"},
  {"release without entry", CALL(zutLookupRelease(nullptr, t, 0, nullptr, nullptr, nullptr)),
   zutLURC_MISUSE, "Release without a table or an entry handle"},
  {"release with no use held", ReleaseUnused, zutLURC_MISUSE, "Negative Use Count"},
  {"remove without table", CALL(zutLookupRemove(nullptr, nullptr, 0, 5, nullptr)),
   zutLURC_MISUSE, "Remove without a lookup table"},
  {"remove handle, other key", CALL(zutLookupRemove(nullptr, t, 0, 6, e)),
   zutLURC_MISUSE, "Identifier does not match entry"},
  {"remove handle, other identifier", CALL(zutLookupRemove(nullptr, t, zutLUF_BY_ID, 5, e)),
   zutLURC_MISUSE, "Identifier does not match entry"},
  {"remove string handle, anagram", CALL(zutLookupRemoveString(nullptr, t, 0, 2, "ba", EntryAb(t))),
   zutLURC_MISUSE, "Identifier does not match entry"},
  {"remove empty string", CALL(zutLookupRemoveString(nullptr, t, 0, 0, "", nullptr)),
   zutLURC_MISUSE, "Invalid string key"},
  {"iterate without callback", CALL(zutLookupIterate(nullptr, t, 0, nullptr, nullptr, nullptr)),
   zutLURC_MISUSE, "Iterate without a table or a callback"},
  {"iterate without table", CALL(zutLookupIterate(nullptr, nullptr, 0, NoOp, nullptr, nullptr)),
   zutLURC_MISUSE, "Iterate without a table or a callback"},
  {"iterate no lock, not held", CALL(zutLookupIterate(nullptr, t, zutLUF_NO_LOCK, NoOp, nullptr, nullptr)),
   zutLURC_MISUSE, "zutLUF_NO_LOCK flag without holding the write lock"},
  {"move without entry", CALL(zutLookupMove(nullptr, t, nullptr, e)),
   zutLURC_MISUSE, "Move without a table or an entry handle"},
  {"move without new key", CALL(zutLookupMove(nullptr, t, e, nullptr)),
   zutLURC_MISUSE, "Move without a table or an entry handle"},
  {"lock type 3", CALL(zutLookupLock(nullptr, t, 3, 0)), zutLURC_MISUSE, "Invalid lock type"},
  {"unlock type 0", CALL(zutLookupUnlock(nullptr, t, 0)), zutLURC_MISUSE, "Invalid lock type"},
  {"unlock read not held", CALL(zutLookupUnlock(nullptr, t, zutLU_READ_LOCK)),
   zutLURC_MISUSE, "Unlock of a read lock that is not held"},
  {"lock without table", CALL(zutLookupLock(nullptr, nullptr, zutLU_READ_LOCK, 0)),
   zutLURC_MISUSE, "Lock without a lookup table"},
  {"unlock without table", CALL(zutLookupUnlock(nullptr, nullptr, zutLU_READ_LOCK)),
   zutLURC_MISUSE, "Unlock without a lookup table"},
  {"free without table", CALL(zutLookupFree(nullptr, nullptr)),
   zutLURC_MISUSE, "Free without a lookup table"},
  {"debug without table", CALL(zutLookupDebug(nullptr, nullptr, "", "", nullptr, nullptr)),
   zutLURC_MISUSE, "Debug without a lookup table"},
  {"write unlock, no writer", CALL(zutLookupUnlock(nullptr, t, zutLU_WRITE_LOCK)),
   zutLURC_NOT_WRITER, nullptr},
};
// clang-format on
#undef CALL

TEST_F(LookupMisuse, EachMisuseHasItsCodeAndFailureRecord) {
  hLookEntry ab = nullptr;
  ASSERT_EQ(PutS("ab", &object, 0, &ab), zutLURC_OK);
  hLookEntry fresh = nullptr;
  ASSERT_EQ(Put(5, &object, 0, &fresh), zutLURC_OK);
  const std::string kNotWriter = "Write unlock by thread ";

  for (const MisuseCase& c : kMisuses) {
    SCOPED_TRACE(c.name);
    const uint32_t records = xcsFailureRecordCount();
    const uint32_t size = H()->Size;
    const uint32_t accessors = H()->Accessors.load();
    EXPECT_EQ(c.call(table_, fresh), c.rc);
    EXPECT_EQ(xcsFailureRecordCount(), records + 1);
    const lookup_test::FailureRecord r = LastFailureRecord();
    EXPECT_EQ(r.rc, c.rc);
    if (c.comment != nullptr) {
      EXPECT_EQ(r.comment, c.comment);
    } else {
      EXPECT_EQ(r.comment.rfind(kNotWriter, 0), 0u) << r.comment;
    }
    // The table is left as it was.
    EXPECT_EQ(H()->Size, size);
    EXPECT_EQ(H()->Accessors.load(), accessors);
    EXPECT_EQ(H()->UnlockedAccessors.load(), 0u);
    EXPECT_EQ(H()->WriteRequested.load(), 0u);
    EXPECT_EQ(EntryOf(fresh)->useCount.load(), 0);
  }
  EXPECT_EQ(GetS("ab"), &object);
  EXPECT_EQ(Get(5), &object);
}

// ---- Storage failures ----

// The parts of the table that a failed put must leave alone.
struct Snapshot {
  uint32_t size, capacity;
  int32_t current, wrapped;
  bool idBuckets;
  int64_t blocks;
};

Snapshot Take(hLook t) {
  const zxv::lookup::Table* h = Header(t);
  return {h->Size,    h->Capacity,           h->CurrentIdentifier,
          h->Wrapped, h->idFirst != nullptr, xcsOutstandingBlocks()};
}

void ExpectSame(const Snapshot& a, const Snapshot& b) {
  EXPECT_EQ(a.size, b.size);
  EXPECT_EQ(a.capacity, b.capacity);
  EXPECT_EQ(a.current, b.current);
  EXPECT_EQ(a.wrapped, b.wrapped);
  EXPECT_EQ(a.idBuckets, b.idBuckets);
  EXPECT_EQ(a.blocks, b.blocks);
}

// Fails the 1st, 2nd, ... allocation of `put` until it succeeds; returns
// how many allocation points it has.
int FailEachAllocation(hLook t, const std::function<ZXVRC()>& put, KWLONG key, KWULONG getFlags,
                       xcsRC code) {
  for (uint32_t nth = 1; nth < 20; ++nth) {
    SCOPED_TRACE(nth);
    const Snapshot before = Take(t);
    const uint32_t records = xcsFailureRecordCount();
    xcsInjectAllocFailure(nth, code, 0);
    const ZXVRC rc = put();
    xcsInjectAllocFailure(0, 0, 0);
    if (rc == zutLURC_OK) return static_cast<int>(nth) - 1;
    EXPECT_EQ(rc, code);
    ExpectSame(Take(t), before);
    void* found = nullptr;
    EXPECT_EQ(zutLookupGet(nullptr, t, getFlags, key, &found, nullptr, nullptr), zutLURC_NOT_FOUND);
    // Out of storage is passed back quietly; other allocator codes are
    // written as a failure record.
    const bool quiet = code != xcsRC_RESOURCE_PROBLEM;
    EXPECT_EQ(xcsFailureRecordCount(), records + (quiet ? 0 : 1));
    if (!quiet) {
      EXPECT_EQ(LastFailureRecord().comment, "Unexpected allocator code");
    }
  }
  ADD_FAILURE() << "put never succeeded";
  return -1;
}

TEST(LookupStorage, CreateFailsCleanlyAtEachAllocation) {
  for (xcsRC code : {xcsRC_STORAGE_NOT_AVAILABLE, xcsRC_RESOURCE_PROBLEM}) {
    int points = 0;
    for (uint32_t nth = 1; nth < 20; ++nth) {
      const int64_t blocks = xcsOutstandingBlocks();
      hLook t = reinterpret_cast<hLook>(&object);
      xcsInjectAllocFailure(nth, code, 0);
      const ZXVRC rc = zutLookupCreateEx(nullptr, 50, 0.75f, &t);
      xcsInjectAllocFailure(0, 0, 0);
      if (rc == zutLURC_OK) {
        EXPECT_EQ(zutLookupFree(nullptr, t), zutLURC_OK);
        break;
      }
      ++points;
      EXPECT_EQ(rc, code);
      EXPECT_EQ(t, nullptr);
      EXPECT_EQ(xcsOutstandingBlocks(), blocks);
    }
    EXPECT_EQ(points, 4);  // header, mutex, two bucket arrays
  }
}

TEST_F(LookupMisuse, PutFailsCleanlyAtEachAllocation) {
  // The first put: the entry only.
  EXPECT_EQ(FailEachAllocation(
                table_, [&] { return Put(1, &object); }, 1, 0, xcsRC_STORAGE_NOT_AVAILABLE),
            1);
  // The first generated identifier, which also grows the table 2 -> 7: the
  // entry, both identifier arrays, and two key and two identifier arrays for
  // the growth. A failure takes the entry out again and drops the new
  // identifier arrays.
  EXPECT_EQ(FailEachAllocation(
                table_, [&] { return Put(11, &object, zutLUF_GENERATE_ID | zutLUF_ID_ONLY); }, 101,
                zutLUF_BY_ID, xcsRC_STORAGE_NOT_AVAILABLE_2),
            7);
  EXPECT_EQ(H()->Capacity, 7u);
  for (int k = 3; k <= 5; ++k) ASSERT_EQ(Put(k, &object), zutLURC_OK);
  // Growth 7 -> 23 with identifier buckets already there.
  EXPECT_EQ(FailEachAllocation(
                table_, [&] { return Put(6, &object, zutLUF_GENERATE_ID); }, 6, 0,
                xcsRC_RESOURCE_PROBLEM),
            5);
  EXPECT_EQ(H()->Capacity, 23u);
  EXPECT_EQ(Get(102, zutLUF_BY_ID), &object);
  // A string put that fails leaves no copy of its string behind.
  const std::string key = "some.queue";
  KWLONG hash = 0;
  for (char c : key) hash += static_cast<int8_t>(c);
  EXPECT_EQ(
      FailEachAllocation(
          table_, [&] { return PutS(key, &object); }, hash, 0, xcsRC_STORAGE_NOT_AVAILABLE_TRACE),
      1);
  EXPECT_EQ(GetS(key), &object);
}

}  // namespace
