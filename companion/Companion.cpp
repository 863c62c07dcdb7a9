#include "companion/Companion.h"

#include <cmath>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "companion/CableLink.h"
#include "companion/ClockPattern.h"
#include "companion/ScreenForFrames.h"
#include "companion/WholeFile.h"
#include "companion/WiFiLink.h"
#include "protocol/DisplayPlan.h"
#include "protocol/MessageType.h"
#include "runtime/Log.h"

namespace tandemview {

namespace {

/// Of each kind: a host that does everything wrong must not drown the rest of the output.
constexpr std::uint64_t mostFaultsPrinted = 5;

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

/// The JPEG image in a frame's payload, sharing its bytes; empty if there is none.
Data imageOf(const Data& payload) {
  if (payload.size() <= sizeof(double)) return {};
  return {payload.segments().front().owner, payload.bytes().subspan(sizeof(double))};
}

std::string messageName(std::uint32_t type) {
  switch (type) {
    case MessageType::deviceInfo:
      return "device info";
    case MessageType::videoFrame:
      return "video frame";
    case MessageType::ping:
      return "ping";
    case MessageType::pong:
      return "pong";
    case MessageType::touchEvent:
      return "touch event";
    case MessageType::keyEvent:
      return "key event";
    case MessageType::macInfo:
      return "Mac info";
    default:
      return fmt::format("type {}", type);
  }
}

}  // namespace

Companion::Companion(std::shared_ptr<SerialQueue> queue, Options options)
    : queue_(std::move(queue)),
      options_(std::move(options)),
      startTime_(clock_.now()),
      checker_(plannedSize(options_.info, options_.fullResolution)),
      wifiChecker_(plannedSize(options_.info, options_.fullResolution)),
      fullResolution_(options_.fullResolution),
      scriptRunner_(queue_, clock_, startTime_, options_.script,
                    {.perform = [this](const ScriptAction& action) { perform(action); },
                     .didMissFrame =
                         [this](double seconds) {
                           phoneDidSeeFault(*phone_, {"deadline", fmt::format("no frame within {} s", seconds)});
                         }}) {
  const auto phone = [this](const char* link) {
    return std::make_shared<Phone>(
        queue_, clock_, Phone::Settings{link, options_.info, options_.pingInterval, options_.pongDeadline}, *this);
  };
  phone_ = phone(options_.muxPath ? "cable" : "TCP");
  wifiPhone_ = phone("Wi-Fi");
}

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
  if (!options_.jsonPath.empty() && options_.jsonPath != "-") {
    if (const auto error = obstacleToWholeFile(options_.jsonPath)) {
      say("cannot write {}: {}", options_.jsonPath, error->localizedDescription());
      return false;
    }
  }
  if (!options_.frameLogPath.empty()) frameLog_.open(options_.frameLogPath);
  if (!frameLog_) {
    say("cannot write {}", options_.frameLogPath);
    return false;
  }
  if (options_.window && !openWindow()) return false;
  if (options_.muxPath && !startDaemon()) return false;
  if (options_.listening && !startListening()) return false;
  if (options_.wifiCode && !startWiFi(*options_.wifiCode)) return false;
  if (!options_.receptionPath.empty()) startReception();
  if (window_) window_->setLink(linkStatus_);
  if (options_.seconds) queue_->after(*options_.seconds, [this] { end("the time is over"); });
  scriptRunner_.start();
  return true;
}

bool Companion::openWindow() {
  const FrameSize size = plannedSize(options_.info, options_.fullResolution);
  const auto sendInput = [this](std::uint32_t type, const std::string& message) {
    // Over one of the links: the user means each touch once.
    (phone_->isConnected() ? phone_ : wifiPhone_)->send(type, Data::copying(message));
  };
  auto window =
      FrameWindow::open(queue_, {.size = size, .isFree = options_.sizeOfWindow, .fullScreen = options_.fullScreen},
                        {.didClose = [this](const std::string& reason) { end(reason); },
                         .didTakeInput = sendInput,
                         .wantsTurn = [this] { turn(); },
                         .didSettle = [this](FrameSize settled) { windowDidSettle(settled); },
                         .didAnswer = [this](const std::string& answer) { reception_->didAnswer(answer); }});
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
      [this](std::int64_t, std::shared_ptr<Stream> stream) {
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
  Result<Descriptor> socket = listeningSocketAt(*options_.listening);
  if (!socket) {
    say("cannot listen at {}: {}", options_.listening->text(), socket.error().localizedDescription());
    return false;
  }
  const std::string address = localAddress(socket->get()).text();
  say("listens at {}", address);
  linkStatus_.ways.push_back(address);
  return acceptFrom(std::move(*socket), listener_, [this](std::shared_ptr<Stream> stream, const std::string&) {
    phone_->accept(std::make_shared<CableLink>(std::move(stream), queue_, clock_));
  });
}

/// Hands on each connection of a listening socket, unless connections are refused at that time.
bool Companion::acceptFrom(Descriptor socket, std::shared_ptr<Listener>& listener,
                           std::function<void(std::shared_ptr<Stream>, const std::string& host)> accept) {
  auto listening = Listener::on(std::move(socket), queue_, [this, accept = std::move(accept)](Descriptor connection) {
    if (refusal_ != MuxResult::success) return;
    const std::string host = peerHost(connection.get());
    if (const auto stream = Stream::adopting(std::move(connection), queue_, nullptr)) accept(*stream, host);
  });
  if (!listening) {
    say("cannot listen: {}", listening.error().localizedDescription());
    return false;
  }
  listener = std::move(*listening);
  return true;
}

bool Companion::startWiFi(const std::string& code) {
  Result<Descriptor> socket = listeningSocket();
  if (!socket) {
    say("cannot listen: {}", socket.error().localizedDescription());
    return false;
  }
  linkStatus_.ways.push_back(fmt::format("Wi-Fi, code {}", code));
  announcement_ = WiFiAnnouncement::of(
      code, localAddress(socket->get()).port(), queue_,
      [this](WiFiAnnouncement::State state, const std::string& text) { announcementDidChange(state, text); });
  return acceptFrom(std::move(*socket), wifiListener_, [this](std::shared_ptr<Stream> stream, const std::string& host) {
    const auto admit = [this, stream = std::move(stream)] {
      wifiPhone_->accept(std::make_shared<WiFiLink>(stream, queue_, clock_));
    };
    reception_ ? reception_->hostDidCome(host, admit) : admit();
  });
}

void Companion::startReception() {
  reception_.emplace(
      options_.receptionPath,
      Reception::Output{.ask = [this](std::optional<WindowQuestion> question) { window_->ask(std::move(question)); },
                        .useCode =
                            [this](const std::string& code) {
                              linkStatus_.ways.clear();
                              if (!startWiFi(code)) return end("Wi-Fi cannot be used");
                              window_->setLink(linkStatus_);
                            },
                        .complain = [](const std::string& text) { say("{}", text); }});
  reception_->start();
}

void Companion::announcementDidChange(WiFiAnnouncement::State state, const std::string& text) {
  say("{}", text);
  if (window_) window_->setNotice(state == WiFiAnnouncement::State::Announced ? "" : text);
  if (state == WiFiAnnouncement::State::Announced) isAnnounced_ = true;
  if (state != WiFiAnnouncement::State::Taken || isAnnounced_) return;
  if (reception_) return;  // which asks for another all the time
  lack(fmt::format("the code {} is taken", *options_.wifiCode));
  queue_->async([this] { end("no host could find this phone"); });  // the announcement is at work, and would go
}

void Companion::end(const std::string& reason) {
  if (isEnding_) return queue_->stop();
  isEnding_ = true;
  say("ends: {}", reason);
  announcement_ = nullptr;
  for (const auto& phone : {phone_, wifiPhone_}) phone->hangUp("the companion ends");
  if (uncheckedFrames_ == 0) queue_->stop();
}

bool Companion::finish() {
  if (saver_) {
    if (const auto error = saver_->saveLast()) {
      lack(fmt::format("the last frame cannot be saved: {}", error->localizedDescription()));
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

/// The first of all that is missing.
void Companion::lack(const std::string& text) {
  if (lack_.empty()) lack_ = text;
}

std::optional<std::string> Companion::shortcoming() const {
  if (!lack_.empty()) return lack_;
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
  say("connected ({})", phone.linkName());
  linkDidChange("");
}

void Companion::phoneDidDisconnect(const Phone& phone, const std::string& reason) {
  say("disconnected ({}): {}", phone.linkName(), reason);
  linkDidChange(reason);
}

/// `reason`: of the end of a link, if it is one that ended.
void Companion::linkDidChange(const std::string& reason) {
  using State = LinkStatus::State;
  const bool isConnected = phone_->isConnected() || wifiPhone_->isConnected();
  linkStatus_.state = isConnected ? State::Connected : State::Lost;
  linkStatus_.reason = isConnected ? "" : reason;
  if (window_) window_->setLink(linkStatus_);
  if (reception_) reception_->linkDidChange(linkStatus_.state);
}

void Companion::phoneDidMeetHost(const Phone& phone, const std::string& macInfo) {
  say("the host says {}", macInfo);
  say("the phone is {}, scale {}, and expects frames of {}", FrameSize{phone.info().width, phone.info().height}.text(),
      phone.info().scale, plannedSize(phone.info(), fullResolution_).text());
  startDeadline(phone);
}

void Companion::phoneDidReceiveFrame(const Phone& phone, const Data& payload, double now) {
  const CheckedFrame frame = checkerOf(phone).check(payload.bytes(), now, phone.hostClock());
  for (const Fault& each : frame.faults) phoneDidSeeFault(phone, each);
  if (frame.size && *frame.size != shownSize_) {
    say("frames of {} arrive", frame.size->text());
    shownSize_ = *frame.size;
  }
  const Data image = imageOf(payload);
  keep(phone, image, frame);
  Statistics::Frame arrived{now, std::nullopt, frame.timestamp, frame.size, std::nullopt, payload.size()};
  if (const auto offset = phone.hostClock().offset()) arrived.hostArrival = now + *offset;
  ++arrivedFrames_;
  checkPicture(phone, image, arrived);
  scriptRunner_.frameDidArrive();
  if (arrivedFrames_ == options_.frames) end("all frames are here");
}

void Companion::keep(const Phone& phone, const Data& image, const CheckedFrame& frame) {
  if (window_) window_->show(image, frame.timestamp, phone.linkName(), clock_.now());
  if (!saver_) return;
  auto error = saver_->save(image);
  if (!error && !frame.faults.empty()) error = saver_->saveFaulty(image, arrivedFrames_ + 1);
  if (error) lack(fmt::format("a frame cannot be saved: {}", error->localizedDescription()));
}

/// Counts the frame when the whole of its picture has been looked at, if it has one.
void Companion::checkPicture(const Phone& phone, const Data& image, Statistics::Frame frame) {
  if (!frame.size) return statistics_.frameDidArrive(frame);
  ++uncheckedFrames_;
  const auto isFound = [this, &phone, image, frame,
                        number = arrivedFrames_](const PictureChecker::Finding& finding) mutable {
    if (finding.isDamaged) {
      phoneDidSeeFault(phone, {"picture", "a frame's JPEG data is damaged"});
      const auto error = saver_ ? saver_->saveFaulty(image, number) : std::nullopt;
      if (error) lack(fmt::format("a frame cannot be saved: {}", error->localizedDescription()));
    }
    frame.clockTicks = finding.clockTicks;
    statistics_.frameDidArrive(frame);
    if (frameLog_.is_open()) log(frame);
    if (--uncheckedFrames_ == 0 && isEnding_) queue_->stop();
  };
  pictureChecker_.check(image, isFound);
}

void Companion::log(const Statistics::Frame& frame) {
  // Without the part of a tick: a name for the drawing, too.
  const double lastTick = std::floor(frame.arrival * ClockPattern::ticksPerSecond) / ClockPattern::ticksPerSecond;
  const double drawn = frame.clockTicks ? lastTick - ClockPattern::age(*frame.clockTicks, frame.arrival) : 0;
  frameLog_ << fmt::format("{:.9f} {:.9f} {:.4f} {}\n", frame.arrival, frame.timestamp, drawn, frame.bytes)
            << std::flush;
}

void Companion::phoneDidReceivePong(const Phone&, double roundTripSeconds) {
  statistics_.pongDidArrive(roundTripSeconds);
}

void Companion::phoneDidSeeFault(const Phone& phone, const Fault& fault) {
  if (statistics_.faultDidOccur(fault) > mostFaultsPrinted) return;
  say("fault: {} ({}, {})", fault.text, fault.kind, phone.linkName());
}

void Companion::phoneDidPassMessage(const Phone& phone, Direction direction, std::uint32_t type, std::size_t size) {
  if (!options_.trace) return;
  say("{:.6f} s: {} {} {}, {} bytes", clock_.now() - startTime_, phone.linkName(),
      direction == Direction::toHost ? "->" : "<-", messageName(type), size);
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
    case Kind::scale:
      info.scale = action.scale;
      return changeInfo(info);
    case Kind::idiom:
      info.idiom = action.text;
      return changeInfo(info);
    case Kind::fullResolution:
      fullResolution_ = *action.number != 0;
      return expectSize(info);
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
  const auto screen = screenForFrames(size, info.idiom, fullResolution_);
  if (!screen) return say("no screen makes frames of the window's size, {}", size.text());
  if (screen->width == info.width && screen->height == info.height) return;
  info.width = screen->width;
  info.height = screen->height;
  info.orientation = info.width > info.height ? "Landscape" : "Portrait";
  say("the window is {}, and the phone {}", size.text(), screen->text());
  changeInfo(info);
}

void Companion::describeStatistics() {
  const std::optional<double> latency = statistics_.lastLatency();
  window_->setStatistics(
      {fmt::format("{}, {} frames a second", shownSize_.text(), window_->framesPerSecond(clock_.now())),
       latency ? fmt::format("{:.1f} ms old on arrival", *latency) : "age on arrival unknown: no pong yet",
       fmt::format("{} frames, {} faults", statistics_.frames(), statistics_.faults())});
}

void Companion::changeInfo(const MacProtocol::DeviceInfo& info) {
  expectSize(info);
  for (const auto& phone : {phone_, wifiPhone_}) phone->setInfo(info);
}

void Companion::expectSize(const MacProtocol::DeviceInfo& info) {
  for (const auto& phone : {phone_, wifiPhone_}) {
    checkerOf(*phone).expectSize(plannedSize(info, fullResolution_));
    startDeadline(*phone);
  }
}

/// From now on a frame of the expected size is due.
void Companion::startDeadline(const Phone& phone) {
  const auto wait = checkerOf(phone).wait();
  if (!options_.frameDeadline || !wait || !phone.hasMetHost()) return;
  queue_->after(*options_.frameDeadline, [this, &phone, wait] {
    if (!phone.isConnected() || checkerOf(phone).wait() != wait) return;
    phoneDidSeeFault(
        phone, {"deadline", fmt::format("no frame of {} within {} s of the screen's description",
                                        plannedSize(phone.info(), fullResolution_).text(), *options_.frameDeadline)});
  });
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
}

}  // namespace tandemview
