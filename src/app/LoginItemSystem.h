#pragma once

#include "runtime/Error.h"

namespace tandemview {

/// Starts the application whenever the user logs in. Called on the main queue.
class LoginItemSystem {
 public:
  virtual ~LoginItemSystem() = default;

  virtual Result<void> registerApplication() = 0;
  virtual Result<void> unregisterApplication() = 0;
};

}  // namespace tandemview
