#pragma once

#include <functional>
#include <string>
#include <vector>

namespace tandemview {

enum class AlertStyle { Informational, Warning };

struct Alert {
  AlertStyle style = AlertStyle::Informational;
  std::string message;
  std::string informativeText;
  std::vector<std::string> buttons;  // the first one is the default
};

/// Shows alerts to the user. Called on the main queue.
class AlertSystem {
 public:
  virtual ~AlertSystem() = default;

  /// Shows the alert in front of everything else; `answer`, on the main queue, gets the index of the button that was
  /// chosen.
  virtual void show(const Alert& alert, std::function<void(int button)> answer) = 0;
};

}  // namespace tandemview
