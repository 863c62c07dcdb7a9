#pragma once

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <vector>

#include "companion/Distribution.h"
#include "companion/FrameChecker.h"

namespace tandemview {

/// What one run of the companion saw, in bounded memory.
class Statistics {
 public:
  void connectionDidStart() { ++connections_; }
  /// A frame of `bytes` bytes that arrived at `now` and passed its checks.
  void frameDidArrive(const CheckedFrame& frame, std::size_t bytes, double now);
  void pongDidArrive(double roundTripSeconds);
  void faultDidOccur(std::string fault);

  std::uint64_t frames() const { return frames_; }
  std::uint64_t faults() const { return faults_; }
  double framesPerSecond() const;
  /// From the drawing of the last frame, or else its sending, to its arrival; in milliseconds.
  double lastLatency() const { return lastLatency_; }

  /// For programs.
  nlohmann::ordered_json summary() const;
  /// The same for people.
  std::vector<std::string> summaryLines() const;

 private:
  struct SizeRun {
    FrameSize size;
    std::uint64_t frames;
  };

  double seconds() const { return lastFrameTime_ - firstFrameTime_; }

  std::uint64_t connections_ = 0;
  std::uint64_t frames_ = 0;
  double firstFrameTime_ = 0;
  double lastFrameTime_ = 0;
  double lastLatency_ = 0;
  std::optional<std::uint32_t> lastClockTicks_;
  std::vector<SizeRun> sizes_;
  std::uint64_t faults_ = 0;
  std::vector<std::string> firstFaults_;
  Distribution frameBytes_;
  Distribution sentToReceived_;  // milliseconds, as the two below
  Distribution drawnToReceived_;
  Distribution pingRoundTrip_;
};

}  // namespace tandemview
