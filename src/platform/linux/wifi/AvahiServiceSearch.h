#pragma once

#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "platform/linux/wifi/AvahiDaemon.h"
#include "platform/linux/wifi/AvahiEndpoint.h"
#include "platform/linux/wifi/AvahiHostInquiry.h"
#include "wifi/WiFiNetwork.h"

namespace tandemview {

/// The work of one browser, on the daemon's queue. It goes on across restarts of the daemon.
class AvahiServiceSearch final : public AvahiDaemonUser, public std::enable_shared_from_this<AvahiServiceSearch> {
 public:
  AvahiServiceSearch(std::shared_ptr<AvahiDaemon> daemon, std::string serviceType);

  /// Without the output's queue: reports come on the daemon's.
  void start(WiFiBrowserOutput output);
  void findHosts(const std::vector<std::shared_ptr<const WiFiEndpoint>>& services, double seconds,
                 WiFiBrowser::HostsCompletion completion);
  void cancel();

  /// Reports the same findings once more, a little later: one of them could not be reached.
  void reportAgain();

 private:
  enum class State { Idle, Running, Ended };

  void daemonDidStart() override;
  void daemonDidStop() override;
  void browse();
  void browserReported(const std::string& signal, sdbus::Message& arguments);
  void browserFailed(const Error& error);
  void resultsChanged();
  void reportAfter(double delay);
  void report();

  const std::shared_ptr<AvahiDaemon> daemon_;
  const std::string serviceType_;
  WiFiBrowserOutput output_;
  State state_ = State::Idle;
  std::shared_ptr<AvahiObject> browser_;
  std::shared_ptr<AvahiHostInquiry> inquiry_;
  // The daemon limits how many services it knows at a time.
  std::map<AvahiServiceName, std::set<AvahiLocation>> services_;
  bool hasChanged_ = false;
  bool waitsToReport_ = false;
  bool isRefused_ = false;  // and that has been said
};

}  // namespace tandemview
