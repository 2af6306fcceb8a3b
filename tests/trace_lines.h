// Test helpers shared by the suites: the trace lines written while a
// TraceLines lives, and an environment variable set for the life of a
// ScopedEnv (with the platform's cache cleared both ways).
//
//   TraceLines trace;                 // detail level unless told otherwise
//   ScopedEnv env("KWCCSID", "819");  // nullptr unsets
//   ...
//   EXPECT_TRUE(trace.Contains("Application CCSID selected is 819."));
#pragma once

#include <cstdlib>
#include <mutex>
#include <string>
#include <vector>

#include "zxvxcs2/xcs_env.h"
#include "zxvxcs2/xcs_trace.h"

namespace zxv::test {

class TraceLines {
 public:
  explicit TraceLines(int level = XTR_LEVEL_DETAIL) {
    xtrSetSink(&TraceLines::Sink, this);
    xtrSetLevel(level);
  }
  ~TraceLines() {
    xtrSetLevel(XTR_LEVEL_OFF);
    xtrSetSink(nullptr, nullptr);
  }
  TraceLines(const TraceLines&) = delete;
  TraceLines& operator=(const TraceLines&) = delete;

  bool Contains(const std::string& text) const {
    std::lock_guard<std::mutex> lock(mutex_);
    for (const std::string& line : lines_) {
      if (line.find(text) != std::string::npos) return true;
    }
    return false;
  }
  bool Empty() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return lines_.empty();
  }
  void Clear() {
    std::lock_guard<std::mutex> lock(mutex_);
    lines_.clear();
  }

 private:
  static void Sink(void* context, const char* line) {
    auto* self = static_cast<TraceLines*>(context);
    std::lock_guard<std::mutex> lock(self->mutex_);
    self->lines_.emplace_back(line);
  }
  mutable std::mutex mutex_;
  std::vector<std::string> lines_;
};

class ScopedEnv {
 public:
  ScopedEnv(const char* name, const char* value) : name_(name) {
    const char* old = std::getenv(name);
    had_ = old != nullptr;
    if (had_) old_ = old;
    if (value != nullptr) {
      setenv(name, value, 1);
    } else {
      unsetenv(name);
    }
    xcsClearEnvCache();
  }
  ~ScopedEnv() {
    if (had_) {
      setenv(name_.c_str(), old_.c_str(), 1);
    } else {
      unsetenv(name_.c_str());
    }
    xcsClearEnvCache();
  }
  ScopedEnv(const ScopedEnv&) = delete;
  ScopedEnv& operator=(const ScopedEnv&) = delete;

 private:
  std::string name_;
  std::string old_;
  bool had_ = false;
};

}  // namespace zxv::test
