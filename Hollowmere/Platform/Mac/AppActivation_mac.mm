// SPDX-License-Identifier: MIT
#include "Platform/AppActivation.h"

#import <AppKit/AppKit.h>

namespace AppActivation {

void setRegular(bool regular) {
    [NSApp setActivationPolicy:regular ? NSApplicationActivationPolicyRegular
                                       : NSApplicationActivationPolicyAccessory];
}

void activate() {
    [NSApp activateIgnoringOtherApps:YES];
}

} // namespace AppActivation
