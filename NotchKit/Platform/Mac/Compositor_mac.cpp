// SPDX-License-Identifier: MIT
#include "../Compositor.h"

// Quartz composites every window.
Compositor& Compositor::shared() {
    static Compositor* compositor = new Compositor;
    return *compositor;
}
