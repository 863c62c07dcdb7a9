#include "platform/linux/x11/server/ModeName.h"

#include <fmt/format.h>

#include <atomic>

namespace tandemview {

namespace {

constexpr std::string_view namePrefix = "tandemview-";

}  // namespace

std::string newModeName(std::string_view owner, std::uint32_t width, std::uint32_t height) {
  static std::atomic<unsigned> lastNumber = 0;
  return fmt::format("{}{}-{}x{}-{}", namePrefix, owner, width, height, ++lastNumber);
}

std::optional<std::string_view> modeOwner(std::string_view name) {
  if (!name.starts_with(namePrefix)) return std::nullopt;
  name.remove_prefix(namePrefix.size());
  const std::size_t length = name.find_first_not_of("0123456789abcdef");
  if (length == 0 || length == std::string_view::npos || name[length] != '-') return std::nullopt;
  return name.substr(0, length);
}

}  // namespace tandemview
