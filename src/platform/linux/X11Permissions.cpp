#include "platform/linux/X11Permissions.h"

#include <xcb/xtest.h>

#include <array>
#include <cstdlib>
#include <optional>
#include <sstream>

#include "platform/linux/ProgramSearch.h"
#include "platform/linux/ScreenAccess.h"
#include "platform/linux/X11Connection.h"
#include "runtime/Log.h"

namespace tandemview {

namespace {

struct DesktopSettings {
  const char* desktop;  // as $XDG_CURRENT_DESKTOP has it
  const char* program;
};

constexpr std::array desktopSettings = {DesktopSettings{"GNOME", "gnome-control-center"},
                                        DesktopSettings{"Unity", "unity-control-center"},
                                        DesktopSettings{"Budgie", "budgie-control-center"},
                                        DesktopSettings{"KDE", "systemsettings"},
                                        DesktopSettings{"KDE", "systemsettings5"},
                                        DesktopSettings{"XFCE", "xfce4-settings-manager"},
                                        DesktopSettings{"X-Cinnamon", "cinnamon-settings"},
                                        DesktopSettings{"MATE", "mate-control-center"},
                                        DesktopSettings{"LXQt", "lxqt-config"}};

std::optional<std::string> settingsProgram() {
  const char* desktops = std::getenv("XDG_CURRENT_DESKTOP");
  std::istringstream list(desktops ? desktops : "");
  for (std::string desktop; std::getline(list, desktop, ':');) {
    for (const DesktopSettings& settings : desktopSettings) {
      if (desktop != settings.desktop) continue;
      if (auto path = pathOfProgram(settings.program)) return path;
    }
  }
  return std::nullopt;
}

}  // namespace

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
  const auto program = settingsProgram();
  // A shell in between, which ends at once: nobody here waits for the program's end.
  if (program && application_->run("/bin/sh", {"-c", "\"$0\" >/dev/null 2>&1 &", *program})) return;
  Log::line("⚠️ No settings program of this desktop was found: the X server itself decides what programs may do");
}

}  // namespace tandemview
