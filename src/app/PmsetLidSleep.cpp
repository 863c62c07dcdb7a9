#include "app/PmsetLidSleep.h"

#include <fmt/format.h>

#include <string_view>

#include "runtime/Log.h"

namespace tandemview {

namespace {

/// Whether the tool's report has a line "SleepDisabled", white space, 1.
bool saysSleepDisabled(std::string_view report) {
  constexpr std::string_view name = "SleepDisabled";
  constexpr std::string_view whiteSpace = " \t\r\n\v\f";
  for (auto at = report.find(name); at != std::string_view::npos; at = report.find(name)) {
    report.remove_prefix(at + name.size());
    const auto value = report.find_first_not_of(whiteSpace);
    if (value != std::string_view::npos && value > 0 && report[value] == '1') return true;
  }
  return false;
}

}  // namespace

PmsetLidSleep::PmsetLidSleep(std::shared_ptr<ApplicationSystem> application) : application_(std::move(application)) {}

bool PmsetLidSleep::isPrevented() {
  const auto outcome = application_->run("/usr/bin/pmset", {"-g"});
  if (!outcome) {
    Log::print("⚠️ Could not read pmset state: {}", outcome.error().localizedDescription());
    return false;
  }
  return saysSleepDisabled(outcome->output);
}

void PmsetLidSleep::setPrevented(bool prevented) {
  const std::string script = fmt::format(
      "do shell script \"/usr/bin/pmset disablesleep {}\" with administrator privileges", prevented ? "1" : "0");
  const auto outcome = application_->run("/usr/bin/osascript", {"-e", script});
  if (!outcome) return Log::print("❌ Failed to run pmset: {}", outcome.error().localizedDescription());
  if (outcome->exitStatus != 0) Log::line("⚠️ pmset change was not applied (cancelled or failed)");
}

}  // namespace tandemview
