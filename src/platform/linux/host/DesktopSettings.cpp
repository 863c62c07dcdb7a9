#include "platform/linux/host/DesktopSettings.h"

#include <array>

#include "platform/linux/session/CurrentDesktop.h"
#include "platform/linux/session/ProgramSearch.h"

namespace tandemview {

namespace {

struct SettingsProgram {
  const char* desktop;
  const char* program;
};

/// GNOME's comes last: desktops that are made of it name it after themselves.
constexpr std::array settingsPrograms = {
    SettingsProgram{"Unity", "unity-control-center"},  SettingsProgram{"Budgie", "budgie-control-center"},
    SettingsProgram{"KDE", "systemsettings"},          SettingsProgram{"KDE", "systemsettings5"},
    SettingsProgram{"XFCE", "xfce4-settings-manager"}, SettingsProgram{"X-Cinnamon", "cinnamon-settings"},
    SettingsProgram{"MATE", "mate-control-center"},    SettingsProgram{"LXQt", "lxqt-config"},
    SettingsProgram{"GNOME", "gnome-control-center"}};

}  // namespace

bool openDesktopSettings(ApplicationSystem& application) {
  for (const SettingsProgram& settings : settingsPrograms) {
    const auto path = isCurrentDesktop(settings.desktop) ? pathOfProgram(settings.program) : std::nullopt;
    // A shell in between, which ends at once: nobody here waits for the program's end.
    if (path) return application.run("/bin/sh", {"-c", "\"$0\" >/dev/null 2>&1 &", *path}).has_value();
  }
  return false;
}

}  // namespace tandemview
