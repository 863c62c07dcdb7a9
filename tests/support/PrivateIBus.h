#pragma once

#include "end_to_end/Program.h"

namespace tandemview {

/// The input method of a private desktop. It ends with the object.
class PrivateIBus {
 public:
  explicit PrivateIBus(const Program::Environment& environment)
      : environment_(environment),
        daemon_({"/usr/bin/ibus-daemon", "--panel", "disable", "--emoji-extension", "disable"}, environment) {}

  /// The user's source of input, once he has chosen it.
  bool chooses(const std::string& engine) const {
    return Program::within30Seconds([&] {
      return Program({"/usr/bin/ibus", "engine", engine}, environment_).wait() == 0 && hasEngine(engine);
    });
  }
  bool hasEngine(const std::string& engine) const {
    return Program::within30Seconds([&] {
      Program current({"/usr/bin/ibus", "engine"}, environment_);
      current.wait();
      return current.output() == engine + "\n";
    });
  }

  /// Whether a program has told it of its focus.
  bool hasField() const {
    return Program::within30Seconds([&] {
      Program context({"/bin/sh", "-c",
                       "gdbus call --address $(ibus address) --dest org.freedesktop.IBus --object-path "
                       "/org/freedesktop/IBus --method org.freedesktop.DBus.Properties.Get org.freedesktop.IBus "
                       "CurrentInputContext"},
                      environment_);
      return context.wait() == 0 && context.output().find("InputContext_1'") == std::string::npos;
    });
  }

 private:
  const Program::Environment environment_;
  const Program daemon_;
};

}  // namespace tandemview
