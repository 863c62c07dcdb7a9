#pragma once

#include <optional>

#include "runtime/Error.h"

namespace tandemview {

/// Starts the application whenever the user logs in. Called on the main queue.
class LoginItemSystem {
 public:
  virtual ~LoginItemSystem() = default;

  virtual std::optional<Error> registerApplication() = 0;
  virtual std::optional<Error> unregisterApplication() = 0;
};

}  // namespace tandemview
