#pragma once

#include <memory>
#include <mutex>
#include <nlohmann/json_fwd.hpp>
#include <string>

#include "runtime/UserDefaults.h"

namespace tandemview {

/// The user's settings in one JSON file, written at every change. A link to the file stays a link.
class FileUserDefaults final : public UserDefaults {
 public:
  /// "$XDG_CONFIG_HOME/tandemview/settings.json", or below "~/.config".
  static std::string defaultPath();

  /// Reads the file. One that can't be understood is set aside with a line, and the settings start empty. So they do,
  /// with a line, when something is there that can't be read: then nothing is ever written.
  explicit FileUserDefaults(std::string path);
  ~FileUserDefaults() override;

  std::optional<std::string> string(const std::string& key) const override;
  void setString(const std::string& key, const std::string& value) override;
  std::optional<bool> boolean(const std::string& key) const override;
  void setBoolean(const std::string& key, bool value) override;
  std::optional<double> date(const std::string& key) const override;
  void setDate(const std::string& key, double secondsSince1970) override;

 private:
  void load();
  void keepInMemory(const std::string& cause);
  void set(const std::string& key, nlohmann::json value);

  const std::string path_;
  bool isSaved_ = true;
  mutable std::mutex mutex_;
  const std::unique_ptr<nlohmann::json> values_;  // an object
};

}  // namespace tandemview
