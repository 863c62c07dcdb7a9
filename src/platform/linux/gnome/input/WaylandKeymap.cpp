#include "platform/linux/gnome/input/WaylandKeymap.h"

#include <sys/mman.h>
#include <wayland-client.h>

#include <string_view>

#include "runtime/Descriptor.h"
#include "runtime/Weakly.h"

namespace tandemview {

/// What the compositor tells.
struct WaylandKeymap::Listeners {
  static WaylandKeymap& of(void* data) { return *static_cast<WaylandKeymap*>(data); }

  static void global(void* data, wl_registry* registry, std::uint32_t name, const char* interface,
                     std::uint32_t /*version*/) {
    if (std::string_view(interface) != wl_seat_interface.name || of(data).seat_) return;
    of(data).seat_ = static_cast<wl_seat*>(wl_registry_bind(registry, name, &wl_seat_interface, /*version=*/1));
    wl_seat_add_listener(of(data).seat_, &seat, data);
  }
  static void globalRemoved(void* /*data*/, wl_registry* /*registry*/, std::uint32_t /*name*/) {}

  static void capabilities(void* data, wl_seat* seat, std::uint32_t capabilities) {
    if ((capabilities & WL_SEAT_CAPABILITY_KEYBOARD) == 0 || of(data).keyboard_) return;
    of(data).keyboard_ = wl_seat_get_keyboard(seat);
    wl_keyboard_add_listener(of(data).keyboard_, &keyboard, data);
  }
  static void seatName(void* /*data*/, wl_seat* /*seat*/, const char* /*name*/) {}

  static void keymap(void* data, wl_keyboard* /*keyboard*/, std::uint32_t format, int descriptor, std::uint32_t size) {
    const Descriptor file(descriptor);
    if (format != WL_KEYBOARD_KEYMAP_FORMAT_XKB_V1 || size == 0) return;
    void* const text = ::mmap(nullptr, size, PROT_READ, MAP_PRIVATE, file.get(), 0);
    if (text == MAP_FAILED) return;
    if (auto layout = GnomeKeyLayout::read({static_cast<const char*>(text), size}))
      of(data).layout_ = std::move(layout);
    ::munmap(text, size);
  }
  static void enter(void* /*data*/, wl_keyboard* /*keyboard*/, std::uint32_t /*serial*/, wl_surface* /*surface*/,
                    wl_array* /*keys*/) {}
  static void leave(void* /*data*/, wl_keyboard* /*keyboard*/, std::uint32_t /*serial*/, wl_surface* /*surface*/) {}
  static void key(void* /*data*/, wl_keyboard* /*keyboard*/, std::uint32_t /*serial*/, std::uint32_t /*time*/,
                  std::uint32_t /*key*/, std::uint32_t /*state*/) {}
  static void modifiers(void* /*data*/, wl_keyboard* /*keyboard*/, std::uint32_t /*serial*/, std::uint32_t /*held*/,
                        std::uint32_t /*latched*/, std::uint32_t /*locked*/, std::uint32_t /*group*/) {}
  static void repeatInfo(void* /*data*/, wl_keyboard* /*keyboard*/, std::int32_t /*rate*/, std::int32_t /*delay*/) {}

  static constexpr wl_registry_listener registry = {.global = global, .global_remove = globalRemoved};
  static constexpr wl_seat_listener seat = {.capabilities = capabilities, .name = seatName};
  static constexpr wl_keyboard_listener keyboard = {
      .keymap = keymap, .enter = enter, .leave = leave, .key = key, .modifiers = modifiers, .repeat_info = repeatInfo};
};

std::shared_ptr<WaylandKeymap> WaylandKeymap::follow(const std::shared_ptr<Queue>& queue) {
  std::shared_ptr<WaylandKeymap> keymap(new WaylandKeymap());
  keymap->display_ = wl_display_connect(nullptr);
  if (!keymap->display_) return keymap;
  auto watch = queue->watch(wl_display_get_fd(keymap->display_));
  if (!watch) return keymap;
  keymap->watch_ = std::move(*watch);
  keymap->registry_ = wl_display_get_registry(keymap->display_);
  wl_registry_add_listener(keymap->registry_, &Listeners::registry, keymap.get());
  wl_display_flush(keymap->display_);
  keymap->wait();
  return keymap;
}

WaylandKeymap::~WaylandKeymap() {
  watch_.reset();
  if (keyboard_) wl_keyboard_destroy(keyboard_);
  if (seat_) wl_seat_destroy(seat_);
  if (registry_) wl_registry_destroy(registry_);
  if (display_) wl_display_disconnect(display_);
}

void WaylandKeymap::wait() {
  watch_->whenReadable(weakly(this, &WaylandKeymap::read));
}

/// The connection's end leaves the layout as it was.
void WaylandKeymap::read() {
  while (wl_display_prepare_read(display_) != 0) wl_display_dispatch_pending(display_);
  if (wl_display_read_events(display_) < 0 || wl_display_dispatch_pending(display_) < 0 ||
      wl_display_flush(display_) < 0)
    return;
  wait();
}

}  // namespace tandemview
