#pragma once

#include <sdbus-c++/sdbus-c++.h>

#include <memory>
#include <string>
#include <thread>

namespace tandemview {

/// With the first of these the library makes an object that all threads share, guarded in a way that ThreadSanitizer
/// can't see: so it is made before there are threads.
inline const sdbus::Variant firstVariant;

/// A connection that a thread serves, until the end of the bus at the latest.
class ServedConnection {
 public:
  explicit ServedConnection(const std::string& address)
      : bus_(sdbus::createSessionBusConnectionWithAddress(address)), thread_([this] {
          try {
            bus_->enterEventLoop();
          } catch (const sdbus::Error&) {
          }
        }) {}
  ~ServedConnection() {
    bus_->leaveEventLoop();
    thread_.join();
  }

  sdbus::IConnection& operator*() const { return *bus_; }

 private:
  std::unique_ptr<sdbus::IConnection> bus_;
  std::thread thread_;
};

}  // namespace tandemview
