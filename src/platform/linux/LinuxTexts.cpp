#include "platform/linux/LinuxTexts.h"

namespace tandemview {

PlatformTexts linuxTexts() {
  return {
      .unsupportedMessage = "No spare display output",
      .unsupportedExplanation =
          "The X server offers no output that a virtual display could use.\n\n"
          "Options:\n"
          "1. Use a server with spare outputs (the dummy or modesetting driver, an EVDI device)\n"
          "2. Switch a virtual output on in the driver's configuration\n"
          "3. Make sure that DISPLAY names an X server with RandR 1.2 or later",
      .unsupportedStatus = "No spare display output",
      .screenRecordingToolTip =
          "Required to capture the virtual display. Holds when the X server lets Tandemview read the screen.",
      .accessibilityToolTip =
          "Required for touch and mouse input from your iPhone/iPad. Holds when the X server offers XTEST.",
      .lidSleepToolTip =
          "Prevents the computer from sleeping when the lid closes, so you can keep controlling it from your iPhone.",
      .lidSleepQuestion = "Keep Computer Awake with Lid Closed?",
      .lidSleepExplanation =
          "Your computer will stay fully awake and controllable from your iPhone even with the lid closed (e.g. in a "
          "backpack).\n\n⚠️ Important:\n"
          "• The computer generates heat — avoid enclosed spaces without airflow for long sessions.\n"
          "• Battery will drain as if the computer were in use.\n"
          "• This holds until you turn it off here or quit Tandemview.",
      .permissionsExplanation =
          "Tandemview reads the screen and posts input through the X server that DISPLAY names; there is no list of "
          "granted programs to repair.\n\n• Screen Recording is missing: start Tandemview as the user who owns the "
          "session, with that session's DISPLAY and XAUTHORITY, and not as an untrusted X client (ssh -X; use -Y).\n"
          "• Accessibility is missing: switch the X server's XTEST extension on.\n• In a Wayland session X clients see "
          "neither the screen nor the pointer of others: log in to an X11 session.",
      .captureDeniedExplanation =
          "Your iPhone is connected, but the X server isn't allowing Tandemview to read the screen.\n\n"
          "Start Tandemview as the user who owns the session, with that session's DISPLAY and XAUTHORITY.",
  };
}

}  // namespace tandemview
