// SPDX-License-Identifier: MIT
#include "HUD/HUDState.h"

void HUDState::setKind(HUDKind kind) {
    if (kind == m_kind)
        return;
    m_kind = kind;
    emit kindChanged();
}

void HUDState::setActive(bool active) {
    if (active == m_active)
        return;
    m_active = active;
    emit activeChanged();
}

void HUDState::incrementBump() {
    ++m_bump;
    emit bumpChanged();
}
