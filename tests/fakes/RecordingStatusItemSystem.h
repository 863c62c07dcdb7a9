#pragma once

#include <gtest/gtest.h>

#include <map>

#include "app/StatusItemSystem.h"

namespace tandemview {

/// A menu bar on paper. Like a real one it shows what was drawn last: of the model's later changes it knows only those
/// that it was told of. Lines are read and chosen by the titles that they show.
class RecordingStatusItemSystem final : public StatusItemSystem {
 public:
  void becomeAccessory() override { isAccessory = true; }
  void install(std::shared_ptr<const StatusItem> newItem, MenuHandlers newHandlers) override {
    model_ = std::move(newItem);
    handlers = std::move(newHandlers);
    item = *model_;
    item.menu = drawn(model_->menu);
  }
  void itemChanged() override {
    changes += 1;
    if (!model_) return;
    auto menu = std::move(item.menu);
    item = *model_;
    item.menu = std::move(menu);
  }
  void lineChanged(const MenuItem& line) override {
    changes += 1;
    const auto found = drawings_.find(&line);
    if (found == drawings_.end()) return;  // not installed yet
    auto submenu = std::move(found->second->submenu);
    *found->second = line;
    found->second->submenu = std::move(submenu);
  }

  /// The title that the menu bar shows, in one piece.
  std::string title() const {
    std::string text;
    for (const StyledText& piece : item.title) text += piece.text;
    return text;
  }

  static std::vector<std::string> titles(const std::vector<std::shared_ptr<MenuItem>>& menu) {
    std::vector<std::string> found;
    for (const auto& line : menu) found.push_back(line->title);
    return found;
  }

  /// The visible line with the title, in the menu or a submenu.
  const MenuItem& line(const std::string& title) const {
    for (const auto& [original, drawing] : drawings_) {
      if (drawing->title == title && !drawing->isHidden) return *drawing;
    }
    ADD_FAILURE() << "the menu shows no line '" << title << "'";
    static const MenuItem none;
    return none;
  }

  void choose(const std::string& title) const {
    const MenuItem& shown = line(title);
    for (const auto& [original, drawing] : drawings_) {
      if (drawing.get() != &shown) continue;
      ASSERT_TRUE(original->action) << "'" << title << "' can't be chosen";
      const auto action = original->action;
      return action(*original);
    }
  }

  StatusItem item;  // as drawn
  MenuHandlers handlers;
  int changes = 0;
  bool isAccessory = false;

 private:
  std::vector<std::shared_ptr<MenuItem>> drawn(const std::vector<std::shared_ptr<MenuItem>>& menu) {
    std::vector<std::shared_ptr<MenuItem>> copies;
    for (const auto& line : menu) {
      const auto copy = std::make_shared<MenuItem>(*line);
      copy->submenu = drawn(line->submenu);
      drawings_[line.get()] = copy;
      copies.push_back(copy);
    }
    return copies;
  }

  std::shared_ptr<const StatusItem> model_;
  std::map<const MenuItem*, std::shared_ptr<MenuItem>> drawings_;
};

}  // namespace tandemview
