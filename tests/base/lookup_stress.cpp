// Lookup table under several threads at once: gets with use counts, puts,
// removes, releases and walks (whose callbacks get, release and remove) on
// one table for about a second, then the invariants.
//
// Each thread owns a quarter of the keys: only the owner puts and removes
// them, so it always knows which are in the table and a put never meets a
// live key. Every thread gets and releases any key. An object's canary is a
// plain field that readers read while holding a use and that only its
// owner overwrites, after the last use is gone: if the table let an entry
// go while in use, TSan sees the race and ASan the freed object.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "tests/base/lookup_test_util.h"

namespace {

using lookup_test::EntryOf;
using lookup_test::Header;

constexpr int kThreads = 4;
constexpr int kKeysPerThread = 48;
constexpr KWLONG kIntKeyBase = 100000;  // far above any string hash used here
constexpr uint64_t kLive = 0x11FE11FE11FE11FEull;
constexpr uint64_t kDead = 0xDEADDEADDEADDEADull;
constexpr auto kRunFor = std::chrono::milliseconds(1200);

struct Obj {
  uint64_t canary = kLive;  // plain on purpose, see above
  int slot;
  std::atomic<bool> lastUseGone{false};
  explicit Obj(int s) : slot(s) {}
};

// Threads 0 and 2 key their slots by string, 1 and 3 by integer.
bool ByString(int slot) { return (slot / kKeysPerThread) % 2 == 0; }
std::string StringKey(int slot) {
  char buf[16];
  std::snprintf(buf, sizeof buf, "q%03d", slot);
  return buf;
}

ZXVRC Get(hLook t, int slot, KWULONG flags, void** obj, KWLONG* uses, hLookEntry* e) {
  if (ByString(slot)) {
    std::string k = StringKey(slot);
    return zutLookupGetString(nullptr, t, flags, static_cast<KWLONG>(k.size()), k.data(), obj, uses,
                              e);
  }
  return zutLookupGet(nullptr, t, flags, kIntKeyBase + slot, obj, uses, e);
}

std::atomic<long> g_canaryFaults{0};

// Gets `slot` with a use, checks the object, gives the use back; the thread
// whose release is the last use of a removed entry tells the owner.
void UseOnce(hLook t, int slot) {
  void* p = nullptr;
  KWLONG uses = 0;
  hLookEntry e = nullptr;
  if (Get(t, slot, zutLUF_USE_COUNT, &p, &uses, &e) != zutLURC_OK) return;
  auto* obj = static_cast<Obj*>(p);
  if (uses < 1 || obj->canary != kLive || obj->slot != slot) ++g_canaryFaults;
  // Now and then hold the use a little longer, so that removals meet it.
  if ((reinterpret_cast<uintptr_t>(e) >> 4) % 8 == static_cast<uintptr_t>(slot) % 8) {
    std::this_thread::yield();
    if (obj->canary != kLive) ++g_canaryFaults;
  }
  KWLONG inTable = 1;
  ZXVRC rc = zutLookupRelease(nullptr, t, 0, e, &uses, &inTable);
  if (rc != zutLURC_OK) ++g_canaryFaults;
  if (uses == 0 && inTable == 0) obj->lastUseGone.store(true, std::memory_order_release);
}

struct Owner {
  hLook table;
  int first;  // first slot owned
  std::mt19937 rng;
  Obj* current[kKeysPerThread] = {};
  std::vector<Obj*> waiting;  // removed while in use
  long puts = 0, removes = 0, deferred = 0, walks = 0, gets = 0;

  int Mine(int i) const { return first + i; }

  void Dispose(Obj* o) {
    o->canary = kDead;
    delete o;
  }

  void Put(int i) {
    Obj* o = new Obj(Mine(i));
    ZXVRC rc;
    if (ByString(Mine(i))) {
      std::string k = StringKey(Mine(i));
      rc = zutLookupPutString(nullptr, table, 0, static_cast<KWLONG>(k.size()), k.data(), o,
                              nullptr);
    } else {
      rc = zutLookupPut(nullptr, table, zutLUF_GENERATE_ID, kIntKeyBase + Mine(i), o, nullptr);
    }
    EXPECT_EQ(rc, zutLURC_OK);
    current[i] = o;
    ++puts;
  }

  void Removed(int i, ZXVRC rc) {
    ++removes;
    if (rc == zutLURC_OK) {
      Dispose(current[i]);
    } else {
      EXPECT_EQ(rc, zutLURC_REMOVAL_DEFERRED);
      waiting.push_back(current[i]);
      ++deferred;
    }
    current[i] = nullptr;
  }

  void Remove(int i) {
    ZXVRC rc;
    if (ByString(Mine(i))) {
      std::string k = StringKey(Mine(i));
      rc = zutLookupRemoveString(nullptr, table, 0, static_cast<KWLONG>(k.size()), k.data(),
                                 nullptr);
    } else {
      rc = zutLookupRemove(nullptr, table, 0, kIntKeyBase + Mine(i), nullptr);
    }
    Removed(i, rc);
  }

  void DisposeReleased() {
    for (size_t j = 0; j < waiting.size();) {
      if (waiting[j]->lastUseGone.load(std::memory_order_acquire)) {
        Dispose(waiting[j]);
        waiting[j] = waiting.back();
        waiting.pop_back();
      } else {
        ++j;
      }
    }
  }

  // Walk callback: checks every object; removes some of this owner's
  // entries (the current one included) and gets another entry meanwhile.
  static void Visit(ZUT_THREAD th, hLook t, KWLONG, void* p, hLookEntry e, void* c1, void* c2,
                    KWULONG*) {
    auto* self = static_cast<Owner*>(c1);
    const bool mayRemove = c2 != nullptr;
    auto* obj = static_cast<Obj*>(p);
    if (obj->canary != kLive) ++g_canaryFaults;
    const int i = obj->slot - self->first;
    if (mayRemove && i >= 0 && i < kKeysPerThread && self->rng() % 4 == 0) {
      ZXVRC rc = zutLookupRemove(th, t, 0, EntryOf(e)->key, e);
      self->Removed(i, rc);
    }
    UseOnce(t, static_cast<int>(self->rng() % (kThreads * kKeysPerThread)));
  }

  void Run(std::chrono::steady_clock::time_point until) {
    while (std::chrono::steady_clock::now() < until) {
      for (int n = 0; n < 64; ++n) {
        const unsigned op = rng() % 100;
        const int i = static_cast<int>(rng() % kKeysPerThread);
        if (op < 60) {
          UseOnce(table, static_cast<int>(rng() % (kThreads * kKeysPerThread)));
          ++gets;
        } else if (op < 78) {
          if (current[i] == nullptr) Put(i);
        } else if (op < 96) {
          if (current[i] != nullptr) Remove(i);
        } else {
          // Half the walks hold a use per entry; those do not remove, since
          // their own use would hide the last release from the owner.
          const bool holdUses = op % 2 == 0;
          EXPECT_EQ(zutLookupIterate(nullptr, table, holdUses ? zutLUF_USE_COUNT : 0, Visit, this,
                                     holdUses ? nullptr : this),
                    zutLURC_OK);
          ++walks;
        }
      }
      DisposeReleased();
    }
  }
};

void CountAndCheck(ZUT_THREAD, hLook, KWLONG, void*, hLookEntry e, void* c1, void*, KWULONG*) {
  ++*static_cast<long*>(c1);
  EXPECT_EQ(EntryOf(e)->useCount.load(), 0);
}

TEST(LookupStress, ManyThreadsKeepTheInvariants) {
  const int64_t blocks = xcsOutstandingBlocks();
  hLook table = nullptr;
  ASSERT_EQ(zutLookupCreateEx(nullptr, 2, 0.75f, &table), zutLURC_OK);

  std::vector<Owner> owners(kThreads);
  for (int n = 0; n < kThreads; ++n) {
    owners[n].table = table;
    owners[n].first = n * kKeysPerThread;
    owners[n].rng.seed(1234 + n);
  }
  const auto until = std::chrono::steady_clock::now() + kRunFor;
  std::vector<std::thread> threads;
  for (Owner& o : owners) threads.emplace_back([&o, until] { o.Run(until); });
  for (std::thread& t : threads) t.join();

  // Quiet now: every use has been given back.
  EXPECT_EQ(g_canaryFaults.load(), 0);
  zxv::lookup::Table* h = Header(table);
  EXPECT_EQ(h->Accessors.load(), 0u);
  EXPECT_EQ(h->UnlockedAccessors.load(), 0u);
  EXPECT_EQ(h->WriteRequested.load(), 0u);
  EXPECT_EQ(h->deferredHead, nullptr);  // every deferred entry reached its last release
  long present = 0;
  long puts = 0, removes = 0, deferred = 0, walks = 0, gets = 0;
  for (Owner& o : owners) {
    o.DisposeReleased();
    EXPECT_TRUE(o.waiting.empty());
    for (Obj* c : o.current) present += c != nullptr;
    puts += o.puts;
    removes += o.removes;
    deferred += o.deferred;
    walks += o.walks;
    gets += o.gets;
  }
  EXPECT_EQ(h->Size, static_cast<uint32_t>(present));
  long walked = 0;
  ASSERT_EQ(zutLookupIterate(nullptr, table, 0, CountAndCheck, &walked, nullptr), zutLURC_OK);
  EXPECT_EQ(walked, present);
  EXPECT_GT(deferred, 0) << "no removal met a use; the run proved little";
  std::printf("puts %ld removes %ld (deferred %ld) walks %ld gets %ld capacity %u\n", puts, removes,
              deferred, walks, gets, h->Capacity);

  for (Owner& o : owners) {
    for (int i = 0; i < kKeysPerThread; ++i) {
      if (o.current[i] != nullptr) o.Remove(i);
    }
    EXPECT_TRUE(o.waiting.empty());
  }
  EXPECT_EQ(h->Size, 0u);
  EXPECT_EQ(zutLookupFree(nullptr, table), zutLURC_OK);
  EXPECT_EQ(xcsOutstandingBlocks(), blocks);
}

}  // namespace
