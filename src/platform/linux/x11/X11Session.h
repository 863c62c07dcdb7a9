#pragma once

#include <string>

namespace tandemview {

/// What kind of session the program was started in, as far as X11 goes.
struct X11Session {
  bool hasServer = false;  // that takes us as its client
  bool isWayland = false;  // an X server is only a guest there, which sees nothing of the others' windows
  bool isTrusted = false;  // by the server: else it hides its screen and its outputs

  /// `displayName` such as ":77"; empty stands for $DISPLAY.
  static X11Session find(const std::string& displayName = {});
};

}  // namespace tandemview
