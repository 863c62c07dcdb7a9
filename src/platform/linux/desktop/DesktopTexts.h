#pragma once

#include <string>

namespace tandemview {

/// What the program tells people about their session, as PlatformTexts has it.
struct DesktopTexts {
  std::string unsupportedMessage;
  std::string unsupportedExplanation;
  std::string unsupportedStatus;
  std::string screenRecordingToolTip;
  std::string accessibilityToolTip;
  std::string permissionsExplanation;
  std::string captureDeniedExplanation;
};

}  // namespace tandemview
