#include "platform/linux/alerts/PrintedAlerts.h"

#include <sstream>

#include "runtime/Log.h"

namespace tandemview {

void PrintedAlerts::show(const Alert& alert, std::function<void(int button)> answer) {
  Log::print("{} {}", alert.style == AlertStyle::Warning ? "⚠️" : "💡", alert.message);
  std::istringstream lines(alert.informativeText);
  for (std::string line; std::getline(lines, line);) Log::print("   {}", line);
  answer(static_cast<int>(alert.buttons.size()) - 1);
}

}  // namespace tandemview
