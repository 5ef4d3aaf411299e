// SPDX-License-Identifier: MIT
#include "Platform/AppActivation.h"

namespace AppActivation {
// X11 windows raise and take focus themselves (QWindow::requestActivate).
void setRegular(bool) {}
void activate() {}
} // namespace AppActivation
