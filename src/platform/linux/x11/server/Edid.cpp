#include "platform/linux/x11/server/Edid.h"

#include <algorithm>
#include <array>

namespace tandemview {

namespace {

// VESA Enhanced EDID Standard, Release A, Revision 2 (EDID 1.4): header in 3.3, descriptors in 3.10.
constexpr std::size_t blockSize = 128;
constexpr std::array<unsigned char, 8> header = {0x00, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x00};
constexpr std::array<std::size_t, 4> descriptorOffsets = {54, 72, 90, 108};
constexpr std::size_t descriptorSize = 18;
constexpr std::size_t descriptorTextOffset = 5;
constexpr unsigned char productNameTag = 0xFC;
constexpr char textEnd = '\n';

}  // namespace

std::optional<std::string> edidProductName(std::span<const std::byte> edid) {
  const auto byteAt = [edid](std::size_t offset) { return std::to_integer<unsigned char>(edid[offset]); };
  if (edid.size() < blockSize) return std::nullopt;
  for (std::size_t index = 0; index < header.size(); ++index) {
    if (byteAt(index) != header[index]) return std::nullopt;
  }
  for (const std::size_t offset : descriptorOffsets) {
    const bool isDescriptor = byteAt(offset) == 0 && byteAt(offset + 1) == 0 && byteAt(offset + 2) == 0;
    if (!isDescriptor || byteAt(offset + 3) != productNameTag) continue;
    std::string name;
    for (std::size_t index = descriptorTextOffset; index < descriptorSize; ++index) {
      const char character = static_cast<char>(byteAt(offset + index));
      if (character == textEnd) break;
      if (character >= ' ' && character <= '~') name += character;
    }
    name.erase(name.find_last_not_of(' ') + 1);
    if (!name.empty()) return name;
  }
  return std::nullopt;
}

}  // namespace tandemview
