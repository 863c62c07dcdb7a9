#include "platform/linux/CommandLine.h"

#include "command_line/OptionParser.h"
#include "platform/linux/DesktopChoice.h"

namespace tandemview {

CommandLine CommandLine::parse(int argc, char** argv) {
  CommandLine line;
  OptionParser parser("Turns an iPhone or iPad into an extra display.", "tandemview", TANDEMVIEW_VERSION);
  parser.option({"--usbmuxd-socket", "Socket of the USB multiplexing daemon"}, line.socketPath);
  parser.option({"--desktop", "The kind of session to work with, instead of the one that is found"}, line.desktop,
                OptionParser::oneOf(desktopNames()));
  line.exitStatus = parser.parse(argc, argv);
  return line;
}

}  // namespace tandemview
