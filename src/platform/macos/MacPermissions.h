#pragma once

#include "app/PermissionSystem.h"

namespace tandemview {

/// The Privacy & Security settings of macOS.
class MacPermissions final : public PermissionSystem {
 public:
  bool isGranted(Permission permission) override;
  void openSettings(Permission permission) override;
};

}  // namespace tandemview
