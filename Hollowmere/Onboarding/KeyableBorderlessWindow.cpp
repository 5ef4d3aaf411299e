// SPDX-License-Identifier: MIT
#include "KeyableBorderlessWindow.h"

#include "Platform/AppActivation.h"

#include <QGuiApplication>
#include <QScreen>

KeyableBorderlessWindow::KeyableBorderlessWindow(const QSize& size, QWindow* parent)
    : QQuickView(parent) {
    setFlags(Qt::Window | Qt::FramelessWindowHint);
    setResizeMode(QQuickView::SizeRootObjectToView);
    setMinimumSize(size);
    setMaximumSize(size);
    resize(size);
}

void KeyableBorderlessWindow::present() {
    if (const QScreen* screen = QGuiApplication::primaryScreen()) {
        const QRect area = screen->availableGeometry();
        setPosition(area.center() - QPoint(width() / 2, height() / 2));
    }
    AppActivation::activate();
    const bool wasShown = isVisible();
    show();
    if (wasShown)
        raise(); // behind other windows, perhaps
    requestActivate();
}
