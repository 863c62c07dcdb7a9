#pragma once

#include <memory>
#include <string>

#include "app/ApplicationSystem.h"
#include "app/PermissionSystem.h"
#include "platform/linux/x11/server/X11Connection.h"

namespace tandemview {

/// What the X server lets its clients do: read the screen, and send input through XTEST. X11 knows no permissions that
/// a user grants; a server may still refuse both to clients that it does not trust.
class X11Permissions final : public PermissionSystem {
 public:
  /// `displayName` such as ":77"; empty stands for $DISPLAY.
  explicit X11Permissions(std::shared_ptr<ApplicationSystem> application, const std::string& displayName = {});

  bool isGranted(Permission permission) override;

  /// Opens the desktop's settings as a whole: none of them has a page for this.
  void openSettings(Permission permission) override;

 private:
  const std::shared_ptr<ApplicationSystem> application_;
  const std::shared_ptr<X11Connection> connection_;  // null without a server
};

}  // namespace tandemview
