#pragma once

#include "app/PlatformTexts.h"

namespace tandemview {

/// What the program tells the users of a Mac.
inline PlatformTexts macTexts() {
  return {
      .unsupportedMessage = "macOS 14+ Required",
      .unsupportedExplanation =
          "This app requires macOS 14 (Sonoma) or later to create native virtual displays.\n\n"
          "Your current macOS version does not support the CGVirtualDisplay API.\n\n"
          "Options:\n"
          "1. Upgrade to macOS 14 (Sonoma) or later\n"
          "2. Use the older version of this app with Screenwright",
      .unsupportedStatus = "macOS 14 or later required",
      .screenRecordingToolTip =
          "Required to capture your Mac's screen. Opens the Screen Recording list in System Settings.",
      .accessibilityToolTip =
          "Required for touch and mouse input from your iPhone/iPad. Opens the Accessibility list in System "
          "Settings.",
      .lidSleepToolTip =
          "Prevents the Mac from sleeping when the lid closes, so you can keep controlling it from your iPhone. "
          "Requires an admin password.",
      .lidSleepQuestion = "Keep Mac Awake with Lid Closed?",
      .lidSleepExplanation =
          "Your Mac will stay fully awake and controllable from your iPhone even with the lid closed (e.g. in a "
          "backpack).\n\n"
          "⚠️ Important:\n"
          "• The Mac generates heat — avoid enclosed spaces without airflow for long sessions.\n"
          "• Battery will drain as if the Mac were in use.\n"
          "• This setting persists until you turn it off here or restart your Mac.\n\n"
          "macOS requires an administrator password to change this.",
      .permissionsExplanation =
          "If Screen Recording or Accessibility looks enabled but Tandemview still can't capture or receive touch, "
          "an old copy of the app is probably still listed.\n\n"
          "“Reset & Re-grant” clears Tandemview's permission entries so macOS forgets the stale ones. macOS asks "
          "for your administrator password because Accessibility is a system-wide setting. Afterward, quit and "
          "reopen Tandemview — you'll be asked to allow access again the next time you connect.",
      .captureDeniedExplanation =
          "Your iPhone is connected, but macOS isn't allowing Tandemview to record the screen.\n\n"
          "Turn on Tandemview in System Settings › Privacy & Security › Screen Recording, then quit and reopen "
          "Tandemview.",
  };
}

}  // namespace tandemview
