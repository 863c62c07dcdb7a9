#include "runtime/Log.h"

#include <cstdio>
#include <mutex>
#include <string>

#include "runtime/PrintableText.h"

namespace tandemview {

namespace {

std::mutex mutex;

Log::Sink& sinkInUse() {
  static Log::Sink sink;
  return sink;
}

}  // namespace

void Log::line(std::string_view text) {
  // What a phone or a service calls itself ends up in lines: it must not write to the terminal that shows them.
  std::string line = printableText(text);
  const std::lock_guard lock(mutex);
  if (sinkInUse()) return sinkInUse()(line);
  line += '\n';
  std::fwrite(line.data(), 1, line.size(), stdout);
  std::fflush(stdout);  // a reader behind a pipe sees each line as it is printed
}

void Log::setSink(Sink sink) {
  const std::lock_guard lock(mutex);
  sinkInUse() = std::move(sink);
}

}  // namespace tandemview
