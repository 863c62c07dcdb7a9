#include "platform/linux/host/ProcfsResources.h"

#include <cmath>
#include <ctime>
#include <sstream>
#include <string>

#include "runtime/FileContents.h"

namespace tandemview {

namespace {

/// Two calls that follow each other closer than this would measure nothing but noise.
constexpr double shortestInterval = 0.1;

/// Seconds that all threads together have run.
double processorTime() {
  timespec time{};
  if (::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time) != 0) return 0;
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

}  // namespace

ProcfsResources::ProcfsResources(std::shared_ptr<const MediaClock> clock)
    : clock_(std::move(clock)), lastTime_(clock_->now()), lastProcessorTime_(processorTime()) {}

int ProcfsResources::processorUsage() {
  const double time = clock_->now();
  if (time - lastTime_ < shortestInterval) return lastUsage_;
  const double used = processorTime();
  lastUsage_ = static_cast<int>(std::lround((used - lastProcessorTime_) / (time - lastTime_) * 1000));
  lastTime_ = time;
  lastProcessorTime_ = used;
  return lastUsage_;
}

std::uint64_t ProcfsResources::memoryFootprint() {
  std::uint64_t kilobytes = 0;
  std::istringstream status(contentsOfRegularFile("/proc/self/status").value_or(""));
  for (std::string line; std::getline(status, line);) {
    std::istringstream words(line);
    std::string name;
    std::uint64_t value = 0;
    if (words >> name >> value && (name == "RssAnon:" || name == "RssShmem:" || name == "VmSwap:")) kilobytes += value;
  }
  return kilobytes * 1024;
}

}  // namespace tandemview
