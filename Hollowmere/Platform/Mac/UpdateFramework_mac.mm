// SPDX-License-Identifier: MIT
// Sparkle 2, loaded at run time from Contents/Frameworks: no link-time dependency, and no
// updates at all when the bundle does not carry it. Sparkle reads its feed from SUFeedURL in
// Info.plist and shows its own windows.
#include "Platform/UpdateFramework.h"

#import <Foundation/Foundation.h>

// The parts of Sparkle's API the app calls, declared as protocols so nothing links against it.
@protocol HMSparkleUpdater <NSObject>
@property(nonatomic) BOOL automaticallyChecksForUpdates;
- (void)checkForUpdatesInBackground;
@end

@protocol HMSparkleStandardUpdaterController <NSObject>
- (instancetype)initWithStartingUpdater:(BOOL)startUpdater
                        updaterDelegate:(nullable id)updaterDelegate
                     userDriverDelegate:(nullable id)userDriverDelegate;
@property(nonatomic, readonly) id<HMSparkleUpdater> updater;
- (void)checkForUpdates:(nullable id)sender;
@end

namespace {

class SparkleUpdater : public UpdateFramework {
public:
    explicit SparkleUpdater(id<HMSparkleStandardUpdaterController> controller)
        : m_controller(controller) {}

    bool automaticallyChecks() const override {
        return m_controller.updater.automaticallyChecksForUpdates;
    }
    void setAutomaticallyChecks(bool on) override {
        m_controller.updater.automaticallyChecksForUpdates = on;
    }
    void checkInBackground() override { [m_controller.updater checkForUpdatesInBackground]; }
    void checkNow() override { [m_controller checkForUpdates:nil]; }

private:
    id<HMSparkleStandardUpdaterController> m_controller;
};

} // namespace

std::unique_ptr<UpdateFramework> loadUpdateFramework(const QUrl&, const QString&) {
    @autoreleasepool {
        NSString* frameworks = NSBundle.mainBundle.privateFrameworksPath;
        if (!frameworks)
            return nullptr;
        NSBundle* sparkle = [NSBundle
            bundleWithPath:[frameworks stringByAppendingPathComponent:@"Sparkle.framework"]];
        NSError* error = nil;
        if (!sparkle || ![sparkle loadAndReturnError:&error])
            return nullptr;
        Class controllerClass = NSClassFromString(@"SPUStandardUpdaterController");
        if (!controllerClass)
            return nullptr;
        id<HMSparkleStandardUpdaterController> controller =
            [(id<HMSparkleStandardUpdaterController>)[controllerClass alloc]
                initWithStartingUpdater:YES
                        updaterDelegate:nil
                     userDriverDelegate:nil];
        if (!controller)
            return nullptr;
        return std::make_unique<SparkleUpdater>(controller);
    }
}
