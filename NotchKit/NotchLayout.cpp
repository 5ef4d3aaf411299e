// SPDX-License-Identifier: MIT
#include "NotchLayout.h"

#include "NotchShape.h"
#include "NotchSurface.h"

#include <algorithm>

NotchLayout::NotchLayout(QObject* parent)
    : QObject(parent), m_bodyAnimation(NotchAnimation::spring(0.5, 1.0)),
      m_hoverAnimation(NotchAnimation::spring(0.4, 0.85)) {}

void NotchLayout::setSurface(NotchSurface* surface) {
    if (m_surface == surface)
        return;
    if (m_surface)
        disconnect(m_surface, nullptr, this, nullptr);
    m_surface = surface;
    if (surface) {
        for (auto signal :
             {&NotchSurface::stateChanged, &NotchSurface::isHoveringChanged,
              &NotchSurface::notchSizeChanged, &NotchSurface::menubarHeightChanged,
              &NotchSurface::effectiveStyleChanged, &NotchSurface::translucentChanged})
            connect(surface, signal, this, &NotchLayout::layoutChanged);
        // A side that is switched off gives its measured width back, re-centring the body.
        connect(surface, &NotchSurface::disableCompactLeadingChanged, this, [this] {
            if (m_surface->disableCompactLeading())
                m_compactLeadingWidth = 0;
            emit layoutChanged();
        });
        connect(surface, &NotchSurface::disableCompactTrailingChanged, this, [this] {
            if (m_surface->disableCompactTrailing())
                m_compactTrailingWidth = 0;
            emit layoutChanged();
        });
    }
    emit layoutChanged();
}

void NotchLayout::setPanelWidth(double width) {
    if (m_panelWidth == width)
        return;
    m_panelWidth = width;
    emit layoutChanged();
}

void NotchLayout::setCompactLeadingWidth(double width) {
    if (m_surface && m_surface->disableCompactLeading())
        width = 0;
    if (m_compactLeadingWidth == width)
        return;
    m_compactLeadingWidth = width;
    emit layoutChanged();
}

void NotchLayout::setCompactTrailingWidth(double width) {
    if (m_surface && m_surface->disableCompactTrailing())
        width = 0;
    if (m_compactTrailingWidth == width)
        return;
    m_compactTrailingWidth = width;
    emit layoutChanged();
}

void NotchLayout::setCompactContentHeight(double height) {
    if (m_compactContentHeight == height)
        return;
    m_compactContentHeight = height;
    emit layoutChanged();
}

void NotchLayout::setExpandedContentSize(const QSizeF& size) {
    if (m_expandedContentSize == size)
        return;
    m_expandedContentSize = size;
    emit layoutChanged();
}

bool NotchLayout::configuredAsNotch() const {
    return m_surface && m_surface->style().isNotch();
}

bool NotchLayout::usesNotchView() const {
    return m_surface && m_surface->effectiveStyle().isNotch();
}

double NotchLayout::notchWidth() const {
    return m_surface ? m_surface->notchSize().width() : 0;
}

double NotchLayout::notchHeight() const {
    return m_surface ? m_surface->notchSize().height() : 0;
}

double NotchLayout::minWidth() const {
    if (!showsExpanded())
        return notchWidth() + 12;
    if (!configuredAsNotch())
        return notchWidth() + 30;
    return notchWidth() + 2 * m_surface->style().topCornerRadius();
}

double NotchLayout::topCornerRadius() const {
    if (!showsExpanded())
        return 6;
    return configuredAsNotch() ? m_surface->style().topCornerRadius() : 15;
}

double NotchLayout::bottomCornerRadius() const {
    if (!showsExpanded())
        return 14;
    return configuredAsNotch() ? m_surface->style().bottomCornerRadius() : 20;
}

// Keeps the body centred on the housing when the two compact sides differ in width.
double NotchLayout::xOffset() const {
    if (!showsCompact())
        return 0;
    return (m_compactTrailingWidth - m_compactLeadingWidth) * 0.5;
}

double NotchLayout::horizontalPadding() const {
    if (!showsExpanded())
        return 6;
    return configuredAsNotch() ? m_surface->style().topCornerRadius() : 15;
}

// Exactly the menu bar's height; a hovered row may grow to what its content asks for.
double NotchLayout::compactRowHeight() const {
    const double bar = m_surface ? m_surface->menubarHeight() : 0;
    if (m_surface && m_surface->isHovering())
        return std::max(bar, m_compactContentHeight);
    return bar;
}

bool NotchLayout::showsCompact() const {
    return m_surface && m_surface->isCompact();
}

bool NotchLayout::showsLeading() const {
    return showsCompact() && !m_surface->disableCompactLeading();
}

bool NotchLayout::showsTrailing() const {
    return showsCompact() && !m_surface->disableCompactTrailing();
}

bool NotchLayout::showsExpanded() const {
    return m_surface && m_surface->isExpanded();
}

QRectF NotchLayout::bodyRect() const {
    double width = minWidth(), height = notchHeight();
    if (showsCompact()) {
        const double row = m_compactLeadingWidth + notchWidth() + m_compactTrailingWidth;
        width = std::max(width, row + 2 * horizontalPadding());
        height = compactRowHeight();
    } else if (showsExpanded()) {
        width = std::max(width, m_expandedContentSize.width() + 2 * horizontalPadding());
        height = notchHeight() + m_expandedContentSize.height();
    }
    // Hidden: pinned to the housing, so it shrinks back into it.
    return QRectF((m_panelWidth - width) / 2 + xOffset(), 0, width, height);
}

double NotchLayout::shadowOpacity() const {
    // Without a compositor a shadow would be drawn as an opaque dark band.
    if (!m_surface || m_surface->isHidden() || !m_surface->isTranslucent())
        return 0;
    if (m_surface->isHovering() &&
        m_surface->hoverBehavior().testFlag(NotchHoverOption::increaseShadow))
        return 0.8;
    return m_surface->isExpanded() ? 0.5 : 0;
}

double NotchLayout::shadowRadius() const {
    if (!m_surface || m_surface->isHidden())
        return 0;
    if (m_surface->isHovering() &&
        m_surface->hoverBehavior().testFlag(NotchHoverOption::increaseShadow))
        return 20;
    return 10;
}

double NotchLayout::floatingCornerRadius() const {
    if (m_surface && m_surface->style().isFloating())
        return m_surface->style().cornerRadius();
    return 20;
}

double NotchLayout::windowHeight() const {
    return m_expandedContentSize.height() + 2 * floatingPadding();
}

// Expanded it hangs just below the menu bar (or housing); otherwise it waits entirely above
// the top edge, so compact and hidden look the same.
QRectF NotchLayout::floatingRect() const {
    const double width = m_expandedContentSize.width() + 2 * floatingPadding();
    const double y = showsExpanded() ? notchHeight() : -windowHeight();
    return QRectF((m_panelWidth - width) / 2, y, width, windowHeight());
}

QColor NotchLayout::hairlineColor() const {
    return QColor(255, 255, 255, 26);
}

// The dark HUD material: near-black, slightly translucent.
QColor NotchLayout::floatingMaterialColor() const {
    return QColor(22, 22, 24, 242);
}

QRectF NotchLayout::hitRect() const {
    if (!m_surface || m_surface->isHidden())
        return {};
    if (!usesNotchView())
        return showsExpanded() ? floatingRect() : QRectF();
    return bodyRect();
}

void NotchLayout::setDrawnRect(const QRectF& rect) {
    if (m_drawnRect == rect)
        return;
    m_drawnRect = rect;
    emit drawnShapeChanged();
}

void NotchLayout::setDrawnTopRadius(double radius) {
    if (m_drawnTopRadius == radius)
        return;
    m_drawnTopRadius = radius;
    emit drawnShapeChanged();
}

void NotchLayout::setDrawnBottomRadius(double radius) {
    if (m_drawnBottomRadius == radius)
        return;
    m_drawnBottomRadius = radius;
    emit drawnShapeChanged();
}

QPainterPath NotchLayout::drawnOutline() const {
    if (m_drawnRect.isEmpty())
        return {};
    if (usesNotchView())
        return NotchShape::path(m_drawnRect, m_drawnTopRadius, m_drawnBottomRadius);
    QPainterPath card;
    card.addRoundedRect(m_drawnRect, floatingCornerRadius(), floatingCornerRadius());
    return card;
}

QString NotchLayout::outlinePath(double width, double height, double topRadius,
                                 double bottomRadius) const {
    return NotchShape::svgPath(QRectF(0, 0, width, height), topRadius, bottomRadius);
}
