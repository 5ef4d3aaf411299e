// SPDX-License-Identifier: MIT
// The prompt card's texts, bodies and buttons, as tables over hook events.
#include <QtTest>

#include "Notch/NotchPalette.h"
#include "Notch/PromptCardRules.h"

using namespace PromptCardRules;

namespace {

const Context inProject{"/work/app", "/home/ann", std::nullopt, 1};

HookEvent makeEvent(HookEvent::Kind kind, std::optional<std::string> tool,
                    std::optional<std::string> input = std::nullopt,
                    std::optional<std::string> message = std::nullopt) {
    HookEvent e;
    e.kind = kind;
    e.sessionId = "s1";
    e.cwd = "/work/app";
    e.tool = std::move(tool);
    e.toolInput = std::move(input);
    e.message = std::move(message);
    return e;
}

HookEvent request(const std::string& tool, std::optional<std::string> input) {
    return makeEvent(HookEvent::Kind::permissionRequest, tool, std::move(input));
}

// Markers and texts of a body's lines, one "marker number text" string each.
QStringList described(const Body& body) {
    QStringList out;
    for (const DiffLine& l : body.lines)
        out << QStringLiteral("%1 %2 %3").arg(l.marker).arg(l.lineNumber).arg(l.text);
    return out;
}

} // namespace

Q_DECLARE_METATYPE(HookEvent)
Q_DECLARE_METATYPE(Context)

class TestPromptCardRules : public QObject {
    Q_OBJECT
private slots:
    void subtitle_data();
    void subtitle();
    void titles();
    void bodies();
    void buttonsAndAnswers();
};

void TestPromptCardRules::subtitle_data() {
    QTest::addColumn<HookEvent>("event");
    QTest::addColumn<Context>("context");
    QTest::addColumn<QString>("subtitle");
    const std::string forty(40, 'x');
    const auto bash = [](const std::string& command) {
        return request("Bash", R"({"command":")" + command + R"("})");
    };
    QTest::newRow("40 characters whole")
        << bash(forty) << inProject << "Claude · " + QString(forty.c_str());
    QTest::newRow("41 cut") << bash(forty + "y") << inProject
                            << "Claude · " + QString(forty.c_str()) + "…";
    QTest::newRow("lines flattened")
        << bash("make\\nmake test") << inProject << "Claude · make make test";
    // 39 letters and a family emoji of seven code points: the emoji is the 40th character.
    QTest::newRow("emoji kept whole")
        << bash(std::string(39, 'a') + "\xF0\x9F\x91\xA8\xE2\x80\x8D\xF0\x9F\x91\xA9\xE2\x80\x8D"
                                       "\xF0\x9F\x91\xA7z")
        << inProject << "Claude · " + QString(39, 'a') + QString::fromUtf8("👨‍👩‍👧…");
    QTest::newRow("no command") << request("Bash", R"({"cmd":"ls"})") << inProject
                                << "Claude · shell";
    QTest::newRow("input not JSON") << request("Bash", "ls -la") << inProject << "Claude · shell";
    QTest::newRow("edit inside project")
        << request("Edit", R"({"file_path":"/work/app/src/a.cpp"})") << inProject
        << "Claude · src/a.cpp";
    QTest::newRow("the project itself")
        << request("Write", R"({"file_path":"/work/app"})") << inProject << "Claude · .";
    QTest::newRow("a sibling folder is not inside")
        << request("Edit", R"({"file_path":"/work/apple/b.txt"})") << inProject
        << "Claude · /work/apple/b.txt";
    QTest::newRow("under home") << request("Read", R"({"file_path":"/home/ann/notes.md"})")
                                << inProject << "Claude · read ~/notes.md";
    QTest::newRow("read without path") << request("Read", "[1]") << inProject << "Claude · read";
    QTest::newRow("edit without path")
        << request("MultiEdit", "{}") << inProject << "Claude · multiedit";
    QTest::newRow("other tool") << request("WebFetch", "{}") << inProject << "Claude · webfetch";
    QTest::newRow("model and three pending")
        << bash("ls") << Context{"/work/app", "/home/ann", "claude-sonnet-4-5", 3}
        << "Claude · claude-sonnet-4-5 · 3 actions pending";
    QTest::newRow("notification's own tool name")
        << makeEvent(HookEvent::Kind::notification, "notification") << inProject << "Claude";
    QTest::newRow("stop's own tool name")
        << makeEvent(HookEvent::Kind::stop, "stop") << inProject << "Claude";
    QTest::newRow("notification about a tool")
        << makeEvent(HookEvent::Kind::notification, "Bash", R"({"command":"ls"})") << inProject
        << "Claude · ls";
}

void TestPromptCardRules::subtitle() {
    QFETCH(HookEvent, event);
    QFETCH(Context, context);
    QTEST(headerSubtitle(event, context), "subtitle");
}

void TestPromptCardRules::titles() {
    QCOMPARE(headerTitle(request("Bash", std::nullopt)), QString("Permission requested"));
    QCOMPARE(headerTitle(makeEvent(HookEvent::Kind::notification, std::nullopt, std::nullopt,
                                   "Claude needs your permission\nto use Bash")),
             QString("Claude needs your permission"));
    QCOMPARE(headerTitle(makeEvent(HookEvent::Kind::notification, std::nullopt)),
             QString("Notification"));
    QCOMPARE(headerTitle(makeEvent(HookEvent::Kind::stop, "stop")), QString("Done"));
}

void TestPromptCardRules::bodies() {
    const QString minus(QChar(0x2212));
    // Bash: numbered command lines after "$" in the accent, description below, no tint.
    Body b =
        body(request("Bash", R"({"command":"cd src\nmake","description":"Build"})"), inProject);
    QCOMPARE(b.kind, BodyKind::bash);
    QCOMPARE(described(b), QStringList({"$ 1 cd src", "$ 2 make"}));
    QCOMPARE(b.lines[0].markerColor, NotchPalette::accent());
    QVERIFY(!b.lines[0].backgroundTint);
    QCOMPARE(b.description, QString("Build"));
    QVERIFY(hasBody(b));

    // Edit: old lines after the minus sign in red, new ones after "+" in green, tinted alike.
    b = body(request("Edit", R"({"file_path":"/work/app/a.txt","old_string":"one\n",)"
                             R"("new_string":"uno"})"),
             inProject);
    QCOMPARE(b.kind, BodyKind::diff);
    QCOMPARE(b.path, QString("a.txt"));
    QCOMPARE(described(b), QStringList({minus + " 1 one", minus + " 2 ", "+ 1 uno"}));
    QCOMPARE(b.lines[0].markerColor, NotchPalette::red());
    QCOMPARE(*b.lines[2].backgroundTint, NotchPalette::green());

    // MultiEdit: each edit's diff in turn.
    b = body(request("MultiEdit", R"({"file_path":"/work/app/a","edits":[)"
                                  R"({"old_string":"a","new_string":"b"},)"
                                  R"({"old_string":"c","new_string":"d"}]})"),
             inProject);
    QCOMPARE(described(b), QStringList({minus + " 1 a", "+ 1 b", minus + " 1 c", "+ 1 d"}));

    // Write: the content as added lines; without content only the file is named.
    b = body(request("Write", R"({"file_path":"/home/ann/x.md","content":"# X\n\nend"})"),
             inProject);
    QCOMPARE(b.kind, BodyKind::write);
    QCOMPARE(b.path, QString("~/x.md"));
    QCOMPARE(described(b), QStringList({"+ 1 # X", "+ 2 ", "+ 3 end"}));
    b = body(request("Write", R"({"file_path":"/work/app/x.md"})"), inProject);
    QCOMPARE(b.kind, BodyKind::path);
    QVERIFY(b.lines.empty());

    // A huge file shows its first lines and says how many more there are.
    QString big;
    for (int i = 0; i < maxLinesPerSide + 5; ++i)
        big += QStringLiteral("line\\n");
    b = body(request("Write", R"({"file_path":"/a","content":")" + big.toStdString() + R"("})"),
             inProject);
    QCOMPARE(int(b.lines.size()), maxLinesPerSide + 1);
    QCOMPARE(b.lines.back().text, QString("… 6 more lines"));
    QCOMPARE(b.lines.back().lineNumber, 0);

    // A question: its message and its options, no chips (the hook's suggestions are the same
    // options).
    HookEvent question = request(
        "AskUserQuestion", R"({"questions":[{"question":"Which colour?","options":[)"
                           R"({"label":"Red"},{"description":"no label"},{"label":"Blue"}]}]})");
    question.suggestions = std::vector<std::string>{"Red", "Blue"};
    b = body(question, inProject);
    QCOMPARE(b.kind, BodyKind::question);
    QCOMPARE(b.options, QStringList({"Red", "Blue"}));
    QVERIFY(b.chips.isEmpty());
    QVERIFY(body(request("AskUserQuestion", "not json"), inProject).options.isEmpty());

    // Notification: its message with suggestion chips; a stop without either has no body.
    HookEvent note =
        makeEvent(HookEvent::Kind::notification, std::nullopt, std::nullopt, "Pick one");
    note.suggestions = std::vector<std::string>{"yes", "no"};
    b = body(note, inProject);
    QCOMPARE(b.kind, BodyKind::message);
    QCOMPARE(b.message, QString("Pick one"));
    QCOMPARE(b.chips, QStringList({"yes", "no"}));
    QVERIFY(!hasBody(body(makeEvent(HookEvent::Kind::stop, "stop"), inProject)));

    // A tool with nothing to show and input that is no object: no body.
    QVERIFY(!hasBody(body(request("WebFetch", "[]"), inProject)));
    QVERIFY(!hasBody(body(request("Bash", "ls"), inProject)));
}

void TestPromptCardRules::buttonsAndAnswers() {
    struct Row {
        HookEvent event;
        QStringList labels;
        QStringList mac;
        QStringList linux;
        QStringList sequences;
    };
    const Row rows[] = {
        {request("Bash", "{}"),
         {"Approve", "Deny", "Always"},
         {"A", "D", "⌥A"},
         {"A", "D", "Alt+A"},
         {"A", "D", "Alt+A"}},
        {request("AskUserQuestion", "{}"), {"Deny"}, {"D"}, {"D"}, {"D"}},
        {makeEvent(HookEvent::Kind::notification, std::nullopt),
         {"Jump", "Dismiss"},
         {"J", "D"},
         {"J", "D"},
         {"J", "D"}},
        {makeEvent(HookEvent::Kind::stop, "stop"),
         {"Jump", "Dismiss"},
         {"J", "D"},
         {"J", "D"},
         {"J", "D"}},
    };
    for (const Row& row : rows) {
        QStringList labels, mac, linux, sequences;
        const auto buttons = actions(row.event);
        for (const ActionButton& b : buttons) {
            labels << b.label;
            mac << b.shortcut->displayLabel(true);
            linux << b.shortcut->displayLabel(false);
            sequences << b.shortcut->sequence();
        }
        QCOMPARE(labels, row.labels);
        QCOMPARE(mac, row.mac);
        QCOMPARE(linux, row.linux);
        QCOMPARE(sequences, row.sequences);
        // Only a card with more than a way out has a primary answer, and it comes first.
        QCOMPARE(buttons.front().primary, buttons.size() > 1);
    }
    const KeyShortcut all{QChar('k'), KeyShortcut::option | KeyShortcut::shift |
                                          KeyShortcut::control | KeyShortcut::command};
    QCOMPARE(all.displayLabel(true), QString("⌥⇧⌃⌘K"));
    QCOMPARE(all.displayLabel(false), QString("Alt+Shift+Ctrl+Super+K"));

    using D = HookDecision::Decision;
    QCOMPARE(decision(Action::approve), (HookDecision{D::approve, std::nullopt, std::nullopt}));
    QCOMPARE(decision(Action::deny), (HookDecision{D::deny, "User denied", std::nullopt}));
    QCOMPARE(decision(Action::jump), (HookDecision{D::passthrough, std::nullopt, std::nullopt}));
    QCOMPARE(decision(Action::dismiss), decision(Action::jump));
    QCOMPARE(optionDecision("Blue"), (HookDecision{D::approve, std::nullopt, "Blue"}));
    QCOMPARE(chipDecision("yes"), (HookDecision{D::passthrough, std::nullopt, "yes"}));
    QCOMPARE(chipKeystrokes("yes"), QString("yes\\r"));
}

QTEST_GUILESS_MAIN(TestPromptCardRules)
#include "tst_promptcard_rules.moc"
