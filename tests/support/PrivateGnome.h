#pragma once

#include <memory>
#include <string>
#include <vector>

#include "support/PrivateBus.h"

namespace tandemview {

/// GNOME's compositor without hardware and without any tie to the desktop, on a bus and with a PipeWire of its own. It
/// shows X clients, too. It ends with the object.
class PrivateGnome {
 public:
  /// Returns when the desktop can be used. One that can't be started ends the test program.
  /// `environment` is added to that of the desktop's programs. `arrangement`: as the user has stored it, the contents
  /// of a monitors.xml; a row if it is empty.
  explicit PrivateGnome(const std::vector<std::string>& monitors = {"1280x800"},
                        const Program::Environment& environment = {}, const std::string& arrangement = "");
  PrivateGnome(const PrivateGnome&) = delete;
  PrivateGnome& operator=(const PrivateGnome&) = delete;
  ~PrivateGnome();

  /// For the desktop's programs.
  const Program::Environment& environment() const { return environment_; }

  /// Makes this process one of the desktop's programs.
  void enter() const;

  /// As crashes do. A new one takes the place of what was killed.
  void restartCompositor();
  void restartPipeWire();

  /// As the lock screen does, which forbids casts until it goes, or the user, who doesn't.
  void endCasts(bool isForbidden);
  void allowAll() { bus_.forbid(""); }

  /// The bus refuses calls of this interface's methods until allowAll().
  void forbid(const std::string& interface) { bus_.forbid(interface); }

 private:
  std::unique_ptr<Program> start(const std::vector<std::string>& command) const;
  void startCompositor();
  void startPipeWire();
  std::string directory() const { return files_.path(); }

  const std::vector<std::string> monitors_;
  TemporaryDirectory files_;
  PrivateBus bus_;
  Program::Environment environment_;
  std::unique_ptr<Program> pipeWire_;
  std::unique_ptr<Program> sessionManager_;
  std::unique_ptr<Program> compositor_;
};

}  // namespace tandemview
