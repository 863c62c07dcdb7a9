#pragma once

#include <functional>
#include <optional>
#include <string>

namespace tandemview {

/// What it takes to make the host forget which permissions it granted.
struct PermissionReset {
  std::optional<std::string> bundleIdentifier;               // under which the host knows the application
  std::function<void(const std::string&)> copyToPasteboard;  // as plain text; on the main queue
};

}  // namespace tandemview
