#pragma once

#include <functional>
#include <memory>

#include "display/VirtualDisplayManager.h"
#include "runtime/Queue.h"

namespace tandemview {

/// Follows the virtual display, which has been asked for another size, until the system shows it so, and moves it off
/// other screens then. Works on the main queue; letting go of it ends it.
class DisplayResize : public std::enable_shared_from_this<DisplayResize> {
 public:
  enum class Outcome { Shown, NotShown };
  using Completion = std::function<void(Outcome)>;

  DisplayResize(std::shared_ptr<Queue> mainQueue, std::shared_ptr<VirtualDisplayManager> manager,
                VirtualDisplayManager::Size size, Completion completion);

  /// Waits for the size, for 3 seconds at most. Either of these once; the completion may be called within the call.
  void wait();

  /// Asks for the size again every 0.1 s, up to 30 times and for as long as nobody refuses it or withholds the display.
  void insist();

 private:
  void look(int attempts);
  void askAgain(int attempts);
  bool finishIfShown();
  void after(double seconds, std::function<void(DisplayResize&)> step);

  const std::shared_ptr<Queue> mainQueue_;
  const std::shared_ptr<VirtualDisplayManager> manager_;
  const VirtualDisplayManager::Size size_;
  const Completion completion_;
};

}  // namespace tandemview
