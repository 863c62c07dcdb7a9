#pragma once

#include <functional>
#include <memory>
#include <string>

#include "runtime/Error.h"

namespace sdbus {
class Message;
}  // namespace sdbus

namespace tandemview {

class AvahiDaemon;

/// A browser, a resolver or a group of entries that the Avahi daemon keeps for us. Letting go of it frees it there. It
/// lives on the daemon's queue, and reports nothing any more once the daemon has stopped.
class AvahiObject final {
 public:
  struct Output {
    std::function<void()> didAppear;  // the daemon has made it
    /// The signal's arguments are still to be read.
    std::function<void(const std::string& signal, sdbus::Message& arguments)> didSignal;
    /// The daemon does not make it; nothing follows.
    std::function<void(const Error&)> didFail;
  };

  /// Made by AvahiDaemon::make() alone.
  AvahiObject(std::weak_ptr<AvahiDaemon> daemon, std::string interface, Output output);
  ~AvahiObject();
  AvahiObject(const AvahiObject&) = delete;
  AvahiObject& operator=(const AvahiObject&) = delete;

  const std::string& interface() const { return interface_; }
  const Output& output() const { return output_; }

  /// Its place with the daemon; empty until that has made it.
  const std::string& path() const { return path_; }
  void setPath(std::string path) { path_ = std::move(path); }

 private:
  const std::weak_ptr<AvahiDaemon> daemon_;
  const std::string interface_;
  const Output output_;
  std::string path_;
};

}  // namespace tandemview
