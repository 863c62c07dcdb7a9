#include "platform/linux/x11/X11Permissions.h"

#include <xcb/xtest.h>

#include "platform/linux/host/DesktopSettings.h"
#include "platform/linux/x11/server/ScreenAccess.h"
#include "platform/linux/x11/server/X11Connection.h"
#include "runtime/Log.h"

namespace tandemview {

X11Permissions::X11Permissions(std::shared_ptr<ApplicationSystem> application, std::string displayName)
    : application_(std::move(application)), displayName_(std::move(displayName)) {}

bool X11Permissions::isGranted(Permission permission) {
  const auto connection = X11Connection::open(displayName_);
  if (!connection) return false;
  switch (permission) {
    case Permission::ScreenRecording:
      return screenAccess(*connection) == ScreenAccess::Granted;
    case Permission::Accessibility:
      return connection->offers(xcb_test_id);
  }
  return false;
}

void X11Permissions::openSettings(Permission) {
  if (openDesktopSettings(*application_)) return;
  Log::line("⚠️ No settings program of this desktop was found: the X server itself decides what programs may do");
}

}  // namespace tandemview
