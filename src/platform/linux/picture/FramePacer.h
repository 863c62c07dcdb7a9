#pragma once

namespace tandemview {

/// Bounds how often pictures are taken: on average one an interval, with one in reserve, so that whoever draws at the
/// full rate finds each picture due at the moment of drawing, in whichever phase, and a little early or late. Times are
/// seconds of one clock.
class FramePacer {
 public:
  explicit FramePacer(double interval) : interval_(interval) {}

  /// How long the next picture has to wait; not positive when it may be taken now.
  double wait(double now) const { return due_ - interval_ - now; }

  /// How long it is worth waiting for fresh pixels when the change that there is has grown old in wait(): about as long
  /// as the source took for its last picture. Zero if it draws at no steady rate.
  double patience() const;

  void taken(double now);

 private:
  const double interval_;
  double due_ = 0;  // without the one in reserve
  double last_ = 0;
  double gap_ = 0;  // between the last two
};

}  // namespace tandemview
