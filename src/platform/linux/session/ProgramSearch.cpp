#include "platform/linux/session/ProgramSearch.h"

#include <unistd.h>

#include <cstdlib>
#include <sstream>

namespace tandemview {

std::optional<std::string> pathOfProgram(const std::string& name) {
  const char* directories = std::getenv("PATH");
  std::istringstream list(directories ? directories : "");
  for (std::string directory; std::getline(list, directory, ':');) {
    // What a relative directory means depends on where the program was started.
    if (!directory.starts_with('/')) continue;
    directory.append("/").append(name);
    if (::access(directory.c_str(), X_OK) == 0) return directory;
  }
  return std::nullopt;
}

}  // namespace tandemview
