#import "platform/macos/MacWorkspaceMonitor.h"

#import <AppKit/AppKit.h>

#include "app/WorkspaceNotifications.h"

namespace tandemview {

namespace {

id<NSObject> forward(NSNotificationName name, const char* coreName,
                     std::shared_ptr<NotificationCenter> notificationCenter, const void* object) {
  const auto post = ^(NSNotification*) {
    notificationCenter->post(coreName, object, {});
  };
  // Without a queue: they are posted on the main thread.
  return [NSWorkspace.sharedWorkspace.notificationCenter addObserverForName:name object:nil queue:nil usingBlock:post];
}

}  // namespace

MacWorkspaceMonitor::MacWorkspaceMonitor(std::shared_ptr<NotificationCenter> notificationCenter, const void* object)
    : observers_(@[
        forward(NSWorkspaceWillSleepNotification, workspaceWillSleepNotification, notificationCenter, object),
        forward(NSWorkspaceDidWakeNotification, workspaceDidWakeNotification, notificationCenter, object)
      ]) {}

MacWorkspaceMonitor::~MacWorkspaceMonitor() {
  for (const id<NSObject> observer in observers_) {
    [NSWorkspace.sharedWorkspace.notificationCenter removeObserver:observer];
  }
}

}  // namespace tandemview
