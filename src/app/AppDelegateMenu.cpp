#include "app/AppDelegate.h"
#include "runtime/Weakly.h"

namespace tandemview {

namespace {

constexpr double resourceInterval = 1.0;
constexpr double bytesPerMegabyte = 1048576;

constexpr const char* oldQualityModeKey = "streamQualityMode";  // older versions' keys, read for migration
constexpr const char* oldDisplaySizeKey = "displaySizeMode";

}  // namespace

void AppDelegate::buildStatusMenu() {
  surroundings_.statusItems->becomeAccessory();
  const UserDefaults& defaults = *surroundings_.userDefaults;
  sessionPairingCode_ =
      WiFiSender::currentPairingCode(*surroundings_.userDefaults, *surroundings_.wallClock, surroundings_.randomBits);
  qualityMode_ = loadQualityMode(defaults.string(qualityModeKey), defaults.string(oldQualityModeKey),
                                 defaults.string(oldDisplaySizeKey));
  menu_ = std::make_unique<StatusMenu>(
      surroundings_.statusItems, surroundings_.texts,
      StatusMenu::Contents{.pairingCode = sessionPairingCode_,
                           .quality = qualityMode_,
                           .launchesAtLogin = defaults.boolean(launchAtLoginKey).value_or(false)},
      StatusMenu::Actions{.selectQuality = weakly(this, &AppDelegate::selectQuality),
                          .reconnect = weakly(this, &AppDelegate::reconnect),
                          .openSettings = weakly(this, &AppDelegate::openSettings),
                          .fixPermissions = weakly(this, &AppDelegate::showPermissionTroubleshooter),
                          .toggleLidSleepPrevention = weakly(this, &AppDelegate::toggleLidSleepPrevention),
                          .toggleLaunchAtLogin = weakly(this, &AppDelegate::toggleLaunchAtLogin),
                          .quit = weakly(this, &AppDelegate::quit)});
  updateStatusTitle(false);
  refreshPermissions();
  menu_->install(
      {.willOpen = weakly(this, &AppDelegate::menuWillOpen), .didClose = weakly(this, &AppDelegate::menuDidClose)});
  readLidSleep();
}

void AppDelegate::updateStatusTitle(bool connected) {
  menu_->showLink(!connected ? "" : isWiFiConnected_ ? "WiFi" : "USB");
}

void AppDelegate::updateResourceLine() {
  menu_->showResources(surroundings_.resources->processorUsage() / 1000.0 * 100,
                       static_cast<double>(surroundings_.resources->memoryFootprint()) / bytesPerMegabyte);
}

void AppDelegate::menuWillOpen() {
  updateResourceLine();
  refreshPermissions();
  resourceTimer_ =
      Timer::repeating(surroundings_.mainQueue, resourceInterval, weakly(this, &AppDelegate::updateResourceLine));
}

void AppDelegate::menuDidClose() {
  resourceTimer_ = nullptr;
}

void AppDelegate::quit() {
  surroundings_.application->terminate();
}

}  // namespace tandemview
