#pragma once

#include "platform/linux/picture/PicturePixels.h"
#include "runtime/Error.h"

namespace tandemview {

/// Whoever wants our display's pictures. Called on the session's queue.
class GnomePictureReceiver {
 public:
  virtual ~GnomePictureReceiver() = default;

  /// A whole picture, valid during the call: the first soon, and then one whenever something has been drawn.
  virtual void take(const PicturePixels& picture) = 0;

  /// The display has gone; nothing comes any more.
  virtual void sourceEnded(const Error& error) = 0;
};

}  // namespace tandemview
