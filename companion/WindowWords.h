#pragma once

#include <optional>
#include <string>
#include <vector>

#include "companion/FrameSize.h"
#include "companion/WindowContents.h"

namespace tandemview {

/// What the companion's window says in its middle, over the picture: nothing while that is all there is to see.
/// `prompt`: what it asks its user, if it does. `isPictureTrue`: the host's last picture is there, not an older one.
std::vector<std::string> windowWords(const WindowContents& contents, const std::vector<std::string>& prompt,
                                     bool isPictureTrue);

/// `picture`: the size of the one that the window shows, if it does.
std::string windowTitle(const LinkStatus& link, std::optional<FrameSize> picture);

}  // namespace tandemview
