#pragma once

#include <cerrno>
#include <deque>
#include <mutex>
#include <utility>

#include "runtime/Assertion.h"
#include "wifi/WiFiNetwork.h"

namespace tandemview {

/// A network in memory: it records what is asked of it, and the test plays the phone and the system. What the ports
/// forbid ends the program; what they say of order and time holds here too. Everything may be called from any thread.
class RecordingWiFiNetwork final : public WiFiNetwork {
 public:
  class Browser final : public WiFiBrowser, public std::enable_shared_from_this<Browser> {
   public:
    explicit Browser(std::string type) : serviceType(std::move(type)) {}

    void start(WiFiBrowserOutput output) override {
      const std::lock_guard lock(mutex_);
      require(!output_.queue, "a browser is started once");
      if (!isCancelled_) output_ = std::move(output);
    }
    void findHosts(const std::vector<std::shared_ptr<const WiFiEndpoint>>& services, double seconds,
                   HostsCompletion completion) override {
      const std::lock_guard lock(mutex_);
      require(!std::exchange(isFindingHosts_, true), "one question at a time");
      output_.queue->after(seconds, [weak = weak_from_this(), services, completion = std::move(completion)] {
        const auto browser = weak.lock();
        if (browser && browser->endQuestion()) completion(browser->hostsOf(services));
      });
    }
    void cancel() override {
      const std::lock_guard lock(mutex_);
      isCancelled_ = true;
    }
    bool isRunning() const {
      const std::lock_guard lock(mutex_);
      return output_.queue && !isCancelled_;
    }

    // These reports are made even after cancel(): they may have been under way.

    void becomeReady() {
      const std::lock_guard lock(mutex_);
      output_.queue->async(output_.didBecomeReady);
    }
    void fail(const Error& error) {
      const std::lock_guard lock(mutex_);
      output_.queue->async([report = output_.didFail, error] { report(error); });
    }
    /// Reports services of these names; an empty name stands for an endpoint that is not a service.
    void find(const std::vector<std::string>& names) {
      std::vector<WiFiBrowseResult> results;
      for (const std::string& name : names) {
        results.push_back({.serviceName = name.empty() ? std::nullopt : std::optional(name),
                           .endpoint = std::make_shared<NamedEndpoint>(name)});
      }
      const std::lock_guard lock(mutex_);
      output_.queue->async([report = output_.didChangeResults, results] { report(results); });
    }

    const std::string serviceType;
    /// Who announces a service, where it is not a host of the service's own. Set before that is asked.
    std::map<std::string, HostNames> hosts;

   private:
    /// Whether it is still to be answered.
    bool endQuestion() {
      const std::lock_guard lock(mutex_);
      isFindingHosts_ = false;
      return !isCancelled_;
    }
    std::vector<HostNames> hostsOf(const std::vector<std::shared_ptr<const WiFiEndpoint>>& services) const {
      std::vector<HostNames> answers;
      for (const auto& service : services) {
        const auto found = hosts.find(nameOf(*service));
        answers.push_back(found == hosts.end() ? HostNames{"host-of-" + nameOf(*service) + ".local"} : found->second);
      }
      return answers;
    }

    mutable std::mutex mutex_;
    WiFiBrowserOutput output_;
    bool isCancelled_ = false;
    bool isFindingHosts_ = false;
  };

  class Connection final : public WiFiConnection {
   public:
    explicit Connection(std::string name) : endpointName(std::move(name)) {}

    void start(WiFiConnectionOutput output) override {
      const std::lock_guard lock(mutex_);
      require(!output_.queue, "a connection is started once");
      output_ = std::move(output);
      if (state_ == State::Idle) state_ = State::Connecting;
    }
    void receive(std::size_t length, ReceiveCompletion completion) override {
      const std::lock_guard lock(mutex_);
      require(output_.queue != nullptr, "a connection is started before anything is received");
      require(!receiveCompletion_, "one receive at a time");
      awaitedLength_ = length;
      receiveCompletion_ = std::move(completion);
      if (state_ == State::Ended) return completeReceive({.error = posixError(ECANCELED)});
      serveReceive();
    }
    void send(Data data, SendCompletion completion) override {
      const std::lock_guard lock(mutex_);
      require(output_.queue != nullptr, "a connection is started before anything is sent");
      sent_.emplace_back(data.contiguous().text());
      sendCompletions_.push_back(std::move(completion));
      if (state_ == State::Ended) return completeSends(posixError(ECANCELED));
      if (state_ == State::Ready && !holdsSends) completeSends();
    }
    void cancel() override {
      const std::lock_guard lock(mutex_);
      if (state_ == State::Ended) return;
      end(posixError(ECANCELED));
      if (output_.queue) report(output_.didCancel);
    }

    void becomeReady() {
      const std::lock_guard lock(mutex_);
      if (state_ != State::Connecting) return;
      state_ = State::Ready;
      report(output_.didBecomeReady);
      if (!holdsSends) completeSends();
      serveReceive();
    }
    void fail(const Error& error) {
      const std::lock_guard lock(mutex_);
      if (state_ == State::Ended) return;
      report([failed = output_.didFail, error] { failed(error); });
      end(error);
    }
    void deliver(std::string_view bytes) {
      const std::lock_guard lock(mutex_);
      arrived_ += bytes;
      serveReceive();
    }
    void endStream() {
      const std::lock_guard lock(mutex_);
      streamEnded_ = true;
      serveReceive();
    }
    void failReceive(const Error& error) {
      const std::lock_guard lock(mutex_);
      if (receiveCompletion_) completeReceive({.error = error});
    }
    /// Completes the sends under way, with `error` if there is one.
    void completeSends(const std::optional<Error>& error = std::nullopt) {
      const std::lock_guard lock(mutex_);
      require(state_ != State::Connecting, "sends wait until the connection is ready");
      for (SendCompletion& completion : std::exchange(sendCompletions_, {})) {
        report([completion = std::move(completion), error] { completion(error); });
      }
    }
    /// Keeps back what is to be reported, until releaseReports(): reports that are late.
    void holdReports() {
      const std::lock_guard lock(mutex_);
      holdsReports_ = true;
    }
    void releaseReports() {
      const std::lock_guard lock(mutex_);
      holdsReports_ = false;
      for (Work& work : std::exchange(heldReports_, {})) report(std::move(work));
    }
    bool isStarted() const {
      const std::lock_guard lock(mutex_);
      return state_ == State::Connecting || state_ == State::Ready;
    }
    /// What has been sent since the last call, joined per send.
    std::vector<std::string> takeSent() {
      const std::lock_guard lock(mutex_);
      return std::exchange(sent_, {});
    }

    const std::string endpointName;
    /// Once it is ready, sends wait for completeSends() instead of completing by themselves. Set before that.
    bool holdsSends = false;

   private:
    enum class State { Idle, Connecting, Ready, Ended };

    void serveReceive() {
      const bool isShort = arrived_.size() < awaitedLength_;
      if (state_ != State::Ready || !receiveCompletion_ || (isShort && !streamEnded_)) return;
      Received received{.bytes = Data::copying(std::string_view(arrived_).substr(0, awaitedLength_)),
                        .streamEnded = isShort};
      arrived_.erase(0, awaitedLength_);
      completeReceive(std::move(received));
    }
    void completeReceive(Received received) {
      report([completion = std::exchange(receiveCompletion_, nullptr), received = std::move(received)] {
        completion(received);
      });
    }
    void report(Work work) {
      if (holdsReports_) return heldReports_.push_back(std::move(work));
      output_.queue->async(std::move(work));
    }
    void end(const Error& error) {
      state_ = State::Ended;
      failReceive(error);
      completeSends(error);
    }

    mutable std::recursive_mutex mutex_;
    WiFiConnectionOutput output_;
    State state_ = State::Idle;
    bool holdsReports_ = false;
    std::deque<Work> heldReports_;
    std::string arrived_;
    bool streamEnded_ = false;
    std::size_t awaitedLength_ = 0;
    ReceiveCompletion receiveCompletion_;
    std::vector<std::string> sent_;
    std::deque<SendCompletion> sendCompletions_;
  };

  std::shared_ptr<WiFiBrowser> makeBrowser(const std::string& serviceType) override {
    const std::lock_guard lock(mutex_);
    return browsers_.emplace_back(std::make_shared<Browser>(serviceType));
  }
  std::shared_ptr<WiFiConnection> makeConnection(const std::shared_ptr<const WiFiEndpoint>& endpoint) override {
    const std::lock_guard lock(mutex_);
    return connections_.emplace_back(std::make_shared<Connection>(nameOf(*endpoint)));
  }

  /// All that were made, the newest last.
  std::vector<std::shared_ptr<Browser>> browsers() const {
    const std::lock_guard lock(mutex_);
    return browsers_;
  }
  std::vector<std::shared_ptr<Connection>> connections() const {
    const std::lock_guard lock(mutex_);
    return connections_;
  }

 private:
  struct NamedEndpoint final : WiFiEndpoint {
    explicit NamedEndpoint(std::string endpointName) : name(std::move(endpointName)) {}
    std::string name;
  };
  static const std::string& nameOf(const WiFiEndpoint& endpoint) {
    return static_cast<const NamedEndpoint&>(endpoint).name;
  }

  mutable std::mutex mutex_;
  std::vector<std::shared_ptr<Browser>> browsers_;
  std::vector<std::shared_ptr<Connection>> connections_;
};

}  // namespace tandemview
