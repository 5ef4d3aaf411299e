// SPDX-License-Identifier: MIT
// The session views: their derived texts and colours as tables, the list's rows and its one open
// row, and the views rendered offscreen, probed where a shape or colour must be, driven by clicks.
#include <QtTest>

#include "Notch/NotchPalette.h"
#include "Notch/SessionListModel.h"
#include "Notch/SessionPresentation.h"
#include "Notch/SessionsModel.h"
#include "Pixels.h"
#include "QuickScene.h"
#include "Sessions/SessionStore.h"

#include <QAbstractItemModelTester>
#include <QtQml/qqmlextensionplugin.h>

Q_IMPORT_QML_PLUGIN(Hollowmere_NotchPlugin)

namespace SP = SessionPresentation;

namespace {

// A store with sessions made by hook events, as the hook server would hand them in.
struct Store {
    QTemporaryDir dir;
    QDateTime now = QDateTime::fromSecsSinceEpoch(1'750'000'000, Qt::UTC);
    SessionStore store{SessionStore::Environment{
        dir.filePath("settings.json"), [](const QString&) {},
        [] { return std::set<std::string>{}; }, [](const QString&) { return true; },
        [this] { return now; }, std::chrono::hours(1)}};

    void event(const QString& id, HookEvent::Kind kind, qint64 secondsAgo = 0,
               std::optional<std::string> terminal = std::nullopt) {
        HookEvent e;
        e.kind = kind;
        e.sessionId = id.toStdString();
        e.cwd = "/home/me/" + id.toStdString();
        e.timestamp = double(now.toSecsSinceEpoch() - secondsAgo) - referenceDateUnixOffset;
        e.terminalBundleId = terminal;
        if (kind == HookEvent::Kind::permissionRequest) {
            e.tool = "Bash";
            e.toolInput = R"({"command":"make test","description":"Run the tests"})";
        }
        store.handle(e, [](const HookDecision&) {});
    }
    void working(const QString& id, qint64 secondsAgo = 0) {
        event(id, HookEvent::Kind::permissionRequest, secondsAgo);
        store.resolve(id, HookDecision{HookDecision::Decision::approve, {}, {}});
    }
};

// `color` drawn at its opacity over black, as the notch body shows it.
QColor overBlack(QColor c) {
    return QColor::fromRgbF(c.redF() * c.alphaF(), c.greenF() * c.alphaF(), c.blueF() * c.alphaF());
}

} // namespace

class TestSessionViews : public QObject {
    Q_OBJECT
private slots:
    void initTestCase();
    void statusAndTexts();
    void subtitle_data();
    void subtitle();
    void compactSides_data();
    void compactSides();
    void rowsFollowTheStoreInPlace();
    void oneOpenRowAndOnlyTheChevronClosesIt();
    void renderedList();
    void renderedCompactAndIdleFrames();

};

void TestSessionViews::initTestCase() {
    QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
}

void TestSessionViews::statusAndTexts() {
    Store s;
    s.event("waits", HookEvent::Kind::permissionRequest);
    s.working("works");
    s.event("done", HookEvent::Kind::stop);
    s.event("idle", HookEvent::Kind::notification);
    const auto status = [&s](const char* id) { return SP::uiStatus(*s.store.session(id)); };
    QCOMPARE(status("waits"), SP::UIStatus::waiting);
    QCOMPARE(status("works"), SP::UIStatus::working);
    QCOMPARE(status("done"), SP::UIStatus::done);
    QCOMPARE(status("idle"), SP::UIStatus::idle);

    // The badge and chip of each status.
    const SP::StatusStyle done = SP::statusStyle(SP::UIStatus::done);
    QCOMPARE(done.badgeSymbol, QStringLiteral("checkmark"));
    QCOMPARE(done.chipLabel, QStringLiteral("Done"));
    QCOMPARE(done.chipColor, NotchPalette::green());
    QCOMPARE(done.badgeShadow.alpha(), 0);
    const SP::StatusStyle waiting = SP::statusStyle(SP::UIStatus::waiting);
    QVERIFY(waiting.pulseDot && !waiting.typingDots);
    QCOMPARE(waiting.chipLabel, QStringLiteral("Waiting for input"));
    QVERIFY(SP::statusStyle(SP::UIStatus::working).typingDots);
    QCOMPARE(SP::statusStyle(SP::UIStatus::idle).badgeSymbol, QStringLiteral("pause.fill"));

    QCOMPARE(SP::projectName("/home/me/hollowmere"), QStringLiteral("hollowmere"));
    QCOMPARE(SP::projectName("/"), QStringLiteral("/"));
    QCOMPARE(SP::projectName("/home/me/app/"), QStringLiteral("/home/me/app/"));
    QCOMPARE(SP::helpText("app", std::nullopt, false),
             QStringLiteral("Click to expand · click again to open in the terminal"));
    QCOMPARE(SP::helpText("app", QStringLiteral("iTerm"), true),
             QStringLiteral("Click anywhere to open app in iTerm"));

    Session session;
    QCOMPARE(SP::activityPreview(session), std::nullopt);
    session.firstUserPrompt = QStringLiteral("first");
    session.lastUserMessage = QString();
    QCOMPARE(SP::activityPreview(session), QStringLiteral("first"));
    session.lastUserMessage = QStringLiteral("latest");
    QCOMPARE(SP::activityPreview(session), QStringLiteral("latest"));
}

void TestSessionViews::subtitle_data() {
    QTest::addColumn<int>("pending");
    QTest::addColumn<int>("working");
    QTest::addColumn<int>("sessions");
    QTest::addColumn<QString>("text");
    QTest::newRow("nothing") << 0 << 0 << 0 << "0 sessions";
    QTest::newRow("one idle") << 0 << 0 << 1 << "1 session";
    QTest::newRow("working") << 0 << 2 << 3 << "2 working";
    QTest::newRow("both") << 1 << 2 << 3 << "1 waiting · 2 working";
    QTest::newRow("waiting only") << 1 << 0 << 1 << "1 waiting for input";
}

void TestSessionViews::subtitle() {
    QFETCH(int, pending);
    QFETCH(int, working);
    QFETCH(int, sessions);
    QFETCH(QString, text);
    QCOMPARE(SP::subtitle(pending, working, sessions), text);
}

void TestSessionViews::compactSides_data() {
    QTest::addColumn<QStringList>("script"); // "w" waiting, "r" working, "d" done, "i" idle
    QTest::addColumn<QString>("trailing");
    QTest::addColumn<QColor>("accent");
    QTest::addColumn<bool>("attention");
    const QColor ownAccent = QColor::fromRgbF(0.95f, 0.55f, 0.30f);
    QTest::newRow("idle") << QStringList{"i"} << "ellipsis" << ownAccent << false;
    QTest::newRow("finished") << QStringList{"i", "d"} << "finished" << NotchPalette::green()
                              << false;
    QTest::newRow("working beats finished")
        << QStringList{"d", "r"} << "working" << NotchPalette::green() << true;
    QTest::newRow("a prompt beats all")
        << QStringList{"d", "r", "w"} << "bell" << NotchPalette::orange() << true;
}

void TestSessionViews::compactSides() {
    QFETCH(QStringList, script);
    QFETCH(QString, trailing);
    QFETCH(QColor, accent);
    QFETCH(bool, attention);
    Store s;
    for (int i = 0; i < script.size(); ++i) {
        const QString id = QString::number(i);
        if (script[i] == "w")
            s.event(id, HookEvent::Kind::permissionRequest);
        else if (script[i] == "r")
            s.working(id);
        else if (script[i] == "d")
            s.event(id, HookEvent::Kind::stop);
        else
            s.event(id, HookEvent::Kind::notification);
    }
    SessionsModel model;
    model.setStore(&s.store);
    QCOMPARE(model.trailingKind(), trailing);
    QCOMPARE(model.compactAccent(), accent);
    QCOMPARE(model.needsAttention(), attention);
    QCOMPARE(model.isPromptCard(), trailing == "bell");
    QCOMPARE(model.markRotation(), trailing == "bell" ? 22.5 : 0.0);
}

void TestSessionViews::rowsFollowTheStoreInPlace() {
    Store s;
    s.event("old", HookEvent::Kind::notification, 3600, "com.googlecode.iterm2");
    s.event("mid", HookEvent::Kind::notification, 59);
    SessionListModel list(SessionListModel::Environment{[&s] { return s.now; }, {}});
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
    QCOMPARE(column(SessionListModel::TerminalLabelRole), (QStringList{"", "iTerm"}));
    QCOMPARE(column(SessionListModel::TerminalIconRole),
             (QStringList{"rectangle.dashed", "terminal.fill"}));
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
    QCOMPARE(list.count(), 3);
    // Time passing changes only the age texts: 59 s old becomes 1m.
    s.now = s.now.addSecs(1);
    list.refresh();
    QCOMPARE(column(SessionListModel::TimeAgoRole), (QStringList{"now", "now", "1m"}));
}

void TestSessionViews::oneOpenRowAndOnlyTheChevronClosesIt() {
    Store s;
    s.event("a", HookEvent::Kind::notification);
    s.event("b", HookEvent::Kind::notification);
    QStringList jumps;
    SessionListModel list(SessionListModel::Environment{
        [&s] { return s.now; }, [&jumps](const Session& session) { jumps << session.sessionId; }});
    list.setStore(&s.store);
    list.tap("a");
    QCOMPARE(list.expandedSessionId(), QStringLiteral("a"));
    QVERIFY(jumps.isEmpty());
    list.tap("b"); // one open row at a time
    QCOMPARE(list.expandedSessionId(), QStringLiteral("b"));
    list.tap("b"); // the open row opens its terminal and stays open
    QCOMPARE(jumps, QStringList{"b"});
    QCOMPARE(list.expandedSessionId(), QStringLiteral("b"));
    list.collapse();
    QCOMPARE(list.expandedSessionId(), QString());
    QCOMPARE(jumps, QStringList{"b"});
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
    QCOMPARE(rows()[0]->property("accessibleName").toString(),
             QStringLiteral("busy-one, Working"));
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
    QVERIFY2(near(picture.pixelColor(fillPoint), overBlack(SP::rowFill(true, false)), 8),
             qPrintable(picture.pixelColor(fillPoint).name()));
    // The working badge is the accent, solid.
    QQuickItem* busyRow = rows()[0];
    const QPoint badge = busyRow->mapToScene(QPointF(12 + 14, busyRow->height() / 2)).toPoint();
    QVERIFY(pixelsNear(picture, QRect(badge - QPoint(12, 12), QSize(24, 24)),
                       NotchPalette::accent()) > 100);

    // Another click on the open row leaves it open (it opens the terminal); the chevron closes.
    QTest::mouseClick(&scene.window, Qt::LeftButton, {},
                      idleRow->mapToScene(QPointF(40, 10)).toPoint());
    QCOMPARE(list->expandedSessionId(), QStringLiteral("idle-one"));
    const QPointF onChevron =
        chevron->mapToScene(QPointF(chevron->width() / 2, chevron->height() / 2));
    QTest::mouseClick(&scene.window, Qt::LeftButton, {}, onChevron.toPoint());
    QCOMPARE(list->expandedSessionId(), QString());
    QTRY_COMPARE(idleRow->height(), closedHeight);
}

void TestSessionViews::renderedCompactAndIdleFrames() {
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

    // Idle: once drawn, nothing moves, so no frame is drawn.
    int frames = 0;
    connect(&scene.window, &QQuickWindow::frameSwapped, this, [&frames] { ++frames; });
    QImage picture = scene.grab(400);
    frames = 0;
    QTest::qWait(1000);
    QCOMPARE(frames, 0);
    const QRect markArea(leading->mapToScene(QPointF(10, 10)).toPoint(), QSize(12, 12));
    QVERIFY(pixelsNear(picture, markArea, QColor::fromRgbF(0.95f, 0.55f, 0.30f), 60) > 10);

    // A prompt: the mark turns orange, the trailing side rings, and the halo moves.
    s.event("a", HookEvent::Kind::permissionRequest);
    QTRY_VERIFY(trailing->findChild<QQuickItem*>("trailingSymbol")->isVisible());
    picture = scene.grab(600);
    QVERIFY(pixelsNear(picture, markArea, NotchPalette::orange(), 60) > 10);
    frames = 0;
    QTest::qWait(500);
    QVERIFY2(frames > 5, qPrintable(QString::number(frames)));

    // Working: the chip with its dots shows instead of a symbol.
    s.store.resolve("a", HookDecision{HookDecision::Decision::approve, {}, {}});
    QTRY_VERIFY(trailing->findChild<QQuickItem*>("workingChip")->isVisible());
    QVERIFY(!trailing->findChild<QQuickItem*>("trailingSymbol")->isVisible());
}

QTEST_MAIN(TestSessionViews)
#include "tst_sessionviews.moc"
