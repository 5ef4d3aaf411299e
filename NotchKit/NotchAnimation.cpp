// SPDX-License-Identifier: MIT
#include "NotchAnimation.h"

#include <QPointF>

#include <algorithm>
#include <cmath>
#include <numbers>

namespace {

constexpr double settleTolerance = 0.001;
// Qt 6.4's BezierSpline easing holds at most ten segments (more overrun its buffers).
constexpr int springSegments = 10;
// Segment ends crowd towards the start, where a spring bends most.
constexpr double segmentSpacing = 1.4;

// Cubic-bezier control points of the standard timing curves.
struct Bezier {
    double x1, y1, x2, y2;
};

Bezier timingBezier(NotchAnimation::Kind kind) {
    switch (kind) {
    case NotchAnimation::Kind::easeIn:
        return {0.42, 0, 1, 1};
    case NotchAnimation::Kind::easeOut:
        return {0, 0, 0.58, 1};
    case NotchAnimation::Kind::easeInOut:
        return {0.42, 0, 0.58, 1};
    default:
        return {1.0 / 3, 1.0 / 3, 2.0 / 3, 2.0 / 3};
    }
}

} // namespace

NotchAnimation::NotchAnimation() {
    buildCurve();
}

NotchAnimation NotchAnimation::spring(double response, double dampingFraction,
                                      double blendDuration) {
    NotchAnimation a;
    a.m_kind = Kind::spring;
    a.m_response = std::max(response, 0.01);
    a.m_damping = std::max(dampingFraction, 0.0);
    a.m_blend = blendDuration;
    a.buildCurve();
    return a;
}

NotchAnimation NotchAnimation::timing(Kind curve, double duration) {
    NotchAnimation a;
    a.m_kind = curve == Kind::spring ? Kind::linear : curve;
    a.m_response = std::max(duration, 0.0);
    a.m_damping = 0;
    a.buildCurve();
    return a;
}

// A unit-mass spring pulled from 0 towards 1 at rest: stiffness (2π / response)², damping
// fraction ζ. The displacement from the target is the classic closed form of each regime.
double NotchAnimation::valueAt(double t) const {
    if (t <= 0)
        return 0;
    if (m_kind != Kind::spring) {
        if (t >= m_response || m_response <= 0)
            return 1;
        return easingCurve().valueForProgress(t / m_response);
    }
    const double w0 = 2 * std::numbers::pi / m_response;
    const double z = m_damping;
    double x;
    if (z < 1) {
        const double wd = w0 * std::sqrt(1 - z * z);
        x = std::exp(-z * w0 * t) * (std::cos(wd * t) + (z * w0 / wd) * std::sin(wd * t));
    } else if (z == 1) {
        x = std::exp(-w0 * t) * (1 + w0 * t);
    } else {
        const double s = w0 * std::sqrt(z * z - 1);
        const double r1 = -z * w0 + s, r2 = -z * w0 - s;
        x = (r2 * std::exp(r1 * t) - r1 * std::exp(r2 * t)) / (r2 - r1);
    }
    return 1 - x;
}

double NotchAnimation::slopeAt(double t) const {
    const double h = 1e-5;
    return (valueAt(t + h) - valueAt(std::max(t - h, 0.0))) / (t + h - std::max(t - h, 0.0));
}

int NotchAnimation::durationMs() const {
    return int(std::lround(m_duration * 1000));
}

QEasingCurve NotchAnimation::easingCurve() const {
    QEasingCurve curve(QEasingCurve::BezierSpline);
    for (qsizetype i = 0; i + 5 < m_bezier.size(); i += 6) {
        curve.addCubicBezierSegment(
            QPointF(m_bezier[i].toDouble(), m_bezier[i + 1].toDouble()),
            QPointF(m_bezier[i + 2].toDouble(), m_bezier[i + 3].toDouble()),
            QPointF(m_bezier[i + 4].toDouble(), m_bezier[i + 5].toDouble()));
    }
    return curve;
}

void NotchAnimation::buildCurve() {
    m_bezier.clear();
    if (m_kind != Kind::spring) {
        m_duration = m_response;
        const Bezier b = timingBezier(m_kind);
        m_bezier = {b.x1, b.y1, b.x2, b.y2, 1.0, 1.0};
        return;
    }
    // Settle time: the last moment the value is further than the tolerance from 1.
    double settled = 0;
    for (double t = 0; t < 20 * m_response; t += 0.001) {
        if (std::abs(1 - valueAt(t)) > settleTolerance)
            settled = t + 0.001;
    }
    m_duration = std::max(settled, 0.01);
    // Hermite segments through the samples, written as cubic beziers over progress.
    auto at = [](int i) { return std::pow(double(i) / springSegments, segmentSpacing); };
    for (int i = 0; i < springSegments; ++i) {
        const double p0 = at(i), p1 = at(i + 1), h = p1 - p0;
        const double t0 = p0 * m_duration, t1 = p1 * m_duration;
        const double y0 = valueAt(t0);
        const double y1 = i + 1 == springSegments ? 1.0 : valueAt(t1);
        const double d0 = slopeAt(t0) * m_duration, d1 = slopeAt(t1) * m_duration;
        m_bezier << p0 + h / 3 << y0 + d0 * h / 3 << p1 - h / 3 << y1 - d1 * h / 3 << p1 << y1;
    }
}
