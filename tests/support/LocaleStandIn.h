#pragma once

#include <sdbus-c++/sdbus-c++.h>

#include <memory>
#include <string>

#include "support/PrivateBus.h"

namespace tandemview {

/// A system's bus with what tells the keyboard's layout on it: a compositor without a shell goes by that.
class LocaleStandIn {
 public:
  explicit LocaleStandIn(const std::string& layout) {
    system_.start();
    bus_ = sdbus::createSessionBusConnectionWithAddress(system_.address());
    object_ = sdbus::createObject(*bus_, "/org/freedesktop/locale1");
    const auto property = [this](const char* name, const std::string& value) {
      object_->registerProperty(name).onInterface("org.freedesktop.locale1").withGetter([value] { return value; });
    };
    property("X11Layout", layout);
    for (const char* name : {"X11Model", "X11Variant", "X11Options"}) property(name, "");
    object_->finishRegistration();
    bus_->requestName("org.freedesktop.locale1");
    bus_->enterEventLoopAsync();
  }
  ~LocaleStandIn() { bus_->leaveEventLoop(); }

  std::string address() const { return system_.address(); }

 private:
  PrivateBus system_;
  std::unique_ptr<sdbus::IConnection> bus_;
  std::unique_ptr<sdbus::IObject> object_;
};

}  // namespace tandemview
