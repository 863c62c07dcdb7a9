#include "platform/linux/tray/MenuTree.h"

#include <algorithm>

#include "platform/linux/tray/SymbolIcons.h"

namespace tandemview {

namespace {

/// A single underscore would mark the letter that opens the line by keyboard.
std::string label(const std::string& title) {
  std::string escaped;
  for (const char character : title) {
    if (character == '_') escaped += '_';
    escaped += character;
  }
  return escaped;
}

MenuTree::Properties entryProperties(const MenuItem& item) {
  const bool isHeader = item.kind == MenuItem::Kind::SectionHeader;
  MenuTree::Properties properties = {{"label", sdbus::Variant(label(item.title))},
                                     {"enabled", sdbus::Variant(!isHeader && (item.action || !item.submenu.empty()))},
                                     // A line that has nothing to say yet would be an empty one.
                                     {"visible", sdbus::Variant(!item.isHidden && !item.title.empty())}};
  if (const std::string icon = iconForSymbol(item.symbol.name); !icon.empty()) {
    properties.emplace("icon-name", sdbus::Variant(icon));
  }
  if (!item.keyEquivalent.empty()) {
    using Shortcut = std::vector<std::string>;
    properties.emplace("shortcut", sdbus::Variant(std::vector<Shortcut>{{"Control", item.keyEquivalent}}));
  }
  if (item.mark != MenuItem::Mark::None) {
    const bool isChoice = item.mark == MenuItem::Mark::Choice;
    properties.emplace("toggle-type", sdbus::Variant(std::string(isChoice ? "radio" : "checkmark")));
    properties.emplace("toggle-state", sdbus::Variant(std::int32_t(item.isChecked ? 1 : 0)));
  }
  return properties;
}

}  // namespace

MenuTree::MenuTree(const std::vector<std::shared_ptr<MenuItem>>& menu) : lines_(1) {
  addChildren(root, menu);
}

void MenuTree::addChildren(Identifier parent, const std::vector<std::shared_ptr<MenuItem>>& menu) {
  for (const auto& item : menu) {
    const bool isFirst = lines_[parent].children.empty();
    if (item->kind == MenuItem::Kind::SectionHeader && !isFirst) addChild(parent, nullptr);
    addChild(parent, item);
    addChildren(size() - 1, item->submenu);
  }
}

void MenuTree::addChild(Identifier parent, std::shared_ptr<MenuItem> item) {
  lines_[parent].children.push_back(size());
  lines_.push_back({.item = std::move(item), .children = {}});
}

std::optional<MenuTree::Identifier> MenuTree::identifier(const MenuItem& item) const {
  const auto found =
      std::find_if(lines_.begin(), lines_.end(), [&](const Line& line) { return line.item.get() == &item; });
  if (found == lines_.end()) return std::nullopt;
  return static_cast<Identifier>(found - lines_.begin());
}

std::shared_ptr<const MenuItem> MenuTree::choosable(Identifier line) const {
  const auto& item = lines_[line].item;
  return item && item->action && !item->isHidden ? item : nullptr;
}

MenuTree::Properties MenuTree::allProperties(const Line& line) const {
  Properties properties;
  if (&line == &lines_[root]) {
    // What follows is only for the lines below.
  } else if (!line.item || line.item->kind == MenuItem::Kind::Separator) {
    properties.emplace("type", sdbus::Variant(std::string("separator")));
  } else {
    properties = entryProperties(*line.item);
  }
  if (!line.children.empty()) properties.emplace("children-display", sdbus::Variant(std::string("submenu")));
  return properties;
}

MenuTree::Properties MenuTree::properties(Identifier line, const Names& names) const {
  Properties properties = allProperties(lines_[line]);
  if (!names.empty()) {
    std::erase_if(properties, [&](const auto& property) {
      return std::find(names.begin(), names.end(), property.first) == names.end();
    });
  }
  return properties;
}

MenuTree::Names MenuTree::absentProperties(Identifier line) const {
  const Properties present = allProperties(lines_[line]);
  Names absent = {"icon-name"};
  std::erase_if(absent, [&](const std::string& name) { return present.contains(name); });
  return absent;
}

MenuTree::Layout MenuTree::layout(Identifier line, std::int32_t depth, const Names& names) const {
  std::vector<sdbus::Variant> children;
  if (depth != 0) {
    for (const Identifier child : lines_[line].children) {
      children.emplace_back(layout(child, depth < 0 ? depth : depth - 1, names));
    }
  }
  return {line, properties(line, names), children};
}

}  // namespace tandemview
