#include "fakes/RecordingWiFiNetwork.h"

#include <cerrno>
#include <utility>

namespace tandemview {

namespace {

struct NamedEndpoint final : WiFiEndpoint {
  explicit NamedEndpoint(std::string endpointName) : name(std::move(endpointName)) {}
  std::string name;
};

}  // namespace

void RecordingWiFiNetwork::Browser::start(WiFiBrowserOutput output) {
  const std::lock_guard lock(mutex_);
  if (!isCancelled_) output_ = std::move(output);
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
  output_ = std::move(output);
}

void RecordingWiFiNetwork::Connection::receive(std::size_t length, ReceiveCompletion completion) {
  const std::lock_guard lock(mutex_);
  awaitedLength_ = length;
  receiveCompletion_ = std::move(completion);
  serveReceive();
}

void RecordingWiFiNetwork::Connection::send(Data data, SendCompletion completion) {
  const std::lock_guard lock(mutex_);
  sent_.emplace_back(data.contiguous().text());
  sendCompletions_.push_back(std::move(completion));
  if (isCancelled_) return completeSends(posixError(ECANCELED));
  if (!holdsSends) completeSends();
}

void RecordingWiFiNetwork::Connection::cancel() {
  const std::lock_guard lock(mutex_);
  if (std::exchange(isCancelled_, true) || !output_.queue) return;
  endPending(posixError(ECANCELED));
  report(output_.didCancel);
}

void RecordingWiFiNetwork::Connection::becomeReady() {
  report(output_.didBecomeReady);
}

void RecordingWiFiNetwork::Connection::fail(const Error& error) {
  const std::lock_guard lock(mutex_);
  report([failed = output_.didFail, error] { failed(error); });
  endPending(error);
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
  if (!receiveCompletion_) return;
  report([completion = std::exchange(receiveCompletion_, nullptr), error] { completion({.error = error}); });
}

void RecordingWiFiNetwork::Connection::completeSends(const std::optional<Error>& error) {
  const std::lock_guard lock(mutex_);
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
  return output_.queue != nullptr;
}

bool RecordingWiFiNetwork::Connection::isCancelled() const {
  const std::lock_guard lock(mutex_);
  return isCancelled_;
}

std::vector<std::string> RecordingWiFiNetwork::Connection::takeSent() {
  const std::lock_guard lock(mutex_);
  return std::exchange(sent_, {});
}

void RecordingWiFiNetwork::Connection::serveReceive() {
  if (!receiveCompletion_ || (arrived_.size() < awaitedLength_ && !streamEnded_)) return;
  Received received{.bytes = Data::copying(std::string_view(arrived_).substr(0, awaitedLength_)),
                    .streamEnded = arrived_.size() < awaitedLength_};
  arrived_.erase(0, awaitedLength_);
  report([completion = std::exchange(receiveCompletion_, nullptr), received] { completion(received); });
}

void RecordingWiFiNetwork::Connection::report(Work work) {
  const std::lock_guard lock(mutex_);
  if (holdsReports_) return heldReports_.push_back(std::move(work));
  output_.queue->async(std::move(work));
}

void RecordingWiFiNetwork::Connection::endPending(const Error& error) {
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
