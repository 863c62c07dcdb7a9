#pragma once

#import <AppKit/AppKit.h>

#include <map>
#include <memory>

#include "app/StatusItemSystem.h"

@class TandemviewMenuTarget;

namespace tandemview {

/// A status item of AppKit and its menu.
class MacStatusItems final : public StatusItemSystem {
 public:
  void becomeAccessory() override;
  void install(std::shared_ptr<const StatusItem> item, MenuHandlers handlers) override;
  void itemChanged() override;
  void lineChanged(const MenuItem& line) override;

 private:
  NSMenu* makeMenu(const std::vector<std::shared_ptr<MenuItem>>& lines);
  NSMenuItem* makeLine(const MenuItem& line);

  std::shared_ptr<const StatusItem> item_;
  NSStatusItem* statusItem_;
  TandemviewMenuTarget* target_;
  std::map<const MenuItem*, NSMenuItem*> lines_;
};

}  // namespace tandemview
