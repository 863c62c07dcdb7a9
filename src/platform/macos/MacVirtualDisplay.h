#pragma once

#import <Foundation/Foundation.h>

#include "display/DisplaySystem.h"

namespace tandemview {

/// A CGVirtualDisplay. The class has no published interface: it is found by name, its properties are reached by
/// key-value coding and its methods by selector.
class MacVirtualDisplay final : public VirtualDisplay {
 public:
  static Class descriptorClass();
  static Class displayClass();
  static Class settingsClass();
  static Class modeClass();

  static VirtualDisplayCreation make(const VirtualDisplayDescriptor& descriptor);

  /// A CGVirtualDisplayMode; nil if the system makes none.
  static id makeMode(const VirtualDisplayMode& mode);

  MacVirtualDisplay(id descriptor, id display) : descriptor_(descriptor), display_(display) {}

  std::optional<DisplayID> displayID() const override;
  ApplyOutcome applySettings(const VirtualDisplaySettings& settings) override;
  bool canTerminate() const override;
  void terminate() override;
  bool canInvalidate() const override;
  void invalidate() override;

 private:
  [[maybe_unused]] const id descriptor_;  // only kept alive, as long as the display
  const id display_;
};

}  // namespace tandemview
