// SPDX-License-Identifier: MIT
#pragma once

#include "Platform/MediaKeyTap.h"

#include <optional>

// Decoding of the keyboard's auxiliary-key events.
namespace MediaKeys {

enum class Key { volumeUp, volumeDown, brightnessUp, brightnessDown, mute };

inline constexpr int systemDefinedType = 14;
inline constexpr int auxControlButtonsSubtype = 8;
inline constexpr quint32 keyDownState = 0x0A;
inline constexpr quint32 keyUpState = 0x0B;
inline constexpr quint32 autoRepeatFlag = 0x01;

// The auxiliary key codes of the keys the HUD replaces.
inline constexpr quint32 soundUpCode = 0;
inline constexpr quint32 soundDownCode = 1;
inline constexpr quint32 brightnessUpCode = 2;
inline constexpr quint32 brightnessDownCode = 3;
inline constexpr quint32 muteCode = 7;

// The key-down of one of our five keys, or nothing: such an event is swallowed, everything else
// (other events, key-ups, other auxiliary keys) passes on. Auto-repeat is not consulted.
std::optional<Key> decode(const SystemDefinedEvent& event);

// The event the keyboard produces for a key code, state and flags.
constexpr SystemDefinedEvent auxKeyEvent(quint32 code, quint32 state, quint32 flags = 0) {
    return {systemDefinedType, auxControlButtonsSubtype, (code << 16) | (state << 8) | flags};
}

} // namespace MediaKeys
