#pragma once

#include "app/AlertSystem.h"

namespace tandemview {

/// Modal alerts of AppKit, one after the other. The main queue's works go on behind them.
class MacAlerts final : public AlertSystem {
 public:
  void show(const Alert& alert, std::function<void(int button)> answer) override;
};

}  // namespace tandemview
