// SPDX-License-Identifier: MIT
#include "HUD/SegmentedBarModel.h"

#include "HUD/HUDRules.h"

void SegmentedBarModel::setValue(float value) {
    if (value == m_value)
        return;
    m_value = value;
    emit changed();
}

void SegmentedBarModel::setSegmentCount(int count) {
    if (count == m_segmentCount)
        return;
    m_segmentCount = count;
    emit changed();
}

void SegmentedBarModel::setSpacing(qreal spacing) {
    if (spacing == m_spacing)
        return;
    m_spacing = spacing;
    emit changed();
}

void SegmentedBarModel::setAvailableWidth(qreal width) {
    if (width == m_availableWidth)
        return;
    m_availableWidth = width;
    emit changed();
}

void SegmentedBarModel::setTint(const QColor& tint) {
    if (tint == m_tint)
        return;
    m_tint = tint;
    emit changed();
}

int SegmentedBarModel::litCount() const {
    return HUDRules::litSegments(m_value, m_segmentCount);
}

qreal SegmentedBarModel::segmentWidth() const {
    return HUDRules::segmentWidth(m_availableWidth, m_segmentCount, m_spacing);
}

QColor SegmentedBarModel::glowColor() const {
    QColor glow = m_tint;
    glow.setAlphaF(m_tint.alphaF() * 0.5f);
    return glow;
}
