#include "platform/linux/gnome/GnomeTexts.h"

namespace tandemview {

DesktopTexts gnomeTexts() {
  return {
      .unsupportedMessage = "Tandemview needs GNOME on Wayland",
      .unsupportedExplanation =
          "Start it within your GNOME session on Wayland.\n\n"
          "Nobody on the session's bus makes displays: GNOME Shell (mutter 43 or later) is not there, or the "
          "environment names another bus (DBUS_SESSION_BUS_ADDRESS).",
      .unsupportedStatus = "GNOME on Wayland needed",
      .screenRecordingToolTip =
          "Required to capture the virtual display. Holds while GNOME offers displays and PipeWire runs.",
      .accessibilityToolTip =
          "Required for touch and mouse input from your iPhone/iPad. Holds while GNOME offers remote input.",
      .permissionsExplanation =
          "• Nothing has to be granted in a GNOME session: while Tandemview shows its display, the panel says that the "
          "screen is shared.\n"
          "• The lock screen takes the display away until you unlock it. “Stop” in the panel ends it until you choose "
          "Reconnect or the phone connects again.\n"
          "• A permission is missing: GNOME Shell or PipeWire doesn't run. Log out and in again.\n\n"
          "Tandemview makes, captures and controls its display through GNOME's own services on the session's bus; "
          "there is no list of granted programs to repair.",
      .captureDeniedExplanation =
          "Unlock the screen, and don't choose “Stop” in the panel's sharing indicator.\n\n"
          "Your iPhone is connected, but GNOME isn't sharing the display with Tandemview.",
  };
}

}  // namespace tandemview
