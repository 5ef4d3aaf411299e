// SPDX-License-Identifier: MIT
#include "Notch/NotchController.h"

#include "HUD/BatteryMonitor.h"
#include "HUD/BrightnessMonitor.h"
#include "HUD/SystemHUDSuppressor.h"
#include "HUD/VolumeMonitor.h"
#include "Sessions/SessionStore.h"

#include <QtQml/qqmlextensionplugin.h>

// The views are static QML modules: their plugins are pulled in by name.
Q_IMPORT_QML_PLUGIN(Hollowmere_NotchPlugin)
Q_IMPORT_QML_PLUGIN(Hollowmere_HUDPlugin)

using namespace std::chrono_literals;

namespace {

QUrl view(const char* module, const char* name) {
    return QUrl(
        QStringLiteral("qrc:/qt/qml/%1/%2.qml").arg(QLatin1String(module), QLatin1String(name)));
}

} // namespace

NotchController::NotchController(SessionStore* sessions, QObject* parent)
    : NotchController(sessions, Environment{}, parent) {}

NotchController::NotchController(SessionStore* sessions, Environment env, QObject* parent)
    : QObject(parent), m_sessions(sessions), m_clock(env.clock ? *env.clock : Clock::system()),
      m_makeNotch(env.makeNotch ? std::move(env.makeNotch)
                                : [](const NotchSetup& s) { return makeSurfaceNotch(s); }),
      m_suppressor(env.suppressor ? *env.suppressor : SystemHUDSuppressor::shared()),
      m_volume(env.volume ? std::move(env.volume)
                          : std::make_unique<VolumeMonitor>(makeAudioOutput(), &m_suppressor)),
      m_brightness(env.brightness
                       ? std::move(env.brightness)
                       : std::make_unique<BrightnessMonitor>(makeBacklight(), &m_suppressor)),
      m_battery(env.battery ? std::move(env.battery) : std::make_unique<BatteryMonitor>()),
      m_hud(std::make_unique<HUDState>()) {
    // Each timer belongs to the controller: gone with it, a late one cannot fire.
    m_forceCollapseTask = m_clock.makeTimer([this] {
        m_forceExpanded = false;
        sync();
    });
    m_hoverCollapseTask = m_clock.makeTimer([this] {
        m_hoverActive = false;
        sync();
    });
    m_hudHideTask = m_clock.makeTimer([this] { endFlash(); });
}

NotchController::~NotchController() {
    // The battery monitor may outlive nothing of ours, but its handler must not call back.
    if (m_battery)
        m_battery->onEvent = nullptr;
}

NotchSetup NotchController::sessionNotchSetup() {
    auto* tap = new ViewAction(
        [self = QPointer<NotchController>(this)] {
            if (self)
                self->expandOnDemand();
        },
        this);
    const QVariantMap views{{QStringLiteral("sessions"), QVariant::fromValue(m_sessions)}};
    QVariantMap compact = views;
    compact.insert(QStringLiteral("tapAction"), QVariant::fromValue<QObject*>(tap));

    NotchSetup setup;
    setup.role = NotchSetup::Role::session;
    setup.hoverBehavior = NotchHover::all;
    setup.style = NotchStyle::automatic();
    // Opening and conversion keep the surface's default springs.
    setup.transitions.closingAnimation = NotchAnimation::easeIn(0.18);
    setup.transitions.skipIntermediateHides = true;
    setup.expanded = NotchContent(view("Hollowmere/Notch", "ExpandedView"), views);
    setup.compactLeading = NotchContent(view("Hollowmere/Notch", "CompactLeading"), compact);
    setup.compactTrailing = NotchContent(view("Hollowmere/Notch", "CompactTrailing"), compact);
    return setup;
}

NotchSetup NotchController::hudNotchSetup() const {
    const QVariant hud = QVariant::fromValue(m_hud.get());
    NotchSetup setup;
    setup.role = NotchSetup::Role::hud;
    setup.hoverBehavior = NotchHover::none;
    setup.style = NotchStyle::automatic();
    setup.transitions.openingAnimation = NotchAnimation::spring(0.22, 0.86, 0);
    setup.transitions.closingAnimation = NotchAnimation::easeIn(0.16);
    setup.transitions.conversionAnimation = NotchAnimation::spring(0.22, 0.86, 0);
    setup.transitions.skipIntermediateHides = true;
    setup.compactLeading =
        NotchContent(view("Hollowmere/HUD", "HUDCompactLeading"), {{QStringLiteral("hud"), hud}});
    setup.compactTrailing =
        NotchContent(view("Hollowmere/HUD", "HUDCompactTrailing"),
                     {{QStringLiteral("hud"), hud},
                      {QStringLiteral("volume"), QVariant::fromValue(m_volume.get())},
                      {QStringLiteral("brightness"), QVariant::fromValue(m_brightness.get())}});
    return setup;
}

void NotchController::start() {
    if (m_started)
        return;
    m_started = true;
    m_notch = m_makeNotch(sessionNotchSetup());
    m_hudNotch = m_makeNotch(hudNotchSetup());
    for (NotchHandle* notch : {m_notch.get(), m_hudNotch.get()})
        connect(notch, &NotchHandle::contextMenuRequested, this,
                &NotchController::contextMenuRequested);

    // Hover reaches controller state through the event loop, never from inside the notch's
    // own change; repeats of the same value are dropped.
    connect(
        m_notch.get(), &NotchHandle::hoveringChanged, this,
        [this](bool hovering) {
            if (m_lastHover == hovering)
                return;
            m_lastHover = hovering;
            handleHoverChange(hovering);
        },
        Qt::QueuedConnection);

    m_volume->start();
    m_brightness->start();
    wireHUDSuppressor();
    m_battery->onEvent = [self = QPointer<NotchController>(this)](const BatteryMonitor::Event& e) {
        if (!self)
            return;
        const int percentage = self->m_battery->percentage();
        switch (e.kind) {
        case BatteryMonitor::Event::Kind::low:
            self->flashKind(HUDKind::batteryLow(e.level), batteryFlash);
            break;
        case BatteryMonitor::Event::Kind::plugged:
            self->flashKind(HUDKind::batteryPlugged(percentage), batteryFlash);
            break;
        case BatteryMonitor::Event::Kind::unplugged:
            self->flashKind(HUDKind::batteryUnplugged(percentage), batteryFlash);
            break;
        }
    };
    m_battery->start();
    observeLoop();
    sync();
}

NotchController::Mode NotchController::desiredMode() const {
    if (!m_sessions->pending().empty())
        return Mode::expanded;
    const bool anySession = !m_sessions->sessions().empty();
    if ((m_forceExpanded || m_hoverActive) && anySession)
        return Mode::expanded;
    return anySession ? Mode::compact : Mode::hidden;
}

void NotchController::sync() {
    if (m_hud->active())
        return;
    const Mode desired = desiredMode();
    if (desired == m_currentMode || !m_notch)
        return;
    // Recorded before the notch moves, so a second sync does not start the move again.
    m_currentMode = desired;
    QMetaObject::invokeMethod(
        this, [this, desired] { apply(desired); }, Qt::QueuedConnection);
}

void NotchController::apply(Mode mode) {
    if (!m_notch)
        return;
    switch (mode) {
    case Mode::hidden:
        m_notch->hide();
        break;
    case Mode::compact:
        m_notch->compact();
        break;
    case Mode::expanded:
        m_notch->expand();
        break;
    }
}

void NotchController::expandOnDemand() {
    m_forceExpanded = true;
    sync();
    m_forceCollapseTask->start(std::chrono::milliseconds(forceExpandedFor));
}

void NotchController::handleHoverChange(bool hovering) {
    m_hoverCollapseTask->stop();
    if (hovering) {
        m_hoverActive = true;
        sync();
    } else {
        m_hoverCollapseTask->start(std::chrono::milliseconds(hoverGrace));
    }
}

void NotchController::observeLoop() {
    // Every change of the store arms one look at it; changes until that look are taken in one.
    connect(m_sessions, &SessionStore::sessionsChanged, this, [this] {
        if (m_observationArmed)
            return;
        m_observationArmed = true;
        QMetaObject::invokeMethod(this, &NotchController::observed, Qt::QueuedConnection);
    });
}

void NotchController::observed() {
    m_observationArmed = false;
    const size_t finished = m_sessions->justFinished().size();
    // A session that has just finished pops the notch open.
    if (finished > m_lastJustFinishedCount)
        expandOnDemand();
    m_lastJustFinishedCount = finished;
    // A prompt matters more than a volume level: it ends a flash at once.
    if (m_hud->active() && !m_sessions->pending().empty())
        endFlashNow();
    sync();
}

void NotchController::wireHUDSuppressor() {
    // Chained after whatever was installed before (the monitors), which keeps working.
    auto chain = [this](SystemHUDSuppressor::Callback& slot, HUDKind kind) {
        slot = [previous = slot, kind, self = QPointer<NotchController>(this)] {
            if (previous)
                previous();
            if (self)
                self->flashKind(kind, keyFlash);
        };
    };
    chain(m_suppressor.onVolumeUp, HUDKind::volume());
    chain(m_suppressor.onVolumeDown, HUDKind::volume());
    chain(m_suppressor.onVolumeMute, HUDKind::volume());
    chain(m_suppressor.onBrightnessUp, HUDKind::brightness());
    chain(m_suppressor.onBrightnessDown, HUDKind::brightness());
    m_suppressor.start();
}

void NotchController::flashKind(HUDKind kind, int durationMs) {
    // The key itself has been handled; only the picture is left out.
    if (!m_sessions->pending().empty() || m_forceExpanded)
        return;
    // A HUD on its way out counts as gone: the new flash brings it back.
    const bool wasActive = m_hud->active() && !m_hudHiding;
    ++m_flashGeneration;
    m_hudHiding = false;
    m_hud->setKind(kind);
    m_hud->incrementBump();
    m_hud->setActive(true);
    if (!wasActive) {
        // A compact session notch makes way; an expanded one stays where it is.
        if (m_currentMode == Mode::compact && m_notch) {
            m_currentMode = Mode::hidden;
            QMetaObject::invokeMethod(
                this, [this] { m_notch->hide(); }, Qt::QueuedConnection);
        }
        QMetaObject::invokeMethod(
            this,
            [this] {
                if (m_hudNotch && m_hud->active() && !m_hudHiding)
                    m_hudNotch->compact();
            },
            Qt::QueuedConnection);
    }
    m_hudHideTask->start(std::chrono::milliseconds(durationMs));
}

void NotchController::endFlash() {
    if (!m_hudNotch) {
        m_hud->setActive(false);
        sync();
        return;
    }
    m_hudHiding = true;
    const quint64 generation = m_flashGeneration;
    m_hudNotch->hide([self = QPointer<NotchController>(this), generation] {
        if (!self || self->m_flashGeneration != generation || !self->m_hudHiding)
            return;
        self->m_hudHiding = false;
        self->m_hud->setActive(false);
        self->sync();
    });
}

void NotchController::endFlashNow() {
    m_hudHideTask->stop();
    ++m_flashGeneration;
    m_hudHiding = false;
    if (m_hudNotch)
        m_hudNotch->hide();
    m_hud->setActive(false);
}
