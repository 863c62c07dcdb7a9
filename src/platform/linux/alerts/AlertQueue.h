#pragma once

#include <deque>
#include <memory>

#include "app/AlertSystem.h"

namespace tandemview {

/// Shows alerts one after the other: the next one when the one before has been answered. Those that are too many are
/// answered at once with the last button.
class AlertQueue final : public AlertSystem, public std::enable_shared_from_this<AlertQueue> {
 public:
  explicit AlertQueue(std::shared_ptr<AlertSystem> system) : system_(std::move(system)) {}

  void show(const Alert& alert, std::function<void(int button)> answer) override;

 private:
  struct Waiting {
    Alert alert;
    std::function<void(int button)> answer;
  };

  void showFirst();
  void firstIsAnswered(int button);

  const std::shared_ptr<AlertSystem> system_;
  std::deque<Waiting> waiting_;  // the first one is on the screen
};

}  // namespace tandemview
