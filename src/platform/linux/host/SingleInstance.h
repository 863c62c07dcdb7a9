#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "app/ApplicationSystem.h"
#include "platform/linux/bus/BusConnection.h"
#include "runtime/Descriptor.h"
#include "runtime/Queue.h"

namespace sdbus {
class IObject;
}

namespace tandemview {

/// One copy of the program a session: the first start owns a name on the session bus and a lock file, so that a start
/// that misses one of the two meets the other. Both are free again as soon as the owner's process has ended. Used on
/// its queue.
class SingleInstance final {
 public:
  /// `predecessor` is the copy that this one replaces, 0 for none: the bus is given the time to notice its end.
  /// `onActivated` is called on the queue when a later start has come by. The lock file can't tell of one.
  SingleInstance(std::shared_ptr<Queue> queue, ProcessIdentifier predecessor, std::function<void()> onActivated);
  ~SingleInstance();

  /// This process and, if another copy was there first, that one; its number is 0 if it has not written it yet.
  /// The first call decides which copy is the first. A bus that does not answer holds it up for a few seconds at most.
  std::vector<ProcessIdentifier> runningCopies();

  /// Calls the copy that was there first, and says in a line that this start ends. False: what has the name is no copy
  /// of the program, or hangs.
  bool activate(ProcessIdentifier copy);

 private:
  enum class Outcome { Ours, Theirs, Impossible };

  Outcome takeNameAndLock();
  Outcome takeName();
  bool joinBus();
  Outcome takeLock();
  void leaveBus();

  const std::shared_ptr<Queue> queue_;
  const ProcessIdentifier predecessor_;
  const std::function<void()> onActivated_;
  std::shared_ptr<BusConnection> connection_;
  std::unique_ptr<sdbus::IObject> application_;
  Descriptor lock_;
  bool isFirst_ = false;
  ProcessIdentifier first_ = 0;  // of the other copy
};

}  // namespace tandemview
