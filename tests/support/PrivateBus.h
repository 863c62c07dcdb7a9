#pragma once

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <optional>

#include "end_to_end/Program.h"
#include "support/TemporaryDirectory.h"

namespace tandemview {

/// A message bus of the test's own, without any tie to the desktop's, where everybody may do everything.
class PrivateBus {
 public:
  PrivateBus() { configure(""); }

  std::string address() const { return "unix:path=" + directory_.path() + "/bus"; }

  /// Returns when the bus takes connections. A bus that can't be started ends the test program.
  void start() {
    daemon_.emplace(std::vector<std::string>{"/usr/bin/dbus-daemon", "--config-file=" + configurationPath(), "--nofork",
                                             "--nopidfile", "--print-address=1"},
                    Program::Environment());
    if (daemon_->prints("unix:path=")) return;
    std::puts("dbus-daemon (package dbus-daemon) does not start");
    std::abort();
  }

  /// From now on nobody may call this interface's methods, until another one is forbidden; an empty one forbids
  /// nothing.
  void forbid(const std::string& interface) {
    configure(interface.empty() ? "" : "<deny send_type=\"method_call\" send_interface=\"" + interface + "\"/>");
    Program({"/usr/bin/dbus-send", "--bus=" + address(), "--print-reply", "--dest=org.freedesktop.DBus",
             "/org/freedesktop/DBus", "org.freedesktop.DBus.ReloadConfig"},
            {})
        .wait();
  }

  /// Ends at once, as a crash does.
  void kill() { daemon_.reset(); }

 private:
  void configure(const std::string& rule) const {
    std::ofstream(configurationPath()) << R"(<busconfig>
      <listen>)" << address() << R"(</listen>
      <auth>EXTERNAL</auth>
      <policy context="default">
        <allow own="*"/>
        <allow send_destination="*" eavesdrop="true"/>
        <allow eavesdrop="true"/>
        )" << rule << R"(
      </policy>
    </busconfig>)";
  }

  std::string configurationPath() const { return directory_.path() + "/configuration"; }

  TemporaryDirectory directory_;
  std::optional<Program> daemon_;
};

}  // namespace tandemview
