// SPDX-License-Identifier: MIT
// The compact HUD views, rendered with Qt Quick's software renderer: what they show comes from the
// models, and the pixels land where the rules put them.
#include <QtTest>

#include "Fakes.h"
#include "HUD/BrightnessMonitor.h"
#include "HUD/HUDCompactModel.h"
#include "HUD/HUDState.h"
#include "HUD/SegmentedBarModel.h"
#include "HUD/SystemHUDSuppressor.h"
#include "HUD/VolumeMonitor.h"
#include "Notch/NotchPalette.h"
#include "Pixels.h"
#include "Platform/SymbolImageProvider.h"
#include "Platform/SymbolImages.h"

#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickWindow>
#include <QtQml/qqmlextensionplugin.h>

Q_IMPORT_QML_PLUGIN(Hollowmere_HUDPlugin)

namespace {

const QByteArray scene = R"(
import QtQuick
import Hollowmere.HUD
Rectangle {
    width: 240; height: 32; color: "black"
    property alias leading: leading
    property alias trailing: trailing
    HUDCompactLeading { id: leading; x: 12; anchors.verticalCenter: parent.verticalCenter }
    HUDCompactTrailing {
        id: trailing; x: parent.width - 12 - width; anchors.verticalCenter: parent.verticalCenter
    }
}
)";

struct Monitors {
    SystemHUDSuppressor keys{std::make_unique<FakeMediaKeyTap>(), [](bool) { return true; }};
    FakeAudioOutput* output;
    FakeBacklight* backlight;
    std::unique_ptr<VolumeMonitor> volume;
    std::unique_ptr<BrightnessMonitor> brightness;
    HUDState hud;
    Monitors(float level, bool muted, float bright) {
        auto out = std::make_unique<FakeAudioOutput>();
        output = out.get();
        output->defaultId = 1;
        output->devices[1] = {level, level, muted};
        auto light = std::make_unique<FakeBacklight>();
        backlight = light.get();
        backlight->level = bright;
        volume = std::make_unique<VolumeMonitor>(std::move(out), &keys);
        brightness = std::make_unique<BrightnessMonitor>(std::move(light), &keys);
        volume->start();
    }
};

} // namespace

class TestHUDViews : public QObject {
    Q_OBJECT
private slots:
    void initTestCase();
    void modelFollowsStateAndMonitors();
    void segmentedBarRules();
    void symbolsAreDrawn();
    void rendersBatteryLowInRed();
    void rendersMutedVolumeEmpty();

private:
    QImage render(Monitors& m, int expectedLit);
    QQmlEngine m_engine;
    QString m_outDir;
};

void TestHUDViews::initTestCase() {
    m_engine.addImportPath(QStringLiteral("qrc:/qt/qml"));
    m_engine.addImageProvider(SymbolImageProvider::providerId, new SymbolImageProvider);
    m_outDir = QCoreApplication::applicationDirPath();
}

void TestHUDViews::modelFollowsStateAndMonitors() {
    Monitors m(0.5625f, false, 0.8f);
    HUDCompactModel model;
    model.setHud(&m.hud);
    model.setVolume(m.volume.get());
    model.setBrightness(m.brightness.get());
    QCOMPARE(model.symbolName(), QString("speaker.wave.2.fill"));
    QCOMPARE(model.label(), QString("56%"));
    QCOMPARE(model.tint(), NotchPalette::accent());
    QVERIFY(model.symbolSource().startsWith("image://symbol/fffa8c4c/speaker.wave.2.fill") ||
            model.symbolSource().startsWith("image://symbol/fffa8c4d/speaker.wave.2.fill"));

    QSignalSpy changed(&model, &HUDCompactModel::changed);
    m.output->devices[1].muted = true;
    emit m.output->valuesChanged();
    QVERIFY(changed.count() > 0);
    QCOMPARE(model.barValue(), 0.0f);
    QCOMPARE(model.label(), QString("0%"));

    m.hud.setKind(HUDKind::brightness());
    QCOMPARE(model.symbolName(), QString("sun.max.fill"));
    QCOMPARE(model.label(), QString("80%"));
    m.brightness->setValue(0.25f);
    QCOMPARE(model.label(), QString("25%"));

    QSignalSpy bumps(&model, &HUDCompactModel::bumpChanged);
    m.hud.setKind(HUDKind::batteryLow(9));
    m.hud.incrementBump();
    QCOMPARE(bumps.count(), 1);
    QCOMPARE(model.symbolName(), QString("battery.25"));
    QCOMPARE(model.tint(), NotchPalette::red());
    QCOMPARE(model.label(), QString("9%"));
    QVERIFY(model.symbolSource().contains("battery.25"));
    m.hud.setKind(HUDKind::batteryPlugged(80));
    QCOMPARE(model.symbolName(), QString("bolt.fill"));
    QCOMPARE(model.tint(), NotchPalette::accent());

    // A monitor that goes away leaves neutral values, not a dangling read.
    m.volume.reset();
    m.hud.setKind(HUDKind::volume());
    QCOMPARE(model.label(), QString("0%"));
}

void TestHUDViews::segmentedBarRules() {
    SegmentedBarModel bar;
    bar.setAvailableWidth(62);
    bar.setTint(NotchPalette::red());
    QCOMPARE(bar.segmentWidth(), 4.4);
    bar.setValue(0.09f);
    QCOMPARE(bar.litCount(), 1);
    QVERIFY(bar.isLit(0) && !bar.isLit(1));
    bar.setValue(1.2f);
    QCOMPARE(bar.litCount(), 10);
    bar.setAvailableWidth(10);
    QCOMPARE(bar.segmentWidth(), 2.0);
    QVERIFY(qAbs(bar.glowColor().alphaF() - 0.5f) < 0.01f);
    QCOMPARE(bar.glowColor().red(), NotchPalette::red().red());
}

void TestHUDViews::symbolsAreDrawn() {
    for (const char* name :
         {"bolt.fill", "battery.100", "battery.25", "speaker.wave.2.fill", "sun.max.fill"}) {
        const QImage image = SymbolImages::render(name, QSize(32, 32), Qt::red);
        QVERIFY2(!image.isNull(), name);
        const int inked = pixelsNear(image, image.rect(), Qt::red);
        QVERIFY2(inked > 40 && inked < 32 * 32 - 40, name);
    }
    QVERIFY(SymbolImages::render("no.such.symbol", QSize(16, 16), Qt::red).isNull());
    // Batteries lie on their side, like the system's: wider than tall.
    const QImage battery = SymbolImages::render("battery.100", QSize(32, 32), Qt::white);
    QRect ink;
    for (int y = 0; y < 32; ++y)
        for (int x = 0; x < 32; ++x)
            if (battery.pixelColor(x, y).alpha() > 128)
                ink |= QRect(x, y, 1, 1);
    QVERIFY(ink.width() > ink.height());
}

QImage TestHUDViews::render(Monitors& m, int expectedLit) {
    QQmlComponent component(&m_engine);
    component.setData(scene, QUrl());
    std::unique_ptr<QObject> root(component.create());
    if (!root)
        qWarning() << component.errors();
    auto* item = qobject_cast<QQuickItem*>(root.get());
    if (!item)
        return {};
    auto* leading = item->property("leading").value<QQuickItem*>();
    auto* trailing = item->property("trailing").value<QQuickItem*>();
    leading->setProperty("hud", QVariant::fromValue(&m.hud));
    trailing->setProperty("hud", QVariant::fromValue(&m.hud));
    trailing->setProperty("volume", QVariant::fromValue(m.volume.get()));
    trailing->setProperty("brightness", QVariant::fromValue(m.brightness.get()));

    QQuickWindow window;
    item->setParentItem(window.contentItem());
    window.resize(int(item->width()), int(item->height()));
    window.show();
    auto* bar = trailing->property("bar").value<QQuickItem*>()->property("bar").value<QObject*>();
    [&] { QTRY_COMPARE_WITH_TIMEOUT(bar->property("litCount").toInt(), expectedLit, 30000); }();
    // Let the bar's ease-out finish before looking.
    [&] {
        QTRY_COMPARE_WITH_TIMEOUT(
            trailing->property("shownValue").toFloat(),
            trailing->property("model").value<QObject*>()->property("barValue").toFloat(), 30000);
    }();
    QTest::qWait(400);
    QImage image = window.grabWindow();
    // The scene goes with its window.
    root.reset();
    return image;
}

void TestHUDViews::rendersBatteryLowInRed() {
    Monitors m(0.5f, false, 0.5f);
    m.hud.setKind(HUDKind::batteryLow(9));
    const QImage image = render(m, 1);
    QVERIFY(!image.isNull());
    image.save(m_outDir + "/hud-battery-low.png");
    const QColor red = NotchPalette::red();
    // Icon: red ink inside the 16-point frame at x 12.
    QVERIFY(pixelsNear(image, QRect(12, 8, 16, 16), red) > 10);
    // Bar: trailing starts at 240 - 12 - (62 + 6 + 30) = 130; segments are 4.4 wide, 2 apart.
    const int barY = 16;
    QVERIFY(near(image.pixelColor(132, barY), red));
    const QColor unlit = QColor::fromRgbF(0.1f, 0.1f, 0.1f);
    for (int i = 1; i < 10; ++i) {
        const int x = 130 + int(i * 6.4 + 2.2);
        QVERIFY2(near(image.pixelColor(x, barY), unlit, 12), qPrintable(QString::number(i)));
    }
    // The percentage is drawn in white right of the bar.
    QVERIFY(pixelsNear(image, QRect(198, 8, 30, 16), Qt::white) > 10);
}

void TestHUDViews::rendersMutedVolumeEmpty() {
    Monitors m(0.8f, true, 0.5f);
    m.hud.setKind(HUDKind::volume());
    const QImage image = render(m, 0);
    QVERIFY(!image.isNull());
    image.save(m_outDir + "/hud-volume-muted.png");
    QVERIFY(pixelsNear(image, QRect(12, 8, 16, 16), NotchPalette::accent()) > 10);
    QCOMPARE(pixelsNear(image, QRect(130, 12, 62, 8), NotchPalette::accent()), 0);

    // Unmuting lights the bar up to eight segments.
    m.output->devices[1].muted = false;
    emit m.output->valuesChanged();
    const QImage unmuted = render(m, 8);
    unmuted.save(m_outDir + "/hud-volume.png");
    QVERIFY(near(unmuted.pixelColor(130 + int(7 * 6.4 + 2.2), 16), NotchPalette::accent()));
    QVERIFY(!near(unmuted.pixelColor(130 + int(8 * 6.4 + 2.2), 16), NotchPalette::accent()));
}

int main(int argc, char** argv) {
    QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    QGuiApplication app(argc, argv);
    TestHUDViews test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_hud_views.moc"
