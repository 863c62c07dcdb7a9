#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "app/ApplicationSystem.h"
#include "platform/linux/SingleInstance.h"

namespace tandemview {

/// This process as an application of a Linux desktop.
class LinuxApplication final : public ApplicationSystem {
 public:
  /// `arguments`: the command line after the program's name. `terminate` ends the main loop.
  LinuxApplication(std::vector<std::string> arguments, std::unique_ptr<SingleInstance> singleInstance,
                   std::function<void()> terminate);

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
  Result<ProcessIdentifier> start(const std::string& tool, const std::vector<std::string>& arguments) override;
  void terminate() override;

 private:
  const std::vector<std::string> arguments_;
  const std::unique_ptr<SingleInstance> singleInstance_;
  const std::function<void()> terminate_;
};

}  // namespace tandemview
