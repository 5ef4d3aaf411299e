// SPDX-License-Identifier: MIT
#include "ClaudeIntegration/TerminalFocusRules.h"

#include "Sessions/Session.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <utility>

FocusTarget FocusTarget::from(const Session& session) {
    return {session.sessionId,       session.cwd,       session.lastTerminalBundleId,
            session.lastTerminalPid, session.claudePid, session.iTermSessionId};
}

namespace TerminalRules {

namespace {

struct KnownTerminal {
    const char* bundleId;
    const char* label;
};

constexpr KnownTerminal knownTerminals[] = {
    {iTermBundleId, "iTerm"},
    {appleTerminalBundleId, "Terminal"},
    {"com.mitchellh.ghostty", "Ghostty"},
    {"com.github.wez.wezterm", "WezTerm"},
    {"io.alacritty", "Alacritty"},
    {"net.kovidgoyal.kitty", "Kitty"},
    {"dev.warp.Warp-Stable", "Warp"},
    {"com.microsoft.VSCode", "VSCode"},
    {"com.todesktop.230313mzl4w4u92", "Cursor"},
    // The ids process discovery gives the terminals of Linux desktops.
    {"org.gnome.Terminal", "GNOME Terminal"},
    {"org.gnome.Console", "Console"},
    {"org.gnome.Ptyxis", "Ptyxis"},
    {"org.kde.konsole", "Konsole"},
    {"org.xfce.terminal", "Xfce Terminal"},
    {"com.gexperts.Tilix", "Tilix"},
    {"org.gnome.Terminator", "Terminator"},
    {"net.invisible_island.xterm", "XTerm"},
    {"de.schmorp.urxvt", "urxvt"},
    {"org.codeberg.dnkl.foot", "foot"},
    {"com.visualstudio.code", "VSCode"},
};

constexpr const char* editorBundleIds[] = {"com.microsoft.VSCode", "com.todesktop.230313mzl4w4u92",
                                           "com.visualstudio.code"};

// tmux's own form of the client list; fields never hold spaces (ids are "$N", ttys paths).
constexpr char tmuxClientFormat[] = "#{client_pid} #{client_activity} #{session_id} #{client_tty}";

// Lines joined by line feeds, each indented by its number of spaces.
QString script(std::initializer_list<std::pair<int, QString>> lines) {
    QStringList out;
    for (const auto& [indent, text] : lines)
        out << QString(indent, QLatin1Char(' ')) + text;
    return out.join(QLatin1Char('\n'));
}

QStringList tmuxBase(const TmuxPane& pane) {
    return {QStringLiteral("-S"), pane.socket};
}

} // namespace

std::optional<QString> terminalLabel(const std::optional<QString>& bundleId) {
    if (!bundleId)
        return std::nullopt;
    for (const auto& t : knownTerminals) {
        if (*bundleId == QLatin1String(t.bundleId))
            return QString::fromUtf8(t.label);
    }
    return QStringLiteral("Terminal");
}

QString terminalIcon(const std::optional<QString>& bundleId) {
    if (!bundleId)
        return QStringLiteral("rectangle.dashed");
    for (const char* editor : editorBundleIds) {
        if (*bundleId == QLatin1String(editor))
            return QStringLiteral("chevron.left.forwardslash.chevron.right");
    }
    return QStringLiteral("terminal.fill");
}

QString needle(const QString& cwd) {
    QString path = cwd;
    while (path.size() > 1 && path.endsWith(QLatin1Char('/')))
        path.chop(1);
    return path.mid(path.lastIndexOf(QLatin1Char('/')) + 1);
}

bool titleContains(const QString& title, const QString& needle) {
    return !needle.isEmpty() && title.contains(needle, Qt::CaseInsensitive);
}

QString lineText(const QString& text) {
    if (text.endsWith(QLatin1String("\\r")))
        return text.chopped(2);
    if (text.endsWith(QLatin1Char('\r')) || text.endsWith(QLatin1Char('\n')))
        return text.chopped(1);
    return text;
}

MacJumpPath macJumpPath(const FocusTarget& target) {
    if (target.bundleId == QLatin1String(iTermBundleId) && target.iTermSessionId)
        return MacJumpPath::iTerm;
    if (target.bundleId == QLatin1String(appleTerminalBundleId) && target.claudePid)
        return MacJumpPath::appleTerminal;
    return MacJumpPath::generic;
}

QString appleScriptEscaped(const QString& text) {
    QString out = text;
    out.replace(QLatin1Char('\\'), QLatin1String("\\\\"));
    out.replace(QLatin1Char('"'), QLatin1String("\\\""));
    return out;
}

QString iTermScript(const QString& iTermSessionId) {
    QString id = iTermSessionId;
    id.remove(QLatin1Char('"'));
    return script({{0, "tell application \"iTerm2\""},
                   {4, "repeat with w in windows"},
                   {8, "repeat with t in tabs of w"},
                   {12, "repeat with s in sessions of t"},
                   {16, "if (unique id of s) is \"" + id + "\" then"},
                   {20, "select s"},
                   {20, "activate"},
                   {20, "return"},
                   {16, "end if"},
                   {12, "end repeat"},
                   {8, "end repeat"},
                   {4, "end repeat"},
                   {0, "end tell"}});
}

QString terminalTtyScript(const QString& ttyPath) {
    return script({{0, "tell application \"Terminal\""},
                   {4, "repeat with w in windows"},
                   {8, "repeat with t in tabs of w"},
                   {12, "if (tty of t) is \"" + ttyPath + "\" then"},
                   {16, "set selected of t to true"},
                   {16, "set index of w to 1"},
                   {16, "activate"},
                   {16, "return"},
                   {12, "end if"},
                   {8, "end repeat"},
                   {4, "end repeat"},
                   {0, "end tell"}});
}

QString keystrokeScript(const QString& line) {
    return script({{0, "tell application \"System Events\""},
                   {4, "keystroke \"" + appleScriptEscaped(line) + '"'},
                   {4, "key code 36"},
                   {0, "end tell"}});
}

bool usableTerminalDevice(int bytesReturned, int64_t device) {
    return bytesReturned == bsdInfoSize && device > 0;
}

bool walk(AccessibleElement& element, int depth, const QString& needle) {
    if (depth > walkDepthLimit)
        return false;
    const QString role = element.role();
    if (role == QLatin1String("AXRadioButton") || role == QLatin1String("AXTab")) {
        if (titleContains(element.title(), needle)) {
            element.press();
            return true;
        }
    }
    for (const auto& child : element.children()) {
        if (walk(*child, depth + 1, needle))
            return true;
    }
    return false;
}

Environ parseEnviron(const QByteArray& nulSeparated) {
    Environ env;
    for (const QByteArray& entry : nulSeparated.split('\0')) {
        const qsizetype eq = entry.indexOf('=');
        if (eq <= 0)
            continue;
        // The first definition is the one getenv returns.
        const QString key = QString::fromUtf8(entry.left(eq));
        if (!env.contains(key))
            env.insert(key, QString::fromUtf8(entry.mid(eq + 1)));
    }
    return env;
}

TerminalEnvironment terminalEnvironment(const Environ& env) {
    TerminalEnvironment out;
    const QString tmux = env.value(QStringLiteral("TMUX"));
    const QString pane = env.value(QStringLiteral("TMUX_PANE"));
    // "socket,server pid,session": the socket path is everything before the first comma.
    if (!tmux.isEmpty() && !pane.isEmpty())
        out.tmux = TmuxPane{tmux.section(QLatin1Char(','), 0, 0), pane};
    const QString kittyWindow = env.value(QStringLiteral("KITTY_WINDOW_ID"));
    const QString kittyListen = env.value(QStringLiteral("KITTY_LISTEN_ON"));
    if (!kittyWindow.isEmpty() && !kittyListen.isEmpty())
        out.kitty = KittyWindow{kittyListen, kittyWindow};
    const QString weztermPane = env.value(QStringLiteral("WEZTERM_PANE"));
    const QString weztermSocket = env.value(QStringLiteral("WEZTERM_UNIX_SOCKET"));
    if (!weztermPane.isEmpty() && !weztermSocket.isEmpty())
        out.wezterm = WezTermPane{weztermSocket, weztermPane};
    bool ok = false;
    const uint64_t window = env.value(QStringLiteral("WINDOWID")).toULongLong(&ok);
    if (ok && window != 0)
        out.windowId = window;
    return out;
}

bool namesTerminal(const TerminalEnvironment& env) {
    return env.tmux || env.kitty || env.wezterm || env.windowId;
}

QStringList tmuxSelectArgs(const TmuxPane& pane) {
    const QString semi = QStringLiteral(";");
    return tmuxBase(pane) + QStringList{QStringLiteral("select-window"),
                                        QStringLiteral("-t"),
                                        pane.pane,
                                        semi,
                                        QStringLiteral("select-pane"),
                                        QStringLiteral("-t"),
                                        pane.pane,
                                        semi,
                                        QStringLiteral("display-message"),
                                        QStringLiteral("-p"),
                                        QStringLiteral("-t"),
                                        pane.pane,
                                        QStringLiteral("#{session_id}"),
                                        semi,
                                        QStringLiteral("list-clients"),
                                        QStringLiteral("-F"),
                                        QString::fromLatin1(tmuxClientFormat)};
}

QStringList tmuxSwitchClientArgs(const TmuxPane& pane, const QString& clientTty) {
    return tmuxBase(pane) + QStringList{QStringLiteral("switch-client"), QStringLiteral("-c"),
                                        clientTty, QStringLiteral("-t"), pane.pane};
}

QStringList tmuxSendTextArgs(const TmuxPane& pane, const QString& line) {
    // Bytes in hex: a literal argument ending in ";" would end tmux's command instead.
    QStringList args =
        tmuxBase(pane) + QStringList{QStringLiteral("send-keys"), QStringLiteral("-t"), pane.pane,
                                     QStringLiteral("-H")};
    for (const char byte : line.toUtf8())
        args << QString::number(uchar(byte), 16).rightJustified(2, QLatin1Char('0'));
    return args;
}

QStringList tmuxSendReturnArgs(const TmuxPane& pane) {
    return tmuxBase(pane) + QStringList{QStringLiteral("send-keys"), QStringLiteral("-t"),
                                        pane.pane, QStringLiteral("Enter")};
}

namespace {

constexpr char kittyFrameStart[] = "\x1bP@kitty-cmd";

QByteArray kittyRequest(const char* command, const QJsonObject& payload, bool answered) {
    // The oldest protocol version that has these commands: kitty refuses newer clients.
    const QJsonObject message{{"cmd", command},
                              {"version", QJsonArray{0, 14, 2}},
                              {"no_response", !answered},
                              {"payload", payload}};
    return kittyFrameStart + QJsonDocument(message).toJson(QJsonDocument::Compact) + kittyFrameEnd;
}

} // namespace

QByteArray kittyFocusRequest(const KittyWindow& window) {
    return kittyRequest("focus-window", {{"match", "id:" + window.windowId}}, true);
}

QByteArray kittySendRequest(const KittyWindow& window, const QString& line) {
    // "text:" data goes to the program as it is: no escapes, "\r" is the Return. kitty never
    // answers this command (its own client does not wait either); the jump's focus-window has
    // just checked that the window exists.
    return kittyRequest(
        "send-text",
        {{"match", "id:" + window.windowId}, {"data", "text:" + line + QLatin1Char('\r')}}, false);
}

bool kittyAnswers(const QByteArray& request) {
    return !request.contains("\"no_response\":true");
}

bool kittyAnswerOk(const QByteArray& answer) {
    if (!answer.startsWith(kittyFrameStart) || !answer.endsWith(kittyFrameEnd))
        return false;
    const QByteArray body = answer.mid(qsizetype(sizeof kittyFrameStart - 1))
                                .chopped(qsizetype(sizeof kittyFrameEnd - 1));
    return QJsonDocument::fromJson(body).object().value("ok").toBool();
}

QStringList weztermActivateArgs(const WezTermPane& pane) {
    return {QStringLiteral("cli"), QStringLiteral("activate-pane"), QStringLiteral("--pane-id"),
            pane.paneId};
}

QStringList weztermSendArgs(const WezTermPane& pane, const QString& line) {
    return {QStringLiteral("cli"),        QStringLiteral("send-text"),
            QStringLiteral("--pane-id"),  pane.paneId,
            QStringLiteral("--no-paste"), QStringLiteral("--"),
            line + QLatin1Char('\r')};
}

Environ weztermEnvironment(const WezTermPane& pane) {
    return {{QStringLiteral("WEZTERM_UNIX_SOCKET"), pane.socket}};
}

std::optional<TmuxView> parseTmuxView(const QString& output) {
    QStringList lines = output.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    if (lines.isEmpty() || !lines.first().startsWith(QLatin1Char('$')))
        return std::nullopt;
    TmuxView view{lines.takeFirst().trimmed(), {}};
    for (const QString& line : lines) {
        const QStringList f = line.split(QLatin1Char(' '));
        bool pidOk = false;
        const int32_t pid = f.value(0).toInt(&pidOk);
        if (f.size() != 4 || !pidOk || pid <= 0 || f[3].isEmpty())
            continue;
        view.clients.push_back({f[3], pid, f[2], f[1].toLongLong()});
    }
    return view;
}

std::optional<TmuxClient> chooseTmuxClient(const TmuxView& view) {
    const TmuxClient* best = nullptr;
    auto better = [&](const TmuxClient& c) {
        if (!best)
            return true;
        const bool showing = c.sessionId == view.sessionId;
        const bool bestShowing = best->sessionId == view.sessionId;
        if (showing != bestShowing)
            return showing;
        return c.activity > best->activity;
    };
    for (const TmuxClient& c : view.clients) {
        if (better(c))
            best = &c;
    }
    return best ? std::optional(*best) : std::nullopt;
}

std::optional<WindowChoice> chooseWindow(const std::vector<WindowInfo>& windows,
                                         const std::vector<int32_t>& pidChain,
                                         const QString& needle,
                                         std::optional<uint64_t> namedWindow) {
    for (int32_t pid : pidChain) {
        std::vector<const WindowInfo*> owned;
        for (const WindowInfo& w : windows) {
            if (w.pid == pid)
                owned.push_back(&w);
        }
        if (owned.empty())
            continue;
        if (owned.size() == 1)
            return WindowChoice{owned.front()->id, true};
        for (const WindowInfo* w : owned) {
            if (namedWindow && w->id == *namedWindow)
                return WindowChoice{w->id, true};
        }
        std::vector<const WindowInfo*> titled;
        std::copy_if(owned.begin(), owned.end(), std::back_inserter(titled),
                     [&](const WindowInfo* w) { return titleContains(w->title, needle); });
        if (titled.size() == 1)
            return WindowChoice{titled.front()->id, true};
        return WindowChoice{(titled.empty() ? owned : titled).front()->id, false};
    }
    return std::nullopt;
}

} // namespace TerminalRules
