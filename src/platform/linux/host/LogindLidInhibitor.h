#pragma once

#include <mutex>
#include <utility>

#include "app/LidSleepControl.h"
#include "platform/linux/bus/BusConnection.h"
#include "runtime/Descriptor.h"

namespace tandemview {

/// Keeps logind from acting on the lid by an inhibitor lock, which ends with the program. From any thread; a bus or a
/// logind that does not answer holds a call up for a few seconds at most.
class LogindLidInhibitor final : public LidSleepControl {
 public:
  /// `inherited`: the lock of the copy that this one replaces. It is held until the first call has taken one of our
  /// own, so that a closed lid goes unnoticed meanwhile.
  explicit LogindLidInhibitor(Descriptor inherited = Descriptor()) : inherited_(std::move(inherited)) {}

  bool isPrevented() override;
  void setPrevented(bool prevented) override;

  /// What keeps the lid for as long as it is open, whatever becomes of this process; empty if the lid is free.
  Descriptor copyLock() const;

 private:
  Descriptor takenLock() const;
  bool isListed() const;
  void waitForRelease() const;

  mutable std::mutex mutex_;
  Descriptor lock_;  // logind gives the lid free when it is closed
  Descriptor inherited_;
};

}  // namespace tandemview
