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

PromptCardModel::Environment environment(QDateTime* now) {
    PromptCardModel::Environment env;
    env.now = [now] { return *now; };
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
    void answersReachTheHook();
    void followsTheStore();
    void rendersEveryBody();
};

void TestPromptCard::answersReachTheHook() {
    StoreFakes fakes;
    auto store = makeStore(fakes);
    QuickScene scene;
    QVERIFY(scene.load(cardScene));
    auto* card = scene.find("card");
    card->setProperty("store", QVariant::fromValue(store.get()));
    card->setProperty("sessionId", "s1");
    auto* model = card->property("model").value<PromptCardModel*>();

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
    for (const char* key : {"A", "D", "Alt+A"})
        QTest::keySequence(&elsewhere, QKeySequence(key));
    QCOMPARE(untouched.count(), size_t(0));
    store->resolve("s1", {D::passthrough, std::nullopt, std::nullopt});
    elsewhere.hide();

    // Once the card's window is the active one (the user clicked the notch) its keys answer, as
    // do its controls pressed through the accessibility layer, found by label with their key as
    // description. Then the card has nothing left to answer. (Clicks on Approve, Deny, Always
    // and an option go through the real hook end to end.)
    scene.window.requestActivate();
    QVERIFY(QTest::qWaitForWindowActive(&scene.window));
    const std::string question =
        R"({"questions":[{"question":"Colour?","options":[{"label":"Red"},{"label":"Blue"}]}]})";
    const HookDecision approve{D::approve, std::nullopt, std::nullopt};
    const HookDecision deny{D::deny, "User denied", std::nullopt};
    // A key sequence, or the name and description of a control.
    const std::tuple<std::string, std::string, const char*, const char*, HookDecision> rows[] = {
        {"Bash", bashInput("git push"), "D", nullptr, deny},
        {"Bash", bashInput("git push"), "A", "Approve", approve},
        {"AskUserQuestion", question, "2", nullptr, {D::approve, std::nullopt, "Blue"}},
        {"AskUserQuestion", question, "1", "Red", {D::approve, std::nullopt, "Red"}},
    };
    for (const auto& [tool, input, key, control, expected] : rows) {
        const QByteArray what = QByteArray(tool.c_str()) + " " + key;
        Answers hook;
        store->handle(permissionRequest("s1", tool, input), hook.respond());
        QTRY_VERIFY2(accessibleButtons(scene.window).contains(control ? control : "Deny"), what);
        if (control) {
            QAccessibleInterface* button = accessibleButtons(scene.window).value(control);
            QCOMPARE(button->text(QAccessible::Description), QString(key));
            button->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
        } else {
            QTest::keySequence(&scene.window, QKeySequence(key));
        }
        QVERIFY2(hook.count() == 1 && hook.got->back() == expected, what);
        QVERIFY2(!model->hasPrompt(), what);
        QTest::keySequence(&scene.window, QKeySequence(key));
        QVERIFY2(hook.count() == 1, what);
    }
}

void TestPromptCard::followsTheStore() {
    StoreFakes fakes;
    auto store = makeStore(fakes);
    QDateTime now = fakes.now;
    PromptCardModel model(environment(&now));
    model.setStore(store.get());
    model.setSessionId("s1");
    QVERIFY(!model.hasPrompt());

    Answers first, second, third;
    const double at = wireSeconds(now.addSecs(-30));
    store->handle(permissionRequest("s1", "Bash", bashInput("ls"), at), first.respond());
    QVERIFY(model.hasPrompt());
    QCOMPARE(model.timeAgo(), QString("now"));
    store->handle(permissionRequest("s2", "Bash", bashInput("pwd"), at), second.respond());
    store->handle(permissionRequest("s3", "Read", R"({"file_path":"/x"})", at), third.respond());
    QCOMPARE(model.pendingCount(), 3);
    QCOMPARE(model.headerSubtitle(), QString("Claude · 3 actions pending"));

    // A newer request on the same session replaces the one on screen; the card shows it and
    // answers it.
    Answers replacement;
    store->handle(permissionRequest("s1", "Bash", bashInput("make"), at), replacement.respond());
    QCOMPARE(model.codeLines().first().toMap().value("text").toString(), QString("make"));
    model.press(0);
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

void TestPromptCard::rendersEveryBody() {
    QDateTime now = QDateTime::currentDateTimeUtc();
    for (const auto& sample : PromptCardSamples::all(wireSeconds(now))) {
        QuickScene scene;
        QVERIFY(scene.load(cardScene));
        auto* model = scene.find("card")->property("model").value<PromptCardModel*>();
        model->show(sample.session, sample.prompt);
        const QImage image = scene.grab();
        const QString name = sample.name;
        QVERIFY(image.save(QCoreApplication::applicationDirPath() + "/promptcard-" + name + "-" +
                           QGuiApplication::platformName() + ".png"));

        // The notch's black around the card; the header's badge, an accent tile at the top left;
        // the primary button in the last row, filled with the accent (a question has none).
        QVERIFY2(near(image.pixelColor(image.width() - 4, image.height() / 2), Qt::black, 2),
                 sample.name);
        QVERIFY2(pixelsNear(image, QRect(12, 12, 28, 28), NotchPalette::accent(), 30) > 100,
                 sample.name);
        const QRect buttons(12, image.height() - 12 - 30, 260, 30);
        const int accentInButtons = pixelsNear(image, buttons, NotchPalette::accent(), 30);
        QVERIFY2(name == "question" ? accentInButtons < 20 : accentInButtons > 300, sample.name);

        // Code blocks: "$" markers in the accent, "−" in red, "+" in green.
        auto* block = scene.item->findChild<QQuickItem*>("codeBlock");
        const QRect code = block && block->isVisible() ? QuickScene::rectOf(block) : QRect();
        const QRect markers(code.left() + 10 + 8 + 24, code.top(), 14, code.height());
        const auto [accent, red, green] = markerPixels(image, markers);
        if (name == "bash")
            QVERIFY2(accent > 10 && red == 0 && green == 0, sample.name);
        else if (name == "edit")
            QVERIFY2(red > 5 && green > 5, sample.name);
        else if (name == "write")
            QVERIFY2(green > 5 && red == 0, sample.name);
        else
            QVERIFY2(code.isEmpty(), sample.name);
    }
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
