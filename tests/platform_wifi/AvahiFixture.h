#pragma once

#include <gtest/gtest.h>
#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/socket.h>

#include <cstring>
#include <fstream>
#include <future>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "end_to_end/Program.h"
#include "fakes/LogRecorder.h"
#include "platform/linux/AvahiWiFiNetwork.h"
#include "platform_bus/PrivateBus.h"
#include "runtime/Descriptor.h"
#include "runtime/SerialQueue.h"
#include "support/TemporaryDirectory.h"

namespace tandemview {

/// Moves the test program to a network and a /run of its own, once; its children live there too. False if it may not.
inline bool enterPrivateNetwork() {
  static const bool isInside = [] {
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

/// A real Avahi daemon on a system bus of the test's own, and the network under test.
class AvahiFixture : public testing::Test {
 protected:
  void SetUp() override {
    if (!enterPrivateNetwork()) GTEST_SKIP() << "needs root: the test makes a network of its own";
    if (::access("/usr/sbin/avahi-daemon", X_OK) != 0) GTEST_SKIP() << "needs avahi-daemon and avahi-utils";
    ::setenv("DBUS_SYSTEM_BUS_ADDRESS", bus.address().c_str(), 1);
    bus.start();
    queue = SerialQueue::withThread("network");
    network = std::make_shared<AvahiWiFiNetwork>(queue);
  }

  void TearDown() override {
    if (queue) queue->stopAndJoin();
    network = nullptr;
    stopDaemon();
    bus.kill();
  }

  void startDaemon(const std::string& interfaces = "lo") {
    const std::string configuration = directory.path() + "/avahi.conf";
    std::ofstream(configuration) << "[server]\nuse-ipv4=yes\nuse-ipv6=yes\nallow-interfaces=" << interfaces
                                 << "\nuse-iff-running=no\ndisallow-other-stacks=no\nratelimit-interval-usec=0\n"
                                    "[wide-area]\nenable-wide-area=no\n[publish]\npublish-workstation=no\n";
    daemon.emplace(std::vector<std::string>{"/usr/sbin/avahi-daemon", "-f", configuration, "--no-drop-root",
                                            "--no-chroot", "--no-rlimits", "--no-proc-title"},
                   Program::Environment());
    ASSERT_TRUE(daemon->prints("Server startup complete")) << daemon->output();
  }
  void stopDaemon() {
    daemon.reset();
    std::remove("/run/avahi-daemon/pid");
  }

  static Program publish(const std::string& name, int port, const std::string& type = "_scrstream._tcp") {
    return Program({"/usr/bin/avahi-publish", "-s", name, type, std::to_string(port)}, {});
  }

  /// Starts a search that keeps its findings in `results`.
  void browse(const std::string& type = "_scrstream._tcp") {
    browser = network->makeBrowser(type);
    browser->start({.queue = queue,
                    .didBecomeReady = [this] { note([&] { ++readyCount; }); },
                    .didFail = [this](const Error& error) { note([&] { searchError = error; }); },
                    .didChangeResults =
                        [this](const std::vector<WiFiBrowseResult>& changed) {
                          note([&] {
                            results = changed;
                            ++reportCount;
                          });
                        }});
  }

  template <typename Change>
  void note(Change change) {
    const std::lock_guard lock(mutex);
    change();
  }
  template <typename Condition>
  bool eventually(Condition condition) {
    return Program::within30Seconds([&] {
      const std::lock_guard lock(mutex);
      return condition();
    });
  }
  bool finds(const std::vector<std::string>& names) {
    return eventually([&] {
      std::vector<std::string> found;
      for (const WiFiBrowseResult& result : results) found.push_back(result.serviceName.value_or(""));
      return found == names;
    });
  }

  TemporaryDirectory directory;
  // At one place for all tests: the library keeps the first address that it has read.
  static inline PrivateBus bus;
  std::optional<Program> daemon;
  LogRecorder log;
  std::shared_ptr<SerialQueue> queue;
  std::shared_ptr<AvahiWiFiNetwork> network;
  std::shared_ptr<WiFiBrowser> browser;

  std::mutex mutex;  // guards what follows
  std::vector<WiFiBrowseResult> results;
  int readyCount = 0;
  int reportCount = 0;
  std::optional<Error> searchError;
};

}  // namespace tandemview
