#pragma once

#include <avahi-client/lookup.h>

#include <map>
#include <memory>
#include <set>
#include <string>

#include "platform/linux/AvahiDaemon.h"
#include "platform/linux/AvahiEndpoint.h"
#include "wifi/WiFiNetwork.h"

namespace tandemview {

/// The work of one browser, on the daemon's queue. It goes on across restarts of the daemon.
class AvahiServiceSearch final : public AvahiDaemonUser, public std::enable_shared_from_this<AvahiServiceSearch> {
 public:
  AvahiServiceSearch(std::shared_ptr<AvahiDaemon> daemon, std::string serviceType);

  /// Without the output's queue: reports come on the daemon's.
  void start(WiFiBrowserOutput output);
  void cancel();

  /// Reports the same findings once more, a little later: one of them could not be reached.
  void reportAgain();

 private:
  enum class State { Idle, Running, Ended };
  using Browser = std::unique_ptr<AvahiServiceBrowser, int (*)(AvahiServiceBrowser*)>;

  void daemonDidStart(AvahiClient& client) override;
  void daemonDidStop() override;
  static void browserReported(AvahiServiceBrowser* browser, AvahiIfIndex interface, AvahiProtocol protocol,
                              AvahiBrowserEvent event, const char* name, const char* type, const char* domain,
                              AvahiLookupResultFlags flags, void* search);
  void fail(const Error& error);
  void resultsChanged();
  void reportAfter(double delay);
  void report();

  const std::shared_ptr<AvahiDaemon> daemon_;
  const std::string serviceType_;
  WiFiBrowserOutput output_;
  State state_ = State::Idle;
  Browser browser_;
  // The daemon limits how many services it knows at a time.
  std::map<AvahiServiceName, std::set<AvahiLocation>> services_;
  bool hasChanged_ = false;
  bool waitsToReport_ = false;
};

}  // namespace tandemview
