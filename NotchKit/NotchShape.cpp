// SPDX-License-Identifier: MIT
#include "NotchShape.h"

namespace NotchShape {

QPainterPath path(const QRectF& r, double t, double b) {
    QPainterPath p;
    p.moveTo(r.left(), r.top());
    p.quadTo(r.left() + t, r.top(), r.left() + t, r.top() + t);
    p.lineTo(r.left() + t, r.bottom() - b);
    p.quadTo(r.left() + t, r.bottom(), r.left() + t + b, r.bottom());
    p.lineTo(r.right() - t - b, r.bottom());
    p.quadTo(r.right() - t, r.bottom(), r.right() - t, r.bottom() - b);
    p.lineTo(r.right() - t, r.top() + t);
    p.quadTo(r.right() - t, r.top(), r.right(), r.top());
    p.closeSubpath();
    return p;
}

QString svgPath(const QRectF& rect, double t, double b) {
    const QPainterPath p = path(rect, t, b);
    QString out;
    out.reserve(256);
    auto num = [](double v) { return QString::number(v, 'f', 3); };
    for (int i = 0; i < p.elementCount(); ++i) {
        const QPainterPath::Element e = p.elementAt(i);
        if (e.isMoveTo()) {
            out += QStringLiteral("M ") + num(e.x) + u' ' + num(e.y) + u' ';
        } else if (e.isLineTo()) {
            out += QStringLiteral("L ") + num(e.x) + u' ' + num(e.y) + u' ';
        } else if (e.isCurveTo()) {
            // QPainterPath stores quadratics as cubics: control, control, end.
            const QPainterPath::Element c2 = p.elementAt(i + 1), end = p.elementAt(i + 2);
            out += QStringLiteral("C ") + num(e.x) + u' ' + num(e.y) + u' ' + num(c2.x) + u' ' +
                   num(c2.y) + u' ' + num(end.x) + u' ' + num(end.y) + u' ';
            i += 2;
        }
    }
    return out + u'Z';
}

} // namespace NotchShape
