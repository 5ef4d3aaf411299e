// SPDX-License-Identifier: MIT
// One QML scene of the notch's views in a window of its own, rendered and grabbed.
#pragma once

#include "Platform/SymbolImageProvider.h"

#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickWindow>
#include <QTest>

#include <memory>

class QuickScene {
public:
    QuickScene() {
        engine.addImportPath(QStringLiteral("qrc:/qt/qml"));
        engine.addImageProvider(SymbolImageProvider::providerId, new SymbolImageProvider);
    }
    ~QuickScene() { root.reset(); } // the scene goes before its window

    // Creates the scene from QML text; false (with the errors logged) when it does not load.
    bool load(const QByteArray& qml, const QVariantMap& properties = {}) {
        QQmlComponent component(&engine);
        component.setData(qml, QUrl(QStringLiteral("qrc:/tests/scene.qml")));
        if (component.isError()) {
            qWarning() << component.errors();
            return false;
        }
        root.reset(component.createWithInitialProperties(properties));
        item = qobject_cast<QQuickItem*>(root.get());
        if (!item) {
            qWarning() << component.errors();
            return false;
        }
        item->setParentItem(window.contentItem());
        // Room for the scene to grow: an offscreen window resized later keeps drawing at its
        // first size.
        window.resize(qMax(int(item->width()), 640), qMax(int(item->height()), 900));
        window.show();
        return QTest::qWaitForWindowExposed(&window);
    }

    // The scene as drawn after a frame; images load asynchronously, so give them a moment.
    QImage grab(int settleMs = 150) {
        QTest::qWait(settleMs);
        const QImage image = window.grabWindow();
        const qreal dpr = image.devicePixelRatio();
        return image.copy(0, 0, qMax(1, int(item->width() * dpr)),
                          qMax(1, int(item->height() * dpr)));
    }

    template <typename T = QQuickItem> T* find(const QString& objectName) const {
        return item ? item->findChild<T*>(objectName) : nullptr;
    }

    static QRect rectOf(QQuickItem* item) {
        return item->mapRectToScene(QRectF(0, 0, item->width(), item->height())).toRect();
    }

    QQmlEngine engine;
    QQuickWindow window;
    std::unique_ptr<QObject> root;
    QQuickItem* item = nullptr;
};
