#pragma once

#include <functional>
#include <memory>
#include <optional>

#include "app/AlertSystem.h"
#include "app/ApplicationSystem.h"
#include "app/LidSleepControl.h"
#include "app/LoginItemSystem.h"
#include "app/PermissionReset.h"
#include "app/PermissionSystem.h"
#include "app/PlatformTexts.h"
#include "app/ProcessResources.h"
#include "app/StatusItemSystem.h"
#include "capture/CaptureSystem.h"
#include "capture/ImageEncoder.h"
#include "display/DisplaySystem.h"
#include "input/EventSystem.h"
#include "protocol/ProgramInfo.h"
#include "runtime/MediaClock.h"
#include "runtime/NotificationCenter.h"
#include "runtime/Queue.h"
#include "runtime/UserDefaults.h"
#include "runtime/WallClock.h"
#include "screens/Screens.h"
#include "usb/PTUSBHub.h"
#include "wifi/WiFiNetwork.h"
#include "wifi/WiFiSender.h"

namespace tandemview {

/// All that a host gives to the application.
struct AppSurroundings {
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
  std::shared_ptr<Screens> screens;
  std::shared_ptr<DisplaySystem> displays;
  std::shared_ptr<CaptureSystem> captures;
  std::function<std::unique_ptr<ImageEncoder>()> makeImageEncoder;
  std::function<std::shared_ptr<PTUSBHub>()> sharedHub;
  std::shared_ptr<EventSystem> events;       // absent where the host takes no input from programs
  std::shared_ptr<WiFiNetwork> wifiNetwork;  // absent where the host has no Wi-Fi discovery
};

}  // namespace tandemview
