#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <vector>

#include "platform/linux/wifi/SocketAddress.h"
#include "runtime/Descriptor.h"
#include "runtime/Error.h"
#include "runtime/Queue.h"

namespace tandemview {

/// TCP connections to the addresses of one peer, of which the first to succeed wins: tried by turns of address family,
/// one begun a moment after the other (RFC 8305, "Happy Eyeballs Version 2"). Addresses may come while it is under way.
/// Each is tried by its interface alone, and no further than its link. Lives on its queue; letting go of it ends it.
class ConnectionRace final : public std::enable_shared_from_this<ConnectionRace> {
 public:
  /// A connected, non-blocking socket, or why the last attempt has failed.
  using Completion = std::function<void(Result<Descriptor>)>;

  /// `completion` is called once, after 10 seconds at the latest.
  static std::shared_ptr<ConnectionRace> start(std::shared_ptr<Queue> queue, Completion completion);

  /// Addresses beyond the first 16 are left out.
  void add(const SocketAddress& address);

  /// Without this, a race whose attempts have failed waits for more addresses.
  void endAddresses();

 private:
  struct Attempt {
    Descriptor socket;
    std::unique_ptr<DescriptorWatch> watch;
  };

  ConnectionRace(std::shared_ptr<Queue> queue, Completion completion);

  void tryNextAfter(double delay);
  void tryNext();
  SocketAddress takeNextAddress();
  Result<Descriptor> beginConnecting(const SocketAddress& address) const;
  void attemptIsDone(const std::shared_ptr<Attempt>& attempt);
  void attemptHasFailed(Error error);
  void complete(Result<Descriptor> result);

  const std::shared_ptr<Queue> queue_;
  Completion completion_;
  std::vector<SocketAddress> addresses_;  // not tried yet
  std::size_t addressCount_ = 0;
  bool moreMayCome_ = true;
  int lastFamily_ = AF_INET;
  std::vector<std::shared_ptr<Attempt>> attempts_;  // under way
  std::size_t turn_ = 0;                            // a wait for an earlier turn is void
  bool waitsForTurn_ = false;
  Error lastError_;
};

}  // namespace tandemview
