#import "platform/macos/MacWiFiBrowser.h"

#include <map>
#include <utility>

#import "platform/macos/DispatchQueue.h"
#import "platform/macos/MacHostInquiry.h"
#import "platform/macos/MacWiFiEndpoint.h"
#import "platform/macos/NetworkError.h"

namespace tandemview {

namespace {

/// What a browser has found so far, by name and domain: the framework tells of changes, the core wants the whole set.
using Findings = std::map<std::pair<std::string, std::string>, WiFiBrowseResult>;

std::string textOrNone(const char* text) {
  return text ? text : "";
}

std::shared_ptr<MacWiFiEndpoint> endpointOf(nw_browse_result_t result) {
  __block nw_interface_t onlyInterface = nil;
  __block bool isOnLoopback = false;
  __block int count = 0;
  nw_browse_result_enumerate_interfaces(result, ^bool(nw_interface_t interface) {
    onlyInterface = ++count == 1 ? interface : nil;
    if (nw_interface_get_type(interface) == nw_interface_type_loopback) isOnLoopback = true;
    return true;
  });
  const auto found = std::make_shared<MacWiFiEndpoint>(nw_browse_result_copy_endpoint(result));
  found->onlyInterface = onlyInterface;
  found->isOnLoopback = isOnLoopback;
  return found;
}

Findings::value_type describe(nw_browse_result_t result) {
  const auto found = endpointOf(result);
  const nw_endpoint_t endpoint = found->endpoint;
  WiFiBrowseResult described = {.endpoint = found};
  if (nw_endpoint_get_type(endpoint) != nw_endpoint_type_bonjour_service) return {{}, described};
  described.serviceName = textOrNone(nw_endpoint_get_bonjour_service_name(endpoint));
  return {{*described.serviceName, textOrNone(nw_endpoint_get_bonjour_service_domain(endpoint))}, described};
}

std::vector<WiFiBrowseResult> all(const Findings& findings) {
  std::vector<WiFiBrowseResult> results;
  for (const auto& [name, result] : findings) results.push_back(result);
  return results;
}

}  // namespace

MacWiFiBrowser::~MacWiFiBrowser() {
  cancel();
}

void MacWiFiBrowser::start(WiFiBrowserOutput output) {
  queue_ = output.queue;
  nw_browser_set_queue(browser_, DispatchQueue::underlying(*output.queue));
  nw_browser_set_state_changed_handler(browser_, ^(nw_browser_state_t state, nw_error_t error) {
    if (state == nw_browser_state_ready) output.didBecomeReady();
    if (state == nw_browser_state_failed) output.didFail(errorFrom(error));
  });
  const auto findings = std::make_shared<Findings>();
  const auto change = ^(nw_browse_result_t oldResult, nw_browse_result_t newResult, bool batchComplete) {
    if (oldResult) findings->erase(describe(oldResult).first);
    if (newResult) findings->insert(describe(newResult));
    if (batchComplete) output.didChangeResults(all(*findings));
  };
  nw_browser_set_browse_results_changed_handler(browser_, change);
  nw_browser_start(browser_);
}

void MacWiFiBrowser::findHosts(const std::vector<std::shared_ptr<const WiFiEndpoint>>& services, double seconds,
                               HostsCompletion completion) {
  const auto inquiry = std::make_shared<MacHostInquiry>(services.size());
  for (std::size_t index = 0; index < services.size(); ++index) {
    const nw_endpoint_t service = static_cast<const MacWiFiEndpoint&>(*services[index]).endpoint;
    if (nw_endpoint_get_type(service) != nw_endpoint_type_bonjour_service) continue;
    inquiry->ask(index, textOrNone(nw_endpoint_get_bonjour_service_name(service)),
                 textOrNone(nw_endpoint_get_bonjour_service_type(service)),
                 textOrNone(nw_endpoint_get_bonjour_service_domain(service)), DispatchQueue::underlying(*queue_));
  }
  queue_->after(seconds, [inquiry, completion = std::move(completion), isCancelled = isCancelled_] {
    if (!*isCancelled) completion(inquiry->answers());
  });
}

void MacWiFiBrowser::cancel() {
  *isCancelled_ = true;
  nw_browser_cancel(browser_);
}

}  // namespace tandemview
