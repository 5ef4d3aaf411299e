// SPDX-License-Identifier: MIT
#pragma once

#include <QMetaType>
#include <QObject>
#include <QtQml/qqmlregistration.h>

// How a notch is drawn: grown out of the camera housing, floating under the menu bar, or
// whichever fits the screen it lands on.
class NotchStyle {
    Q_GADGET
    QML_VALUE_TYPE(notchStyle)
    Q_PROPERTY(bool isNotch READ isNotch CONSTANT)
    Q_PROPERTY(bool isFloating READ isFloating CONSTANT)
    Q_PROPERTY(bool isAuto READ isAuto CONSTANT)
    Q_PROPERTY(double topCornerRadius READ topCornerRadius CONSTANT)
    Q_PROPERTY(double bottomCornerRadius READ bottomCornerRadius CONSTANT)
    Q_PROPERTY(double cornerRadius READ cornerRadius CONSTANT)
public:
    enum class Kind { notch, floating, automatic };

    NotchStyle() = default;
    static NotchStyle makeNotch(double topCornerRadius, double bottomCornerRadius);
    static NotchStyle makeFloating(double cornerRadius);
    static NotchStyle notch() { return makeNotch(15, 20); }
    static NotchStyle floating() { return makeFloating(20); }
    static NotchStyle automatic() { return NotchStyle(Kind::automatic, 0, 0); }

    Kind kind() const { return m_kind; }
    bool isNotch() const { return m_kind == Kind::notch; }
    bool isFloating() const { return m_kind == Kind::floating; }
    bool isAuto() const { return m_kind == Kind::automatic; }
    // Meaningful for the notch case only (0 otherwise).
    double topCornerRadius() const { return m_kind == Kind::notch ? m_a : 0; }
    double bottomCornerRadius() const { return m_kind == Kind::notch ? m_b : 0; }
    // Meaningful for the floating case only (0 otherwise).
    double cornerRadius() const { return m_kind == Kind::floating ? m_a : 0; }

    // The style actually drawn on a screen: `automatic` becomes the default notch when the
    // screen has a notch and the default floating style when it has none.
    NotchStyle resolved(bool screenHasNotch) const;

    bool operator==(const NotchStyle& other) const = default;

private:
    NotchStyle(Kind kind, double a, double b) : m_kind(kind), m_a(a), m_b(b) {}
    Kind m_kind = Kind::automatic;
    double m_a = 0;
    double m_b = 0;
};

Q_DECLARE_METATYPE(NotchStyle)
