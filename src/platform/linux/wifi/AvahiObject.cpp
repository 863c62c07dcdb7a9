#include "platform/linux/wifi/AvahiObject.h"

#include <utility>

#include "platform/linux/wifi/AvahiDaemon.h"

namespace tandemview {

AvahiObject::AvahiObject(std::weak_ptr<AvahiDaemon> daemon, std::string interface, Output output)
    : daemon_(std::move(daemon)), interface_(std::move(interface)), output_(std::move(output)) {}

AvahiObject::~AvahiObject() {
  if (path_.empty()) return;
  if (const auto daemon = daemon_.lock()) daemon->free(path_, interface_);
}

}  // namespace tandemview
