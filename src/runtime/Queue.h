#pragma once

#include <functional>
#include <map>
#include <memory>

#include "runtime/Error.h"

namespace tandemview {

/// A unit of work for a queue.
using Work = std::function<void()>;

/// Readiness of one open descriptor, reported on the queue that watches it. Destroying it drops what it waits for, on
/// the queue: no work of its comes after that. It does not own the descriptor, which must stay open for as long as it
/// is watched.
class DescriptorWatch {
 public:
  virtual ~DescriptorWatch() = default;

  /// Calls `work` once when the descriptor can be read from (data, end of stream or error). One wait at a time: a
  /// second one is a programming error, which stops the program.
  virtual void whenReadable(Work work) = 0;

  /// Calls `work` once when the descriptor can be written to (or has failed). One wait at a time, beside one to read.
  virtual void whenWritable(Work work) = 0;
};

/// Runs works one at a time, in the order in which they were queued, never within the call that queued them. A host may
/// hand out one exception, for what waits in the background: that queue's works may run side by side. async() and
/// after() may be called from any thread; everything else from the queue's own.
class Queue : public std::enable_shared_from_this<Queue> {
 public:
  Queue() = default;
  Queue(const Queue&) = delete;
  Queue& operator=(const Queue&) = delete;
  virtual ~Queue() = default;

  virtual void async(Work work) = 0;

  /// Runs `work` once, `seconds` from now or a little later.
  virtual void after(double seconds, Work work) = 0;

  /// A descriptor has one watch at a time. A POSIX error if it has another, or the system can't watch it.
  virtual Result<std::unique_ptr<DescriptorWatch>> watch(int descriptor) = 0;

  /// A value kept with the queue under a private key (any unique address); absent until set.
  std::shared_ptr<void> specific(const void* key) const;
  void setSpecific(const void* key, std::shared_ptr<void> value);

 private:
  std::map<const void*, std::shared_ptr<void>> specifics_;
};

}  // namespace tandemview
