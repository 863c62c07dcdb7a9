#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "platform/linux/x11/server/X11Connection.h"

namespace tandemview {

/// A name of its own that an X server knows for as long as one connection to it lives: an X selection. Unlike a
/// process's number it says the same to every client, in whatever container or on whatever machine.
class X11Claim {
 public:
  /// Null if the server refuses it.
  static std::unique_ptr<X11Claim> make(const X11Connection& connection);

  /// Hexadecimal digits. No two claims have the same.
  const std::string& name() const { return name_; }

  /// Whether the claim of this name still stands. True, too, if the server can't be asked.
  static bool stands(const X11Connection& connection, std::string_view name);

 private:
  explicit X11Claim(std::string name) : name_(std::move(name)) {}

  const std::string name_;
};

}  // namespace tandemview
