// SPDX-License-Identifier: MIT
#pragma once

#include "Platform/PanelWindow.h"

#include <QQuickView>
#include <QRegion>
#include <QTimer>

class NotchLayout;
class NotchSurface;
class QQmlEngine;
class QScreen;

// The transparent, borderless window a notch is drawn in. It is sized once to the upper
// centre of its screen and never resized; the visible shape is drawn inside it, and the window
// takes the pointer only over that shape. Where nothing composites, the window itself is cut
// to the shape, frame by frame.
//
// Keyboard: the panel never takes focus by itself. While keyable (expanded) a click makes it
// key; when it stops being keyable, the focus goes back to whoever had it before the click.
class NotchPanel : public QQuickView {
    Q_OBJECT
public:
    NotchPanel(QQmlEngine* engine, NotchSurface* surface, QScreen* screen, const QRect& frame);
    ~NotchPanel() override;

    // Show without activating the application or taking the keyboard.
    void orderFrontRegardless();
    // Whether a click may make the panel key (while expanded). Turning it off resigns.
    void setKeyable(bool keyable);
    bool isKeyable() const { return m_keyable; }
    // Whether the panel holds the keyboard because the user clicked it.
    bool isKey() const { return m_key; }
    // Where the panel takes pointer input, and what of it shows while cut to its shape (empty
    // while it is not), in native pixels of the window.
    QRegion inputRegion() const { return m_input; }
    QRegion visibleRegion() const { return m_visible; }
    // The view-side layout, once the content has loaded.
    NotchLayout* layout() const;

    // The engine notch panels use unless their surface is given another; it knows NotchKit's
    // QML module. Owners create their content components with it.
    static QQmlEngine* sharedEngine();

protected:
    void mousePressEvent(QMouseEvent* event) override;

private:
    void scheduleShapeUpdate();
    void updateShape();
    void becomeKey();
    void resignKey();

    NotchSurface* m_surface;
    bool m_keyable = false;
    bool m_key = false;
    PanelWindow::FocusOwner m_previousFocus = 0;
    QRegion m_input;
    QRegion m_visible;
    bool m_cutToShape = false;
    bool m_shapeApplied = false;
    QTimer m_shapeUpdate;
};
