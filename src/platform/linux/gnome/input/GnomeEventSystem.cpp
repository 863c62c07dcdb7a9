#include "platform/linux/gnome/input/GnomeEventSystem.h"

#include <linux/input-event-codes.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <string_view>
#include <thread>
#include <utility>

#include "platform/linux/keys/PostedEvents.h"
#include "runtime/Log.h"
#include "runtime/Weakly.h"

namespace tandemview {

namespace {

/// Longer texts are left to the input method, if it takes them: it has no need to wait for Shift.
constexpr std::size_t mostCharactersByKeys = 1;

/// Further than any screens reach. Mutter keeps the pointer on them.
constexpr double farthest = 32768;

/// Of one event: further than any page is high.
constexpr std::int32_t mostScrolled = 10'000;  // pixels

/// How the compositor calls a movement that comes from fingers: pixels, no clicks of a wheel.
constexpr std::uint32_t byFinger = 4;

std::int32_t buttonCode(MouseButton button) {
  if (button == MouseButton::Left) return BTN_LEFT;
  return button == MouseButton::Right ? BTN_RIGHT : BTN_MIDDLE;
}

/// The key of a character that is none to read; 0: it has none.
std::uint16_t controlKey(char32_t character) {
  if (character == U'\r') return KEY_ENTER;
  if (character == U'\t') return KEY_TAB;
  return character == U'\b' || character == U'\x7f' ? KEY_BACKSPACE : 0;
}

bool isControl(char32_t character) {
  return character < U' ' || character == U'\x7f';
}

std::string utf8(std::u32string_view characters) {
  std::string text;
  for (const char32_t character : characters) {
    char bytes[8];
    const int length = xkb_keysym_to_utf8(xkb_utf32_to_keysym(character), bytes, sizeof bytes);
    if (length > 1) text.append(bytes, static_cast<std::size_t>(length) - 1);
  }
  return text;
}

}  // namespace

std::shared_ptr<GnomeEventSystem> GnomeEventSystem::make(Surroundings surroundings) {
  std::shared_ptr<GnomeEventSystem> system(new GnomeEventSystem(std::move(surroundings)));
  system->remoteDesktop_->onEnd([queue = system->surroundings_.queue, weak = system->weak_from_this()] {
    queue->async(weakly(weak, &GnomeEventSystem::forgetHeld));
  });
  return system;
}

GnomeEventSystem::GnomeEventSystem(Surroundings surroundings)
    : surroundings_(std::move(surroundings)),
      remoteDesktop_(surroundings_.session->remoteDesktop()),
      keymap_(WaylandKeymap::follow(surroundings_.queue)),
      inputMethod_(std::make_shared<InputMethod>(surroundings_.queue)),
      keyboard_(remoteDesktop_) {}

GnomeEventSystem::~GnomeEventSystem() {
  keyboard_.releaseAll();
  while (!pressed_.empty()) release(*pressed_.begin());
}

void GnomeEventSystem::postMouseEvent(const MouseEvent& event) {
  const auto bounds = displayBounds();
  if (!bounds || !std::isfinite(event.location.x) || !std::isfinite(event.location.y)) return;
  place_ = {std::clamp(event.location.x - bounds->x, -farthest, farthest),
            std::clamp(event.location.y - bounds->y, -farthest, farthest)};
  if (isMovement(event) && !waiting_.holdsPointerInput()) return carryOut(event);
  add(event);
}

void GnomeEventSystem::postScrollEvent(const ScrollEvent& event) {
  if (!displayBounds()) return;
  if (!waiting_.holdsPointerInput()) return carryOut(event);
  add(event);
}

void GnomeEventSystem::postKeyEvent(const KeyEvent& event) {
  if (!event.isDown || !displayBounds()) return;
  const EventFlags flags = event.flags.value_or(EventFlag::none);
  if (event.text.empty()) {
    if (const auto chord = keyChordFor(event.keyCode, flags)) add(*chord);
    return;
  }
  GnomeText text = {.characters = typedCharacters(event.text), .modifiers = keyModifiersOf(flags)};
  add(std::move(text));
}

void GnomeEventSystem::discardWaitingEvents() {
  keyboard_.releaseAll();
  underWay_.clear();
  for (const MouseButton button : waiting_.clear()) release(button);
}

std::optional<ScreenPoint> GnomeEventSystem::pointerLocation() {
  const auto bounds = displayBounds();
  if (!bounds) return std::nullopt;
  if (!place_) return bounds->center();
  return ScreenPoint{bounds->x + place_->x, bounds->y + place_->y};
}

bool GnomeEventSystem::applicationExists(const std::string& path) {
  return isLauncher(path) && launcherChord();
}

void GnomeEventSystem::openApplication(const std::string& path, std::function<void(std::optional<Error>)> completion) {
  const auto chord = isLauncher(path) ? launcherChord() : std::nullopt;
  if (!chord) return completion(posixError(ENOENT));
  if (!displayBounds()) return completion(posixError(ENOTCONN));
  add(*chord);
  completion(std::nullopt);
}

void GnomeEventSystem::pause(double seconds) {
  std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
}

/// A click that nothing waits before is carried out at once.
void GnomeEventSystem::add(GnomeInput input) {
  if (waiting_.isFlooded()) discardWaitingEvents();
  const bool isFirst = waiting_.isEmpty();
  const bool isClick = std::holds_alternative<MouseEvent>(input);
  waiting_.add(std::move(input));
  if (!isFirst) return;
  if (isClick) return takeTurn();
  planTurn(0);
}

void GnomeEventSystem::planTurn(double seconds) {
  auto turn = weakly(this, [number = ++plannedTurn_](GnomeEventSystem& self) {
    if (self.plannedTurn_ == number) self.takeTurn();
  });
  if (seconds > 0) return surroundings_.queue->after(seconds, std::move(turn));
  surroundings_.queue->async(std::move(turn));
}

void GnomeEventSystem::takeTurn() {
  while (!isWaitingForInputMethod_) {
    if (const double seconds = secondsToWait(); seconds > 0) return planTurn(seconds);
    if (waiting_.isEmpty()) return;
    carryOut(waiting_.takeFront());
  }
}

/// Until what was typed before has arrived, as far as what is next has to come after it.
double GnomeEventSystem::secondsToWait() {
  const double now = surroundings_.clock->now();
  keyboard_.setLookedAt(inputMethod_->isThere());
  if (const double seconds = keyboard_.strike(now); seconds > 0) return seconds;
  return waiting_.isEmpty() || isOfKeys(waiting_.front()) ? 0 : keyboard_.secondsToSettle(now);
}

/// Keys take their turn among themselves.
bool GnomeEventSystem::isOfKeys(const GnomeInput& input) const {
  const auto* const text = std::get_if<GnomeText>(&input);
  return std::holds_alternative<KeyChord>(input) || (text && hasKeysFor(text->characters));
}

bool GnomeEventSystem::hasKeysFor(const std::u32string& characters) const {
  return characters.size() <= mostCharactersByKeys && std::ranges::all_of(characters, [this](char32_t character) {
           return isControl(character) || keyOf(character).has_value();
         });
}

void GnomeEventSystem::carryOut(GnomeInput input) {
  std::visit([this](auto&& kind) { carryOut(std::forward<decltype(kind)>(kind)); }, std::move(input));
}

void GnomeEventSystem::carryOut(const MouseEvent& event) {
  const auto bounds = displayBounds();
  if (!bounds) return;
  keyboard_.holding(keyModifiersOf(event.flags), [&] {
    remoteDesktop_->postMotion(std::clamp(event.location.x - bounds->x, -farthest, farthest),
                               std::clamp(event.location.y - bounds->y, -farthest, farthest));
    if (isMovement(event)) return;
    if (isPress(event)) {
      press(event.button);
    } else {
      release(event.button);
    }
  });
}

/// The compositor counts to the right and down.
void GnomeEventSystem::carryOut(const ScrollEvent& event) {
  keyboard_.holding(keyModifiersOf(event.flags), [&] {
    remoteDesktop_->postAtPointer(
        "NotifyPointerAxis", -static_cast<double>(std::clamp(event.horizontal, -mostScrolled, mostScrolled)),
        -static_cast<double>(std::clamp(event.vertical, -mostScrolled, mostScrolled)), byFinger);
  });
}

void GnomeEventSystem::carryOut(const KeyChord& chord) {
  const GnomeKeyLayout* const layout = keymap_->layout();
  std::optional<GnomeKey> key;
  if (layout) {
    key = layout->keyOf(chord);
  } else if (chord.linuxKeyCode != 0) {
    key = GnomeKey{.linuxKeyCode = chord.linuxKeyCode};
  }
  keyboard_.plan(key, chord.modifiers);
}

/// A part of it at a time: keys such as Return stand alone, and the input method takes so much and no more.
void GnomeEventSystem::carryOut(GnomeText text) {
  std::u32string& characters = text.characters;
  if (characters.empty()) return;
  const auto end = std::ranges::find_if(characters, isControl);
  const auto length =
      std::min<std::size_t>(static_cast<std::size_t>(end - characters.begin()), InputMethod::mostCharacters);
  const std::u32string part = characters.substr(0, std::max<std::size_t>(length, 1));
  characters.erase(0, part.size());
  const KeyModifiers modifiers = text.modifiers;
  if (!characters.empty()) waiting_.addFront(std::move(text));
  if (length == 0) {
    const std::uint16_t key = controlKey(part.front());
    if (key != 0) keyboard_.plan(GnomeKey{.linuxKeyCode = key}, modifiers);
  } else if (modifiers != KeyModifier::none) {
    for (const char32_t character : part) {
      if (const auto key = keyOf(character)) keyboard_.plan(key, modifiers);
    }
  } else if (hasKeysFor(part)) {
    typeByKeys(part);
  } else {
    typeBySystem(part);
  }
}

void GnomeEventSystem::typeBySystem(std::u32string characters) {
  underWay_ = std::move(characters);
  isWaitingForInputMethod_ = true;
  inputMethod_->type(utf8(underWay_), weakly(this, [](GnomeEventSystem& self, bool isTyped) {
                       self.isWaitingForInputMethod_ = false;
                       const std::u32string text = std::exchange(self.underWay_, {});
                       if (isTyped) {
                         self.keyboard_.letTextSettle(self.surroundings_.clock->now());
                       } else {
                         self.typeByKeys(text);
                       }
                       self.planTurn(0);
                     }));
}

void GnomeEventSystem::typeByKeys(const std::u32string& characters) {
  std::size_t dropped = 0;
  for (const char32_t character : characters) {
    if (const auto key = keyOf(character)) {
      keyboard_.plan(key, KeyModifier::none);
    } else {
      ++dropped;
    }
  }
  if (dropped > 0)
    Log::print(
        "⚠️ {} characters were dropped: the keyboard's layout lacks them, and no input method takes them there",
        dropped);
}

std::optional<GnomeKey> GnomeEventSystem::keyOf(char32_t character) const {
  const GnomeKeyLayout* const layout = keymap_->layout();
  return layout ? layout->keyOf(character) : std::nullopt;
}

/// Absent while it isn't shown.
std::optional<ScreenRectangle> GnomeEventSystem::displayBounds() const {
  const auto display = surroundings_.session->display();
  if (!display) return std::nullopt;
  const ScreenRectangle bounds = surroundings_.session->layout().bounds(*display);
  if (bounds.width <= 0) return std::nullopt;
  return bounds;
}

void GnomeEventSystem::press(MouseButton button) {
  if (pressed_.insert(button).second) remoteDesktop_->postAtPointer("NotifyPointerButton", buttonCode(button), true);
}

void GnomeEventSystem::release(MouseButton button) {
  if (pressed_.erase(button) > 0) remoteDesktop_->post("NotifyPointerButton", buttonCode(button), false);
}

/// The session has let go of all that was held.
void GnomeEventSystem::forgetHeld() {
  keyboard_.forget();
  pressed_.clear();
  underWay_.clear();
  waiting_.clear();
}

}  // namespace tandemview
