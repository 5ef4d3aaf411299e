// SPDX-License-Identifier: MIT
#pragma once

#include <QPainterPath>
#include <QRectF>
#include <QString>

// The notch outline: straight sides that flare outward into the menu bar at the top
// (radius `top`) and round off at the bottom (radius `bottom`), all quadratic curves.
namespace NotchShape {

QPainterPath path(const QRectF& rect, double topCornerRadius, double bottomCornerRadius);

// The same outline as SVG path data, for Qt Quick Shapes.
QString svgPath(const QRectF& rect, double topCornerRadius, double bottomCornerRadius);

} // namespace NotchShape
