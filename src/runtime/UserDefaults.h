#pragma once

#include <optional>
#include <string>

namespace tandemview {

/// The user's settings, by key. A value that is missing, or is of another type than asked for, is absent.
/// From any thread.
class UserDefaults {
 public:
  virtual ~UserDefaults() = default;

  virtual std::optional<std::string> string(const std::string& key) const = 0;
  virtual void setString(const std::string& key, const std::string& value) = 0;

  virtual std::optional<bool> boolean(const std::string& key) const = 0;
  virtual void setBoolean(const std::string& key, bool value) = 0;

  /// Dates are seconds since 1970, in UTC.
  virtual std::optional<double> date(const std::string& key) const = 0;
  virtual void setDate(const std::string& key, double secondsSince1970) = 0;
};

}  // namespace tandemview
