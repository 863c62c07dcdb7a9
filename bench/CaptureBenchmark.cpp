// From a change on the captured display to its picture: alone, and beside another screen that animates. It runs on the
// X server of $DISPLAY, which must have a spare output: a private one.

#include <fmt/format.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <ctime>
#include <future>
#include <mutex>
#include <random>
#include <thread>
#include <vector>

#include "platform/linux/x11/capture/X11CaptureSystem.h"
#include "platform/linux/x11/display/RandrScreen.h"
#include "runtime/SerialQueue.h"
#include "support/X11TestClient.h"

namespace {

using namespace tandemview;
using Clock = std::chrono::steady_clock;

constexpr int changes = 400;
constexpr PixelRectangle display = {1280, 0, 644, 1398};

/// Counts the pictures that arrive.
class Pictures {
 public:
  void arrived() {
    const std::lock_guard lock(mutex_);
    ++count_;
    changed_.notify_all();
  }
  int count() {
    const std::lock_guard lock(mutex_);
    return count_;
  }
  bool waitForMoreThan(int count) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, std::chrono::seconds(2), [&] { return count_ > count; });
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  int count_ = 0;
};

/// Milliseconds from each change, at odd times, to the picture that it makes.
std::vector<double> changeToPicture(X11TestClient& painter, Pictures& pictures) {
  std::mt19937 random(1);
  std::vector<double> delays;
  for (int change = 0; change < changes; ++change) {
    std::this_thread::sleep_for(std::chrono::microseconds(20'000 + random() % 20'000));
    const int before = pictures.count();
    const auto start = Clock::now();
    painter.paint({display.x + 100, 100, 8, 16}, random() & 0xFFFFFF);
    if (!pictures.waitForMoreThan(before)) continue;
    delays.push_back(std::chrono::duration<double, std::milli>(Clock::now() - start).count());
  }
  std::ranges::sort(delays);
  return delays;
}

/// Seconds of processor time that the queue's thread has used.
double processorTime(Queue& queue) {
  std::promise<double> time;
  queue.async([&time] {
    timespec used{};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &used);
    time.set_value(static_cast<double>(used.tv_sec) + static_cast<double>(used.tv_nsec) * 1e-9);
  });
  return time.get_future().get();
}

/// Percent of a core that the capture uses in five seconds without a change on its display.
double processorAtRest(Queue& queue) {
  const double before = processorTime(queue);
  std::this_thread::sleep_for(std::chrono::seconds(5));
  return 100 * (processorTime(queue) - before) / 5;
}

void report(const char* name, const std::vector<double>& delays) {
  if (delays.empty()) return fmt::print("change to picture, {}: none came\n", name);
  const auto percentile = [&](double share) {
    return delays[static_cast<std::size_t>(share * static_cast<double>(delays.size() - 1))];
  };
  fmt::print("change to picture, {:32} p50 {:6.2f} ms   p99 {:6.2f} ms   ({} of {})\n", name, percentile(0.5),
             percentile(0.99), delays.size(), changes);
}

}  // namespace

int main() {
  const std::string server = std::getenv("DISPLAY") ? std::getenv("DISPLAY") : "";
  RandrScreen screen(server, X11Connection::open(server));
  const auto shown = screen.show({.width = 644, .height = 1398, .refreshRate = 60}, std::nullopt);
  if (!shown) {
    fmt::print("capture: the X server has no spare output\n");
    return EXIT_FAILURE;
  }
  X11TestClient painter(server);
  const auto queue = SerialQueue::withThread("capture");
  X11CaptureSystem system(queue, server);
  Pictures pictures;
  const auto stream = system.makeStream(
      {.displayID = shown->output, .width = display.width, .height = display.height},
      {.sampleQueue = queue,
       .didOutputSample = [&pictures](SampleType, const std::shared_ptr<PixelBuffer>&) { pictures.arrived(); },
       .didStopWithError = [](const Error& error) { fmt::print("capture: {}\n", error.localizedDescription()); }});
  (*stream)->startCapture([](const std::optional<Error>&) {});
  pictures.waitForMoreThan(0);
  report("alone (the baseline)", changeToPicture(painter, pictures));
  {
    std::atomic<bool> isOver = false;
    std::thread other([&] {
      X11TestClient animator(server);
      for (std::uint32_t color = 0; !isOver; color += 0x010101) {
        animator.paint({200, 200, 640, 360}, color & 0xFFFFFF);
        std::this_thread::sleep_for(std::chrono::microseconds(16'667));
      }
    });
    report("beside a screen that animates", changeToPicture(painter, pictures));
    const double besideOther = processorAtRest(*queue);
    isOver = true;
    other.join();
    fmt::print("the capture's CPU at rest: alone {:.2f} %, beside a screen that animates {:.2f} % of a core\n",
               processorAtRest(*queue), besideOther);
  }
  screen.hide(*shown);
  return EXIT_SUCCESS;
}
