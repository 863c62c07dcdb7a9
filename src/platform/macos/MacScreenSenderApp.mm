#import "platform/macos/MacScreenSenderApp.h"

#include <cstdlib>
#include <memory>
#include <optional>

#include "app/AppDelegate.h"
#include "app/PmsetLidSleep.h"
#import "platform/macos/CoreAnimationClock.h"
#import "platform/macos/CoreImageEncoder.h"
#import "platform/macos/DispatchQueue.h"
#import "platform/macos/FoundationString.h"
#import "platform/macos/MacAlerts.h"
#import "platform/macos/MacApplication.h"
#import "platform/macos/MacCaptureSystem.h"
#import "platform/macos/MacDisplaySystem.h"
#import "platform/macos/MacEventSystem.h"
#import "platform/macos/MacLoginItem.h"
#import "platform/macos/MacPermissions.h"
#import "platform/macos/MacProcessResources.h"
#import "platform/macos/MacScreens.h"
#import "platform/macos/MacStatusItems.h"
#import "platform/macos/MacTexts.h"
#import "platform/macos/MacUserDefaults.h"
#import "platform/macos/MacWiFiNetwork.h"
#import "platform/macos/MacWorkspaceMonitor.h"

using namespace tandemview;

namespace {

constexpr const char* usbmuxdSocket = "/private/var/run/usbmuxd";

std::optional<std::string> bundleValue(NSString* key) {
  const id value = [NSBundle.mainBundle objectForInfoDictionaryKey:key];
  if (![value isKindOfClass:NSString.class]) return std::nullopt;
  return stringFrom(value);
}

ProgramInfo programInfo() {
  return {.name = "Tandemview",
          .shortVersion = bundleValue(@"CFBundleShortVersionString").value_or("0"),
          .build = bundleValue(@"CFBundleVersion").value_or("0")};
}

void copyToPasteboard(const std::string& text) {
  [NSPasteboard.generalPasteboard clearContents];
  [NSPasteboard.generalPasteboard setString:foundationString(text) forType:NSPasteboardTypeString];
}

AppDelegate::Surroundings makeSurroundings(const std::shared_ptr<NotificationCenter>& notificationCenter,
                                           const std::shared_ptr<MacApplication>& application,
                                           const std::shared_ptr<DispatchQueue>& mainQueue) {
  const ProgramInfo program = programInfo();
  const auto hub = std::make_shared<std::shared_ptr<PTUSBHub>>();
  const auto sharedHub = [hub, program, mainQueue, notificationCenter] {
    if (!*hub) {
      *hub = PTUSBHub::listeningHub({.socketPath = usbmuxdSocket,
                                     .program = program,
                                     .queue = mainQueue,
                                     .notificationCenter = notificationCenter});
    }
    return *hub;
  };
  return {.mainQueue = mainQueue,
          .backgroundQueue = DispatchQueue::background(),
          .displayQueue = DispatchQueue::serialBackground("com.tandemview.display"),
          .sampleQueue = DispatchQueue::serial("com.tandemview.capture"),
          .wifiQueue = DispatchQueue::serial("com.app.wifisender"),
          .clock = std::make_shared<CoreAnimationClock>(),
          .wallClock = std::make_shared<SystemWallClock>(),
          .randomBits = [] { return arc4random(); },
          .notificationCenter = notificationCenter,
          .program = program,
          .texts = macTexts(),
          .application = application,
          .alerts = std::make_shared<MacAlerts>(),
          .statusItems = std::make_shared<MacStatusItems>(),
          .lidSleep = std::make_shared<PmsetLidSleep>(application),
          .loginItem = std::make_shared<MacLoginItem>(),
          .permissions = std::make_shared<MacPermissions>(),
          .permissionReset = PermissionReset{.bundleIdentifier = bundleValue(@"CFBundleIdentifier"),
                                             .copyToPasteboard = copyToPasteboard},
          .resources = std::make_shared<MacProcessResources>(),
          .userDefaults = std::make_shared<MacUserDefaults>(),
          .screens = std::make_shared<MacScreens>(),
          .displays = std::make_shared<MacDisplaySystem>(MacVirtualDisplayClasses("CGVirtualDisplay")),
          .captures = std::make_shared<MacCaptureSystem>(mainQueue),
          .makeImageEncoder = [] { return std::make_unique<CoreImageEncoder>(); },
          .sharedHub = sharedHub,
          .events = std::make_shared<MacEventSystem>(),
          .wifiNetwork = std::make_shared<MacWiFiNetwork>()};
}

}  // namespace

@implementation MacScreenSenderApp {
  std::shared_ptr<AppDelegate> _appDelegate;
  std::unique_ptr<MacWorkspaceMonitor> _workspaceMonitor;
  id<NSObject> _activity;
}

+ (void)main {
  [NSApplication sharedApplication];
  NS_VALID_UNTIL_END_OF_SCOPE MacScreenSenderApp* application = [[MacScreenSenderApp alloc] init];
  NSApp.delegate = application;
  [NSApp run];
}

- (instancetype)init {
  self = [super init];
  if (!self) return nil;
  const auto mainQueue = DispatchQueue::main();
  const auto notificationCenter = std::make_shared<NotificationCenter>();
  const auto application = std::make_shared<MacApplication>(mainQueue);
  _appDelegate = std::make_shared<AppDelegate>(makeSurroundings(notificationCenter, application, mainQueue));
  _workspaceMonitor = std::make_unique<MacWorkspaceMonitor>(notificationCenter,
                                                            static_cast<const ApplicationSystem*>(application.get()));
  return self;
}

- (void)applicationDidFinishLaunching:(NSNotification*)notification {
  // A program without windows would have its timers and its network slowed down. The Mac itself may still sleep.
  _activity = [NSProcessInfo.processInfo beginActivityWithOptions:NSActivityUserInitiatedAllowingIdleSystemSleep
                                                           reason:@"Serves the phone as a display"];
  _appDelegate->applicationDidFinishLaunching();
}

- (void)applicationWillTerminate:(NSNotification*)notification {
  _appDelegate->applicationWillTerminate();
}

- (BOOL)applicationSupportsSecureRestorableState:(NSApplication*)application {
  return YES;
}

@end
