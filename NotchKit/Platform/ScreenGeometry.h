// SPDX-License-Identifier: MIT
#pragma once

#include "../NotchScreen.h"

class QScreen;

namespace ScreenGeometry {

// Measures a screen: frame, visible frame, safe-area top inset and the areas beside the
// camera housing. On Linux there is no housing unless HOLLOWMERE_SIMULATE_NOTCH=WxH asks
// for one (developer switch for screenshots and tests).
ScreenMetrics metrics(QScreen* screen);

} // namespace ScreenGeometry
