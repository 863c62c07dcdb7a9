#include "runtime/Log.h"

#include <cstdio>
#include <mutex>
#include <string>

namespace tandemview {

namespace {

std::mutex mutex;

Log::Sink& sinkInUse() {
  static Log::Sink sink;
  return sink;
}

}  // namespace

void Log::line(std::string_view text) {
  const std::lock_guard lock(mutex);
  if (sinkInUse()) return sinkInUse()(text);
  std::fwrite(text.data(), 1, text.size(), stdout);
  std::fputc('\n', stdout);
  std::fflush(stdout);  // a reader behind a pipe sees each line as it is printed
}

void Log::setSink(Sink sink) {
  const std::lock_guard lock(mutex);
  sinkInUse() = std::move(sink);
}

}  // namespace tandemview
