#pragma once

#include <mutex>

#include "app/LidSleepControl.h"
#include "platform/linux/BusConnection.h"
#include "runtime/Descriptor.h"

namespace tandemview {

/// Keeps logind from acting on the lid by an inhibitor lock, which ends with the program. From any thread; a bus or a
/// logind that does not answer holds a call up for a few seconds at most.
class LogindLidInhibitor final : public LidSleepControl {
 public:
  bool isPrevented() override;
  void setPrevented(bool prevented) override;

 private:
  void waitForRelease();

  std::mutex mutex_;
  Descriptor lock_;  // logind gives the lid free when it is closed
};

}  // namespace tandemview
