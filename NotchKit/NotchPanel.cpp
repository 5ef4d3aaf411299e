// SPDX-License-Identifier: MIT
#include "NotchPanel.h"

#include "NotchLayout.h"
#include "NotchSurface.h"

#include <QCoreApplication>
#include <QMouseEvent>
#include <QPointer>
#include <QQmlEngine>
#include <QQuickItem>
#include <QTransform>

#include <QtQml/qqmlextensionplugin.h>
#include <utility>

// NotchKit is a static library: its QML plugin has to be pulled in by name.
Q_IMPORT_QML_PLUGIN(NotchKitPlugin)

namespace {

QPointer<QQmlEngine> shared;

// The pixels a path covers, in native pixels of a window with the given scale.
QRegion nativeRegion(const QPainterPath& path, qreal dpr) {
    if (path.isEmpty())
        return {};
    const QPolygonF polygon = QTransform::fromScale(dpr, dpr).map(path).toFillPolygon();
    return QRegion(polygon.toPolygon(), Qt::WindingFill);
}

} // namespace

QQmlEngine* NotchPanel::sharedEngine() {
    if (!shared) {
        shared = new QQmlEngine;
        shared->addImportPath(QStringLiteral("qrc:/qt/qml"));
        // Before the application object goes, while the GUI can still release windows.
        qAddPostRoutine([] { delete shared.data(); });
    }
    return shared;
}

NotchPanel::NotchPanel(QQmlEngine* engine, NotchSurface* surface, QScreen* screen,
                       const QRect& frame)
    : QQuickView(engine, nullptr), m_surface(surface) {
    setScreen(screen);
    // Sized before the content loads (the root item too, below), so nothing is first laid out
    // in an empty window and then animated into place.
    setGeometry(frame);
    QSurfaceFormat format = requestedFormat();
    format.setAlphaBufferSize(8);
    setFormat(format);
    setColor(Qt::transparent);
    setResizeMode(QQuickView::SizeRootObjectToView);
    setTitle(QStringLiteral("Hollowmere notch"));
    PanelWindow::prepare(this);
    setInitialProperties({{QStringLiteral("surface"), QVariant::fromValue(surface)},
                          {QStringLiteral("width"), frame.width()},
                          {QStringLiteral("height"), frame.height()}});
    setSource(QUrl(QStringLiteral("qrc:/qt/qml/NotchKit/NotchContentView.qml")));
    if (status() == QQuickView::Error) {
        for (const QQmlError& error : errors())
            qWarning("Hollowmere: notch view: %s", qPrintable(error.toString()));
    }
    // Every change of a frame lands in one update, after the frame's animations advanced.
    m_shapeUpdate.setSingleShot(true);
    m_shapeUpdate.setInterval(0);
    connect(&m_shapeUpdate, &QTimer::timeout, this, &NotchPanel::updateShape);
    if (NotchLayout* l = layout()) {
        connect(l, &NotchLayout::layoutChanged, this, &NotchPanel::scheduleShapeUpdate);
        connect(l, &NotchLayout::drawnShapeChanged, this, &NotchPanel::scheduleShapeUpdate);
    }
    connect(surface, &NotchSurface::translucentChanged, this, &NotchPanel::scheduleShapeUpdate);
    // Focus taken away by the user (a click elsewhere) is theirs to keep.
    connect(this, &QWindow::activeChanged, this, [this] {
        if (!isActive() && m_key) {
            m_key = false;
            m_previousFocus = 0;
            PanelWindow::resignKey(this, 0);
        }
    });
    updateShape();
}

NotchPanel::~NotchPanel() {
    resignKey();
}

NotchLayout* NotchPanel::layout() const {
    return rootObject() ? rootObject()->findChild<NotchLayout*>() : nullptr;
}

void NotchPanel::orderFrontRegardless() {
    // The shape goes first: a window mapped uncut would flash as an opaque rectangle where
    // nothing composites.
    updateShape();
    show();
    raise();
    PanelWindow::didShow(this);
}

void NotchPanel::setKeyable(bool keyable) {
    if (m_keyable == keyable)
        return;
    m_keyable = keyable;
    if (!keyable)
        resignKey();
}

void NotchPanel::mousePressEvent(QMouseEvent* event) {
    if (m_keyable && !m_key && m_input.contains(event->position().toPoint() * devicePixelRatio()))
        becomeKey();
    QQuickView::mousePressEvent(event);
}

void NotchPanel::becomeKey() {
    m_previousFocus = PanelWindow::focusOwner();
    m_key = true;
    PanelWindow::makeKey(this);
}

void NotchPanel::resignKey() {
    if (!m_key)
        return;
    m_key = false;
    PanelWindow::resignKey(this, std::exchange(m_previousFocus, 0));
}

void NotchPanel::scheduleShapeUpdate() {
    m_shapeUpdate.start();
}

void NotchPanel::updateShape() {
    m_shapeUpdate.stop();
    NotchLayout* l = layout();
    if (!l)
        return;
    const QRegion drawn = nativeRegion(l->drawnOutline(), devicePixelRatio());
    // Hidden (or a floating card out of sight) takes no clicks, though its last frames fade.
    const QRegion input = l->hitRect().isEmpty() ? QRegion() : drawn;
    const bool cut = !m_surface->isTranslucent();
    const QRegion visible = cut ? drawn : QRegion();
    const bool first = !m_shapeApplied;
    m_shapeApplied = true;
    if (first || input != m_input)
        PanelWindow::setInputRegion(this, input);
    if (first || cut != m_cutToShape || visible != m_visible)
        PanelWindow::setVisibleRegion(this, visible, !cut);
    m_input = input;
    m_visible = visible;
    m_cutToShape = cut;
}
