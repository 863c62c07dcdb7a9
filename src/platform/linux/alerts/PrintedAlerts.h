#pragma once

#include "app/AlertSystem.h"

namespace tandemview {

/// Alerts as printed lines, answered with the last button: the one that changes nothing.
class PrintedAlerts final : public AlertSystem {
 public:
  void show(const Alert& alert, std::function<void(int button)> answer) override;
};

}  // namespace tandemview
