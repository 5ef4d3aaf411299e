// SPDX-License-Identifier: MIT
// Every decision terminal focus makes, as plain functions over plain values: the terminal table,
// the scripts and their escaping, the line to type, what a session's environment says it runs
// in, the remote-control commands, which tmux client and which X window. The platform code only
// runs what these say.
#pragma once

#include <QHash>
#include <QString>
#include <QStringList>

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

struct Session;

// What focus needs of a session record, copied so that the work may leave the GUI thread.
struct FocusTarget {
    QString sessionId;
    QString cwd;
    std::optional<QString> bundleId;
    std::optional<int32_t> terminalPid;
    std::optional<int32_t> claudePid;
    std::optional<QString> iTermSessionId;

    static FocusTarget from(const Session& session);
};

namespace TerminalRules {

inline constexpr char iTermBundleId[] = "com.googlecode.iterm2";
inline constexpr char appleTerminalBundleId[] = "com.apple.Terminal";

std::optional<QString> terminalLabel(const std::optional<QString>& bundleId);
QString terminalIcon(const std::optional<QString>& bundleId);

// The last component of a working directory ("/a/b/" gives "b"): what a tab title shows of it.
QString needle(const QString& cwd);
// Case-insensitive containment; an empty needle matches nothing.
bool titleContains(const QString& title, const QString& needle);

// The text of a line to deliver: a trailing two-character "\r" (or a real CR or LF) is taken
// off; it stands for the Return that every delivered line ends with.
QString lineText(const QString& text);

// macOS: which jump applies, and the AppleScript texts.
enum class MacJumpPath { iTerm, appleTerminal, generic };
MacJumpPath macJumpPath(const FocusTarget& target);
// Backslashes doubled first, then quotes escaped: the text as an AppleScript string body.
QString appleScriptEscaped(const QString& text);
QString iTermScript(const QString& iTermSessionId);
QString terminalTtyScript(const QString& ttyPath);
// Types the line and presses Return (key code 36).
QString keystrokeScript(const QString& line);
// The size of the BSD process record that proc_pidinfo must return, and the tty it names.
inline constexpr int bsdInfoSize = 136;
bool usableTerminalDevice(int bytesReturned, int64_t device);

// An accessibility element as the walk sees it; the macOS backend wraps AXUIElementRef.
class AccessibleElement {
public:
    virtual ~AccessibleElement() = default;
    virtual QString role() const = 0;
    virtual QString title() const = 0; // empty when it has none
    virtual void press() = 0;
    virtual std::vector<std::unique_ptr<AccessibleElement>> children() const = 0;
};
inline constexpr int walkDepthLimit = 6;
// Depth first from `depth`: presses the first radio button or tab whose title contains the
// needle; true when one was pressed. Nothing below walkDepthLimit is visited.
bool walk(AccessibleElement& element, int depth, const QString& needle);

// Linux: what the session's environment says it runs in.
struct TmuxPane {
    QString socket; // the server's socket, from TMUX
    QString pane;   // "%3", from TMUX_PANE
    bool operator==(const TmuxPane&) const = default;
};
struct KittyWindow {
    // KITTY_LISTEN_ON ("unix:/path" or "unix:@abstract"): without it kitty takes no remote
    // commands from outside.
    QString listenOn;
    QString windowId;
    bool operator==(const KittyWindow&) const = default;
};
struct WezTermPane {
    // WEZTERM_UNIX_SOCKET: pane ids are only unique within one mux server, so never guessed.
    QString socket;
    QString paneId;
    bool operator==(const WezTermPane&) const = default;
};
struct TerminalEnvironment {
    std::optional<TmuxPane> tmux;
    std::optional<KittyWindow> kitty;
    std::optional<WezTermPane> wezterm;
    std::optional<uint64_t> windowId; // WINDOWID: the terminal's own X window
};
using Environ = QHash<QString, QString>;
Environ parseEnviron(const QByteArray& nulSeparated);
TerminalEnvironment terminalEnvironment(const Environ& env);
// Whether an environment names anything a session runs in; a process without any (a wrapper
// that cleared it) sends the search on to its parent.
bool namesTerminal(const TerminalEnvironment& env);

// Remote-control argument vectors (never through a shell).
QStringList tmuxSelectArgs(const TmuxPane& pane);
QStringList tmuxSwitchClientArgs(const TmuxPane& pane, const QString& clientTty);
QStringList tmuxSendTextArgs(const TmuxPane& pane, const QString& line);
QStringList tmuxSendReturnArgs(const TmuxPane& pane);
// kitty's remote-control messages, spoken on its socket directly: its `kitty @` client is a
// Python program whose start alone can take seconds on a busy machine.
QByteArray kittyFocusRequest(const KittyWindow& window);
QByteArray kittySendRequest(const KittyWindow& window, const QString& line);
// Whether kitty's answer says the command succeeded.
bool kittyAnswerOk(const QByteArray& answer);
// Whether kitty answers this request at all.
bool kittyAnswers(const QByteArray& request);
inline constexpr char kittyFrameEnd[] = "\x1b\\";
QStringList weztermActivateArgs(const WezTermPane& pane);
QStringList weztermSendArgs(const WezTermPane& pane, const QString& line);
// The session's WEZTERM_UNIX_SOCKET, for the wezterm command.
Environ weztermEnvironment(const WezTermPane& pane);

struct TmuxClient {
    QString tty;
    int32_t pid = 0;
    QString sessionId;
    int64_t activity = 0;
    bool operator==(const TmuxClient&) const = default;
};
// The output of tmuxSelectArgs: the pane's session id, then one client a line.
struct TmuxView {
    QString sessionId;
    std::vector<TmuxClient> clients;
};
std::optional<TmuxView> parseTmuxView(const QString& output);
// A client already showing the pane's session, else the one used last; nothing without clients.
std::optional<TmuxClient> chooseTmuxClient(const TmuxView& view);

struct WindowInfo {
    uint64_t id = 0;
    std::optional<int32_t> pid; // _NET_WM_PID
    QString title;
};
struct WindowChoice {
    uint64_t id = 0;
    // Only one window can be the session's: typing into it is safe.
    bool certain = false;
    bool operator==(const WindowChoice&) const = default;
};
// The window of the nearest process in `pidChain` that owns any; among several, the one the
// terminal named (WINDOWID's top-level window), else the only one whose title contains the
// needle, else the first (not certain).
std::optional<WindowChoice> chooseWindow(const std::vector<WindowInfo>& windows,
                                         const std::vector<int32_t>& pidChain,
                                         const QString& needle,
                                         std::optional<uint64_t> namedWindow);

} // namespace TerminalRules
