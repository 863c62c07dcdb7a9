#include "platform/linux/ModeName.h"

#include <fmt/format.h>
#include <unistd.h>

#include <atomic>
#include <charconv>

namespace tandemview {

namespace {

constexpr std::string_view namePrefix = "tandemview-";

}  // namespace

std::string newModeName(std::uint32_t width, std::uint32_t height) {
  static std::atomic<unsigned> lastNumber = 0;
  return fmt::format("{}{}-{}x{}-{}", namePrefix, ::getpid(), width, height, ++lastNumber);
}

std::optional<pid_t> modeOwner(std::string_view name) {
  if (!name.starts_with(namePrefix)) return std::nullopt;
  name.remove_prefix(namePrefix.size());
  pid_t owner = 0;
  const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), owner);
  if (error != std::errc() || owner <= 0 || end == name.data() + name.size() || *end != '-') return std::nullopt;
  return owner;
}

}  // namespace tandemview
