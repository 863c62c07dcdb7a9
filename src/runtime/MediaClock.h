#pragma once

namespace tandemview {

/// The host's monotonic clock. Handed to whatever decides by it or puts it on the wire.
class MediaClock {
 public:
  virtual ~MediaClock() = default;

  /// Seconds since an unspecified start (the boot, on the hosts that we run on).
  virtual double now() const = 0;
};

/// The real clock. Every process of one machine reads the same value, so that the companion can compare timestamps.
class SystemMediaClock final : public MediaClock {
 public:
  double now() const override;
};

}  // namespace tandemview
