// Unassociated handles used by several threads at once: each thread's own
// handles (create, set, inquire, delete under a shared anchor), one handle
// shared by all (every call either works or finds the handle in use), a
// thread that holds the lock while others are refused with 2499, and
// deletes racing with the users of a handle. Run under TSan as well.
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "zxvxcs2/xcs_memory.h"
#include "zxvxcs2/xcs_mutex.h"
#include "zxvxzu/message_handle.h"

namespace {

constexpr KWHCONN kUnassoc = KWHC_UNASSOCIATED_HCONN;
constexpr int kThreads = 4;

KWCHARV NameOf(const std::string& name) {
  return KWCHARV{const_cast<char*>(name.data()), 0, 0, static_cast<KWLONG>(name.size()),
                 KWCCSI_UTF8};
}
KWCHARV NameOf(std::string&& name) = delete;  // would dangle

KWLONG SetInt(MsgHandleAnchor* anchor, KWHMSG hMsg, const std::string& name, int32_t v) {
  const KWCHARV n = NameOf(name);
  KWLONG cc;
  KWLONG rc;
  return zstSetMessageProperty(nullptr, kUnassoc, hMsg, nullptr, &n, nullptr, KWTYPE_INT32,
                               sizeof v, &v, anchor, &cc, &rc);
}

KWLONG GetInt(MsgHandleAnchor* anchor, KWHMSG hMsg, const std::string& name, int32_t* v) {
  const KWCHARV n = NameOf(name);
  KWLONG type = KWTYPE_AS_SET;
  KWLONG length = 0;
  KWLONG cc;
  KWLONG rc;
  return zstInquireMessageProperty(nullptr, kUnassoc, hMsg, nullptr, &n, nullptr, &type, sizeof *v,
                                   v, &length, anchor, &cc, &rc);
}

class MessageHandleStress : public ::testing::Test {
 protected:
  void SetUp() override { blocks_ = xcsOutstandingBlocks(); }
  void TearDown() override {
    while (anchor_.pHead != nullptr) {
      zstDeleteMessageHandleResources(nullptr, &anchor_, anchor_.pHead, 0, nullptr, nullptr);
    }
    if (anchor_.hMutex != nullptr) xcsDestroyMutex(anchor_.hMutex);
    EXPECT_EQ(xcsOutstandingBlocks(), blocks_);
  }
  KWHMSG Create() {
    KWHMSG hMsg = KWHM_NONE;
    KWLONG cc;
    KWLONG rc;
    EXPECT_EQ(zstCreateMessageHandle(nullptr, kUnassoc, nullptr, &anchor_, &hMsg, &cc, &rc),
              KWRC_NONE);
    return hMsg;
  }

  MsgHandleAnchor anchor_{};
  int64_t blocks_ = 0;
};

TEST_F(MessageHandleStress, ThreadsWithTheirOwnHandles) {
  std::vector<std::thread> threads;
  std::atomic<int> failures{0};
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      for (int round = 0; round < 40; ++round) {
        KWHMSG hMsg = KWHM_NONE;
        KWLONG cc;
        KWLONG rc;
        if (zstCreateMessageHandle(nullptr, kUnassoc, nullptr, &anchor_, &hMsg, &cc, &rc) !=
            KWRC_NONE) {
          ++failures;
          continue;
        }
        for (int i = 0; i < 20; ++i) {
          if (SetInt(&anchor_, hMsg, "t.p" + std::to_string(i), t * 1000 + i) != KWRC_NONE) {
            ++failures;
          }
        }
        for (int i = 0; i < 20; ++i) {
          int32_t v = -1;
          if (GetInt(&anchor_, hMsg, "t.p" + std::to_string(i), &v) != KWRC_NONE ||
              v != t * 1000 + i) {
            ++failures;
          }
        }
        const std::string third = "t.p3";
        const KWCHARV n = NameOf(third);
        if (zstDeleteMessageProperty(nullptr, kUnassoc, hMsg, nullptr, &n, &anchor_, &cc, &rc) !=
            KWRC_NONE) {
          ++failures;
        }
        if (zstDeleteMessageHandle(nullptr, kUnassoc, &hMsg, nullptr, &anchor_, &cc, &rc) !=
                KWRC_NONE ||
            hMsg != KWHM_UNUSABLE_HMSG) {
          ++failures;
        }
      }
    });
  }
  for (std::thread& t : threads) t.join();
  EXPECT_EQ(failures.load(), 0);
  EXPECT_EQ(anchor_.MsgHandleCount, 0u);
}

TEST_F(MessageHandleStress, SharedHandleIsUsedOrBusy) {
  const KWHMSG shared = Create();
  std::atomic<int> unexpected{0};
  std::atomic<int> busy{0};
  std::atomic<int> done{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < 300; ++i) {
        const std::string name = "s.t" + std::to_string(t);
        KWLONG reason = SetInt(&anchor_, shared, name, i);
        if (reason == KWRC_NONE) {
          int32_t v = -1;
          reason = GetInt(&anchor_, shared, name, &v);
          // Only this thread writes this name.
          if (reason == KWRC_NONE && v != i) ++unexpected;
        }
        if (reason == KWRC_NONE) {
          ++done;
        } else if (reason == KWRC_MSG_HANDLE_IN_USE) {
          ++busy;
        } else {
          ++unexpected;
        }
      }
    });
  }
  for (std::thread& t : threads) t.join();
  EXPECT_EQ(unexpected.load(), 0);
  EXPECT_GT(done.load(), 0);
  // Nobody holds the handle any more.
  MsgHandle* h = nullptr;
  KWLONG cc;
  KWLONG rc;
  EXPECT_EQ(zstAcquireMessageHandle(nullptr, shared, "check", nullptr, &anchor_, 1,
                                    ZST_LOCK_EXCLUSIVE, -1, -1, 0, &h, &cc, &rc),
            KWRC_NONE);
  EXPECT_EQ(zstReleaseMessageHandle(nullptr, h, ZST_LOCK_EXCLUSIVE, -1, -1), ZXVRC_OK);
}

// One thread holds the thread lock; every other thread is refused with 2499
// until it lets go.
TEST_F(MessageHandleStress, HolderRefusesOthers) {
  KWHMSG hMsg = Create();
  std::atomic<int> phase{0};
  MsgHandle* held = nullptr;
  std::thread holder([&] {
    KWLONG cc;
    KWLONG rc;
    EXPECT_EQ(zstAcquireMessageHandle(nullptr, hMsg, "holder", nullptr, &anchor_, 1,
                                      ZST_LOCK_THREAD, -1, -1, 0, &held, &cc, &rc),
              KWRC_NONE);
    phase = 1;
    while (phase.load() != 2) std::this_thread::yield();
    EXPECT_EQ(zstReleaseMessageHandle(nullptr, held, ZST_LOCK_THREAD, -1, -1), ZXVRC_OK);
    phase = 3;
  });
  while (phase.load() != 1) std::this_thread::yield();
  std::vector<std::thread> others;
  std::atomic<int> refused{0};
  for (int t = 0; t < kThreads; ++t) {
    others.emplace_back([&] {
      KWLONG cc;
      KWLONG rc;
      int32_t v;
      if (SetInt(&anchor_, hMsg, "x", 1) == KWRC_MSG_HANDLE_IN_USE) ++refused;
      if (GetInt(&anchor_, hMsg, "x", &v) == KWRC_MSG_HANDLE_IN_USE) ++refused;
      KWHMSG copy = hMsg;
      if (zstDeleteMessageHandle(nullptr, kUnassoc, &copy, nullptr, &anchor_, &cc, &rc) ==
          KWRC_MSG_HANDLE_IN_USE) {
        ++refused;
      }
    });
  }
  for (std::thread& t : others) t.join();
  EXPECT_EQ(refused.load(), 3 * kThreads);
  phase = 2;
  holder.join();
  KWLONG cc;
  KWLONG rc;
  EXPECT_EQ(zstDeleteMessageHandle(nullptr, kUnassoc, &hMsg, nullptr, &anchor_, &cc, &rc),
            KWRC_NONE);
}

// Deletes race with the users of the handles: every call ends in success,
// "in use" or "not a handle", and nothing is used after it is freed.
TEST_F(MessageHandleStress, DeleteRacesWithUsers) {
  for (int round = 0; round < 20; ++round) {
    std::vector<KWHMSG> handles;
    for (int i = 0; i < 4; ++i) handles.push_back(Create());
    std::atomic<int> unexpected{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
      threads.emplace_back([&, t] {
        for (int i = 0; i < 50; ++i) {
          const KWHMSG hMsg = handles[static_cast<size_t>(i + t) % handles.size()];
          KWLONG reason;
          if (t == 0 && i % 10 == 9) {
            KWHMSG copy = hMsg;
            KWLONG cc;
            KWLONG rc;
            reason = zstDeleteMessageHandle(nullptr, kUnassoc, &copy, nullptr, &anchor_, &cc, &rc);
          } else {
            reason = SetInt(&anchor_, hMsg, "r", i);
          }
          if (reason != KWRC_NONE && reason != KWRC_MSG_HANDLE_IN_USE &&
              reason != KWRC_HMSG_ERROR) {
            ++unexpected;
          }
        }
      });
    }
    for (std::thread& t : threads) t.join();
    EXPECT_EQ(unexpected.load(), 0);
  }
}

}  // namespace
