#pragma once

#include <string>

namespace tandemview {

/// What the program tells people about the host where that differs between hosts.
struct PlatformTexts {
  /// Shown once when the host offers no virtual displays.
  std::string unsupportedMessage = "macOS 14+ Required";
  std::string unsupportedExplanation =
      "This app requires macOS 14 (Sonoma) or later to create native virtual displays.\n\n"
      "Your current macOS version does not support the CGVirtualDisplay API.\n\n"
      "Options:\n"
      "1. Upgrade to macOS 14 (Sonoma) or later\n"
      "2. Use the older version of this app with Screenwright";
  std::string unsupportedStatus = "macOS 14 or later required";
};

}  // namespace tandemview
