#pragma once

#include <cstdint>

#include "runtime/Descriptor.h"
#include "support/TemporaryDirectory.h"

namespace tandemview {

/// A keyboard with keys that somebody presses, plugged into an X server: of its own driver for tests.
class PhysicalKeyboard {
 public:
  /// To be added to the server's configuration, whose screen is called "screen".
  std::string configuration() const;

  /// Returns when the server has taken it in. `key` is X's code.
  void press(std::uint8_t key) { turn(key, true); }
  void release(std::uint8_t key) { turn(key, false); }

 private:
  std::string socketPath() const { return directory_.path() + "/keyboard"; }
  void connect();
  void turn(std::uint8_t key, bool isDown);

  TemporaryDirectory directory_;
  Descriptor connection_;
};

}  // namespace tandemview
