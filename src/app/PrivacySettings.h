#pragma once

#include <string>

#include "app/PermissionSystem.h"

namespace tandemview {

/// Where macOS's settings list the programs that have the permission.
inline std::string privacySettingsURL(Permission permission) {
  const std::string anchor =
      permission == Permission::ScreenRecording ? "Privacy_ScreenCapture" : "Privacy_Accessibility";
  return "x-apple.systempreferences:com.apple.preference.security?" + anchor;
}

}  // namespace tandemview
