#include "platform/linux/FileUserDefaults.h"

#include <filesystem>

#include "platform/linux/ConfigurationDirectory.h"
#include "runtime/AtomicFile.h"
#include "runtime/FileContents.h"
#include "runtime/Log.h"

namespace tandemview {

namespace {

using nlohmann::json;

/// A date is an object with this one member: JSON has no type for it.
constexpr const char* dateMember = "secondsSince1970";

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

FileUserDefaults::FileUserDefaults(std::string path) : path_(std::move(path)) {
  load();
}

void FileUserDefaults::load() {
  const Result<std::string> text = contentsOfFile(path_);
  if (!text) return;
  json values = json::parse(*text, nullptr, /*allow_exceptions=*/false);
  if (values.is_object()) {
    values_ = std::move(values);
    return;
  }
  std::error_code error;
  std::filesystem::rename(path_, path_ + ".damaged", error);
  Log::print("⚠️ The settings in {} can't be read - starting with none, the file is kept as {}.damaged", path_,
             path_);
}

std::optional<std::string> FileUserDefaults::string(const std::string& key) const {
  const std::lock_guard lock(mutex_);
  return valueOf<std::string>(values_, key, &json::is_string);
}

void FileUserDefaults::setString(const std::string& key, const std::string& value) {
  set(key, value);
}

std::optional<bool> FileUserDefaults::boolean(const std::string& key) const {
  const std::lock_guard lock(mutex_);
  return valueOf<bool>(values_, key, &json::is_boolean);
}

void FileUserDefaults::setBoolean(const std::string& key, bool value) {
  set(key, value);
}

std::optional<double> FileUserDefaults::date(const std::string& key) const {
  const std::lock_guard lock(mutex_);
  const auto found = values_.find(key);
  if (found == values_.end() || !found->is_object()) return std::nullopt;
  return valueOf<double>(*found, dateMember, &json::is_number);
}

void FileUserDefaults::setDate(const std::string& key, double secondsSince1970) {
  set(key, {{dateMember, secondsSince1970}});
}

void FileUserDefaults::set(const std::string& key, json value) {
  const std::lock_guard lock(mutex_);
  values_[key] = std::move(value);
  std::error_code ignored;
  std::filesystem::create_directories(std::filesystem::path(path_).parent_path(), ignored);
  const std::string text = values_.dump(2, ' ', false, json::error_handler_t::replace) + "\n";
  if (const auto error = writeFileAtomically(path_, text)) {
    Log::print("⚠️ The settings can't be saved in {}: {}", path_, error->localizedDescription());
  }
}

}  // namespace tandemview
