#pragma once

#include <functional>
#include <memory>

#include "app/StatusItem.h"

namespace tandemview {

/// Draws the status item and its menu as the core's model has them. Used on the main queue, and calls back there.
class StatusItemSystem {
 public:
  struct MenuHandlers {
    std::function<void()> willOpen;
    std::function<void()> didClose;
  };

  virtual ~StatusItemSystem() = default;

  /// Makes the program one without a Dock icon and a main window.
  virtual void becomeAccessory() = 0;

  /// Shows the item, from the moment on when the host has a place for it. The model stays the core's: which lines the
  /// menus have never changes, how they look is announced by the calls below. Choosing a line calls its action.
  virtual void install(std::shared_ptr<const StatusItem> item, MenuHandlers handlers) = 0;

  /// Something of the item itself has changed: image, title, tool tip.
  virtual void itemChanged() = 0;

  /// Something of one of the menus' lines has changed.
  virtual void lineChanged(const MenuItem& line) = 0;
};

}  // namespace tandemview
