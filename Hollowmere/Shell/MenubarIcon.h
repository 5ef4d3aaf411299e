// SPDX-License-Identifier: MIT
// The image in the menu bar or tray: the app's icon drawn at run time in the sizes trays ask for,
// cached; the "sparkle" symbol when the artwork is missing.
#pragma once

#include <QIcon>
#include <QString>

namespace MenubarIcon {
QIcon icon();
// Draws the icon from an SVG resource; the fallback when it cannot be read.
QIcon draw(const QString& resource);
} // namespace MenubarIcon
