#include "companion/FrameSaver.h"

#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

#include "companion/WholeFile.h"

namespace tandemview {

namespace {

/// Enough to see what is wrong; a host that does everything wrong must not fill the disk.
constexpr std::uint64_t mostFaulty = 100;

}  // namespace

Result<FrameSaver> FrameSaver::into(std::string directory, std::uint64_t every) {
  std::error_code error;
  std::filesystem::create_directories(directory, error);
  if (error) return tl::unexpected(posixError(error.value()));
  if (::access(directory.c_str(), W_OK | X_OK) != 0) return tl::unexpected(posixError(errno));
  return FrameSaver(std::move(directory), every);
}

std::optional<Error> FrameSaver::save(const Data& image) {
  last_ = image;
  const std::uint64_t number = frames_++;
  if (every_ == 0 || number % every_ != 0) return std::nullopt;
  return writeWholeFile(fmt::format("{}/frame-{:06}.jpg", directory_, frames_), image.text());
}

std::optional<Error> FrameSaver::saveFaulty(const Data& image, std::uint64_t number) {
  if (++faulty_ > mostFaulty) return std::nullopt;
  return writeWholeFile(fmt::format("{}/faulty-{:06}.jpg", directory_, number), image.text());
}

std::optional<Error> FrameSaver::saveLast() const {
  if (frames_ == 0) return std::nullopt;
  return writeWholeFile(directory_ + "/last.jpg", last_.text());
}

}  // namespace tandemview
