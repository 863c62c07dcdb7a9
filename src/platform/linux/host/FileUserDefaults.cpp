#include "platform/linux/host/FileUserDefaults.h"

#include <cerrno>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "platform/linux/session/ConfigurationDirectory.h"
#include "runtime/AtomicFile.h"
#include "runtime/FileContents.h"
#include "runtime/Log.h"

namespace tandemview {

namespace {

using nlohmann::json;

/// A date is an object with this one member: JSON has no type for it.
constexpr const char* dateMember = "secondsSince1970";

/// No setting nests deeper than a date. Values that do are dropped: writing them again would need a stack as deep.
constexpr int deepestValue = 8;

/// Where the chain of links that begins at `path` ends, whether a file is there or not.
std::filesystem::path endOfLinks(std::filesystem::path path) {
  constexpr int longestChain = 40;  // as the system's own
  std::error_code error;
  for (int link = 0; link < longestChain && std::filesystem::is_symlink(path, error); ++link) {
    path = path.parent_path() / std::filesystem::read_symlink(path, error);
  }
  return path;
}

Result<void> save(const std::filesystem::path& file, const std::string& text) {
  std::error_code error;
  std::filesystem::create_directories(file.parent_path(), error);
  if (error) return tl::unexpected(posixError(error.value()));
  return writeFileAtomically(file, text);
}

template <typename Value>
std::optional<Value> valueOf(const json& values, const std::string& key, bool (json::*isOfType)() const noexcept) {
  const auto found = values.find(key);
  if (found == values.end() || !((*found).*isOfType)()) return std::nullopt;
  return found->template get<Value>();
}

}  // namespace

std::string FileUserDefaults::defaultPath() {
  return configurationDirectory() + "/tandemview/settings.json";
}

FileUserDefaults::FileUserDefaults(std::string path)
    : path_(std::move(path)), values_(std::make_unique<json>(json::object())) {
  load();
}

FileUserDefaults::~FileUserDefaults() = default;

void FileUserDefaults::load() {
  const auto text = contentsOfRegularFile(path_);
  if (!text) {
    if (text.error() == posixError(ENOENT)) return;
    return keepInMemory(text.error().localizedDescription());
  }
  const auto isKept = [](int depth, json::parse_event_t, const json&) { return depth <= deepestValue; };
  json values = json::parse(*text, isKept, /*allow_exceptions=*/false);
  if (values.is_object()) {
    *values_ = std::move(values);
    return;
  }
  std::error_code error;
  const std::filesystem::path file = endOfLinks(path_);
  std::filesystem::rename(file, file.string() + ".damaged", error);
  if (error) return keepInMemory("they are damaged");
  Log::print("⚠️ The settings in {} are damaged - starting with none, the file is kept as {}.damaged", path_,
             file.string());
}

/// What is there is left alone: it may be good settings that can't be read at the moment.
void FileUserDefaults::keepInMemory(const std::string& cause) {
  isSaved_ = false;
  Log::print("⚠️ The settings in {} can't be read ({}) - starting with none, changes last until the program ends",
             path_, cause);
}

std::optional<std::string> FileUserDefaults::string(const std::string& key) const {
  const std::lock_guard lock(mutex_);
  return valueOf<std::string>(*values_, key, &json::is_string);
}

void FileUserDefaults::setString(const std::string& key, const std::string& value) {
  set(key, value);
}

std::optional<bool> FileUserDefaults::boolean(const std::string& key) const {
  const std::lock_guard lock(mutex_);
  return valueOf<bool>(*values_, key, &json::is_boolean);
}

void FileUserDefaults::setBoolean(const std::string& key, bool value) {
  set(key, value);
}

std::optional<double> FileUserDefaults::date(const std::string& key) const {
  const std::lock_guard lock(mutex_);
  const auto found = values_->find(key);
  if (found == values_->end() || !found->is_object()) return std::nullopt;
  return valueOf<double>(*found, dateMember, &json::is_number);
}

void FileUserDefaults::setDate(const std::string& key, double secondsSince1970) {
  set(key, {{dateMember, secondsSince1970}});
}

void FileUserDefaults::set(const std::string& key, json value) {
  const std::lock_guard lock(mutex_);
  (*values_)[key] = std::move(value);
  if (!isSaved_) return;
  const std::filesystem::path file = endOfLinks(path_);
  const std::string text = values_->dump(2, ' ', false, json::error_handler_t::replace) + "\n";
  if (const auto saved = save(file, text); !saved) {
    Log::print("⚠️ The settings can't be saved in {}: {}", path_, saved.error().localizedDescription());
  }
}

}  // namespace tandemview
