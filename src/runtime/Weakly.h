#pragma once

#include <functional>
#include <memory>
#include <utility>

namespace tandemview {

/// A handler that holds its owner weakly: calls `function` (a lambda or a member) with the owner and with what the
/// handler is given, and does nothing once the owner is gone.
template <typename Owner, typename Function>
auto weakly(std::weak_ptr<Owner> owner, Function function) {
  return [weak = std::move(owner), function = std::move(function)](auto&&... arguments) -> void {
    if (const auto live = weak.lock()) std::invoke(function, *live, std::forward<decltype(arguments)>(arguments)...);
  };
}

template <typename Owner, typename Function>
auto weakly(Owner* owner, Function function) {
  return weakly(owner->weak_from_this(), std::move(function));
}

}  // namespace tandemview
