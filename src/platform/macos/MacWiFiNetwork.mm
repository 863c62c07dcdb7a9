#import "platform/macos/MacWiFiNetwork.h"

#import "platform/macos/MacWiFiBrowser.h"
#import "platform/macos/MacWiFiConnection.h"
#import "platform/macos/MacWiFiEndpoint.h"

namespace tandemview {

namespace {

/// Whoever announces a service may name any address, such as one in another network or a loopback one: no router passes
/// on what is sent, and a loopback address is reached only if the service was found there. Of several links on which it
/// was seen the framework chooses.
void keepToLink(nw_parameters_t parameters, const MacWiFiEndpoint& endpoint) {
  constexpr std::uint8_t noRouter = 1;
  const nw_protocol_stack_t stack = nw_parameters_copy_default_protocol_stack(parameters);
  if (const nw_protocol_options_t ip = nw_protocol_stack_copy_internet_protocol(stack)) {
    nw_ip_options_set_hop_limit(ip, noRouter);
  }
  if (endpoint.onlyInterface) nw_parameters_require_interface(parameters, endpoint.onlyInterface);
  if (!endpoint.isOnLoopback) nw_parameters_prohibit_interface_type(parameters, nw_interface_type_loopback);
}

}  // namespace

std::shared_ptr<WiFiBrowser> MacWiFiNetwork::makeBrowser(const std::string& serviceType) {
  const nw_parameters_t parameters = nw_parameters_create();
  nw_parameters_set_include_peer_to_peer(parameters, true);
  const nw_browse_descriptor_t descriptor =
      nw_browse_descriptor_create_bonjour_service(serviceType.c_str(), /*domain=*/nullptr);
  return std::make_shared<MacWiFiBrowser>(nw_browser_create(descriptor, parameters));
}

std::shared_ptr<WiFiConnection> MacWiFiNetwork::makeConnection(const std::shared_ptr<const WiFiEndpoint>& endpoint) {
  const nw_parameters_t parameters =
      nw_parameters_create_secure_tcp(NW_PARAMETERS_DISABLE_PROTOCOL, NW_PARAMETERS_DEFAULT_CONFIGURATION);
  nw_parameters_set_include_peer_to_peer(parameters, true);
  const auto found = std::static_pointer_cast<const MacWiFiEndpoint>(endpoint);
  keepToLink(parameters, *found);
  return std::make_shared<MacWiFiConnection>(nw_connection_create(found->endpoint, parameters));
}

}  // namespace tandemview
