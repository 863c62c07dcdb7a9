#pragma once

#include <functional>

#include "protocol/DeviceInfo.h"
#include "runtime/Data.h"

namespace tandemview {

/// What a link tells its owner, always on the main queue. Set before the link is started; what is not set is not told.
struct PhoneCallbacks {
  std::function<void()> onClientConnected;
  std::function<void()> onClientDisconnected;
  std::function<void(MacProtocol::DeviceInfo)> onDeviceInfo;
  std::function<void(Data)> onTouchEvent;
  std::function<void(Data)> onKeyEvent;
  /// There is room for frames again after one was refused.
  std::function<void()> onRoomForFrames;
};

}  // namespace tandemview
