#pragma once

#include <any>
#include <functional>
#include <map>
#include <string>

namespace tandemview {

/// Named notifications between objects that do not know each other. Used from the main queue only; observers run
/// within post(), in the order in which they registered.
class NotificationCenter {
 public:
  using Token = int;
  using Observer = std::function<void(const std::any& userInfo)>;

  /// Observes `name` as posted by `object`. The observer stays until removeObserver() is given the token.
  Token addObserver(std::string name, const void* object, Observer observer);
  void removeObserver(Token token);

  void post(const std::string& name, const void* object, const std::any& userInfo);

 private:
  struct Registration {
    std::string name;
    const void* object;
    Observer observer;
  };

  std::map<Token, Registration> registrations_;
  Token lastToken_ = 0;
};

}  // namespace tandemview
