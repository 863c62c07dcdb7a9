#include "platform/linux/bus/BusConnection.h"

#include <fcntl.h>
#include <poll.h>
#include <sdbus-c++/sdbus-c++.h>

#include <cerrno>
#include <chrono>
#include <future>
#include <limits>
#include <system_error>
#include <thread>
#include <utility>

namespace tandemview {

namespace {

constexpr std::uint64_t noDeadline = std::numeric_limits<std::uint64_t>::max();

/// How many messages one turn may process before other work gets its chance.
constexpr int messagesPerTurn = 64;

BusConnection::Opened openBlocking(BusConnection::Bus bus) {
  try {
    std::shared_ptr<sdbus::IConnection> connection =
        bus == BusConnection::Bus::System ? sdbus::createSystemBusConnection() : sdbus::createSessionBusConnection();
    connection->setMethodCallTimeout(std::chrono::seconds(BusConnection::timeoutSeconds));
    return connection;
  } catch (const sdbus::Error& error) {
    return tl::unexpected(Error{.domain = error.getName(), .description = error.getMessage()});
  }
}

/// Calls `completion` on a thread of its own or, if there is none to be had, at once.
void openAside(BusConnection::Bus bus, const std::function<void(BusConnection::Opened)>& completion) {
  try {
    std::thread([bus, completion] { completion(openBlocking(bus)); }).detach();
  } catch (const std::system_error& error) {
    completion(tl::unexpected(posixError(error.code().value())));
  }
}

}  // namespace

void BusConnection::open(Bus bus, const std::shared_ptr<Queue>& queue, std::function<void(Opened)> completion) {
  openAside(bus, [weakQueue = std::weak_ptr(queue), completion = std::move(completion)](Opened opened) {
    if (const auto live = weakQueue.lock())
      live->async([completion, opened = std::move(opened)] { completion(opened); });
  });
}

BusConnection::Opened BusConnection::open(Bus bus) {
  const auto promise = std::make_shared<std::promise<Opened>>();
  std::future<Opened> opened = promise->get_future();
  openAside(bus, [promise](Opened connection) { promise->set_value(std::move(connection)); });
  if (opened.wait_for(std::chrono::seconds(timeoutSeconds)) != std::future_status::ready) {
    return tl::unexpected(posixError(ETIMEDOUT));
  }
  return opened.get();
}

std::shared_ptr<BusConnection> BusConnection::serving(std::shared_ptr<sdbus::IConnection> bus,
                                                      std::shared_ptr<Queue> queue, Work onLost) {
  std::shared_ptr<BusConnection> connection(new BusConnection(std::move(bus), std::move(queue), std::move(onLost)));
  connection->update();
  return connection;
}

BusConnection::BusConnection(std::shared_ptr<sdbus::IConnection> bus, std::shared_ptr<Queue> queue, Work onLost)
    : bus_(std::move(bus)), queue_(std::move(queue)), onLost_(std::move(onLost)), timerDeadline_(noDeadline) {}

void BusConnection::update() {
  queue_->async(whenAlive([](BusConnection& self) { self.process(); }));
}

void BusConnection::process() {
  if (!onLost_) return;
  try {
    for (int message = 0; message < messagesPerTurn; ++message) {
      if (!bus_->processPendingRequest()) return wait();
    }
    update();
  } catch (const sdbus::Error&) {
    lose();
  }
}

/// What the library waits for changes with each message, so it is asked anew each time.
void BusConnection::wait() {
  const sdbus::IConnection::PollData pollData = bus_->getEventLoopPollData();
  if (!watch_) {
    watched_ = Descriptor(::fcntl(pollData.fd, F_DUPFD_CLOEXEC, 0));
    if (!watched_) return lose();
    auto watch = queue_->watch(watched_.get());
    if (!watch) return lose();
    watch_ = std::move(*watch);
  }
  if (!waitsForReadable_) {
    waitsForReadable_ = true;
    watch_->whenReadable(whenAlive([](BusConnection& self) {
      self.waitsForReadable_ = false;
      self.process();
    }));
  }
  if ((pollData.events & POLLOUT) != 0 && !waitsForWritable_) {
    waitsForWritable_ = true;
    watch_->whenWritable(whenAlive([](BusConnection& self) {
      self.waitsForWritable_ = false;
      self.process();
    }));
  }
  if (pollData.timeout_usec < timerDeadline_) {
    timerDeadline_ = pollData.timeout_usec;
    const std::chrono::duration<double> delay = pollData.getRelativeTimeout().value_or(std::chrono::microseconds(0));
    queue_->after(delay.count(), whenAlive([deadline = timerDeadline_](BusConnection& self) {
                    if (self.timerDeadline_ == deadline) self.timerDeadline_ = noDeadline;
                    self.process();
                  }));
  }
}

void BusConnection::lose() {
  watch_.reset();
  std::exchange(onLost_, nullptr)();
}

Work BusConnection::whenAlive(std::function<void(BusConnection&)> step) {
  return [weak = weak_from_this(), step = std::move(step)] {
    if (const auto self = weak.lock()) step(*self);
  };
}

Descriptor takeDescriptor(sdbus::UnixFd& descriptor) {
  Descriptor taken(descriptor.release());
  ::fcntl(taken.get(), F_SETFD, FD_CLOEXEC);
  return taken;
}

}  // namespace tandemview
