// SPDX-License-Identifier: MIT
#include "MenubarIcon.h"

#include "Platform/SymbolImages.h"

#include <QPainter>
#include <QPixmap>
#include <QSvgRenderer>

namespace MenubarIcon {
namespace {
constexpr int sizes[] = {16, 22, 24, 32, 44, 48, 64};
}

QIcon draw(const QString& resource) {
    QSvgRenderer svg(resource);
    QIcon icon;
    for (const int side : sizes) {
        QImage image;
        if (svg.isValid()) {
            image = QImage(side, side, QImage::Format_ARGB32_Premultiplied);
            image.fill(Qt::transparent);
            QPainter painter(&image);
            painter.setRenderHint(QPainter::Antialiasing);
            svg.render(&painter, QRectF(0, 0, side, side));
        } else {
            image = SymbolImages::render(QStringLiteral("sparkle"), QSize(side, side), Qt::white);
        }
        if (!image.isNull())
            icon.addPixmap(QPixmap::fromImage(image));
    }
    return icon;
}

QIcon icon() {
    static const QIcon cached = draw(QStringLiteral(":/icons/hollowmere.svg"));
    return cached;
}

} // namespace MenubarIcon
