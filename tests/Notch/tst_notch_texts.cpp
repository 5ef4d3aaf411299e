// SPDX-License-Identifier: MIT
// The notch's derived texts as tables: ages, and the prompt card's header, bodies and buttons over
// hook events.
#include <QtTest>

#include "Notch/PromptCardRules.h"
#include "Notch/RelativeTime.h"

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

HookEvent bash(const std::string& command) {
    return request("Bash", R"({"command":")" + command + R"("})");
}

// Markers and texts of a body's lines, one "marker number text" string each.
QStringList described(const Body& body) {
    QStringList out;
    for (const DiffLine& l : body.lines)
        out << QStringLiteral("%1 %2 %3").arg(l.marker).arg(l.lineNumber).arg(l.text);
    return out;
}

} // namespace

class TestNotchTexts : public QObject {
    Q_OBJECT
private slots:
    void relativeTime();
    void headers();
    void bodies();
    void buttons();
};

void TestNotchTexts::relativeTime() {
    // Time passed, its text, and the seconds until that text changes.
    const std::tuple<qint64, QString, qint64> rows[] = {
        {59900, "now", 1},       {60000, "1m", 60},     {330000, "5m", 30},
        {3599000, "59m", 1},     {3600000, "1h", 3600}, {86399000, "23h", 1},
        {86400000, "1d", 86400}, {-5000, "now", 65}, // the clock set back
    };
    const QDateTime then = QDateTime::fromMSecsSinceEpoch(1700000000000LL, Qt::UTC);
    for (const auto& [ms, text, untilChange] : rows) {
        const qint64 seconds = RelativeTime::elapsedSeconds(then, then.addMSecs(ms));
        QCOMPARE(RelativeTime::text(seconds), text);
        QCOMPARE(RelativeTime::secondsUntilChange(seconds), untilChange);
    }
}

void TestNotchTexts::headers() {
    const std::string forty(40, 'x');
    // 39 letters and a family emoji of seven code points: the emoji is the 40th character.
    const std::string emoji = std::string(39, 'a') +
                              "\xF0\x9F\x91\xA8\xE2\x80\x8D\xF0\x9F\x91\xA9\xE2\x80\x8D"
                              "\xF0\x9F\x91\xA7z";
    const QString claude = QStringLiteral("Claude · ");
    // clang-format off
    const std::tuple<const char*, HookEvent, QString> subtitles[] = {
        {"40 characters whole", bash(forty), claude + forty.c_str()},
        {"41 cut", bash(forty + "y"), claude + forty.c_str() + "…"},
        {"lines flattened", bash("make\\nmake test"), claude + "make make test"},
        {"emoji kept whole", bash(emoji), claude + QString(39, 'a') + QString::fromUtf8("👨‍👩‍👧…")},
        {"input not JSON", request("Bash", "ls -la"), claude + "shell"},
        {"inside the project", request("Edit", R"({"file_path":"/work/app/src/a.cpp"})"), claude + "src/a.cpp"},
        {"a sibling folder", request("Edit", R"({"file_path":"/work/apple/b.txt"})"), claude + "/work/apple/b.txt"},
        {"under home", request("Read", R"({"file_path":"/home/ann/notes.md"})"), claude + "read ~/notes.md"},
        {"read without path", request("Read", "[1]"), claude + "read"},
        {"other tool", request("WebFetch", "{}"), claude + "webfetch"},
        {"notification", makeEvent(HookEvent::Kind::notification, "notification"), "Claude"},
        {"notification about a tool", makeEvent(HookEvent::Kind::notification, "Bash", R"({"command":"ls"})"), claude + "ls"},
    };
    // clang-format on
    for (const auto& [what, event, subtitle] : subtitles)
        QVERIFY2(headerSubtitle(event, inProject) == subtitle,
                 qPrintable(what + QString(": ") + headerSubtitle(event, inProject)));
    // The model, then the count of prompts waiting from two on.
    QCOMPARE(headerSubtitle(bash("ls"), {"/work/app", "/home/ann", "claude-sonnet-4-5", 2}),
             QString("Claude · claude-sonnet-4-5 · 2 actions pending"));
    // A notification's title is its message's first line.
    QCOMPARE(headerTitle(makeEvent(HookEvent::Kind::notification, std::nullopt, std::nullopt,
                                   "Claude needs your permission\nto use Bash")),
             QString("Claude needs your permission"));
}

void TestNotchTexts::bodies() {
    // Command lines after "$", old lines after the minus sign, new ones after "+", numbered; the
    // file's path shortened as in the subtitle. (Their colours are probed on the rendered card.)
    const QString minus(QChar(0x2212));
    const std::tuple<HookEvent, BodyKind, QString, QStringList> rows[] = {
        // clang-format off
        {request("Bash", R"({"command":"cd src\nmake","description":"Build"})"), BodyKind::bash, "",
         {"$ 1 cd src", "$ 2 make"}},
        {request("Edit", R"({"file_path":"/work/app/a.txt","old_string":"one\n","new_string":"uno"})"),
         BodyKind::diff, "a.txt", {minus + " 1 one", minus + " 2 ", "+ 1 uno"}},
        {request("MultiEdit", R"({"file_path":"/work/app/a","edits":[{"old_string":"a","new_string":"b"},)"
                              R"({"old_string":"c","new_string":"d"}]})"),
         BodyKind::diff, "a", {minus + " 1 a", "+ 1 b", minus + " 1 c", "+ 1 d"}},
        {request("Write", R"({"file_path":"/home/ann/x.md","content":"# X\n\nend"})"), BodyKind::write,
         "~/x.md", {"+ 1 # X", "+ 2 ", "+ 3 end"}},
        // Without content only the file is named.
        {request("Write", R"({"file_path":"/work/app/x.md"})"), BodyKind::path, "x.md", {}},
        // clang-format on
    };
    for (const auto& [event, kind, path, lines] : rows) {
        const Body b = body(event, inProject);
        QCOMPARE(b.kind, kind);
        QCOMPARE(b.path, path);
        QCOMPARE(described(b), lines);
    }
    QCOMPARE(body(std::get<0>(rows[0]), inProject).description, QString("Build"));

    // A huge file shows its first lines and says how many more there are.
    QString big;
    for (int i = 0; i < maxLinesPerSide + 5; ++i)
        big += QStringLiteral("line\\n");
    Body b =
        body(request("Write", R"({"file_path":"/a","content":")" + big.toStdString() + R"("})"),
             inProject);
    QCOMPARE(int(b.lines.size()), maxLinesPerSide + 1);
    QCOMPARE(b.lines.back().text, QString("… 6 more lines"));
    QCOMPARE(b.lines.back().lineNumber, 0);

    // A question: its options, no chips (the hook's suggestions are the same options).
    HookEvent question = request(
        "AskUserQuestion", R"({"questions":[{"question":"Which colour?","options":[)"
                           R"({"label":"Red"},{"description":"no label"},{"label":"Blue"}]}]})");
    question.suggestions = std::vector<std::string>{"Red", "Blue"};
    b = body(question, inProject);
    QCOMPARE(b.kind, BodyKind::question);
    QCOMPARE(b.options, QStringList({"Red", "Blue"}));
    QVERIFY(b.chips.isEmpty());
    QVERIFY(body(request("AskUserQuestion", "not json"), inProject).options.isEmpty());

    // No body for a tool with nothing to show, or input that is no object.
    QVERIFY(!hasBody(body(request("WebFetch", "[]"), inProject)));
    QVERIFY(!hasBody(body(request("Bash", "ls"), inProject)));
}

void TestNotchTexts::buttons() {
    // Labels, then their keys as macOS and other systems show them (the latter is also the key
    // sequence Qt binds).
    // clang-format off
    const std::tuple<HookEvent, QStringList, QStringList, QStringList> rows[] = {
        {request("Bash", "{}"), {"Approve", "Deny", "Always"}, {"A", "D", "⌥A"}, {"A", "D", "Alt+A"}},
        {request("AskUserQuestion", "{}"), {"Deny"}, {"D"}, {"D"}},
        {makeEvent(HookEvent::Kind::notification, std::nullopt), {"Jump", "Dismiss"}, {"J", "D"}, {"J", "D"}},
        {makeEvent(HookEvent::Kind::stop, "stop"), {"Jump", "Dismiss"}, {"J", "D"}, {"J", "D"}},
    };
    // clang-format on
    for (const auto& [event, labels, mac, keys] : rows) {
        QStringList have[4];
        const auto buttons = actions(event);
        for (const ActionButton& b : buttons) {
            have[0] << b.label;
            have[1] << b.shortcut->displayLabel(true);
            have[2] << b.shortcut->displayLabel(false);
            have[3] << b.shortcut->sequence();
        }
        QCOMPARE(have[0], labels);
        QCOMPARE(have[1], mac);
        QCOMPARE(have[2], keys);
        QCOMPARE(have[3], keys);
        // Only a card with more than a way out has a primary answer, and it comes first.
        QCOMPARE(buttons.front().primary, buttons.size() > 1);
    }
}

QTEST_GUILESS_MAIN(TestNotchTexts)
#include "tst_notch_texts.moc"
