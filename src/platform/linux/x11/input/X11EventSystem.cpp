#include "platform/linux/x11/input/X11EventSystem.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <string_view>
#include <thread>
#include <utility>

#include "platform/linux/keys/PostedEvents.h"
#include "platform/linux/x11/input/X11EventInput.h"
#include "platform/linux/x11/server/RandrLayout.h"
#include "runtime/Log.h"

namespace tandemview {

namespace {

/// About how far GTK, Qt and the browsers scroll for a click of the wheel, so that the content stays with the finger.
constexpr std::int64_t pixelsPerWheelClick = 50;

/// Of a turn: what they take, a few milliseconds, keeps everything else of the queue waiting.
constexpr int strokesPerTurn = 64;

/// How often it is looked whether the server has answered at last.
constexpr double answerInterval = 0.01;  // seconds

/// For how long nothing may have been typed before the borrowed meanings are taken back.
constexpr double typingPause = 5;  // seconds

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

/// Takes whole clicks off the pixels; what is left keeps its sign.
std::int64_t takeClicks(std::int64_t& pixels) {
  const std::int64_t clicks = pixels / pixelsPerWheelClick;
  pixels -= clicks * pixelsPerWheelClick;
  return std::clamp(clicks, -X11Wheel::mostClicks, X11Wheel::mostClicks);
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
  if (isMovement(event) && !waiting_.holdsPointerInput() && state_->isServerAnswering()) {
    pointer_->moveTo(event.location);
    xcb_flush(connection_->get());
  } else if (!waiting_.isEmpty() || !carryOutNow(event)) {
    add(event);
  }
}

void X11EventSystem::postScrollEvent(const ScrollEvent& event) {
  if (!isAlive()) return;
  verticalRemainder_ += event.vertical;
  horizontalRemainder_ += event.horizontal;
  const X11Wheel wheel = {.vertical = takeClicks(verticalRemainder_),
                          .horizontal = takeClicks(horizontalRemainder_),
                          .modifiers = keyModifiersOf(event.flags)};
  if (wheel.vertical == 0 && wheel.horizontal == 0) return;
  if (waiting_.holdsPointerInput() || !carryOutNow(wheel)) add(wheel);
}

void X11EventSystem::postKeyEvent(const KeyEvent& event) {
  if (!event.isDown || !isAlive()) return;
  const EventFlags flags = event.flags.value_or(EventFlag::none);
  if (event.text.empty()) {
    if (const auto chord = keyChordFor(event.keyCode, flags)) add(*chord);
    return;
  }
  X11Text text = {.characters = typedCharacters(event.text), .modifiers = keyModifiersOf(flags)};
  add(std::move(text));
}

void X11EventSystem::discardWaitingEvents() {
  for (const MouseButton button : waiting_.clear()) pointer_->release(button);
  ++plannedTurn_;
  if (isAlive()) xcb_flush(connection_->get());
}

std::optional<ScreenPoint> X11EventSystem::pointerLocation() {
  if (!isAlive()) return std::nullopt;
  if (const auto place = waiting_.pointerPlace()) return place;
  return state_->update() ? pointer_->location() : pointer_->lastPlace();
}

bool X11EventSystem::applicationExists(const std::string& path) {
  return isLauncher(path) && launcherChord();
}

void X11EventSystem::openApplication(const std::string& path, std::function<void(std::optional<Error>)> completion) {
  const auto chord = isLauncher(path) ? launcherChord() : std::nullopt;
  if (!chord) return completion(posixError(ENOENT));
  if (!isAlive()) return completion(posixError(ENOTCONN));
  add(*chord);
  completion(std::nullopt);
}

void X11EventSystem::pause(double seconds) {
  std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
}

void X11EventSystem::add(X11Input input) {
  if (waiting_.isFlooded()) discardWaitingEvents();
  const bool isFirst = waiting_.isEmpty();
  waiting_.add(std::move(input), clock_->now());
  if (isFirst) planTurn(0);
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
  const std::size_t dropped = waiting_.dropTextBeforeOthers(clock_->now());
  if (dropped > 0)
    Log::print("⚠️ {} characters were dropped: there are no free keys for them fast enough", dropped);
  double seconds = 0;
  for (int strokes = 0; strokes < strokesPerTurn && !waiting_.isEmpty() && seconds <= 0; ++strokes) {
    const X11Input& input = waiting_.front();
    const bool isText = std::holds_alternative<X11Text>(input);
    seconds = carryOut(input);
    if (seconds > 0) break;
    if (isText) {
      waiting_.finishCharacter();
    } else {
      waiting_.finishFront();
    }
  }
  endStrokes();
  if (!waiting_.isEmpty()) planTurn(seconds);
}

/// False if the server doesn't answer.
bool X11EventSystem::carryOutNow(const X11Input& input) {
  if (!beginStrokes()) return false;
  carryOut(input);
  endStrokes();
  return true;
}

/// One stroke or click. Returns for how many seconds it has to wait before it is tried again; 0: it is done.
double X11EventSystem::carryOut(const X11Input& input) {
  if (const auto* const text = std::get_if<X11Text>(&input)) return type(*text);
  if (const auto* const chord = std::get_if<KeyChord>(&input)) keyboard_->press(*chord);
  if (const auto* const wheel = std::get_if<X11Wheel>(&input))
    keyboard_->holding(wheel->modifiers, [&] { pointer_->turnWheel(wheel->vertical, wheel->horizontal); });
  if (const auto* const event = std::get_if<MouseEvent>(&input)) {
    keyboard_->holding(keyModifiersOf(event->flags), [&] {
      pointer_->moveTo(event->location);
      if (isMovement(*event)) return;
      if (isPress(*event)) {
        pointer_->press(event->button);
      } else {
        pointer_->release(event->button);
      }
    });
  }
  return 0;
}

double X11EventSystem::type(const X11Text& text) {
  lastTyping_ = clock_->now();
  const double seconds = keyboard_->type(text.characters[text.typed], text.modifiers, lastTyping_);
  if (!endOfLoansIsPlanned_ && keyboard_->hasLoans()) endLoansAfter(typingPause);
  return seconds;
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
