#include "platform/linux/x11/input/X11InputDevices.h"

#include <string_view>
#include <vector>

#include "platform/linux/x11/input/X11EventInput.h"

namespace tandemview {

namespace {

/// What the names of XTEST's devices end in; those of the first pointer and keyboard come first.
constexpr std::string_view testPointerName = " XTEST pointer";
constexpr std::string_view testKeyboardName = " XTEST keyboard";

/// The numbers of a device's keys or buttons that are down; `what` is XCB_INPUT_INPUT_CLASS_KEY or _BUTTON.
std::vector<std::uint8_t> heldOn(const X11Connection& connection, std::uint8_t device, std::uint8_t what) {
  std::vector<std::uint8_t> held;
  const auto state = owned(xcb_input_query_device_state_reply(
      connection.get(), xcb_input_query_device_state(connection.get(), device), nullptr));
  if (!state) return held;
  for (auto part = xcb_input_query_device_state_classes_iterator(state.get()); part.rem > 0;
       xcb_input_input_state_next(&part)) {
    if (part.data->class_id != what) continue;
    // Keys and buttons alike: a head, then a bit for each.
    const std::uint8_t* const bits = reinterpret_cast<const xcb_input_key_state_t*>(part.data)->keys;
    for (unsigned number = 0; number < 256; ++number) {
      if (bits[number / 8] & 1U << number % 8) held.push_back(static_cast<std::uint8_t>(number));
    }
  }
  return held;
}

}  // namespace

X11InputDevices::X11InputDevices(std::shared_ptr<X11Connection> connection) : connection_(std::move(connection)) {
  const auto devices = query();
  if (!devices) return;
  for (auto device = xcb_input_xi_query_device_infos_iterator(devices.get()); device.rem > 0;
       xcb_input_xi_device_info_next(&device)) {
    const std::string_view name(xcb_input_xi_device_info_name(device.data),
                                static_cast<std::size_t>(xcb_input_xi_device_info_name_length(device.data)));
    const auto id = static_cast<std::uint8_t>(device.data->deviceid);
    if (testPointer_ == 0 && name.ends_with(testPointerName)) testPointer_ = id;
    if (testKeyboard_ == 0 && name.ends_with(testKeyboardName)) testKeyboard_ = id;
  }
}

std::vector<X11InputDevices::Key> X11InputDevices::heldKeys() const {
  std::vector<Key> keys;
  const auto devices = query();
  if (!devices) return keys;
  for (auto device = xcb_input_xi_query_device_infos_iterator(devices.get()); device.rem > 0;
       xcb_input_xi_device_info_next(&device)) {
    if (device.data->type != XCB_INPUT_DEVICE_TYPE_SLAVE_KEYBOARD) continue;
    const auto id = static_cast<std::uint8_t>(device.data->deviceid);
    for (const xcb_keycode_t code : heldOn(*connection_, id, XCB_INPUT_INPUT_CLASS_KEY))
      keys.push_back({.device = id, .code = code});
  }
  return keys;
}

void X11InputDevices::turn(const Key& key, bool isDown) const {
  const std::uint8_t firstEvent = xcb_get_extension_data(connection_->get(), &xcb_input_id)->first_event;
  const int type = firstEvent + (isDown ? XCB_INPUT_DEVICE_KEY_PRESS : XCB_INPUT_DEVICE_KEY_RELEASE);
  postInput(*connection_, static_cast<std::uint8_t>(type), key.code, /*x=*/0, /*y=*/0, key.device);
}

void X11InputDevices::releaseAll() const {
  if (testPointer_ == 0 || testKeyboard_ == 0) return;
  for (const std::uint8_t button : heldOn(*connection_, testPointer_, XCB_INPUT_INPUT_CLASS_BUTTON))
    postInput(*connection_, XCB_BUTTON_RELEASE, button);
  for (const std::uint8_t key : heldOn(*connection_, testKeyboard_, XCB_INPUT_INPUT_CLASS_KEY))
    postInput(*connection_, XCB_KEY_RELEASE, key);
}

/// Null if the server lacks the extension, or is gone.
X11Reply<xcb_input_xi_query_device_reply_t> X11InputDevices::query() const {
  if (!connection_->offers(xcb_input_id)) return nullptr;
  const auto cookie = xcb_input_xi_query_device(connection_->get(), XCB_INPUT_DEVICE_ALL);
  return owned(xcb_input_xi_query_device_reply(connection_->get(), cookie, nullptr));
}

}  // namespace tandemview
