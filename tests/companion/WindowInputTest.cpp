#include <SDL_events.h>
#include <fmt/format.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

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
    Lines expected;  // "MODE TYPE PHASE X,Y", the place in hundredths of the picture
  } rows[] = {
      {"hovering touches nothing", {motion(10, 20), motion(11, 20), release}, {}},
      {"press, drag, release",
       {motion(0, 0), press, motion(50, 100), motion(50, 100), release},
       {"direct drag began 0.5,0.25", "direct drag moved 50.5,50.25", "direct drag ended 50.5,50.25"}},
      {"beside the picture", {motion(-1, 5), press, motion(5, 5), release, motion(100, 5), press, release}, {}},
      {"a drag over the picture's edge stays on it",
       {motion(99, 199), press, motion(140, -7), release},
       {"direct drag began 99.5,99.75", "direct drag moved 99.5,0.25", "direct drag ended 99.5,0.25"}},
      {"leaving the window",
       {motion(9, 9), press, leave, motion(5, 5), release, leave, press, release},
       {"direct drag began 9.5,4.75", "direct drag cancelled 9.5,4.75"}},
      {"losing the keyboard",
       {motion(9, 9), press, focusLost, motion(5, 5), release},
       {"direct drag began 9.5,4.75", "direct drag cancelled 9.5,4.75"}},
      {"closing", {motion(9, 9), press, close}, {"direct drag began 9.5,4.75", "direct drag cancelled 9.5,4.75"}},
      {"right button and wheel act where the pointer is",
       {motion(9, 9), rightPress, rightRelease, wheel(0, 1), wheel(-2, -0.5), leave, wheel(0, 1)},
       {"direct move  9.5,4.75", "trackpad rightclick  0,0", "direct move  9.5,4.75", "trackpad scroll  0,-5000",
        "direct move  9.5,4.75", "trackpad scroll  -10000,2500"}},
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
       {"direct drag began 9.5,4.75", "direct drag cancelled 9.5,4.75", "direct drag began 9.5,4.75",
        "direct drag ended 9.5,4.75"}},
  };
  for (const auto& row : rows) {
    Lines seen;
    WindowPointer pointer([&](const std::string& message) {
      const auto object = nlohmann::json::parse(message);
      seen.push_back(fmt::format("{} {} {} {:.6g},{:.6g}", object.at("mode").get<std::string>(),
                                 object.at("type").get<std::string>(), object.value("phase", ""),
                                 100 * object.at("x").get<double>(), 100 * object.at("y").get<double>()));
    });
    pointer.setPictureSize({100, 200});
    for (const SDL_Event& each : row.events) pointer.handle(each);
    EXPECT_EQ(seen, row.expected) << row.name;
  }
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
      {{key(SDLK_DELETE), key(SDLK_F5), key(SDLK_LCTRL, KMOD_LCTRL), key(SDLK_F9), key(SDLK_F4, KMOD_LALT)}, {}},
  };
  for (const auto& row : rows) {
    Lines seen;
    WindowKeys keys([&](const std::string& message) { seen.push_back(message); });
    for (const SDL_Event& each : row.events) keys.handle(each);
    EXPECT_EQ(seen, row.expected);
  }
}

}  // namespace
}  // namespace tandemview
