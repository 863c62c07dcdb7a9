#include "platform/linux/ProgramSearch.h"

#include <unistd.h>

#include <cstdlib>
#include <sstream>

namespace tandemview {

std::optional<std::string> pathOfProgram(const std::string& name) {
  const char* directories = std::getenv("PATH");
  std::istringstream list(directories ? directories : "");
  for (std::string directory; std::getline(list, directory, ':');) {
    // A relative directory is as good as whatever the program was started in.
    if (!directory.starts_with('/')) continue;
    std::string path = directory + "/" + name;
    if (::access(path.c_str(), X_OK) == 0) return path;
  }
  return std::nullopt;
}

}  // namespace tandemview
