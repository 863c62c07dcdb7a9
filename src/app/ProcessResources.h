#pragma once

#include <cstdint>

namespace tandemview {

/// What this process uses. Called on the main queue.
class ProcessResources {
 public:
  virtual ~ProcessResources() = default;

  /// Thousandths of one processor core, summed over all threads that aren't idle; 0 if the host can't tell.
  virtual int processorUsage() = 0;

  /// Bytes of memory that are this process's own; 0 if the host can't tell.
  virtual std::uint64_t memoryFootprint() = 0;
};

}  // namespace tandemview
