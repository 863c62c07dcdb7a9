#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "runtime/Queue.h"

namespace tandemview {

/// Makes the phone's service known to the hosts nearby, as long as it lives, by what this system announces services
/// with. Lives on one queue.
class WiFiAnnouncement {
 public:
  enum class State {
    Announced,
    Taken,   // another phone has this code
    Failed,  // for now, or for good
  };
  /// `text`: one line for people.
  using Report = std::function<void(State state, const std::string& text)>;

  static std::shared_ptr<WiFiAnnouncement> of(const std::string& code, std::uint16_t port,
                                              const std::shared_ptr<Queue>& queue, Report report);

  virtual ~WiFiAnnouncement() = default;

 protected:
  static constexpr const char* serviceType = "_scrstream._tcp";

  static std::string serviceName(const std::string& code) { return "ScrRcv-" + code; }
};

}  // namespace tandemview
