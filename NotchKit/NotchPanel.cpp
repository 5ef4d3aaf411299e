// SPDX-License-Identifier: MIT
#include "NotchPanel.h"

#include "NotchLayout.h"
#include "NotchSurface.h"
#include "Platform/PanelWindow.h"

#include <QCoreApplication>
#include <QPointer>
#include <QQmlEngine>
#include <QQuickItem>
#include <QtQml/qqmlextensionplugin.h>

// NotchKit is a static library: its QML plugin has to be pulled in by name.
Q_IMPORT_QML_PLUGIN(NotchKitPlugin)

namespace {
QPointer<QQmlEngine> shared;
}

QQmlEngine* NotchPanel::sharedEngine() {
    if (!shared) {
        shared = new QQmlEngine;
        shared->addImportPath(QStringLiteral("qrc:/qt/qml"));
        // Before the application object goes, while the GUI can still release windows.
        qAddPostRoutine([] { delete shared.data(); });
    }
    return shared;
}

NotchPanel::NotchPanel(QQmlEngine* engine, NotchSurface* surface, QScreen* screen)
    : QQuickView(engine, nullptr) {
    setScreen(screen);
    QSurfaceFormat format = requestedFormat();
    format.setAlphaBufferSize(8);
    setFormat(format);
    setColor(Qt::transparent);
    setResizeMode(QQuickView::SizeRootObjectToView);
    setTitle(QStringLiteral("Hollowmere notch"));
    PanelWindow::prepare(this);
    setInitialProperties({{QStringLiteral("surface"), QVariant::fromValue(surface)}});
    setSource(QUrl(QStringLiteral("qrc:/qt/qml/NotchKit/NotchContentView.qml")));
    if (status() == QQuickView::Error) {
        for (const QQmlError& error : errors())
            qWarning("Hollowmere: notch view: %s", qPrintable(error.toString()));
    }
    if (NotchLayout* l = layout()) {
        connect(l, &NotchLayout::layoutChanged, this, &NotchPanel::updateHitRect);
        updateHitRect();
    }
}

NotchLayout* NotchPanel::layout() const {
    return rootObject() ? rootObject()->findChild<NotchLayout*>() : nullptr;
}

void NotchPanel::orderFrontRegardless() {
    show();
    raise();
    PanelWindow::didShow(this);
    PanelWindow::setInputRegion(this, m_hitRect);
}

void NotchPanel::setKeyable(bool keyable) {
    if (m_keyable == keyable)
        return;
    m_keyable = keyable;
    PanelWindow::setKeyable(this, keyable);
}

void NotchPanel::updateHitRect() {
    const QRect rect = layout() ? layout()->hitRect().toAlignedRect() : QRect();
    if (rect == m_hitRect)
        return;
    m_hitRect = rect;
    PanelWindow::setInputRegion(this, rect);
}
