#pragma once

namespace tandemview {

/// What a display's pictures do.
enum class PictureFlow {
  None,         // until a display of another size, or somebody who wants them
  Interrupted,  // for a moment; the display stays what it is
  Coming
};

}  // namespace tandemview
