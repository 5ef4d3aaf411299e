// SPDX-License-Identifier: MIT
#include "LaunchAgentService.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QSaveFile>

#include <algorithm>
#include <cstdio>
#include <optional>

namespace LaunchAgentService {
namespace {

constexpr char label[] = "app.hollowmere.agent";
constexpr char unitName[] = "hollowmere.service";

QString plistPath(const Context& c) {
    return c.home + QStringLiteral("/Library/LaunchAgents/") + QLatin1String(label) +
           QStringLiteral(".plist");
}
QString unitPath(const Context& c) {
    return c.configHome + QStringLiteral("/systemd/user/") + QLatin1String(unitName);
}
QString autostartPath(const Context& c) {
    return c.configHome + QStringLiteral("/autostart/hollowmere.desktop");
}

QString xmlEscaped(const QString& text) {
    return text.toHtmlEscaped().replace(QStringLiteral("&quot;"), QStringLiteral("\""));
}

// Writes through a temporary file and a rename, creating the folder first; the error when not.
std::optional<QString> writeAtomically(const QString& path, const QByteArray& data) {
    const QString dir = QFileInfo(path).absolutePath();
    if (!QDir().mkpath(dir))
        return QStringLiteral("cannot create the folder %1").arg(dir);
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return file.errorString();
    file.write(data);
    if (!file.commit())
        return file.errorString();
    return std::nullopt;
}

int systemctl(const Context& c, QStringList arguments) {
    arguments.prepend(QStringLiteral("--user"));
    arguments.prepend(QStringLiteral("systemctl"));
    return c.run(arguments);
}

bool installLaunchd(const Context& c) {
    const QString path = plistPath(c);
    if (const auto error = writeAtomically(path, launchAgentPlist(c.executable))) {
        const QString line = QStringLiteral("LaunchAgent install failed: ") + *error;
        std::fprintf(stdout, "%s\n", qPrintable(line));
        std::fflush(stdout);
        qWarning("%s", qPrintable(line));
        return false;
    }
    // Unload first clears any earlier registration of the same label.
    c.run({QStringLiteral("/bin/launchctl"), QStringLiteral("unload"), path});
    c.run({QStringLiteral("/bin/launchctl"), QStringLiteral("load"), path});
    return true;
}

void removeUnit(const Context& c) {
    if (!QFileInfo::exists(unitPath(c)))
        return;
    systemctl(c, {QStringLiteral("disable"), QLatin1String(unitName)});
    QFile::remove(unitPath(c));
    systemctl(c, {QStringLiteral("daemon-reload")});
}

// A unit wanted by graphical-session.target only ever starts where the desktop starts that
// target through the user manager; a manager that merely answers (a bare login, some desktops)
// would never run it, so those get the autostart entry.
bool installUnit(const Context& c) {
    const QByteArray unit = systemdUnit(c.executable);
    if (unit.isEmpty() || systemctl(c, {QStringLiteral("is-active"), QStringLiteral("--quiet"),
                                        QStringLiteral("graphical-session.target")}) != 0)
        return false;
    if (const auto error = writeAtomically(unitPath(c), unit)) {
        qWarning("Hollowmere: cannot write %s: %s", qPrintable(unitPath(c)), qPrintable(*error));
        return false;
    }
    systemctl(c, {QStringLiteral("daemon-reload")});
    if (systemctl(c, {QStringLiteral("enable"), QLatin1String(unitName)}) == 0)
        return true;
    qWarning("Hollowmere: systemctl --user enable %s failed; using XDG autostart", unitName);
    removeUnit(c);
    return false;
}

bool installFreedesktop(const Context& c) {
    if (installUnit(c)) {
        QFile::remove(autostartPath(c));
        return true;
    }
    if (const auto error = writeAtomically(autostartPath(c), autostartEntry(c.executable))) {
        qWarning("LaunchAgent install failed: %s", qPrintable(*error));
        return false;
    }
    removeUnit(c);
    return true;
}

// An argument of a desktop entry's Exec key: quoted when it holds a reserved character, then
// escaped once more as the key's string value; "%" is doubled as field codes need.
QString desktopExecArgument(const QString& argument) {
    static const QString reserved = QStringLiteral(" \t\n\"'\\><~|&;$*?#()`");
    QString quoted = argument;
    if (std::any_of(argument.begin(), argument.end(),
                    [](QChar ch) { return reserved.contains(ch); })) {
        quoted.clear();
        for (const QChar ch : argument) {
            if (ch == u'"' || ch == u'`' || ch == u'$' || ch == u'\\')
                quoted += u'\\';
            quoted += ch;
        }
        quoted = u'"' + quoted + u'"';
    }
    quoted.replace(u'\\', QStringLiteral("\\\\"));
    quoted.replace(u'%', QStringLiteral("%%"));
    return quoted;
}

// ExecStart's executable, double-quoted with "%" doubled against specifiers. systemd refuses a
// quote, a backslash or a control character in an executable's name: none then.
std::optional<QString> systemdExecArgument(const QString& argument) {
    if (std::any_of(argument.begin(), argument.end(), [](QChar ch) {
            return ch == u'"' || ch == u'\\' || ch.category() == QChar::Other_Control;
        }))
        return std::nullopt;
    return u'"' + QString(argument).replace(u'%', QStringLiteral("%%")) + u'"';
}

} // namespace

Context currentContext() {
    Context c;
#ifdef Q_OS_MACOS
    c.scheme = Scheme::launchd;
#else
    c.scheme = Scheme::freedesktop;
#endif
    c.home = QDir::homePath();
    const QString xdg = qEnvironmentVariable("XDG_CONFIG_HOME");
    c.configHome = QDir::isAbsolutePath(xdg) ? xdg : c.home + QStringLiteral("/.config");
    c.executable = QCoreApplication::applicationFilePath();
    c.run = [](const QStringList& arguments) { return run(arguments); };
    return c;
}

bool install() {
    return install(currentContext());
}
bool uninstall() {
    return uninstall(currentContext());
}
bool isInstalled() {
    return isInstalled(currentContext());
}

bool install(const Context& c) {
    return c.scheme == Scheme::launchd ? installLaunchd(c) : installFreedesktop(c);
}

bool uninstall(const Context& c) {
    if (c.scheme == Scheme::launchd) {
        const QString path = plistPath(c);
        if (QFileInfo::exists(path)) {
            c.run({QStringLiteral("/bin/launchctl"), QStringLiteral("unload"), path});
            QFile::remove(path);
        }
        return true;
    }
    removeUnit(c);
    QFile::remove(autostartPath(c));
    return true;
}

bool isInstalled(const Context& c) {
    const QStringList files = agentFiles(c);
    return std::any_of(files.begin(), files.end(),
                       [](const QString& f) { return QFileInfo::exists(f); });
}

QStringList agentFiles(const Context& c) {
    if (c.scheme == Scheme::launchd)
        return {plistPath(c)};
    return {unitPath(c), autostartPath(c)};
}

// What NSPropertyListSerialization writes for the dictionary: XML, keys sorted, tabs.
QByteArray launchAgentPlist(const QString& executable) {
    QString xml = QStringLiteral("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                                 "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
                                 "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
                                 "<plist version=\"1.0\">\n"
                                 "<dict>\n"
                                 "\t<key>KeepAlive</key>\n"
                                 "\t<dict>\n"
                                 "\t\t<key>Crashed</key>\n"
                                 "\t\t<true/>\n"
                                 "\t\t<key>SuccessfulExit</key>\n"
                                 "\t\t<false/>\n"
                                 "\t</dict>\n"
                                 "\t<key>Label</key>\n"
                                 "\t<string>%1</string>\n"
                                 "\t<key>ProgramArguments</key>\n"
                                 "\t<array>\n"
                                 "\t\t<string>%2</string>\n"
                                 "\t</array>\n"
                                 "\t<key>RunAtLoad</key>\n"
                                 "\t<true/>\n"
                                 "\t<key>StandardErrorPath</key>\n"
                                 "\t<string>/tmp/hollowmere.err.log</string>\n"
                                 "\t<key>StandardOutPath</key>\n"
                                 "\t<string>/tmp/hollowmere.out.log</string>\n"
                                 "</dict>\n"
                                 "</plist>\n");
    return xml.arg(QLatin1String(label), xmlEscaped(executable)).toUtf8();
}

QByteArray systemdUnit(const QString& executable) {
    const auto exec = systemdExecArgument(executable);
    if (!exec)
        return {};
    return QStringLiteral("# Written by Hollowmere for \"Start at login\"; its menu removes it.\n"
                          "[Unit]\n"
                          "Description=Hollowmere, a companion for Claude Code\n"
                          "PartOf=graphical-session.target\n"
                          "After=graphical-session.target\n"
                          "\n"
                          "[Service]\n"
                          "Type=simple\n"
                          "ExecStart=%1\n"
                          "Restart=on-failure\n"
                          "RestartSec=2\n"
                          "\n"
                          "[Install]\n"
                          "WantedBy=graphical-session.target\n")
        .arg(*exec)
        .toUtf8();
}

QByteArray autostartEntry(const QString& executable) {
    return QStringLiteral("[Desktop Entry]\n"
                          "Type=Application\n"
                          "Name=Hollowmere\n"
                          "Comment=Claude Code sessions and permission requests at the top of "
                          "the screen\n"
                          "Exec=%1\n"
                          "Terminal=false\n"
                          "X-GNOME-Autostart-enabled=true\n")
        .arg(desktopExecArgument(executable))
        .toUtf8();
}

int run(const QStringList& arguments, int timeoutMs) {
    Q_ASSERT(!arguments.isEmpty());
    QProcess process;
    process.setStandardOutputFile(QProcess::nullDevice());
    process.setStandardErrorFile(QProcess::nullDevice());
    process.setStandardInputFile(QProcess::nullDevice());
    process.start(arguments.first(), arguments.mid(1));
    if (!process.waitForStarted(timeoutMs))
        return -1;
    if (!process.waitForFinished(timeoutMs)) {
        process.kill();
        process.waitForFinished(1000);
        return -1;
    }
    return process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
}

} // namespace LaunchAgentService
