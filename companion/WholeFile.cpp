#include "companion/WholeFile.h"

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <memory>

namespace tandemview {

namespace {

std::optional<Error> write(const std::string& path, std::string_view content) {
  const auto close = [](std::FILE* file) { std::fclose(file); };
  std::unique_ptr<std::FILE, decltype(close)> file(std::fopen(path.c_str(), "wbe"));  // e: not for child processes
  if (!file) return posixError(errno);
  if (std::fwrite(content.data(), 1, content.size(), file.get()) != content.size()) return posixError(errno);
  if (std::fclose(file.release()) != 0) return posixError(errno);
  return std::nullopt;
}

std::string temporaryPath(const std::string& path) {
  return path + ".part";
}

}  // namespace

std::optional<Error> writeWholeFile(const std::string& path, std::string_view content) {
  const std::string temporary = temporaryPath(path);
  std::optional<Error> error = write(temporary, content);
  if (!error && std::rename(temporary.c_str(), path.c_str()) != 0) error = posixError(errno);
  if (error) std::remove(temporary.c_str());
  return error;
}

std::optional<Error> obstacleToWholeFile(const std::string& path) {
  std::error_code ignored;
  if (std::filesystem::is_directory(path, ignored)) return posixError(EISDIR);
  std::optional<Error> error = write(temporaryPath(path), "");
  std::remove(temporaryPath(path).c_str());
  return error;
}

}  // namespace tandemview
