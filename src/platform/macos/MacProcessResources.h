#pragma once

#include "app/ProcessResources.h"

namespace tandemview {

/// What the kernel tells about this task and its threads.
class MacProcessResources final : public ProcessResources {
 public:
  int processorUsage() override;
  std::uint64_t memoryFootprint() override;
};

}  // namespace tandemview
