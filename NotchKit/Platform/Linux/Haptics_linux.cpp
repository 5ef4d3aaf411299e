// SPDX-License-Identifier: MIT
#include "../Haptics.h"

namespace {

// Linux desktops have no haptic trackpad interface to speak to.
class NoHaptics final : public HapticPerformer {
public:
    void performAlignmentFeedback() override {}
};

} // namespace

HapticPerformer& defaultHapticPerformer() {
    static NoHaptics performer;
    return performer;
}
