#include "platform/linux/x11/capture/X11CaptureSystem.h"

#include <cstddef>
#include <span>
#include <string_view>

#include "platform/linux/x11/capture/CaptureError.h"
#include "platform/linux/x11/capture/X11CaptureStream.h"
#include "platform/linux/x11/server/Edid.h"
#include "platform/linux/x11/server/RandrLayout.h"

namespace tandemview {

namespace {

/// The largest picture that can be scaled: the pixel library counts in 16.16 fixed point.
constexpr std::int64_t largestLength = 32767;

constexpr std::string_view edidProperty = "EDID";
constexpr std::uint32_t longestEdidInWords = 256 * 128 / 4;  // a block that counts its extensions in a byte, and those

Result<std::vector<CapturableDisplay>> capturableDisplays(const X11Connection* connection) {
  const auto refusal = connection ? captureRefusal(*connection) : std::nullopt;
  if (refusal) return tl::unexpected(*refusal);
  if (!connection || connection->isBroken()) return tl::unexpected(captureError("The X server can't be reached"));
  const auto layout = RandrLayout::read(*connection);
  if (!layout) return tl::unexpected(captureError("The X server offers no RANDR 1.3"));
  std::vector<CapturableDisplay> displays;
  for (const RandrLayout::Output* const output : layout->activeOutputs()) {
    const RandrLayout::Crtc& crtc = *layout->activeCrtc(output->id);
    displays.push_back({.displayID = output->id, .width = crtc.width, .height = crtc.height});
  }
  return displays;
}

}  // namespace

X11CaptureSystem::X11CaptureSystem(std::shared_ptr<Queue> mainQueue, std::string displayName)
    : mainQueue_(std::move(mainQueue)),
      displayName_(std::move(displayName)),
      connection_(X11Connection::openDespiteGrabs(displayName_)) {}

void X11CaptureSystem::shareableContent(bool, bool, ContentCompletion completion) {
  mainQueue_->async([connection = connection_, completion = std::move(completion)] {
    completion(capturableDisplays(connection.get()));
  });
}

std::optional<std::string> X11CaptureSystem::productName(std::uint32_t displayID) const {
  if (!connection_ || !connection_->offers(xcb_randr_id)) return std::nullopt;
  xcb_connection_t* const server = connection_->get();
  const auto atom = owned(xcb_intern_atom_reply(
      server, xcb_intern_atom(server, /*only_if_exists=*/1, edidProperty.size(), edidProperty.data()), nullptr));
  if (!atom || atom->atom == XCB_NONE) return std::nullopt;
  const auto request = xcb_randr_get_output_property(server, displayID, atom->atom, XCB_ATOM_INTEGER, 0,
                                                     longestEdidInWords, /*delete=*/0, /*pending=*/0);
  const auto property = owned(xcb_randr_get_output_property_reply(server, request, nullptr));
  if (!property || property->format != 8) return std::nullopt;
  const std::span<const std::uint8_t> edid(
      xcb_randr_get_output_property_data(property.get()),
      static_cast<std::size_t>(xcb_randr_get_output_property_data_length(property.get())));
  return edidProductName(std::as_bytes(edid));
}

Result<std::shared_ptr<CaptureStream>> X11CaptureSystem::makeStream(const CaptureConfiguration& configuration,
                                                                    CaptureOutput output) {
  const bool isPossible = configuration.width > 0 && configuration.width <= largestLength && configuration.height > 0 &&
                          configuration.height <= largestLength && configuration.queueDepth > 0;
  if (!isPossible) return tl::unexpected(captureError("Pictures of this size can't be captured"));
  return std::make_shared<X11CaptureStream>(displayName_, configuration, std::move(output));
}

}  // namespace tandemview
