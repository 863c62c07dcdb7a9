#pragma once

#include <string>
#include <vector>

namespace tandemview {

/// How it stands with the host, for whoever shows it to people.
struct LinkStatus {
  enum class State {
    Waiting,    // no host has come yet
    Connected,  // over at least one link
    Lost,       // the last link has ended; a host may come again
  };

  State state = State::Waiting;
  /// Where a host can find us, one text for each way: "Wi-Fi, code 42", "127.0.0.1:2345".
  std::vector<std::string> ways;
  /// Why the last link has ended, while it is lost.
  std::string reason;

  bool operator==(const LinkStatus&) const = default;
};

}  // namespace tandemview
