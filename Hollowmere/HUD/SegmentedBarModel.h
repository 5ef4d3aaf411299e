// SPDX-License-Identifier: MIT
#pragma once

#include <QColor>
#include <QObject>
#include <QtQml/qqmlregistration.h>

// The level bar's rules: how many segments are lit, how wide each is, and their colours.
class SegmentedBarModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(float value READ value WRITE setValue NOTIFY changed)
    Q_PROPERTY(int segmentCount READ segmentCount WRITE setSegmentCount NOTIFY changed)
    Q_PROPERTY(qreal spacing READ spacing WRITE setSpacing NOTIFY changed)
    Q_PROPERTY(qreal availableWidth READ availableWidth WRITE setAvailableWidth NOTIFY changed)
    Q_PROPERTY(QColor tint READ tint WRITE setTint NOTIFY changed)
    Q_PROPERTY(int litCount READ litCount NOTIFY changed)
    Q_PROPERTY(qreal segmentWidth READ segmentWidth NOTIFY changed)
    Q_PROPERTY(QColor unlitColor READ unlitColor CONSTANT)
    Q_PROPERTY(QColor glowColor READ glowColor NOTIFY changed)
    Q_PROPERTY(qreal cornerRadius MEMBER cornerRadius CONSTANT)
    Q_PROPERTY(qreal glowRadius MEMBER glowRadius CONSTANT)
public:
    static constexpr qreal cornerRadius = 2.5;
    static constexpr qreal glowRadius = 2;

    using QObject::QObject;

    float value() const { return m_value; }
    int segmentCount() const { return m_segmentCount; }
    qreal spacing() const { return m_spacing; }
    qreal availableWidth() const { return m_availableWidth; }
    QColor tint() const { return m_tint; }
    void setValue(float value);
    void setSegmentCount(int count);
    void setSpacing(qreal spacing);
    void setAvailableWidth(qreal width);
    void setTint(const QColor& tint);

    int litCount() const;
    qreal segmentWidth() const;
    QColor unlitColor() const { return QColor::fromRgbF(1, 1, 1, 0.1f); }
    // The glow of a lit segment: the tint at half opacity.
    QColor glowColor() const;
    Q_INVOKABLE bool isLit(int index) const { return index < litCount(); }

signals:
    void changed();

private:
    float m_value = 0;
    int m_segmentCount = 10;
    qreal m_spacing = 2;
    qreal m_availableWidth = 0;
    QColor m_tint = Qt::white;
};
