// SPDX-License-Identifier: MIT
// The UI kit rendered with the software renderer: the palette reaches QML, and each primitive puts
// its colours where they belong.
#include <QtTest>

#include "Notch/NotchPalette.h"
#include "Notch/UIPrimitives.h"
#include "Pixels.h"
#include "QuickScene.h"

#include <QtQml/qqmlextensionplugin.h>

Q_IMPORT_QML_PLUGIN(Hollowmere_NotchPlugin)

namespace {

const QByteArray kit = R"(
import QtQuick
import Hollowmere.Notch
Rectangle {
    width: 420; height: 260; color: "#808080"
    readonly property var palette: [NotchPalette.accent, NotchPalette.cardFill,
        NotchPalette.cardStroke, NotchPalette.codeFill, NotchPalette.codeStroke,
        NotchPalette.mutedText, NotchPalette.dimText, NotchPalette.chipFill,
        NotchPalette.green, NotchPalette.orange, NotchPalette.red]
    IconBadge { objectName: "badge"; x: 20; y: 20; size: 40; corner: 10 }
    NotchCardBackground {
        objectName: "card"; x: 100; y: 10; width: 300; height: 120; padding: 12
        StatusPill { objectName: "pill"; text: "Installed"; color: NotchPalette.green
                     systemImage: "checkmark" }
    }
    KeyHint { objectName: "key"; x: 20; y: 90; label: "⌥A" }
    SettingRow { objectName: "rowOn"; x: 10; y: 140; width: 400; icon: "terminal.fill"
                 title: "Hooks"; detail: "Installed in settings.json"; statusOn: true }
    SettingRow { objectName: "rowOff"; x: 10; y: 200; width: 400; icon: "terminal.fill"
                 title: "Start at login"; statusOn: false }
}
)";

QRect rectOf(QQuickItem* item) {
    return item->mapRectToScene(QRectF(0, 0, item->width(), item->height())).toRect();
}

QColor over(QColor top, QColor below) {
    const qreal a = top.alphaF();
    return QColor::fromRgbF(top.redF() * a + below.redF() * (1 - a),
                            top.greenF() * a + below.greenF() * (1 - a),
                            top.blueF() * a + below.blueF() * (1 - a));
}

} // namespace

class TestNotchUIKit : public QObject {
    Q_OBJECT
private slots:
    void rendersThePrimitives();
    void markFallsBackToSparkle();
};

void TestNotchUIKit::rendersThePrimitives() {
    QuickScene scene;
    QVERIFY(scene.load(kit));
    const QVariantList palette = scene.item->property("palette").toList();
    const QColor expected[] = {
        NotchPalette::accent(),   NotchPalette::cardFill(),   NotchPalette::cardStroke(),
        NotchPalette::codeFill(), NotchPalette::codeStroke(), NotchPalette::mutedText(),
        NotchPalette::dimText(),  NotchPalette::chipFill(),   NotchPalette::green(),
        NotchPalette::orange(),   NotchPalette::red()};
    QCOMPARE(palette.size(), int(std::size(expected)));
    for (int i = 0; i < palette.size(); ++i)
        QCOMPARE(palette[i].value<QColor>(), expected[i]);

    const QImage image = scene.grab();
    image.save(QCoreApplication::applicationDirPath() + "/notch-uikit.png");
    const QColor grey(0x80, 0x80, 0x80);

    // Badge: accent tile, white mark in its middle, accent glow outside it.
    const QRect badge = rectOf(scene.find("badge"));
    QVERIFY(
        near(image.pixelColor(badge.left() + 3, badge.center().y()), NotchPalette::accent(), 8));
    QVERIFY(pixelsNear(image, badge.adjusted(12, 12, -12, -12), Qt::white) > 20);
    const QColor glow = image.pixelColor(badge.left() - 3, badge.center().y());
    QVERIFY(!near(glow, grey, 6) && glow.red() > glow.blue());

    // Card: black at 0.55 over the grey, rounded (its corner pixel keeps the grey).
    const QRect card = rectOf(scene.find("card"));
    QVERIFY(near(image.pixelColor(card.center().x(), card.bottom() - 8),
                 over(NotchPalette::cardFill(), grey), 4));
    QVERIFY(near(image.pixelColor(card.topLeft()), grey, 4));

    // Pill: green text and symbol on a faint green capsule.
    const QRect pill = rectOf(scene.find("pill"));
    QVERIFY(pixelsNear(image, pill, NotchPalette::green(), 60) > 10);

    // Key hint: its label in light text.
    QVERIFY(pixelsNear(image, rectOf(scene.find("key")), Qt::white, 70) > 5);

    // A setting that is on shows a green check in its well; one that is off, no green at all.
    const QRect wellOn = rectOf(scene.find("rowOn")->findChild<QQuickItem*>("rowWell"));
    QVERIFY(pixelsNear(image, wellOn, NotchPalette::green(), 60) > 10);
    const QRect rowOff = rectOf(scene.find("rowOff"));
    QCOMPARE(pixelsNear(image, rowOff, NotchPalette::green(), 60), 0);
}

void TestNotchUIKit::markFallsBackToSparkle() {
    QVERIFY(UIPrimitives::claudeMarkSource(Qt::white).endsWith("/claude-logo"));
    const QString bundled = UIPrimitives::claudeLogoResource();
    UIPrimitives::setClaudeLogoResource(":/assets/none.svg");
    QVERIFY(UIPrimitives::claudeMarkSource(Qt::white).endsWith("/sparkle"));
    UIPrimitives::setClaudeLogoResource(bundled);

    // The mark and every symbol the notch's views name have a drawing.
    SymbolImageProvider provider;
    for (const char* name :
         {"ffffffff/claude-logo", "ffffffff/sparkle", "ffffffff/exclamationmark",
          "ffffffff/checkmark", "ffffffff/checkmark.circle.fill", "ffffffff/pause.fill",
          "ffffffff/ellipsis", "ffffffff/bell.badge.fill", "ffffffff/terminal.fill",
          "ffffffff/rectangle.dashed", "ffffffff/chevron.left.forwardslash.chevron.right",
          "ffffffff/arrow.up.right", "ffffffff/chevron.up"}) {
        QSize size;
        const QImage image = provider.requestImage(name, &size, QSize(32, 32));
        const int inked = pixelsNear(image, image.rect(), Qt::white, 10);
        QVERIFY2(inked > 40 && inked < 32 * 32 - 40, name);
    }
}

int main(int argc, char** argv) {
    QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    QGuiApplication app(argc, argv);
    TestNotchUIKit test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_notch_uikit.moc"
