#pragma once

#include <set>
#include <vector>

#include "app/LoginItemSystem.h"
#include "app/PermissionSystem.h"
#include "app/ProcessResources.h"

namespace tandemview {

/// The host's settings as a test sets them.
class ScriptedSystemSettings final : public LoginItemSystem, public PermissionSystem, public ProcessResources {
 public:
  Result<void> registerApplication() override { return loginItemChange; }
  Result<void> unregisterApplication() override { return loginItemChange; }
  bool isGranted(Permission permission) override { return granted.contains(permission); }
  void openSettings(Permission permission) override { opened.push_back(permission); }
  int processorUsage() override { return processor; }
  std::uint64_t memoryFootprint() override { return memory; }

  Result<void> loginItemChange;
  std::set<Permission> granted;
  std::vector<Permission> opened;
  int processor = 0;
  std::uint64_t memory = 0;
};

}  // namespace tandemview
