#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace tandemview {

/// Cuts a fuzzer's bytes into messages, each after its length in two big-endian bytes; the last may be short.
template <typename Take>
void forEachMessage(const std::uint8_t* bytes, std::size_t size, Take take) {
  std::string_view rest(reinterpret_cast<const char*>(bytes), size);
  while (rest.size() >= 2) {
    const std::size_t length =
        std::size_t{static_cast<std::uint8_t>(rest[0])} << 8 | static_cast<std::uint8_t>(rest[1]);
    const std::string_view message = rest.substr(2, length);
    rest.remove_prefix(2 + message.size());
    take(message);
  }
}

}  // namespace tandemview
