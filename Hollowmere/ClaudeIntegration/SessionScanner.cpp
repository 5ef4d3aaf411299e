// SPDX-License-Identifier: MIT
#include "SessionScanner.h"

#include <QDir>
#include <QFile>

#include <algorithm>
#include <cstdio>
#include <dirent.h>
#include <fcntl.h>
#include <limits>
#include <map>
#include <sys/stat.h>

#include "ClaudeIntegration/TranscriptReader.h"
#include "Platform/FolderWatcher.h"
#include "Sessions/SessionStore.h"

namespace {

constexpr qint64 distantPastMs = std::numeric_limits<qint64>::min();

SessionScanner::Environment withDefaults(SessionScanner::Environment env) {
    if (env.projectsRoot.isEmpty())
        env.projectsRoot = QDir::homePath() + QStringLiteral("/.claude/projects");
    if (!env.runningClaudes)
        env.runningClaudes = SessionStore::runningClaudes;
    if (!env.now)
        env.now = [] { return QDateTime::currentDateTimeUtc(); };
    return env;
}

// One whole line at a time, so lines from elsewhere in the process do not cut into it.
void logLine(const std::string& line) {
    const std::string withFeed = line + '\n';
    std::fwrite(withFeed.data(), 1, withFeed.size(), stderr);
    std::fflush(stderr);
}

bool isDirectory(DIR* parent, const dirent* e) {
    if (e->d_type != DT_UNKNOWN)
        return e->d_type == DT_DIR;
    struct stat st {};
    return ::fstatat(::dirfd(parent), e->d_name, &st, AT_SYMLINK_NOFOLLOW) == 0 &&
           S_ISDIR(st.st_mode);
}

std::vector<std::string> subfolders(const std::string& root) {
    std::vector<std::string> names;
    DIR* dir = ::opendir(root.c_str());
    if (!dir)
        return names; // no projects folder yet, or unreadable: nothing to report
    while (const dirent* e = ::readdir(dir)) {
        const std::string_view name(e->d_name);
        if (name != "." && name != ".." && isDirectory(dir, e))
            names.emplace_back(name);
    }
    ::closedir(dir);
    std::sort(names.begin(), names.end()); // stable log and record order
    return names;
}

qint64 modifiedMs(const struct stat& st) {
#if defined(__APPLE__)
    const timespec& t = st.st_mtimespec;
#else
    const timespec& t = st.st_mtim;
#endif
    return qint64(t.tv_sec) * 1000 + t.tv_nsec / 1000000;
}

struct Newest {
    std::string name;
    qint64 mtimeMs = distantPastMs;
};

// The most recently modified transcript of a project folder; the first seen wins a tie.
std::optional<Newest> newestTranscript(const std::string& folder) {
    DIR* dir = ::opendir(folder.c_str());
    if (!dir)
        return std::nullopt;
    std::optional<Newest> best;
    while (const dirent* e = ::readdir(dir)) {
        const std::string_view name(e->d_name);
        if (name.size() <= 6 || !name.ends_with(".jsonl"))
            continue;
        struct stat st {};
        qint64 mtime = distantPastMs; // a date that cannot be read is the distant past
        if (::fstatat(::dirfd(dir), e->d_name, &st, 0) == 0) {
            if (S_ISDIR(st.st_mode))
                continue;
            mtime = modifiedMs(st);
        }
        if (!best || mtime > best->mtimeMs)
            best = Newest{std::string(name), mtime};
    }
    ::closedir(dir);
    return best;
}

QString describe(const std::optional<int32_t>& pid) {
    return pid ? QString::number(*pid) : QStringLiteral("none");
}

} // namespace

SessionScanner::SessionScanner(SessionStore* store, QObject* parent)
    : SessionScanner(store, Environment{}, parent) {}

SessionScanner::SessionScanner(SessionStore* store, Environment env, QObject* parent)
    : QObject(parent), m_store(store), m_env(withDefaults(std::move(env))) {}

SessionScanner::~SessionScanner() = default;

QString SessionScanner::cwdFromProjectFolder(const QString& name) {
    QString path = name.startsWith(QLatin1Char('-')) ? name.mid(1) : name;
    path.replace(QLatin1Char('-'), QLatin1Char('/'));
    return QLatin1Char('/') + path;
}

void SessionScanner::start() {
    m_pruneTimer.setInterval(pruneIntervalMs);
    connect(&m_pruneTimer, &QTimer::timeout, this, [this] {
        if (m_store)
            m_store->pruneDeadProcesses();
    });
    m_fallbackTimer.setInterval(fallbackIntervalMs);
    connect(&m_fallbackTimer, &QTimer::timeout, this, [this] {
        m_watcher->start(); // re-arms a watch lost with the folder, or one that never began
        scan();
    });
    m_watcher = std::make_unique<FolderWatcher>(m_env.projectsRoot);
    connect(m_watcher.get(), &FolderWatcher::changed, this, &SessionScanner::scan);
    m_watcher->start();
    m_pruneTimer.start();
    m_fallbackTimer.start();
    // Sessions already running show at once rather than at the first timer.
    QTimer::singleShot(0, this, &SessionScanner::scan);
}

std::vector<DiscoveredSession> SessionScanner::discover() {
    std::map<std::string, RunningClaude> alive; // by cwd; the first of a shared cwd is kept
    for (RunningClaude& r : m_env.runningClaudes())
        alive.emplace(r.cwd, std::move(r));
    std::string line = "Scanner: aliveCwds = [";
    for (const auto& [cwd, r] : alive)
        line += (line.back() == '[' ? "\"" : ", \"") + cwd + '"';
    logLine(line + ']');

    const qint64 nowMs = m_env.now().toMSecsSinceEpoch();
    const std::string root = QFile::encodeName(m_env.projectsRoot).toStdString();
    std::vector<DiscoveredSession> found;
    std::unordered_map<std::string, std::unique_ptr<TranscriptReader>> used;
    for (const std::string& project : subfolders(root)) {
        const std::string folder = root + '/' + project;
        const auto newest = newestTranscript(folder);
        if (!newest || newest->mtimeMs == distantPastMs ||
            nowMs - newest->mtimeMs > liveWindowSeconds * 1000)
            continue;

        const std::string path = folder + '/' + newest->name;
        auto reader = m_readers.extract(path);
        auto& kept = used[path];
        kept = reader ? std::move(reader.mapped()) : std::make_unique<TranscriptReader>(path);
        if (kept->update() == TranscriptReader::Outcome::vanished)
            continue; // deleted between listing and reading
        const TranscriptFacts& facts = kept->facts();

        const QString cwd =
            facts.cwd.value_or(cwdFromProjectFolder(QFile::decodeName(project.c_str())));
        auto process = alive.find(QFile::encodeName(cwd).toStdString());
        if (process == alive.end())
            continue;

        DiscoveredSession s;
        s.sessionId = QFile::decodeName(newest->name.substr(0, newest->name.size() - 6).c_str());
        s.cwd = cwd;
        s.mtime = QDateTime::fromMSecsSinceEpoch(newest->mtimeMs, Qt::UTC);
        s.firstPrompt = facts.firstPrompt;
        s.lastUser = facts.lastPrompt;
        s.lastAssistant = facts.lastAssistant;
        s.lastModel = facts.lastAssistantModel;
        s.turnComplete = facts.turnComplete || nowMs - newest->mtimeMs > quietSeconds * 1000;
        s.claudePid = process->second.pid;
        if (process->second.terminalBundleId)
            s.terminalBundleId = QString::fromStdString(*process->second.terminalBundleId);
        s.terminalPid = process->second.terminalPid;
        found.push_back(std::move(s));
    }
    m_readers = std::move(used); // transcripts no longer considered let go of their state
    return found;
}

void SessionScanner::scan() {
    const std::vector<DiscoveredSession> found = discover();
    QString line = QStringLiteral("Scanner: discovered %1 sessions: [").arg(found.size());
    for (std::size_t i = 0; i < found.size(); ++i) {
        const DiscoveredSession& s = found[i];
        line += QStringLiteral("%1%2 cwd=%3 pid=%4 turnComplete=%5")
                    .arg(i ? QStringLiteral(", ") : QString(), s.sessionId, s.cwd,
                         describe(s.claudePid), s.turnComplete ? "true" : "false");
    }
    logLine((line + QLatin1Char(']')).toStdString());
    if (m_store)
        m_store->reconcileDiscovered(found);
    emit scanned(int(found.size()));
}
