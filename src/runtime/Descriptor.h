#pragma once

#include <utility>

namespace tandemview {

/// Owner of an open file descriptor; closes it when destroyed.
class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int value) : value_(value) {}
  Descriptor(Descriptor&& other) noexcept : value_(std::exchange(other.value_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(value_, other.value_);
    return *this;
  }
  ~Descriptor();

  int get() const { return value_; }
  explicit operator bool() const { return value_ >= 0; }

 private:
  int value_ = -1;
};

}  // namespace tandemview
