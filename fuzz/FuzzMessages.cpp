#include <cstdint>
#include <cstdlib>

#include "protocol/DisplayPlan.h"
#include "protocol/Message.h"

using namespace tandemview;

/// The typeless classifier and the device-info decoder agree.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const Data payload = Data::copying(std::as_bytes(std::span(bytes, size)));
  const MacProtocol::ClassifiedMessage message = MacProtocol::classify(payload);
  const auto info = MacProtocol::decodeDeviceInfo(payload);
  if (message.deviceInfo != info && !(info && info->scale != info->scale)) std::abort();
  return 0;
}
