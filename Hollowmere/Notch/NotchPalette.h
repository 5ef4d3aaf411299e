// SPDX-License-Identifier: MIT
#pragma once

#include <QColor>

// The shared colours of the notch interface.
namespace NotchPalette {
inline QColor accent() {
    return QColor::fromRgbF(0.98f, 0.55f, 0.30f, 1.0f);
}
inline QColor cardFill() {
    return QColor::fromRgbF(0, 0, 0, 0.55f);
}
inline QColor cardStroke() {
    return QColor::fromRgbF(1, 1, 1, 0.07f);
}
inline QColor codeStroke() {
    return QColor::fromRgbF(1, 1, 1, 0.06f);
}
inline QColor mutedText() {
    return QColor::fromRgbF(1, 1, 1, 0.55f);
}
// The system's red, for warnings.
inline QColor red() {
    return QColor::fromRgbF(1.0f, 0.231f, 0.188f, 1.0f);
}
} // namespace NotchPalette
