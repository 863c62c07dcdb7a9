#pragma once

#include <sdbus-c++/sdbus-c++.h>
#include <signal.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <optional>

#include "end_to_end/Program.h"

namespace tandemview {

/// The real one, in a /run of its own; needs root.
inline std::unique_ptr<Program> startRealLogind(const std::string& busAddress) {
  const std::vector<std::string> command = {
      "/usr/bin/unshare", "-m", "/bin/sh", "-c",
      "mount -t tmpfs none /run && cd /run && mkdir -p systemd/seats systemd/users systemd/sessions systemd/inhibit && "
      "exec /lib/systemd/systemd-logind"};
  auto logind = std::make_unique<Program>(command, Program::Environment{{"DBUS_SYSTEM_BUS_ADDRESS", busAddress}});
  return logind->prints("New seat seat0") ? std::move(logind) : nullptr;
}

/// The test's own way to the stand-in for logind, which it started on the bus.
class LogindStandIn {
 public:
  using Inhibitor = sdbus::Struct<std::string, std::string, std::string, std::string, std::uint32_t, std::uint32_t>;

  explicit LogindStandIn(const std::string& address)
      : process_({"/usr/bin/python3", "-m", "dbusmock", "--system", "--template", "logind"},
                 {{"DBUS_SYSTEM_BUS_ADDRESS", address}}),
        bus_(sdbus::createSessionBusConnectionWithAddress(address)),
        proxy_(sdbus::createProxy(*bus_, "org.freedesktop.login1", "/org/freedesktop/login1")) {
    if (!Program::within30Seconds([this] { return inhibitors().has_value(); })) {
      std::puts("dbusmock (package python3-dbusmock) does not start");
      std::abort();
    }
  }

  /// Absent if it does not answer.
  std::optional<std::vector<Inhibitor>> inhibitors() {
    std::vector<Inhibitor> inhibitors;
    try {
      proxy_->callMethod("ListInhibitors").onInterface("org.freedesktop.login1.Manager").storeResultsTo(inhibitors);
    } catch (const sdbus::Error&) {
      return std::nullopt;
    }
    return inhibitors;
  }

  std::size_t inhibitorCount() { return inhibitors().value_or(std::vector<Inhibitor>()).size(); }

  void announce(const sdbus::Variant& argument, const std::string& signature = "b") {
    proxy_->callMethod("EmitSignal")
        .onInterface("org.freedesktop.DBus.Mock")
        .withArguments("org.freedesktop.login1.Manager", "PrepareForSleep", signature,
                       std::vector<sdbus::Variant>{argument});
  }
  void announceSleep() { announce(sdbus::Variant(true)); }
  void announceWake() { announce(sdbus::Variant(false)); }

  void hang() { ::kill(process_.process(), SIGSTOP); }
  void goOn() { ::kill(process_.process(), SIGCONT); }

 private:
  Program process_;
  std::unique_ptr<sdbus::IConnection> bus_;
  std::unique_ptr<sdbus::IProxy> proxy_;
};

}  // namespace tandemview
