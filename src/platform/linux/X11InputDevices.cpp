#include "platform/linux/X11InputDevices.h"

#include <xcb/xinput.h>

#include <span>
#include <string_view>
#include <vector>

#include "platform/linux/X11EventInput.h"

namespace tandemview {

namespace {

/// What the names of XTEST's devices end in; those of the first pointer and keyboard come first.
constexpr std::string_view testPointerName = " XTEST pointer";
constexpr std::string_view testKeyboardName = " XTEST keyboard";

/// As many as XTEST's pointer has.
constexpr std::uint8_t mostButtons = 10;

/// What a button becomes, by a map that begins with button 1.
std::uint8_t mapped(std::span<const std::uint8_t> map, std::uint8_t button) {
  return button == 0 || button > map.size() ? button : map[button - 1U];
}

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
  if (!connection_->offers(xcb_input_id)) return;
  const auto devices = owned(xcb_input_xi_query_device_reply(
      connection_->get(), xcb_input_xi_query_device(connection_->get(), XCB_INPUT_DEVICE_ALL), nullptr));
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

void X11InputDevices::releaseAll() const {
  if (testPointer_ == 0 || testKeyboard_ == 0) return;
  for (const std::uint8_t button : heldOn(*connection_, testPointer_, XCB_INPUT_INPUT_CLASS_BUTTON))
    postInput(*connection_, XCB_BUTTON_RELEASE, button);
  for (const std::uint8_t key : heldOn(*connection_, testKeyboard_, XCB_INPUT_INPUT_CLASS_KEY))
    postInput(*connection_, XCB_KEY_RELEASE, key);
}

/// The server maps a button twice: as that of XTEST's device, then as that of the pointer which all devices move.
std::optional<std::uint8_t> X11InputDevices::buttonFor(std::uint8_t button) const {
  xcb_connection_t* const connection = connection_->get();
  const auto pointerCookie = xcb_get_pointer_mapping(connection);
  X11Reply<xcb_input_get_device_button_mapping_reply_t> device;
  if (testPointer_ != 0) {
    const auto deviceCookie = xcb_input_get_device_button_mapping(connection, testPointer_);
    device = owned(xcb_input_get_device_button_mapping_reply(connection, deviceCookie, nullptr));
  }
  const auto pointer = owned(xcb_get_pointer_mapping_reply(connection, pointerCookie, nullptr));
  if (!pointer) return std::nullopt;
  const std::span<const std::uint8_t> pointerMap(xcb_get_pointer_mapping_map(pointer.get()), pointer->map_len);
  std::span<const std::uint8_t> deviceMap;
  if (device) deviceMap = {xcb_input_get_device_button_mapping_map(device.get()), device->map_size};
  for (std::uint8_t candidate = 1; candidate <= mostButtons; ++candidate) {
    if (mapped(pointerMap, mapped(deviceMap, candidate)) == button) return candidate;
  }
  return std::nullopt;
}

}  // namespace tandemview
