#include "app/RelaunchScript.h"

#include <fmt/format.h>

namespace tandemview {

Result<ProcessIdentifier> startRelaunchScript(ApplicationSystem& application) {
  // The pause lets this process end before the new one looks for running copies.
  const std::string script = fmt::format("#!/bin/bash\nsleep 1.5\n{}", application.relaunchCommand());
  const std::string path = fmt::format("/tmp/tandemview_relaunch_{}.sh", application.processIdentifier());
  return application.writeFile(path, script)
      .and_then([&] {
        return application.run("/bin/chmod", {"+x", path});
      })
      .and_then([&](const ToolOutcome&) {
        return application.start("/usr/bin/nohup", {"/bin/bash", path});
      });
}

}  // namespace tandemview
