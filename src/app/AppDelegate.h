#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "app/AlertSystem.h"
#include "app/ApplicationSystem.h"
#include "app/FrameDistributor.h"
#include "app/LidSleepControl.h"
#include "app/LoginItemSystem.h"
#include "app/PermissionReset.h"
#include "app/PermissionSystem.h"
#include "app/PlatformTexts.h"
#include "app/ProcessResources.h"
#include "app/StatusItemSystem.h"
#include "capture/MJPEGEncoder.h"
#include "capture/ScreenCapture.h"
#include "display/VirtualDisplayManager.h"
#include "input/KeyboardInjector.h"
#include "input/TouchInjector.h"
#include "protocol/DeviceInfo.h"
#include "protocol/DisplayPlan.h"
#include "protocol/StreamQuality.h"
#include "runtime/MediaClock.h"
#include "runtime/NotificationCenter.h"
#include "runtime/Queue.h"
#include "runtime/Timer.h"
#include "runtime/UserDefaults.h"
#include "runtime/WallClock.h"
#include "usb/USBSender.h"
#include "wifi/WiFiSender.h"

namespace tandemview {

/// Owns every component and joins them: start-up, the session from a phone's description to streaming, display
/// changes, the menu. Lives on the main queue; only the frame handlers run on the capture's sample queue.
class AppDelegate : public std::enable_shared_from_this<AppDelegate> {
 public:
  struct Surroundings {
    std::shared_ptr<Queue> mainQueue;
    std::shared_ptr<Queue> backgroundQueue;  // for what waits for the system or the user; works may run side by side
    std::shared_ptr<Queue> displayQueue;     // where the virtual display is made and removed, one work at a time
    std::shared_ptr<Queue> sampleQueue;
    std::shared_ptr<Queue> wifiQueue;
    std::shared_ptr<const MediaClock> clock;
    std::shared_ptr<const WallClock> wallClock;
    WiFiSender::RandomBits randomBits;
    std::shared_ptr<NotificationCenter> notificationCenter;
    ProgramInfo program;
    PlatformTexts texts;
    std::shared_ptr<ApplicationSystem> application;
    std::shared_ptr<AlertSystem> alerts;
    std::shared_ptr<StatusItemSystem> statusItems;
    std::shared_ptr<LidSleepControl> lidSleep;
    std::shared_ptr<LoginItemSystem> loginItem;
    std::shared_ptr<PermissionSystem> permissions;
    std::optional<PermissionReset> permissionReset;  // absent where the host keeps no record of permissions
    std::shared_ptr<ProcessResources> resources;
    std::shared_ptr<UserDefaults> userDefaults;
    std::shared_ptr<DisplaySystem> displays;
    std::shared_ptr<CaptureSystem> captures;
    std::function<std::unique_ptr<ImageEncoder>()> makeImageEncoder;
    std::function<std::shared_ptr<PTUSBHub>()> sharedHub;
    std::shared_ptr<EventSystem> events;       // absent where the host takes no input from programs
    std::shared_ptr<WiFiNetwork> wifiNetwork;  // absent where the host has no Wi-Fi discovery
  };

  explicit AppDelegate(Surroundings surroundings);

  void applicationDidFinishLaunching();
  void applicationWillTerminate();

 private:
  using DeviceInfo = MacProtocol::DeviceInfo;
  using DisplayPlan = MacProtocol::DisplayPlan;

  enum class Link { USB, WiFi };

  // Start-up and links: AppDelegateStartUp.cpp.
  bool anotherCopyRuns();
  bool offersVirtualDisplays() const;
  void showUnsupportedPlatform();
  void createInjectors();
  void observeDisplays();
  void startUSB();
  void startWiFi();
  void showCodeContested();
  template <typename... Arguments>
  std::function<void(Arguments...)> fromLink(void (AppDelegate::*handler)(Arguments...));
  template <Link link, typename Sender>
  void installCallbacks(Sender& sender);
  template <Link link>
  void handleTouchEvent(Data payload);
  void releaseButtonHeldOver(Link link);
  void handleKeyEvent(Data payload);
  void linkHasRoom();
  void usbConnected();
  void usbDisconnected();
  void wifiConnected();
  void wifiDisconnected();
  void linkEnded();
  void tearDownStreaming();
  void observePower();

  // The status item and its menu: AppDelegateMenu.cpp.
  void buildStatusMenu();
  std::function<void(const MenuItem&)> action(std::function<void(AppDelegate&, const MenuItem&)> work);
  void updateStatusTitle(bool connected);
  void updateStatisticsLine();
  void updateResourceLine();
  void menuWillOpen();
  void menuDidClose();
  void showLine(MenuItem& item, const std::string& title, const MenuSymbol& symbol);
  void setHidden(MenuItem& item, bool hidden);
  void setChecked(MenuItem& item, bool checked);

  // The host's settings behind the menu: AppDelegateSystemSettings.cpp.
  std::function<void(int button)> onAnswer(std::function<void(AppDelegate&, int button)> work);
  void toggleLidSleepPrevention();
  void setLidSleepPrevented(bool prevented);
  void readLidSleep();
  void showLidSleep(bool isPrevented);
  void toggleLaunchAtLogin();
  void refreshPermissions();
  void showPermissionTroubleshooter();
  void resetPermissions();
  void permissionsWereReset(bool isReset, const std::string& identifier);
  bool checkCapturePermission(const Error& error);

  // From a phone's description to its display: AppDelegateSession.cpp.
  void handleDeviceInfo(DeviceInfo info);
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
  void startStreaming();
  void checkTouch();
  void streamEnded(const std::optional<Error>& error);
  void recoverLater();
  void recover();
  void dropCapture();
  bool hasUSBLink() const;
  bool hasWiFiLink() const;
  bool hasLink() const { return hasUSBLink() || hasWiFiLink(); }
  std::shared_ptr<FrameDistributor> makeDistributor();
  std::function<void(const Data&)> encodedFrameHandler();
  void updateStatistics(double now);

  // New sizes of a live display: AppDelegateDisplayChange.cpp.
  bool displayHasSize(DisplayID display, std::int64_t width, std::int64_t height) const;
  void changeDisplay(const DisplayPlan& plan, const std::string& orientation);
  void displayReachedSize(DisplayID display, std::function<void(AppDelegate&)> next);
  void reapply(DisplayID display, int attempts, const DisplayPlan& plan);
  void waitForSize(DisplayID display, std::int64_t width, std::int64_t height, int attempts,
                   std::function<void(AppDelegate&)> next);
  void displayIsChanged(DisplayID display);
  void relaunch();
  void writeAndStartRelaunchScript();
  void relaunchWithoutScript(const Error& error);

  /// Work for the main queue that does nothing once the delegate is gone.
  void onMain(std::function<void(AppDelegate&)> work);
  void onMainAfter(double seconds, std::function<void(AppDelegate&)> work);

  /// A later step of the configuration under way. It does nothing when a newer one has begun meanwhile.
  void continueAfter(double seconds, std::function<void(AppDelegate&)> work);

  static constexpr const char* virtualDisplayName = "iPhone Display";
  static constexpr std::uint16_t usbPort = 2345;  // of the companion app, on the device
  static constexpr double stateSymbolSize = 11;   // points, of the menu's first line
  static constexpr const char* launchAtLoginKey = "launchAtLogin";
  static constexpr const char* lidSleepKey = "preventLidSleep";
  static constexpr const char* qualityModeKey = "displayQualityMode";
  static constexpr const char* oldQualityModeKey = "streamQualityMode";  // older versions' keys, read for migration
  static constexpr const char* oldDisplaySizeKey = "displaySizeMode";
  static constexpr const char* rule = "━━━━━━━━━━━━━━━━━━━━━━━━━━━━━━━━━━━━━━━━";
  static constexpr int sizeAttempts = 30;  // how often a display is looked at, every 0.1 s, until it has its new size

  const Surroundings surroundings_;

  std::shared_ptr<ScreenCapture> capture_;
  std::shared_ptr<MJPEGEncoder> encoder_;
  std::shared_ptr<FrameDistributor> distributor_;
  std::shared_ptr<USBSender> sender_;
  std::shared_ptr<VirtualDisplayManager> virtualDisplayManager_;
  std::shared_ptr<WiFiSender> wifiSender_;
  std::unique_ptr<TouchInjector> touchInjector_;
  std::unique_ptr<KeyboardInjector> keyboardInjector_;

  std::shared_ptr<StatusItem> statusItem_;
  std::shared_ptr<MenuItem> statusMenuItem_;  // the first line: who is connected
  std::shared_ptr<MenuItem> statsMenuItem_;
  std::shared_ptr<MenuItem> resourcesMenuItem_;
  std::vector<std::shared_ptr<MenuItem>> qualityMenuItems_;  // in the order of StreamQuality
  std::shared_ptr<MenuItem> lidSleepMenuItem_;
  std::shared_ptr<MenuItem> launchAtLoginMenuItem_;
  std::shared_ptr<MenuItem> screenRecordingMenuItem_;
  std::shared_ptr<MenuItem> accessibilityMenuItem_;
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

  std::mutex configurationLock_;  // guards the two below
  bool isConfiguring_ = false;
  std::optional<DeviceInfo> pendingDeviceInfo_;

  std::uint64_t configuration_ = 0;  // counts the configurations that have begun
  std::size_t recoveries_ = 0;       // how often the stream has been brought back since a picture came
  bool isEnding_ = false;            // this process takes no new link and no description

  std::optional<DisplayPlan> displayedPlan_;
  std::optional<DeviceInfo> lastDeviceInfo_;
};

}  // namespace tandemview
