// SPDX-License-Identifier: MIT
#pragma once

#include <QQuickImageProvider>

// Serves "image://symbol/<argb hex>/<symbol name>" to the views: the app's own artwork of that
// name (":/assets/NAME.svg", such as "claude-logo") where there is one, else a system symbol.
// Register it on an engine with
// addImageProvider(SymbolImageProvider::providerId, new SymbolImageProvider).
class SymbolImageProvider : public QQuickImageProvider {
public:
    static constexpr const char* providerId = "symbol";
    SymbolImageProvider();

    QImage requestImage(const QString& id, QSize* size, const QSize& requestedSize) override;
    // The image source of a symbol in a colour.
    static QString source(const QString& name, const QColor& color);
};
