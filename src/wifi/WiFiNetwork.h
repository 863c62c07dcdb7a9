#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "runtime/Data.h"
#include "runtime/Error.h"
#include "runtime/Queue.h"

namespace tandemview {

/// Where something that was found can be reached. Only the network that handed it out can read it.
class WiFiEndpoint {
 public:
  virtual ~WiFiEndpoint() = default;
};

/// One entry of a browser's findings.
struct WiFiBrowseResult {
  std::optional<std::string> serviceName;  // the instance's name; absent for an endpoint that is not a service
  std::shared_ptr<const WiFiEndpoint> endpoint;
};

/// Where a browser reports to, always on `queue`. The handlers hold their owner weakly.
struct WiFiBrowserOutput {
  std::shared_ptr<Queue> queue;
  std::function<void()> didBecomeReady;
  /// The browser has ended and reports nothing more.
  std::function<void(Error)> didFail;
  /// All that is found now, whenever the set has changed.
  std::function<void(const std::vector<WiFiBrowseResult>&)> didChangeResults;
};

/// A search for services. Letting go of it ends it.
class WiFiBrowser {
 public:
  virtual ~WiFiBrowser() = default;

  /// Once; it does nothing after cancel().
  virtual void start(WiFiBrowserOutput output) = 0;

  /// The names of the hosts that announce a service, in lower case. Several hosts may announce the same one. A name
  /// that a host has on direct links alone says nothing and is left out.
  using HostNames = std::set<std::string>;
  using HostsCompletion = std::function<void(std::vector<HostNames>)>;
  /// Asks who announces services that this search has found. `completion` is called once, on the output's queue, after
  /// `seconds`, with what has been answered by then in the order of `services`; not after cancel(). Called on the
  /// output's queue, one question at a time.
  virtual void findHosts(const std::vector<std::shared_ptr<const WiFiEndpoint>>& services, double seconds,
                         HostsCompletion completion) = 0;

  /// Ends the search; reports under way may still arrive.
  virtual void cancel() = 0;
};

/// Where a connection reports to, always on `queue`. The handlers hold their owner weakly.
struct WiFiConnectionOutput {
  std::shared_ptr<Queue> queue;
  std::function<void()> didBecomeReady;
  /// It could not connect, or the link broke. Nothing but the completions of pending operations follows.
  std::function<void(Error)> didFail;
  /// The last report after cancel(); it comes even if nobody holds the connection any more.
  std::function<void()> didCancel;
};

/// A byte stream to an endpoint. Letting go of it without cancel() closes it without a report.
///
/// Every completion is called exactly once, on the output's queue and never within the call that asked for it; with
/// an error when the connection fails or is cancelled first.
class WiFiConnection {
 public:
  virtual ~WiFiConnection() = default;

  /// Starts connecting. Once, before anything is received or sent; it does nothing after cancel().
  virtual void start(WiFiConnectionOutput output) = 0;

  struct Received {
    Data bytes;                // contiguous; fewer than asked for only with one of the following
    bool streamEnded = false;  // before all that was asked for had come; never together with it
    std::optional<Error> error;
  };
  using ReceiveCompletion = std::function<void(Received)>;
  /// Receives exactly `length` bytes. Memory grows with what arrives, not with what is asked for. One at a time, from
  /// the output's queue.
  virtual void receive(std::size_t length, ReceiveCompletion completion) = 0;

  using SendCompletion = std::function<void(const std::optional<Error>&)>;
  /// Sends all of `data` after what was sent before, without copying it; completes when the system has taken it over.
  /// What is sent before the connection is ready waits for that. From any thread; never blocks.
  virtual void send(Data data, SendCompletion completion) = 0;

  /// From any thread.
  virtual void cancel() = 0;
};

/// What the program needs of the network: services nearby and connections to them, over direct links between the two
/// devices (where the host can do that) as well as ordinary networks.
class WiFiNetwork {
 public:
  virtual ~WiFiNetwork() = default;

  /// A search for services of `serviceType` (such as "_http._tcp") in the default domain. It does nothing until it is
  /// started; a search that is impossible fails then. From any thread.
  virtual std::shared_ptr<WiFiBrowser> makeBrowser(const std::string& serviceType) = 0;

  /// A TCP connection to an endpoint that a browser of this network has found, over a link on which it was announced:
  /// never to an address beyond that link, and to a loopback address only where the loopback interface is the link. It
  /// does nothing until it is started. From any thread.
  virtual std::shared_ptr<WiFiConnection> makeConnection(const std::shared_ptr<const WiFiEndpoint>& endpoint) = 0;
};

}  // namespace tandemview
