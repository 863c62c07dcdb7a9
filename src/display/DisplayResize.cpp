#include "display/DisplayResize.h"

#include "runtime/Log.h"
#include "runtime/Weakly.h"

namespace tandemview {

namespace {

constexpr double pollInterval = 0.1;
constexpr int mostAttempts = 30;

/// Lets the arrangement of the screens settle after a move.
constexpr double moveDelay = 0.3;

}  // namespace

DisplayResize::DisplayResize(std::shared_ptr<Queue> mainQueue, std::shared_ptr<VirtualDisplayManager> manager,
                             VirtualDisplayManager::Size size, Completion completion)
    : mainQueue_(std::move(mainQueue)), manager_(std::move(manager)), size_(size), completion_(std::move(completion)) {}

void DisplayResize::wait() {
  look(mostAttempts);
}

void DisplayResize::insist() {
  if (finishIfShown()) return;
  after(pollInterval, [](DisplayResize& self) { self.askAgain(mostAttempts); });
}

void DisplayResize::look(int attempts) {
  if (finishIfShown()) return;
  if (attempts > 0) return after(pollInterval, [attempts](DisplayResize& self) { self.look(attempts - 1); });
  const auto shown = manager_->shownSize();
  const auto mode = manager_->currentModeSize().value_or(VirtualDisplayManager::Size());
  Log::print("⚠️ Display still {}x{} pt (mode {}x{}), wanted {}x{}", shown.width, shown.height, mode.width,
             mode.height, size_.width, size_.height);
  completion_(Outcome::NotShown);
}

void DisplayResize::askAgain(int attempts) {
  if (attempts == 0 || manager_->isWithheld()) return completion_(Outcome::NotShown);
  if (!manager_->selectMode(size_.width, size_.height) && !manager_->resizeInPlace(size_.width, size_.height)) {
    return completion_(Outcome::NotShown);
  }
  Log::print("📺 Re-applying {}x{}", size_.width, size_.height);
  if (finishIfShown()) return;
  after(pollInterval, [attempts](DisplayResize& self) { self.askAgain(attempts - 1); });
}

bool DisplayResize::finishIfShown() {
  if (!manager_->isShownAt(size_)) return false;
  const auto shown = manager_->shownSize();
  Log::print("📺 Display now {}x{} pt", shown.width, shown.height);
  const auto finish = [](DisplayResize& self) { self.completion_(Outcome::Shown); };
  if (manager_->fixOverlap()) {
    after(moveDelay, finish);
  } else {
    finish(*this);
  }
  return true;
}

void DisplayResize::after(double seconds, std::function<void(DisplayResize&)> step) {
  mainQueue_->after(seconds, weakly(this, std::move(step)));
}

}  // namespace tandemview
