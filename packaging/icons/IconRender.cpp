// SPDX-License-Identifier: MIT
// Renders the app icon into the PNG sizes the desktops and the macOS bundle ask for, with Qt's
// own SVG renderer, the one that draws the same icon in the tray and the windows at run time.
//   hollowmere-icon-render ICON.svg SIZE=OUT.png...
#include <QImage>
#include <QPainter>
#include <QSvgRenderer>

#include <cstdio>

int main(int argc, char** argv) {
    if (argc < 3) {
        std::fprintf(stderr, "usage: hollowmere-icon-render ICON.svg SIZE=OUT.png...\n");
        return 2;
    }
    QSvgRenderer svg(QString::fromLocal8Bit(argv[1]));
    if (!svg.isValid()) {
        std::fprintf(stderr, "hollowmere-icon-render: cannot read %s\n", argv[1]);
        return 1;
    }
    for (int i = 2; i < argc; ++i) {
        const QString spec = QString::fromLocal8Bit(argv[i]);
        bool ok = false;
        const int size = spec.section(QLatin1Char('='), 0, 0).toInt(&ok);
        const QString out = spec.section(QLatin1Char('='), 1);
        if (!ok || size <= 0 || out.isEmpty()) {
            std::fprintf(stderr, "hollowmere-icon-render: bad output %s\n", argv[i]);
            return 2;
        }
        QImage image(size, size, QImage::Format_ARGB32_Premultiplied);
        image.fill(Qt::transparent);
        QPainter painter(&image);
        painter.setRenderHint(QPainter::Antialiasing);
        svg.render(&painter);
        painter.end();
        if (!image.save(out, "PNG")) {
            std::fprintf(stderr, "hollowmere-icon-render: cannot write %s\n", qPrintable(out));
            return 1;
        }
    }
    return 0;
}
