#import "platform/macos/MacWiFiNetwork.h"

#import "platform/macos/MacWiFiBrowser.h"
#import "platform/macos/MacWiFiConnection.h"
#import "platform/macos/MacWiFiEndpoint.h"

namespace tandemview {

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
  return std::make_shared<MacWiFiConnection>(nw_connection_create(found->endpoint, parameters));
}

}  // namespace tandemview
