// SPDX-License-Identifier: MIT
#pragma once

#include <QColor>
#include <QImage>
#include <QSize>
#include <QString>

// System symbols by name ("speaker.wave.2.fill"): the platform's own symbol on macOS, a bundled
// open-licence drawing on Linux.
namespace SymbolImages {
// The symbol drawn in one colour, centred in an image of the given pixel size; a null image for a
// name that has no drawing here.
QImage render(const QString& name, const QSize& pixelSize, const QColor& color);
} // namespace SymbolImages
