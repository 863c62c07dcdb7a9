#include "companion/FrameSaver.h"

#include <fmt/format.h>

#include <filesystem>

#include "companion/WholeFile.h"

namespace tandemview {

Result<FrameSaver> FrameSaver::into(std::string directory, std::uint64_t every) {
  std::error_code error;
  std::filesystem::create_directories(directory, error);
  if (error) return tl::unexpected(posixError(error.value()));
  return FrameSaver(std::move(directory), every);
}

std::optional<Error> FrameSaver::save(const Data& image) {
  last_ = image;
  if (frames_++ % every_ != 0) return std::nullopt;
  return writeWholeFile(fmt::format("{}/frame-{:06}.jpg", directory_, frames_), image.text());
}

std::optional<Error> FrameSaver::saveLast() const {
  if (frames_ == 0) return std::nullopt;
  return writeWholeFile(directory_ + "/last.jpg", last_.text());
}

}  // namespace tandemview
