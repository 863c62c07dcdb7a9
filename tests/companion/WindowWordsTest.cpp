#include "companion/WindowWords.h"

#include <SDL_events.h>
#include <fmt/format.h>
#include <gtest/gtest.h>

#include "companion/WindowPrompt.h"

namespace tandemview {
namespace {

using Lines = std::vector<std::string>;
using State = LinkStatus::State;

TEST(WindowWordsTest, TheStateIsToldInTheWindowAndInItsTitle) {
  const Lines question = {"Type the code", "4_"};
  const std::string end = "||no daemon||F8 statistics, F9 trackpad, F10 turn, F11 full screen";
  const LinkStatus lost{State::Lost, {"5"}, "silent"};
  const FrameSize size{64, 32};
  const struct {
    LinkStatus link;
    Lines prompt;
    std::optional<FrameSize> picture;
    std::string words;
    std::string title;
  } rows[] = {
      {{State::Waiting, {"code 42", "[::1]:5"}, ""},
       {},
       {},
       "Waiting for a computer||code 42|[::1]:5" + end,
       "waiting (code 42; [::1]:5)"},
      {{}, question, {}, "Type the code|4_" + end, "waiting"},
      {{State::Connected, {}, ""}, {}, {}, "Connected. The picture comes in a few seconds", "connected"},
      {{State::Connected, {}, ""}, {}, size, "", "connected, 64x32"},
      {lost, {}, size, "The connection is lost: silent||Waiting for the computer||5" + end, "connection lost"},
      {lost, question, size, "The connection is lost: silent||Type the code|4_" + end, "connection lost"},
  };
  for (const auto& row : rows) {
    WindowContents contents;
    contents.link = row.link;
    contents.notice = "no daemon";
    const Lines words = windowWords(contents, row.prompt, row.picture.has_value());
    EXPECT_EQ(fmt::format("{}", fmt::join(words, "|")), row.words);
    EXPECT_EQ(windowTitle(row.link, row.picture), "Tandemview companion \u00B7 " + row.title);
  }
}

TEST(WindowWordsTest, WhatIsTypedAnswersTheQuestionThatStandsThere) {
  const SDL_Event digit{.text = {.type = SDL_TEXTINPUT, .text = "7"}};
  const SDL_Event motion{.motion = {.type = SDL_MOUSEMOTION}};
  const SDL_Event escape{.key = {.type = SDL_KEYDOWN, .keysym = {.sym = SDLK_ESCAPE}}};
  const SDL_Event backspace{.key = {.type = SDL_KEYDOWN, .keysym = {.sym = SDLK_BACKSPACE}}};
  const WindowQuestion code{{"code?"}, WindowQuestion::Answer::Code};
  WindowPrompt prompt;
  prompt.ask(code);
  for (const SDL_Event& event : {digit, backspace, escape, digit}) EXPECT_EQ(prompt.handle(event), std::nullopt);
  prompt.ask(code);
  EXPECT_EQ(prompt.lines(), (Lines{"code?", "7_"}));
  EXPECT_EQ(prompt.handle(digit), "77");
  EXPECT_FALSE(prompt.isAsking());

  prompt.ask(code);
  EXPECT_EQ(prompt.handle(digit), std::nullopt);
  prompt.ask(WindowQuestion{{"host?"}, WindowQuestion::Answer::YesNo});
  EXPECT_EQ(prompt.handle(motion), std::nullopt) << "a digit for the code is no answer";
  EXPECT_EQ(prompt.handle(escape), "no");
}

}  // namespace
}  // namespace tandemview
