#pragma once

#include <sdbus-c++/sdbus-c++.h>

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "support/Stranger.h"

namespace tandemview {

/// Plays the Avahi daemon on a private bus, on a thread of its own: it does what the real one would not do on request.
class AvahiStandIn {
 public:
  enum class Manner { Answers, Refuses, Hangs };

  static constexpr const char* serverInterface = "org.freedesktop.Avahi.Server";
  static constexpr const char* browserInterface = "org.freedesktop.Avahi.ServiceBrowser";
  static constexpr const char* browserPath = "/Client0/ServiceBrowser0";
  static constexpr const char* serviceType = "_scrstream._tcp";
  static constexpr std::int32_t running = 2;

  explicit AvahiStandIn(const std::string& busAddress)
      : bus_(sdbus::createSessionBusConnectionWithAddress(busAddress)),
        server_(sdbus::createObject(*bus_, "/")),
        browser_(sdbus::createObject(*bus_, browserPath)) {
    server_->registerMethod("GetState")
        .onInterface(serverInterface)
        .implementedAs([this](sdbus::Result<std::int32_t>&& result) {
          if (answers("GetState")) result.returnResults(running);
        });
    server_->registerMethod("ServiceBrowserNew")
        .onInterface(serverInterface)
        .implementedAs([this](sdbus::Result<sdbus::ObjectPath>&& result, std::int32_t, std::int32_t, const std::string&,
                              const std::string&, std::uint32_t) {
          answerWithObject(std::move(result), "ServiceBrowserNew", browserPath);
        });
    server_->registerMethod("ServiceResolverNew")
        .onInterface(serverInterface)
        .implementedAs([this](sdbus::Result<sdbus::ObjectPath>&& result, std::int32_t, std::int32_t, const std::string&,
                              const std::string&, const std::string&, std::int32_t, std::uint32_t) {
          answerWithObject(std::move(result), "ServiceResolverNew", "/Client0/ServiceResolver0");
        });
    server_->finishRegistration();
    browser_->registerMethod("Free")
        .onInterface(browserInterface)
        .implementedAs([this] { note("Free"); })
        .withNoReply();
    browser_->finishRegistration();
    bus_->requestName("org.freedesktop.Avahi");
    bus_->enterEventLoopAsync();
  }
  ~AvahiStandIn() { bus_->leaveEventLoop(); }

  void behave(Manner manner) {
    const std::lock_guard lock(mutex_);
    manner_ = manner;
  }
  /// What has been asked since the last call.
  std::vector<std::string> takeCalls() {
    const std::lock_guard lock(mutex_);
    return std::exchange(calls_, {});
  }

  /// The browser has found a service.
  void tellOfService(const std::string& name) {
    Stranger::tellEverybody(*bus_, browserPath, browserInterface, "ItemNew", std::int32_t{1}, std::int32_t{0}, name,
                            serviceType, "local", std::uint32_t{0});
  }

 private:
  void note(const std::string& call) {
    const std::lock_guard lock(mutex_);
    calls_.push_back(call);
  }
  bool answers(const std::string& call) {
    note(call);
    const std::lock_guard lock(mutex_);
    return manner_ != Manner::Hangs;
  }
  void answerWithObject(sdbus::Result<sdbus::ObjectPath>&& result, const std::string& call, const char* path) {
    if (!answers(call)) return;
    const std::lock_guard lock(mutex_);
    if (manner_ == Manner::Refuses) {
      return result.returnError(sdbus::Error("org.freedesktop.Avahi.TooManyObjectsError", "Too many objects"));
    }
    result.returnResults(sdbus::ObjectPath(path));
  }
  std::mutex mutex_;  // guards what follows, up to the bus
  Manner manner_ = Manner::Answers;
  std::vector<std::string> calls_;

  const std::unique_ptr<sdbus::IConnection> bus_;
  const std::unique_ptr<sdbus::IObject> server_;
  const std::unique_ptr<sdbus::IObject> browser_;
};

}  // namespace tandemview
