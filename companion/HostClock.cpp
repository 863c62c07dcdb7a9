#include "companion/HostClock.h"

#include <algorithm>
#include <cmath>

namespace tandemview {

namespace {

/// Few enough for clocks that drift apart, with a ping a second.
constexpr std::size_t mostAnswers = 16;

/// Seconds a second by which two clocks drift apart at most: what the kernel allows for setting them right.
constexpr double greatestDrift = 500e-6;

}  // namespace

void HostClock::didAnswer(double sent, double hostTime, double received) {
  if (answers_.size() == mostAnswers) answers_.pop_front();
  answers_.push_back({hostTime - (sent + received) / 2, (received - sent) / 2, received});
}

const HostClock::Answer& HostClock::best() const {
  return *std::ranges::min_element(answers_, {}, &Answer::uncertainty);
}

std::optional<double> HostClock::offset() const {
  if (answers_.empty()) return std::nullopt;
  return std::abs(best().offset) <= best().uncertainty ? 0 : best().offset;
}

double HostClock::uncertainty(double now) const {
  return best().uncertainty + greatestDrift * (now - best().received);
}

}  // namespace tandemview
