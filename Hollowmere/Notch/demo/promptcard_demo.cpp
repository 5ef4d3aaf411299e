// SPDX-License-Identifier: MIT
// Renders the prompt card for each kind of hook event, as the expanded notch shows it, to PNG
// files: hollowmere-promptcard-demo OUTPUT_DIR
#include "Notch/PromptCardModel.h"
#include "Notch/demo/PromptCardSamples.h"
#include "Platform/SymbolImageProvider.h"

#include <QDir>
#include <QGuiApplication>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickWindow>
#include <QTimer>
#include <QtQml/qqmlextensionplugin.h>

Q_IMPORT_QML_PLUGIN(Hollowmere_NotchPlugin)

namespace {

// The expanded notch: black, hanging from the top edge, its lower corners rounded.
const QByteArray scene = R"(
import QtQuick
import Hollowmere.Notch
Rectangle {
    width: 560; height: notch.height + 24; color: "#3a4e8c"
    property alias card: card
    Rectangle {
        id: notch
        anchors.horizontalCenter: parent.horizontalCenter
        width: 520; height: card.implicitHeight + 18 + 14; color: "black"; radius: 24
        Rectangle { width: parent.width; height: parent.radius; color: "black" }
        PromptCard { id: card; x: 12; y: 18; width: parent.width - 24 }
    }
}
)";

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
        qputenv("QT_SCALE_FACTOR", "2");
    QGuiApplication app(argc, argv);
    const QString outDir = argc > 1 ? QString::fromLocal8Bit(argv[1]) : QStringLiteral("demo");
    QDir().mkpath(outDir);

    QQmlEngine engine;
    engine.addImportPath(QStringLiteral("qrc:/qt/qml"));
    engine.addImageProvider(SymbolImageProvider::providerId, new SymbolImageProvider);
    const double now = QDateTime::currentMSecsSinceEpoch() / 1000.0 - referenceDateUnixOffset;
    for (const auto& sample : PromptCardSamples::all(now)) {
        QQmlComponent component(&engine);
        component.setData(scene, QUrl(QStringLiteral("qrc:/demo/scene.qml")));
        std::unique_ptr<QObject> root(component.isError() ? nullptr : component.create());
        auto* item = qobject_cast<QQuickItem*>(root.get());
        if (!item) {
            qWarning() << component.errors();
            return 1;
        }
        item->property("card")
            .value<QQuickItem*>()
            ->property("model")
            .value<PromptCardModel*>()
            ->show(sample.session, sample.prompt);
        // The card's height is known only once its columns are laid out in the first frame: give
        // the window room, then keep the scene's part of the picture.
        QQuickWindow window;
        item->setParentItem(window.contentItem());
        window.resize(int(item->width()), 900);
        window.show();
        settle(400); // symbols load asynchronously
        const QImage grabbed = window.grabWindow();
        const qreal dpr = grabbed.devicePixelRatio();
        const QImage image =
            grabbed.copy(0, 0, int(item->width() * dpr), int(item->height() * dpr));
        const QString path = outDir + QStringLiteral("/promptcard-") + sample.name + ".png";
        if (!image.save(path)) {
            qWarning() << "cannot write" << path;
            return 1;
        }
        qInfo().noquote() << "wrote" << path;
        root.reset(); // the scene goes before its window
    }
    return 0;
}
