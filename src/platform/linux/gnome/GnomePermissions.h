#pragma once

#include <memory>

#include "app/ApplicationSystem.h"
#include "app/PermissionSystem.h"
#include "platform/linux/gnome/session/GnomeSession.h"

namespace tandemview {

/// What the session lets its programs do: both or neither, as long as the compositor offers displays and their input.
/// GNOME asks its user for nothing here, and shows that a screen is shared.
class GnomePermissions final : public PermissionSystem {
 public:
  GnomePermissions(std::shared_ptr<ApplicationSystem> application, std::shared_ptr<const GnomeSession> session)
      : application_(std::move(application)), session_(std::move(session)) {}

  bool isGranted(Permission) override { return session_->isOffered(); }

  /// Opens the desktop's settings as a whole: they have no page for this.
  void openSettings(Permission permission) override;

 private:
  const std::shared_ptr<ApplicationSystem> application_;
  const std::shared_ptr<const GnomeSession> session_;
};

}  // namespace tandemview
