#pragma once

#import <Network/Network.h>

#include <atomic>
#include <memory>

#include "wifi/WiFiNetwork.h"

namespace tandemview {

class MacWiFiConnection final : public WiFiConnection {
 public:
  explicit MacWiFiConnection(nw_connection_t connection) : connection_(connection) {}
  ~MacWiFiConnection() override;

  void start(WiFiConnectionOutput output) override;
  void receive(std::size_t length, ReceiveCompletion completion) override;
  void send(Data data, SendCompletion completion) override;
  void cancel() override;

 private:
  const nw_connection_t connection_;
  std::shared_ptr<Queue> queue_;  // of the output
  std::atomic<bool> isCancelled_ = false;
  const std::shared_ptr<bool> streamHasEnded_ = std::make_shared<bool>(false);  // on the output's queue
};

}  // namespace tandemview
