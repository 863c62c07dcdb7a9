#include "platform/linux/LinuxTexts.h"

namespace tandemview {

PlatformTexts linuxTexts(const DesktopTexts& desktop) {
  return {
      .unsupportedMessage = desktop.unsupportedMessage,
      .unsupportedExplanation = desktop.unsupportedExplanation,
      .unsupportedStatus = desktop.unsupportedStatus,
      .screenRecordingToolTip = desktop.screenRecordingToolTip,
      .accessibilityToolTip = desktop.accessibilityToolTip,
      .lidSleepToolTip =
          "Prevents the computer from sleeping when the lid closes, so you can keep controlling it from your iPhone. "
          "Desktops that act on the lid themselves (KDE, XFCE, MATE, LXQt, Cinnamon) want the same choice in their "
          "power settings.",
      .lidSleepQuestion = "Keep Computer Awake with Lid Closed?",
      .lidSleepExplanation =
          "⚠️ Even with its lid closed (e.g. in a backpack) the computer will stay fully awake, controllable from "
          "your "
          "iPhone:\n"
          "• It generates heat — avoid enclosed spaces without airflow for long sessions.\n"
          "• Battery will drain as if it were in use.\n"
          "• KDE, XFCE, MATE, LXQt and Cinnamon act on the lid themselves: choose in their power settings, too, that "
          "closing it does nothing.\n"
          "• This holds until you turn it off here or quit Tandemview.",
      .permissionsExplanation = desktop.permissionsExplanation,
      .captureDeniedExplanation = desktop.captureDeniedExplanation,
  };
}

}  // namespace tandemview
