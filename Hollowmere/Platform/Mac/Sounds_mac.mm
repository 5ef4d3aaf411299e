// SPDX-License-Identifier: MIT
#include "Platform/Sounds.h"

#import <AppKit/AppKit.h>

namespace Sounds {

void play(const QString& systemName) {
    NSSound* sound = [NSSound soundNamed:systemName.toNSString()];
    [sound play]; // asynchronous; a nil sound (unknown name) is a no-op
}

} // namespace Sounds
