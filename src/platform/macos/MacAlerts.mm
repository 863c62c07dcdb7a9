#import "platform/macos/MacAlerts.h"

#import <AppKit/AppKit.h>

#import "platform/macos/FoundationString.h"

namespace tandemview {

namespace {

/// A program that shows no windows otherwise is seldom the active one, and only the active one's windows get keys. The
/// newer request, -activate, depends on the active application's giving way, which none does unasked.
void comeForward() {
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wdeprecated-declarations"
  [NSApp activateIgnoringOtherApps:YES];
#pragma clang diagnostic pop
}

int runModally(const Alert& alert) {
  NSAlert* panel = [[NSAlert alloc] init];
  panel.alertStyle = alert.style == AlertStyle::Warning ? NSAlertStyleWarning : NSAlertStyleInformational;
  panel.messageText = foundationString(alert.message);
  panel.informativeText = foundationString(alert.informativeText);
  for (const std::string& button : alert.buttons) [panel addButtonWithTitle:foundationString(button)];
  // If the activation is refused it still must not be hidden behind others' windows, where nobody would answer it.
  [panel layout];
  panel.window.level = NSModalPanelWindowLevel;
  [panel.window orderFrontRegardless];
  comeForward();
  const auto button = static_cast<int>([panel runModal] - NSAlertFirstButtonReturn);
  const auto last = static_cast<int>(alert.buttons.size()) - 1;
  return button >= 0 ? button : last;  // the system took it away
}

}  // namespace

void MacAlerts::show(const Alert& alert, std::function<void(int button)> answer) {
  // Not within a work of the main queue: that would keep all others waiting for the user's answer, and with them the
  // links to the phone. A block of the run loop's own doesn't.
  const Alert shown = alert;
  const CFRunLoopRef runLoop = CFRunLoopGetMain();
  CFRunLoopPerformBlock(runLoop, kCFRunLoopDefaultMode, ^{
    answer(runModally(shown));
  });
  CFRunLoopWakeUp(runLoop);
}

}  // namespace tandemview
