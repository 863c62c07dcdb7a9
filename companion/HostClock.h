#pragma once

#include <deque>
#include <optional>

namespace tandemview {

/// The host's clock, as far as its pongs tell: two computers have counted their seconds since different moments. Of the
/// last pongs, the one that came back soonest counts: the host looked at its clock somewhere on the way.
class HostClock {
 public:
  /// The answer, with the host's clock in it, to a ping that left at `sent` came at `received`.
  void didAnswer(double sent, double hostTime, double received);
  /// Another host may be there.
  void reset() { answers_.clear(); }

  /// What the host's clock is ahead of ours; absent until a pong has come. A difference that the pongs cannot tell from
  /// none is none: then both ends are on one computer.
  std::optional<double> offset() const;
  /// offset() is off by less than this at `now`.
  double uncertainty(double now) const;

 private:
  struct Answer {
    double offset;
    double uncertainty;
    double received;
  };

  const Answer& best() const;

  std::deque<Answer> answers_;
};

}  // namespace tandemview
