// SPDX-License-Identifier: MIT
#include "Platform/TrayHost.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusServiceWatcher>
#include <QDBusVariant>
#include <QSocketNotifier>
#include <QSystemTrayIcon>

#include <X11/Xlib.h>
#include <X11/extensions/Xfixes.h>

namespace {

constexpr char watcherService[] = "org.kde.StatusNotifierWatcher";
constexpr char watcherPath[] = "/StatusNotifierWatcher";

class FreedesktopTrayHost : public TrayHost {
    Q_OBJECT
public:
    FreedesktopTrayHost() {
        watchSystemTraySelection();
        watchStatusNotifierHosts();
    }
    ~FreedesktopTrayHost() override {
        if (m_display)
            XCloseDisplay(m_display);
    }

    bool available() const override {
        if (!m_display) // no X connection of our own: ask Qt
            return QSystemTrayIcon::isSystemTrayAvailable();
        return XGetSelectionOwner(m_display, m_selection) != None || m_statusNotifierHost;
    }

private slots:
    void askStatusNotifierWatcher() {
        QDBusMessage call = QDBusMessage::createMethodCall(
            QLatin1String(watcherService), QLatin1String(watcherPath),
            QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Get"));
        call << QLatin1String(watcherService) << QStringLiteral("IsStatusNotifierHostRegistered");
        // Asynchronous: a panel that does not answer must not hold up the GUI thread.
        auto* pending =
            new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(call), this);
        connect(pending, &QDBusPendingCallWatcher::finished, this,
                [this](QDBusPendingCallWatcher* done) {
                    done->deleteLater();
                    const QDBusPendingReply<QDBusVariant> reply = *done;
                    const bool host = !reply.isError() && reply.value().variant().toBool();
                    if (host != m_statusNotifierHost) {
                        m_statusNotifierHost = host;
                        emit changed();
                    }
                });
    }

private:
    // XEmbed trays own the selection _NET_SYSTEM_TRAY_S<screen>; XFixes tells when its owner
    // changes or goes, on a connection of our own so Qt's is left alone.
    void watchSystemTraySelection() {
        m_display = XOpenDisplay(nullptr);
        int eventBase = 0, errorBase = 0;
        if (!m_display)
            return;
        const QByteArray name = "_NET_SYSTEM_TRAY_S" + QByteArray::number(DefaultScreen(m_display));
        m_selection = XInternAtom(m_display, name.constData(), False);
        if (!XFixesQueryExtension(m_display, &eventBase, &errorBase))
            return; // the owner is still asked, just not followed
        m_eventBase = eventBase;
        XFixesSelectSelectionInput(m_display, DefaultRootWindow(m_display), m_selection,
                                   XFixesSetSelectionOwnerNotifyMask |
                                       XFixesSelectionWindowDestroyNotifyMask |
                                       XFixesSelectionClientCloseNotifyMask);
        XFlush(m_display);
        auto* notifier =
            new QSocketNotifier(ConnectionNumber(m_display), QSocketNotifier::Read, this);
        connect(notifier, &QSocketNotifier::activated, this, [this] {
            bool ownerChanged = false;
            while (XPending(m_display)) {
                XEvent event;
                XNextEvent(m_display, &event);
                ownerChanged |= event.type == m_eventBase + XFixesSelectionNotify;
            }
            if (ownerChanged)
                emit changed();
        });
    }

    // StatusNotifier: the watcher service comes and goes with the panel, and hosts register
    // with it.
    void watchStatusNotifierHosts() {
        QDBusConnection bus = QDBusConnection::sessionBus();
        if (!bus.isConnected())
            return;
        auto* services = new QDBusServiceWatcher(QLatin1String(watcherService), bus,
                                                 QDBusServiceWatcher::WatchForOwnerChange, this);
        connect(services, &QDBusServiceWatcher::serviceOwnerChanged, this,
                &FreedesktopTrayHost::askStatusNotifierWatcher);
        bus.connect(QLatin1String(watcherService), QLatin1String(watcherPath),
                    QLatin1String(watcherService), QStringLiteral("StatusNotifierHostRegistered"),
                    this, SLOT(askStatusNotifierWatcher()));
        askStatusNotifierWatcher();
    }

    Display* m_display = nullptr;
    Atom m_selection = None;
    int m_eventBase = 0;
    bool m_statusNotifierHost = false;
};

} // namespace

std::unique_ptr<TrayHost> makeTrayHost() {
    return std::make_unique<FreedesktopTrayHost>();
}

#include "TrayHost_linux.moc"
