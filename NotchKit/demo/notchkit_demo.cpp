// SPDX-License-Identifier: MIT
// Renders the notch and floating styles, compact and expanded, with sample content, over a
// sketched desktop, to PNG files: notchkit-demo OUTPUT_DIR.
#include "NotchLayout.h"
#include "NotchPanel.h"
#include "NotchSurface.h"

#include <QDir>
#include <QElapsedTimer>
#include <QGuiApplication>
#include <QImage>
#include <QLinearGradient>
#include <QPainter>
#include <QPainterPath>
#include <QScreen>
#include <QTimer>

#include <cstdio>
#include <memory>

namespace {

ScreenMetrics notchedLaptop() {
    ScreenMetrics m;
    m.frame = QRectF(0, 0, 1512, 982);
    m.visibleFrame = QRectF(0, 37, 1512, 945);
    m.safeAreaTop = 37;
    m.auxiliaryTopLeftArea = QRectF(0, 0, 598, 37);
    m.auxiliaryTopRightArea = QRectF(914, 0, 598, 37);
    return m;
}

ScreenMetrics plainMonitor() {
    ScreenMetrics m;
    m.frame = QRectF(0, 0, 1920, 1080);
    m.visibleFrame = QRectF(0, 25, 1920, 1055);
    return m;
}

void wait(int ms) {
    QElapsedTimer t;
    t.start();
    while (t.elapsed() < ms)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
}

// Until the body (or card) is drawn where the layout wants it: a slow software renderer may
// take several seconds for what a GPU draws in half of one.
void waitForRest(NotchSurface& notch) {
    QElapsedTimer t;
    t.start();
    auto atRest = [&] {
        NotchLayout* layout = notch.window() ? notch.window()->layout() : nullptr;
        if (!layout)
            return false;
        const QRectF drawn = layout->property("drawnRect").toRectF();
        return layout->usesNotchView() ? drawn == layout->bodyRect()
                                       : drawn == layout->floatingRect();
    };
    while (!atRest() && t.elapsed() < 15000)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    wait(600);
}

// Wallpaper, menu bar and, on a notched screen, the camera housing the panel grows from.
QImage desktop(QSize size, qreal dpr, const ScreenMetrics& screen, const QRectF& panel) {
    QImage image(size, QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(dpr);
    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing);
    const QRectF area(QPointF(0, 0), QSizeF(size) / dpr);
    QLinearGradient wall(area.topLeft(), area.bottomRight());
    wall.setColorAt(0, QColor(0x3a, 0x4e, 0x8c));
    wall.setColorAt(0.55, QColor(0x7b, 0x5e, 0xa7));
    wall.setColorAt(1, QColor(0xe0, 0x8e, 0x79));
    p.fillRect(area, wall);
    const double bar = NotchScreen::menubarHeight(screen);
    p.fillRect(QRectF(0, 0, area.width(), bar), QColor(255, 255, 255, 60));
    QFont font = p.font();
    font.setPixelSize(13);
    p.setFont(font);
    p.setPen(Qt::white);
    p.drawText(QRectF(16, 0, 200, bar), Qt::AlignVCenter,
               QStringLiteral("Terminal   Shell   Edit"));
    p.drawText(QRectF(area.width() - 216, 0, 200, bar), Qt::AlignVCenter | Qt::AlignRight,
               QStringLiteral("Sun 22 Nov  09:41"));
    if (NotchScreen::hasNotch(screen)) {
        QRectF housing = NotchScreen::notchFrameWithMenubarAsBackup(screen);
        housing.translate(-panel.topLeft());
        QPainterPath path;
        path.addRoundedRect(housing.adjusted(0, -12, 0, 0), 10, 10);
        p.fillPath(path, Qt::black);
    }
    return image;
}

struct Scene {
    const char* file;
    NotchStyle style;
    ScreenMetrics screen;
    NotchState state;
    bool hovering;
};

} // namespace

int main(int argc, char** argv) {
    QGuiApplication app(argc, argv);
    const QString out = argc > 1 ? QString::fromLocal8Bit(argv[1]) : QStringLiteral("demo");
    QDir().mkpath(out);
    QQmlEngine* engine = NotchPanel::sharedEngine();
    QScreen* screen = QGuiApplication::primaryScreen();
    const Scene scenes[] = {
        {"notch-compact.png", NotchStyle::automatic(), notchedLaptop(), NotchState::compact, false},
        {"notch-expanded.png", NotchStyle::automatic(), notchedLaptop(), NotchState::expanded,
         false},
        {"notch-expanded-hover.png", NotchStyle::notch(), notchedLaptop(), NotchState::expanded,
         true},
        {"floating-expanded.png", NotchStyle::automatic(), plainMonitor(), NotchState::expanded,
         false},
        // The floating card has no compact form: it slides off the top edge, so this picture
        // shows the bare desktop on purpose.
        {"floating-compact.png", NotchStyle::automatic(), plainMonitor(), NotchState::compact,
         false},
    };
    {
        // A compositing manager started beside us (scripts/demo.sh) may take a moment.
        NotchSurface probe(NotchHover::none, NotchStyle::automatic(), NotchContent());
        QElapsedTimer t;
        t.start();
        while (!probe.isTranslucent() && t.elapsed() < 3000)
            QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        if (!probe.isTranslucent())
            std::fprintf(stderr, "notchkit-demo: no compositing manager, so no shadows\n");
    }
    int failures = 0;
    for (const Scene& scene : scenes) {
        NotchSurface notch(NotchHover::all, scene.style,
                           NotchContent(QUrl(QStringLiteral("qrc:/demo/SampleExpanded.qml"))),
                           NotchContent(QUrl(QStringLiteral("qrc:/demo/SampleLeading.qml"))),
                           NotchContent(QUrl(QStringLiteral("qrc:/demo/SampleTrailing.qml"))));
        notch.setEngine(engine);
        const ScreenMetrics metrics = scene.screen;
        notch.setScreenMetricsProvider([metrics](QScreen*) { return metrics; });
        if (scene.state == NotchState::expanded)
            notch.expand(screen);
        else
            notch.compact(screen);
        waitForRest(notch);
        if (scene.hovering) {
            notch.updateHoverState(true);
            wait(900);
        }
        NotchPanel* panel = notch.window();
        const QImage frame = panel ? panel->grabWindow() : QImage();
        if (frame.isNull()) {
            std::fprintf(stderr, "notchkit-demo: nothing rendered for %s\n", scene.file);
            ++failures;
            continue;
        }
        const QRectF panelRect = NotchScreen::panelFrame(metrics);
        QImage picture = desktop(frame.size(), frame.devicePixelRatio(), metrics, panelRect);
        {
            QPainter p(&picture);
            p.drawImage(QPointF(0, 0), frame);
        }
        const QString path = QDir(out).filePath(QString::fromLatin1(scene.file));
        if (!picture.save(path)) {
            std::fprintf(stderr, "notchkit-demo: cannot write %s\n", qPrintable(path));
            ++failures;
            continue;
        }
        std::printf("%s\n", qPrintable(path));
    }
    return failures == 0 ? 0 : 1;
}
