// SPDX-License-Identifier: MIT
// The prompt card over a real store: what it shows follows the store, each answer reaches the
// waiting hook as the right decision, keys and accessible controls act as clicks do, and the
// rendered card puts the notch's colours where they belong.
#include <QtTest>

#include "../Sessions/StoreFixture.h"
#include "Notch/NotchPalette.h"
#include "Notch/PromptCardModel.h"
#include "Notch/demo/PromptCardSamples.h"
#include "Pixels.h"
#include "QuickScene.h"

#include <QAccessible>
#include <QtQml/qqmlextensionplugin.h>

Q_IMPORT_QML_PLUGIN(Hollowmere_NotchPlugin)

namespace {

using D = HookDecision::Decision;

struct Terminal {
    QStringList jumps;
    QStringList typed;
};

PromptCardModel::Environment environment(Terminal& terminal, QDateTime* now) {
    PromptCardModel::Environment env;
    env.now = [now] { return *now; };
    env.jump = [&terminal](const Session& s) { terminal.jumps << s.sessionId; };
    env.sendKeystrokes = [&terminal](const QString& text, const Session& s) {
        terminal.typed << s.sessionId + ": " + text;
    };
    env.home = QStringLiteral("/home/ann");
    return env;
}

double wireSeconds(const QDateTime& at) {
    return at.toMSecsSinceEpoch() / 1000.0 - referenceDateUnixOffset;
}

// The card as the expanded notch shows it: on the notch's black, with its padding.
const QByteArray cardScene = R"(
import QtQuick
import Hollowmere.Notch
Rectangle {
    width: 520; height: card.implicitHeight + 24; color: "black"
    property alias card: card
    PromptCard { id: card; objectName: "card"; x: 12; y: 12; width: 496 }
}
)";

// Pixels of an area that read as the accent, red or green: strongly coloured and nearest to
// one of their hues (a renderer's text gamma darkens and shifts the edges of glyphs).
std::array<int, 3> markerPixels(const QImage& image, const QRect& area) {
    const qreal hues[] = {NotchPalette::accent().hsvHueF(), NotchPalette::red().hsvHueF(),
                          NotchPalette::green().hsvHueF()};
    const auto apart = [](qreal a, qreal b) {
        const qreal d = qAbs(a - b);
        return std::min(d, 1 - d);
    };
    std::array<int, 3> counts{};
    const QRect inside = area & image.rect();
    for (int y = inside.top(); y <= inside.bottom(); ++y)
        for (int x = inside.left(); x <= inside.right(); ++x) {
            const QColor pixel = image.pixelColor(x, y);
            if (pixel.hsvSaturationF() < 0.5 || pixel.valueF() < 0.4)
                continue;
            int best = 0;
            for (int i = 1; i < 3; ++i)
                if (apart(pixel.hsvHueF(), hues[i]) < apart(pixel.hsvHueF(), hues[best]))
                    best = i;
            ++counts[size_t(best)];
        }
    return counts;
}

QRect rectOf(QQuickItem* item) {
    return item->mapRectToScene(QRectF(0, 0, item->width(), item->height())).toRect();
}

// Controls the card offers to assistive technology, by name.
QHash<QString, QAccessibleInterface*> accessibleButtons(QQuickWindow& window) {
    QHash<QString, QAccessibleInterface*> found;
    std::function<void(QAccessibleInterface*)> walk = [&](QAccessibleInterface* node) {
        if (!node)
            return;
        if (node->role() == QAccessible::Button && !node->state().invisible)
            found.insert(node->text(QAccessible::Name), node);
        for (int i = 0; i < node->childCount(); ++i)
            walk(node->child(i));
    };
    walk(QAccessible::queryAccessibleInterface(&window));
    return found;
}

} // namespace

class TestPromptCard : public QObject {
    Q_OBJECT
private slots:
    void initTestCase();
    void answersReachTheHook();
    void followsTheStore();
    void promptsNotFromTheStore();
    void rendersEveryBody();
    void keysAndAccessibility();

private:
    QString m_outDir;
};

void TestPromptCard::initTestCase() {
    m_outDir = QCoreApplication::applicationDirPath();
}

void TestPromptCard::answersReachTheHook() {
    struct Row {
        const char* what;
        std::string tool;
        std::string input;
        std::function<void(PromptCardModel&)> act;
        HookDecision expected;
        QStringList rules;
    };
    const std::string question =
        R"({"questions":[{"question":"Colour?","options":[{"label":"Red"},{"label":"Blue"}]}]})";
    const Row rows[] = {
        {"approve",
         "Bash",
         bashInput("git push"),
         [](auto& m) { m.press(0); },
         {D::approve, std::nullopt, std::nullopt},
         {}},
        {"deny",
         "Bash",
         bashInput("git push"),
         [](auto& m) { m.press(1); },
         {D::deny, "User denied", std::nullopt},
         {}},
        {"always",
         "Bash",
         bashInput("git push"),
         [](auto& m) { m.press(2); },
         {D::approve, std::nullopt, std::nullopt},
         {"Bash(git:*)"}},
        {"always on an edit adds no rule",
         "Edit",
         R"({"file_path":"/a"})",
         [](auto& m) { m.press(2); },
         {D::approve, std::nullopt, std::nullopt},
         {}},
        {"second option",
         "AskUserQuestion",
         question,
         [](auto& m) { m.chooseOption(1); },
         {D::approve, std::nullopt, "Blue"},
         {}},
        {"question denied",
         "AskUserQuestion",
         question,
         [](auto& m) { m.press(0); },
         {D::deny, "User denied", std::nullopt},
         {}},
    };
    for (const Row& row : rows) {
        StoreFakes fakes;
        auto store = makeStore(fakes);
        Answers hook;
        store->handle(permissionRequest("s1", row.tool, row.input), hook.respond());
        Terminal terminal;
        QDateTime now = fakes.now;
        PromptCardModel model(environment(terminal, &now));
        model.setStore(store.get());
        model.setSessionId("s1");
        QVERIFY2(model.hasPrompt(), row.what);
        QSignalSpy answered(&model, &PromptCardModel::answered);
        row.act(model);
        QVERIFY2(hook.count() == 1, row.what);
        QVERIFY2(hook.got->back() == row.expected, row.what);
        QCOMPARE(fakes.rulesWritten, row.rules);
        QCOMPARE(answered.count(), 1);
        // The session works on and the card has nothing left to answer: a second press is void.
        QCOMPARE(store->session("s1")->status.kind, Status::Kind::working);
        QVERIFY(!model.hasPrompt());
        model.press(0);
        model.chooseOption(0);
        QCOMPARE(hook.count(), size_t(1));
        QVERIFY2(terminal.typed.isEmpty() && terminal.jumps.isEmpty(), row.what);
    }
}

void TestPromptCard::followsTheStore() {
    StoreFakes fakes;
    auto store = makeStore(fakes);
    Terminal terminal;
    QDateTime now = fakes.now;
    PromptCardModel model(environment(terminal, &now));
    model.setStore(store.get());
    model.setSessionId("s1");
    QVERIFY(!model.hasPrompt());

    Answers first, second, third;
    const double at = wireSeconds(now.addSecs(-30));
    store->handle(permissionRequest("s1", "Bash", bashInput("ls"), at), first.respond());
    QVERIFY(model.hasPrompt());
    QCOMPARE(model.headerSubtitle(), QString("Claude · ls"));
    QCOMPARE(model.timeAgo(), QString("now"));
    store->handle(permissionRequest("s2", "Bash", bashInput("pwd"), at), second.respond());
    store->handle(permissionRequest("s3", "Read", R"({"file_path":"/x"})", at), third.respond());
    QCOMPARE(model.pendingCount(), 3);
    QCOMPARE(model.headerSubtitle(), QString("Claude · 3 actions pending"));

    // A newer request on the same session replaces the one on screen; the card shows it, and an
    // answer goes to it alone.
    Answers replacement;
    store->handle(permissionRequest("s1", "Bash", bashInput("make"), at), replacement.respond());
    QCOMPARE(model.codeLines().first().toMap().value("text").toString(), QString("make"));
    model.press(0);
    QCOMPARE(first.count(), size_t(0));
    QCOMPARE(replacement.count(), size_t(1));
    QVERIFY(!model.hasPrompt());

    model.setSessionId("s2");
    QCOMPARE(model.headerSubtitle(), QString("Claude · 2 actions pending"));
    // The age text moves on with the clock, looked at again only when it would change.
    QCOMPARE(model.nextAgeCheckMs(), 30 * 1000);
    QSignalSpy aged(&model, &PromptCardModel::timeAgoChanged);
    now = now.addSecs(3600 + 1);
    model.refresh();
    QCOMPARE(model.timeAgo(), QString("1h"));
    QCOMPARE(aged.count(), 1);
    QCOMPARE(model.nextAgeCheckMs(), (3600 - 31) * 1000);

    // A prompt answered elsewhere leaves the card empty.
    store->resolve("s2", {D::deny, "User denied", std::nullopt});
    QVERIFY(!model.hasPrompt());
    QCOMPARE(model.headerTitle(), QString());
}

void TestPromptCard::promptsNotFromTheStore() {
    Terminal terminal;
    QDateTime now = QDateTime::currentDateTimeUtc();
    const auto samples = PromptCardSamples::all(wireSeconds(now));
    for (const char* name : {"notification", "stop"}) {
        const auto& sample = *std::find_if(samples.begin(), samples.end(), [&](const auto& s) {
            return qstrcmp(s.name, name) == 0;
        });
        for (int button : {0, 1}) {
            PromptCardModel model(environment(terminal, &now));
            Answers hook;
            PendingPrompt prompt = sample.prompt;
            prompt.respond = hook.respond();
            model.show(sample.session, prompt);
            QCOMPARE(model.buttons().size(), 2);
            terminal.jumps.clear();
            model.press(button);
            // Jump brings the terminal forward; both leave the hook to Claude Code.
            QCOMPARE(terminal.jumps,
                     button == 0 ? QStringList{sample.session.sessionId} : QStringList{});
            QCOMPARE(hook.count(), size_t(1));
            QVERIFY(hook.last() == D::passthrough);
            QVERIFY(!model.hasPrompt());
        }
    }
    // A chip types its text and a Return into the session's terminal, then passes.
    const auto& note = samples[4];
    PromptCardModel model(environment(terminal, &now));
    Answers hook;
    PendingPrompt prompt = note.prompt;
    prompt.respond = hook.respond();
    model.show(note.session, prompt);
    model.chooseSuggestion(1);
    QCOMPARE(terminal.typed, QStringList{note.session.sessionId + ": Ignore them\\r"});
    QVERIFY(hook.got->back() == (HookDecision{D::passthrough, std::nullopt, "Ignore them"}));
}

void TestPromptCard::rendersEveryBody() {
    Terminal terminal;
    QDateTime now = QDateTime::currentDateTimeUtc();
    for (const auto& sample : PromptCardSamples::all(wireSeconds(now))) {
        QuickScene scene;
        QVERIFY(scene.load(cardScene));
        auto* model = scene.find("card")->property("model").value<PromptCardModel*>();
        model->show(sample.session, sample.prompt);
        const QImage image = scene.grab();
        QVERIFY2(image.save(m_outDir + "/promptcard-" + sample.name + "-" +
                            QGuiApplication::platformName() + ".png"),
                 sample.name);
        const QString name = sample.name;

        // The notch's black shows around the card.
        QVERIFY2(near(image.pixelColor(image.width() - 4, image.height() / 2), Qt::black, 2),
                 sample.name);
        // The header's badge: accent tile at the top left.
        QVERIFY2(pixelsNear(image, QRect(12, 12, 28, 28), NotchPalette::accent(), 30) > 100,
                 sample.name);
        // The primary button sits in the last row, filled with the accent; a question has none.
        const QRect buttons(12, image.height() - 12 - 30, 260, 30);
        const int accentInButtons = pixelsNear(image, buttons, NotchPalette::accent(), 30);
        QVERIFY2(name == "question" ? accentInButtons < 20 : accentInButtons > 300,
                 qPrintable(name + ": " + QString::number(accentInButtons)));

        // Code blocks: "$" markers in the accent, "−" in red, "+" in green.
        const QRect code = [&] {
            auto* block = scene.item->findChild<QQuickItem*>("codeBlock");
            return block && block->isVisible() ? rectOf(block) : QRect();
        }();
        const QRect markers(code.left() + 10 + 8 + 24, code.top(), 14, code.height());
        const auto [accent, red, green] = markerPixels(image, markers);
        const QByteArray counts = QStringLiteral("%1: accent %2, red %3, green %4")
                                      .arg(name)
                                      .arg(accent)
                                      .arg(red)
                                      .arg(green)
                                      .toUtf8();
        if (name == "bash")
            QVERIFY2(accent > 10 && red == 0 && green == 0, counts);
        else if (name == "edit")
            QVERIFY2(red > 5 && green > 5, counts);
        else if (name == "write")
            QVERIFY2(green > 5 && red == 0, counts);
        else
            QVERIFY2(code.isEmpty(), sample.name);
    }
}

void TestPromptCard::keysAndAccessibility() {
    StoreFakes fakes;
    auto store = makeStore(fakes);
    QuickScene scene;
    QVERIFY(scene.load(cardScene));
    auto* card = scene.find("card");
    card->setProperty("store", QVariant::fromValue(store.get()));
    card->setProperty("sessionId", "s1");

    // Each button is found by its label, as a button, with its key as description; pressing it
    // through the accessibility layer answers like a click.
    Answers approve;
    store->handle(permissionRequest("s1", "Bash", bashInput("git status")), approve.respond());
    QTRY_VERIFY(accessibleButtons(scene.window).contains("Approve"));
    auto buttons = accessibleButtons(scene.window);
    QCOMPARE(buttons.value("Deny")->text(QAccessible::Description), QString("D"));
#ifdef Q_OS_MACOS
    QCOMPARE(buttons.value("Always")->text(QAccessible::Description), QString("⌥A"));
#else
    QCOMPARE(buttons.value("Always")->text(QAccessible::Description), QString("Alt+A"));
#endif
    buttons.value("Deny")->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
    QCOMPARE(approve.count(), size_t(1));
    QVERIFY(approve.last() == D::deny);

    // Keys are never stolen: while the user types in another window, a prompt that arrives
    // leaves the focus there, and the keys typed there answer nothing.
    QWindow elsewhere;
    elsewhere.resize(200, 100);
    elsewhere.show();
    elsewhere.requestActivate();
    QVERIFY(QTest::qWaitForWindowActive(&elsewhere));
    Answers untouched;
    store->handle(permissionRequest("s1", "Bash", bashInput("rm -rf build")), untouched.respond());
    QTRY_VERIFY(accessibleButtons(scene.window).contains("Approve"));
    QCOMPARE(QGuiApplication::focusWindow(), &elsewhere);
    for (const auto& [key, modifiers] : {std::pair{Qt::Key_A, Qt::NoModifier},
                                         {Qt::Key_D, Qt::NoModifier},
                                         {Qt::Key_A, Qt::AltModifier}})
        QTest::keyClick(&elsewhere, key, modifiers);
    QCOMPARE(untouched.count(), size_t(0));
    store->resolve("s1", {D::passthrough, std::nullopt, std::nullopt});
    elsewhere.hide();

    // Keys act once the card's window is the active one (the user clicked the notch).
    scene.window.requestActivate();
    QVERIFY(QTest::qWaitForWindowActive(&scene.window));
    const std::tuple<const char*, Qt::Key, Qt::KeyboardModifiers, D, QStringList> keys[] = {
        {"A approves", Qt::Key_A, Qt::NoModifier, D::approve, {}},
        {"D denies", Qt::Key_D, Qt::NoModifier, D::deny, {}},
        {"Alt+A always", Qt::Key_A, Qt::AltModifier, D::approve, {"Bash(git:*)"}},
    };
    for (const auto& [what, key, modifiers, expected, rules] : keys) {
        fakes.rulesWritten.clear();
        Answers hook;
        store->handle(permissionRequest("s1", "Bash", bashInput("git log")), hook.respond());
        QTest::keyClick(&scene.window, key, modifiers);
        QVERIFY2(hook.count() == 1, what);
        QVERIFY2(hook.last() == expected, what);
        QCOMPARE(fakes.rulesWritten, rules);
    }

    // A question's options are buttons too, and their number picks them.
    Answers picked;
    store->handle(permissionRequest("s1", "AskUserQuestion",
                                    R"({"questions":[{"question":"Q","options":[{"label":"Red"},)"
                                    R"({"label":"Blue"}]}]})"),
                  picked.respond());
    QTRY_VERIFY(accessibleButtons(scene.window).contains("Blue"));
    QCOMPARE(accessibleButtons(scene.window).value("Blue")->text(QAccessible::Description),
             QString("2"));
    QTest::keyClick(&scene.window, Qt::Key_2);
    QCOMPARE(picked.count(), size_t(1));
    QVERIFY(picked.got->back() == (HookDecision{D::approve, std::nullopt, "Blue"}));
}

int main(int argc, char** argv) {
    QGuiApplication app(argc, argv);
    // Offscreen has no GL; on an X server the card takes the renderer the app gets there.
    if (QGuiApplication::platformName() == QLatin1String("offscreen"))
        QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    TestPromptCard test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_promptcard.moc"
