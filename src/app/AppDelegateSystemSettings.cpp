#include <fmt/format.h>

#include "app/AppDelegate.h"
#include "capture/CaptureSystem.h"
#include "runtime/Log.h"

namespace tandemview {

namespace {

/// Under this name the host knows a program that has no bundle.
constexpr const char* defaultBundleIdentifier = "com.tandemview.macos";

constexpr const char* warningSymbol = "exclamationmark.triangle.fill";

}  // namespace

/// What an alert's answer leads to; nothing once the delegate is gone.
std::function<void(int)> AppDelegate::onAnswer(std::function<void(AppDelegate&, int)> work) {
  return [weak = weak_from_this(), work = std::move(work)](int button) {
    if (const auto self = weak.lock()) work(*self, button);
  };
}

void AppDelegate::toggleLidSleepPrevention() {
  if (lidSleepMenuItem_->isChecked) return setLidSleepPrevented(false);
  surroundings_.alerts->show({.style = AlertStyle::Warning,
                              .message = surroundings_.texts.lidSleepQuestion,
                              .informativeText = surroundings_.texts.lidSleepExplanation,
                              .buttons = {"Keep Awake", "Cancel"}},
                             onAnswer([](AppDelegate& self, int button) {
                               if (button == 0) self.setLidSleepPrevented(true);
                             }));
}

void AppDelegate::setLidSleepPrevented(bool prevented) {
  surroundings_.backgroundQueue->async([weak = weak_from_this(), lidSleep = surroundings_.lidSleep, prevented] {
    lidSleep->setPrevented(prevented);
    const auto self = weak.lock();
    if (!self) return;
    self->onMain([isPrevented = lidSleep->isPrevented()](AppDelegate& main) {
      main.showLidSleep(isPrevented);
      Log::line(isPrevented ? "🔋 Lid-closed sleep DISABLED — Mac stays awake"
                            : "😴 Lid-closed sleep restored to normal");
    });
  });
}

void AppDelegate::readLidSleep() {
  surroundings_.backgroundQueue->async([weak = weak_from_this(), lidSleep = surroundings_.lidSleep] {
    const bool isPrevented = lidSleep->isPrevented();
    const auto self = weak.lock();
    if (self) self->onMain([isPrevented](AppDelegate& main) { main.showLidSleep(isPrevented); });
  });
}

void AppDelegate::showLidSleep(bool isPrevented) {
  setChecked(*lidSleepMenuItem_, isPrevented);
  surroundings_.userDefaults->setBoolean(lidSleepKey, isPrevented);
}

void AppDelegate::toggleLaunchAtLogin() {
  const bool enabled = !launchAtLoginMenuItem_->isChecked;
  LoginItemSystem& loginItem = *surroundings_.loginItem;
  if (const auto error = enabled ? loginItem.registerApplication() : loginItem.unregisterApplication()) {
    return Log::print("❌ Failed to update launch at login: {}", error->localizedDescription());
  }
  setChecked(*launchAtLoginMenuItem_, enabled);
  surroundings_.userDefaults->setBoolean(launchAtLoginKey, enabled);
  Log::line(enabled ? "✅ Launch at login enabled" : "✅ Launch at login disabled");
}

void AppDelegate::refreshPermissions() {
  const auto show = [this](MenuItem& item, Permission permission, const char* name) {
    if (surroundings_.permissions->isGranted(permission)) {
      showLine(item, fmt::format("{} — Enabled", name), {"checkmark.circle.fill"});
    } else {
      showLine(item, fmt::format("Grant {}…", name), {warningSymbol});
    }
  };
  show(*screenRecordingMenuItem_, Permission::ScreenRecording, "Screen Recording");
  show(*accessibilityMenuItem_, Permission::Accessibility, "Accessibility");
}

void AppDelegate::showPermissionTroubleshooter() {
  Alert alert = {.message = "Permissions not working after an update?",
                 .informativeText = surroundings_.texts.permissionsExplanation,
                 .buttons = {"Open Settings", "Cancel"}};
  const int openSettings = surroundings_.permissionReset ? 1 : 0;
  if (surroundings_.permissionReset) alert.buttons.insert(alert.buttons.begin(), "Reset & Re-grant");
  surroundings_.alerts->show(alert, onAnswer([openSettings](AppDelegate& self, int button) {
                               if (button < openSettings) return self.resetPermissions();
                               if (button == openSettings) {
                                 self.surroundings_.permissions->openSettings(Permission::ScreenRecording);
                               }
                             }));
}

void AppDelegate::resetPermissions() {
  const std::string identifier = surroundings_.permissionReset->bundleIdentifier.value_or(defaultBundleIdentifier);
  surroundings_.backgroundQueue->async([weak = weak_from_this(), application = surroundings_.application, identifier] {
    const auto succeeds = [&](const std::string& tool, const std::vector<std::string>& arguments) {
      const auto outcome = application->run(tool, arguments);
      if (!outcome) Log::print("❌ Failed to run {}: {}", tool, outcome.error().localizedDescription());
      return outcome && outcome->exitStatus == 0;
    };
    const std::string resetCapture = "/usr/bin/tccutil reset ScreenCapture " + identifier;
    succeeds("/bin/sh", {"-c", resetCapture});
    const bool isReset = succeeds(
        "/usr/bin/osascript",
        {"-e",
         fmt::format("do shell script \"{}; /usr/bin/tccutil reset Accessibility {}\" with administrator privileges",
                     resetCapture, identifier)});
    const auto self = weak.lock();
    if (self)
      self->onMain([isReset, identifier](AppDelegate& main) { main.permissionsWereReset(isReset, identifier); });
  });
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
        onAnswer([](AppDelegate& self, int button) {
          if (button == 0) self.surroundings_.application->terminate();
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
      onAnswer([](AppDelegate& self, int button) {
        if (button == 0) self.surroundings_.permissions->openSettings(Permission::Accessibility);
      }));
}

/// Whether the user has declined the capture; says so in the menu each time, by an alert once.
bool AppDelegate::checkCapturePermission(const Error& error) {
  if (error.domain != streamErrorDomain || error.code != userDeclinedCapture) return false;
  showLine(*statusMenuItem_, "Screen Recording permission needed", {warningSymbol, stateSymbolSize});
  if (std::exchange(hasShownCapturePermissionAlert_, true)) return true;
  surroundings_.alerts->show({.style = AlertStyle::Warning,
                              .message = "Tandemview can't capture the screen",
                              .informativeText = surroundings_.texts.captureDeniedExplanation,
                              .buttons = {"Open Settings", "Later"}},
                             onAnswer([](AppDelegate& self, int button) {
                               if (button == 0) {
                                 self.surroundings_.permissions->openSettings(Permission::ScreenRecording);
                               }
                             }));
  return true;
}

}  // namespace tandemview
