#pragma once

#include <string>

namespace tandemview {

/// Something that a host must not do.
struct Fault {
  std::string kind;  // one of a few, such as "picture": faults are counted by it
  std::string text;  // a line for people

  bool operator==(const Fault&) const = default;
};

}  // namespace tandemview
