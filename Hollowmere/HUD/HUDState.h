// SPDX-License-Identifier: MIT
#pragma once

#include <QObject>

// What the HUD shows. Battery cases carry the battery percentage; two kinds are equal when case and
// percentage are equal.
class HUDKind {
    Q_GADGET
    Q_PROPERTY(Case kind READ kind CONSTANT)
    Q_PROPERTY(int percentage READ percentage CONSTANT)
public:
    enum class Case { batteryPlugged, batteryUnplugged, batteryLow, volume, brightness };
    Q_ENUM(Case)

    constexpr HUDKind() = default;
    static constexpr HUDKind batteryPlugged(int p) { return {Case::batteryPlugged, p}; }
    static constexpr HUDKind batteryUnplugged(int p) { return {Case::batteryUnplugged, p}; }
    static constexpr HUDKind batteryLow(int p) { return {Case::batteryLow, p}; }
    static constexpr HUDKind volume() { return {Case::volume, 0}; }
    static constexpr HUDKind brightness() { return {Case::brightness, 0}; }

    constexpr Case kind() const { return m_kind; }
    constexpr int percentage() const { return m_percentage; }
    constexpr bool isBattery() const {
        return m_kind == Case::batteryPlugged || m_kind == Case::batteryUnplugged ||
               m_kind == Case::batteryLow;
    }
    friend constexpr bool operator==(const HUDKind&, const HUDKind&) = default;

private:
    constexpr HUDKind(Case c, int p)
        : m_kind(c), m_percentage(c == Case::volume || c == Case::brightness ? 0 : p) {}
    Case m_kind = Case::volume;
    int m_percentage = 0;
};

// The observable record of the HUD: the notch controller sets it when it flashes the HUD, the HUD
// views draw it. Setters notify only on a real change.
class HUDState : public QObject {
    Q_OBJECT
    Q_PROPERTY(HUDKind kind READ kind WRITE setKind NOTIFY kindChanged)
    Q_PROPERTY(bool active READ active WRITE setActive NOTIFY activeChanged)
    Q_PROPERTY(int bump READ bump NOTIFY bumpChanged)
public:
    using Kind = HUDKind;
    using QObject::QObject;

    HUDKind kind() const { return m_kind; }
    bool active() const { return m_active; }
    int bump() const { return m_bump; }

    void setKind(HUDKind kind);
    void setActive(bool active);
    // Marks a new flash so views replay their change animation even for the same kind.
    void incrementBump();

signals:
    void kindChanged();
    void activeChanged();
    void bumpChanged();

private:
    HUDKind m_kind = HUDKind::volume();
    bool m_active = false;
    int m_bump = 0;
};
