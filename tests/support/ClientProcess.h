#pragma once

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

#include "support/TemporaryDirectory.h"

namespace tandemview {

/// Waits until the condition holds, for at most 20 seconds. Returns whether it does.
bool waitUntil(const std::function<bool()>& condition);

/// Runs a program on an X display to its end. Whether it was there and succeeded.
bool runClient(const std::string& displayName, const std::vector<std::string>& command);

/// A program on an X display, that others have written. It ends with the object.
class ClientProcess {
 public:
  ClientProcess(const std::string& displayName, const std::vector<std::string>& command);
  ClientProcess(const ClientProcess&) = delete;
  ClientProcess& operator=(const ClientProcess&) = delete;
  ~ClientProcess();

  /// What it has printed until now.
  std::string output() const;

  /// Waits until it has printed `text`.
  bool hasPrinted(const std::string& text) const;

 private:
  TemporaryDirectory directory_;
  pid_t process_ = 0;
};

/// The input events that `xev` has printed, one each: "motion 1290,7", "button 1 press 1290,7", "press c", "release c",
/// followed by the state (modifiers and buttons, in hexadecimal) if there is one.
std::vector<std::string> xevEvents(const std::string& output);

}  // namespace tandemview
