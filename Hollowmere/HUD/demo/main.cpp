// SPDX-License-Identifier: MIT
// Renders the compact HUD for volume, brightness and low battery to PNG files:
//   hollowmere-hud-demo OUTPUT_DIR
#include "HUD/BrightnessMonitor.h"
#include "HUD/HUDState.h"
#include "HUD/SystemHUDSuppressor.h"
#include "HUD/VolumeMonitor.h"
#include "Platform/SymbolImageProvider.h"

#include <QDir>
#include <QGuiApplication>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickWindow>
#include <QTimer>
#include <QtQml/qqmlextensionplugin.h>

Q_IMPORT_QML_PLUGIN(Hollowmere_HUDPlugin)

namespace {

// Fixed levels, so the pictures do not depend on this machine's audio and display.
class FixedOutput : public AudioOutput {
public:
    float level = 0.5625f;
    std::optional<DeviceId> defaultDevice() override { return 1; }
    std::optional<float> mainVolume(DeviceId) override { return level; }
    std::optional<float> firstChannelVolume(DeviceId) override { return level; }
    std::optional<bool> isMuted(DeviceId) override { return false; }
    bool setMainVolume(DeviceId, float) override { return false; }
    bool setMuted(DeviceId, bool) override { return false; }
    void watch(DeviceId) override {}
};

class FixedBacklight : public Backlight {
public:
    std::optional<float> brightness() override { return 0.8125f; }
    bool setBrightness(float) override { return false; }
};

class NoTap : public MediaKeyTap {
public:
    bool install(Handler) override { return false; }
};

void settle(int ms) {
    QEventLoop loop;
    QTimer::singleShot(ms, &loop, &QEventLoop::quit);
    loop.exec();
}

} // namespace

int main(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    if (qEnvironmentVariableIsEmpty("QT_SCALE_FACTOR"))
        qputenv("QT_SCALE_FACTOR", "3");
    QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    QGuiApplication app(argc, argv);
    const QString outDir = argc > 1 ? QString::fromLocal8Bit(argv[1]) : QStringLiteral("demo");
    QDir().mkpath(outDir);

    SystemHUDSuppressor keys(std::make_unique<NoTap>(), [](bool) { return true; });
    VolumeMonitor volume(std::make_unique<FixedOutput>(), &keys);
    BrightnessMonitor brightness(std::make_unique<FixedBacklight>(), &keys);
    HUDState hud;

    QQmlEngine engine;
    engine.addImportPath(QStringLiteral("qrc:/qt/qml"));
    engine.addImageProvider(SymbolImageProvider::providerId, new SymbolImageProvider);
    QQmlComponent component(&engine, QUrl(QStringLiteral("qrc:/demo/HUDDemoScene.qml")));
    std::unique_ptr<QObject> root(
        component.createWithInitialProperties({{"hud", QVariant::fromValue(&hud)},
                                               {"volume", QVariant::fromValue(&volume)},
                                               {"brightness", QVariant::fromValue(&brightness)}}));
    auto* item = qobject_cast<QQuickItem*>(root.get());
    if (!item) {
        qWarning() << component.errors();
        return 1;
    }
    QQuickWindow window;
    item->setParentItem(window.contentItem());
    window.resize(int(item->width()), int(item->height()));
    window.show();

    const std::pair<HUDKind, const char*> shots[] = {
        {HUDKind::volume(), "hud-volume.png"},
        {HUDKind::brightness(), "hud-brightness.png"},
        {HUDKind::batteryLow(9), "hud-battery-low.png"},
    };
    for (const auto& [kind, file] : shots) {
        hud.setKind(kind);
        hud.setActive(true);
        hud.incrementBump();
        settle(900); // past the bar's ease-out and the icon's pop
        const QString path = outDir + QLatin1Char('/') + QLatin1String(file);
        if (!window.grabWindow().save(path)) {
            qWarning() << "cannot write" << path;
            return 1;
        }
        qInfo().noquote() << "wrote" << path;
    }
    return 0;
}
