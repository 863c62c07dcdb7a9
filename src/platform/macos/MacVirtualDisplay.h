#pragma once

#import <Foundation/Foundation.h>

#include "display/DisplaySystem.h"
#include "platform/macos/MacVirtualDisplayClasses.h"

namespace tandemview {

/// A CGVirtualDisplay. The class has no published interface: its properties are reached by key-value coding and its
/// methods by selector. An exception of its own counts as a refusal.
class MacVirtualDisplay final : public VirtualDisplay {
 public:
  using Classes = MacVirtualDisplayClasses;

  static VirtualDisplayCreation make(const Classes& classes, const VirtualDisplayDescriptor& descriptor);

  /// A CGVirtualDisplayMode; nil if the system makes none.
  static id makeMode(const Classes& classes, const VirtualDisplayMode& mode);

  MacVirtualDisplay(const Classes& classes, id descriptor, id display)
      : classes_(classes), descriptor_(descriptor), display_(display) {}

  std::optional<DisplayID> displayID() const override;
  bool isWithheld() const override { return false; }
  ApplyOutcome applySettings(const VirtualDisplaySettings& settings) override;
  bool canTerminate() const override;
  void terminate() override;
  bool canInvalidate() const override;
  void invalidate() override;

 private:
  const Classes classes_;
  [[maybe_unused]] const id descriptor_;  // only kept alive, as long as the display
  const id display_;
};

}  // namespace tandemview
