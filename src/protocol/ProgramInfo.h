#pragma once

#include <string>

namespace tandemview {

/// What the program tells others about itself. "0" stands for a version that the host doesn't know.
struct ProgramInfo {
  std::string name;
  std::string shortVersion = "0";
  std::string build = "0";
};

}  // namespace tandemview
