// Collects the trace lines written while it is alive, for the base tests.
#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "zxvxcs2/xcs_trace.h"

namespace base_test {

class TraceCapture {
 public:
  explicit TraceCapture(int level = XTR_LEVEL_FLOW) {
    xtrSetSink(&TraceCapture::Sink, this);
    xtrSetLevel(level);
  }
  ~TraceCapture() {
    xtrSetLevel(XTR_LEVEL_OFF);
    xtrSetSink(nullptr, nullptr);
  }
  TraceCapture(const TraceCapture&) = delete;
  TraceCapture& operator=(const TraceCapture&) = delete;

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
    auto* self = static_cast<TraceCapture*>(context);
    std::lock_guard<std::mutex> lock(self->mutex_);
    self->lines_.emplace_back(line);
  }
  mutable std::mutex mutex_;
  std::vector<std::string> lines_;
};

}  // namespace base_test
