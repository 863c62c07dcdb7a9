#import "platform/macos/MacVirtualDisplay.h"

#include <gtest/gtest.h>

#import "platform/macos/DispatchQueue.h"
#import "platform/macos/FoundationString.h"
#import "platform/macos/StandInVirtualDisplay.h"

namespace tandemview {
namespace {

VirtualDisplayDescriptor descriptor(const std::string& name) {
  return {.queue = DispatchQueue::serial("test"),
          .name = name,
          .maxPixelsWide = 2796,
          .maxPixelsHigh = 2796,
          .widthInMillimeters = 297.5,
          .heightInMillimeters = 645.25,
          .vendorID = 0x1234,
          .productID = 0x5678,
          .serialNum = 1};
}

class MacVirtualDisplayTest : public testing::Test {
 protected:
  const MacVirtualDisplayClasses classes{"StandInVirtualDisplay"};
};

TEST_F(MacVirtualDisplayTest, TellsTheSystemWhatTheCoreAsksFor) {
  @autoreleasepool {
    const auto creation = MacVirtualDisplay::make(classes, descriptor("iPhone Display"));
    ASSERT_EQ(creation.outcome, CreationOutcome::Created);
    StandInVirtualDisplay* const made = StandInVirtualDisplay.last;
    EXPECT_EQ(stringFrom(made.descriptor.name), "iPhone Display");
    EXPECT_NE(made.descriptor.queue, nil);
    EXPECT_EQ(made.descriptor.maxPixelsWide, 2796U);
    EXPECT_EQ(made.descriptor.maxPixelsHigh, 2796U);
    EXPECT_EQ(made.descriptor.sizeInMillimeters.width, 297.5);
    EXPECT_EQ(made.descriptor.sizeInMillimeters.height, 645.25);
    EXPECT_EQ(made.descriptor.vendorID, 0x1234U);
    EXPECT_EQ(made.descriptor.productID, 0x5678U);
    EXPECT_EQ(made.descriptor.serialNum, 1U);

    EXPECT_EQ(creation.display->displayID(), std::nullopt) << "the system has assigned none yet";
    const VirtualDisplaySettings settings = {.modes = {{1290, 2796, 60}, {2796, 1290, 60}}, .hiDPI = true};
    EXPECT_EQ(creation.display->applySettings(settings), ApplyOutcome::Applied);
    EXPECT_EQ(made.settings.hiDPI, 1U);
    ASSERT_EQ(made.settings.modes.count, 2U);
    EXPECT_EQ(made.settings.modes[1].width, 2796U);
    EXPECT_EQ(made.settings.modes[1].height, 1290U);
    EXPECT_EQ(made.settings.modes[1].refreshRate, 60);
    EXPECT_EQ(creation.display->displayID(), 42U);

    EXPECT_TRUE(creation.display->canTerminate());
    EXPECT_FALSE(creation.display->canInvalidate());
    creation.display->terminate();
    EXPECT_TRUE(made.isTerminated);
  }
  EXPECT_EQ(StandInVirtualDisplay.last, nil) << "letting go of it removes it";
}

TEST_F(MacVirtualDisplayTest, WhatTheSystemRefusesIsNoDisplay) {
  @autoreleasepool {
    VirtualDisplayDescriptor empty = descriptor("empty");
    empty.maxPixelsWide = 0;
    EXPECT_EQ(MacVirtualDisplay::make(classes, empty).outcome, CreationOutcome::NothingReturned);
    const auto display = MacVirtualDisplay::make(classes, descriptor("plain")).display;
    EXPECT_EQ(display->applySettings({}), ApplyOutcome::Refused);
    EXPECT_EQ(display->applySettings({.modes = {{0, 2796, 60}}}), ApplyOutcome::Refused) << "no such mode";
  }
  EXPECT_EQ(StandInVirtualDisplay.last, nil);
  EXPECT_EQ(MacVirtualDisplayClasses("NobodyKnowsThis").display, nil);
}

TEST_F(MacVirtualDisplayTest, NoExceptionEscapes) {
  @autoreleasepool {
    const auto display = MacVirtualDisplay::make(classes, descriptor("throws")).display;
    EXPECT_EQ(display->displayID(), std::nullopt);
    EXPECT_EQ(display->applySettings({.modes = {{1290, 2796, 60}}}), ApplyOutcome::Refused);
    display->terminate();

    MacVirtualDisplayClasses changed = classes;
    changed.descriptor = NSObject.class;  // knows none of the keys
    EXPECT_EQ(MacVirtualDisplay::make(changed, descriptor("plain")).outcome, CreationOutcome::NothingReturned);
  }
}

}  // namespace
}  // namespace tandemview
