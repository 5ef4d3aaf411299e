// SPDX-License-Identifier: MIT
// The notch views as drawn: the layout numbers they read, and pixels of rendered panels.
#include <QtTest>

#include "NotchLayout.h"
#include "NotchPanel.h"
#include "NotchSurface.h"

#include <QGuiApplication>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickWindow>
#include <QSGRendererInterface>
#include <QScreen>

#include <memory>

#include "SampleScreens.h"

namespace {

// Expanded content that draws nothing itself, 400 × 120, so the pixels are the views' own.
QQmlComponent* blankContent() {
    auto* component = new QQmlComponent(NotchPanel::sharedEngine(), qApp);
    component->setData("import QtQuick\nItem { implicitWidth: 400; implicitHeight: 120 }",
                       QUrl(QStringLiteral("qrc:/test/Blank.qml")));
    return component;
}

// The pixel at a point of the panel, in logical coordinates.
QColor pixel(const QImage& image, int x, int y) {
    const qreal dpr = image.devicePixelRatio();
    return image.pixelColor(int(x * dpr), int(y * dpr));
}

bool isBlack(const QColor& c) {
    return c.alpha() == 255 && c.red() < 8 && c.green() < 8 && c.blue() < 8;
}

// Not the body, though perhaps its shadow.
bool isOutside(const QColor& c) {
    return c.alpha() < 200;
}

QString describe(const QImage& image, int x, int y) {
    const QColor c = pixel(image, x, y);
    return QStringLiteral("(%1, %2) is rgba(%3, %4, %5, %6), dpr %7")
        .arg(x)
        .arg(y)
        .arg(c.red())
        .arg(c.green())
        .arg(c.blue())
        .arg(c.alpha())
        .arg(image.devicePixelRatio());
}

bool near(double a, double b) {
    return qAbs(a - b) < 0.01;
}

// Whether every animated number of the drawing has reached what the layout asks for.
bool atRest(NotchPanel* panel) {
    NotchLayout* layout = panel->layout();
    QQuickItem* root = panel->rootObject();
    auto* content = root ? root->findChild<QQuickItem*>(QStringLiteral("notchContent")) : nullptr;
    if (!layout || !content ||
        !near(content->property("shadowOpacity").toDouble(), layout->shadowOpacity()) ||
        !near(content->property("shadowRadius").toDouble(), layout->shadowRadius()))
        return false;
    if (auto* card = root->findChild<QQuickItem*>(QStringLiteral("floatingCard")))
        return near(card->y(), layout->floatingRect().y());
    auto* body = root->findChild<QQuickItem*>(QStringLiteral("notchBody"));
    const QRectF target = layout->bodyRect();
    return body && near(body->x(), target.x()) && near(body->width(), target.width()) &&
           near(body->height(), target.height()) &&
           near(body->property("topRadius").toDouble(), layout->topCornerRadius()) &&
           near(body->property("bottomRadius").toDouble(), layout->bottomCornerRadius());
}

bool softwareRendered(QQuickWindow* window) {
    return window->rendererInterface()->graphicsApi() == QSGRendererInterface::Software;
}

} // namespace

class TestNotchViews : public QObject {
    Q_OBJECT
private slots:
    void layoutFollowsStateStyleAndHover();
    void notchBodyCoversTheHousingAndFollowsTheOutline();
    void floatingCardShowsOnlyWhenExpanded();
    void contentIsCutToTheOutline();

private:
    std::unique_ptr<NotchSurface> make(NotchStyle style, ScreenMetrics metrics,
                                       NotchHoverBehavior hover = NotchHover::all);
    QScreen* screen() const { return QGuiApplication::primaryScreen(); }
};

std::unique_ptr<NotchSurface> TestNotchViews::make(NotchStyle style, ScreenMetrics metrics,
                                                   NotchHoverBehavior hover) {
    static QQmlComponent* content = blankContent();
    auto surface = std::make_unique<NotchSurface>(hover, style, NotchContent(content));
    surface->setScreenMetricsProvider([metrics](QScreen*) { return metrics; });
    return surface;
}

void TestNotchViews::layoutFollowsStateStyleAndHover() {
    auto notch = make(NotchStyle::makeNotch(10, 16), notchedLaptop());
    notch->initializeWindow(screen(), false);
    NotchLayout* layout = notch->window()->layout();
    QVERIFY(layout);
    QVERIFY(layout->usesNotchView());
    // A new window is laid out at its size from the start: nothing flies in from an empty one.
    QCOMPARE(layout->property("drawnRect").toRectF(), layout->bodyRect());

    // Hidden: pinned to the housing, no shadow at all.
    QCOMPARE(layout->minWidth(), 324.0);
    QCOMPARE(layout->bodyRect().size(), QSizeF(324, 37));
    QCOMPARE(layout->shadowOpacity(), 0.0);
    QCOMPARE(layout->shadowRadius(), 0.0);
    QVERIFY(layout->hitRect().isEmpty());

    // Compact: small corners, the row exactly as tall as the menu bar, the body shifted so
    // the housing stays centred between unequal sides.
    notch->compact(screen());
    layout = notch->window()->layout();
    layout->setCompactLeadingWidth(40);
    layout->setCompactTrailingWidth(80);
    QCOMPARE(layout->topCornerRadius(), 6.0);
    QCOMPARE(layout->bottomCornerRadius(), 14.0);
    QCOMPARE(layout->horizontalPadding(), 6.0);
    QCOMPARE(layout->xOffset(), 20.0);
    QCOMPARE(layout->bodyRect().height(), 37.0);
    QCOMPARE(layout->bodyRect().width(), 40 + 312 + 80 + 2 * 6.0);
    QTRY_COMPARE(layout->bodyRect().center().x(), 756 / 2.0 + 20);
    QCOMPARE(layout->shadowOpacity(), 0.0);
    QCOMPARE(layout->shadowRadius(), 10.0);
    layout->setCompactTrailingWidth(40);
    QCOMPARE(layout->xOffset(), 0.0);
    // Switching a side off gives its width back.
    notch->setDisableCompactLeading(true);
    QCOMPARE(layout->compactLeadingWidth(), 0.0);
    QCOMPARE(layout->xOffset(), 20.0);
    QVERIFY(!layout->showsLeading());
    QVERIFY(layout->showsTrailing());

    // Expanded with a configured notch style: its own radii and padding.
    notch->_expand(screen(), true);
    QCOMPARE(layout->xOffset(), 0.0);
    QCOMPARE(layout->minWidth(), 312 + 2 * 10.0);
    QCOMPARE(layout->topCornerRadius(), 10.0);
    QCOMPARE(layout->bottomCornerRadius(), 16.0);
    QCOMPARE(layout->horizontalPadding(), 10.0);
    QCOMPARE(layout->shadowOpacity(), 0.5);
    QCOMPARE(layout->shadowRadius(), 10.0);
    QTRY_COMPARE(layout->bodyRect().size(), QSizeF(400 + 2 * 10.0, 37 + 120));
    notch->updateHoverState(true);
    QCOMPARE(layout->shadowOpacity(), 0.8);
    QCOMPARE(layout->shadowRadius(), 20.0);
    // keepVisible holds the hide while the pointer stays; once it leaves the shadow goes.
    notch->hide();
    QCOMPARE(layout->shadowOpacity(), 0.8);
    notch->updateHoverState(false);
    QTRY_COMPARE(layout->shadowOpacity(), 0.0);
    QCOMPARE(layout->shadowRadius(), 0.0);

    // Automatic on a notched screen draws the notch view but with the fixed expanded numbers.
    auto automatic = make(NotchStyle::automatic(), notchedLaptop(), NotchHoverOption::keepVisible);
    automatic->expand(screen());
    NotchLayout* a = automatic->window()->layout();
    QCOMPARE(a->minWidth(), 312 + 30.0);
    QCOMPARE(a->topCornerRadius(), 15.0);
    QCOMPARE(a->bottomCornerRadius(), 20.0);
    QCOMPARE(a->horizontalPadding(), 15.0);
    // Hovering strengthens the shadow only with increaseShadow.
    automatic->updateHoverState(true);
    QCOMPARE(a->shadowOpacity(), 0.5);
    automatic->updateHoverState(false);
    automatic->hide();
    QTRY_VERIFY(!automatic->window());
    QTRY_VERIFY(!notch->window());
}

void TestNotchViews::notchBodyCoversTheHousingAndFollowsTheOutline() {
    auto notch = make(NotchStyle::notch(), notchedLaptop());
    // Hidden, the body sits exactly over the housing (312 × 37 at the panel's centre).
    notch->initializeWindow(screen(), false);
    NotchPanel* window = notch->window();
    window->show();
    QVERIFY(QTest::qWaitForWindowExposed(window));
    const bool software = softwareRendered(window);
    if (!window->grabWindow().hasAlphaChannel())
        QSKIP("this platform grabs windows without transparency");
    QTRY_VERIFY(atRest(window));
    const QImage hidden = window->grabWindow();
    QVERIFY(isBlack(pixel(hidden, 378, 18)));
    QVERIFY(isBlack(pixel(hidden, 378 - 150, 18)));
    // Nothing below the body, not even a shadow.
    for (int y = 38; y < 80; y += 2)
        QCOMPARE(pixel(hidden, 378, y).alpha(), 0);
    QCOMPARE(pixel(hidden, 10, 10).alpha(), 0);

    // Expanded: 430 × 157 hanging from the top (x 163…593), sides inset by the flares.
    notch->expand(screen());
    window = notch->window();
    QVERIFY(QTest::qWaitForWindowExposed(window));
    QTRY_VERIFY_WITH_TIMEOUT(atRest(window), 10000);
    const QImage shown = window->grabWindow();
    QVERIFY(isBlack(pixel(shown, 378, 18)));
    QVERIFY(isBlack(pixel(shown, 190, 100)));
    QVERIFY(isBlack(pixel(shown, 566, 100)));
    // Below the top flare the body starts at minX + 15.
    // (Outside the body only the shadow, at most half opaque, covers a pixel.)
    QVERIFY2(isOutside(pixel(shown, 170, 100)), qPrintable(describe(shown, 170, 100)));
    QVERIFY2(isOutside(pixel(shown, 586, 100)), qPrintable(describe(shown, 586, 100)));
    // The flare itself spreads towards the panel's edge at the very top.
    QVERIFY(isBlack(pixel(shown, 176, 2)));
    QVERIFY2(isOutside(pixel(shown, 167, 2)), qPrintable(describe(shown, 167, 2)));
    QCOMPARE(pixel(shown, 20, 400).alpha(), 0);
    if (software) {
        QWARN("software renderer: the shadow is not drawn, not probed");
    } else {
        // A shadow just under the expanded body, fading out further down.
        QVERIFY(pixel(shown, 378, 160).alpha() > 0);
        QCOMPARE(pixel(shown, 378, 230).alpha(), 0);
    }
    notch->hide();
    QTRY_VERIFY(!notch->window());
}

void TestNotchViews::floatingCardShowsOnlyWhenExpanded() {
    // No notch: the automatic style floats a card (440 × 160) just under the 25-point bar.
    auto notch = make(NotchStyle::automatic(), plainMonitor());
    notch->expand(screen());
    NotchPanel* window = notch->window();
    QVERIFY(QTest::qWaitForWindowExposed(window));
    QVERIFY(!window->layout()->usesNotchView());
    QTRY_COMPARE(window->layout()->floatingRect(), QRectF(260, 25, 440, 160));
    if (!window->grabWindow().hasAlphaChannel())
        QSKIP("this platform grabs windows without transparency");
    QTRY_VERIFY_WITH_TIMEOUT(atRest(window), 10000);
    QImage shown = window->grabWindow();
    const QColor card = pixel(shown, 480, 105);
    QVERIFY(card.red() < 40 && card.green() < 40 && card.blue() < 40);
    QVERIFY(pixel(shown, 480, 10).alpha() < 40); // at most a trace of shadow above it
    QCOMPARE(pixel(shown, 480, 260).alpha() < 80, true);

    // Compact slides the card off the top: the panel is empty, as when hidden.
    notch->compact(screen());
    QTRY_VERIFY_WITH_TIMEOUT(notch->isCompact() && atRest(window), 10000);
    shown = window->grabWindow();
    for (int y = 0; y < 300; y += 4)
        for (int x = 200; x < 760; x += 8)
            QCOMPARE(pixel(shown, x, y).alpha(), 0);
    QVERIFY(window->layout()->hitRect().isEmpty());
    notch->hide();
    QTRY_VERIFY(!notch->window());
}

void TestNotchViews::contentIsCutToTheOutline() {
    // Content that paints red well beyond its own bounds, over the whole expanded body.
    QQmlComponent spill(NotchPanel::sharedEngine());
    spill.setData("import QtQuick\nItem { implicitWidth: 400; implicitHeight: 120;"
                  " Rectangle { x: -60; y: -60; width: 520; height: 240; color: 'red' } }",
                  QUrl(QStringLiteral("qrc:/test/Spill.qml")));
    NotchSurface notch(NotchHover::none, NotchStyle::notch(), NotchContent(&spill));
    notch.setScreenMetricsProvider([](QScreen*) { return notchedLaptop(); });
    notch.expand(screen());
    NotchPanel* window = notch.window();
    QVERIFY(QTest::qWaitForWindowExposed(window));
    if (!window->grabWindow().hasAlphaChannel())
        QSKIP("this platform grabs windows without transparency");
    QTRY_VERIFY_WITH_TIMEOUT(atRest(window), 10000);
    const QImage shown = window->grabWindow();
    auto isRed = [](const QColor& c) { return c.red() > 200 && c.green() < 60; };
    // Inside the body the content shows; outside the body (430 × 157 from x 163) nothing red.
    QVERIFY2(isRed(pixel(shown, 378, 100)), qPrintable(describe(shown, 378, 100)));
    for (const QPoint p : {QPoint(150, 100), QPoint(378, 170), QPoint(610, 50)})
        QVERIFY2(!isRed(pixel(shown, p.x(), p.y())), qPrintable(describe(shown, p.x(), p.y())));
    if (softwareRendered(window)) {
        QWARN("software renderer: content is cut to the body's rectangle only, not probed");
    } else {
        // Beside a straight side under the top flare, and outside a rounded bottom corner.
        for (const QPoint p :
             {QPoint(168, 100), QPoint(588, 100), QPoint(180, 155), QPoint(576, 155)})
            QVERIFY2(!isRed(pixel(shown, p.x(), p.y())), qPrintable(describe(shown, p.x(), p.y())));
    }
    notch.hide();
    QTRY_VERIFY(!notch.window());
}

QTEST_MAIN(TestNotchViews)
#include "tst_notchviews.moc"
