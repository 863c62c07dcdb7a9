#include <SDL_events.h>
#include <fmt/format.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "companion/WindowFingers.h"
#include "companion/WindowKeys.h"
#include "companion/WindowPointer.h"

namespace tandemview {
namespace {

using Events = std::vector<SDL_Event>;
using Lines = std::vector<std::string>;

SDL_Event motion(int x, int y) {
  return {.motion = {.type = SDL_MOUSEMOTION, .x = x, .y = y}};
}
SDL_Event wheel(float x, float y) {
  return {.wheel = {.type = SDL_MOUSEWHEEL, .preciseX = x, .preciseY = y}};
}
SDL_Event key(int symbol, std::uint16_t modifiers = 0) {
  return {.key = {.type = SDL_KEYDOWN, .keysym = {.sym = symbol, .mod = modifiers}}};
}
SDL_Event text(const std::string& text) {
  SDL_Event result{.text = {.type = SDL_TEXTINPUT}};
  text.copy(result.text.text, sizeof(result.text.text) - 1);
  return result;
}

SDL_Event finger(std::uint32_t type, int id, float x, float y) {
  return {.tfinger = {.type = type, .fingerId = id, .x = x, .y = y}};
}

/// What a picture of 100x200 makes of the events: "MODE TYPE PHASE X,Y", places in hundredths of the picture.
template <typename Input, typename... Arguments>
Lines touches(const Events& events, Arguments... arguments) {
  Lines seen;
  const auto record = [&](const std::string& message) {
    const auto object = nlohmann::json::parse(message);
    seen.push_back(fmt::format("{} {} {} {:.6g},{:.6g}", object.at("mode").get<std::string>(),
                               object.at("type").get<std::string>(), object.value("phase", ""),
                               100 * object.at("x").get<double>(), 100 * object.at("y").get<double>()));
  };
  Input input(record, arguments...);
  input.setPictureSize({100, 200});
  for (const SDL_Event& each : events) input.handle(each);
  return seen;
}

const SDL_Event press{.button = {.type = SDL_MOUSEBUTTONDOWN, .button = SDL_BUTTON_LEFT}};
const SDL_Event release{.button = {.type = SDL_MOUSEBUTTONUP, .button = SDL_BUTTON_LEFT}};
const SDL_Event rightPress{.button = {.type = SDL_MOUSEBUTTONDOWN, .button = SDL_BUTTON_RIGHT}};
const SDL_Event rightRelease{.button = {.type = SDL_MOUSEBUTTONUP, .button = SDL_BUTTON_RIGHT}};
const SDL_Event leave{.window = {.type = SDL_WINDOWEVENT, .event = SDL_WINDOWEVENT_LEAVE}};
const SDL_Event focusLost{.window = {.type = SDL_WINDOWEVENT, .event = SDL_WINDOWEVENT_FOCUS_LOST}};
const SDL_Event close{.quit = {.type = SDL_QUIT}};
const SDL_Event f9 = key(SDLK_F9);

TEST(WindowInputTest, TheMouseIsAFingerOrATrackpad) {
  const struct {
    const char* name;
    Events events;
    Lines expected;
  } rows[] = {
      {"hovering moves the host's pointer, but not beside the picture",
       {motion(10, 20), motion(10, 20), motion(11, 20), motion(140, 20), release},
       {"direct move  10.5,10.25", "direct move  11.5,10.25"}},
      {"press, drag, release",
       {motion(0, 0), press, motion(50, 100), motion(50, 100), release},
       {"direct move  0.5,0.25", "direct drag began 0.5,0.25", "direct drag moved 50.5,50.25",
        "direct drag ended 50.5,50.25"}},
      {"beside the picture",
       {motion(-1, 5), press, motion(5, 5), release, motion(100, 5), press, release},
       {"direct move  5.5,2.75"}},
      {"a drag over the picture's edge stays on it",
       {motion(99, 199), press, motion(140, -7), release},
       {"direct move  99.5,99.75", "direct drag began 99.5,99.75", "direct drag moved 99.5,0.25",
        "direct drag ended 99.5,0.25"}},
      {"leaving the window",
       {motion(9, 9), press, leave, motion(5, 5), release, leave, press, release},
       {"direct move  9.5,4.75", "direct drag began 9.5,4.75", "direct drag cancelled 9.5,4.75",
        "direct move  5.5,2.75"}},
      {"losing the keyboard or closing",
       {motion(9, 9), press, focusLost, motion(5, 5), release, press, close},
       {"direct move  9.5,4.75", "direct drag began 9.5,4.75", "direct drag cancelled 9.5,4.75",
        "direct move  5.5,2.75", "direct drag began 5.5,2.75", "direct drag cancelled 5.5,2.75"}},
      {"right button, wheel and Page Down act where the pointer is",
       {motion(9, 9), rightPress, rightRelease, wheel(0, 1), wheel(-2, -0.5), key(SDLK_PAGEDOWN), leave, wheel(0, 1)},
       {"direct move  9.5,4.75", "direct move  9.5,4.75", "trackpad rightclick  0,0", "direct move  9.5,4.75",
        "trackpad scroll  0,-5000", "direct move  9.5,4.75", "trackpad scroll  -10000,2500", "direct move  9.5,4.75",
        "trackpad scroll  0,18000"}},
      {"trackpad: motion, also across a lift",
       {f9, motion(10, 10), motion(15, 10), leave, motion(90, 90), motion(90, 80)},
       {"trackpad move  5,0", "trackpad move  0,-5"}},
      {"trackpad: tap, right click, wheel",
       {f9, motion(10, 10), press, motion(12, 12), release, rightPress, wheel(0, -1)},
       {"trackpad tap  0,0", "trackpad rightclick  0,0", "trackpad scroll  0,5000"}},
      {"trackpad: drag",
       {f9, motion(10, 10), press, motion(12, 10), motion(20, 10), motion(20, 30), release},
       {"trackpad drag began 0,0", "trackpad drag moved 10,0", "trackpad drag moved 0,10", "trackpad drag ended 0,0"}},
      {"trackpad: leaving, first without and then within a drag",
       {f9, motion(10, 10), press, leave, release, motion(10, 10), press, motion(20, 10), leave, release},
       {"trackpad drag began 0,0", "trackpad drag moved 10,0", "trackpad drag cancelled 0,0"}},
      {"changing the mode ends the touch",
       {motion(9, 9), press, f9, release, f9, press, release},
       {"direct move  9.5,4.75", "direct drag began 9.5,4.75", "direct drag cancelled 9.5,4.75",
        "direct drag began 9.5,4.75", "direct drag ended 9.5,4.75"}},
  };
  for (const auto& row : rows) EXPECT_EQ(touches<WindowPointer>(row.events), row.expected) << row.name;
}

TEST(WindowInputTest, FingersTapDragScrollAndZoom) {
  const auto down = [](int id, float x, float y) { return finger(SDL_FINGERDOWN, id, x, y); };
  const auto moved = [](int id, float x, float y) { return finger(SDL_FINGERMOTION, id, x, y); };
  const auto up = [](int id) { return finger(SDL_FINGERUP, id, 0, 0); };
  const auto onTouchpad = [](SDL_Event event) {
    event.tfinger.touchId = 7;
    return event;
  };
  const auto isTouchpad = [](std::int64_t device) { return device == 7; };
  const struct {
    const char* name;
    Events events;
    Lines expected;
  } rows[] = {
      {"a tap that trembles", {down(1, 0.5, 0.25), moved(1, 0.5, 0.28125), up(1)}, {"direct tap  50,28.125"}},
      {"a drag, which a second finger does not disturb",
       {down(1, 0.5, 0.25), moved(1, 0.75, 0.25), down(2, 0, 0), up(2), moved(1, 0.875, 0.25), up(1)},
       {"direct drag began 50,25", "direct drag moved 75,25", "direct drag moved 87.5,25",
        "direct drag ended 87.5,25"}},
      {"a drag that loses the keyboard",
       {down(1, 0.5, 0.25), moved(1, 0.75, 0.25), focusLost, up(1)},
       {"direct drag began 50,25", "direct drag moved 75,25", "direct drag cancelled 75,25"}},
      {"two fingers scroll, the content with them; the one that is left does nothing",
       {down(1, 0.25, 0.5), down(2, 0.75, 0.5), moved(1, 0.25, 0.5625), moved(2, 0.75, 0.5625), up(1),
        moved(2, 0.75, 0.875), up(2)},
       {"direct move  50,50", "trackpad scroll  0,-1250"}},
      {"two fingers zoom in and out, a step each",
       {down(1, 0.25, 0.5), down(2, 0.75, 0.5), moved(2, 0.875, 0.5), moved(2, 0.25, 0.5), up(2), up(1)},
       {"direct move  50,50", "trackpad zoom  100,0", "trackpad zoom  -100,0"}},
      {"a tap of two fingers is a right click between them",
       {down(1, 0.25, 0.5), down(2, 0.75, 0.5), moved(1, 0.25, 0.515625), up(2), up(1)},
       {"direct move  50,50", "trackpad rightclick  0,0"}},
      {"a touchpad's zoom only",
       {onTouchpad(down(1, 0.25, 0.5)), onTouchpad(moved(1, 0.5, 0.5)), onTouchpad(down(2, 0.75, 0.5)),
        onTouchpad(moved(2, 0.875, 0.875)), up(2), up(1), onTouchpad(down(1, 0, 0)), onTouchpad(down(2, 1, 1)), up(1)},
       {"trackpad zoom  100,0"}},
  };
  for (const auto& row : rows) EXPECT_EQ(touches<WindowFingers>(row.events, isTouchpad), row.expected) << row.name;
}

TEST(WindowInputTest, TheKeyboardTypesTextAndPressesNamedKeys) {
  const auto pressed = [](const std::string& name, const std::string& modifiers = "") {
    return fmt::format(R"({{"action":"key","key":"{}","kind":"key","modifiers":[{}]}})", name, modifiers);
  };
  const auto typed = [](const std::string& text) {
    return fmt::format(R"({{"action":"text","kind":"key","text":"{}"}})", text);
  };
  const struct {
    Events events;
    Lines expected;
  } rows[] = {
      {{key('a'), text("a"), key('a', KMOD_LSHIFT), text("A")}, {typed("a"), typed("A")}},
      {{key(SDLK_SPACE), text(" "), key('q', KMOD_RALT), text("@")}, {typed(" "), typed("@")}},
      {{key('^'), key('e'), text("ê"), text("你好 👍🏽")}, {typed("ê"), typed("你好 👍🏽")}},
      {{text("\"\\\xFF")}, {typed("\\\"\\\\\xEF\xBF\xBD")}},
      {{key(SDLK_RETURN), key(SDLK_KP_ENTER), key(SDLK_TAB, KMOD_RSHIFT), key(SDLK_UP), key(SDLK_BACKSPACE)},
       {pressed("return"), pressed("enter"), pressed("tab", R"("shift")"), pressed("up"), pressed("backspace")}},
      {{key('c', KMOD_LCTRL), text("c"), key('v', KMOD_RGUI | KMOD_LSHIFT), key('x', KMOD_LALT | KMOD_RCTRL), text("x"),
        key(SDLK_SPACE, KMOD_RCTRL), key(SDLK_LEFT, KMOD_LGUI)},
       {pressed("C", R"("control")"), pressed("V", R"("cmd","shift")"), pressed("X", R"("option","control")"),
        pressed("Space", R"("control")"), pressed("left", R"("cmd")")}},
      {{key(SDLK_HOME), key(SDLK_END, KMOD_LSHIFT), key(SDLK_END, KMOD_LCTRL)},
       {pressed("left", R"("cmd")"), pressed("right", R"("cmd","shift")"), pressed("down", R"("cmd")")}},
      {{key('v', KMOD_LCTRL | KMOD_RSHIFT), text("V")}, {typed("pasted")}},
      {{key(SDLK_DELETE), key(SDLK_F5), key(SDLK_LCTRL, KMOD_LCTRL), key(SDLK_F9), key(SDLK_F4, KMOD_LALT)}, {}},
  };
  for (const auto& row : rows) {
    Lines seen;
    WindowKeys keys([&](const std::string& message) { seen.push_back(message); }, [] { return "pasted"; });
    for (const SDL_Event& each : row.events) keys.handle(each);
    EXPECT_EQ(seen, row.expected);
  }
}

}  // namespace
}  // namespace tandemview
