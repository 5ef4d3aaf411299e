// SPDX-License-Identifier: MIT
// Runs the real Linux terminal focus for one session record and prints what it did as one JSON
// line, for the tests that drive real terminals (xterm, kitty, tmux, Claude Code in tmux).
//   focus_probe jump|send|service-jump|service-send [TEXT] --claude-pid N --cwd DIR
//               [--session-id ID] [--terminal-pid N] [--watch-bell]
// --watch-bell also reports whether the X server rang its bell during the run.
#include "ClaudeIntegration/TerminalFocusLinux.h"
#include "ClaudeIntegration/TerminalFocusService.h"
#include "Platform/TerminalControl.h"
#include "Sessions/Session.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QJsonDocument>
#include <QJsonObject>

#include <X11/XKBlib.h>
#include <X11/Xlib.h>

#include <cstdio>

namespace {

// Listens for XKB bell notices on its own connection from before the action to after it.
class BellWatch {
public:
    BellWatch() {
        m_display = XOpenDisplay(nullptr);
        int opcode = 0, error = 0, major = XkbMajorVersion, minor = XkbMinorVersion;
        if (!m_display ||
            !XkbQueryExtension(m_display, &opcode, &m_eventBase, &error, &major, &minor))
            return;
        XkbSelectEvents(m_display, XkbUseCoreKbd, XkbBellNotifyMask, XkbBellNotifyMask);
        XSync(m_display, False);
    }
    ~BellWatch() {
        if (m_display)
            XCloseDisplay(m_display);
    }
    bool rang() {
        if (!m_display)
            return false;
        XSync(m_display, False);
        bool rang = false;
        while (XPending(m_display)) {
            XEvent event;
            XNextEvent(m_display, &event);
            rang = rang || (event.type == m_eventBase &&
                            reinterpret_cast<XkbEvent*>(&event)->any.xkb_type == XkbBellNotify);
        }
        return rang;
    }

private:
    Display* m_display = nullptr;
    int m_eventBase = 0;
};

const char* pathName(LinuxTerminalFocus::Path p) {
    static const char* names[] = {"none", "tmux", "kitty", "wezterm", "x11"};
    return names[int(p)];
}

const char* deliveryName(LinuxTerminalFocus::Delivery d) {
    static const char* names[] = {"injectionSocket", "tmux",  "kitty",
                                  "wezterm",         "xtest", "nothing"};
    return names[int(d)];
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    QCommandLineParser parser;
    parser.addPositionalArgument("action", "jump, send, service-jump or service-send");
    parser.addOptions({{"claude-pid", "pid", "n"},
                       {"terminal-pid", "pid", "n"},
                       {"cwd", "folder", "dir"},
                       {"session-id", "id", "id", "probe"},
                       {"watch-bell", "report the X bell"}});
    parser.process(app);
    const QStringList args = parser.positionalArguments();
    const QString action = args.value(0);

    Session session;
    session.sessionId = parser.value("session-id");
    session.cwd = parser.value("cwd");
    if (parser.isSet("claude-pid"))
        session.claudePid = parser.value("claude-pid").toInt();
    if (parser.isSet("terminal-pid"))
        session.lastTerminalPid = parser.value("terminal-pid").toInt();
    const FocusTarget target = FocusTarget::from(session);

    std::optional<BellWatch> bell;
    if (parser.isSet("watch-bell"))
        bell.emplace();
    QJsonObject out;
    LinuxTerminalFocus focus(LinuxTerminalControl::system());
    if (action == "jump") {
        const auto jump = focus.jump(target);
        out["path"] = pathName(jump.path);
        out["window"] = jump.window ? qint64(jump.window->id) : 0;
        out["certain"] = jump.window && jump.window->certain;
        out["active"] = jump.windowActive;
    } else if (action == "send") {
        out["delivery"] = deliveryName(focus.sendKeystrokes(args.value(1), target));
    } else if (action == "service-jump" || action == "service-send") {
        if (action == "service-jump")
            TerminalFocusService::jump(session);
        else
            TerminalFocusService::sendKeystrokes(args.value(1), session);
        out["idle"] = TerminalFocusService::waitForIdle(30000);
    } else {
        parser.showHelp(2);
    }
    if (bell)
        out["bell"] = bell->rang();
    std::printf("%s\n", QJsonDocument(out).toJson(QJsonDocument::Compact).constData());
    return 0;
}
