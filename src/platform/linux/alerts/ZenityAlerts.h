#pragma once

#include <sys/types.h>

#include <memory>
#include <string>
#include <vector>

#include "app/AlertSystem.h"
#include "runtime/Descriptor.h"
#include "runtime/Queue.h"

namespace tandemview {

/// Alerts as dialog windows of the tool zenity; closing one answers with the last button. Without the tool, or a
/// display, alerts go to another system. One alert at a time, on the main queue; an open dialog ends with the object.
class ZenityAlerts final : public AlertSystem, public std::enable_shared_from_this<ZenityAlerts> {
 public:
  ZenityAlerts(std::shared_ptr<Queue> mainQueue, std::shared_ptr<AlertSystem> fallback);
  ~ZenityAlerts() override;

  void show(const Alert& alert, std::function<void(int button)> answer) override;

 private:
  void readLater();
  void read();
  void finish();
  int endOfDialog();

  const std::shared_ptr<Queue> mainQueue_;
  const std::shared_ptr<AlertSystem> fallback_;
  std::vector<std::string> buttons_;
  std::function<void(int button)> answer_;
  pid_t dialog_ = 0;  // 0: none
  Descriptor pipe_;   // what it prints
  std::unique_ptr<DescriptorWatch> watch_;
  std::string printed_;
};

}  // namespace tandemview
