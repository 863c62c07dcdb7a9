#include "companion/Companion.h"

#include <cstdio>
#include <nlohmann/json.hpp>

#include "companion/CableLink.h"
#include "companion/ScreenForFrames.h"
#include "companion/WholeFile.h"
#include "companion/WiFiLink.h"
#include "protocol/DisplayPlan.h"
#include "protocol/MessageType.h"
#include "runtime/Log.h"

namespace tandemview {

namespace {

/// A host that does everything wrong must not drown the rest of the output.
constexpr std::uint64_t mostFaultsPrinted = 20;

/// How often the window's statistics change, in seconds: for the eye to read them.
constexpr double statisticsInterval = 0.5;

template <typename... Arguments>
void say(fmt::format_string<Arguments...> format, Arguments&&... arguments) {
  Log::line("companion: " + fmt::format(format, std::forward<Arguments>(arguments)...));
}

FrameSize plannedSize(const MacProtocol::DeviceInfo& info, bool fullResolution) {
  const MacProtocol::DisplayPlan plan = makeDisplayPlan(info.width, info.height, info.idiom, fullResolution);
  return {plan.width, plan.height};
}

/// The JPEG image in a frame's payload, sharing its bytes.
Data imageOf(const Data& payload) {
  return {payload.segments().front().owner, payload.bytes().subspan(sizeof(double))};
}

}  // namespace

Companion::Companion(std::shared_ptr<SerialQueue> queue, Options options)
    : queue_(std::move(queue)),
      options_(std::move(options)),
      startTime_(clock_.now()),
      checker_(plannedSize(options_.info, options_.fullResolution)),
      wifiChecker_(plannedSize(options_.info, options_.fullResolution)),
      phone_(std::make_shared<Phone>(queue_, clock_, options_.info, options_.pingInterval, *this)),
      wifiPhone_(std::make_shared<Phone>(queue_, clock_, options_.info, options_.pingInterval, *this)) {}

Companion::~Companion() {
  FrameWindow::close(std::move(window_));
}

bool Companion::start() {
  if (!options_.saveDirectory.empty()) {
    Result<FrameSaver> saver = FrameSaver::into(options_.saveDirectory, options_.saveEvery);
    if (!saver) {
      say("cannot save to {}: {}", options_.saveDirectory, saver.error().localizedDescription());
      return false;
    }
    saver_ = std::move(*saver);
  }
  if (options_.window && !openWindow()) return false;
  if (options_.muxPath && !startDaemon()) return false;
  if (options_.listenPort && !startListening()) return false;
  if (options_.wifiCode && !startWiFi()) return false;
  if (window_) window_->setLink(linkStatus_);
  if (options_.seconds) queue_->after(*options_.seconds, [this] { end("the time is over"); });
  scheduleScript(0);
  return true;
}

bool Companion::openWindow() {
  const FrameSize size = plannedSize(options_.info, options_.fullResolution);
  const auto sendInput = [this](std::uint32_t type, const std::string& message) {
    // Over one of the links: the user means each touch once.
    (phone_->isConnected() ? phone_ : wifiPhone_)->send(type, Data::copying(message));
  };
  auto window = FrameWindow::open(
      queue_, {.size = size, .isFree = options_.sizeOfWindow, .fullScreen = options_.fullScreen},
      {.didClose = [this](const std::string& reason) { end(reason); },
       .didTakeInput = sendInput,
       .wantsTurn = [this] { turn(); },
       .didSettle = [this](FrameSize settled) { windowDidSettle(settled); },
       .didAnswer = [](const std::string&) {}});
  if (!window) {
    say("cannot open a window: {}", window.error().localizedDescription());
    return false;
  }
  window_ = std::move(*window);
  statisticsTimer_ = Timer::repeating(queue_, statisticsInterval, [this] { describeStatistics(); });
  return true;
}

bool Companion::startDaemon() {
  auto daemon = MuxDaemon::listeningAt(
      *options_.muxPath, queue_,
      [this](std::int64_t, std::uint16_t port) {
        if (refusal_ != MuxResult::success) return refusal_;
        return port == options_.port ? MuxResult::success : MuxResult::connectionRefused;
      },
      [this](std::int64_t deviceID, std::shared_ptr<Stream> stream) {
        connectedDevice_ = deviceID;
        phone_->accept(std::make_shared<CableLink>(std::move(stream), queue_, clock_));
      });
  if (!daemon) {
    say("cannot listen at {}: {}", *options_.muxPath, daemon.error().localizedDescription());
    return false;
  }
  daemon_ = std::move(*daemon);
  say("plays the multiplexing daemon at {}", *options_.muxPath);
  linkStatus_.ways.push_back(fmt::format("cable, {}", *options_.muxPath));
  attach(options_.deviceID);
  return true;
}

bool Companion::startListening() {
  Result<Descriptor> socket = listeningLoopbackSocket(*options_.listenPort);
  if (!socket) {
    say("cannot listen on port {}: {}", *options_.listenPort, socket.error().localizedDescription());
    return false;
  }
  const std::string address = fmt::format("port {} of 127.0.0.1", localPort(socket->get()));
  say("listens on {}", address);
  linkStatus_.ways.push_back(address);
  return acceptFrom(std::move(*socket), listener_, [this](std::shared_ptr<Stream> stream) {
    phone_->accept(std::make_shared<CableLink>(std::move(stream), queue_, clock_));
  });
}

/// Hands on each connection of a listening socket, unless connections are refused at that time.
bool Companion::acceptFrom(Descriptor socket, std::shared_ptr<Listener>& listener,
                           std::function<void(std::shared_ptr<Stream>)> accept) {
  auto listening = Listener::on(std::move(socket), queue_, [this, accept = std::move(accept)](Descriptor connection) {
    if (refusal_ != MuxResult::success) return;
    if (const auto stream = Stream::adopting(std::move(connection), queue_, nullptr)) accept(*stream);
  });
  if (!listening) {
    say("cannot listen: {}", listening.error().localizedDescription());
    return false;
  }
  listener = std::move(*listening);
  return true;
}

bool Companion::startWiFi() {
  Result<Descriptor> socket = listeningSocket();
  if (!socket) {
    say("cannot listen: {}", socket.error().localizedDescription());
    return false;
  }
  linkStatus_.ways.push_back(fmt::format("Wi-Fi, code {}", *options_.wifiCode));
  announcement_ = WiFiAnnouncement::of(*options_.wifiCode, localPort(socket->get()), queue_,
                                       [](const std::string& text) { say("{}", text); });
  return acceptFrom(std::move(*socket), wifiListener_, [this](std::shared_ptr<Stream> stream) {
    wifiPhone_->accept(std::make_shared<WiFiLink>(std::move(stream), queue_, clock_));
  });
}

void Companion::end(const std::string& reason) {
  say("ends: {}", reason);
  queue_->stop();
}

bool Companion::finish() {
  announcement_ = nullptr;
  for (const auto& phone : {phone_, wifiPhone_}) phone->hangUp("the companion ends");
  if (saver_) {
    if (const auto error = saver_->saveLast()) {
      phoneDidSeeFault(fmt::format("cannot save the last frame: {}", error->localizedDescription()));
    }
  }
  const bool isPrinted = printSummary();
  const std::optional<std::string> lacks = shortcoming();
  if (lacks) say("failed: {}", *lacks);
  return isPrinted && !lacks;
}

bool Companion::printSummary() const {
  for (const std::string& line : statistics_.summaryLines()) say("{}", line);
  if (options_.jsonPath.empty()) return true;
  nlohmann::ordered_json summary = statistics_.summary();
  summary["startTime"] = startTime_;  // of the monotonic clock: the script's times count from here
  const std::string json = summary.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) + "\n";
  if (options_.jsonPath == "-") return std::fwrite(json.data(), 1, json.size(), stdout) == json.size();
  const std::optional<Error> error = writeWholeFile(options_.jsonPath, json);
  if (error) say("cannot write {}: {}", options_.jsonPath, error->localizedDescription());
  return !error;
}

std::optional<std::string> Companion::shortcoming() const {
  if (statistics_.faults() > 0) return fmt::format("{} faults", statistics_.faults());
  if (options_.frames && statistics_.frames() < *options_.frames) {
    return fmt::format("only {} of {} frames arrived", statistics_.frames(), *options_.frames);
  }
  if (options_.seconds && statistics_.frames() == 0) return "no frame arrived";
  return std::nullopt;
}

void Companion::phoneDidConnect(const Phone& phone) {
  statistics_.connectionDidStart();
  checkerOf(phone).connectionDidStart();
  say("connected");
  linkDidChange("");
}

void Companion::phoneDidDisconnect(const std::string& reason) {
  if (!phone_->isConnected()) connectedDevice_ = -1;
  say("disconnected: {}", reason);
  linkDidChange(reason);
}

/// `reason`: of the end of a link, if it is one that ended.
void Companion::linkDidChange(const std::string& reason) {
  using State = LinkStatus::State;
  const bool isConnected = phone_->isConnected() || wifiPhone_->isConnected();
  linkStatus_.state = isConnected ? State::Connected : State::Lost;
  linkStatus_.reason = isConnected ? "" : reason;
  if (window_) window_->setLink(linkStatus_);
}

void Companion::phoneDidMeetHost(const std::string& macInfo) {
  say("the host says {}", macInfo);
  say("the phone is {}, scale {}, and expects frames of {}",
      FrameSize{phone_->info().width, phone_->info().height}.text(), phone_->info().scale,
      plannedSize(phone_->info(), options_.fullResolution).text());
}

void Companion::phoneDidReceiveFrame(const Phone& phone, const Data& payload, double now) {
  const auto frame = checkerOf(phone).check(payload.bytes(), now);
  if (!frame) return phoneDidSeeFault(frame.error());
  statistics_.frameDidArrive(*frame, payload.size(), now);
  if (frame->size != shownSize_) say("frames of {} arrive", frame->size.text());
  shownSize_ = frame->size;
  keep(payload, *frame);
  if (statistics_.frames() == options_.frames) end("all frames are here");
}

void Companion::keep(const Data& payload, const CheckedFrame& frame) {
  if (window_) {
    window_->show(imageOf(payload), frame.timestamp, clock_.now());
  }
  if (!saver_) return;
  if (const auto error = saver_->save(imageOf(payload))) {
    phoneDidSeeFault(fmt::format("cannot save a frame: {}", error->localizedDescription()));
  }
}

void Companion::phoneDidReceivePong(double roundTripSeconds) {
  statistics_.pongDidArrive(roundTripSeconds);
}

void Companion::phoneDidSeeFault(const std::string& fault) {
  statistics_.faultDidOccur(fault);
  if (statistics_.faults() <= mostFaultsPrinted) say("fault: {}", fault);
}

void Companion::scheduleScript(std::size_t next) {
  if (next == options_.script.size()) return;
  const double delay = std::max(0.0, startTime_ + options_.script[next].time - clock_.now());
  queue_->after(delay, [this, next] {
    perform(options_.script[next]);
    scheduleScript(next + 1);
  });
}

void Companion::perform(const ScriptAction& action) {
  using Kind = ScriptAction::Kind;
  say("{:.6f} s: {}", clock_.now() - startTime_, action.line);
  for (const auto& phone : {phone_, wifiPhone_}) perform(action, *phone);
  MacProtocol::DeviceInfo info = phone_->info();
  switch (action.kind) {
    case Kind::rotate:
      return turn();
    case Kind::quality:
      info.quality = action.text;
      return changeInfo(info);
    case Kind::size:
      info.width = action.size.width;
      info.height = action.size.height;
      return changeInfo(info);
    case Kind::detach:
      return detach(action.number);
    case Kind::attach:
      return attach(action.number.value_or(options_.deviceID));
    case Kind::refuse:
      refusal_ = action.number.value_or(MuxResult::connectionRefused);
      return;
    case Kind::quit:
      return end("the script quits");
    default:
      return;
  }
}

/// The part of an action that one link alone has to do with.
void Companion::perform(const ScriptAction& action, Phone& phone) {
  using Kind = ScriptAction::Kind;
  switch (action.kind) {
    case Kind::info:
      return phone.sendInfo();
    case Kind::ping:
      return phone.ping();
    case Kind::touch:
      return phone.send(MessageType::touchEvent, Data::copying(action.text));
    case Kind::key:
      return phone.send(MessageType::keyEvent, Data::copying(action.text));
    case Kind::hangUp:
      return phone.hangUp("the script hangs up");
    case Kind::stall:
      return phone.stall(action.seconds);
    case Kind::silent:
      return phone.silence(action.seconds);
    case Kind::announce:
      return phone.announce(*action.number);
    case Kind::raw:
      return phone.send(*action.number, Data::copying(action.text));
    default:
      return;
  }
}

void Companion::turn() {
  MacProtocol::DeviceInfo info = phone_->info();
  std::swap(info.width, info.height);
  info.orientation = info.width > info.height ? "Landscape" : "Portrait";
  changeInfo(info);
}

void Companion::windowDidSettle(FrameSize size) {
  MacProtocol::DeviceInfo info = phone_->info();
  const auto screen = screenForFrames(size, info.idiom, options_.fullResolution);
  if (!screen) return say("no frames are as small as the window, {}", size.text());
  if (screen->width == info.width && screen->height == info.height) return;
  info.width = screen->width;
  info.height = screen->height;
  info.orientation = info.width > info.height ? "Landscape" : "Portrait";
  say("the window is {}, and the phone {}", size.text(), screen->text());
  changeInfo(info);
}

void Companion::describeStatistics() {
  const std::uint64_t faults = statistics_.faults();
  window_->setStatistics({fmt::format("{}, {} frames a second", shownSize_.text(),
                                      window_->framesPerSecond(clock_.now())),
                          fmt::format("{:.1f} ms old on arrival", statistics_.lastLatency()),
                          fmt::format("{} frames, {} faults", statistics_.frames(), faults)});
}

void Companion::changeInfo(const MacProtocol::DeviceInfo& info) {
  for (FrameChecker* checker : {&checker_, &wifiChecker_}) {
    checker->expectSize(plannedSize(info, options_.fullResolution));
  }
  for (const auto& phone : {phone_, wifiPhone_}) phone->setInfo(info);
}

void Companion::attach(std::uint32_t deviceID) {
  if (!daemon_ || !daemon_->attach(deviceID)) return;
  attachedDevices_.push_back(deviceID);
  say("device {} is attached", deviceID);
}

void Companion::detach(std::optional<std::uint32_t> deviceID) {
  if (!deviceID && !attachedDevices_.empty()) deviceID = attachedDevices_.back();
  if (!daemon_ || !deviceID || !daemon_->detach(*deviceID)) return;
  std::erase(attachedDevices_, *deviceID);
  say("device {} is detached", *deviceID);
  if (connectedDevice_ == *deviceID) phone_->hangUp("its device is detached");
}

}  // namespace tandemview
