#pragma once

#include <functional>
#include <string>
#include <vector>

#include "end_to_end/Program.h"

namespace tandemview {

/// A private session of one kind, as its user and its other programs have it: a monitor of 1280x800, and at (100, 800)
/// one of 1024x768. The test process is one of its programs.
class PrivateDesktop {
 public:
  virtual ~PrivateDesktop() = default;

  /// For its programs.
  virtual Program::Environment environment() const = 0;

  /// What is shown where: equal texts are equal arrangements.
  virtual std::string arrangement() const = 0;

  /// Puts the phone's display there, in relation to the first monitor's corner, as in the desktop's settings.
  virtual void putDisplay(int x, int y) = 0;

  /// What ends the phone's display under the program.
  virtual std::vector<std::function<void()>> ends() = 0;

  /// Starts what a user has for texts beyond the keyboard.
  virtual void startInputMethod() = 0;

  /// Returns when the program in front can be typed to.
  virtual bool awaitsText() = 0;
};

}  // namespace tandemview
