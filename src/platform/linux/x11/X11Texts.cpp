#include "platform/linux/x11/X11Texts.h"

namespace tandemview {

namespace {

/// Why there can be no virtual display.
struct Obstacle {
  const char* message;
  const char* explanation;
  const char* status;  // in the menu's first line
};

Obstacle obstacle(const X11Session& session) {
  if (session.isWayland) {
    return {.message = "Tandemview needs an X11 session",
            .explanation =
                "Log out, choose “X11” or “Xorg” for the session on the login screen, and log in again.\n\n"
                "This is a Wayland session, which Tandemview can't extend yet.",
            .status = "X11 session needed"};
  }
  if (!session.hasServer) {
    return {.message = "Tandemview needs an X11 session",
            .explanation =
                "Start it within your desktop's session, or set DISPLAY and XAUTHORITY as they are there.\n\n"
                "No X server takes Tandemview as its client.",
            .status = "X11 session needed"};
  }
  if (!session.isTrusted) {
    return {.message = "The X server doesn't trust Tandemview",
            .explanation =
                "Start Tandemview as the user who owns the session, with that session's DISPLAY and XAUTHORITY, and "
                "not through “ssh -X” (“ssh -Y” makes a trusted client).\n\n"
                "The server lets it neither read the screen nor add a display.",
            .status = "Screen Recording permission needed"};
  }
  return {.message = "No spare display output",
          .explanation =
              "The X server offers no output that a virtual display could use.\n\n"
              "Options:\n"
              "1. Use a server with spare outputs (the dummy or modesetting driver, an EVDI device)\n"
              "2. Switch a virtual output on in the driver's configuration\n"
              "3. Make sure that DISPLAY names an X server with RandR 1.3 or later",
          .status = "No spare display output"};
}

}  // namespace

DesktopTexts x11Texts(const X11Session& session) {
  const Obstacle inTheWay = obstacle(session);
  return {
      .unsupportedMessage = inTheWay.message,
      .unsupportedExplanation = inTheWay.explanation,
      .unsupportedStatus = inTheWay.status,
      .screenRecordingToolTip =
          "Required to capture the virtual display. Holds when the X server lets Tandemview read the screen.",
      .accessibilityToolTip =
          "Required for touch and mouse input from your iPhone/iPad. Holds when the X server offers XTEST.",
      .permissionsExplanation =
          "• Screen Recording is missing: start Tandemview as the user who owns the session, with that session's "
          "DISPLAY and XAUTHORITY, and not as an untrusted X client (ssh -X; use -Y).\n"
          "• Accessibility is missing: switch the X server's XTEST extension on.\n"
          "• In a Wayland session X clients see neither the screen nor the pointer of others: log in to an X11 "
          "session.\n\n"
          "Tandemview reads the screen and posts input through the X server that DISPLAY names; there is no list of "
          "granted programs to repair.",
      .captureDeniedExplanation =
          "Start Tandemview as the user who owns the session, with that session's DISPLAY and XAUTHORITY.\n\n"
          "Your iPhone is connected, but the X server isn't allowing Tandemview to read the screen.",
  };
}

}  // namespace tandemview
