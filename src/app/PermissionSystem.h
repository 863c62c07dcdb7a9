#pragma once

namespace tandemview {

enum class Permission { ScreenRecording, Accessibility };

/// What the user allows the program. Called on the main queue.
class PermissionSystem {
 public:
  virtual ~PermissionSystem() = default;

  /// Whether the permission holds now. Asks nobody.
  virtual bool isGranted(Permission permission) = 0;

  /// Opens the system's settings where the permission is granted.
  virtual void openSettings(Permission permission) = 0;
};

}  // namespace tandemview
