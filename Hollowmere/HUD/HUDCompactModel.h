// SPDX-License-Identifier: MIT
#pragma once

#include "HUD/BrightnessMonitor.h"
#include "HUD/HUDState.h"
#include "HUD/VolumeMonitor.h"

#include <QColor>
#include <QObject>
#include <QPointer>
#include <QtQml/qqml.h>

// Everything the compact HUD views show: the leading symbol and its colour, the trailing bar's
// value and tint, the percentage text, and the sizes of the layout.
class HUDCompactModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(HUDState* hud READ hud WRITE setHud NOTIFY inputsChanged)
    Q_PROPERTY(VolumeMonitor* volume READ volume WRITE setVolume NOTIFY inputsChanged)
    Q_PROPERTY(
        BrightnessMonitor* brightness READ brightness WRITE setBrightness NOTIFY inputsChanged)

    Q_PROPERTY(QString symbolName READ symbolName NOTIFY changed)
    Q_PROPERTY(QString symbolSource READ symbolSource NOTIFY changed)
    Q_PROPERTY(QColor tint READ tint NOTIFY changed)
    Q_PROPERTY(float barValue READ barValue NOTIFY changed)
    Q_PROPERTY(QString label READ label NOTIFY changed)
    Q_PROPERTY(QString accessibleName READ accessibleName NOTIFY changed)
    Q_PROPERTY(int bump READ bump NOTIFY bumpChanged)

    Q_PROPERTY(QColor labelColor READ labelColor CONSTANT)
    Q_PROPERTY(int iconFrame MEMBER iconFrame CONSTANT)
    Q_PROPERTY(int iconGlyph MEMBER iconGlyph CONSTANT)
    Q_PROPERTY(int segmentCount MEMBER segmentCount CONSTANT)
    Q_PROPERTY(qreal barSpacing MEMBER barSpacing CONSTANT)
    Q_PROPERTY(qreal barHeight MEMBER barHeight CONSTANT)
    Q_PROPERTY(qreal barWidth MEMBER barWidth CONSTANT)
    Q_PROPERTY(qreal rowSpacing MEMBER rowSpacing CONSTANT)
    Q_PROPERTY(qreal labelWidth MEMBER labelWidth CONSTANT)
    Q_PROPERTY(int labelPixelSize MEMBER labelPixelSize CONSTANT)
    Q_PROPERTY(int barAnimationMs MEMBER barAnimationMs CONSTANT)
    Q_PROPERTY(qreal labelSpringResponse MEMBER labelSpringResponse CONSTANT)
public:
    static constexpr int iconFrame = 16;
    // The symbol at font size 12 inside its 16-point frame.
    static constexpr int iconGlyph = 13;
    static constexpr int segmentCount = 10;
    static constexpr qreal barSpacing = 2;
    static constexpr qreal barHeight = 8;
    static constexpr qreal barWidth = 62;
    static constexpr qreal rowSpacing = 6;
    static constexpr qreal labelWidth = 30;
    // 10.5-point bold text, in whole pixels.
    static constexpr int labelPixelSize = 11;
    static constexpr int barAnimationMs = 180;
    static constexpr qreal labelSpringResponse = 0.3;

    explicit HUDCompactModel(QObject* parent = nullptr);

    HUDState* hud() const { return m_hud; }
    VolumeMonitor* volume() const { return m_volume; }
    BrightnessMonitor* brightness() const { return m_brightness; }
    void setHud(HUDState* hud);
    void setVolume(VolumeMonitor* volume);
    void setBrightness(BrightnessMonitor* brightness);

    QString symbolName() const;
    QString symbolSource() const;
    QColor tint() const;
    float barValue() const;
    QString label() const;
    QString accessibleName() const;
    int bump() const { return m_hud ? m_hud->bump() : 0; }
    QColor labelColor() const { return Qt::white; }

signals:
    void inputsChanged();
    void changed();
    void bumpChanged();

private:
    HUDKind kind() const { return m_hud ? m_hud->kind() : HUDKind::volume(); }
    float level() const;
    void follow(QObject* source);

    QPointer<HUDState> m_hud;
    QPointer<VolumeMonitor> m_volume;
    QPointer<BrightnessMonitor> m_brightness;
};

// The monitor and state types, known to QML by name as property types; never made there.
struct HUDStateForeign {
    Q_GADGET
    QML_FOREIGN(HUDState)
    QML_NAMED_ELEMENT(HUDState)
    QML_UNCREATABLE("made by the notch controller")
};
struct VolumeMonitorForeign {
    Q_GADGET
    QML_FOREIGN(VolumeMonitor)
    QML_NAMED_ELEMENT(VolumeMonitor)
    QML_UNCREATABLE("made by the notch controller")
};
struct BrightnessMonitorForeign {
    Q_GADGET
    QML_FOREIGN(BrightnessMonitor)
    QML_NAMED_ELEMENT(BrightnessMonitor)
    QML_UNCREATABLE("made by the notch controller")
};
