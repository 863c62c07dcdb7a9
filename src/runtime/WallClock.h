#pragma once

namespace tandemview {

/// The time of day, which people and time servers may set to any value. Intervals that must not jump are measured with
/// the MediaClock instead.
class WallClock {
 public:
  virtual ~WallClock() = default;

  /// Seconds since 1970, in UTC. From any thread.
  virtual double now() const = 0;
};

/// The host's clock.
class SystemWallClock final : public WallClock {
 public:
  double now() const override;
};

}  // namespace tandemview
