#include "runtime/Log.h"

#include <unistd.h>

#include <cstdlib>
#include <mutex>
#include <string>

#include "runtime/LineWriter.h"
#include "runtime/PrintableText.h"

namespace tandemview {

namespace {

/// How long the end of the program waits for a reader of its last lines.
constexpr double farewellSeconds = 1;

std::mutex mutex;

Log::Sink& sinkInUse() {
  static Log::Sink sink;
  return sink;
}

/// Lives as long as the process: whatever runs at its end may still print.
LineWriter& standardOutput() {
  static LineWriter& writer = *[] {
    std::atexit([] { standardOutput().finish(farewellSeconds); });
    return new LineWriter(STDOUT_FILENO);
  }();
  return writer;
}

}  // namespace

void Log::line(std::string_view text) {
  // What a phone or a service calls itself ends up in lines: it must not write to the terminal that shows them.
  std::string line = printableText(text);
  const std::lock_guard lock(mutex);
  if (sinkInUse()) return sinkInUse()(line);
  standardOutput().add(std::move(line));
}

void Log::setSink(Sink sink) {
  const std::lock_guard lock(mutex);
  sinkInUse() = std::move(sink);
}

}  // namespace tandemview
