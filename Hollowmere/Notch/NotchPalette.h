// SPDX-License-Identifier: MIT
#pragma once

#include <QColor>

// The shared colours of the notch interface. Views reach them through the QML singleton of the
// same name (UIPrimitives.h).
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
// Darker than the card, so code reads as set into it.
inline QColor codeFill() {
    return QColor::fromRgbF(0, 0, 0, 0.35f);
}
inline QColor codeStroke() {
    return QColor::fromRgbF(1, 1, 1, 0.06f);
}
inline QColor mutedText() {
    return QColor::fromRgbF(1, 1, 1, 0.55f);
}
inline QColor dimText() {
    return QColor::fromRgbF(1, 1, 1, 0.35f);
}
inline QColor chipFill() {
    return QColor::fromRgbF(1, 1, 1, 0.08f);
}
// The system's named colours.
inline QColor red() {
    return QColor::fromRgbF(1.0f, 0.231f, 0.188f, 1.0f);
}
inline QColor green() {
    return QColor::fromRgbF(0.196f, 0.843f, 0.294f, 1.0f);
}
inline QColor orange() {
    return QColor::fromRgbF(1.0f, 0.624f, 0.039f, 1.0f);
}
// `color` with its opacity replaced, as "accent at 0.15" reads.
inline QColor opacity(QColor color, float alpha) {
    color.setAlphaF(alpha);
    return color;
}
} // namespace NotchPalette
