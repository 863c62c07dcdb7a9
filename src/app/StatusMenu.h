#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "app/PermissionSystem.h"
#include "app/PlatformTexts.h"
#include "app/StatusItemSystem.h"
#include "protocol/StreamQuality.h"

namespace tandemview {

/// The status item and its menu: their texts, symbols and order, and how they show what the program tells them. The
/// host hears only of what is new. Used on the main queue.
class StatusMenu {
 public:
  /// What choosing a line leads to.
  struct Actions {
    std::function<void(const MenuItem&)> selectQuality;  // the line's represented object is the quality's raw value
    std::function<void()> reconnect;
    std::function<void(Permission)> openSettings;
    std::function<void()> fixPermissions;
    std::function<void()> toggleLidSleepPrevention;
    std::function<void()> toggleLaunchAtLogin;
    std::function<void()> quit;
  };
  /// What the menu shows at first.
  struct Contents {
    std::string pairingCode;
    StreamQuality quality;
    bool launchesAtLogin;
  };

  StatusMenu(std::shared_ptr<StatusItemSystem> host, const PlatformTexts& texts, const Contents& contents,
             const Actions& actions);

  /// Hands it to the host.
  void install(StatusItemSystem::MenuHandlers handlers);

  /// "WiFi" or "USB"; empty: nobody is connected.
  void showLink(const std::string& link);
  bool showsLink() const { return statusItem_->isConnected; }
  /// In the place of the link.
  void showUnsupported(const std::string& text);
  void showCaptureDenied();

  void showStatistics(std::int64_t framesPerSecond, double latencyMilliseconds);
  void showResources(double processorPercent, double megabytes);
  void showQuality(StreamQuality quality);
  void showPermission(Permission permission, bool isGranted);
  void showLidSleepPrevented(bool isPrevented);
  bool showsLidSleepPrevented() const { return lidSleepMenuItem_->isChecked; }
  void showLaunchAtLogin(bool isEnabled);
  bool showsLaunchAtLogin() const { return launchAtLoginMenuItem_->isChecked; }

 private:
  using Line = std::shared_ptr<MenuItem>;

  void showLine(MenuItem& item, const std::string& title, const MenuSymbol& symbol);
  void setHidden(MenuItem& item, bool hidden);
  void setChecked(MenuItem& item, bool checked);

  const std::shared_ptr<StatusItemSystem> host_;
  const std::string pairingCode_;
  const std::shared_ptr<StatusItem> statusItem_ = std::make_shared<StatusItem>();
  Line statusMenuItem_;  // the first line: who is connected
  Line statsMenuItem_;
  Line resourcesMenuItem_;
  std::vector<Line> qualityMenuItems_;  // in the order of StreamQuality
  Line lidSleepMenuItem_;
  Line launchAtLoginMenuItem_;
  Line screenRecordingMenuItem_;
  Line accessibilityMenuItem_;
};

}  // namespace tandemview
