#pragma once

#include <memory>

#include "app/ApplicationSystem.h"
#include "runtime/NotificationCenter.h"
#include "runtime/Queue.h"

namespace tandemview {

/// This process as an application of macOS.
class MacApplication final : public ApplicationSystem {
 public:
  explicit MacApplication(std::shared_ptr<Queue> mainQueue);

  bool hasEnvironmentVariable(const std::string& name) const override;
  ProcessIdentifier processIdentifier() const override;
  std::vector<ProcessIdentifier> runningCopies() override;
  void activate(ProcessIdentifier copy) override;
  std::string bundlePath() const override;
  std::string relaunchCommand() const override;
  void openApplication(const std::string& bundlePath, std::function<void(std::optional<Error>)> completion) override;
  Result<void> writeFile(const std::string& path, const std::string& text) override;
  Result<ToolOutcome> run(const std::string& tool, const std::vector<std::string>& arguments) override;
  Result<ProcessIdentifier> start(const std::string& tool, const std::vector<std::string>& arguments) override;
  void terminate() override;

 private:
  const std::shared_ptr<Queue> mainQueue_;
};

}  // namespace tandemview
