// SPDX-License-Identifier: MIT
#pragma once

// The trackpad tap given when hovering over the notch starts or stops.
class HapticPerformer {
public:
    virtual ~HapticPerformer() = default;
    // The "alignment" pattern at the default performance time.
    virtual void performAlignmentFeedback() = 0;
};

// The platform's performer: the trackpad on macOS, nothing where there is no such device.
HapticPerformer& defaultHapticPerformer();
