#pragma once

#include <deque>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "wifi/WiFiNetwork.h"

namespace tandemview {

/// A network in memory: it records what is asked of it, and the test plays the phone and the system. Everything may be
/// called from any thread.
class RecordingWiFiNetwork final : public WiFiNetwork {
 public:
  class Browser final : public WiFiBrowser {
   public:
    explicit Browser(std::string type) : serviceType(std::move(type)) {}
    void start(WiFiBrowserOutput output) override;
    void cancel() override;

    void becomeReady();
    void fail(const Error& error);
    /// Reports services of these names; an empty name stands for an endpoint that is not a service.
    void find(const std::vector<std::string>& names);
    bool isRunning() const;

    const std::string serviceType;

   private:
    mutable std::mutex mutex_;
    WiFiBrowserOutput output_;
    bool isCancelled_ = false;
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
    bool isCancelled() const;
    /// What has been sent since the last call, joined per send.
    std::vector<std::string> takeSent();

    const std::string endpointName;
    /// Sends wait for completeSends() instead of completing by themselves. Set before the start.
    bool holdsSends = false;

   private:
    void serveReceive();
    void report(Work work);
    void endPending(const Error& error);

    mutable std::recursive_mutex mutex_;
    WiFiConnectionOutput output_;
    bool isCancelled_ = false;
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
