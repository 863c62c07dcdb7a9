#pragma once

namespace tandemview {

/// Spaces pictures by a least interval without losing time: a picture that is a little late doesn't delay those after
/// it, so that a steady source at the full rate keeps the full rate. Times are seconds of one clock.
class FramePacer {
 public:
  explicit FramePacer(double interval) : interval_(interval) {}

  /// How long the next picture has to wait; not positive when it may be taken now.
  double wait(double now) const { return due_ - now; }

  void taken(double now);

 private:
  const double interval_;
  double due_ = 0;
};

}  // namespace tandemview
