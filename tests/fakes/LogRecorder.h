#pragma once

#include <algorithm>
#include <mutex>
#include <string>
#include <vector>

#include "runtime/Log.h"

namespace tandemview {

using Lines = std::vector<std::string>;

/// Keeps the lines printed during its lifetime.
class LogRecorder {
 public:
  LogRecorder() {
    Log::setSink([this](std::string_view line) {
      const std::lock_guard lock(mutex_);
      lines_.emplace_back(line);
    });
  }
  ~LogRecorder() { Log::setSink(nullptr); }
  LogRecorder(const LogRecorder&) = delete;
  LogRecorder& operator=(const LogRecorder&) = delete;

  /// The lines since the last call.
  Lines take() {
    const std::lock_guard lock(mutex_);
    return std::exchange(lines_, {});
  }

  long count(const std::string& line) {
    const std::lock_guard lock(mutex_);
    return std::count(lines_.begin(), lines_.end(), line);
  }

 private:
  std::mutex mutex_;
  Lines lines_;
};

}  // namespace tandemview
