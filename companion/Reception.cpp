#include "companion/Reception.h"

#include <fmt/format.h>

#include <filesystem>
#include <nlohmann/json.hpp>

#include "runtime/AtomicFile.h"
#include "runtime/FileContents.h"

namespace tandemview {

using nlohmann::json;

Reception::Reception(std::string path, Output output) : path_(std::move(path)), output_(std::move(output)) {
  const auto text = contentsOfRegularFile(path_);
  const json object = json::parse(text.value_or(""), nullptr, /*allow_exceptions=*/false);
  if (!object.is_object()) return;
  if (const auto code = object.find("code"); code != object.end() && code->is_string()) code_ = *code;
  for (const json& host : object.value("hosts", json())) {
    if (host.is_string()) hosts_.insert(host);
  }
}

void Reception::start() {
  if (!code_.empty()) output_.useCode(code_);
  askForCode();
}

void Reception::linkDidChange(LinkStatus::State state) {
  isInUse_ = state == LinkStatus::State::Connected;
  if (isInUse_) {
    visitor_.clear();
    admitVisitor_ = nullptr;
    return output_.ask(std::nullopt);
  }
  if (visitor_.empty()) askForCode();
}

void Reception::hostDidCome(const std::string& address, Work admit) {
  if (hosts_.contains(address)) return admit();
  if (isInUse_ || turnedAway_.contains(address)) return;
  const bool isAskedAbout = address == visitor_;
  if (!isAskedAbout && !visitor_.empty()) return;  // one after the other; hosts come again
  visitor_ = address;
  admitVisitor_ = std::move(admit);
  if (isAskedAbout) return;
  output_.ask(WindowQuestion{{fmt::format("The computer {} wants to use this screen.", address),
                              "It gets what is typed here.", "", "Return: yes. Escape: no"},
                             WindowQuestion::Answer::YesNo});
}

void Reception::didAnswer(const std::string& answer) {
  const bool isAboutVisitor = answer == "yes" || answer == "no";
  if (isAboutVisitor == visitor_.empty()) return;  // nothing like it is asked any more
  if (visitor_.empty()) {
    code_ = answer;
    hosts_.clear();  // another code is another computer's
    turnedAway_.clear();
    remember();
    output_.useCode(code_);
    return askForCode();
  }
  const std::string visitor = std::exchange(visitor_, "");
  const Work admit = std::exchange(admitVisitor_, nullptr);
  if (answer == "yes") {
    hosts_.insert(visitor);
    remember();
    return admit();
  }
  turnedAway_.insert(visitor);
  askForCode();
}

/// The wait for a computer may be for the wrong one: another code is taken all the time.
void Reception::askForCode() {
  std::vector<std::string> lines = {"Type the pairing code", "that the other computer shows in its Tandemview menu:"};
  if (!code_.empty()) {
    lines = {"Waiting for the computer with the pairing code " + code_, "", "To use another computer, type its code:"};
  }
  output_.ask(WindowQuestion{std::move(lines), WindowQuestion::Answer::Code});
}

void Reception::remember() {
  std::error_code error;
  std::filesystem::create_directories(std::filesystem::path(path_).parent_path(), error);
  const auto written = writeFileAtomically(path_, json({{"code", code_}, {"hosts", hosts_}}).dump(2) + "\n");
  if (!written) output_.complain(fmt::format("cannot write {}: {}", path_, written.error().localizedDescription()));
}

}  // namespace tandemview
