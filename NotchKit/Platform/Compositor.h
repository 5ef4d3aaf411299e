// SPDX-License-Identifier: MIT
#pragma once

#include <QObject>

// Whether a compositing manager draws the desktop, so that a window's transparent pixels show
// what lies below. An X11 desktop may run without one (i3, openbox, Xfce with compositing off),
// or start and stop one at any time; there a transparent window is drawn opaque. macOS always
// composites. One per process, on the GUI thread.
class Compositor : public QObject {
    Q_OBJECT
public:
    static Compositor& shared();

    bool isActive() const { return m_active; }

signals:
    void activeChanged();

protected:
    using QObject::QObject;
    void setActive(bool active);

private:
    bool m_active = true;
};
