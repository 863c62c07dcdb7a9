#include <fmt/format.h>

#include "app/AppDelegate.h"
#include "capture/CaptureSystem.h"
#include "runtime/Log.h"
#include "runtime/Weakly.h"

namespace tandemview {

namespace {

/// Under this name the host knows a program that has no bundle.
constexpr const char* defaultBundleIdentifier = "com.tandemview.macos";

constexpr const char* lidSleepKey = "preventLidSleep";

/// Asks in the background, tells what came of it on the main queue.
template <typename Ask, typename Tell>
void inBackground(const AppSurroundings& surroundings, Ask ask, Tell tell) {
  surroundings.backgroundQueue->async(
      [mainQueue = surroundings.mainQueue, ask = std::move(ask), tell = std::move(tell)] {
        mainQueue->async([tell, outcome = ask()] { tell(outcome); });
      });
}

}  // namespace

void AppDelegate::toggleLidSleepPrevention() {
  if (menu_->showsLidSleepPrevented()) return setLidSleepPrevented(false);
  surroundings_.alerts->show({.style = AlertStyle::Warning,
                              .message = surroundings_.texts.lidSleepQuestion,
                              .informativeText = surroundings_.texts.lidSleepExplanation,
                              .buttons = {"Keep Awake", "Cancel"}},
                             weakly(this, [](AppDelegate& self, int button) {
                               if (button == 0) self.setLidSleepPrevented(true);
                             }));
}

void AppDelegate::setLidSleepPrevented(bool prevented) {
  const auto set = [lidSleep = surroundings_.lidSleep, prevented] {
    lidSleep->setPrevented(prevented);
    return lidSleep->isPrevented();
  };
  inBackground(surroundings_, set, weakly(this, [](AppDelegate& self, bool isPrevented) {
                 self.showLidSleep(isPrevented);
                 Log::line(isPrevented ? "🔋 Lid-closed sleep DISABLED — Mac stays awake"
                                       : "😴 Lid-closed sleep restored to normal");
               }));
}

void AppDelegate::readLidSleep() {
  inBackground(
      surroundings_, [lidSleep = surroundings_.lidSleep] { return lidSleep->isPrevented(); },
      weakly(this, &AppDelegate::showLidSleep));
}

void AppDelegate::showLidSleep(bool isPrevented) {
  menu_->showLidSleepPrevented(isPrevented);
  surroundings_.userDefaults->setBoolean(lidSleepKey, isPrevented);
}

void AppDelegate::toggleLaunchAtLogin() {
  const bool enabled = !menu_->showsLaunchAtLogin();
  LoginItemSystem& loginItem = *surroundings_.loginItem;
  const auto changed = enabled ? loginItem.registerApplication() : loginItem.unregisterApplication();
  if (!changed) {
    return Log::print("❌ Failed to update launch at login: {}", changed.error().localizedDescription());
  }
  menu_->showLaunchAtLogin(enabled);
  surroundings_.userDefaults->setBoolean(launchAtLoginKey, enabled);
  Log::line(enabled ? "✅ Launch at login enabled" : "✅ Launch at login disabled");
}

void AppDelegate::refreshPermissions() {
  for (const Permission permission : {Permission::ScreenRecording, Permission::Accessibility}) {
    menu_->showPermission(permission, surroundings_.permissions->isGranted(permission));
  }
}

void AppDelegate::openSettings(Permission permission) {
  surroundings_.permissions->openSettings(permission);
}

void AppDelegate::showPermissionTroubleshooter() {
  Alert alert = {.message = "Permissions not working after an update?",
                 .informativeText = surroundings_.texts.permissionsExplanation,
                 .buttons = {"Open Settings", "Cancel"}};
  const int openSettings = surroundings_.permissionReset ? 1 : 0;
  if (surroundings_.permissionReset) alert.buttons.insert(alert.buttons.begin(), "Reset & Re-grant");
  surroundings_.alerts->show(alert, weakly(this, [openSettings](AppDelegate& self, int button) {
                               if (button < openSettings) return self.resetPermissions();
                               if (button == openSettings) {
                                 self.openSettings(Permission::ScreenRecording);
                               }
                             }));
}

void AppDelegate::resetPermissions() {
  const std::string identifier = surroundings_.permissionReset->bundleIdentifier.value_or(defaultBundleIdentifier);
  const auto reset = [application = surroundings_.application, identifier] {
    const auto succeeds = [&](const std::string& tool, const std::vector<std::string>& arguments) {
      const auto outcome = application->run(tool, arguments);
      if (!outcome) Log::print("❌ Failed to run {}: {}", tool, outcome.error().localizedDescription());
      return outcome && outcome->exitStatus == 0;
    };
    const std::string resetCapture = "/usr/bin/tccutil reset ScreenCapture " + identifier;
    succeeds("/bin/sh", {"-c", resetCapture});
    return succeeds(
        "/usr/bin/osascript",
        {"-e",
         fmt::format("do shell script \"{}; /usr/bin/tccutil reset Accessibility {}\" with administrator privileges",
                     resetCapture, identifier)});
  };
  inBackground(surroundings_, reset, weakly(this, [identifier](AppDelegate& self, bool isReset) {
                 self.permissionsWereReset(isReset, identifier);
               }));
}

void AppDelegate::permissionsWereReset(bool isReset, const std::string& identifier) {
  refreshPermissions();
  if (isReset) {
    return surroundings_.alerts->show(
        {.message = "Permissions reset",
         .informativeText = "Quit and reopen Tandemview, then reconnect. macOS will ask you to allow Screen Recording "
                            "and Accessibility again.\n\nIf System Settings is open, close and reopen it to see the "
                            "updated lists.",
         .buttons = {"Quit Tandemview", "Later"}},
        weakly(this, [](AppDelegate& self, int button) {
          if (button == 0) self.quit();
        }));
  }
  const std::string command = "sudo tccutil reset Accessibility " + identifier;
  surroundings_.permissionReset->copyToPasteboard(command);
  surroundings_.alerts->show(
      {.message = "Accessibility wasn't reset",
       .informativeText =
           "Screen Recording was reset, but resetting Accessibility needs an administrator password.\n\nYou can remove "
           "Tandemview from System Settings › Privacy & Security › Accessibility with the “–” button, or run this in "
           "Terminal (copied to your clipboard):\n\n" +
           command,
       .buttons = {"Open Accessibility Settings", "Close"}},
      weakly(this, [](AppDelegate& self, int button) {
        if (button == 0) self.openSettings(Permission::Accessibility);
      }));
}

/// Whether the user has declined the capture; says so in the menu each time, by an alert once.
bool AppDelegate::checkCapturePermission(const Error& error) {
  if (error.domain != streamErrorDomain || error.code != userDeclinedCapture) return false;
  menu_->showCaptureDenied();
  if (std::exchange(hasShownCapturePermissionAlert_, true)) return true;
  surroundings_.alerts->show({.style = AlertStyle::Warning,
                              .message = "Tandemview can't capture the screen",
                              .informativeText = surroundings_.texts.captureDeniedExplanation,
                              .buttons = {"Open Settings", "Later"}},
                             weakly(this, [](AppDelegate& self, int button) {
                               if (button == 0) {
                                 self.openSettings(Permission::ScreenRecording);
                               }
                             }));
  return true;
}

}  // namespace tandemview
