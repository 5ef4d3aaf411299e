// SPDX-License-Identifier: MIT
#include "Platform/SymbolImageProvider.h"

#include "Platform/SymbolImages.h"

#include <QDebug>
#include <QFile>
#include <QPainter>
#include <QSvgRenderer>

namespace {
constexpr int defaultPixels = 32;

// The app's own one-colour artwork (":/assets/NAME.svg"), stretched to the image and tinted the
// way a template image takes its colour. A null image when there is no such file.
QImage renderAsset(const QString& name, const QSize& pixelSize, const QColor& color) {
    const QString path = QStringLiteral(":/assets/") + name + QStringLiteral(".svg");
    if (!QFile::exists(path))
        return {};
    QSvgRenderer svg(path);
    if (!svg.isValid())
        return {};
    QImage image(pixelSize, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    svg.render(&painter, QRectF(QPointF(0, 0), QSizeF(pixelSize)));
    painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
    painter.fillRect(image.rect(), color);
    return image;
}
} // namespace

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
    const QColor tint = color.isValid() ? color : QColor(Qt::white);
    QImage image = renderAsset(name, pixels, tint);
    if (image.isNull())
        image = SymbolImages::render(name, pixels, tint);
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
