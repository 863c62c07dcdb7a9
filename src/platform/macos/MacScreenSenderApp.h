#pragma once

#import <AppKit/AppKit.h>

/// The application: hands its life cycle to the core's AppDelegate, which it has joined with this platform's adapters.
@interface MacScreenSenderApp : NSObject <NSApplicationDelegate>

/// Runs the application until it is terminated, which ends the process.
+ (void)main;

@end
