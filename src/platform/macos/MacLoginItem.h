#pragma once

#include "app/LoginItemSystem.h"

namespace tandemview {

/// The application as a login item of macOS.
class MacLoginItem final : public LoginItemSystem {
 public:
  Result<void> registerApplication() override;
  Result<void> unregisterApplication() override;
};

}  // namespace tandemview
