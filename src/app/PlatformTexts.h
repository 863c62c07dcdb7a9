#pragma once

#include <string>

namespace tandemview {

/// What the program tells people about the host where that differs between hosts. Each host gives all of them.
struct PlatformTexts {
  /// Shown once when the host offers no virtual displays.
  std::string unsupportedMessage;
  std::string unsupportedExplanation;
  std::string unsupportedStatus;  // in the menu's first line

  /// The menu's tool tips.
  std::string screenRecordingToolTip;
  std::string accessibilityToolTip;
  std::string lidSleepToolTip;

  /// Asked before the machine is kept awake with its lid closed.
  std::string lidSleepQuestion;
  std::string lidSleepExplanation;

  /// What to do when a permission looks granted and doesn't work.
  std::string permissionsExplanation;

  /// What to do when the screen may not be captured.
  std::string captureDeniedExplanation;
};

}  // namespace tandemview
