#pragma once

#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/socket.h>

#include <cstring>
#include <fstream>
#include <memory>

#include "end_to_end/Program.h"
#include "runtime/Descriptor.h"
#include "support/PrivateBus.h"

namespace tandemview {

/// A real Avahi daemon on a system bus, in a network and a /run, of the test's own; its children live there too.
class PrivateAvahi {
 public:
  static constexpr const char* serviceType = "_scrstream._tcp";

  /// Moves the test program to the private network, once and before it has another thread; without this nothing else
  /// here may be used. False if it may not do that or if the daemon is not installed.
  static bool enter() {
    static const bool isInside = [] {
      if (::access("/usr/sbin/avahi-daemon", X_OK) != 0 || ::access("/usr/bin/avahi-publish", X_OK) != 0) return false;
      if (::unshare(CLONE_NEWNET | CLONE_NEWNS) != 0) return false;
      if (::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) return false;
      if (::mount("none", "/run", "tmpfs", 0, nullptr) != 0) return false;
      const Descriptor socket(::socket(AF_INET, SOCK_DGRAM, 0));
      ifreq request{};
      std::strcpy(request.ifr_name, "lo");
      request.ifr_flags = IFF_UP | IFF_RUNNING;
      return ::ioctl(socket.get(), SIOCSIFFLAGS, &request) == 0;
    }();
    return isInside;
  }
  static constexpr const char* whyNot = "needs root, for a network of its own, avahi-daemon and avahi-utils";

  PrivateAvahi() {
    ::setenv("DBUS_SYSTEM_BUS_ADDRESS", bus.address().c_str(), 1);
    bus.start();
  }
  ~PrivateAvahi() {
    stopDaemon();
    bus.kill();
  }
  PrivateAvahi(const PrivateAvahi&) = delete;
  PrivateAvahi& operator=(const PrivateAvahi&) = delete;

  /// False, with its output printed, if it does not start.
  bool startDaemon(const std::string& interfaces = "lo") {
    const std::string configuration = directory_.path() + "/avahi.conf";
    std::ofstream(configuration) << "[server]\nuse-ipv4=yes\nuse-ipv6=yes\nallow-interfaces=" << interfaces
                                 << "\nuse-iff-running=no\ndisallow-other-stacks=no\nratelimit-interval-usec=0\n"
                                    "[wide-area]\nenable-wide-area=no\n[publish]\npublish-workstation=no\n";
    daemon_.emplace(std::vector<std::string>{"/usr/sbin/avahi-daemon", "-f", configuration, "--no-drop-root",
                                             "--no-chroot", "--no-rlimits", "--no-proc-title"},
                    Program::Environment());
    if (daemon_->prints("Server startup complete")) return true;
    std::puts(daemon_->output().c_str());
    return false;
  }
  void stopDaemon() {
    daemon_.reset();
    std::remove("/run/avahi-daemon/pid");
  }

  /// A service that is known as long as the object lives.
  static std::unique_ptr<Program> publish(const std::string& name, int port, const std::string& type = serviceType) {
    const std::vector<std::string> command = {"/usr/bin/avahi-publish", "-s", name, type, std::to_string(port)};
    return std::make_unique<Program>(command, Program::Environment());
  }

  PrivateBus bus;

 private:
  TemporaryDirectory directory_;
  std::optional<Program> daemon_;
};

}  // namespace tandemview
