// SPDX-License-Identifier: MIT
#pragma once

#include <QEasingCurve>
#include <QMetaType>
#include <QObject>
#include <QVariantList>
#include <QtQml/qqmlregistration.h>

// An animation curve as the notch describes them: a spring given by response and damping
// fraction, or a fixed-duration timing curve. Views animate with `durationMs` and
// `bezierCurve` (a Qt Quick BezierSpline that follows the curve), so what is drawn is what
// `valueAt` says.
class NotchAnimation {
    Q_GADGET
    QML_VALUE_TYPE(notchAnimation)
    Q_PROPERTY(int durationMs READ durationMs CONSTANT)
    Q_PROPERTY(QVariantList bezierCurve READ bezierCurve CONSTANT)
public:
    enum class Kind { spring, easeIn, easeOut, easeInOut, linear };

    NotchAnimation(); // the default spring: response 0.55, damping 1.0
    static NotchAnimation spring(double response, double dampingFraction, double blendDuration = 0);
    static NotchAnimation timing(Kind curve, double duration);
    static NotchAnimation easeIn(double duration) { return timing(Kind::easeIn, duration); }
    static NotchAnimation easeOut(double duration) { return timing(Kind::easeOut, duration); }

    Kind kind() const { return m_kind; }
    double response() const { return m_response; }
    double dampingFraction() const { return m_damping; }
    double blendDuration() const { return m_blend; }

    // Progress of an animated value from 0 (start) to 1 (target) after `seconds`; a spring
    // with damping below 1 overshoots past 1 before settling.
    double valueAt(double seconds) const;
    // Seconds until the value stays within 0.001 of its target.
    double duration() const { return m_duration; }
    int durationMs() const;
    QVariantList bezierCurve() const { return m_bezier; }
    QEasingCurve easingCurve() const;

    bool operator==(const NotchAnimation& other) const {
        return m_kind == other.m_kind && m_response == other.m_response &&
               m_damping == other.m_damping && m_blend == other.m_blend &&
               m_duration == other.m_duration;
    }

private:
    void buildCurve();
    double slopeAt(double seconds) const; // d(valueAt)/d(seconds)

    Kind m_kind = Kind::spring;
    double m_response = 0.55;
    double m_damping = 1.0;
    double m_blend = 0;
    double m_duration = 0;
    QVariantList m_bezier;
};

Q_DECLARE_METATYPE(NotchAnimation)
