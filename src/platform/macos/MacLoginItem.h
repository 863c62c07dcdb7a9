#pragma once

#include "app/LoginItemSystem.h"

namespace tandemview {

/// The application as a login item of macOS.
class MacLoginItem final : public LoginItemSystem {
 public:
  std::optional<Error> registerApplication() override;
  std::optional<Error> unregisterApplication() override;
};

}  // namespace tandemview
