#include <cstdint>
#include <memory>

#include "fakes/ManualQueue.h"
#include "runtime/Log.h"
#include "support/StandInDaemon.h"
#include "usb/PTUSBHub.h"

using namespace tandemview;

/// A daemon's bytes, to a hub that listens and to a connection that it asks for.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  Log::setSink([](std::string_view) {});
  if (size > 64 * 1024) return 0;
  const auto queue = ManualQueue::make();
  StandInDaemon daemon(queue);
  const auto hub = PTUSBHub::listeningHub({.socketPath = daemon.socketPath(),
                                           .program = {},
                                           .queue = queue,
                                           .notificationCenter = std::make_shared<NotificationCenter>()});
  hub->connectToDevice(
      1, 2345,
      [](const auto&, const auto& stream) {
        if (stream) stream->stop();
      },
      nullptr);
  queue->drain();
  const Data data = Data::copying(std::as_bytes(std::span(bytes, size)));
  for (std::size_t connection = 0; connection < daemon.connections.size(); ++connection) daemon.send(connection, data);
  queue->drain();
  daemon.stop();
  queue->advance(11);
  return 0;
}
