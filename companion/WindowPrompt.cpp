#include "companion/WindowPrompt.h"

#include <SDL_events.h>
#include <fmt/format.h>

#include <utility>

namespace tandemview {

namespace {

constexpr std::size_t codeLength = 2;

std::string yesOrNo(const SDL_Event& event) {
  const int key = event.type == SDL_KEYDOWN ? event.key.keysym.sym : SDLK_UNKNOWN;
  if (key == SDLK_RETURN || key == SDLK_KP_ENTER) return "yes";
  return key == SDLK_ESCAPE ? "no" : "";
}

}  // namespace

void WindowPrompt::ask(const std::optional<WindowQuestion>& question) {
  if (question != question_) answer_.clear();
  question_ = question;
}

std::optional<std::string> WindowPrompt::handle(const SDL_Event& event) {
  if (question_->answer == WindowQuestion::Answer::YesNo) {
    answer_ = yesOrNo(event);
    if (answer_.empty()) return std::nullopt;
  } else {
    typeCode(event);
    if (answer_.size() < codeLength) return std::nullopt;
  }
  question_ = std::nullopt;
  return std::exchange(answer_, "");
}

void WindowPrompt::typeCode(const SDL_Event& event) {
  if (event.type == SDL_KEYDOWN && event.key.keysym.sym == SDLK_BACKSPACE && !answer_.empty()) answer_.pop_back();
  if (event.type != SDL_TEXTINPUT) return;
  for (const char character : std::string_view(event.text.text)) {
    if (character >= '0' && character <= '9' && answer_.size() < codeLength) answer_ += character;
  }
}

std::vector<std::string> WindowPrompt::lines() const {
  if (!question_) return {};
  std::vector<std::string> lines = question_->lines;
  if (question_->answer == WindowQuestion::Answer::Code) lines.push_back(fmt::format("{:_<{}}", answer_, codeLength));
  return lines;
}

}  // namespace tandemview
