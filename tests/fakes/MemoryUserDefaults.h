#pragma once

#include <map>
#include <mutex>
#include <variant>

#include "runtime/UserDefaults.h"

namespace tandemview {

/// Settings that live as long as the test.
class MemoryUserDefaults final : public UserDefaults {
 public:
  std::optional<std::string> string(const std::string& key) const override { return value<std::string>(key); }
  void setString(const std::string& key, const std::string& value) override { set(key, value); }
  std::optional<bool> boolean(const std::string& key) const override { return value<bool>(key); }
  void setBoolean(const std::string& key, bool value) override { set(key, value); }
  std::optional<double> date(const std::string& key) const override { return value<double>(key); }
  void setDate(const std::string& key, double secondsSince1970) override { set(key, secondsSince1970); }

 private:
  template <typename Type>
  std::optional<Type> value(const std::string& key) const {
    const std::lock_guard lock(mutex_);
    const auto found = values_.find(key);
    if (found == values_.end() || !std::holds_alternative<Type>(found->second)) return std::nullopt;
    return std::get<Type>(found->second);
  }
  template <typename Type>
  void set(const std::string& key, const Type& value) {
    const std::lock_guard lock(mutex_);
    values_[key] = value;
  }

  mutable std::mutex mutex_;
  std::map<std::string, std::variant<std::string, bool, double>> values_;
};

}  // namespace tandemview
