#include "platform/linux/gnome/session/DisplayStream.h"

#include <algorithm>
#include <utility>

#include "runtime/Log.h"
#include "runtime/Weakly.h"

namespace tandemview {

namespace {

/// The rate that is negotiated with the size becomes the monitor's. But the compositor's limiter then drops every third
/// picture of a steady source, so that a rate that limits nothing follows, which the monitor's no longer does.
constexpr std::uint32_t refreshRate = 60;
constexpr std::uint32_t unlimitedRate = 1000;
constexpr std::uint32_t otherUnlimitedRate = 999;  // what is the same as before is no question that is answered

/// Seconds for a step before it is repeated, twice as many each time: a busy compositor must not be asked again before
/// it can have answered.
constexpr double shortestPatience = 0.15;
constexpr int mostDoublings = 4;

/// After these in vain the two sides are at odds about the connection.
constexpr int attemptsWithOneConnection = 3;

/// Seconds. A display that is being turned has no receiver for a moment, and the next turn need not wait for a rate.
constexpr double restDelay = 0.5;
constexpr double raiseDelay = 0.3;

/// Seconds. What the user does meanwhile waits; later than that he has turned to something else.
constexpr double longestInterruption = 1;

}  // namespace

void DisplayStream::connect(std::uint32_t node) {
  node_ = node;
  receive();
}

void DisplayStream::resize(const PixelSize& size) {
  if (size_ == size) return;
  size_ = size;
  attempts_ = 0;
  steer();
}

bool DisplayStream::hasSize() const {
  return video_ && !video_->isBusy() && video_->size() == size_;
}

void DisplayStream::sendTo(std::weak_ptr<GnomePictureReceiver> receiver) {
  receiver_ = std::move(receiver);
  isPictureDue_ = true;
  steer();
}

void DisplayStream::sendNoneTo(const std::weak_ptr<GnomePictureReceiver>& receiver) {
  if (receiver_.lock() != receiver.lock()) return;
  receiver_.reset();
  steer();
}

void DisplayStream::end(const Error& why) {
  ++step_;
  setFlow(PictureFlow::None);
  video_ = nullptr;
  if (const auto receiver = std::exchange(receiver_, {}).lock()) receiver->sourceEnded(why);
}

void DisplayStream::receive() {
  interrupt();
  video_ = nullptr;  // the source serves one at a time
  auto video = PipeWireVideo::open(queue_, {.done = weakly(this,
                                                           [](DisplayStream& self) {
                                                             self.events_.changed();
                                                             self.steer();
                                                           }),
                                            .arrived = weakly(this, &DisplayStream::take),
                                            .ended = events_.ended,
                                            .disconnected = events_.disconnected});
  if (!video) return events_.disconnected(video.error().localizedDescription());
  video_ = std::move(*video);
  if (!video_->connect(node_, size_, refreshRate)) return events_.disconnected("it refuses a stream");
  isPictureComing_ = true;
  expect();
}

/// The next step, if there is one to make. What is done while another is under way may leave the two sides at odds.
void DisplayStream::steer() {
  if (!video_ || video_->isBusy()) return;
  if (!video_->hasMemory()) return next(attempts_++ == 0 ? 0 : shortestPatience, &DisplayStream::receive);
  if (video_->size() != size_) {
    isPictureDue_ = true;
    isPictureComing_ = true;
    setFlow(PictureFlow::None);
    video_->negotiate(size_, refreshRate);
    return expect();
  }
  if (!receiver_.expired() && isPictureDue_) {
    if (const auto picture = video_->picture()) return take(*picture);
    if (!std::exchange(isPictureComing_, true) && !video_->start()) return negotiateRate();
    return expect();
  }
  attempts_ = 0;
  if (receiver_.expired()) return next(restDelay, &DisplayStream::rest);
  if (video_->rate() == refreshRate) return next(raiseDelay, &DisplayStream::negotiateRate);
  ++step_;  // there is none
}

/// Unless something else comes first.
void DisplayStream::next(double seconds, void (DisplayStream::*step)()) {
  queue_->after(seconds, weakly(this, [step, number = ++step_](DisplayStream& self) {
                  if (number == self.step_) (self.*step)();
                }));
}

void DisplayStream::expect() {
  next(shortestPatience * (1 << std::min(attempts_, mostDoublings)), &DisplayStream::insist);
}

void DisplayStream::insist() {
  if (++attempts_ > attemptsWithOneConnection) {
    Log::line("⚠️ The display's pictures don't come: connecting to PipeWire anew");
    return receive();
  }
  isPictureComing_ = false;
  expect();
  steer();
}

void DisplayStream::rest() {
  isPictureComing_ = false;
  setFlow(PictureFlow::None);
  video_->stop();
}

/// What is drawn meanwhile is lost. The first picture in the new buffers has been drawn since: from then on the source
/// takes places again, which those in the old ones would not tell.
void DisplayStream::negotiateRate() {
  isPictureDue_ = true;
  isPictureComing_ = true;
  interrupt();
  video_->negotiate(size_, video_->rate() == unlimitedRate ? otherUnlimitedRate : unlimitedRate);
  expect();
}

void DisplayStream::interrupt() {
  if (flow_ != PictureFlow::Coming) return;
  setFlow(PictureFlow::Interrupted);
  queue_->after(longestInterruption, weakly(this, [number = ++interruption_](DisplayStream& self) {
                  if (number == self.interruption_ && self.flow_ == PictureFlow::Interrupted)
                    self.setFlow(PictureFlow::None);
                }));
}

void DisplayStream::setFlow(PictureFlow flow) {
  if (std::exchange(flow_, flow) != flow) events_.flowChanged(flow);
}

void DisplayStream::take(const PicturePixels& picture) {
  if (hasSize()) setFlow(PictureFlow::Coming);
  const auto receiver = receiver_.lock();
  if (!receiver) return;
  receiver->take(picture);
  if (!isPictureDue_ || !hasSize()) return;
  isPictureDue_ = false;
  isPictureComing_ = false;
  queue_->async(weakly(this, &DisplayStream::steer));  // the picture is still in use
}

}  // namespace tandemview
