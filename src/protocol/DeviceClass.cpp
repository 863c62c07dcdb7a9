#include "protocol/DeviceClass.h"

#include <array>

namespace tandemview::MacProtocol {

std::string_view rawValue(DeviceClass deviceClass) {
  static constexpr std::array<std::string_view, 3> names = {"iPhone", "foldable", "iPad"};
  return names[static_cast<std::size_t>(deviceClass)];
}

}  // namespace tandemview::MacProtocol
