// SPDX-License-Identifier: MIT
// The battery as UPower's display device sees it, on the system bus. Every call is asynchronous:
// a notification starts a fetch whose answer updates the kept reading and then reports changed(),
// so a UPower that answers slowly or never cannot hold up the caller's thread.
#include "Platform/PowerSource.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusServiceWatcher>
#include <QDBusVariant>
#include <QDebug>
#include <QVariantMap>

#include <cmath>

namespace {

const QString service = QStringLiteral("org.freedesktop.UPower");
const QString managerPath = QStringLiteral("/org/freedesktop/UPower");
const QString displayDevicePath = QStringLiteral("/org/freedesktop/UPower/devices/DisplayDevice");
const QString propertiesInterface = QStringLiteral("org.freedesktop.DBus.Properties");
// A UPower that has not answered by then is asked again at the next notification.
constexpr int callTimeoutMs = 10000;
constexpr uint batteryType = 2;
constexpr uint chargingState = 1;
// Percentages are kept to hundredths, so a level of 99.99 still truncates to 99.
constexpr int capacityScale = 10000;

class UPowerSource final : public PowerSource {
    Q_OBJECT
public:
    std::optional<PowerSourceReading> read() override { return m_reading; }
    bool startNotifications() override;

private slots:
    void onPropertiesChanged() { fetch(); }

private:
    // One fetch at a time; notifications during it ask for one more afterwards.
    void fetch();
    void fetched(const std::optional<PowerSourceReading>& reading, bool answered);
    QDBusPendingCall ask(const QString& path, const QString& method, const QVariantList& args);

    std::optional<PowerSourceReading> m_reading;
    QDBusServiceWatcher* m_watcher = nullptr;
    bool m_fetching = false;
    bool m_again = false;
};

QDBusPendingCall UPowerSource::ask(const QString& path, const QString& method,
                                   const QVariantList& args) {
    QDBusMessage message =
        QDBusMessage::createMethodCall(service, path, propertiesInterface, method);
    message.setArguments(args);
    return QDBusConnection::systemBus().asyncCall(message, callTimeoutMs);
}

std::optional<PowerSourceReading> toReading(const QVariantMap& device, bool onBattery) {
    if (!device.value(QStringLiteral("IsPresent")).toBool() ||
        device.value(QStringLiteral("Type")).toUInt() != batteryType)
        return std::nullopt;
    PowerSourceReading reading;
    const double percentage = device.value(QStringLiteral("Percentage")).toDouble();
    reading.currentCapacity = int(std::lround(percentage * capacityScale / 100.0));
    reading.maxCapacity = capacityScale;
    reading.isCharging = device.value(QStringLiteral("State")).toUInt() == chargingState;
    reading.isOnACPower = !onBattery;
    return reading;
}

void UPowerSource::fetch() {
    if (m_fetching) {
        m_again = true;
        return;
    }
    m_fetching = true;
    m_again = false;
    // Both answers are needed; the second is read once the first has come.
    const QDBusPendingCall device =
        ask(displayDevicePath, QStringLiteral("GetAll"), {service + QStringLiteral(".Device")});
    const QDBusPendingCall manager =
        ask(managerPath, QStringLiteral("Get"), {service, QStringLiteral("OnBattery")});
    auto* watcher = new QDBusPendingCallWatcher(device, this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this,
            [this, manager](QDBusPendingCallWatcher* w) {
                w->deleteLater();
                const QDBusPendingReply<QVariantMap> deviceReply = *w;
                auto* second = new QDBusPendingCallWatcher(manager, this);
                connect(second, &QDBusPendingCallWatcher::finished, this,
                        [this, deviceReply](QDBusPendingCallWatcher* w2) {
                            w2->deleteLater();
                            const QDBusPendingReply<QDBusVariant> onBattery = *w2;
                            if (deviceReply.isError() || onBattery.isError())
                                return fetched(std::nullopt, false);
                            fetched(toReading(deviceReply.value(),
                                              onBattery.value().variant().toBool()),
                                    true);
                        });
            });
}

void UPowerSource::fetched(const std::optional<PowerSourceReading>& reading, bool answered) {
    m_fetching = false;
    // Without an answer the last reading stands; a machine without a battery reads as none.
    if (answered) {
        m_reading = reading;
        emit changed();
    }
    if (m_again)
        fetch();
}

bool UPowerSource::startNotifications() {
    QDBusConnection bus = QDBusConnection::systemBus();
    if (!bus.isConnected()) {
        qWarning().noquote() << "Hollowmere: no system bus, battery changes are not seen";
        return false;
    }
    const QString signal = QStringLiteral("PropertiesChanged");
    const bool device = bus.connect(service, displayDevicePath, propertiesInterface, signal, this,
                                    SLOT(onPropertiesChanged()));
    const bool manager = bus.connect(service, managerPath, propertiesInterface, signal, this,
                                     SLOT(onPropertiesChanged()));
    // UPower starting after us, or restarting: its first answer is a starting state.
    m_watcher =
        new QDBusServiceWatcher(service, bus, QDBusServiceWatcher::WatchForOwnerChange, this);
    connect(m_watcher, &QDBusServiceWatcher::serviceOwnerChanged, this,
            [this](const QString&, const QString&, const QString& newOwner) {
                m_reading.reset();
                emit restarted();
                if (!newOwner.isEmpty())
                    fetch();
            });
    fetch();
    return device && manager;
}

} // namespace

std::unique_ptr<PowerSource> makePowerSource() {
    return std::make_unique<UPowerSource>();
}

#include "PowerSource_linux.moc"
