#include "support/ClientProcess.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <regex>
#include <sstream>
#include <thread>

namespace tandemview {

namespace {

pid_t start(const std::string& displayName, const std::vector<std::string>& command, const std::string& outputPath) {
  std::vector<std::string> words = {"env",
                                    "DISPLAY=" + displayName,
                                    "LC_ALL=C.UTF-8",
                                    "NO_AT_BRIDGE=1",
                                    "GDK_BACKEND=x11",
                                    "GTK_IM_MODULE=gtk-im-context-simple"};
  words.insert(words.end(), command.begin(), command.end());
  std::vector<char*> arguments;
  for (std::string& word : words) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  const pid_t process = ::fork();
  if (process != 0) return process;
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  const int output = ::open(outputPath.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
  const int nowhere = ::open("/dev/null", O_RDWR);
  ::dup2(nowhere, STDIN_FILENO);
  ::dup2(output, STDOUT_FILENO);
  ::dup2(nowhere, STDERR_FILENO);
  ::execvp(arguments[0], arguments.data());
  ::_exit(127);
}

}  // namespace

bool waitUntil(const std::function<bool()>& condition) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return true;
}

bool runClient(const std::string& displayName, const std::vector<std::string>& command) {
  int status = 0;
  ::waitpid(start(displayName, command, "/dev/null"), &status, 0);
  return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

ClientProcess::ClientProcess(const std::string& displayName, const std::vector<std::string>& command)
    : process_(start(displayName, command, directory_.path() + "/output")) {}

ClientProcess::~ClientProcess() {
  ::kill(process_, SIGKILL);
  ::waitpid(process_, nullptr, 0);
}

std::string ClientProcess::output() const {
  std::ostringstream text;
  text << std::ifstream(directory_.path() + "/output").rdbuf();
  return text.str();
}

bool ClientProcess::hasPrinted(const std::string& text) const {
  return waitUntil([&] { return output().find(text) != std::string::npos; });
}

std::vector<std::string> xevEvents(const std::string& output) {
  static const std::regex event(
      R"((Motion|Button|Key)(Press|Release|Notify) event,[^\n]*\n[^\n]*root:\((\d+),(\d+)\),\n    state 0x([0-9a-f]+), )"
      R"((?:button (\d+)|keycode \d+ \(keysym 0x[0-9a-f]+, (\w+)\)|is_hint))");
  std::vector<std::string> events;
  for (std::sregex_iterator match(output.begin(), output.end(), event), end; match != end; ++match) {
    const std::smatch& part = *match;
    const std::string way = part[2] == "Press" ? "press" : "release";
    std::string text;
    if (part[1] == "Motion") text = fmt::format("motion {},{}", part[3].str(), part[4].str());
    if (part[1] == "Button") text = fmt::format("button {} {} {},{}", part[6].str(), way, part[3].str(), part[4].str());
    if (part[1] == "Key") text = fmt::format("{} {}", way, part[7].str());
    if (part[5] != "0") text += " state " + part[5].str();
    events.push_back(text);
  }
  return events;
}

}  // namespace tandemview
