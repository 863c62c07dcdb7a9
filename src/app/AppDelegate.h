#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "app/AppSurroundings.h"
#include "app/FrameDistributor.h"
#include "app/StatusMenu.h"
#include "capture/MJPEGEncoder.h"
#include "capture/ScreenCapture.h"
#include "display/DisplayResize.h"
#include "display/VirtualDisplayManager.h"
#include "input/KeyboardInjector.h"
#include "input/TouchInjector.h"
#include "runtime/Timer.h"
#include "usb/USBSender.h"
#include "wifi/WiFiSender.h"

namespace tandemview {

/// Owns every component and joins them: start-up, the session from a phone's description to streaming, display
/// changes, the menu. Lives on the main queue; only the frame handlers run on the capture's sample queue.
class AppDelegate : public std::enable_shared_from_this<AppDelegate> {
 public:
  using Surroundings = AppSurroundings;

  explicit AppDelegate(Surroundings surroundings);

  void applicationDidFinishLaunching();
  void applicationWillTerminate();

 private:
  using DeviceInfo = MacProtocol::DeviceInfo;
  using DisplayPlan = MacProtocol::DisplayPlan;

  enum class Link { USB, WiFi };

  // Start-up: AppDelegateStartUp.cpp.
  bool anotherCopyRuns();
  bool offersVirtualDisplays() const;
  void showUnsupportedPlatform();
  void createInjectors();
  void observeDisplays();
  void displaysChanged();
  void observePower();

  // The links to the phone: AppDelegateLinks.cpp.
  void startUSB();
  void startWiFi();
  template <typename... Arguments>
  std::function<void(Arguments...)> fromLink(void (AppDelegate::*handler)(Arguments...));
  template <Link link, typename Sender>
  void installCallbacks(Sender& sender);
  template <Link link>
  void handleTouchEvent(Data payload);
  void handleKeyEvent(Data payload);
  void releaseButtonHeldOver(Link link);
  void linkHasRoom();
  void usbConnected();
  void usbDisconnected();
  void wifiConnected();
  void wifiDisconnected();
  void linkEnded();
  void tearDownStreaming();
  void showCodeContested();

  // The status item and its menu: AppDelegateMenu.cpp.
  void buildStatusMenu();
  void updateStatusTitle(bool connected);
  void updateResourceLine();
  void menuWillOpen();
  void menuDidClose();
  void quit();

  // The host's settings behind the menu: AppDelegateSystemSettings.cpp.
  void toggleLidSleepPrevention();
  void setLidSleepPrevented(bool prevented);
  void readLidSleep();
  void showLidSleep(bool isPrevented);
  void toggleLaunchAtLogin();
  void refreshPermissions();
  void openSettings(Permission permission);
  void showPermissionTroubleshooter();
  void resetPermissions();
  void permissionsWereReset(bool isReset, const std::string& identifier);
  bool checkCapturePermission(const Error& error);

  // From a phone's description to its display: AppDelegateSession.cpp.
  void handleDeviceInfo(DeviceInfo info);
  DisplayPlan planFor(const DeviceInfo& info) const;
  bool isConfiguring();
  std::optional<DeviceInfo> newestDeviceInfo();
  void finishConfiguring();
  void configureDisplay(const DisplayPlan& plan, const DeviceInfo& info);
  void displayConfigured(const DisplayPlan& plan);
  void checkDisplayLater(const DisplayPlan& plan);
  void checkDisplay(const DisplayPlan& plan);
  void targetTouch(DisplayID display);
  void handleSleep();
  void handleWake();
  void reconnect();
  void selectQuality(const MenuItem& item);
  void discard();

  // The stream of pictures: AppDelegateStream.cpp.
  void streamDisplay();
  void startStreaming();
  void checkTouch();
  void streamEnded(const std::optional<Error>& error);
  void recoverLater();
  void recover();
  bool waitForUnlocking();
  void dropCapture();
  bool hasUSBLink() const;
  bool hasWiFiLink() const;
  bool hasLink() const { return hasUSBLink() || hasWiFiLink(); }
  std::shared_ptr<FrameDistributor> makeDistributor();
  std::function<void(const Data&)> encodedFrameHandler();
  void updateStatistics(double now);

  // New sizes of a live display: AppDelegateDisplayChange.cpp.
  void changeDisplay(const DisplayPlan& plan, const std::string& orientation);
  void followResize(const DisplayPlan& plan, std::function<void(AppDelegate&, DisplayResize::Outcome)> next);
  void relaunch();
  void relaunchByScript();
  void relaunchWithoutScript(const Error& error);

  /// Work for the main queue that does nothing once the delegate is gone.
  void onMain(std::function<void(AppDelegate&)> work);
  void onMainAfter(double seconds, std::function<void(AppDelegate&)> work);

  /// A later step of the configuration under way. It does nothing when a newer one has begun meanwhile.
  void continueAfter(double seconds, std::function<void(AppDelegate&)> work);

  static constexpr const char* virtualDisplayName = "iPhone Display";
  static constexpr const char* launchAtLoginKey = "launchAtLogin";
  static constexpr const char* qualityModeKey = "displayQualityMode";
  static constexpr const char* rule = "━━━━━━━━━━━━━━━━━━━━━━━━━━━━━━━━━━━━━━━━";

  const Surroundings surroundings_;

  std::shared_ptr<ScreenCapture> capture_;
  std::shared_ptr<MJPEGEncoder> encoder_;
  std::shared_ptr<FrameDistributor> distributor_;
  std::shared_ptr<USBSender> sender_;
  std::shared_ptr<VirtualDisplayManager> virtualDisplayManager_;
  std::shared_ptr<WiFiSender> wifiSender_;
  std::unique_ptr<TouchInjector> touchInjector_;
  std::unique_ptr<KeyboardInjector> keyboardInjector_;

  std::unique_ptr<StatusMenu> menu_;
  std::shared_ptr<Timer> resourceTimer_;  // only while the menu is open

  StreamQuality qualityMode_ = StreamQuality::balanced;
  std::int64_t streamWidth_ = 0;
  std::int64_t streamHeight_ = 0;

  std::int64_t frameCount_ = 0;
  double lastFPSUpdate_;
  std::int64_t currentFPS_ = 0;
  double currentLatency_ = 0;  // milliseconds between the last two frames
  double lastFrameTime_;

  bool hasShownCapturePermissionAlert_ = false;
  bool isWiFiConnected_ = false;
  bool isUSBConnected_ = false;
  Link touchLink_ = Link::USB;  // over which the last touch has come
  std::string sessionPairingCode_;

  // Guards the two below. Only the main queue comes here today; a link that reported elsewhere would find them guarded.
  std::mutex configurationLock_;
  bool isConfiguring_ = false;
  std::optional<DeviceInfo> pendingDeviceInfo_;

  std::uint64_t configuration_ = 0;        // counts the configurations that have begun
  std::shared_ptr<DisplayResize> resize_;  // of this configuration
  std::size_t recoveries_ = 0;             // how often the stream has been brought back since a picture came
  bool waitsForUnlocking_ = false;         // for the display, and the stream with it
  bool isStoppedByUser_ = false;           // the stream: until he or a phone asks for it
  bool isEnding_ = false;                  // this process takes no new link and no description

  std::optional<DisplayPlan> displayedPlan_;
  std::optional<DeviceInfo> lastDeviceInfo_;
};

}  // namespace tandemview
