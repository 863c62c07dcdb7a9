#include "platform/linux/gnome/session/GnomeSession.h"

#include <algorithm>
#include <chrono>
#include <future>
#include <utility>

#include "capture/CaptureSystem.h"
#include "platform/linux/gnome/session/ScreenPlan.h"
#include "runtime/Log.h"

namespace tandemview {

namespace {

/// What the compositor calls the monitors that it makes for us.
constexpr const char* virtualProduct = "Virtual remote monitor";

/// Seconds.
constexpr double creationPatience = 5;
constexpr double resizePatience = 0.25;
constexpr double removalPatience = 1;
constexpr double movePatience = 2;

/// From the moment at which the lock screen ends the display until it is up and tells so: 2.3 seconds at most were
/// seen. One that is unlocked before tells nothing.
constexpr double lockPatience = 5;

/// Who ends a display ends its pictures first and tells of it right after. PipeWire's own end may come last of all.
constexpr double endPatience = 2;
constexpr double reasonPatience = 0.2;

/// Until a compositor that didn't answer is asked again: it need not tell of the same change twice.
constexpr double lookPause = 0.1;

/// For an arrangement that others change at the same time.
constexpr int mostAttempts = 3;

/// Seconds after a change of ours in which the compositor may lay its monitors out in a row once more.
constexpr double rowPatience = 2;

Error displayGone() {
  return {.domain = "TVCaptureErrorDomain", .code = 1, .description = "The display is not there"};
}

Error stoppedByUser() {
  return {.domain = userStoppedDomain, .code = 1, .description = "The user has stopped the sharing"};
}

}  // namespace

std::shared_ptr<GnomeSession> GnomeSession::open(std::shared_ptr<UserDefaults> settings) {
  const std::shared_ptr<GnomeSession> session(new GnomeSession(std::move(settings)));
  const auto bus = BusConnection::open(BusConnection::Bus::Session);
  if (!bus) return session;
  session->ask(BusConnection::timeoutSeconds, [&self = *session, bus = *bus](const Answer& answer) {
    self.start(bus);
    answer(true);
  });
  return session;
}

GnomeSession::GnomeSession(std::shared_ptr<UserDefaults> settings)
    : queue_(SerialQueue::withThread("gnome")),
      remoteDesktop_(std::make_shared<GnomeRemoteDesktop>(queue_)),
      places_(std::move(settings)) {}

GnomeSession::~GnomeSession() {
  hide();
  ask(removalPatience, [this](const Answer& answer) {
    lock_ = nullptr;
    config_ = nullptr;
    bus_ = nullptr;
    answer(true);
  });
  queue_->stopAndJoin();
}

void GnomeSession::start(const std::shared_ptr<sdbus::IConnection>& bus) {
  bus_ = BusConnection::serving(bus, queue_, [this] {
    // The connection is in use while it tells of its end.
    soon([this] {
      remove(displayGone());
      lock_ = nullptr;
      config_ = nullptr;
      bus_ = nullptr;
      const std::lock_guard lock(mutex_);
      isOffered_ = false;
      ended_.tell();
    });
  });
  try {
    config_ = std::make_unique<MutterDisplayConfig>(
        *bus_, [this] { soon([this] { look(); }); },
        [this](bool isThere) { soon([=, this] { compositorChanged(isThere); }); });
    lock_ = std::make_unique<ScreenLock>(
        *bus_, [this](bool isLocked) { soon([=, this] { lockChanged(isLocked); }); },
        [this] {
          soon([this] {
            if (isLocked_) bringBack();
          });
        });
  } catch (const sdbus::Error&) {
    return;
  }
  bus_->update();
  const auto layout = config_->read();
  if (!layout) return;
  settle(*layout);
  const std::lock_guard lock(mutex_);
  isOffered_ = true;
}

void GnomeSession::onArrangementChange(std::shared_ptr<Queue> queue, Work changed) {
  const std::lock_guard lock(mutex_);
  arrangementChanged_ = {.queue = std::move(queue), .work = std::move(changed)};
}

void GnomeSession::onEnd(std::shared_ptr<Queue> queue, Work ended) {
  const std::lock_guard lock(mutex_);
  ended_ = {.queue = std::move(queue), .work = std::move(ended)};
}

bool GnomeSession::isOffered() const {
  const std::lock_guard lock(mutex_);
  return isOffered_;
}

GnomeLayout GnomeSession::layout() const {
  const std::lock_guard lock(mutex_);
  return layout_;
}

std::optional<DisplayID> GnomeSession::display() const {
  const std::lock_guard lock(mutex_);
  return display_;
}

bool GnomeSession::isWithheld() const {
  const std::lock_guard lock(mutex_);
  return isWithheld_;
}

bool GnomeSession::show(const PixelSize& size) {
  if (size.width < 1 || size.height < 1 || size.width > longestSide || size.height > longestSide) return false;
  const bool isThere = display().has_value();
  const auto isShown =
      ask(isThere ? resizePatience : creationPatience, [this, size](const Answer& done) { beginShow(size, done); });
  if (isShown) return *isShown;
  if (isThere) return true;
  Log::print("⚠️ GNOME has shown no display within {} seconds", creationPatience);
  hide();
  return false;
}

void GnomeSession::hide() {
  ask(removalPatience, [this](const Answer& answer) {
    remove(displayGone());
    if (!isChanging_) return answer(true);
    asked_.push_back(answer);
  });
}

bool GnomeSession::move(DisplayID display, std::int32_t x, std::int32_t y) {
  const auto request = [=, this](const Answer& answer) {
    auto layout = config_ && !isChanging_ ? config_->read() : std::nullopt;
    if (layout && isRowAgain(*layout)) layout = arrange(*layout);
    const GnomeLayout::Monitor* const monitor = layout ? layout->monitor(display) : nullptr;
    const GnomeLayout::Screen* const screen = monitor ? layout->screenOf(*monitor) : nullptr;
    if (!screen || !config_->apply(*layout, movedScreens(*layout, *screen, x, y))) return answer(false);
    if (const auto moved = config_->read()) settle(*moved);
    answer(true);
  };
  return ask(movePatience, request).value_or(false);
}

void GnomeSession::sendPicturesTo(std::weak_ptr<GnomePictureReceiver> receiver) {
  soon([this, receiver = std::move(receiver)] {
    const auto live = receiver.lock();
    if (!live) return;
    if (!stream_) return live->sourceEnded(displayGone());
    stream_->sendTo(receiver);
  });
}

void GnomeSession::sendNoPicturesTo(std::weak_ptr<GnomePictureReceiver> receiver) {
  soon([this, receiver = std::move(receiver)] {
    if (stream_) stream_->sendNoneTo(receiver);
  });
}

/// Absent if there has been no answer in that time, in seconds.
std::optional<bool> GnomeSession::ask(double patience, std::function<void(Answer)> request) {
  const auto promise = std::make_shared<std::promise<bool>>();
  auto reply = promise->get_future();
  soon([request = std::move(request), promise] {
    request([promise](bool succeeded) { promise->set_value(succeeded); });
  });
  if (reply.wait_for(std::chrono::duration<double>(patience)) != std::future_status::ready) return std::nullopt;
  return reply.get();
}

/// The queue ends before the session does.
void GnomeSession::soon(std::function<void()> step) {
  queue_->async(std::move(step));
}

void GnomeSession::beginShow(const PixelSize& size, const Answer& answer) {
  if (!config_) return answer(false);
  if (withheldSize_ != PixelSize()) {
    withheldSize_ = size;
    return answer(true);
  }
  const bool isAsked = size_ == size;
  if (isAsked && !isChanging_) return answer(true);
  asked_.push_back(answer);
  if (isAsked) return look();
  size_ = size;
  isChanging_ = true;
  if (!cast_) return create();
  stream_->resize(size_);
}

void GnomeSession::create() {
  ours_ = std::nullopt;  // one that is on its way out is not ours any more
  ++run_;
  stream_ = makeStream();
  auto cast = MutterCast::start(*bus_, {.streamAdded = [this](std::uint32_t node) { stream_->connect(node); },
                                        .closed =
                                            [this, run = run_] {
                                              soon([this, run] {
                                                if (run == run_) closed();
                                              });
                                            }});
  if (cast) {
    cast_ = std::move(*cast);
    return;
  }
  if (isLocked_) return withhold();
  Log::print("⚠️ GNOME makes no display now: {}", cast.error().localizedDescription());
  remove(displayGone());
}

/// Whoever has asked for the display need not ask again.
void GnomeSession::withhold() {
  const PixelSize size = size_;
  auto asked = std::exchange(asked_, {});
  remove(displayGone());
  withheldSize_ = size;
  tellWhetherWithheld();
  asked_ = std::move(asked);
  answer(true);
  queue_->after(lockPatience, [this, run = run_] {
    if (run == run_ && !isLocked_) bringBack();
  });
}

std::shared_ptr<DisplayStream> GnomeSession::makeStream() {
  return std::make_shared<DisplayStream>(
      queue_, size_,
      DisplayStream::Events{.changed =
                                [this] {
                                  soon([this] {
                                    if (isChanging_) look();
                                  });
                                },
                            .flowChanged = [this](PictureFlow flow) { remoteDesktop_->setFlow(flow); },
                            .ended =
                                [this] {
                                  if (ending_.empty()) endSoon(Cause::Failure, "📺 The display's pictures have ended");
                                },
                            .disconnected =
                                [this, run = run_](const std::string& why) {
                                  soon([this, run, why] {
                                    if (run != run_) return;
                                    end(Cause::Failure, "📺 The display's pictures have ended: PipeWire says: " + why);
                                  });
                                }});
}

/// The desktop ends what it forbids, and tells of the lock itself only when its screen is up. What it ends and yet
/// allows is what the user has stopped.
void GnomeSession::closed() {
  const auto isAllowed = MutterCast::isAllowed();
  if (!isAllowed) return endSoon(Cause::Failure, "📺 GNOME has ended the display");
  if (*isAllowed) return endSoon(Cause::User, "📺 GNOME has ended the display: sharing was stopped");
  endSoon(Cause::Lock, "📺 GNOME has ended the display: the screen is locked");
}

void GnomeSession::endSoon(Cause cause, const std::string& why) {
  ending_ = why;
  queue_->after(cause == Cause::Failure ? endPatience : reasonPatience, [=, this, run = run_] {
    if (run == run_ && ending_ == why) end(cause, why);
  });
}

void GnomeSession::end(Cause cause, const std::string& why) {
  if (!cast_) return;
  Log::line(why);
  if (cause == Cause::Lock) return withhold();
  remove(cause == Cause::User ? stoppedByUser() : displayGone());
}

void GnomeSession::remove(const Error& why) {
  ++run_;
  withheldSize_ = {};
  ending_.clear();
  remoteDesktop_->end();
  {
    const std::lock_guard lock(mutex_);
    display_ = std::nullopt;
  }
  if (const auto stream = std::exchange(stream_, nullptr)) stream->end(why);
  cast_ = nullptr;
  size_ = {};
  answer(false);
  tellWhetherWithheld();
  isChanging_ = ours_.has_value();
  if (!isChanging_) return;
  places_.remove(*ours_);
  settled_.screens = withoutMonitor(settled_, *ours_);
  look();
}

void GnomeSession::compositorChanged(bool isThere) {
  {
    const std::lock_guard lock(mutex_);
    isOffered_ = isThere;
  }
  if (isThere) return look();
  withheldSize_ = {};
  tellWhetherWithheld();
  end(Cause::Failure, "📺 GNOME's compositor has gone, and the display with it");
  ours_ = std::nullopt;
  isChanging_ = false;
  answer(true);
  publish({});
}

void GnomeSession::lockChanged(bool isLocked) {
  isLocked_ = isLocked;
  if (!isLocked) bringBack();
}

void GnomeSession::bringBack() {
  if (withheldSize_ == PixelSize()) return;
  isComingBack_ = true;
  beginShow(std::exchange(withheldSize_, {}), [this](bool) {
    isComingBack_ = false;
    tellWhetherWithheld();
  });
  queue_->after(creationPatience, [this, run = run_] {
    if (run == run_ && isComingBack_) end(Cause::Failure, "⚠️ GNOME has shown no display after the unlocking");
  });
}

void GnomeSession::tellWhetherWithheld() {
  const bool isWithheld = isComingBack_ || withheldSize_ != PixelSize();
  const std::lock_guard lock(mutex_);
  if (std::exchange(isWithheld_, isWithheld) != isWithheld) arrangementChanged_.tell();
}

void GnomeSession::look() {
  if (!config_ || !isOffered()) return;
  const auto layout = config_->read();
  if (!layout) return queue_->after(lookPause, [this] { look(); });
  if (!isChanging_) {
    if (isRowAgain(*layout)) return settle(arrange(*layout));
    places_.look(arrangementOf(*layout));
    settled_ = *layout;
    return publish(*layout);
  }
  // It may be from before our display was told its size, and what has its size already is to be arranged first.
  if (cast_ && !stream_->hasSize()) return;
  if (!hasArrived(*layout)) return publish(*layout);
  settle(arrange(*layout));
  isChanging_ = false;
  if (!cast_) {
    ours_ = std::nullopt;
    return answer(true);
  }
  {
    const std::lock_guard lock(mutex_);
    display_ = ours_;
  }
  remoteDesktop_->begin(bus_, cast_->remoteDesktop(), cast_->stream());
  answer(true);
}

/// Whether our display has come, in its size, or gone.
bool GnomeSession::hasArrived(const GnomeLayout& layout) {
  if (!cast_) return !layout.monitor(*ours_);
  if (!ours_) {
    const auto found = std::ranges::find_if(layout.monitors, [this](const GnomeLayout::Monitor& monitor) {
      return monitor.product == virtualProduct && monitor.size == size_ && !settled_.monitor(monitor.id);
    });
    if (found == layout.monitors.end()) return false;
    ours_ = found->id;
    places_.add(found->id);
  }
  const GnomeLayout::Monitor* const own = layout.monitor(*ours_);
  return own && layout.screenOf(*own) && own->size == size_;
}

/// The compositor lays all monitors out in a row when one of ours comes, changes or goes.
GnomeLayout GnomeSession::arrange(GnomeLayout layout) {
  for (int attempt = 0; attempt < mostAttempts; ++attempt) {
    std::optional<DisplayPlace> place;
    if (cast_) {
      place = places_.find(static_cast<std::uint32_t>(size_.width), static_cast<std::uint32_t>(size_.height));
      if (!place) place = DisplayPlace::of(arrangementOf(settled_), *ours_);
    }
    for (const auto& screens : plannedScreens(layout, settled_, ours_, place)) {
      if (screens == layout.screens) return layout;
      if (!config_->apply(layout, screens)) continue;
      undone_ = layout.screens;
      undoneUntil_ = clock_.now() + rowPatience;
      layout.screens = screens;
      const auto arranged = config_->read();
      return arranged && !isRowAgain(*arranged) ? *arranged : layout;
    }
    auto current = config_->read();
    if (!current || current->serial == layout.serial) break;
    layout = std::move(*current);
  }
  Log::line("⚠️ GNOME doesn't take the arrangement of the monitors that there was before");
  return layout;
}

/// Whether this is what we have undone, and no user's doing.
bool GnomeSession::isRowAgain(const GnomeLayout& layout) const {
  return clock_.now() < undoneUntil_ && layout.screens == undone_;
}

/// Takes the layout for what we have made of it.
void GnomeSession::settle(const GnomeLayout& layout) {
  places_.arranged(arrangementOf(layout));
  settled_ = layout;
  publish(layout);
}

void GnomeSession::answer(bool succeeded) {
  for (const Answer& answer : std::exchange(asked_, {})) answer(succeeded);
}

void GnomeSession::publish(const GnomeLayout& layout) {
  const std::lock_guard lock(mutex_);
  layout_ = layout;
  arrangementChanged_.tell();
}

}  // namespace tandemview
