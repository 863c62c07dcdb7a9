#include "platform/linux/x11/X11Permissions.h"

#include <xcb/xtest.h>

#include "platform/linux/host/DesktopSettings.h"
#include "platform/linux/x11/server/ScreenAccess.h"
#include "runtime/Log.h"

namespace tandemview {

X11Permissions::X11Permissions(std::shared_ptr<ApplicationSystem> application, const std::string& displayName)
    : application_(std::move(application)), connection_(X11Connection::openDespiteGrabs(displayName)) {}

bool X11Permissions::isGranted(Permission permission) {
  if (!connection_ || connection_->isBroken()) return false;
  switch (permission) {
    case Permission::ScreenRecording:
      return screenAccess(*connection_) == ScreenAccess::Granted;
    case Permission::Accessibility:
      return connection_->offers(xcb_test_id);
  }
  return false;
}

void X11Permissions::openSettings(Permission) {
  if (openDesktopSettings(*application_)) return;
  Log::line("⚠️ No settings program of this desktop was found: the X server itself decides what programs may do");
}

}  // namespace tandemview
