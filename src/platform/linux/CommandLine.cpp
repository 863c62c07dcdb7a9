#include "platform/linux/CommandLine.h"

#include <CLI/CLI.hpp>

#include "platform/linux/DesktopChoice.h"

namespace tandemview {

CommandLine CommandLine::parse(int argc, char** argv) {
  CommandLine line;
  CLI::App options("Turns an iPhone or iPad into an extra display.", "tandemview");
  options.add_option("--usbmuxd-socket", line.socketPath, "Socket of the USB multiplexing daemon")
      ->capture_default_str();
  options.add_option("--desktop", line.desktop, "The kind of session to work with, instead of the one that is found")
      ->check(CLI::IsMember(desktopNames()));
  options.set_version_flag("--version", TANDEMVIEW_VERSION);
  try {
    options.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    line.exitStatus = options.exit(error);
  }
  return line;
}

}  // namespace tandemview
