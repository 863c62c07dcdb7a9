#include "runtime/Trace.h"

#include <fmt/format.h>

#include <bit>
#include <cstdint>
#include <cstdio>

#include "runtime/MediaClock.h"

namespace tandemview {

namespace {

/// Seconds of marks, so that writing them disturbs what is measured as seldom as possible.
constexpr std::size_t bufferSize = 1 << 20;

/// Closed by the end of the process.
std::FILE* file = nullptr;

}  // namespace

bool Trace::start(const char* path) {
  file = std::fopen(path, "we");
  if (!file || std::setvbuf(file, nullptr, _IOFBF, bufferSize) != 0) return false;
  isOn_ = true;
  return true;
}

/// Little-endian, at the frame's start.
double Trace::timestampOf(const Data& frame) {
  const auto start = frame.segments().front().bytes;
  std::uint64_t bits = 0;
  for (std::size_t index = sizeof bits; index-- > 0;) bits = bits << 8 | std::to_integer<std::uint64_t>(start[index]);
  return std::bit_cast<double>(bits);
}

void Trace::write(Step step, double frame) {
  fmt::print(file, "{} {:.9f} {:.9f}\n", static_cast<int>(step), SystemMediaClock().now(), frame);
}

}  // namespace tandemview
