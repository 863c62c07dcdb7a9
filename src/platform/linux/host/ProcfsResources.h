#pragma once

#include <memory>

#include "app/ProcessResources.h"
#include "runtime/MediaClock.h"

namespace tandemview {

/// This process's use of the machine as the kernel counts it. Costs nothing while nobody asks.
class ProcfsResources final : public ProcessResources {
 public:
  explicit ProcfsResources(std::shared_ptr<const MediaClock> clock);

  /// Since the last call, or since the making of this object.
  int processorUsage() override;

  /// What would be free if the process ended: its anonymous pages and the pictures in shared memory, which the X
  /// server maps too. The code and the libraries' files, which others share, don't count. That the kernel keeps these
  /// figures makes them cheap; exact shares (PSS) would cost a walk through all pages.
  std::uint64_t memoryFootprint() override;

 private:
  const std::shared_ptr<const MediaClock> clock_;
  double lastTime_;
  double lastProcessorTime_;
  int lastUsage_ = 0;
};

}  // namespace tandemview
