#include "platform/linux/X11EventSystem.h"

#include <linux/input-event-codes.h>
#include <xkbcommon/xkbcommon-keysyms.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <string_view>
#include <thread>
#include <utility>

#include "platform/linux/RandrLayout.h"
#include "platform/linux/X11EventInput.h"
#include "runtime/Log.h"

namespace tandemview {

namespace {

/// About how far GTK, Qt and the browsers scroll for a click of the wheel, so that the content stays with the finger.
constexpr std::int64_t pixelsPerWheelClick = 50;

/// Of one event: further than any page is high.
constexpr std::int64_t mostWheelClicks = 200;

/// Of a turn: what they take, a few milliseconds, keeps everything else of the queue waiting.
constexpr int strokesPerTurn = 64;

/// How often it is looked whether the server has answered at last.
constexpr double answerInterval = 0.01;  // seconds

/// Of characters, as many as the longest message of a phone has. Further ones are dropped.
constexpr std::size_t mostWaitingCharacters = 1'000'000;

/// Of everything else. No hand is that fast: everything that waits is dropped.
constexpr std::size_t mostWaitingEvents = 1000;

/// For how long a click or a shortcut waits for characters before it. Then they are dropped: typing them after it might
/// type them somewhere else, and a screen that doesn't react for longer would seem to be dead.
constexpr double longestWait = 5;  // seconds

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

/// Null without a server, or if it lacks XTEST.
std::shared_ptr<X11Connection> connectionWithXTest(const std::string& displayName) {
  auto connection = X11Connection::open(displayName);
  if (!connection || !connection->offers(xcb_test_id)) return nullptr;
  // A window manager or a tool may grab the server for seconds: this connection is served all the same.
  xcb_test_grab_control(connection->get(), /*impervious=*/1);
  return connection;
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

bool isMovement(const MouseEvent& event) {
  return event.type == MouseEventType::Moved || event.type == MouseEventType::LeftDragged;
}

bool isPress(const MouseEvent& event) {
  return event.type == MouseEventType::LeftDown || event.type == MouseEventType::RightDown;
}

/// Takes whole clicks off the pixels; what is left keeps its sign.
std::int64_t takeClicks(std::int64_t& pixels) {
  const std::int64_t clicks = pixels / pixelsPerWheelClick;
  pixels -= clicks * pixelsPerWheelClick;
  return std::clamp(clicks, -mostWheelClicks, mostWheelClicks);
}

}  // namespace

X11EventSystem::X11EventSystem(std::shared_ptr<Queue> queue, std::shared_ptr<const MediaClock> clock,
                               std::string displayName, double patience)
    : queue_(std::move(queue)),
      clock_(std::move(clock)),
      displayName_(std::move(displayName)),
      connection_(connectionWithXTest(displayName_)),
      devices_(connection_ ? std::make_shared<X11InputDevices>(connection_) : nullptr),
      keyboard_(connection_ ? std::make_unique<X11Keyboard>(connection_, devices_) : nullptr),
      state_(connection_
                 ? std::make_shared<X11InputState>(connection_, devices_->testPointer(), keyboard_->hasXkb(), patience)
                 : nullptr),
      pointer_(connection_ ? std::make_unique<X11Pointer>(connection_, state_) : nullptr) {
  if (!connection_ || !isOnlyCopy(*connection_)) return;
  devices_->releaseAll();
  keyboard_->endLoansOfKilledRun();
  xcb_flush(connection_->get());
}

X11EventSystem::~X11EventSystem() {
  if (!connection_ || !(pointer_->hasPressed() || keyboard_->hasLoans())) return;
  const auto connection = isAlive() ? connection_ : connectionWithXTest(displayName_);
  if (!connection) return;
  pointer_->releaseAll(*connection);
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
  if (isMovement(event) && !waitsForPointer() && state_->isServerAnswering()) {
    pointer_->moveTo(event.location);
    xcb_flush(connection_->get());
  } else if (!waiting_.empty() || !carryOutNow(event)) {
    addMouseEvent(event);
  }
}

void X11EventSystem::postScrollEvent(const ScrollEvent& event) {
  if (!isAlive()) return;
  verticalRemainder_ += event.vertical;
  horizontalRemainder_ += event.horizontal;
  const Wheel wheel = {.vertical = takeClicks(verticalRemainder_),
                       .horizontal = takeClicks(horizontalRemainder_),
                       .modifiers = x11ModifiersOf(event.flags)};
  if (wheel.vertical == 0 && wheel.horizontal == 0) return;
  if (waitsForPointer() || !carryOutNow(wheel)) addWheel(wheel);
}

void X11EventSystem::postKeyEvent(const KeyEvent& event) {
  if (!event.isDown || !isAlive()) return;
  const EventFlags flags = event.flags.value_or(EventFlag::none);
  if (event.text.empty()) {
    if (const auto chord = x11KeyChordFor(event.keyCode, flags)) add({.input = *chord});
    return;
  }
  std::u32string characters = event.text == lineBreak ? U"\r" : scalars(event.text);
  std::ranges::replace(characters, U'\n', U'\r');
  addText(characters, x11ModifiersOf(flags));
}

void X11EventSystem::discardWaitingEvents() {
  for (const Waiting& waiting : std::exchange(waiting_, {})) {
    const auto* const event = std::get_if<MouseEvent>(&waiting.input);
    if (event && !isMovement(*event) && !isPress(*event)) pointer_->release(event->button);
  }
  waitingCharacters_ = 0;
  ++plannedTurn_;
  if (isAlive()) xcb_flush(connection_->get());
}

std::optional<ScreenPoint> X11EventSystem::pointerLocation() {
  if (!isAlive()) return std::nullopt;
  for (auto waiting = waiting_.rbegin(); waiting != waiting_.rend(); ++waiting) {
    if (const auto* const event = std::get_if<MouseEvent>(&waiting->input)) return event->location;
  }
  return state_->update() ? pointer_->location() : pointer_->lastPlace();
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
  add({.input = *chord});
  completion(std::nullopt);
}

void X11EventSystem::pause(double seconds) {
  std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
}

void X11EventSystem::addText(std::u32string_view characters, X11Modifiers modifiers) {
  if (waitingCharacters_ + characters.size() > mostWaitingCharacters) return;
  waitingCharacters_ += characters.size();
  auto* const last = waiting_.empty() ? nullptr : std::get_if<Text>(&waiting_.back().input);
  if (last && last->modifiers == modifiers) {
    last->characters += characters;
  } else {
    add({.input = Text{.characters = std::u32string(characters), .modifiers = modifiers}});
  }
}

/// Only the last of several movements counts.
void X11EventSystem::addMouseEvent(const MouseEvent& event) {
  auto* const last = waiting_.empty() ? nullptr : std::get_if<MouseEvent>(&waiting_.back().input);
  if (last && isMovement(*last) && last->type == event.type) {
    *last = event;
  } else {
    add({.input = event});
  }
}

void X11EventSystem::addWheel(const Wheel& wheel) {
  auto* const last = waiting_.empty() ? nullptr : std::get_if<Wheel>(&waiting_.back().input);
  if (last && last->modifiers == wheel.modifiers) {
    last->vertical = std::clamp(last->vertical + wheel.vertical, -mostWheelClicks, mostWheelClicks);
    last->horizontal = std::clamp(last->horizontal + wheel.horizontal, -mostWheelClicks, mostWheelClicks);
  } else {
    add({.input = wheel});
  }
}

void X11EventSystem::add(Waiting waiting) {
  if (waiting_.size() >= mostWaitingEvents) discardWaitingEvents();
  waiting.since = clock_->now();
  waiting_.push_back(std::move(waiting));
  if (waiting_.size() == 1) planTurn(0);
}

bool X11EventSystem::waitsForPointer() const {
  return std::ranges::any_of(waiting_, [](const Waiting& waiting) {
    return std::holds_alternative<MouseEvent>(waiting.input) || std::holds_alternative<Wheel>(waiting.input);
  });
}

void X11EventSystem::planTurn(double seconds) {
  auto turn = [weakSelf = weak_from_this(), number = ++plannedTurn_] {
    const auto self = weakSelf.lock();
    if (self && self->plannedTurn_ == number) self->takeTurn();
  };
  if (seconds > 0) return queue_->after(seconds, std::move(turn));
  queue_->async(std::move(turn));
}

void X11EventSystem::takeTurn() {
  if (!isAlive()) return discardWaitingEvents();
  if (!beginStrokes()) return planTurn(answerInterval);
  dropTextInFrontOfOthers();
  double seconds = 0;
  for (int strokes = 0; strokes < strokesPerTurn && !waiting_.empty(); ++strokes) {
    auto& input = waiting_.front().input;
    seconds = std::visit([this](auto& each) { return carryOut(each); }, input);
    if (seconds > 0) break;
    const auto* const text = std::get_if<Text>(&input);
    if (!text || text->typed == text->characters.size()) waiting_.pop_front();
  }
  endStrokes();
  if (!waiting_.empty()) planTurn(seconds);
}

void X11EventSystem::dropTextInFrontOfOthers() {
  const auto isText = [](const Waiting& waiting) { return std::holds_alternative<Text>(waiting.input); };
  const auto other = std::ranges::find_if_not(waiting_, isText);
  if (other == waiting_.begin() || other == waiting_.end() || clock_->now() - other->since < longestWait) return;
  Log::print("⚠️ {} characters were dropped: what came after them has waited for {} s", waitingCharacters_,
             longestWait);
  waiting_.erase(waiting_.begin(), other);
  waitingCharacters_ = 0;
  for (const Waiting& waiting : waiting_) {
    if (const auto* const text = std::get_if<Text>(&waiting.input)) waitingCharacters_ += text->characters.size();
  }
}

// They carry out one stroke or click, and return for how many seconds it has to wait before it is tried again; 0: it is
// done.

double X11EventSystem::carryOut(Text& text) {
  lastTyping_ = clock_->now();
  const double seconds = keyboard_->type(text.characters[text.typed], text.modifiers, lastTyping_);
  if (!endOfLoansIsPlanned_ && keyboard_->hasLoans()) endLoansAfter(typingPause);
  if (seconds > 0) return seconds;
  ++text.typed;
  --waitingCharacters_;
  return 0;
}

double X11EventSystem::carryOut(const X11KeyChord& chord) {
  keyboard_->press(chord);
  return 0;
}

double X11EventSystem::carryOut(const MouseEvent& event) {
  keyboard_->holding(x11ModifiersOf(event.flags), [&] {
    pointer_->moveTo(event.location);
    if (isMovement(event)) return;
    if (isPress(event)) {
      pointer_->press(event.button);
    } else {
      pointer_->release(event.button);
    }
  });
  return 0;
}

double X11EventSystem::carryOut(const Wheel& wheel) {
  keyboard_->holding(wheel.modifiers, [&] { pointer_->turnWheel(wheel.vertical, wheel.horizontal); });
  return 0;
}

/// False if the server doesn't answer.
template <typename Input>
bool X11EventSystem::carryOutNow(const Input& input) {
  if (!beginStrokes()) return false;
  carryOut(input);
  endStrokes();
  return true;
}

/// Finds out what the user holds and has locked, and does away with what he holds. False if the server doesn't answer.
bool X11EventSystem::beginStrokes() {
  if (!state_->update()) return false;
  const auto& keyboard = state_->keyboard();
  if (keyboard && keyboard->pressed != 0 && keyboard_->releaseHeldModifiers() && !state_->update()) {
    keyboard_->restoreHeldModifiers();
    return false;
  }
  keyboard_->begin(keyboard);
  return true;
}

void X11EventSystem::endStrokes() {
  keyboard_->end();
  keyboard_->restoreHeldModifiers();
  xcb_flush(connection_->get());
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

}  // namespace tandemview
