#pragma once

#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "app/ApplicationSystem.h"
#include "platform/linux/host/SingleInstance.h"
#include "runtime/Descriptor.h"
#include "runtime/Queue.h"

namespace tandemview {

/// Where this process's executable was when it was started. To be asked at the start: once a package has been
/// upgraded, the system knows only a name that ends in " (deleted)".
std::string executablePath();

/// This process as an application of a Linux desktop.
class LinuxApplication final : public ApplicationSystem {
 public:
  struct Surroundings {
    std::shared_ptr<Queue> mainQueue;
    std::string executablePath;
    std::vector<std::string> arguments;  // the command line after the program's name
    std::unique_ptr<SingleInstance> singleInstance;
    // What the copy that replaces this one gets of the lock on the lid; empty if that is not held.
    std::function<Descriptor()> copyLidLock = [] { return Descriptor(); };
    std::function<void()> terminate;  // ends the main loop
  };

  explicit LinuxApplication(Surroundings surroundings);

  bool hasEnvironmentVariable(const std::string& name) const override;
  ProcessIdentifier processIdentifier() const override;
  std::vector<ProcessIdentifier> runningCopies() override;
  void activate(ProcessIdentifier copy) override;
  /// The path of the executable.
  std::string bundlePath() const override;
  std::string relaunchCommand() const override;
  void openApplication(const std::string& bundlePath, std::function<void(std::optional<Error>)> completion) override;
  std::optional<Error> writeFile(const std::string& path, const std::string& text) override;
  Result<ToolOutcome> run(const std::string& tool, const std::vector<std::string>& arguments) override;
  /// What is started so is left this process's Succession.
  Result<ProcessIdentifier> start(const std::string& tool, const std::vector<std::string>& arguments) override;
  void terminate() override;

  /// What the process exits with when it is terminated.
  int exitStatus() const { return exitStatus_; }

 private:
  const Surroundings surroundings_;
  int exitStatus_ = EXIT_SUCCESS;
};

}  // namespace tandemview
