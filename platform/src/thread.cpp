// Per-thread and per-process state blocks.
#include <pthread.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <cstring>

#include "zxvxcs2/xcs_thread.h"

namespace {

std::atomic<uint32_t> g_next_thread_id{1};

struct ThreadBlock {
  xihTHREAD block{};
  ThreadBlock() {
    std::memcpy(block.StrucId, "XIHT", 4);
    block.ThreadId = g_next_thread_id.fetch_add(1, std::memory_order_relaxed);
    block.OsThreadId = static_cast<uint64_t>(::syscall(SYS_gettid));
  }
};

thread_local ThreadBlock t_thread;

void RefreshProcessId() { xihProcessBlock.ProcessId = static_cast<int32_t>(::getpid()); }

// The block is filled at load and again in the child after a fork, so that
// readers never race with a writer.
[[maybe_unused]] const bool g_process_ready = [] {
  RefreshProcessId();
  ::pthread_atfork(nullptr, nullptr, RefreshProcessId);
  return true;
}();

}  // namespace

extern "C" {
XCS_API __thread xihTHREAD* xihThreadSelf __attribute__((tls_model("initial-exec"))) = nullptr;
XCS_API xihPROCESS xihProcessBlock = {{'X', 'I', 'H', 'P'}, 0};
}

extern "C" XCS_API xihTHREAD* xihGetThread(void) {
  xihTHREAD* block = &t_thread.block;
  xihThreadSelf = block;
  return block;
}

extern "C" XCS_API const xihPROCESS* xihGetProcess(void) { return &xihProcessBlock; }

extern "C" XCS_API void xcsSleepMicros(uint32_t micros) {
  struct timespec ts;
  ts.tv_sec = micros / 1000000u;
  ts.tv_nsec = static_cast<long>(micros % 1000000u) * 1000L;
  while (::nanosleep(&ts, &ts) != 0) {
  }
}
