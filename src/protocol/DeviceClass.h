#pragma once

#include <string_view>

namespace tandemview::MacProtocol {

enum class DeviceClass { iPhone, foldable, iPad };

std::string_view rawValue(DeviceClass deviceClass);

}  // namespace tandemview::MacProtocol
