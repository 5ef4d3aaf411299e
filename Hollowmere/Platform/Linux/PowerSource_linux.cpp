// SPDX-License-Identifier: MIT
// The battery as UPower's display device sees it, on the system bus.
#include "Platform/PowerSource.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QDebug>
#include <QVariantMap>

#include <cmath>

namespace {

const QString service = QStringLiteral("org.freedesktop.UPower");
const QString managerPath = QStringLiteral("/org/freedesktop/UPower");
const QString displayDevicePath = QStringLiteral("/org/freedesktop/UPower/devices/DisplayDevice");
const QString propertiesInterface = QStringLiteral("org.freedesktop.DBus.Properties");
constexpr int callTimeoutMs = 2000;
constexpr uint batteryType = 2;
constexpr uint chargingState = 1;
// Percentages are kept to hundredths, so a level of 99.99 still truncates to 99.
constexpr int capacityScale = 10000;

class UPowerSource final : public PowerSource {
    Q_OBJECT
public:
    std::optional<PowerSourceReading> read() override;
    bool startNotifications() override;

private slots:
    void onPropertiesChanged() { emit changed(); }

private:
    std::optional<QVariant> call(const QString& path, const QString& method,
                                 const QVariantList& args) const;
};

std::optional<QVariant> UPowerSource::call(const QString& path, const QString& method,
                                           const QVariantList& args) const {
    QDBusMessage message =
        QDBusMessage::createMethodCall(service, path, propertiesInterface, method);
    message.setArguments(args);
    const QDBusMessage reply =
        QDBusConnection::systemBus().call(message, QDBus::Block, callTimeoutMs);
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty())
        return std::nullopt;
    return reply.arguments().first();
}

std::optional<PowerSourceReading> UPowerSource::read() {
    const auto all = call(displayDevicePath, QStringLiteral("GetAll"),
                          {QStringLiteral("org.freedesktop.UPower.Device")});
    const auto onBattery =
        call(managerPath, QStringLiteral("Get"), {service, QStringLiteral("OnBattery")});
    if (!all || !onBattery)
        return std::nullopt;
    const QVariantMap device = qdbus_cast<QVariantMap>(*all);
    if (!device.value(QStringLiteral("IsPresent")).toBool() ||
        device.value(QStringLiteral("Type")).toUInt() != batteryType)
        return std::nullopt;
    PowerSourceReading reading;
    const double percentage = device.value(QStringLiteral("Percentage")).toDouble();
    reading.currentCapacity = int(std::lround(percentage * capacityScale / 100.0));
    reading.maxCapacity = capacityScale;
    reading.isCharging = device.value(QStringLiteral("State")).toUInt() == chargingState;
    reading.isOnACPower = !qdbus_cast<QDBusVariant>(*onBattery).variant().toBool();
    return reading;
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
    return device && manager;
}

} // namespace

std::unique_ptr<PowerSource> makePowerSource() {
    return std::make_unique<UPowerSource>();
}

#include "PowerSource_linux.moc"
