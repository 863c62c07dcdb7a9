#include <limits>
#include <utility>

#include "runtime/Log.h"
#include "runtime/Truncation.h"
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

/// A number below `bound`, each as likely as the others: the high half of bits × bound, without those bits that would
/// favour some numbers (Lemire, "Fast Random Integer Generation in an Interval", 2019).
std::uint32_t uniformBelow(std::uint32_t bound, const WiFiSender::RandomBits& randomBits) {
  const std::uint32_t threshold = -bound % bound;  // 2^32 modulo bound
  std::uint64_t product = 0;
  do product = std::uint64_t{randomBits()} * bound;
  while (static_cast<std::uint32_t>(product) < threshold);
  return static_cast<std::uint32_t>(product >> 32);
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
  stopHeartbeat();
  cancelBrowser();
  cancelConnection();
}

void WiFiSender::startBrowserAfter(double delay) {
  surroundings_.mainQueue->after(delay, [weak = weak_from_this()] {
    if (const auto sender = weak.lock()) sender->startBrowser();
  });
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
           [weak = weak_from_this(), weakBrowser = std::weak_ptr(browser)](const Error& error) {
             if (const auto sender = weak.lock()) sender->browserFailed(weakBrowser, error);
           },
       .didChangeResults =
           [weak = weak_from_this(), weakBrowser = std::weak_ptr(browser)](const auto& results) {
             if (const auto sender = weak.lock()) sender->resultsChanged(weakBrowser, results);
           }});
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
  }
  if (browser) browser->cancel();
}

/// Lets go of the browser, so that restartBrowser() does not take it for one that is looking.
void WiFiSender::browserFailed(const std::weak_ptr<WiFiBrowser>& browser, const Error& error) {
  Log::print("❌ WiFiSender: Browser failed: {}", error.localizedDescription());
  const auto failed = browser.lock();  // declared first: it may be the last one that holds the browser
  const std::lock_guard lock(stateLock_);
  if (browser_ == failed) browser_ = nullptr;
}

void WiFiSender::resultsChanged(const std::weak_ptr<WiFiBrowser>& browser,
                                const std::vector<WiFiBrowseResult>& results) {
  const auto isLooking = [&] { return browser_ && browser_ == browser.lock() && !isConnecting_ && !connection_; };
  {
    const std::lock_guard lock(stateLock_);
    if (!isLooking()) return;
  }
  const auto code = surroundings_.userDefaults->string(codeKey);
  if (!code) return;
  const std::string expectedName = serviceNamePrefix + *code;
  for (const WiFiBrowseResult& result : results) {
    if (!result.serviceName) continue;
    if (*result.serviceName != expectedName) {
      Log::print("📱 WiFiSender: Ignoring device with different pairing code: {}", *result.serviceName);
      continue;
    }
    {
      const std::lock_guard lock(stateLock_);
      if (!isLooking()) return;
      isConnecting_ = true;
    }
    Log::print("📱 WiFiSender: Found matching device ({}), connecting...", expectedName);
    return connect(result.endpoint);
  }
}

}  // namespace tandemview
