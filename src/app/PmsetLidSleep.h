#pragma once

#include <memory>

#include "app/ApplicationSystem.h"
#include "app/LidSleepControl.h"

namespace tandemview {

/// Lid sleep by macOS's power management tool. The change needs an administrator's password, which the system asks for.
class PmsetLidSleep final : public LidSleepControl {
 public:
  explicit PmsetLidSleep(std::shared_ptr<ApplicationSystem> application);

  bool isPrevented() override;
  void setPrevented(bool prevented) override;

 private:
  const std::shared_ptr<ApplicationSystem> application_;
};

}  // namespace tandemview
