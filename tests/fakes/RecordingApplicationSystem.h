#pragma once

#include <set>

#include "app/AlertSystem.h"
#include "app/ApplicationSystem.h"
#include "runtime/Queue.h"

namespace tandemview {

/// An application on paper; everything it is asked to do is kept in `calls`. What waits for the system or the user is
/// answered on the queue, never within the call.
class RecordingApplicationSystem final : public ApplicationSystem, public AlertSystem {
 public:
  explicit RecordingApplicationSystem(std::shared_ptr<Queue> mainQueue) : mainQueue_(std::move(mainQueue)) {}

  bool hasEnvironmentVariable(const std::string& name) const override { return environment.contains(name); }
  ProcessIdentifier processIdentifier() const override { return 4242; }
  std::vector<ProcessIdentifier> runningCopies() override { return copies; }
  void activate(ProcessIdentifier copy) override { calls.push_back("activate " + std::to_string(copy)); }
  std::string bundlePath() const override { return "/Applications/Tandemview.app"; }
  std::string relaunchCommand() const override { return "open \"" + bundlePath() + "\""; }
  void openApplication(const std::string& path, std::function<void(std::optional<Error>)> completion) override {
    calls.push_back("openApplication " + path);
    mainQueue_->async([completion = std::move(completion), error = openError] { completion(error); });
  }
  Result<void> writeFile(const std::string& path, const std::string& text) override {
    calls.push_back("writeFile " + path);
    writtenText = text;
    return written;
  }
  Result<ToolOutcome> run(const std::string& tool, const std::vector<std::string>& arguments) override {
    calls.push_back("run " + commandLine(tool, arguments));
    const auto scripted = outcomes.find(tool);
    return scripted == outcomes.end() ? ToolOutcome{} : scripted->second;
  }
  Result<ProcessIdentifier> start(const std::string& tool, const std::vector<std::string>& arguments) override {
    calls.push_back("start " + commandLine(tool, arguments));
    return 4300;
  }
  void terminate() override { calls.push_back("terminate"); }

  void show(const Alert& alert, std::function<void(int)> answer) override {
    alerts.push_back(alert);
    mainQueue_->async([answer = std::move(answer), button = chosenButton] { answer(button); });
  }

  std::set<std::string> environment;
  std::vector<ProcessIdentifier> copies = {4242};
  Result<void> written;
  std::optional<Error> openError;
  std::string writtenText;
  std::map<std::string, Result<ToolOutcome>> outcomes;  // by tool
  int chosenButton = 0;
  std::vector<std::string> calls;
  std::vector<Alert> alerts;

 private:
  static std::string commandLine(std::string tool, const std::vector<std::string>& arguments) {
    for (const std::string& argument : arguments) tool += " " + argument;
    return tool;
  }

  const std::shared_ptr<Queue> mainQueue_;
};

}  // namespace tandemview
