#include "platform/linux/gnome/GnomePermissions.h"

#include "platform/linux/host/DesktopSettings.h"
#include "runtime/Log.h"

namespace tandemview {

void GnomePermissions::openSettings(Permission) {
  if (openDesktopSettings(*application_)) return;
  Log::line("⚠️ GNOME's settings program was not found: the session itself decides what programs may do");
}

}  // namespace tandemview
