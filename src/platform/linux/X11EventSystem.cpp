#include "platform/linux/X11EventSystem.h"

#include <linux/input-event-codes.h>
#include <xkbcommon/xkbcommon-keysyms.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <string_view>
#include <thread>

#include "platform/linux/RandrLayout.h"
#include "platform/linux/X11EventInput.h"
#include "runtime/Log.h"

namespace tandemview {

namespace {

/// X's names of the buttons.
namespace Button {
constexpr std::uint8_t left = 1;
constexpr std::uint8_t middle = 2;
constexpr std::uint8_t right = 3;
constexpr std::uint8_t wheelUp = 4;
constexpr std::uint8_t wheelDown = 5;
constexpr std::uint8_t wheelLeft = 6;
constexpr std::uint8_t wheelRight = 7;
}  // namespace Button

/// About how far GTK, Qt and the browsers scroll for a click of the wheel, so that the content stays with the finger.
constexpr std::int64_t pixelsPerWheelClick = 50;

/// Of one event: further than any page is high.
constexpr std::int64_t mostWheelClicks = 200;

/// Far below a pixel, far above the rounding errors of "fraction of the display" times its size.
constexpr double roundingSlack = 1e-6;

/// Keys beyond these are dropped while others wait for a free key code.
constexpr std::size_t mostWaitingSteps = 10'000;

/// For how long nothing may have been typed before the borrowed meanings are taken back.
constexpr double typingPause = 5;  // seconds

/// The one line break that is two characters; Return types a carriage return.
constexpr std::u16string_view lineBreak = u"\r\n";

constexpr std::string_view launcherPath = "/System/Applications/Apps.app";

struct Launcher {
  std::string_view desktop;  // as in XDG_CURRENT_DESKTOP
  X11KeyChord chord;
};

/// Each desktop's default shortcut.
constexpr Launcher launchers[] = {
    {"GNOME", {X11Modifier::super, KEY_A, XKB_KEY_a}},
    {"Unity", {X11Modifier::super, KEY_A, XKB_KEY_a}},
    {"KDE", {X11Modifier::super}},
    {"X-Cinnamon", {X11Modifier::super}},
    {"Budgie", {X11Modifier::super}},
    {"Pantheon", {X11Modifier::super}},
    {"XFCE", {X11Modifier::alt, KEY_F1}},
    {"MATE", {X11Modifier::alt, KEY_F1}},
    {"LXQt", {X11Modifier::alt, KEY_F1}},
};

/// Of the first known name in a list such as "ubuntu:GNOME".
const X11KeyChord* launcherChord() {
  const char* const variable = std::getenv("XDG_CURRENT_DESKTOP");
  std::string_view names = variable ? variable : "";
  while (!names.empty()) {
    const std::string_view name = names.substr(0, names.find(':'));
    names.remove_prefix(std::min(name.size() + 1, names.size()));
    const auto* const launcher = std::ranges::find(launchers, name, &Launcher::desktop);
    if (launcher != std::end(launchers)) return &launcher->chord;
  }
  return nullptr;
}

std::shared_ptr<X11Connection> connectionWithXTest(const std::string& displayName) {
  auto connection = X11Connection::open(displayName);
  return connection && connection->offers(xcb_test_id) ? connection : nullptr;
}

/// Whether no other copy of the program posts input to this server. A selection shows it: the server takes it from a
/// copy that has ended, however it ended.
bool isOnlyCopy(const X11Connection& connection) {
  const xcb_atom_t selection = connection.atom("_TANDEMVIEW_INPUT");
  const auto owner = owned(
      xcb_get_selection_owner_reply(connection.get(), xcb_get_selection_owner(connection.get(), selection), nullptr));
  if (!owner || owner->owner != XCB_NONE) return false;
  const xcb_window_t window = xcb_generate_id(connection.get());
  xcb_create_window(connection.get(), XCB_COPY_FROM_PARENT, window, connection.root(), 0, 0, 1, 1, /*border_width=*/0,
                    XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, /*value_mask=*/0, nullptr);
  xcb_set_selection_owner(connection.get(), window, selection, XCB_CURRENT_TIME);
  return true;
}

std::uint8_t buttonOf(MouseButton button) {
  if (button == MouseButton::Left) return Button::left;
  return button == MouseButton::Right ? Button::right : Button::middle;
}

/// Well-formed UTF-16, as takeCharacter() makes it.
std::u32string scalars(std::u16string_view units) {
  std::u32string result;
  for (std::size_t index = 0; index < units.size(); ++index) {
    const char32_t unit = units[index];
    const bool isPair = (unit & 0xFC00) == 0xD800 && index + 1 < units.size();
    result += isPair ? 0x10000 + ((unit & 0x3FF) << 10) + (units[++index] & 0x3FF) : unit;
  }
  return result;
}

std::int16_t pixel(double coordinate) {
  return static_cast<std::int16_t>(std::clamp(std::floor(coordinate + roundingSlack), -32768.0, 32767.0));
}

/// Takes whole clicks off the pixels; what is left keeps its sign.
std::int64_t takeClicks(std::int64_t& pixels) {
  const std::int64_t clicks = pixels / pixelsPerWheelClick;
  pixels -= clicks * pixelsPerWheelClick;
  return std::clamp(clicks, -mostWheelClicks, mostWheelClicks);
}

}  // namespace

X11EventSystem::X11EventSystem(std::shared_ptr<Queue> queue, std::shared_ptr<const MediaClock> clock,
                               std::string displayName)
    : queue_(std::move(queue)),
      clock_(std::move(clock)),
      displayName_(std::move(displayName)),
      connection_(connectionWithXTest(displayName_)),
      devices_(connection_ ? std::make_unique<X11InputDevices>(connection_) : nullptr),
      keyboard_(connection_ ? std::make_unique<X11Keyboard>(connection_) : nullptr) {
  if (!connection_ || !isOnlyCopy(*connection_)) return;
  devices_->releaseAll();
  keyboard_->endLoansOfKilledRun();
  xcb_flush(connection_->get());
}

X11EventSystem::~X11EventSystem() {
  if (heldButtons_.empty() && !(keyboard_ && keyboard_->hasLoans())) return;
  const auto connection = isAlive() ? connection_ : connectionWithXTest(displayName_);
  if (!connection) return;
  for (const auto& [meant, posted] : heldButtons_) postInput(*connection, XCB_BUTTON_RELEASE, posted);
  keyboard_->endLoans(*connection);
  // Waits for an answer: what has not been read when the connection ends may be dropped.
  owned(xcb_get_input_focus_reply(connection->get(), xcb_get_input_focus(connection->get()), nullptr));
}

bool X11EventSystem::isTrusted(TrustPrompt prompt) {
  if (isAlive()) return true;
  if (prompt == TrustPrompt::Allowed) Log::line("💡 Input needs an X server with the XTEST extension: see DISPLAY");
  return false;
}

void X11EventSystem::postMouseEvent(const MouseEvent& event) {
  if (!isAlive() || !std::isfinite(event.location.x) || !std::isfinite(event.location.y)) return;
  take([this, event] {
    keyboard_->holding(x11ModifiersOf(event.flags), [&] {
      movePointer(event.location);
      turnButton(event);
    });
    return 0.0;
  });
}

void X11EventSystem::postScrollEvent(const ScrollEvent& event) {
  if (!isAlive()) return;
  verticalRemainder_ += event.vertical;
  horizontalRemainder_ += event.horizontal;
  const std::int64_t vertical = takeClicks(verticalRemainder_);
  const std::int64_t horizontal = takeClicks(horizontalRemainder_);
  if (vertical == 0 && horizontal == 0) return;
  take([this, vertical, horizontal, flags = event.flags] {
    keyboard_->holding(x11ModifiersOf(flags), [&] {
      turnWheel(vertical, Button::wheelUp, Button::wheelDown);
      turnWheel(horizontal, Button::wheelLeft, Button::wheelRight);
    });
    return 0.0;
  });
}

void X11EventSystem::postKeyEvent(const KeyEvent& event) {
  if (!event.isDown || !isAlive()) return;
  const EventFlags flags = event.flags.value_or(EventFlag::none);
  if (event.text.empty()) {
    if (const auto chord = x11KeyChordFor(event.keyCode, flags)) {
      takeKey([this, chord = *chord] {
        keyboard_->press(chord);
        return 0.0;
      });
    }
    return;
  }
  const X11Modifiers modifiers = x11ModifiersOf(flags);
  if (event.text == lineBreak) return takeKey([this, modifiers] { return type(U'\r', modifiers); });
  for (const char32_t scalar : scalars(event.text)) {
    const char32_t character = scalar == U'\n' ? U'\r' : scalar;
    takeKey([this, character, modifiers] { return type(character, modifiers); });
  }
}

std::optional<ScreenPoint> X11EventSystem::pointerLocation() {
  if (!isAlive()) return std::nullopt;
  const auto place = owned(
      xcb_query_pointer_reply(connection_->get(), xcb_query_pointer(connection_->get(), connection_->root()), nullptr));
  if (!place || !place->same_screen) return std::nullopt;
  if (pixel(pointer_.x) == place->root_x && pixel(pointer_.y) == place->root_y) return pointer_;
  return ScreenPoint{static_cast<double>(place->root_x), static_cast<double>(place->root_y)};
}

std::optional<std::uint32_t> X11EventSystem::activeDisplayCount() {
  const auto layout = isAlive() ? RandrLayout::read(*connection_) : std::nullopt;
  if (!layout) return std::nullopt;
  return static_cast<std::uint32_t>(layout->activeOutputs().size());
}

std::optional<std::vector<std::uint32_t>> X11EventSystem::activeDisplays(std::uint32_t limit) {
  const auto layout = isAlive() ? RandrLayout::read(*connection_) : std::nullopt;
  if (!layout) return std::nullopt;
  std::vector<std::uint32_t> displays;
  for (const RandrLayout::Output* const output : layout->activeOutputs()) {
    if (displays.size() < limit) displays.push_back(output->id);
  }
  return displays;
}

ScreenRectangle X11EventSystem::displayBounds(std::uint32_t displayID) {
  const auto layout = isAlive() ? RandrLayout::read(*connection_) : std::nullopt;
  const RandrLayout::Crtc* const crtc = layout ? layout->activeCrtc(displayID) : nullptr;
  if (!crtc) return {};
  return {.x = static_cast<double>(crtc->x),
          .y = static_cast<double>(crtc->y),
          .width = static_cast<double>(crtc->width),
          .height = static_cast<double>(crtc->height)};
}

PixelSize X11EventSystem::displayPixelSize(std::uint32_t displayID) {
  const ScreenRectangle bounds = displayBounds(displayID);
  return {.width = static_cast<std::int64_t>(bounds.width), .height = static_cast<std::int64_t>(bounds.height)};
}

bool X11EventSystem::applicationExists(const std::string& path) {
  return path == launcherPath && launcherChord();
}

void X11EventSystem::openApplication(const std::string& path, std::function<void(std::optional<Error>)> completion) {
  const X11KeyChord* const chord = path == launcherPath ? launcherChord() : nullptr;
  if (!chord) return completion(posixError(ENOENT));
  if (!isAlive()) return completion(posixError(ENOTCONN));
  takeKey([this, chord] {
    keyboard_->press(*chord);
    return 0.0;
  });
  completion(std::nullopt);
}

void X11EventSystem::pause(double seconds) {
  std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
}

void X11EventSystem::take(Step step) {
  if (waiting_.empty()) {
    const double seconds = step();
    xcb_flush(connection_->get());
    if (seconds <= 0) return;
    takeWaitingAfter(seconds);
  }
  waiting_.push_back(std::move(step));
}

void X11EventSystem::takeKey(Step step) {
  if (waiting_.size() < mostWaitingSteps) take(std::move(step));
}

void X11EventSystem::takeWaitingAfter(double seconds) {
  queue_->after(seconds, [weakSelf = weak_from_this()] {
    if (const auto self = weakSelf.lock()) self->takeWaiting();
  });
}

void X11EventSystem::takeWaiting() {
  double seconds = 0;
  while (!waiting_.empty() && seconds <= 0) {
    seconds = waiting_.front()();
    if (seconds <= 0) waiting_.pop_front();
  }
  xcb_flush(connection_->get());
  if (seconds > 0) takeWaitingAfter(seconds);
}

double X11EventSystem::type(char32_t character, X11Modifiers modifiers) {
  lastTyping_ = clock_->now();
  const double seconds = keyboard_->type(character, modifiers, lastTyping_);
  if (!endOfLoansIsPlanned_ && keyboard_->hasLoans()) endLoansAfter(typingPause);
  return seconds;
}

void X11EventSystem::endLoansAfter(double seconds) {
  endOfLoansIsPlanned_ = true;
  queue_->after(seconds, [weakSelf = weak_from_this()] {
    const auto self = weakSelf.lock();
    if (!self) return;
    const double left = self->lastTyping_ + typingPause - self->clock_->now();
    if (left > 0) return self->endLoansAfter(left);
    self->endOfLoansIsPlanned_ = false;
    self->keyboard_->endLoans(*self->connection_);
    xcb_flush(self->connection_->get());
  });
}

/// A point lies in the pixel whose edges surround it.
void X11EventSystem::movePointer(const ScreenPoint& location) {
  pointer_ = location;
  postInput(*connection_, XCB_MOTION_NOTIFY, /*detail=*/0, pixel(location.x), pixel(location.y));
}

void X11EventSystem::turnButton(const MouseEvent& event) {
  const std::uint8_t meant = buttonOf(event.button);
  if (event.type == MouseEventType::LeftDown || event.type == MouseEventType::RightDown) {
    const auto posted = devices_->buttonFor(meant);
    if (!posted || !heldButtons_.emplace(meant, *posted).second) return;
    postInput(*connection_, XCB_BUTTON_PRESS, *posted);
  } else if (event.type == MouseEventType::LeftUp || event.type == MouseEventType::RightUp) {
    const auto held = heldButtons_.extract(meant);
    if (held) postInput(*connection_, XCB_BUTTON_RELEASE, held.mapped());
  }
}

void X11EventSystem::turnWheel(std::int64_t clicks, std::uint8_t forwardButton, std::uint8_t backButton) const {
  if (clicks == 0) return;
  const auto button = devices_->buttonFor(clicks > 0 ? forwardButton : backButton);
  if (!button) return;
  for (std::int64_t click = std::abs(clicks); click > 0; --click) {
    postInput(*connection_, XCB_BUTTON_PRESS, *button);
    postInput(*connection_, XCB_BUTTON_RELEASE, *button);
  }
}

}  // namespace tandemview
