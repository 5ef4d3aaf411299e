// SPDX-License-Identifier: MIT
// The notch views as drawn on an X server with a compositing manager: the layout numbers they
// read, and pixels of rendered panels.
#include <QtTest>

#include "NotchLayout.h"
#include "NotchPanel.h"
#include "NotchSurface.h"
#include "Platform/Compositor.h"

#include <QGuiApplication>
#include <QQmlComponent>
#include <QQuickItem>
#include <QScreen>

#include <memory>

#include "SampleScreens.h"

namespace {

// The pixel at a point of the panel, in logical coordinates.
QColor pixel(const QImage& image, int x, int y) {
    const qreal dpr = image.devicePixelRatio();
    return image.pixelColor(int(x * dpr), int(y * dpr));
}

bool isBlack(const QColor& c) {
    return c.alpha() == 255 && c.red() < 8 && c.green() < 8 && c.blue() < 8;
}

// Not the body, though perhaps its shadow (at most half opaque).
bool isOutside(const QColor& c) {
    return c.alpha() < 200;
}

// Every animated number of the drawing has reached what the layout asks for.
bool atRest(NotchPanel* panel) {
    NotchLayout* l = panel->layout();
    auto* content = l ? panel->rootObject()->findChild<QQuickItem*>("notchContent") : nullptr;
    if (!content ||
        qAbs(content->property("shadowOpacity").toDouble() - l->shadowOpacity()) > 0.01 ||
        qAbs(content->property("shadowRadius").toDouble() - l->shadowRadius()) > 0.01)
        return false;
    const QRectF target = l->usesNotchView() ? l->bodyRect() : l->floatingRect();
    return l->property("drawnRect").toRectF().toRect() == target.toRect() &&
           (!l->usesNotchView() ||
            qAbs(l->property("drawnBottomRadius").toDouble() - l->bottomCornerRadius()) < 0.01);
}

// Corner radii and padding of the body, then its shadow's opacity and radius.
QList<double> look(NotchLayout* l) {
    return {l->topCornerRadius(), l->bottomCornerRadius(), l->horizontalPadding(),
            l->shadowOpacity(), l->shadowRadius()};
}

} // namespace

class TestNotchViews : public QObject {
    Q_OBJECT
private slots:
    void initTestCase() {
        QTRY_VERIFY_WITH_TIMEOUT(Compositor::shared().isActive(), 10000);
        // Expanded content that draws nothing itself, 400 × 120, so the pixels are the views' own.
        m_blank = new QQmlComponent(NotchPanel::sharedEngine(), this);
        m_blank->setData("import QtQuick\nItem { implicitWidth: 400; implicitHeight: 120 }",
                         QUrl(QStringLiteral("qrc:/test/Blank.qml")));
    }
    void layoutFollowsStateStyleAndHover() {
        auto notch = make(NotchStyle::makeNotch(10, 16), notchedLaptop());
        notch->initializeWindow(screen(), false);
        NotchLayout* layout = notch->window()->layout();
        // A new window is laid out at its size from the start: nothing flies in from an empty one.
        QCOMPARE(layout->property("drawnRect").toRectF(), layout->bodyRect());

        // Compact: the body shifted so the housing stays centred between unequal sides; a side
        // switched off gives its width back.
        notch->compact(screen());
        layout = notch->window()->layout();
        layout->setCompactLeadingWidth(40);
        layout->setCompactTrailingWidth(80);
        QTRY_COMPARE(layout->bodyRect(), QRectF(378 - 222 + 20, 0, 40 + 312 + 80 + 2 * 6, 37));
        layout->setCompactTrailingWidth(40);
        QCOMPARE(layout->xOffset(), 0.0);
        notch->setDisableCompactLeading(true);
        QCOMPARE(layout->compactLeadingWidth(), 0.0);
        QCOMPARE(layout->xOffset(), 20.0);
        QVERIFY(!layout->showsLeading() && layout->showsTrailing());

        // Expanded with a configured notch style: its own radii and padding; hovering strengthens
        // the shadow, which goes once the pointer leaves.
        notch->_expand(screen(), true);
        QCOMPARE(layout->xOffset(), 0.0);
        QCOMPARE(look(layout), (QList<double>{10, 16, 10, 0.5, 10}));
        notch->updateHoverState(true);
        QCOMPARE(look(layout), (QList<double>{10, 16, 10, 0.8, 20}));
        notch->updateHoverState(false);
        notch->hide();
        QTRY_COMPARE(look(layout), (QList<double>{6, 14, 6, 0, 0}));
        QVERIFY(layout->hitRect().isEmpty());

        // Without increaseShadow hovering leaves the shadow alone.
        auto automatic =
            make(NotchStyle::automatic(), notchedLaptop(), NotchHoverOption::keepVisible);
        automatic->expand(screen());
        automatic->updateHoverState(true);
        QCOMPARE(automatic->window()->layout()->shadowOpacity(), 0.5);
        automatic->updateHoverState(false);
        automatic->hide();
        QTRY_VERIFY(!automatic->window() && !notch->window());
    }
    void notchBodyCoversTheHousingAndFollowsTheOutline() {
        // Hidden, the body sits exactly over the housing (312 × 37 at the panel's centre), with
        // nothing below it, not even a shadow.
        auto notch = make(NotchStyle::notch(), notchedLaptop());
        notch->initializeWindow(screen(), false);
        notch->window()->show();
        const QImage hidden = shownAtRest(*notch, "hidden");
        QVERIFY(!hidden.isNull());
        QVERIFY(isBlack(pixel(hidden, 378, 18)) && isBlack(pixel(hidden, 378 - 150, 18)));
        for (int y = 38; y < 80; y += 2)
            QCOMPARE(pixel(hidden, 378, y).alpha(), 0);
        QCOMPARE(pixel(hidden, 10, 10).alpha(), 0);

        // Expanded: 430 × 157 hanging from the top (x 163…593), its flare spreading towards the
        // panel's edge at the very top (the sides are probed below, with content spilling over
        // them). A shadow lies just under the body, fading out further down.
        notch->expand(screen());
        const QImage shown = shownAtRest(*notch, "expanded");
        QVERIFY(!shown.isNull());
        QVERIFY(isBlack(pixel(shown, 176, 2)) && isOutside(pixel(shown, 167, 2)));
        QCOMPARE(pixel(shown, 20, 400).alpha(), 0);
        QVERIFY(pixel(shown, 378, 160).alpha() > 0);
        QCOMPARE(pixel(shown, 378, 230).alpha(), 0);
        notch->hide();
        QTRY_VERIFY(!notch->window());

        // Content that paints red well beyond its own bounds shows only inside the outline: not
        // beside it, below it, beside a straight side under the flare, or outside a bottom corner.
        QQmlComponent spill(NotchPanel::sharedEngine());
        spill.setData("import QtQuick\nItem { implicitWidth: 400; implicitHeight: 120;"
                      " Rectangle { x: -60; y: -60; width: 520; height: 240; color: 'red' } }",
                      QUrl(QStringLiteral("qrc:/test/Spill.qml")));
        auto spilling = make(NotchStyle::notch(), notchedLaptop(), NotchHover::none, &spill);
        spilling->expand(screen());
        const QImage cut = shownAtRest(*spilling, "spill");
        const auto isRed = [&cut](int x, int y) {
            const QColor c = pixel(cut, x, y);
            return c.red() > 200 && c.green() < 60;
        };
        QVERIFY(isRed(378, 100));
        for (const QPoint p :
             {QPoint(150, 100), QPoint(378, 170), QPoint(610, 50), QPoint(168, 100),
              QPoint(588, 100), QPoint(180, 155), QPoint(576, 155)})
            QVERIFY2(!isRed(p.x(), p.y()), qPrintable(QString("%1, %2").arg(p.x()).arg(p.y())));
        spilling->hide();
        QTRY_VERIFY(!spilling->window());
    }
    void floatingCardShowsOnlyWhenExpanded() {
        // No notch: the automatic style floats a card (440 × 160) just under the 25-point bar.
        auto notch = make(NotchStyle::automatic(), plainMonitor());
        notch->expand(screen());
        QVERIFY(!notch->window()->layout()->usesNotchView());
        QTRY_COMPARE(notch->window()->layout()->floatingRect(), QRectF(260, 25, 440, 160));
        QImage shown = shownAtRest(*notch, "floating");
        QVERIFY(!shown.isNull());
        const QColor card = pixel(shown, 480, 105);
        QVERIFY(card.red() < 40 && card.green() < 40 && card.blue() < 40);
        QVERIFY(pixel(shown, 480, 10).alpha() < 40); // at most a trace of shadow above it
        QVERIFY(pixel(shown, 480, 260).alpha() < 80);

        // Compact slides the card off the top: the panel is empty, as when hidden.
        notch->compact(screen());
        QTRY_VERIFY(notch->isCompact());
        shown = shownAtRest(*notch, "floating-compact");
        for (int y = 0; y < 300; y += 4)
            for (int x = 200; x < 760; x += 8)
                QCOMPARE(pixel(shown, x, y).alpha(), 0);
        QVERIFY(notch->window()->layout()->hitRect().isEmpty());
        notch->hide();
        QTRY_VERIFY(!notch->window());
    }

private:
    std::unique_ptr<NotchSurface> make(NotchStyle style, ScreenMetrics metrics,
                                       NotchHoverBehavior hover = NotchHover::all,
                                       QQmlComponent* content = nullptr) {
        auto surface =
            std::make_unique<NotchSurface>(hover, style, NotchContent(content ? content : m_blank));
        surface->setScreenMetricsProvider([metrics](QScreen*) { return metrics; });
        return surface;
    }
    // The panel grabbed once its drawing has come to rest, kept as a PNG to look at.
    QImage shownAtRest(NotchSurface& notch, const char* name) {
        NotchPanel* window = notch.window();
        if (!QTest::qWaitForWindowExposed(window) ||
            !QTest::qWaitFor([&] { return atRest(window); }))
            return {};
        const QImage image = window->grabWindow();
        image.save(QCoreApplication::applicationDirPath() + "/notchviews-" + name + ".png");
        return image;
    }
    QScreen* screen() const { return QGuiApplication::primaryScreen(); }
    QQmlComponent* m_blank = nullptr;
};

QTEST_MAIN(TestNotchViews)
#include "tst_notchviews.moc"
