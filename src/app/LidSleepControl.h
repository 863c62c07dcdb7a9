#pragma once

namespace tandemview {

/// Whether the machine stays awake while its lid is closed. Called on background queues; may wait for the user.
/// Whatever goes wrong is the implementation's line to print.
class LidSleepControl {
 public:
  virtual ~LidSleepControl() = default;

  /// What the system says now.
  virtual bool isPrevented() = 0;

  /// Asks the system for the change; isPrevented() tells whether it was made.
  virtual void setPrevented(bool prevented) = 0;
};

}  // namespace tandemview
