// SPDX-License-Identifier: MIT
#include "Compositor.h"

void Compositor::setActive(bool active) {
    if (m_active == active)
        return;
    m_active = active;
    emit activeChanged();
}
