#pragma once

#include <optional>
#include <string>

namespace tandemview {

/// What the user asked for at the start.
struct CommandLine {
  std::string socketPath = "/var/run/usbmuxd";  // where Debian's usbmuxd listens
  std::string desktop;                          // a name of DesktopChoice; empty: whichever there is

  /// The status to end with at once, if the line asks for a text or is wrong; that has been printed.
  std::optional<int> exitStatus;

  static CommandLine parse(int argc, char** argv);
};

}  // namespace tandemview
