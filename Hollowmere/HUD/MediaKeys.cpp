// SPDX-License-Identifier: MIT
#include "HUD/MediaKeys.h"

namespace MediaKeys {

std::optional<Key> decode(const SystemDefinedEvent& event) {
    if (event.type != systemDefinedType || event.subtype != auxControlButtonsSubtype)
        return std::nullopt;
    const quint32 state = (event.data1 >> 8) & 0xFF;
    if (state != keyDownState)
        return std::nullopt;
    switch ((event.data1 >> 16) & 0xFFFF) {
    case soundUpCode:
        return Key::volumeUp;
    case soundDownCode:
        return Key::volumeDown;
    case brightnessUpCode:
        return Key::brightnessUp;
    case brightnessDownCode:
        return Key::brightnessDown;
    case muteCode:
        return Key::mute;
    default:
        return std::nullopt;
    }
}

} // namespace MediaKeys
