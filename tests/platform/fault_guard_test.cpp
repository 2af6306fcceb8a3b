// The fault guard: faults in guarded code come back as a code, guards nest
// and are per thread, and faults outside a guard go to the earlier handler.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <setjmp.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <thread>

#include "self_spawn.h"
#include "zxvxcs2/xcs_guard.h"

namespace {

// The faults are real: the sanitizers must not report them first.
#define ZXV_NO_SANITIZE __attribute__((noinline, no_sanitize("address", "undefined")))

ZXV_NO_SANITIZE void WriteThroughNull(void*) {
  volatile int* volatile target = nullptr;
  *target = 1;
}

ZXV_NO_SANITIZE void DivideByZero(void*) {
  volatile int zero = 0;
  volatile int result = 10 / zero;
  (void)result;
}

ZXV_NO_SANITIZE void Trap(void*) { __builtin_trap(); }

// A read of a mapped file's page beyond its end raises SIGBUS.
ZXV_NO_SANITIZE void ReadPastEndOfMappedFile(void* mapped) {
  volatile uint8_t byte = *static_cast<volatile uint8_t*>(mapped);
  (void)byte;
}

void Nothing(void*) {}

void Increment(void* counter) { ++*static_cast<int*>(counter); }

// Faults deep in an overflowing recursion; the handler runs on the
// alternate stack.
[[maybe_unused]] ZXV_NO_SANITIZE int Recurse(int depth) {
  if (depth < 0) return 0;  // never: depth only grows
  volatile char frame[1024];
  frame[0] = static_cast<char>(depth);
  return Recurse(depth + 1) + frame[0];
}
[[maybe_unused]] ZXV_NO_SANITIZE void OverflowTheStack(void*) { (void)Recurse(0); }

TEST(FaultGuardTest, CleanCallsReturnOkAndEachFaultSignalBecomesACode) {
  int counter = 0;
  int clean_signal = -1;
  EXPECT_EQ(xcsCallGuarded(Increment, &counter, &clean_signal), xcsRC_OK);
  EXPECT_EQ(counter, 1);
  EXPECT_EQ(clean_signal, 0);
  EXPECT_EQ(xcsCallGuarded(nullptr, nullptr, &clean_signal), xcsRC_INVALID_PARAMETER);
  char path[] = "/tmp/zxv_guard_XXXXXX";
  const int fd = ::mkstemp(path);
  ASSERT_GE(fd, 0);
  ::unlink(path);
  void* mapped = ::mmap(nullptr, 4096, PROT_READ, MAP_SHARED, fd, 0);  // empty file
  ASSERT_NE(mapped, MAP_FAILED);
  struct {
    const char* what;
    xcsGUARDED_FN fn;
    void* argument;
    int signal;
  } cases[] = {
      {"null write", WriteThroughNull, nullptr, SIGSEGV},
      {"division by zero", DivideByZero, nullptr, SIGFPE},
      {"trap", Trap, nullptr, SIGILL},
      {"past the end of a mapped file", ReadPastEndOfMappedFile, mapped, SIGBUS},
  };
  for (const auto& c : cases) {
    int signal_number = 0;
    EXPECT_EQ(xcsCallGuarded(c.fn, c.argument, &signal_number), xcsRC_FAULT_IN_GUARDED_CALL)
        << c.what;
    EXPECT_EQ(signal_number, c.signal) << c.what;
  }
  // The same fault again: the signal is not left blocked by the first.
  EXPECT_EQ(xcsCallGuarded(WriteThroughNull, nullptr, nullptr), xcsRC_FAULT_IN_GUARDED_CALL);
  ::munmap(mapped, 4096);
  ::close(fd);
}

void FaultInsideInnerGuard(void* result) {
  int signal_number = 0;
  *static_cast<xcsRC*>(result) = xcsCallGuarded(WriteThroughNull, nullptr, &signal_number);
}

void FaultAfterInnerGuard(void* result) {
  *static_cast<xcsRC*>(result) = xcsCallGuarded(Nothing, nullptr, nullptr);
  WriteThroughNull(nullptr);
}

TEST(FaultGuardTest, GuardsNest) {
  xcsRC inner = 0;
  EXPECT_EQ(xcsCallGuarded(FaultInsideInnerGuard, &inner, nullptr), xcsRC_OK);
  EXPECT_EQ(inner, xcsRC_FAULT_IN_GUARDED_CALL);
  // After the inner guard ended, the outer one catches.
  inner = 1;
  int signal_number = 0;
  EXPECT_EQ(xcsCallGuarded(FaultAfterInnerGuard, &inner, &signal_number),
            xcsRC_FAULT_IN_GUARDED_CALL);
  EXPECT_EQ(inner, xcsRC_OK);
  EXPECT_EQ(signal_number, SIGSEGV);
}

TEST(FaultGuardTest, GuardOnAnotherThreadIsUnaffected) {
  std::atomic<bool> inside{false};
  std::atomic<bool> release{false};
  xcsRC other_rc = 1;
  std::thread other([&] {
    struct Wait {
      std::atomic<bool>* inside;
      std::atomic<bool>* release;
    } wait{&inside, &release};
    other_rc = xcsCallGuarded(
        [](void* argument) {
          auto* w = static_cast<Wait*>(argument);
          *w->inside = true;
          while (!*w->release) std::this_thread::yield();
        },
        &wait, nullptr);
  });
  while (!inside) std::this_thread::yield();
  EXPECT_EQ(xcsCallGuarded(WriteThroughNull, nullptr, nullptr), xcsRC_FAULT_IN_GUARDED_CALL);
  release = true;
  other.join();
  EXPECT_EQ(other_rc, xcsRC_OK);
}

#if !defined(__SANITIZE_ADDRESS__)
TEST(FaultGuardTest, StackOverflowIsCaught) {
  // Run on a thread with a small stack so the overflow comes quickly.
  xcsRC rc = 0;
  int signal_number = 0;
  pthread_attr_t attr;
  pthread_attr_init(&attr);
  pthread_attr_setstacksize(&attr, 256 * 1024);
  struct Result {
    xcsRC* rc;
    int* signal_number;
  } result{&rc, &signal_number};
  pthread_t thread;
  ASSERT_EQ(pthread_create(
                &thread, &attr,
                [](void* argument) -> void* {
                  auto* r = static_cast<Result*>(argument);
                  *r->rc = xcsCallGuarded(OverflowTheStack, nullptr, r->signal_number);
                  return nullptr;
                },
                &result),
            0);
  pthread_join(thread, nullptr);
  pthread_attr_destroy(&attr);
  EXPECT_EQ(rc, xcsRC_FAULT_IN_GUARDED_CALL);
  EXPECT_EQ(signal_number, SIGSEGV);
}
#endif

// A handler that was there before the layer's gets faults outside guards.
sigjmp_buf g_test_handler_resume;
volatile sig_atomic_t g_test_handler_signal = 0;
void TestHandler(int signal) {
  g_test_handler_signal = signal;
  siglongjmp(g_test_handler_resume, 1);
}

TEST(FaultGuardChainTest, UnguardedFaultGoesToThePreviousHandler) {
  if (!zxv_test::IsSpawnedChild()) {
    EXPECT_EQ(zxv_test::RunThisTestInChild({}), 0);
    return;
  }
  struct sigaction action = {};
  action.sa_handler = TestHandler;
  sigemptyset(&action.sa_mask);
  ASSERT_EQ(::sigaction(SIGSEGV, &action, nullptr), 0);
  // The first guarded call installs the layer's handlers on top.
  EXPECT_EQ(xcsCallGuarded(WriteThroughNull, nullptr, nullptr), xcsRC_FAULT_IN_GUARDED_CALL);
  EXPECT_EQ(g_test_handler_signal, 0);
  if (sigsetjmp(g_test_handler_resume, 1) == 0) WriteThroughNull(nullptr);
  EXPECT_EQ(g_test_handler_signal, SIGSEGV);
  // And guarded faults still come back as codes.
  EXPECT_EQ(xcsCallGuarded(WriteThroughNull, nullptr, nullptr), xcsRC_FAULT_IN_GUARDED_CALL);
}

TEST(FaultGuardChainTest, UnguardedFaultWithoutEarlierHandlerEndsTheProcess) {
  if (!zxv_test::IsSpawnedChild()) {
    const int status = zxv_test::RunThisTestInChild({});
    EXPECT_NE(status, 0);
#if !defined(__SANITIZE_ADDRESS__)
    EXPECT_EQ(status, 128 + SIGSEGV);  // the default action, not an exit
#endif
    return;
  }
  struct rlimit no_core = {0, 0};
  ::setrlimit(RLIMIT_CORE, &no_core);
  EXPECT_EQ(xcsCallGuarded(Nothing, nullptr, nullptr), xcsRC_OK);
  WriteThroughNull(nullptr);
  std::_Exit(0);  // not reached
}

}  // namespace
