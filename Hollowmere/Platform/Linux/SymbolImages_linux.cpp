// SPDX-License-Identifier: MIT
// Symbols drawn from the SVGs bundled under symbols/ (Adwaita's symbolic icons and our own),
// recoloured as one-colour glyphs.
#include "Platform/SymbolImages.h"

#include <QPainter>
#include <QSvgRenderer>

#include <map>

namespace {

struct Drawing {
    const char* file;
    // Adwaita draws batteries upright; the system's battery symbols lie on their side.
    bool quarterTurn = false;
};

const std::map<QString, Drawing>& drawings() {
    static const std::map<QString, Drawing> map{
        {QStringLiteral("speaker.wave.2.fill"), {"audio-volume-high-symbolic.svg"}},
        {QStringLiteral("sun.max.fill"), {"display-brightness-symbolic.svg"}},
        {QStringLiteral("battery.100"), {"battery-level-100-symbolic.svg", true}},
        {QStringLiteral("battery.25"), {"battery-level-20-symbolic.svg", true}},
        {QStringLiteral("bolt.fill"), {"bolt-symbolic.svg"}},
        {QStringLiteral("sparkle"), {"sparkle-symbolic.svg"}},
        {QStringLiteral("exclamationmark"), {"exclamationmark-symbolic.svg"}},
        {QStringLiteral("checkmark"), {"object-select-symbolic.svg"}},
        {QStringLiteral("checkmark.circle.fill"), {"checkmark-circle-fill-symbolic.svg"}},
        {QStringLiteral("pause.fill"), {"media-playback-pause-symbolic.svg"}},
        {QStringLiteral("ellipsis"), {"view-more-horizontal-symbolic.svg"}},
        {QStringLiteral("bell.badge.fill"), {"preferences-system-notifications-symbolic.svg"}},
        {QStringLiteral("terminal.fill"), {"utilities-terminal-symbolic.svg"}},
        {QStringLiteral("rectangle.dashed"), {"rectangle-dashed-symbolic.svg"}},
        {QStringLiteral("chevron.left.forwardslash.chevron.right"), {"code-symbolic.svg"}},
        {QStringLiteral("arrow.up.right"), {"arrow-up-right-symbolic.svg"}},
        {QStringLiteral("chevron.up"), {"chevron-up-symbolic.svg"}},
        {QStringLiteral("terminal"), {"utilities-terminal-symbolic.svg"}},
        {QStringLiteral("chevron.left"), {"go-previous-symbolic.svg"}},
        {QStringLiteral("arrow.counterclockwise"), {"view-refresh-symbolic.svg"}},
        {QStringLiteral("arrow.down.circle.fill"), {"folder-download-symbolic.svg"}},
        {QStringLiteral("arrow.uturn.backward"), {"edit-undo-symbolic.svg"}},
        {QStringLiteral("checkmark.seal.fill"), {"emblem-ok-symbolic.svg"}},
        {QStringLiteral("checkmark.shield.fill"), {"security-high-symbolic.svg"}},
        {QStringLiteral("hand.point.up.left.fill"),
         {"preferences-desktop-accessibility-symbolic.svg"}},
        {QStringLiteral("hand.raised.fill"), {"emoji-people-symbolic.svg"}},
        {QStringLiteral("info.circle"), {"help-about-symbolic.svg"}},
        {QStringLiteral("lock.shield"), {"channel-secure-symbolic.svg"}},
        {QStringLiteral("party.popper.fill"), {"starred-symbolic.svg"}},
        {QStringLiteral("power"), {"system-shutdown-symbolic.svg"}},
        {QStringLiteral("questionmark.bubble.fill"), {"dialog-question-symbolic.svg"}},
        {QStringLiteral("slider.horizontal.3"), {"preferences-system-symbolic.svg"}},
        {QStringLiteral("xmark"), {"window-close-symbolic.svg"}},
    };
    return map;
}

} // namespace

namespace SymbolImages {

QImage render(const QString& name, const QSize& pixelSize, const QColor& color) {
    const auto it = drawings().find(name);
    if (it == drawings().end() || pixelSize.isEmpty())
        return {};
    QSvgRenderer svg(QStringLiteral(":/symbols/") + QLatin1String(it->second.file));
    if (!svg.isValid())
        return {};
    QImage image(pixelSize, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    const qreal side = qMin(pixelSize.width(), pixelSize.height());
    const QRectF square((pixelSize.width() - side) / 2, (pixelSize.height() - side) / 2, side,
                        side);
    if (it->second.quarterTurn) {
        painter.translate(square.center());
        painter.rotate(90);
        painter.translate(-square.center());
    }
    svg.render(&painter, square);
    painter.resetTransform();
    painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
    painter.fillRect(image.rect(), color);
    return image;
}

} // namespace SymbolImages
