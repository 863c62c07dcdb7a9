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
  PrivateBus() {
    std::ofstream(configurationPath()) << R"(<busconfig>
      <listen>)" << address() << R"(</listen>
      <auth>EXTERNAL</auth>
      <policy context="default">
        <allow own="*"/>
        <allow send_destination="*" eavesdrop="true"/>
        <allow eavesdrop="true"/>
      </policy>
    </busconfig>)";
  }

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

  /// Ends at once, as a crash does.
  void kill() { daemon_.reset(); }

 private:
  std::string configurationPath() const { return directory_.path() + "/configuration"; }

  TemporaryDirectory directory_;
  std::optional<Program> daemon_;
};

}  // namespace tandemview
