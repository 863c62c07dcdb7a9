#pragma once

#import <Foundation/Foundation.h>

#include <memory>

#include "runtime/NotificationCenter.h"

namespace tandemview {

/// Passes the workspace's notices of sleep and wake on to the core's notification centre, while it exists.
class MacWorkspaceMonitor {
 public:
  /// `object`: as whose notifications they are posted.
  MacWorkspaceMonitor(std::shared_ptr<NotificationCenter> notificationCenter, const void* object);
  ~MacWorkspaceMonitor();

 private:
  NSArray<id<NSObject>>* const observers_;
};

}  // namespace tandemview
