#pragma once

#include <map>
#include <string>

#include "runtime/UserDefaults.h"

namespace tandemview {

/// Settings that live as long as the test.
class MemoryUserDefaults final : public UserDefaults {
 public:
  std::optional<std::string> string(const std::string& key) const override { return valueOf(strings, key); }
  void setString(const std::string& key, const std::string& value) override { strings[key] = value; }
  std::optional<bool> boolean(const std::string& key) const override { return valueOf(booleans, key); }
  void setBoolean(const std::string& key, bool value) override { booleans[key] = value; }
  std::optional<double> date(const std::string& key) const override { return valueOf(dates, key); }
  void setDate(const std::string& key, double secondsSince1970) override { dates[key] = secondsSince1970; }

  std::map<std::string, std::string> strings;
  std::map<std::string, bool> booleans;
  std::map<std::string, double> dates;

 private:
  template <typename Value>
  static std::optional<Value> valueOf(const std::map<std::string, Value>& values, const std::string& key) {
    const auto found = values.find(key);
    return found == values.end() ? std::nullopt : std::optional(found->second);
  }
};

}  // namespace tandemview
