// Lookup table behaviour on one thread: capacities and growth, the string
// hash, replace, generated identifiers, deferred removal, walks, move and
// the debug dump.
#include <climits>
#include <string>
#include <vector>

#include "tests/base/lookup_test_util.h"

namespace {

using lookup_test::EntryOf;
using lookup_test::Header;
using lookup_test::LookupFixture;
using lookup_test::TraceLines;

int objects[64];  // distinct object addresses; the table never touches them

struct CapacityCase {
  KWULONG requested;
  uint32_t capacity;
};

TEST(LookupCapacity, RequestGetsFirstPrimeAtOrAbove) {
  const CapacityCase cases[] = {{0, 2},
                                {1, 2},
                                {2, 2},
                                {4, 5},
                                {100, 101},
                                {101, 101},
                                {102, 113},
                                {181693, 181693},
                                {181694, 199873},
                                {1000000, 199873},
                                {0xFFFFFFFFu, 199873}};
  for (const CapacityCase& c : cases) {
    hLook t = nullptr;
    ASSERT_EQ(zutLookupCreateEx(nullptr, c.requested, 0.75f, &t), zutLURC_OK);
    EXPECT_EQ(Header(t)->Capacity, c.capacity) << "requested " << c.requested;
    EXPECT_EQ(Header(t)->CurrentIdentifier, 100);
    EXPECT_EQ(zutLookupFree(nullptr, t), zutLURC_OK);
  }
}

TEST_F(LookupFixture, GrowsTwoToSevenToTwentyThree) {
  TraceLines trace;
  ASSERT_EQ(Put(1, &objects[1]), zutLURC_OK);
  EXPECT_EQ(H()->Capacity, 2u);
  ASSERT_EQ(Put(2, &objects[2]), zutLURC_OK);  // 2/2 > 0.75
  EXPECT_EQ(H()->Capacity, 7u);
  for (int k = 3; k <= 5; ++k) ASSERT_EQ(Put(k, &objects[k]), zutLURC_OK);
  EXPECT_EQ(H()->Capacity, 7u);                // 5/7 is still below
  ASSERT_EQ(Put(6, &objects[6]), zutLURC_OK);  // 6/7 > 0.75
  EXPECT_EQ(H()->Capacity, 23u);
  EXPECT_EQ(H()->Size, 6u);
  for (int k = 1; k <= 6; ++k) EXPECT_EQ(Get(k), &objects[k]) << k;
  EXPECT_TRUE(trace.Contains("Starting capacity: 7"));
  EXPECT_TRUE(trace.Contains("End capacity: 23"));
}

TEST(LookupCapacity, MaximumPrimeStopsGrowthButNotPuts) {
  hLook t = nullptr;
  // Load factor 0 asks for growth on every put; at the maximum it is
  // declined and the table fills beyond its load factor.
  ASSERT_EQ(zutLookupCreateEx(nullptr, 199873, 0.0f, &t), zutLURC_OK);
  {
    TraceLines trace;
    ASSERT_EQ(zutLookupPut(nullptr, t, 0, 7, &objects[0], nullptr), zutLURC_OK);
    EXPECT_TRUE(trace.Contains("Reached the maximum prime; rehashing not available"));
  }
  EXPECT_EQ(Header(t)->Capacity, 199873u);
  EXPECT_EQ(zutLookupFree(nullptr, t), zutLURC_OK);
}

TEST_F(LookupFixture, AnagramsShareABucketAndStayApart) {
  ASSERT_EQ(PutS("ab", &objects[1]), zutLURC_OK);
  ASSERT_EQ(PutS("ba", &objects[2]), zutLURC_OK);  // same hash: not a replace
  EXPECT_EQ(H()->Size, 2u);
  EXPECT_EQ(GetS("ab"), &objects[1]);
  EXPECT_EQ(GetS("ba"), &objects[2]);
  EXPECT_EQ(GetS("a"), nullptr);
  // The integer form finds whichever entry carries the key 'a' + 'b'.
  EXPECT_NE(Get('a' + 'b'), nullptr);
  EXPECT_EQ(zutLookupRemoveString(nullptr, table_, 0, 2, "ab", nullptr), zutLURC_OK);
  EXPECT_EQ(GetS("ab"), nullptr);
  EXPECT_EQ(GetS("ba"), &objects[2]);
}

TEST_F(LookupFixture, HighBytesGiveNegativeHashInBucketOfItsMagnitude) {
  const std::string key = "\xC3\xA9\xFF";  // -61 + -87 + -1
  hLookEntry e = nullptr;
  ASSERT_EQ(PutS(key, &objects[3], 0, &e), zutLURC_OK);
  EXPECT_EQ(EntryOf(e)->key, -149);
  EXPECT_EQ(H()->keyFirst[149 % H()->Capacity], EntryOf(e));
  EXPECT_EQ(GetS(key), &objects[3]);
  // Negative identifier keys follow the same rule, INT32_MIN included.
  ASSERT_EQ(Put(INT32_MIN, &objects[4]), zutLURC_OK);
  ASSERT_EQ(Put(-5, &objects[5]), zutLURC_OK);
  EXPECT_EQ(Get(INT32_MIN), &objects[4]);
  EXPECT_EQ(Get(-5), &objects[5]);
  EXPECT_EQ(Get(5), nullptr);
}

TEST_F(LookupFixture, PutOnLiveKeyReplacesObject) {
  hLookEntry first = nullptr;
  hLookEntry second = nullptr;
  ASSERT_EQ(Put(42, &objects[1], 0, &first), zutLURC_OK);
  KWLONG uses = 0;
  EXPECT_EQ(Put(42, &objects[2], zutLUF_USE_COUNT, &second), zutLURC_REPLACED);
  EXPECT_EQ(second, first);
  EXPECT_EQ(H()->Size, 1u);
  EXPECT_EQ(Get(42), &objects[2]);
  EXPECT_EQ(EntryOf(first)->useCount.load(), 1);  // the replace took a use
  EXPECT_EQ(zutLookupRelease(nullptr, table_, 0, first, &uses, nullptr), zutLURC_OK);
  EXPECT_EQ(uses, 0);
}

TEST_F(LookupFixture, GetReportsUseCountAndCache) {
  hLookEntry put = nullptr;
  ASSERT_EQ(Put(9, &objects[9], zutLUF_USE_COUNT, &put), zutLURC_OK);
  void* object = nullptr;
  KWLONG uses = 0;
  hLookEntry got = nullptr;
  ASSERT_EQ(zutLookupGet(nullptr, table_, zutLUF_USE_COUNT, 9, &object, &uses, &got), zutLURC_OK);
  EXPECT_EQ(object, &objects[9]);
  EXPECT_EQ(uses, 2);
  EXPECT_EQ(got, put);
  EXPECT_EQ(H()->cache.load(), EntryOf(got));
  ASSERT_EQ(zutLookupGet(nullptr, table_, 0, 9, &object, &uses, &got), zutLURC_OK);
  EXPECT_EQ(uses, -1);  // no use asked for

  // Not found clears all three outputs; so does a null table.
  ASSERT_EQ(zutLookupGet(nullptr, table_, 0, 10, &object, &uses, &got), zutLURC_NOT_FOUND);
  EXPECT_EQ(object, nullptr);
  EXPECT_EQ(uses, 0);
  EXPECT_EQ(got, nullptr);
  object = &objects[0];
  EXPECT_EQ(zutLookupGet(nullptr, nullptr, 0, 9, &object, &uses, &got), zutLURC_NOT_FOUND);
  EXPECT_EQ(object, nullptr);

  // By entry: no search, the handle given is the answer.
  got = put;
  ASSERT_EQ(
      zutLookupGet(nullptr, table_, zutLUF_BY_ENTRY | zutLUF_USE_COUNT, 0, &object, &uses, &got),
      zutLURC_OK);
  EXPECT_EQ(uses, 3);
  for (int i = 0; i < 3; ++i) {
    ASSERT_EQ(zutLookupRelease(nullptr, table_, 0, put, &uses, nullptr), zutLURC_OK);
  }
  EXPECT_EQ(uses, 0);
}

TEST_F(LookupFixture, GeneratedIdentifiersStartAt101) {
  // Before the first identifier there are no identifier buckets to search.
  ASSERT_EQ(Put(0, &objects[0]), zutLURC_OK);
  EXPECT_EQ(Get(0), &objects[0]);  // now the cache, with identifier 0
  EXPECT_EQ(Get(0, zutLUF_BY_ID), nullptr);
  EXPECT_EQ(zutLookupRemove(nullptr, table_, zutLUF_BY_ID, 0, nullptr), zutLURC_NOT_FOUND);
  hLookEntry a = nullptr;
  hLookEntry b = nullptr;
  ASSERT_EQ(Put(1, &objects[1], zutLUF_GENERATE_ID, &a), zutLURC_OK);
  ASSERT_EQ(Put(2, &objects[2], zutLUF_GENERATE_ID, &b), zutLURC_OK);
  EXPECT_EQ(EntryOf(a)->identifier, 101);
  EXPECT_EQ(EntryOf(b)->identifier, 102);
  EXPECT_EQ(Get(102, zutLUF_BY_ID), &objects[2]);
  EXPECT_EQ(Get(2, zutLUF_BY_ID), nullptr);  // a key is not an identifier
  EXPECT_EQ(zutLookupRemove(nullptr, table_, zutLUF_BY_ID, 101, nullptr), zutLURC_OK);
  EXPECT_EQ(Get(1), nullptr);
}

TEST_F(LookupFixture, IdentifiersWrapAndThenSkipThoseInUse) {
  hLookEntry e = nullptr;
  H()->CurrentIdentifier = INT32_MAX - 1;
  ASSERT_EQ(Put(1, &objects[1], zutLUF_GENERATE_ID, &e), zutLURC_OK);
  EXPECT_EQ(EntryOf(e)->identifier, INT32_MAX);
  EXPECT_EQ(H()->Wrapped, 0);
  // Plant 100 and 101 (before a wrap nothing is checked) ...
  H()->CurrentIdentifier = 99;
  ASSERT_EQ(Put(2, &objects[2], zutLUF_GENERATE_ID, &e), zutLURC_OK);
  ASSERT_EQ(EntryOf(e)->identifier, 100);
  ASSERT_EQ(Put(3, &objects[3], zutLUF_GENERATE_ID, &e), zutLURC_OK);
  // ... then wrap: 100 and 101 are taken, 102 is the first free one.
  H()->CurrentIdentifier = INT32_MAX;
  ASSERT_EQ(Put(4, &objects[4], zutLUF_GENERATE_ID, &e), zutLURC_OK);
  EXPECT_EQ(H()->Wrapped, 1);
  EXPECT_EQ(EntryOf(e)->identifier, 102);
}

TEST_F(LookupFixture, IdentifierOnlyEntriesAreInvisibleByKey) {
  hLookEntry e = nullptr;
  ASSERT_EQ(Put(5, &objects[5], zutLUF_GENERATE_ID | zutLUF_ID_ONLY, &e), zutLURC_OK);
  EXPECT_EQ(H()->Size, 1u);
  EXPECT_EQ(Get(5), nullptr);
  EXPECT_EQ(Get(101, zutLUF_BY_ID), &objects[5]);
  // A second identifier-only put with the same key is a new entry.
  ASSERT_EQ(Put(5, &objects[6], zutLUF_GENERATE_ID | zutLUF_ID_ONLY, nullptr), zutLURC_OK);
  EXPECT_EQ(H()->Size, 2u);
  // Keyed entries with identifiers share the identifier chains. All are
  // left for zutLookupFree, which must free each kind once and never walk a
  // chain through an entry it has already freed (the fixture checks leaks;
  // the sanitizer builds check the walk).
  for (int k = 7; k < 12; ++k) ASSERT_EQ(Put(k, &objects[k], zutLUF_GENERATE_ID), zutLURC_OK);
}

TEST_F(LookupFixture, RemoveInUseIsDeferredUntilLastRelease) {
  TraceLines trace;
  hLookEntry e = nullptr;
  ASSERT_EQ(Put(7, &objects[7], zutLUF_USE_COUNT, &e), zutLURC_OK);
  KWLONG uses = 0;
  ASSERT_EQ(zutLookupGet(nullptr, table_, zutLUF_USE_COUNT, 7, nullptr, &uses, &e), zutLURC_OK);
  ASSERT_EQ(uses, 2);

  EXPECT_EQ(zutLookupRemove(nullptr, table_, 0, 7, nullptr), zutLURC_REMOVAL_DEFERRED);
  EXPECT_TRUE(trace.Contains("Removal deferred. UseCount=2"));
  EXPECT_EQ(H()->Size, 1u);                                                 // still counted
  EXPECT_EQ(Get(7), nullptr);                                               // but gone for gets
  EXPECT_EQ(zutLookupRemove(nullptr, table_, 0, 7, e), zutLURC_NOT_FOUND);  // removed already

  KWLONG inTable = -1;
  ASSERT_EQ(zutLookupRelease(nullptr, table_, 0, e, &uses, &inTable), zutLURC_OK);
  EXPECT_EQ(uses, 1);
  EXPECT_EQ(inTable, 0);
  ASSERT_EQ(zutLookupRelease(nullptr, table_, 0, e, &uses, &inTable), zutLURC_OK);
  EXPECT_EQ(uses, 0);
  EXPECT_EQ(inTable, 0);
  EXPECT_EQ(H()->Size, 0u);  // the entry is freed now; the fixture checks for leaks

  // A live entry's last release leaves it in the table.
  ASSERT_EQ(PutS("queue", &objects[1], zutLUF_USE_COUNT, &e), zutLURC_OK);
  ASSERT_EQ(zutLookupRelease(nullptr, table_, 0, e, &uses, &inTable), zutLURC_OK);
  EXPECT_EQ(uses, 0);
  EXPECT_EQ(inTable, 1);
  EXPECT_EQ(GetS("queue"), &objects[1]);

  // A deferred entry never released is freed with the table (the fixture
  // checks that no block is left).
  ASSERT_EQ(Put(3, &objects[3], zutLUF_USE_COUNT, &e), zutLURC_OK);
  ASSERT_EQ(zutLookupRemove(nullptr, table_, 0, 3, e), zutLURC_REMOVAL_DEFERRED);
}

// ---- Walks ----

struct Visit {
  std::vector<KWLONG> keys;
  KWLONG removeAt = -1;  // on this key's callback remove `victim`
  KWLONG victim = -1;    // (the key itself: the entry being visited)
  KWLONG stopAt = -1;    // on this key's callback set the stop bit
  bool tryPut = false;
  ZXVRC putRc = 0;
  ZXVRC getRc = 0;
};

void Visitor(ZUT_THREAD t, hLook table, KWLONG key, void*, hLookEntry entry, void* c1, void*,
             KWULONG* stop) {
  auto* v = static_cast<Visit*>(c1);
  v->keys.push_back(key);
  v->getRc = zutLookupGet(t, table, 0, key, nullptr, nullptr, nullptr);  // skips the lock
  if (key == v->removeAt) {
    zutLookupRemove(t, table, 0, v->victim, v->victim == key ? entry : nullptr);
  }
  if (v->tryPut) v->putRc = zutLookupPut(t, table, 0, 1000, nullptr, nullptr);
  if (key == v->stopAt) *stop |= zutLU_STOP_ITERATION;
}

struct WalkCase {
  const char* name;
  KWULONG flags;
  KWLONG removeAt, victim, stopAt;
  std::vector<KWLONG> visited;
  uint32_t sizeAfter;
};

TEST(LookupWalk, VisitsInInsertionOrderAndSurvivesRemovals) {
  const WalkCase cases[] = {
      {"plain", 0, -1, -1, -1, {4, 2, 3, 1}, 4},
      {"stop bit", 0, -1, -1, 2, {4, 2}, 4},
      {"callback removes its own entry", 0, 2, 2, -1, {4, 2, 3, 1}, 3},
      {"... while the walk holds a use", zutLUF_USE_COUNT, 2, 2, -1, {4, 2, 3, 1}, 3},
      {"callback removes the next entry", 0, 4, 2, -1, {4, 3, 1}, 3},
      {"callback removes a visited entry", zutLUF_USE_COUNT, 3, 4, -1, {4, 2, 3, 1}, 3},
  };
  for (const WalkCase& c : cases) {
    SCOPED_TRACE(c.name);
    const int64_t blocks = xcsOutstandingBlocks();
    hLook t = nullptr;
    ASSERT_EQ(zutLookupCreateEx(nullptr, 2, 0.75f, &t), zutLURC_OK);
    for (int k : {4, 2, 3, 1}) ASSERT_EQ(zutLookupPut(nullptr, t, 0, k, &objects[k], nullptr), 0u);
    Visit v;
    v.removeAt = c.removeAt;
    v.victim = c.victim;
    v.stopAt = c.stopAt;
    ASSERT_EQ(zutLookupIterate(nullptr, t, c.flags, Visitor, &v, nullptr), zutLURC_OK);
    EXPECT_EQ(v.keys, c.visited);
    EXPECT_EQ(v.getRc, zutLURC_OK);
    EXPECT_EQ(Header(t)->Size, c.sizeAfter);
    EXPECT_EQ(Header(t)->iteratingThread.load(), nullptr);
    EXPECT_EQ(Header(t)->WriteRequested.load(), 0u);
    EXPECT_EQ(zutLookupFree(nullptr, t), zutLURC_OK);
    EXPECT_EQ(xcsOutstandingBlocks(), blocks);
  }
}

TEST_F(LookupFixture, PutFromCallbackIsRefused) {
  ASSERT_EQ(Put(1, &objects[1]), zutLURC_OK);
  Visit v;
  v.tryPut = true;
  ASSERT_EQ(zutLookupIterate(nullptr, table_, 0, Visitor, &v, nullptr), zutLURC_OK);
  EXPECT_EQ(v.putRc, zutLURC_MISUSE);
  EXPECT_EQ(lookup_test::LastFailureRecord().comment,
            "Attempt to add/replace an entry from an iterator callback");
  EXPECT_EQ(H()->Size, 1u);
}

TEST_F(LookupFixture, WalkUnderCallersWriteLock) {
  for (int k : {1, 2}) ASSERT_EQ(Put(k, &objects[k]), zutLURC_OK);
  ASSERT_EQ(zutLookupLock(nullptr, table_, zutLU_WRITE_LOCK, 0), zutLURC_OK);
  Visit v;
  v.removeAt = v.victim = 1;
  ASSERT_EQ(zutLookupIterate(nullptr, table_, zutLUF_NO_LOCK, Visitor, &v, nullptr), zutLURC_OK);
  EXPECT_EQ(v.keys, (std::vector<KWLONG>{1, 2}));
  EXPECT_EQ(H()->writeLockCount, 1u);
  ASSERT_EQ(zutLookupUnlock(nullptr, table_, zutLU_WRITE_LOCK), zutLURC_OK);
}

// A walk started from a callback nests: both cursors survive a removal.
void NestedVisitor(ZUT_THREAD t, hLook table, KWLONG key, void*, hLookEntry, void* c1, void*,
                   KWULONG*) {
  auto* outer = static_cast<Visit*>(c1);
  outer->keys.push_back(key);
  if (key == 1 && outer->keys.size() == 1) {
    Visit inner;
    inner.removeAt = 3;
    inner.victim = 2;  // the outer walk's cursor
    zutLookupIterate(t, table, 0, Visitor, &inner, nullptr);
    outer->keys.insert(outer->keys.end(), inner.keys.begin(), inner.keys.end());
  }
}

TEST_F(LookupFixture, NestedWalkKeepsOuterCursorValid) {
  for (int k : {1, 2, 3, 4}) ASSERT_EQ(Put(k, &objects[k]), zutLURC_OK);
  Visit v;
  ASSERT_EQ(zutLookupIterate(nullptr, table_, 0, NestedVisitor, &v, nullptr), zutLURC_OK);
  // Outer 1; inner 1 2 3 (removing 2) 4; the outer walk goes on at 3.
  EXPECT_EQ(v.keys, (std::vector<KWLONG>{1, 1, 2, 3, 4, 3, 4}));
  EXPECT_EQ(H()->Size, 3u);
  EXPECT_EQ(H()->iteratingThread.load(), nullptr);
}

// ---- Move ----

TEST_F(LookupFixture, MoveGivesEntryTheOtherKey) {
  hLookEntry a = nullptr;
  hLookEntry b = nullptr;
  ASSERT_EQ(Put(10, &objects[1], 0, &a), zutLURC_OK);
  ASSERT_EQ(Put(20, &objects[2], zutLUF_GENERATE_ID, &b), zutLURC_OK);
  ASSERT_EQ(zutLookupRemove(nullptr, table_, 0, 20, b), zutLURC_OK);
  ASSERT_EQ(Put(20, &objects[2], 0, &b), zutLURC_OK);
  // Capacity is 7 now: 10 and 3 share bucket 3, 20 is in bucket 6.
  hLookEntry c = nullptr;
  ASSERT_EQ(Put(3, &objects[3], 0, &c), zutLURC_OK);

  ASSERT_EQ(zutLookupMove(nullptr, table_, a, b), zutLURC_OK);
  EXPECT_EQ(EntryOf(a)->key, 20);
  EXPECT_EQ(H()->keyLast[20 % H()->Capacity], EntryOf(a));  // tail of the new bucket
  EXPECT_EQ(Get(3), &objects[3]);
  EXPECT_EQ(zutLookupMove(nullptr, table_, a, a), zutLURC_OK);  // equal keys: nothing
}

TEST_F(LookupFixture, MoveOfEntryNotInItsBucketIsNotFound) {
  hLookEntry live = nullptr;
  hLookEntry idOnly = nullptr;
  hLookEntry deferred = nullptr;
  ASSERT_EQ(Put(1, &objects[1], 0, &live), zutLURC_OK);
  ASSERT_EQ(Put(2, &objects[2], zutLUF_GENERATE_ID | zutLUF_ID_ONLY, &idOnly), zutLURC_OK);
  ASSERT_EQ(Put(3, &objects[3], zutLUF_USE_COUNT, &deferred), zutLURC_OK);
  ASSERT_EQ(zutLookupRemove(nullptr, table_, 0, 3, deferred), zutLURC_REMOVAL_DEFERRED);

  EXPECT_EQ(zutLookupMove(nullptr, table_, idOnly, live), zutLURC_NOT_FOUND);
  EXPECT_EQ(EntryOf(idOnly)->key, 2);  // left as it was
  EXPECT_EQ(zutLookupMove(nullptr, table_, deferred, live), zutLURC_NOT_FOUND);
  EXPECT_EQ(EntryOf(deferred)->key, 3);
  ASSERT_EQ(zutLookupRelease(nullptr, table_, 0, deferred, nullptr, nullptr), zutLURC_OK);
}

// ---- Debug dump ----

TEST_F(LookupFixture, DebugDumpLinesCarryPrefixAndTrailer) {
  ASSERT_EQ(Put(1, &objects[1]), zutLURC_OK);
  std::vector<std::string> lines;
  auto collect = [](void* context, const char* line) {
    static_cast<std::vector<std::string>*>(context)->emplace_back(line);
  };
  ASSERT_EQ(zutLookupDebug(nullptr, table_, ">>", "<<", collect, &lines), zutLURC_OK);
  ASSERT_EQ(lines.size(), 16u);
  EXPECT_EQ(lines.front(), ">>{\n");
  EXPECT_EQ(lines[2], ">>  Capacity:            2\n");
  EXPECT_EQ(lines[3], ">>  Size    :            1\n");
  EXPECT_EQ(lines[11], ">>  LoopCount            0\n");
  EXPECT_EQ(lines.back(), ">>}<<\n");
  TraceLines trace;  // no output given: the lines go to the trace
  ASSERT_EQ(zutLookupDebug(nullptr, table_, "T:", nullptr, nullptr, nullptr), zutLURC_OK);
  EXPECT_TRUE(trace.Contains("T:  Capacity:            2"));
}

}  // namespace
