#pragma once

#include <string>

#include "app/ApplicationSystem.h"
#include "runtime/Descriptor.h"

namespace tandemview {

/// What a copy of the program leaves to the one that it starts in its place. It travels as open descriptors, which a
/// variable of the environment announces, through whatever lies in between: a script, or nothing.
struct Succession {
  /// Zero for a start that replaces no other copy.
  ProcessIdentifier predecessor = 0;

  /// Readable once the predecessor has ended, whoever bears its number by then.
  Descriptor predecessorEnd;

  /// The predecessor's lock on the lid. Empty if it held none.
  Descriptor lidLock;

  /// What this process was left. Called once, before there is another thread: it changes the environment. From then on
  /// this process's own children are left nothing of it.
  static Succession take();

  /// What this process can leave.
  static Succession ofThisProcess(Descriptor lidLock);

  /// The variable that tells a child of it, as "NAME=value". The child has the descriptors by the same numbers.
  std::string announcement() const;

  /// Waits until the predecessor has ended. False: it lives on after that time.
  bool waitForPredecessor(int seconds) const;
};

}  // namespace tandemview
