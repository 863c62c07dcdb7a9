#include <algorithm>
#include <limits>
#include <span>
#include <utility>

#include "runtime/Log.h"
#include "runtime/Truncation.h"
#include "runtime/Weakly.h"
#include "wifi/WiFiSender.h"

namespace tandemview {

namespace {

constexpr const char* serviceType = "_scrstream._tcp";
constexpr const char* serviceNamePrefix = "ScrRcv-";
constexpr const char* codeKey = "WiFiPairingCode";
constexpr const char* codeDateKey = "WiFiPairingCodeTimestamp";

constexpr double codeLifetime = 3 * 60 * 60;  // seconds
constexpr std::uint32_t smallestCode = 10;
constexpr std::uint32_t codeCount = 90;

/// The system needs a moment between the end of one search or link and the next.
constexpr double startDelay = 0.3;
constexpr double restartDelay = 0.5;

/// A name each in the log; of more strangers it says how many they are.
constexpr std::size_t mostNamedStrangers = 16;

/// How long it is listened who announces our code: an answer over Wi-Fi takes a tenth of a second.
constexpr double announcersDelay = 0.3;

/// A phone has one code; those that its user typed wrongly may linger for a while.
constexpr std::ptrdiff_t mostCodesOfAPhone = 4;

/// A host that was refused may have gone, which the names of the services need not show.
constexpr double refusalDelay = 5;

/// A number below `bound`, each as likely as the others: the high half of bits × bound, without those bits that would
/// favour some numbers (Lemire, "Fast Random Integer Generation in an Interval", 2019).
std::uint32_t uniformBelow(std::uint32_t bound, const WiFiSender::RandomBits& randomBits) {
  const std::uint32_t threshold = -bound % bound;  // 2^32 modulo bound
  std::uint64_t product = 0;
  do product = std::uint64_t{randomBits()} * bound;
  while (static_cast<std::uint32_t>(product) < threshold);
  return static_cast<std::uint32_t>(product >> 32);
}

/// Whether some phone may have this name: the prefix and a code.
bool bearsCode(const std::string& serviceName) {
  const std::string_view name = serviceName;
  if (!name.starts_with(serviceNamePrefix)) return false;
  const std::string_view code = name.substr(std::string_view(serviceNamePrefix).size());
  return code.size() == 2 && code[0] >= '1' && code[0] <= '9' && code[1] >= '0' && code[1] <= '9';
}

void logStrangers(std::span<const std::string> names) {
  if (names.size() > mostNamedStrangers) {
    return Log::print("📱 WiFiSender: Ignoring {} devices with different pairing codes", names.size());
  }
  for (const std::string& name : names) {
    Log::print("📱 WiFiSender: Ignoring device with different pairing code: {}", name);
  }
}

}  // namespace

std::string WiFiSender::currentPairingCode(UserDefaults& userDefaults, const WallClock& wallClock,
                                           const RandomBits& randomBits) {
  const auto stored = userDefaults.string(codeKey);
  const auto storedDate = userDefaults.date(codeDateKey);
  if (stored && storedDate) {
    const double age = wallClock.now() - *storedDate;
    constexpr auto smallestAge = static_cast<double>(std::numeric_limits<std::int64_t>::min());
    if (age < codeLifetime && age >= smallestAge) {  // an age outside of this is of a date that makes no sense
      Log::print("📶 WiFiSender: Keeping existing code: {} (generated {}s ago)", *stored, truncated(age));
      return *stored;
    }
  }
  const std::string code = std::to_string(smallestCode + uniformBelow(codeCount, randomBits));
  userDefaults.setString(codeKey, code);
  userDefaults.setDate(codeDateKey, wallClock.now());
  Log::print("📶 WiFiSender: Generated new code: {}", code);
  return code;
}

WiFiSender::WiFiSender(Surroundings surroundings) : surroundings_(std::move(surroundings)) {}

void WiFiSender::start() {
  Log::line("📶 WiFiSender: Starting P2P browser...");
  stop();
  isStarted_ = true;
  startBrowserAfter(startDelay);
}

void WiFiSender::stop() {
  Log::line("🛑 WiFiSender: Stopping...");
  isStarted_ = false;
  ++run_;
  stopHeartbeat();
  cancelBrowser();
  cancelConnection();
}

void WiFiSender::startBrowserAfter(double delay) {
  surroundings_.mainQueue->after(delay, weakly(this, [run = run_.load()](WiFiSender& sender) {
                                   if (sender.run_ == run) sender.startBrowser();
                                 }));
}

/// Stopped meanwhile, nothing is to be found; connected meanwhile, a search would only cost the link air time.
void WiFiSender::startBrowser() {
  if (!isStarted_ || connection()) return;
  cancelBrowser();
  const auto browser = surroundings_.network->makeBrowser(serviceType);
  {
    const std::lock_guard lock(stateLock_);
    browser_ = browser;
  }
  browser->start(
      {.queue = surroundings_.queue,
       .didBecomeReady = [] { Log::line("✅ WiFiSender: Browser ready, looking for iPhone (P2P enabled)..."); },
       .didFail =
           weakly(this, [weakBrowser = std::weak_ptr(browser)](
                            WiFiSender& sender, const Error& error) { sender.browserFailed(weakBrowser, error); }),
       .didChangeResults =
           weakly(this, [weakBrowser = std::weak_ptr(browser)](WiFiSender& sender, const auto& results) {
             sender.resultsChanged(weakBrowser, results);
           })});
}

void WiFiSender::restartBrowser() {
  {
    const std::lock_guard lock(stateLock_);
    if (browser_) return;
  }
  Log::line("🔄 WiFiSender: Restarting browser to find iPhone...");
  startBrowserAfter(restartDelay);
}

void WiFiSender::cancelBrowser() {
  std::shared_ptr<WiFiBrowser> browser;
  {
    const std::lock_guard lock(stateLock_);
    browser = std::exchange(browser_, nullptr);
    if (!link_) isConnecting_ = false;
  }
  if (browser) browser->cancel();
}

/// Lets go of the browser, so that restartBrowser() does not take it for one that is looking.
void WiFiSender::browserFailed(const std::weak_ptr<WiFiBrowser>& browser, const Error& error) {
  Log::print("❌ WiFiSender: Browser failed: {}", error.localizedDescription());
  const auto failed = browser.lock();  // declared first: it may be the last one that holds the browser
  const std::lock_guard lock(stateLock_);
  if (browser_ != failed) return;
  browser_ = nullptr;
  if (!link_) isConnecting_ = false;
}

std::optional<std::string> WiFiSender::expectedName() const {
  const auto code = surroundings_.userDefaults->string(codeKey);
  return code ? std::optional(serviceNamePrefix + *code) : std::nullopt;
}

void WiFiSender::resultsChanged(const std::weak_ptr<WiFiBrowser>& browser,
                                const std::vector<WiFiBrowseResult>& results) {
  bool isLooking = false;
  {
    const std::lock_guard lock(stateLock_);
    if (!browser_ || browser_ != browser.lock()) return;
    isLooking = !isConnecting_ && !link_;
  }
  results_ = results;
  const auto expected = expectedName();
  if (!expected || !isLooking) return;
  std::vector<std::string> strangers;
  for (const WiFiBrowseResult& result : results_) {
    if (result.serviceName == expected) break;
    if (result.serviceName) strangers.push_back(*result.serviceName);
  }
  logStrangers(strangers);
  examineResults(browser);
}

/// Asks who announces our code, and which other codes, before it connects: whoever has our code can see the screen and
/// control this computer.
void WiFiSender::examineResults(const std::weak_ptr<WiFiBrowser>& weakBrowser) {
  const auto expected = expectedName();
  if (!expected) return;
  std::vector<std::shared_ptr<const WiFiEndpoint>> ours;
  std::vector<std::shared_ptr<const WiFiEndpoint>> services;
  for (const WiFiBrowseResult& result : results_) {
    if (result.serviceName == expected) {
      ours.push_back(result.endpoint);
    } else if (result.serviceName && bearsCode(*result.serviceName)) {
      services.push_back(result.endpoint);
    }
  }
  if (ours.empty()) return;
  services.insert(services.begin(), ours.begin(), ours.end());
  const auto browser = weakBrowser.lock();
  {
    const std::lock_guard lock(stateLock_);
    if (!browser || browser_ != browser || isConnecting_ || link_) return;
    isConnecting_ = true;
  }
  ++examination_;
  browser->findHosts(
      services, announcersDelay,
      weakly(this, [weakBrowser, phone = ours.front(), count = ours.size()](WiFiSender& sender, const auto& hosts) {
        sender.hostsFound(weakBrowser, phone, count, hosts);
      }));
}

/// `hosts`: of the services that bear our code, which are `ourCount`, and then of those with others.
void WiFiSender::hostsFound(const std::weak_ptr<WiFiBrowser>& browser, const std::shared_ptr<const WiFiEndpoint>& phone,
                            std::size_t ourCount, const std::vector<WiFiBrowser::HostNames>& hosts) {
  {
    const std::lock_guard lock(stateLock_);
    if (!isConnecting_ || link_ || !browser_ || browser_ != browser.lock()) return;
  }
  WiFiBrowser::HostNames announcers;
  for (const auto& names : std::span(hosts).first(ourCount)) announcers.insert(names.begin(), names.end());
  if (announcers.size() > 1) {
    if (!std::exchange(hasToldOfContest_, true)) {
      surroundings_.mainQueue->async(weakly(this, [](WiFiSender& sender) {
        if (sender.onCodeContested) sender.onCodeContested();
      }));
    }
    return refuse(browser,
                  fmt::format("⚠️ WiFiSender: {} devices announce our pairing code ({}, {}...) - connecting to "
                              "none of them: one may be somebody else",
                              announcers.size(), *announcers.begin(), *std::next(announcers.begin())));
  }
  for (const std::string& host : announcers) {
    const auto otherCodes = std::ranges::count_if(std::span(hosts).subspan(ourCount),
                                                  [&](const auto& names) { return names.contains(host); });
    if (otherCodes < mostCodesOfAPhone) continue;
    return refuse(
        browser, fmt::format("⚠️ WiFiSender: Ignoring {}: it announces {} pairing codes, and a phone has one", host,
                             otherCodes + 1));
  }
  refusal_.clear();
  Log::print("📱 WiFiSender: Found matching device ({}), connecting...", expectedName().value_or(""));
  connect(phone);
}

void WiFiSender::refuse(const std::weak_ptr<WiFiBrowser>& browser, const std::string& line) {
  {
    const std::lock_guard lock(stateLock_);
    isConnecting_ = false;
  }
  if (std::exchange(refusal_, line) != line) Log::line(line);
  surroundings_.queue->after(refusalDelay, weakly(this, [browser, examination = examination_](WiFiSender& sender) {
                               if (sender.examination_ == examination) sender.examineResults(browser);
                             }));
}

}  // namespace tandemview
