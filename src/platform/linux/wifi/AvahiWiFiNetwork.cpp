#include "platform/linux/wifi/AvahiWiFiNetwork.h"

#include <cerrno>
#include <mutex>
#include <set>
#include <utility>

#include "platform/linux/wifi/AvahiDaemon.h"
#include "platform/linux/wifi/AvahiEndpoint.h"
#include "platform/linux/wifi/AvahiLink.h"
#include "platform/linux/wifi/AvahiServiceSearch.h"

namespace tandemview {

/// Keeps the searches and links, which live on the queue, for their browsers and connections, which anybody may let go
/// of anywhere. These and the works that they queue hold them weakly: a queue that ends early leaves nothing behind.
struct AvahiWiFiNetwork::Interior {
  explicit Interior(const std::shared_ptr<Queue>& queue) : daemon(std::make_shared<AvahiDaemon>(queue)) {}

  void keep(std::shared_ptr<void> object) {
    const std::lock_guard lock(mutex);
    kept.insert(std::move(object));
  }
  void release(const std::shared_ptr<void>& object) {
    const std::lock_guard lock(mutex);
    kept.erase(object);
  }

  const std::shared_ptr<AvahiDaemon> daemon;
  std::mutex mutex;
  std::set<std::shared_ptr<void>> kept;
};

class AvahiWiFiNetwork::Browser final : public WiFiBrowser {
 public:
  Browser(const std::shared_ptr<Interior>& interior, const std::string& serviceType)
      : queue_(interior->daemon->queue()), interior_(interior) {
    const auto search = std::make_shared<AvahiServiceSearch>(interior->daemon, serviceType);
    search_ = search;
    interior->keep(search);
  }

  ~Browser() override {
    queue_->async([weak = search_, weakInterior = interior_] {
      const auto search = weak.lock();
      const auto interior = weakInterior.lock();
      if (!search || !interior) return;
      search->cancel();
      interior->release(search);
    });
  }

  void start(WiFiBrowserOutput output) override {
    output.queue = nullptr;  // it must not keep itself
    queue_->async([weak = search_, output = std::move(output)] {
      if (const auto search = weak.lock()) search->start(output);
    });
  }

  void findHosts(const std::vector<std::shared_ptr<const WiFiEndpoint>>& services, double seconds,
                 HostsCompletion completion) override {
    queue_->async([weak = search_, services, seconds, completion = std::move(completion)] {
      if (const auto search = weak.lock()) search->findHosts(services, seconds, completion);
    });
  }

  void cancel() override {
    queue_->async([weak = search_] {
      if (const auto search = weak.lock()) search->cancel();
    });
  }

 private:
  const std::shared_ptr<Queue> queue_;
  const std::weak_ptr<Interior> interior_;
  std::weak_ptr<AvahiServiceSearch> search_;
};

class AvahiWiFiNetwork::Connection final : public WiFiConnection {
 public:
  Connection(const std::shared_ptr<Interior>& interior, std::shared_ptr<const AvahiEndpoint> endpoint)
      : queue_(interior->daemon->queue()), interior_(interior) {
    const auto link = std::make_shared<AvahiLink>(interior->daemon, std::move(endpoint));
    link_ = link;
    interior->keep(link);
  }

  ~Connection() override {
    queue_->async([weak = link_, weakInterior = interior_] {
      const auto link = weak.lock();
      const auto interior = weakInterior.lock();
      if (!link || !interior) return;
      link->abandon();
      interior->release(link);
    });
  }

  void start(WiFiConnectionOutput output) override {
    output.queue = nullptr;  // it must not keep itself
    queue_->async([weak = link_, output = std::move(output)] {
      if (const auto link = weak.lock()) link->start(output);
    });
  }

  void receive(std::size_t length, ReceiveCompletion completion) override {
    queue_->async([weak = link_, length, completion = std::move(completion)] {
      if (const auto link = weak.lock()) return link->receive(length, completion);
      completion({.error = posixError(ECANCELED)});
    });
  }

  void send(Data data, SendCompletion completion) override {
    queue_->async([weak = link_, data = std::move(data), completion = std::move(completion)] {
      if (const auto link = weak.lock()) return link->send(data, completion);
      completion(posixError(ECANCELED));
    });
  }

  void cancel() override {
    queue_->async([weak = link_] {
      if (const auto link = weak.lock()) link->cancel();
    });
  }

 private:
  const std::shared_ptr<Queue> queue_;
  const std::weak_ptr<Interior> interior_;
  std::weak_ptr<AvahiLink> link_;
};

AvahiWiFiNetwork::AvahiWiFiNetwork(std::shared_ptr<Queue> queue)
    : interior_(std::make_shared<Interior>(std::move(queue))) {}

AvahiWiFiNetwork::~AvahiWiFiNetwork() = default;

std::shared_ptr<WiFiBrowser> AvahiWiFiNetwork::makeBrowser(const std::string& serviceType) {
  return std::make_shared<Browser>(interior_, serviceType);
}

std::shared_ptr<WiFiConnection> AvahiWiFiNetwork::makeConnection(const std::shared_ptr<const WiFiEndpoint>& endpoint) {
  return std::make_shared<Connection>(interior_, std::dynamic_pointer_cast<const AvahiEndpoint>(endpoint));
}

}  // namespace tandemview
