#include "platform/linux/wifi/AvahiDaemon.h"

#include <sdbus-c++/sdbus-c++.h>

#include <chrono>
#include <utility>

#include "platform/linux/bus/BusService.h"
#include "platform/linux/wifi/AvahiNames.h"
#include "runtime/Log.h"
#include "runtime/Weakly.h"

namespace tandemview {

namespace {

constexpr double reconnectSeconds = 2;

constexpr const char* busName = "org.freedesktop.DBus";
constexpr const char* busPath = "/org/freedesktop/DBus";
constexpr const char* busInterface = "org.freedesktop.DBus";
constexpr const char* signalMatch = "type='signal',sender='org.freedesktop.Avahi'";

/// No answer in time, or none ever.
bool isSilence(const sdbus::Error& error) {
  const std::string& name = error.getName();
  return name == "org.freedesktop.DBus.Error.NoReply" || name == "org.freedesktop.DBus.Error.Timeout" ||
         name == "org.freedesktop.DBus.Error.TimedOut";
}

std::optional<Error> errorFrom(const sdbus::Error* error) {
  if (!error) return std::nullopt;
  return Error{.domain = error->getName(), .description = error->getMessage()};
}

}  // namespace

AvahiDaemon::AvahiDaemon(std::shared_ptr<Queue> queue) : queue_(std::move(queue)) {}

AvahiDaemon::~AvahiDaemon() = default;

void AvahiDaemon::add(const std::shared_ptr<AvahiDaemonUser>& user) {
  std::erase_if(users_, [](const auto& other) { return other.expired(); });
  users_.push_back(user);
  if (isRunning_) return user->daemonDidStart();
  if (!connection_ && !isConnecting_) connect();
}

std::shared_ptr<AvahiObject> AvahiDaemon::make(const std::string& interface, const std::string& method,
                                               const Arguments& arguments, AvahiObject::Output output) {
  const auto made = std::make_shared<AvahiObject>(weak_from_this(), interface, std::move(output));
  call({owner_, AvahiNames::serverPath, AvahiNames::serverInterface, method}, arguments,
       [this, interface, weak = std::weak_ptr(made)](const std::optional<Error>& error, sdbus::MethodReply& reply) {
         const auto object = weak.lock();
         if (error) {
           if (object) object->output().didFail(*error);
           return;
         }
         sdbus::ObjectPath path;
         reply >> path;
         if (!object) return free(path, interface);
         object->setPath(path);
         objects_[path] = object;
         if (object->output().didAppear) object->output().didAppear();
       });
  return made;
}

void AvahiDaemon::call(const AvahiObject& object, const std::string& method, const Arguments& arguments,
                       std::function<void(const std::optional<Error>&)> completion) {
  call({owner_, object.path(), object.interface(), method}, arguments,
       [completion = std::move(completion)](const std::optional<Error>& error, sdbus::MethodReply&) {
         completion(error);
       });
}

void AvahiDaemon::free(const std::string& path, const std::string& interface) {
  objects_.erase(path);
  tell({owner_, path, interface, "Free"}, {});
}

void AvahiDaemon::connect() {
  isConnecting_ = true;
  isFailing_ = false;
  BusConnection::open(BusConnection::Bus::System, queue_, weakly(this, &AvahiDaemon::connected));
}

void AvahiDaemon::connected(BusConnection::Opened opened) {
  isConnecting_ = false;
  if (!opened) return reconnect();
  const auto weak = weak_from_this();
  connection_ = BusConnection::serving(*opened, queue_, weakly(this, &AvahiDaemon::reconnect));
  try {
    ownerWatch_ = watchOwner(connection_->bus(), AvahiNames::service, [weak](const std::string& owner) {
      if (const auto self = weak.lock()) self->setOwner(owner);
    });
    connection_->bus().addMatch(
        signalMatch,
        [weak](sdbus::Message& signal) {
          const auto self = weak.lock();
          if (!self) return;
          try {
            self->signalReported(signal);
          } catch (const sdbus::Error&) {  // arguments of other types than they should be
            self->reconnect();
          }
        },
        sdbus::floating_slot);
  } catch (const sdbus::Error&) {
    return reconnect();
  }
  findOwner();
}

/// The first thing that goes wrong is the last that is tried. Later, since the library may be in the midst of a
/// callback.
void AvahiDaemon::reconnect() {
  if (std::exchange(isFailing_, true)) return;
  queue_->async([weak = weak_from_this()] {
    if (const auto self = weak.lock()) self->disconnect();
  });
}

void AvahiDaemon::disconnect() {
  setOwner({});
  calls_.clear();
  ownerWatch_.reset();
  connection_ = nullptr;
  isConnecting_ = true;
  queue_->after(reconnectSeconds, [weak = weak_from_this()] {
    if (const auto self = weak.lock()) self->connect();
  });
}

void AvahiDaemon::call(const Method& method, const Arguments& arguments, Completion completion) {
  if (!connection_) return;
  const std::uint64_t number = ++callCount_;
  try {
    auto proxy = sdbus::createProxy(connection_->bus(), method.destination, method.path);
    sdbus::MethodCall message = proxy->createMethodCall(method.interface, method.name);
    if (arguments) arguments(message);
    proxy->callMethod(
        message,
        [weak = weak_from_this(), number, destination = method.destination, completion = std::move(completion)](
            sdbus::MethodReply& reply, const sdbus::Error* error) {
          const auto self = weak.lock();
          if (!self) return;
          self->queue_->async([weak, number] {  // the proxy is at work still
            if (const auto later = weak.lock()) later->calls_.erase(number);
          });
          if (destination != busName && destination != self->owner_) return;  // an earlier daemon
          if (error && isSilence(*error)) return self->reconnect();
          try {
            completion(errorFrom(error), reply);
          } catch (const sdbus::Error&) {
            self->reconnect();
          }
        },
        std::chrono::seconds(BusConnection::timeoutSeconds));
    calls_[number] = std::move(proxy);
    connection_->update();
  } catch (const sdbus::Error&) {
    reconnect();
  }
}

/// A call that nobody awaits the answer of.
void AvahiDaemon::tell(const Method& method, const Arguments& arguments) {
  if (!connection_) return;
  try {
    const auto proxy = sdbus::createProxy(connection_->bus(), method.destination, method.path);
    sdbus::MethodCall message = proxy->createMethodCall(method.interface, method.name);
    if (arguments) arguments(message);
    message.dontExpectReply();
    proxy->callMethod(message);
    connection_->update();
  } catch (const sdbus::Error&) {
    reconnect();
  }
}

void AvahiDaemon::findOwner() {
  const auto nameOfService = [](sdbus::Message& call) { call << AvahiNames::service; };
  call({busName, busPath, busInterface, "GetNameOwner"}, nameOfService,
       [this](const std::optional<Error>& error, sdbus::MethodReply& reply) {
         if (!error) {
           std::string owner;
           reply >> owner;
           return setOwner(owner);
         }
         reportAbsence();
         // Where the bus can start it. Who owns the name is heard then.
         tell({busName, busPath, busInterface, "StartServiceByName"},
              [](sdbus::Message& start) { start << AvahiNames::service << std::uint32_t{0}; });
       });
}

void AvahiDaemon::setOwner(const std::string& owner) {
  if (owner == owner_ && !owner.empty()) return;
  stop();
  owner_ = owner;
  if (owner.empty()) return reportAbsence();
  call({owner_, AvahiNames::serverPath, AvahiNames::serverInterface, "GetState"}, {},
       [this](const std::optional<Error>& error, sdbus::MethodReply& reply) {
         if (error) return reconnect();
         std::int32_t state = 0;
         reply >> state;
         setState(state);
       });
}

void AvahiDaemon::signalReported(sdbus::Message& signal) {
  if (owner_.empty() || signal.getSender() != owner_) return;
  const std::string path = signal.getPath();
  const std::string name = signal.getMemberName();
  if (path == AvahiNames::serverPath && name == "StateChanged") {
    std::int32_t state = 0;
    signal >> state;
    return setState(state);
  }
  const auto found = objects_.find(path);
  if (found == objects_.end()) return;
  if (const auto object = found->second.lock()) object->output().didSignal(name, signal);
}

/// Of the other states: it takes up its host's name at its start, and again when the network changes.
void AvahiDaemon::setState(std::int32_t state) {
  if (state == AvahiNames::serverIsRunning) start();
}

void AvahiDaemon::start() {
  if (std::exchange(isRunning_, true)) return;
  if (std::exchange(isAbsent_, false)) Log::line("✅ The Avahi daemon is there");
  for (const auto& user : users()) user->daemonDidStart();
}

void AvahiDaemon::stop() {
  for (const auto& [path, weak] : std::exchange(objects_, {})) {
    if (const auto object = weak.lock()) object->setPath({});
  }
  if (!std::exchange(isRunning_, false)) return;
  for (const auto& user : users()) user->daemonDidStop();
}

void AvahiDaemon::reportAbsence() {
  if (std::exchange(isAbsent_, true)) return;
  Log::line("⚠️ The Avahi daemon is not there: no phone can be found over Wi-Fi until it is");
}

std::vector<std::shared_ptr<AvahiDaemonUser>> AvahiDaemon::users() {
  std::vector<std::shared_ptr<AvahiDaemonUser>> present;
  for (const auto& weak : users_) {
    if (auto user = weak.lock()) present.push_back(std::move(user));
  }
  return present;
}

}  // namespace tandemview
