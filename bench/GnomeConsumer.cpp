// What a GNOME session's pictures cost before they are compared, encoded and sent: the baseline of `./dev bench stream
// --gnome`. Shows a display of the given size, reads the clock in each picture as it arrives, and prints as JSON how
// many came in a second and how old they were. The scene has to run on the display.

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <mutex>
#include <thread>
#include <vector>

#include "companion/ClockPattern.h"
#include "platform/linux/gnome/session/GnomeSession.h"
#include "runtime/MediaClock.h"

namespace {

using namespace tandemview;

constexpr double ignoredSeconds = 3;  // until the scene is there

class Consumer final : public GnomePictureReceiver {
 public:
  void take(const PicturePixels& picture) override {
    ClockPattern::Luminances luminances{};
    for (std::size_t block = 0; block < luminances.size(); ++block) {
      const std::size_t x = (block % ClockPattern::columns) * ClockPattern::blockSize + ClockPattern::blockSize / 2;
      const std::size_t y = (block / ClockPattern::columns) * ClockPattern::blockSize + ClockPattern::blockSize / 2;
      luminances[block] = static_cast<std::uint8_t>(picture.bytes[y * picture.bytesPerRow + x * 4]);
    }
    const double arrived = clock_.now();
    const auto drawn = ClockPattern::read(luminances);
    const std::lock_guard lock(mutex_);
    if (!drawn || arrived < start_ + ignoredSeconds || drawn == last_) return;
    last_ = drawn;
    ages_.push_back(ClockPattern::age(*drawn, arrived) * 1000);
  }
  void sourceEnded(const Error&) override {}

  std::vector<double> ages() {
    const std::lock_guard lock(mutex_);
    return ages_;
  }

 private:
  const SystemMediaClock clock_;
  const double start_ = clock_.now();
  std::mutex mutex_;  // guards what follows
  std::optional<std::uint32_t> last_;
  std::vector<double> ages_;  // milliseconds
};

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) return EXIT_FAILURE;
  const double seconds = std::atof(argv[3]);
  const auto session = GnomeSession::open();
  if (!session->show({.width = std::atoi(argv[1]), .height = std::atoi(argv[2])})) return EXIT_FAILURE;
  const auto consumer = std::make_shared<Consumer>();
  session->sendPicturesTo(consumer);
  std::this_thread::sleep_for(std::chrono::duration<double>(seconds + ignoredSeconds));
  std::vector<double> ages = consumer->ages();
  if (ages.empty()) return EXIT_FAILURE;
  std::sort(ages.begin(), ages.end());
  const auto percentile = [&](double share) { return ages[static_cast<std::size_t>(share * (ages.size() - 1))]; };
  fmt::print("{{\"framesPerSecond\": {}, \"p50\": {}, \"p99\": {}}}\n", ages.size() / seconds, percentile(0.5),
             percentile(0.99));
}
