// SPDX-License-Identifier: MIT
// The session views and the UI kit they are made of: derived texts and colours as tables, the
// list's rows and its one open row, and the views rendered offscreen, probed where a shape or
// colour must be, driven by clicks.
#include <QtTest>

#include "../Sessions/StoreFixture.h"
#include "Notch/NotchPalette.h"
#include "Notch/SessionListModel.h"
#include "Notch/SessionPresentation.h"
#include "Notch/UIPrimitives.h"
#include "Pixels.h"
#include "QuickScene.h"

#include <QAbstractItemModelTester>
#include <QtQml/qqmlextensionplugin.h>

Q_IMPORT_QML_PLUGIN(Hollowmere_NotchPlugin)

namespace SP = SessionPresentation;

namespace {

// A store with sessions made by hook events, as the hook server would hand them in.
struct Store {
    StoreFakes fakes;
    std::unique_ptr<SessionStore> owned = makeStore(fakes, {}, std::chrono::hours(1));
    SessionStore& store = *owned;
    QDateTime& now = fakes.now;

    void event(const QString& id, HookEvent::Kind kind, qint64 secondsAgo = 0,
               std::optional<std::string> terminal = std::nullopt) {
        const double at = double(now.toSecsSinceEpoch() - secondsAgo) - referenceDateUnixOffset;
        HookEvent e = kind == HookEvent::Kind::permissionRequest
                          ? permissionRequest(id.toStdString(), "Bash", bashInput("make"), at)
                          : hookEvent(kind, id.toStdString(), at);
        e.terminalBundleId = terminal;
        store.handle(e, [](const HookDecision&) {});
    }
    void working(const QString& id, qint64 secondsAgo = 0) {
        event(id, HookEvent::Kind::permissionRequest, secondsAgo);
        store.resolve(id, HookDecision{HookDecision::Decision::approve, {}, {}});
    }
};

// The UI kit's primitives on a grey ground.
const QByteArray kit = R"(
import QtQuick
import Hollowmere.Notch
Rectangle {
    width: 420; height: 260; color: "#808080"
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

QColor over(QColor top, QColor below) {
    const qreal a = top.alphaF();
    return QColor::fromRgbF(top.redF() * a + below.redF() * (1 - a),
                            top.greenF() * a + below.greenF() * (1 - a),
                            top.blueF() * a + below.blueF() * (1 - a));
}

} // namespace

class TestSessionViews : public QObject {
    Q_OBJECT
private slots:
    void initTestCase();
    void texts();
    void rowsFollowTheStoreAndOneIsOpen();
    void renderedList();
    void renderedCompactSides();
    void rendersThePrimitives();
    void markFallsBackToSparkle();
};

void TestSessionViews::initTestCase() {
    QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
}

void TestSessionViews::texts() {
    // The list's subtitle from the pending, working and session counts.
    const std::tuple<int, int, int, QString> subtitles[] = {
        {0, 0, 0, "0 sessions"},          {0, 0, 1, "1 session"},
        {0, 2, 3, "2 working"},           {1, 2, 3, "1 waiting · 2 working"},
        {1, 0, 1, "1 waiting for input"},
    };
    for (const auto& [pending, working, sessions, text] : subtitles)
        QCOMPARE(SP::subtitle(pending, working, sessions), text);
    QCOMPARE(SP::helpText("app", QStringLiteral("iTerm"), true),
             QStringLiteral("Click anywhere to open app in iTerm"));

    // The latest message the user sent, else their first prompt.
    Session session;
    QCOMPARE(SP::activityPreview(session), std::nullopt);
    session.firstUserPrompt = QStringLiteral("first");
    session.lastUserMessage = QString(); // empty: still the first prompt
    QCOMPARE(SP::activityPreview(session), QStringLiteral("first"));
    session.lastUserMessage = QStringLiteral("latest");
    QCOMPARE(SP::activityPreview(session), QStringLiteral("latest"));
}

void TestSessionViews::rowsFollowTheStoreAndOneIsOpen() {
    Store s;
    s.event("old", HookEvent::Kind::notification, 3600, "com.googlecode.iterm2");
    s.event("mid", HookEvent::Kind::notification, 59);
    QStringList jumps;
    SessionListModel list(SessionListModel::Environment{
        [&s] { return s.now; }, [&jumps](const Session& session) { jumps << session.sessionId; }});
    QAbstractItemModelTester tester(&list, QAbstractItemModelTester::FailureReportingMode::QtTest);
    list.setStore(&s.store);
    auto column = [&list](int role) {
        QStringList values;
        for (int i = 0; i < list.rowCount(); ++i)
            values << list.data(list.index(i), role).toString();
        return values;
    };
    QCOMPARE(column(SessionListModel::SessionIdRole), (QStringList{"mid", "old"}));
    QCOMPARE(column(SessionListModel::TimeAgoRole), (QStringList{"now", "1h"}));
    QCOMPARE(column(SessionListModel::HelpTextRole).last(),
             QStringLiteral("Click to expand · click again to open in iTerm"));

    // A session that changes keeps its row; a newer one arrives on top without a reset.
    QSignalSpy reset(&list, &QAbstractItemModel::modelReset);
    QSignalSpy removed(&list, &QAbstractItemModel::rowsRemoved);
    QSignalSpy changed(&list, &QAbstractItemModel::dataChanged);
    s.event("mid", HookEvent::Kind::stop, 59);
    QCOMPARE(column(SessionListModel::StatusRole), (QStringList{"done", "idle"}));
    QCOMPARE(changed.size(), 1);
    s.event("new", HookEvent::Kind::notification);
    s.event("old", HookEvent::Kind::notification, 1);
    QCOMPARE(column(SessionListModel::SessionIdRole), (QStringList{"new", "old", "mid"}));
    QCOMPARE(reset.size(), 0);
    QCOMPARE(removed.size(), 0);
    // Time passing changes only the age texts: 59 s old becomes 1m.
    s.now = s.now.addSecs(1);
    list.refresh();
    QCOMPARE(column(SessionListModel::TimeAgoRole), (QStringList{"now", "now", "1m"}));

    // One open row at a time; a tap on the open one opens its terminal and leaves it open.
    list.tap("old");
    list.tap("mid");
    QCOMPARE(list.expandedSessionId(), QStringLiteral("mid"));
    QVERIFY(jumps.isEmpty());
    list.tap("mid");
    QCOMPARE(jumps, QStringList{"mid"});
    QCOMPARE(list.expandedSessionId(), QStringLiteral("mid"));
}

void TestSessionViews::renderedList() {
    Store s;
    s.event("idle-one", HookEvent::Kind::notification, 300, "com.mitchellh.ghostty");
    s.working("busy-one", 10);
    s.event("asks", HookEvent::Kind::notification, 20);
    QuickScene scene;
    QVERIFY(scene.load(R"(
        import QtQuick
        import Hollowmere.Notch
        Rectangle {
            width: 460; height: 360; color: "black"
            property alias sessions: card.sessions
            SessionListCard { id: card; objectName: "card"; x: 6; y: 6; width: 448 }
        })",
                       {{"sessions", QVariant::fromValue(&s.store)}}));
    auto* card = scene.find("card");
    auto* list = card->property("list").value<SessionListModel*>();
    QCOMPARE(list->count(), 3);
    auto rows = [&] {
        QList<QQuickItem*> found;
        std::function<void(QQuickItem*)> walk = [&](QQuickItem* item) {
            if (item->property("sessionId").isValid() && item->property("list").isValid())
                found << item;
            for (QQuickItem* child : item->childItems())
                walk(child);
        };
        walk(card);
        std::sort(found.begin(), found.end(),
                  [](QQuickItem* a, QQuickItem* b) { return a->y() < b->y(); });
        return found;
    };
    QTRY_COMPARE(rows().size(), 3);
    QCOMPARE(rows()[0]->property("sessionId").toString(), QStringLiteral("busy-one"));
    QCOMPARE(rows()[0]->property("accessibleName").toString(), QStringLiteral("busy-one, Working"));
    QCOMPARE(scene.find("listSubtitle")->property("text").toString(), QStringLiteral("1 working"));

    // A click on a closed row opens it: it grows and shows its open fill and the chevron.
    QQuickItem* idleRow = rows()[2];
    const qreal closedHeight = idleRow->height();
    const QPointF inRow = idleRow->mapToScene(QPointF(idleRow->width() / 2, 10));
    QTest::mouseClick(&scene.window, Qt::LeftButton, {}, inRow.toPoint());
    QCOMPARE(list->expandedSessionId(), QStringLiteral("idle-one"));
    QTRY_VERIFY(idleRow->height() > closedHeight);
    auto* chevron = idleRow->findChild<QQuickItem*>("collapseButton");
    QVERIFY(chevron && chevron->isVisible());
    const QImage picture = scene.grab(400);
    picture.save(QDir::temp().filePath("hollowmere-session-list.png"));
    const QPoint fillPoint = idleRow->mapToScene(QPointF(4, idleRow->height() / 2)).toPoint();
    QVERIFY2(near(picture.pixelColor(fillPoint), over(SP::rowFill(true, false), Qt::black), 8),
             qPrintable(picture.pixelColor(fillPoint).name()));
    // The working badge is the accent, solid.
    QQuickItem* busyRow = rows()[0];
    const QPoint badge = busyRow->mapToScene(QPointF(12 + 14, busyRow->height() / 2)).toPoint();
    QVERIFY(pixelsNear(picture, QRect(badge - QPoint(12, 12), QSize(24, 24)),
                       NotchPalette::accent()) > 100);

    // The chevron closes it.
    const QPointF onChevron =
        chevron->mapToScene(QPointF(chevron->width() / 2, chevron->height() / 2));
    QTest::mouseClick(&scene.window, Qt::LeftButton, {}, onChevron.toPoint());
    QCOMPARE(list->expandedSessionId(), QString());
    QTRY_COMPARE(idleRow->height(), closedHeight);
}

void TestSessionViews::renderedCompactSides() {
    Store s;
    s.event("a", HookEvent::Kind::notification);
    QuickScene scene;
    QVERIFY(scene.load(R"(
        import QtQuick
        import Hollowmere.Notch
        Rectangle {
            width: 120; height: 32; color: "black"
            property SessionStore sessions
            CompactLeading { objectName: "leading"; sessions: parent.sessions }
            CompactTrailing { objectName: "trailing"; x: 60; sessions: parent.sessions }
        })",
                       {{"sessions", QVariant::fromValue(&s.store)}}));
    auto* leading = scene.find("leading");
    auto* trailing = scene.find("trailing");
    const QRect markArea(leading->mapToScene(QPointF(10, 10)).toPoint(), QSize(12, 12));
    int frames = 0;
    connect(&scene.window, &QQuickWindow::frameSwapped, this, [&frames] { ++frames; });
    // The mark in the sessions' accent, and the halo moving only when they call for attention:
    // at rest nothing moves, so no frame is drawn.
    const auto shows = [&](const char* what, QColor accent, bool moving) {
        const QImage picture = scene.grab(600);
        frames = 0;
        QTest::qWait(500);
        QVERIFY2(pixelsNear(picture, markArea, accent, 60) > 10, what);
        QVERIFY2(moving ? frames > 5 : frames == 0, qPrintable(what + QString::number(frames)));
    };
    shows("idle", QColor::fromRgbF(0.95f, 0.55f, 0.30f), false);
    s.event("b", HookEvent::Kind::stop);
    shows("one just finished", NotchPalette::green(), false);
    // A prompt outranks them: orange, and the halo moves.
    s.event("a", HookEvent::Kind::permissionRequest);
    shows("waiting", NotchPalette::orange(), true);
    // Working: green, the halo still moving, the chip with its dots instead of a symbol.
    s.store.resolve("a", HookDecision{HookDecision::Decision::approve, {}, {}});
    shows("working", NotchPalette::green(), true);
    QVERIFY(trailing->findChild<QQuickItem*>("workingChip")->isVisible());
    QVERIFY(!trailing->findChild<QQuickItem*>("trailingSymbol")->isVisible());
}

void TestSessionViews::rendersThePrimitives() {
    QuickScene scene;
    QVERIFY(scene.load(kit));
    const QImage image = scene.grab();
    image.save(QCoreApplication::applicationDirPath() + "/notch-uikit.png");
    const QColor grey(0x80, 0x80, 0x80);

    // Badge: accent tile, white mark in its middle, accent glow outside it.
    const QRect badge = QuickScene::rectOf(scene.find("badge"));
    QVERIFY(
        near(image.pixelColor(badge.left() + 3, badge.center().y()), NotchPalette::accent(), 8));
    QVERIFY(pixelsNear(image, badge.adjusted(12, 12, -12, -12), Qt::white) > 20);
    const QColor glow = image.pixelColor(badge.left() - 3, badge.center().y());
    QVERIFY(!near(glow, grey, 6) && glow.red() > glow.blue());

    // Card: black at 0.55 over the grey, rounded (its corner pixel keeps the grey).
    const QRect card = QuickScene::rectOf(scene.find("card"));
    QVERIFY(near(image.pixelColor(card.center().x(), card.bottom() - 8),
                 over(NotchPalette::cardFill(), grey), 4));
    QVERIFY(near(image.pixelColor(card.topLeft()), grey, 4));

    // Pill: green text and symbol on a faint green capsule.
    const QRect pill = QuickScene::rectOf(scene.find("pill"));
    QVERIFY(pixelsNear(image, pill, NotchPalette::green(), 60) > 10);

    // Key hint: its label in light text.
    QVERIFY(pixelsNear(image, QuickScene::rectOf(scene.find("key")), Qt::white, 70) > 5);

    // A setting that is on shows a green check in its well; one that is off, no green at all.
    const QRect wellOn = QuickScene::rectOf(scene.find("rowOn")->findChild<QQuickItem*>("rowWell"));
    QVERIFY(pixelsNear(image, wellOn, NotchPalette::green(), 60) > 10);
    const QRect rowOff = QuickScene::rectOf(scene.find("rowOff"));
    QCOMPARE(pixelsNear(image, rowOff, NotchPalette::green(), 60), 0);
}

void TestSessionViews::markFallsBackToSparkle() {
    QVERIFY(UIPrimitives::claudeMarkSource(Qt::white).endsWith("/claude-logo"));
    const QString bundled = UIPrimitives::claudeLogoResource();
    UIPrimitives::setClaudeLogoResource(":/assets/none.svg");
    QVERIFY(UIPrimitives::claudeMarkSource(Qt::white).endsWith("/sparkle"));
    UIPrimitives::setClaudeLogoResource(bundled);

    // The mark and every symbol the notch's views name have a drawing.
    SymbolImageProvider provider;
    for (const char* name :
         {"claude-logo", "sparkle", "exclamationmark", "checkmark", "checkmark.circle.fill",
          "pause.fill", "ellipsis", "bell.badge.fill", "terminal.fill", "rectangle.dashed",
          "chevron.left.forwardslash.chevron.right", "arrow.up.right", "chevron.up"}) {
        QSize size;
        const QImage image =
            provider.requestImage(QString("ffffffff/") + name, &size, QSize(32, 32));
        const int inked = pixelsNear(image, image.rect(), Qt::white, 10);
        QVERIFY2(inked > 40 && inked < 32 * 32 - 40, name);
    }
}

QTEST_MAIN(TestSessionViews)
#include "tst_sessionviews.moc"
