#include "companion/Statistics.h"

#include <fmt/format.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "companion/ClockPattern.h"

namespace tandemview {

namespace {

using nlohmann::ordered_json;

constexpr std::size_t mostSizesKept = 1000;

ordered_json latencySummary(const Distribution& milliseconds) {
  if (milliseconds.empty()) return nullptr;
  return {{"p50", milliseconds.percentile(0.5)},
          {"p90", milliseconds.percentile(0.9)},
          {"p99", milliseconds.percentile(0.99)},
          {"max", milliseconds.greatest()}};
}

std::string latencyLine(const char* name, const Distribution& milliseconds, const char* otherwise = "-") {
  if (milliseconds.empty()) return fmt::format("{:<18}{}", name, otherwise);
  return fmt::format("{:<18}{:.2f} ms median, {:.2f} p90, {:.2f} p99, {:.2f} max", name, milliseconds.percentile(0.5),
                     milliseconds.percentile(0.9), milliseconds.percentile(0.99), milliseconds.greatest());
}

}  // namespace

void Statistics::frameDidArrive(const Frame& frame) {
  if (frames_ == 0) firstFrameTime_ = frame.arrival;
  lastFrameTime_ = frame.arrival;
  ++frames_;
  frameBytes_.add(static_cast<double>(frame.bytes));
  lastLatency_ = std::nullopt;
  if (frame.hostArrival) {
    lastLatency_ = (*frame.hostArrival - frame.timestamp) * 1000;
    sentToReceived_.add(*lastLatency_);
    // A frame that shows the clock of the one before was drawn once and sent twice.
    if (frame.clockTicks && frame.clockTicks != lastClockTicks_) {
      lastLatency_ = ClockPattern::age(*frame.clockTicks, *frame.hostArrival) * 1000;
      drawnToReceived_.add(*lastLatency_);
    }
  }
  lastClockTicks_ = frame.clockTicks;
  if (!frame.size) return;
  if (!sizes_.empty() && sizes_.back().size == *frame.size) {
    ++sizes_.back().frames;
  } else if (sizes_.size() < mostSizesKept) {
    sizes_.push_back({*frame.size, 1});
  }
}

void Statistics::pongDidArrive(double roundTripSeconds) {
  pingRoundTrip_.add(roundTripSeconds * 1000);
}

std::uint64_t Statistics::faultDidOccur(const Fault& fault) {
  ++faults_;
  const auto isAlike = [&](const FaultCount& each) { return each.first.kind == fault.kind; };
  const auto found = std::ranges::find_if(faultCounts_, isAlike);
  if (found != faultCounts_.end()) return ++found->count;
  faultCounts_.push_back({1, fault});
  return 1;
}

double Statistics::framesPerSecond() const {
  return seconds() > 0 ? static_cast<double>(frames_ - 1) / seconds() : 0;
}

ordered_json Statistics::summary() const {
  ordered_json sizes = ordered_json::array();
  for (const SizeRun& run : sizes_) {
    sizes.push_back({{"width", run.size.width}, {"height", run.size.height}, {"frames", run.frames}});
  }
  ordered_json faults = ordered_json::array();
  for (const auto& [count, first] : faultCounts_) {
    faults.push_back({{"kind", first.kind}, {"count", count}, {"first", first.text}});
  }
  ordered_json bytes = nullptr;
  if (frames_ > 0) {
    const auto whole = [](double value) { return static_cast<std::uint64_t>(value); };
    bytes = {{"min", whole(frameBytes_.least())},
             {"median", whole(frameBytes_.percentile(0.5))},
             {"max", whole(frameBytes_.greatest())}};
  }
  return {{"frames", frames_},
          {"seconds", seconds()},
          {"framesPerSecond", framesPerSecond()},
          {"bytesPerFrame", bytes},
          {"width", sizes_.empty() ? 0 : sizes_.back().size.width},
          {"height", sizes_.empty() ? 0 : sizes_.back().size.height},
          {"sentToReceived", latencySummary(sentToReceived_)},
          {"drawnToReceived", latencySummary(drawnToReceived_)},
          {"pingRoundTrip", latencySummary(pingRoundTrip_)},
          {"connections", connections_},
          {"reconnects", connections_ == 0 ? 0 : connections_ - 1},
          {"faultCount", faults_},
          {"faults", faults},
          {"sizes", sizes}};
}

std::vector<std::string> Statistics::summaryLines() const {
  std::vector<std::string> lines;
  lines.push_back(
      fmt::format("{:<18}{} in {:.2f} s, {:.1f} a second", "frames", frames_, seconds(), framesPerSecond()));
  for (const SizeRun& run : sizes_)
    lines.push_back(fmt::format("{:<18}{}, {} frames", "size", run.size.text(), run.frames));
  if (frames_ > 0) {
    lines.push_back(fmt::format("{:<18}{:.0f} median, {:.0f} min, {:.0f} max", "bytes per frame",
                                frameBytes_.percentile(0.5), frameBytes_.least(), frameBytes_.greatest()));
  }
  const char* unknown = frames_ > 0 ? "unknown, as is the offset of the clocks: no pong came" : "-";
  lines.push_back(latencyLine("sent to received", sentToReceived_, unknown));
  lines.push_back(latencyLine("drawn to received", drawnToReceived_));
  lines.push_back(latencyLine("ping round trip", pingRoundTrip_));
  lines.push_back(fmt::format("{:<18}{}", "connections", connections_));
  lines.push_back(fmt::format("{:<18}{}", "faults", faults_));
  for (const auto& [count, first] : faultCounts_) {
    lines.push_back(fmt::format("  {:<16}{}, the first: {}", first.kind, count, first.text));
  }
  return lines;
}

}  // namespace tandemview
