#pragma once

#include <deque>
#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "wifi/WiFiNetwork.h"

namespace tandemview {

/// A network in memory: it records what is asked of it, and the test plays the phone and the system. What the ports
/// forbid ends the program; what they say of order and time holds here too. Everything may be called from any thread.
class RecordingWiFiNetwork final : public WiFiNetwork {
 public:
  class Browser final : public WiFiBrowser, public std::enable_shared_from_this<Browser> {
   public:
    explicit Browser(std::string type) : serviceType(std::move(type)) {}
    void start(WiFiBrowserOutput output) override;
    void findHosts(const std::vector<std::shared_ptr<const WiFiEndpoint>>& services, double seconds,
                   HostsCompletion completion) override;
    void cancel() override;

    void becomeReady();
    void fail(const Error& error);
    /// Reports services of these names; an empty name stands for an endpoint that is not a service.
    void find(const std::vector<std::string>& names);
    bool isRunning() const;

    const std::string serviceType;
    /// Who announces a service, where it is not a host of the service's own. Set before that is asked.
    std::map<std::string, HostNames> hosts;

   private:
    HostNames hostsOf(const WiFiEndpoint& service) const;

    mutable std::mutex mutex_;
    WiFiBrowserOutput output_;
    bool isCancelled_ = false;
    bool isFindingHosts_ = false;
  };

  class Connection final : public WiFiConnection, public std::enable_shared_from_this<Connection> {
   public:
    explicit Connection(std::string name) : endpointName(std::move(name)) {}
    void start(WiFiConnectionOutput output) override;
    void receive(std::size_t length, ReceiveCompletion completion) override;
    void send(Data data, SendCompletion completion) override;
    void cancel() override;

    void becomeReady();
    void fail(const Error& error);
    void deliver(std::string_view bytes);
    void endStream();
    void failReceive(const Error& error);
    /// Completes the sends under way, with `error` if there is one.
    void completeSends(const std::optional<Error>& error = std::nullopt);
    /// Keeps back what is to be reported, until releaseReports(): reports that are late.
    void holdReports();
    void releaseReports();
    bool isStarted() const;
    bool hasEnded() const;
    /// What has been sent since the last call, joined per send.
    std::vector<std::string> takeSent();

    const std::string endpointName;
    /// Once it is ready, sends wait for completeSends() instead of completing by themselves. Set before that.
    bool holdsSends = false;

   private:
    enum class State { Idle, Connecting, Ready, Ended };

    void serveReceive();
    void report(Work work);
    void end(const Error& error);
    void completeReceive(Received received);

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

  std::shared_ptr<WiFiBrowser> makeBrowser(const std::string& serviceType) override;
  std::shared_ptr<WiFiConnection> makeConnection(const std::shared_ptr<const WiFiEndpoint>& endpoint) override;

  /// All that were made, the newest last.
  std::vector<std::shared_ptr<Browser>> browsers() const;
  std::vector<std::shared_ptr<Connection>> connections() const;

 private:
  mutable std::mutex mutex_;
  std::vector<std::shared_ptr<Browser>> browsers_;
  std::vector<std::shared_ptr<Connection>> connections_;
};

}  // namespace tandemview
