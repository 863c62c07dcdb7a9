#import "platform/macos/MacWiFiBrowser.h"

#include <map>
#include <utility>

#import "platform/macos/DispatchQueue.h"
#import "platform/macos/MacWiFiEndpoint.h"
#import "platform/macos/NetworkError.h"

namespace tandemview {

namespace {

/// What a browser has found so far, by name and domain: the framework tells of changes, the core wants the whole set.
using Findings = std::map<std::pair<std::string, std::string>, WiFiBrowseResult>;

std::string textOrNone(const char* text) {
  return text ? text : "";
}

Findings::value_type describe(nw_browse_result_t result) {
  const nw_endpoint_t endpoint = nw_browse_result_copy_endpoint(result);
  WiFiBrowseResult described = {.endpoint = std::make_shared<MacWiFiEndpoint>(endpoint)};
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

void MacWiFiBrowser::cancel() {
  nw_browser_cancel(browser_);
}

}  // namespace tandemview
