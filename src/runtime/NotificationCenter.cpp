#include "runtime/NotificationCenter.h"

#include <vector>

namespace tandemview {

NotificationCenter::Token NotificationCenter::addObserver(std::string name, const void* object, Observer observer) {
  registrations_[++lastToken_] = {std::move(name), object, std::move(observer)};
  return lastToken_;
}

void NotificationCenter::removeObserver(Token token) {
  registrations_.erase(token);
}

void NotificationCenter::post(const std::string& name, const void* object, const std::any& userInfo) {
  // Observers may register and remove observers, themselves included.
  std::vector<Token> matching;
  for (const auto& [token, registration] : registrations_) {
    if (registration.name == name && registration.object == object) matching.push_back(token);
  }
  for (const Token token : matching) {
    const auto found = registrations_.find(token);
    if (found == registrations_.end()) continue;
    const Observer observer = found->second.observer;
    observer(userInfo);
  }
}

}  // namespace tandemview
