#include "fakes/RecordingWiFiNetwork.h"

#include <cerrno>
#include <utility>

#include "runtime/Assertion.h"

namespace tandemview {

namespace {

struct NamedEndpoint final : WiFiEndpoint {
  explicit NamedEndpoint(std::string endpointName) : name(std::move(endpointName)) {}
  std::string name;
};

}  // namespace

void RecordingWiFiNetwork::Browser::start(WiFiBrowserOutput output) {
  const std::lock_guard lock(mutex_);
  require(!output_.queue, "a browser is started once");
  if (!isCancelled_) output_ = std::move(output);
}

void RecordingWiFiNetwork::Browser::findHosts(const std::vector<std::shared_ptr<const WiFiEndpoint>>& services,
                                              double seconds, HostsCompletion completion) {
  const std::lock_guard lock(mutex_);
  require(!std::exchange(isFindingHosts_, true), "one question at a time");
  output_.queue->after(seconds, [weak = weak_from_this(), services, completion = std::move(completion)] {
    const auto browser = weak.lock();
    if (!browser) return;
    std::vector<HostNames> answers;
    {
      const std::lock_guard innerLock(browser->mutex_);
      browser->isFindingHosts_ = false;
      if (browser->isCancelled_) return;
      for (const auto& service : services) answers.push_back(browser->hostsOf(*service));
    }
    completion(answers);
  });
}

WiFiBrowser::HostNames RecordingWiFiNetwork::Browser::hostsOf(const WiFiEndpoint& service) const {
  const std::string& name = static_cast<const NamedEndpoint&>(service).name;
  const auto found = hosts.find(name);
  return found == hosts.end() ? HostNames{"host-of-" + name + ".local"} : found->second;
}

void RecordingWiFiNetwork::Browser::cancel() {
  const std::lock_guard lock(mutex_);
  isCancelled_ = true;
}

bool RecordingWiFiNetwork::Browser::isRunning() const {
  const std::lock_guard lock(mutex_);
  return output_.queue && !isCancelled_;
}

// The reports below are made even after cancel(): they may have been under way.

void RecordingWiFiNetwork::Browser::becomeReady() {
  const std::lock_guard lock(mutex_);
  output_.queue->async(output_.didBecomeReady);
}

void RecordingWiFiNetwork::Browser::fail(const Error& error) {
  const std::lock_guard lock(mutex_);
  output_.queue->async([report = output_.didFail, error] { report(error); });
}

void RecordingWiFiNetwork::Browser::find(const std::vector<std::string>& names) {
  std::vector<WiFiBrowseResult> results;
  for (const std::string& name : names) {
    results.push_back({.serviceName = name.empty() ? std::nullopt : std::optional(name),
                       .endpoint = std::make_shared<NamedEndpoint>(name)});
  }
  const std::lock_guard lock(mutex_);
  output_.queue->async([report = output_.didChangeResults, results] { report(results); });
}

void RecordingWiFiNetwork::Connection::start(WiFiConnectionOutput output) {
  const std::lock_guard lock(mutex_);
  require(!output_.queue, "a connection is started once");
  output_ = std::move(output);
  if (state_ == State::Idle) state_ = State::Connecting;
}

void RecordingWiFiNetwork::Connection::receive(std::size_t length, ReceiveCompletion completion) {
  const std::lock_guard lock(mutex_);
  require(output_.queue != nullptr, "a connection is started before anything is received");
  require(!receiveCompletion_, "one receive at a time");
  awaitedLength_ = length;
  receiveCompletion_ = std::move(completion);
  if (state_ == State::Ended) return completeReceive({.error = posixError(ECANCELED)});
  serveReceive();
}

void RecordingWiFiNetwork::Connection::send(Data data, SendCompletion completion) {
  const std::lock_guard lock(mutex_);
  require(output_.queue != nullptr, "a connection is started before anything is sent");
  sent_.emplace_back(data.contiguous().text());
  sendCompletions_.push_back(std::move(completion));
  if (state_ == State::Ended) return completeSends(posixError(ECANCELED));
  if (state_ == State::Ready && !holdsSends) completeSends();
}

void RecordingWiFiNetwork::Connection::cancel() {
  const std::lock_guard lock(mutex_);
  if (state_ == State::Ended) return;
  end(posixError(ECANCELED));
  if (output_.queue) report(output_.didCancel);
}

void RecordingWiFiNetwork::Connection::becomeReady() {
  const std::lock_guard lock(mutex_);
  if (state_ != State::Connecting) return;
  state_ = State::Ready;
  report(output_.didBecomeReady);
  if (!holdsSends) completeSends();
  serveReceive();
}

void RecordingWiFiNetwork::Connection::fail(const Error& error) {
  const std::lock_guard lock(mutex_);
  if (state_ == State::Ended) return;
  report([failed = output_.didFail, error] { failed(error); });
  end(error);
}

void RecordingWiFiNetwork::Connection::deliver(std::string_view bytes) {
  const std::lock_guard lock(mutex_);
  arrived_ += bytes;
  serveReceive();
}

void RecordingWiFiNetwork::Connection::endStream() {
  const std::lock_guard lock(mutex_);
  streamEnded_ = true;
  serveReceive();
}

void RecordingWiFiNetwork::Connection::failReceive(const Error& error) {
  const std::lock_guard lock(mutex_);
  if (receiveCompletion_) completeReceive({.error = error});
}

void RecordingWiFiNetwork::Connection::completeSends(const std::optional<Error>& error) {
  const std::lock_guard lock(mutex_);
  require(state_ != State::Connecting, "sends wait until the connection is ready");
  for (SendCompletion& completion : std::exchange(sendCompletions_, {})) {
    report([completion = std::move(completion), error] { completion(error); });
  }
}

void RecordingWiFiNetwork::Connection::holdReports() {
  const std::lock_guard lock(mutex_);
  holdsReports_ = true;
}

void RecordingWiFiNetwork::Connection::releaseReports() {
  const std::lock_guard lock(mutex_);
  holdsReports_ = false;
  for (Work& work : std::exchange(heldReports_, {})) report(std::move(work));
}

bool RecordingWiFiNetwork::Connection::isStarted() const {
  const std::lock_guard lock(mutex_);
  return state_ == State::Connecting || state_ == State::Ready;
}

bool RecordingWiFiNetwork::Connection::hasEnded() const {
  const std::lock_guard lock(mutex_);
  return state_ == State::Ended;
}

std::vector<std::string> RecordingWiFiNetwork::Connection::takeSent() {
  const std::lock_guard lock(mutex_);
  return std::exchange(sent_, {});
}

void RecordingWiFiNetwork::Connection::serveReceive() {
  if (state_ != State::Ready || !receiveCompletion_ || (arrived_.size() < awaitedLength_ && !streamEnded_)) return;
  Received received{.bytes = Data::copying(std::string_view(arrived_).substr(0, awaitedLength_)),
                    .streamEnded = arrived_.size() < awaitedLength_};
  arrived_.erase(0, awaitedLength_);
  completeReceive(std::move(received));
}

void RecordingWiFiNetwork::Connection::completeReceive(Received received) {
  report([completion = std::exchange(receiveCompletion_, nullptr), received = std::move(received)] {
    completion(received);
  });
}

void RecordingWiFiNetwork::Connection::report(Work work) {
  const std::lock_guard lock(mutex_);
  if (holdsReports_) return heldReports_.push_back(std::move(work));
  output_.queue->async(std::move(work));
}

void RecordingWiFiNetwork::Connection::end(const Error& error) {
  state_ = State::Ended;
  failReceive(error);
  completeSends(error);
}

std::shared_ptr<WiFiBrowser> RecordingWiFiNetwork::makeBrowser(const std::string& serviceType) {
  const std::lock_guard lock(mutex_);
  return browsers_.emplace_back(std::make_shared<Browser>(serviceType));
}

std::shared_ptr<WiFiConnection> RecordingWiFiNetwork::makeConnection(
    const std::shared_ptr<const WiFiEndpoint>& endpoint) {
  const std::lock_guard lock(mutex_);
  const auto& named = static_cast<const NamedEndpoint&>(*endpoint);
  return connections_.emplace_back(std::make_shared<Connection>(named.name));
}

std::vector<std::shared_ptr<RecordingWiFiNetwork::Browser>> RecordingWiFiNetwork::browsers() const {
  const std::lock_guard lock(mutex_);
  return browsers_;
}

std::vector<std::shared_ptr<RecordingWiFiNetwork::Connection>> RecordingWiFiNetwork::connections() const {
  const std::lock_guard lock(mutex_);
  return connections_;
}

}  // namespace tandemview
