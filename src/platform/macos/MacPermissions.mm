#import "platform/macos/MacPermissions.h"

#import <AppKit/AppKit.h>
#import <ApplicationServices/ApplicationServices.h>

#include "app/PrivacySettings.h"
#import "platform/macos/FoundationString.h"

namespace tandemview {

bool MacPermissions::isGranted(Permission permission) {
  switch (permission) {
    case Permission::ScreenRecording:
      return CGPreflightScreenCaptureAccess();
    case Permission::Accessibility:
      return AXIsProcessTrusted();
  }
  return false;
}

void MacPermissions::openSettings(Permission permission) {
  NSURL* const pane = [NSURL URLWithString:foundationString(privacySettingsURL(permission))];
  if (pane) [NSWorkspace.sharedWorkspace openURL:pane];
}

}  // namespace tandemview
