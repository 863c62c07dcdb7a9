#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "runtime/Error.h"

namespace tandemview {

/// A process of the host, by its number.
using ProcessIdentifier = int;

/// How a tool ended, and what it said.
struct ToolOutcome {
  int exitStatus = 0;
  std::string output;
};

/// What the program needs of the host to be one of its applications. Called on the main queue, but for run().
class ApplicationSystem {
 public:
  virtual ~ApplicationSystem() = default;

  /// Whether the process environment holds the variable.
  virtual bool hasEnvironmentVariable(const std::string& name) const = 0;

  virtual ProcessIdentifier processIdentifier() const = 0;

  /// All running copies of this application, this process included. Empty if the host can't tell.
  virtual std::vector<ProcessIdentifier> runningCopies() = 0;

  /// Brings another copy forward.
  virtual void activate(ProcessIdentifier copy) = 0;

  /// Where the application is installed.
  virtual std::string bundlePath() const = 0;

  /// One line of shell that starts the application anew, with the arguments that it was started with.
  virtual std::string relaunchCommand() const = 0;

  /// Starts another copy without a script. That copy waits until this process has ended. The completion, on the main
  /// queue and never within the call, gets an error if it could not be started.
  virtual void openApplication(const std::string& bundlePath, std::function<void(std::optional<Error>)> completion) = 0;

  /// Writes a file of ours that nobody else can have prepared: replaces a file of that name, follows no link.
  virtual Result<void> writeFile(const std::string& path, const std::string& text) = 0;

  /// Runs a tool, its errors sent to the null device, and waits until it has ended. From any thread.
  virtual Result<ToolOutcome> run(const std::string& tool, const std::vector<std::string>& arguments) = 0;

  /// Starts the tool that is to start the application anew. It outlives this process; its output goes to the null
  /// device.
  virtual Result<ProcessIdentifier> start(const std::string& tool, const std::vector<std::string>& arguments) = 0;

  /// Ends the application in good order: applicationWillTerminate() is called, then the process exits.
  virtual void terminate() = 0;
};

}  // namespace tandemview
