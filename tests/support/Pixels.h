// SPDX-License-Identifier: MIT
// Looking at rendered views: colours compared with a tolerance, pixels of a colour counted.
#pragma once

#include <QColor>
#include <QImage>
#include <QRect>

inline bool near(QColor a, QColor b, int tolerance = 40) {
    return qAbs(a.red() - b.red()) <= tolerance && qAbs(a.green() - b.green()) <= tolerance &&
           qAbs(a.blue() - b.blue()) <= tolerance;
}

// Counts the pixels of an area close to a colour.
inline int pixelsNear(const QImage& image, const QRect& area, QColor color, int tolerance = 40) {
    int n = 0;
    const QRect inside = area & image.rect();
    for (int y = inside.top(); y <= inside.bottom(); ++y)
        for (int x = inside.left(); x <= inside.right(); ++x)
            n += near(image.pixelColor(x, y), color, tolerance) ? 1 : 0;
    return n;
}
