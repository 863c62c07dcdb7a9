#pragma once

#include <string>
#include <vector>

#include "app/StatusItemSystem.h"

namespace tandemview {

/// A menu bar on paper: its lines can be read and chosen by title.
class RecordingStatusItemSystem final : public StatusItemSystem {
 public:
  void becomeAccessory() override {}
  void install(std::shared_ptr<const StatusItem> newItem, MenuHandlers newHandlers) override {
    item = std::move(newItem);
    handlers = std::move(newHandlers);
  }
  void itemChanged() override { changes += 1; }
  void lineChanged(const MenuItem&) override { changes += 1; }

  /// The title that the menu bar shows, in one piece.
  std::string title() const {
    std::string text;
    for (const StyledText& piece : item->title) text += piece.text;
    return text;
  }

  std::vector<std::string> titles(const std::vector<std::shared_ptr<MenuItem>>& menu) const {
    std::vector<std::string> found;
    for (const auto& line : menu) found.push_back(line->title);
    return found;
  }

  /// The line with the title, in the menu or a submenu; a line without a title if there is none.
  const MenuItem& line(const std::string& title) const {
    static const MenuItem none;
    const MenuItem* found = search(item->menu, title);
    return found ? *found : none;
  }

  void choose(const std::string& title) const {
    const MenuItem& chosen = line(title);
    if (chosen.action) chosen.action(chosen);
  }

  std::shared_ptr<const StatusItem> item;
  MenuHandlers handlers;
  int changes = 0;

 private:
  static const MenuItem* search(const std::vector<std::shared_ptr<MenuItem>>& menu, const std::string& title) {
    for (const auto& line : menu) {
      if (line->title == title) return line.get();
      if (const MenuItem* found = search(line->submenu, title)) return found;
    }
    return nullptr;
  }
};

}  // namespace tandemview
