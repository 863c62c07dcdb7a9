#pragma once

#include "runtime/UserDefaults.h"

namespace tandemview {

/// The application's domain of the user's defaults.
class MacUserDefaults final : public UserDefaults {
 public:
  std::optional<std::string> string(const std::string& key) const override;
  void setString(const std::string& key, const std::string& value) override;
  std::optional<bool> boolean(const std::string& key) const override;
  void setBoolean(const std::string& key, bool value) override;
  std::optional<double> date(const std::string& key) const override;
  void setDate(const std::string& key, double secondsSince1970) override;
};

}  // namespace tandemview
