#pragma once

#include <cstdint>
#include <memory>

#include "platform/linux/gnome/input/GnomeKeyLayout.h"
#include "runtime/Queue.h"

struct wl_display;
struct wl_keyboard;
struct wl_registry;
struct wl_seat;

namespace tandemview {

/// The keymap that the compositor hands to its clients, as it changes; they need no focus for that. Lives on a queue.
class WaylandKeymap : public std::enable_shared_from_this<WaylandKeymap> {
 public:
  /// Connects to the compositor that $WAYLAND_DISPLAY names. If there is none, there is never a layout.
  static std::shared_ptr<WaylandKeymap> follow(const std::shared_ptr<Queue>& queue);
  ~WaylandKeymap();

  /// As it was told last; null until then.
  const GnomeKeyLayout* layout() const { return layout_.get(); }

 private:
  struct Listeners;

  WaylandKeymap() = default;

  void wait();
  void read();

  wl_display* display_ = nullptr;
  wl_registry* registry_ = nullptr;
  wl_seat* seat_ = nullptr;
  wl_keyboard* keyboard_ = nullptr;
  std::unique_ptr<DescriptorWatch> watch_;
  std::unique_ptr<GnomeKeyLayout> layout_;
};

}  // namespace tandemview
