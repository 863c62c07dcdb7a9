#pragma once

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <vector>

#include "companion/Distribution.h"
#include "companion/Fault.h"
#include "companion/FrameSize.h"

namespace tandemview {

/// What one run of the companion saw, in bounded memory.
class Statistics {
 public:
  /// A frame, sound or not.
  struct Frame {
    double arrival = 0;                       // of our clock
    std::optional<double> hostArrival;        // the same of the host's clock, if that is known
    double timestamp = 0;                     // of the host's clock
    std::optional<FrameSize> size;            // if it has one
    std::optional<std::uint32_t> clockTicks;  // of the host's clock, drawn into the picture
    std::size_t bytes = 0;
  };

  void connectionDidStart() { ++connections_; }
  void frameDidArrive(const Frame& frame);
  void pongDidArrive(double roundTripSeconds);
  /// How many of its kind there are now.
  std::uint64_t faultDidOccur(const Fault& fault);

  std::uint64_t frames() const { return frames_; }
  std::uint64_t faults() const { return faults_; }
  double framesPerSecond() const;
  /// From the drawing of the last frame, or else its sending, to its arrival; in milliseconds. Absent while the clocks'
  /// offset is unknown.
  std::optional<double> lastLatency() const { return lastLatency_; }

  /// For programs.
  nlohmann::ordered_json summary() const;
  /// The same for people.
  std::vector<std::string> summaryLines() const;

 private:
  struct FaultCount {
    std::uint64_t count;
    Fault first;
  };
  struct SizeRun {
    FrameSize size;
    std::uint64_t frames;
  };

  double seconds() const { return lastFrameTime_ - firstFrameTime_; }

  std::uint64_t connections_ = 0;
  std::uint64_t frames_ = 0;
  double firstFrameTime_ = 0;
  double lastFrameTime_ = 0;
  std::optional<double> lastLatency_;
  std::optional<std::uint32_t> lastClockTicks_;
  std::vector<SizeRun> sizes_;
  std::uint64_t faults_ = 0;
  std::vector<FaultCount> faultCounts_;  // one for each kind
  Distribution frameBytes_;
  Distribution sentToReceived_;  // milliseconds, as the two below
  Distribution drawnToReceived_;
  Distribution pingRoundTrip_;
};

}  // namespace tandemview
