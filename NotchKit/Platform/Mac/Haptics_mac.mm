// SPDX-License-Identifier: MIT
#include "../Haptics.h"

#import <AppKit/AppKit.h>

namespace {

class TrackpadHaptics final : public HapticPerformer {
public:
    void performAlignmentFeedback() override {
        [[NSHapticFeedbackManager defaultPerformer]
            performFeedbackPattern:NSHapticFeedbackPatternAlignment
                   performanceTime:NSHapticFeedbackPerformanceTimeDefault];
    }
};

} // namespace

HapticPerformer& defaultHapticPerformer() {
    static TrackpadHaptics performer;
    return performer;
}
