#include "runtime/Timer.h"

#include "runtime/Weakly.h"

namespace tandemview {

std::shared_ptr<Timer> Timer::repeating(std::shared_ptr<Queue> queue, double interval, Work tick) {
  std::shared_ptr<Timer> timer(new Timer(std::move(queue), interval, std::move(tick)));
  timer->schedule();
  return timer;
}

Timer::Timer(std::shared_ptr<Queue> queue, double interval, Work tick)
    : queue_(std::move(queue)), interval_(interval), tick_(std::move(tick)) {}

void Timer::schedule() {
  queue_->after(interval_, weakly(this, [](Timer& timer) {
                  timer.tick_();
                  timer.schedule();
                }));
}

}  // namespace tandemview
