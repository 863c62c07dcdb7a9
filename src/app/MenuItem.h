#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace tandemview {

/// An entry's image, by the name of a system symbol; hosts without those draw their own for the name.
struct MenuSymbol {
  std::string_view name;  // a constant; empty: no image
  double pointSize = 15;

  bool operator==(const MenuSymbol&) const = default;
};

/// One line of a menu. The core changes it on the main queue and then tells the StatusItemSystem.
struct MenuItem {
  enum class Kind { Entry, SectionHeader, Separator };
  /// What isChecked says of an entry: that it is on, or that it is the one of several that holds.
  enum class Mark { None, Switch, Choice };

  Kind kind = Kind::Entry;
  std::string title;
  std::string shortTitle;  // of the few entries that a host without menus offers as buttons
  MenuSymbol symbol;
  std::string toolTip;
  std::string keyEquivalent;  // a letter, pressed together with the host's menu key
  bool isHidden = false;
  Mark mark = Mark::None;
  bool isChecked = false;
  std::string representedObject;                // what the entry stands for, where several share an action
  std::function<void(const MenuItem&)> action;  // none: the line only tells something, or opens the submenu
  std::vector<std::shared_ptr<MenuItem>> submenu;
};

}  // namespace tandemview
