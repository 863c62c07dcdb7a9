#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "fakes/ManualQueue.h"
#include "fakes/MemoryUserDefaults.h"
#include "fakes/RecordingWiFiNetwork.h"
#include "protocol/Message.h"
#include "runtime/Log.h"
#include "wifi/WiFiSender.h"

using namespace tandemview;

/// The first byte tells the size of the pieces in which the rest arrives from the phone.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  if (size == 0) return 0;
  Log::setSink([](std::string_view) {});
  const std::size_t pieceSize = bytes[0] + std::size_t{1};
  std::string_view rest(reinterpret_cast<const char*>(bytes) + 1, size - 1);
  MacProtocol::classify(Data::copying(rest));

  const auto queue = ManualQueue::make();
  const auto network = std::make_shared<RecordingWiFiNetwork>();
  const auto userDefaults = std::make_shared<MemoryUserDefaults>();
  userDefaults->setString("WiFiPairingCode", "47");
  const auto sender =
      std::make_shared<WiFiSender>(WiFiSender::Surroundings{.mainQueue = queue,
                                                            .queue = queue,
                                                            .network = network,
                                                            .userDefaults = userDefaults,
                                                            .clock = std::make_shared<ManualClock>(queue),
                                                            .wallClock = std::make_shared<ManualWallClock>(queue),
                                                            .program = {.name = "Tandemview"}});
  sender->start();
  queue->advance(0.3);
  network->browsers().back()->find({"ScrRcv-47"});
  queue->advance(0.3);
  const auto connection = network->connections().back();
  connection->becomeReady();
  queue->advance(0.5);
  for (; !rest.empty(); rest.remove_prefix(std::min(pieceSize, rest.size()))) {
    connection->deliver(rest.substr(0, pieceSize));
    queue->drain();
  }
  connection->endStream();
  queue->advance(12);
  return 0;
}
