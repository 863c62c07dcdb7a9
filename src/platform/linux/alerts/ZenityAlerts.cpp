#include "platform/linux/alerts/ZenityAlerts.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <optional>
#include <utility>

#include "platform/linux/host/SpawnedProcess.h"
#include "platform/linux/session/ProgramSearch.h"

namespace tandemview {

namespace {

bool isSet(const char* variable) {
  const char* value = std::getenv(variable);
  return value && *value != '\0';
}

/// The tool reads escapes such as "\n" in texts.
std::string escaped(const std::string& text) {
  std::string result;
  for (const char character : text) {
    if (character == '\\') result += '\\';
    result += character;
  }
  return result;
}

std::vector<std::string> argumentsFor(const Alert& alert) {
  const auto& buttons = alert.buttons;
  std::vector<std::string> arguments = {"--title=Tandemview", "--no-markup", "--width=480",
                                        "--text=" + escaped(alert.message + "\n\n" + alert.informativeText),
                                        "--ok-label=" + buttons.front()};
  if (buttons.size() == 1) {
    arguments.emplace_back(alert.style == AlertStyle::Warning ? "--warning" : "--info");
    return arguments;
  }
  arguments.emplace_back("--question");
  arguments.push_back("--cancel-label=" + buttons.back());
  for (std::size_t button = 1; button + 1 < buttons.size(); ++button) {
    arguments.push_back("--extra-button=" + buttons[button]);
  }
  return arguments;
}

}  // namespace

ZenityAlerts::ZenityAlerts(std::shared_ptr<Queue> mainQueue, std::shared_ptr<AlertSystem> fallback)
    : mainQueue_(std::move(mainQueue)), fallback_(std::move(fallback)) {}

ZenityAlerts::~ZenityAlerts() {
  if (dialog_ == 0) return;
  ::kill(dialog_, SIGTERM);
  endOfDialog();
}

void ZenityAlerts::show(const Alert& alert, std::function<void(int button)> answer) {
  const bool hasDisplay = isSet("DISPLAY") || isSet("WAYLAND_DISPLAY");
  const std::optional<std::string> tool = hasDisplay ? pathOfProgram("zenity") : std::nullopt;
  int ends[2];
  if (!tool || ::pipe2(ends, O_CLOEXEC) != 0) return fallback_->show(alert, std::move(answer));
  Descriptor readEnd(ends[0]);
  const Descriptor writeEnd(ends[1]);
  auto watch = mainQueue_->watch(readEnd.get());
  if (!watch) return fallback_->show(alert, std::move(answer));
  const auto started = spawnProcess(*tool, argumentsFor(alert), writeEnd);
  if (!started) return fallback_->show(alert, std::move(answer));
  dialog_ = *started;
  pipe_ = std::move(readEnd);
  buttons_ = alert.buttons;
  answer_ = std::move(answer);
  watch_ = std::move(*watch);
  readLater();
}

void ZenityAlerts::readLater() {
  watch_->whenReadable([weak = weak_from_this()] {
    if (const auto self = weak.lock()) self->read();
  });
}

/// The end of what it prints is the end of the dialog.
void ZenityAlerts::read() {
  constexpr std::size_t longestLabel = 1000;
  char buffer[256];
  const ssize_t count = ::read(pipe_.get(), buffer, sizeof buffer);
  if (count < 0 && errno == EINTR) return readLater();
  if (count <= 0) return finish();
  printed_.append(buffer, std::min(static_cast<std::size_t>(count), longestLabel - printed_.size()));
  readLater();
}

void ZenityAlerts::finish() {
  watch_.reset();
  pipe_ = Descriptor();
  const int status = endOfDialog();
  std::string label = std::exchange(printed_, {});
  if (label.ends_with('\n')) label.pop_back();
  // The first button ends it with success; one of the middle, with its label; the last one, as closing does.
  std::size_t button = buttons_.size() - 1;
  if (WIFEXITED(status) && WEXITSTATUS(status) == 0) {
    button = 0;
  } else if (const auto found = std::find(buttons_.begin(), buttons_.end(), label); found != buttons_.end()) {
    button = static_cast<std::size_t>(found - buttons_.begin());
  }
  std::exchange(answer_, nullptr)(static_cast<int>(button));
}

/// Waits for the dialog, which has ended or is about to. Returns its status as waitpid() tells it.
int ZenityAlerts::endOfDialog() {
  int status = -1;
  while (::waitpid(dialog_, &status, 0) < 0 && errno == EINTR) {
  }
  dialog_ = 0;
  return status;
}

}  // namespace tandemview
