#include "platform/linux/tray/StatusNotification.h"

#include <utility>

namespace tandemview {

StatusNotification::StatusNotification(std::shared_ptr<Queue> mainQueue, MakeAlerts makeAlerts)
    : mainQueue_(std::move(mainQueue)), makeAlerts_(std::move(makeAlerts)) {}

void StatusNotification::show(const StatusItem& item) {
  Lines lines;
  for (const auto& line : item.menu) {
    if (!line->shortTitle.empty()) lines.push_back(line);
  }
  withdraw();
  alerts_ = makeAlerts_();
  offer({.message = "Tandemview is running",
         .informativeText =
             item.toolTip + "\n\nThis desktop shows no menu for it. Start Tandemview again to see this message again.",
         .buttons = {}},
        lines, "Close");
}

void StatusNotification::withdraw() {
  alerts_.reset();
}

/// The choice is made later: it may do away with the system that tells of it.
void StatusNotification::offer(Alert alert, const Lines& lines, const char* lastButton) {
  for (const auto& line : lines) alert.buttons.push_back(line->shortTitle.empty() ? line->title : line->shortTitle);
  alert.buttons.emplace_back(lastButton);
  alerts_->show(alert, [lines, queue = mainQueue_, weak = weak_from_this()](int button) {
    if (static_cast<std::size_t>(button) == lines.size()) return;
    queue->async([line = lines[button], weak] {
      if (const auto self = weak.lock()) self->choose(*line);
    });
  });
}

/// Of several choices the one that holds is told, the others are offered: desktops have room for three buttons.
void StatusNotification::choose(const MenuItem& line) {
  if (line.submenu.empty()) return line.action(line);
  if (!alerts_) return;  // withdrawn meanwhile: there is a menu now
  Alert alert = {.message = line.title, .informativeText = {}, .buttons = {}};
  Lines others;
  for (const auto& choice : line.submenu) {
    if (choice->isChecked) {
      alert.informativeText = "Now: " + choice->title;
    } else {
      others.push_back(choice);
    }
  }
  offer(alert, others, "Cancel");
}

}  // namespace tandemview
