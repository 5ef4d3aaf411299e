// SPDX-License-Identifier: MIT
#pragma once

#include <QQuickView>

class NotchLayout;
class NotchSurface;
class QQmlEngine;
class QScreen;

// The transparent, borderless window a notch is drawn in. It is sized once to the upper
// centre of its screen and never resized; the visible shape is drawn inside it.
class NotchPanel : public QQuickView {
    Q_OBJECT
public:
    NotchPanel(QQmlEngine* engine, NotchSurface* surface, QScreen* screen);

    // Show without activating the application.
    void orderFrontRegardless();
    // Whether the panel may take keyboard focus (while expanded).
    void setKeyable(bool keyable);
    bool isKeyable() const { return m_keyable; }
    // The part of the panel that takes pointer input (window coordinates).
    QRect hitRect() const { return m_hitRect; }
    // The view-side layout, once the content has loaded.
    NotchLayout* layout() const;

    // The engine notch panels use unless their surface is given another; it knows NotchKit's
    // QML module. Owners create their content components with it.
    static QQmlEngine* sharedEngine();

private:
    void updateHitRect();

    bool m_keyable = false;
    QRect m_hitRect;
};
