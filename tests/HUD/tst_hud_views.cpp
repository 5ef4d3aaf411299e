// SPDX-License-Identifier: MIT
// The compact HUD views, rendered with Qt Quick's software renderer: what they show comes from the
// models, and the pixels land where the rules put them.
#include <QtTest>

#include "Fakes.h"
#include "HUD/HUDCompactModel.h"
#include "HUD/HUDState.h"
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

struct Monitors : FakeHUD {
    HUDState hud;
    Monitors(float level, bool muted, float bright)
        : FakeHUD(FakeDevice{level, level, muted}, bright) {}
};

} // namespace

class TestHUDViews : public QObject {
    Q_OBJECT
private slots:
    void initTestCase() {
        m_engine.addImportPath(QStringLiteral("qrc:/qt/qml"));
        m_engine.addImageProvider(SymbolImageProvider::providerId, new SymbolImageProvider);
    }

    // Symbols, labels and tints are HUDRules' (tst_hud_rules), and drawn below: here, that the
    // model follows the state and the monitors, and tells its view when.
    void modelFollowsStateAndMonitors() {
        Monitors m(0.5625f, false, 0.8f);
        HUDCompactModel model;
        model.setHud(&m.hud);
        model.setVolume(m.volume.get());
        model.setBrightness(m.brightness.get());
        QCOMPARE(model.label(), QString("56%"));

        QSignalSpy changed(&model, &HUDCompactModel::changed);
        m.output->devices[1].muted = true;
        emit m.output->valuesChanged();
        QVERIFY(changed.count() > 0);
        QCOMPARE(model.barValue(), 0.0f);

        m.hud.setKind(HUDKind::brightness());
        QCOMPARE(model.label(), QString("80%"));
        m.brightness->setValue(0.25f);
        QCOMPARE(model.label(), QString("25%"));

        QSignalSpy bumps(&model, &HUDCompactModel::bumpChanged);
        m.hud.setKind(HUDKind::batteryLow(9));
        m.hud.incrementBump();
        QCOMPARE(bumps.count(), 1);

        // A monitor that goes away leaves neutral values, not a dangling read.
        m.volume.reset();
        m.hud.setKind(HUDKind::volume());
        QCOMPARE(model.label(), QString("0%"));
    }

    void symbolsAreDrawn() {
        for (const char* name :
             {"bolt.fill", "battery.100", "battery.25", "speaker.wave.2.fill", "sun.max.fill"}) {
            const QImage image = SymbolImages::render(name, QSize(32, 32), Qt::red);
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

    // Icon in the 16-point frame at x 12; the bar's ten segments from x 130 (240 - 12 - (62 + 6 +
    // 30)), 4.4 wide and 2 apart, lit in the tint up to the level; the percentage in white after.
    void rendersIconBarAndPercentage() {
        const QColor red = NotchPalette::red(), accent = NotchPalette::accent();
        const QColor unlit = QColor::fromRgbF(0.1f, 0.1f, 0.1f);
        const struct {
            const char* png;
            HUDKind kind;
            float volume;
            bool muted;
            int lit;
            QColor tint;
        } rows[] = {
            {"hud-battery-low.png", HUDKind::batteryLow(9), 0.5f, false, 1, red},
            {"hud-volume-muted.png", HUDKind::volume(), 0.8f, true, 0, accent},
            {"hud-volume.png", HUDKind::volume(), 0.8f, false, 8, accent},
        };
        for (const auto& row : rows) {
            Monitors m(row.volume, row.muted, 0.5f);
            m.hud.setKind(row.kind);
            const QImage image = render(m, row.lit);
            QVERIFY2(!image.isNull(), row.png);
            image.save(QCoreApplication::applicationDirPath() + '/' + row.png);
            QVERIFY2(pixelsNear(image, QRect(12, 8, 16, 16), row.tint) > 10, row.png);
            for (int i = 0; i < 10; ++i) {
                const QColor pixel = image.pixelColor(130 + int(i * 6.4 + 2.2), 16);
                QVERIFY2(i < row.lit ? near(pixel, row.tint) : near(pixel, unlit, 12),
                         qPrintable(QString("%1, segment %2").arg(row.png).arg(i)));
            }
            QVERIFY2(pixelsNear(image, QRect(198, 8, 30, 16), Qt::white) > 10, row.png);
        }
    }

private:
    QImage render(Monitors& m, int expectedLit) {
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
        auto* bar =
            trailing->property("bar").value<QQuickItem*>()->property("bar").value<QObject*>();
        [&] { QTRY_COMPARE_WITH_TIMEOUT(bar->property("litCount").toInt(), expectedLit, 30000); }();
        // Let the bar's ease-out finish before looking.
        [&] {
            QTRY_COMPARE_WITH_TIMEOUT(
                trailing->property("shownValue").toFloat(),
                trailing->property("model").value<QObject*>()->property("barValue").toFloat(),
                30000);
        }();
        QTest::qWait(400);
        QImage image = window.grabWindow();
        // The scene goes with its window.
        root.reset();
        return image;
    }

    QQmlEngine m_engine;
};

int main(int argc, char** argv) {
    QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    QGuiApplication app(argc, argv);
    TestHUDViews test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_hud_views.moc"
