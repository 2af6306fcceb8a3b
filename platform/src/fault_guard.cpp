// The fault guard: user code runs so that a hardware fault inside it
// returns to the caller instead of ending the process.
//
// Handlers for the fault signals are installed once, on an alternate stack
// so that a stack overflow in user code can still be caught. A fault on a
// thread with an active guard jumps back to the innermost guard; any other
// fault goes to the handler that was there before ours.
#include <setjmp.h>
#include <signal.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstring>
#include <mutex>

#include "zxvxcs2/xcs_guard.h"
#include "zxvxcs2/xcs_thread.h"

namespace zxv::platform {
namespace {

constexpr int kGuardedSignals[] = {SIGSEGV, SIGBUS, SIGILL, SIGFPE};
constexpr size_t kSignalCount = sizeof kGuardedSignals / sizeof kGuardedSignals[0];
constexpr size_t kMinAltStack = 64 * 1024;

struct GuardFrame {
  sigjmp_buf resume;
  GuardFrame* outer;
  volatile sig_atomic_t signal;
};

struct sigaction g_previous[kSignalCount];

// The handler must not touch the thread block's lazy construction; the
// block's address is kept here, in trivially initialised storage, while a
// guard is active on the thread.
thread_local xihTHREAD* t_guarded_thread = nullptr;

size_t IndexOf(int signal) {
  for (size_t i = 0; i < kSignalCount; ++i) {
    if (kGuardedSignals[i] == signal) return i;
  }
  return kSignalCount;
}

// Hands a fault that no guard owns to whoever handled it before us.
void Chain(int signal, siginfo_t* info, void* context) {
  const size_t i = IndexOf(signal);
  if (i == kSignalCount) return;
  const struct sigaction& previous = g_previous[i];
  if ((previous.sa_flags & SA_SIGINFO) != 0 && previous.sa_sigaction != nullptr) {
    previous.sa_sigaction(signal, info, context);
    return;
  }
  if (previous.sa_handler == SIG_IGN) return;
  if (previous.sa_handler != SIG_DFL && previous.sa_handler != nullptr) {
    previous.sa_handler(signal);
    return;
  }
  // Default action: restore it and let the signal happen again. A real
  // fault repeats when the instruction is retried; a sent signal is
  // re-raised and delivered once this handler returns.
  struct sigaction fallback;
  std::memset(&fallback, 0, sizeof fallback);
  fallback.sa_handler = SIG_DFL;
  sigemptyset(&fallback.sa_mask);
  ::sigaction(signal, &fallback, nullptr);
  if (info == nullptr || info->si_code <= 0) ::raise(signal);
}

void OnFault(int signal, siginfo_t* info, void* context) {
  xihTHREAD* thread = t_guarded_thread;
  auto* frame = thread != nullptr ? static_cast<GuardFrame*>(thread->GuardTop) : nullptr;
  if (frame == nullptr) {
    Chain(signal, info, context);
    return;
  }
  frame->signal = signal;
  siglongjmp(frame->resume, 1);
}

std::once_flag g_installed;

void InstallHandlers() {
  for (size_t i = 0; i < kSignalCount; ++i) {
    struct sigaction action;
    std::memset(&action, 0, sizeof action);
    action.sa_sigaction = OnFault;
    action.sa_flags = SA_SIGINFO | SA_ONSTACK;
    sigemptyset(&action.sa_mask);
    ::sigaction(kGuardedSignals[i], &action, &g_previous[i]);
  }
}

// An alternate signal stack for the calling thread, made on its first
// guarded call unless the thread already has one, and released when the
// thread ends.
class AltStack {
 public:
  AltStack() = default;
  AltStack(const AltStack&) = delete;
  AltStack& operator=(const AltStack&) = delete;
  ~AltStack() {
    if (memory_ == nullptr) return;
    stack_t off;
    std::memset(&off, 0, sizeof off);
    off.ss_flags = SS_DISABLE;
    ::sigaltstack(&off, nullptr);
    ::munmap(memory_, size_);
  }
  void Ensure() {
    if (checked_) return;
    checked_ = true;
    stack_t current;
    if (::sigaltstack(nullptr, &current) == 0 && (current.ss_flags & SS_DISABLE) == 0) return;
    const long minimum = ::sysconf(_SC_SIGSTKSZ);
    size_ = minimum > 0 && static_cast<size_t>(minimum) * 4 > kMinAltStack
                ? static_cast<size_t>(minimum) * 4
                : kMinAltStack;
    void* memory =
        ::mmap(nullptr, size_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) return;
    stack_t stack;
    std::memset(&stack, 0, sizeof stack);
    stack.ss_sp = memory;
    stack.ss_size = size_;
    if (::sigaltstack(&stack, nullptr) != 0) {
      ::munmap(memory, size_);
      return;
    }
    memory_ = memory;
  }

 private:
  void* memory_ = nullptr;
  size_t size_ = 0;
  bool checked_ = false;
};

thread_local AltStack t_alt_stack;

xcsRC CallGuarded(xcsGUARDED_FN fn, void* argument, int* signal_number) {
  if (signal_number != nullptr) *signal_number = 0;
  if (fn == nullptr) return xcsRC_INVALID_PARAMETER;
  std::call_once(g_installed, InstallHandlers);
  t_alt_stack.Ensure();
  xihTHREAD* thread = xihGetThread();
  t_guarded_thread = thread;

  GuardFrame frame;
  frame.outer = static_cast<GuardFrame*>(thread->GuardTop);
  frame.signal = 0;
  // The signal mask is saved and restored by the jump, so the signal that
  // ended the call is not left blocked.
  if (sigsetjmp(frame.resume, 1) == 0) {
    thread->GuardTop = &frame;
    fn(argument);
    thread->GuardTop = frame.outer;
    return xcsRC_OK;
  }
  thread->GuardTop = frame.outer;
  if (signal_number != nullptr) *signal_number = frame.signal;
  return xcsRC_FAULT_IN_GUARDED_CALL;
}

}  // namespace
}  // namespace zxv::platform

extern "C" XCS_API xcsRC xcsCallGuarded(xcsGUARDED_FN fn, void* argument, int* signalNumber) {
  return zxv::platform::CallGuarded(fn, argument, signalNumber);
}
