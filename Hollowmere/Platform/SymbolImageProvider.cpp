// SPDX-License-Identifier: MIT
#include "Platform/SymbolImageProvider.h"

#include "Platform/SymbolImages.h"

#include <QDebug>

namespace {
constexpr int defaultPixels = 32;
}

SymbolImageProvider::SymbolImageProvider() : QQuickImageProvider(QQuickImageProvider::Image) {}

QImage SymbolImageProvider::requestImage(const QString& id, QSize* size,
                                         const QSize& requestedSize) {
    const qsizetype slash = id.indexOf(QLatin1Char('/'));
    const QColor color(QLatin1Char('#') + id.left(slash));
    const QString name = id.mid(slash + 1);
    QSize pixels = requestedSize;
    if (pixels.width() <= 0)
        pixels.setWidth(pixels.height() > 0 ? pixels.height() : defaultPixels);
    if (pixels.height() <= 0)
        pixels.setHeight(pixels.width());
    QImage image = SymbolImages::render(name, pixels, color.isValid() ? color : QColor(Qt::white));
    if (image.isNull()) {
        qWarning().noquote() << "Hollowmere: no drawing for symbol" << name;
        image = QImage(pixels, QImage::Format_ARGB32_Premultiplied);
        image.fill(Qt::transparent);
    }
    if (size)
        *size = image.size();
    return image;
}

QString SymbolImageProvider::source(const QString& name, const QColor& color) {
    return QStringLiteral("image://%1/%2/%3")
        .arg(QLatin1String(providerId), color.name(QColor::HexArgb).mid(1), name);
}
