// SPDX-License-Identifier: MIT
#include "SessionScanner.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <cstdio>
#include <dirent.h>
#include <fcntl.h>
#include <map>
#include <set>
#include <sys/stat.h>

#include "ClaudeIntegration/TranscriptReader.h"
#include "Platform/FolderWatcher.h"
#include "Sessions/SessionStore.h"

namespace {

SessionScanner::Environment withDefaults(SessionScanner::Environment env) {
    if (env.projectsRoot.isEmpty())
        env.projectsRoot = QDir::homePath() + QStringLiteral("/.claude/projects");
    if (env.sessionsRoot.isEmpty())
        env.sessionsRoot = QFileInfo(env.projectsRoot).path() + QStringLiteral("/sessions");
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

struct Transcript {
    std::string name;
    qint64 mtimeMs = 0;
};

// The transcripts of a project folder modified since `sinceMs`, newest first; the first seen
// wins a tie.
std::vector<Transcript> liveTranscripts(const std::string& folder, qint64 sinceMs) {
    std::vector<Transcript> found;
    DIR* dir = ::opendir(folder.c_str());
    if (!dir)
        return found;
    while (const dirent* e = ::readdir(dir)) {
        const std::string_view name(e->d_name);
        if (name.size() <= 6 || !name.ends_with(".jsonl"))
            continue;
        struct stat st {};
        // A date that cannot be read is the distant past: never live.
        if (::fstatat(::dirfd(dir), e->d_name, &st, 0) != 0 || S_ISDIR(st.st_mode))
            continue;
        const qint64 mtime = modifiedMs(st);
        if (mtime >= sinceMs)
            found.push_back({std::string(name), mtime});
    }
    ::closedir(dir);
    std::stable_sort(found.begin(), found.end(), [](const Transcript& a, const Transcript& b) {
        return a.mtimeMs > b.mtimeMs;
    });
    return found;
}

// The session a running Claude Code names in its own record, <claude folder>/sessions/<pid>.json.
std::optional<std::string> recordedSession(const QString& sessionsRoot, int32_t pid) {
    QFile file(sessionsRoot + QStringLiteral("/%1.json").arg(pid));
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    // A record is a few hundred bytes; anything far larger is not one.
    const QJsonObject record = QJsonDocument::fromJson(file.read(64 * 1024)).object();
    const QString id = record.value(QLatin1String("sessionId")).toString();
    if (record.value(QLatin1String("pid")).toInteger(-1) != pid || id.isEmpty())
        return std::nullopt;
    return QFile::encodeName(id).toStdString();
}

// A running Claude Code and what it may still claim in one pass.
struct Alive {
    RunningClaude process;
    // The session its own record names; without a record it takes the newest transcript of its
    // folder that no other process claims.
    std::optional<std::string> sessionId;
    bool claimed = false;
};

DiscoveredSession record(const QString& sessionId, const QString& cwd, qint64 mtimeMs, qint64 nowMs,
                         const TranscriptFacts& facts, const RunningClaude& process) {
    DiscoveredSession s;
    s.sessionId = sessionId;
    s.cwd = cwd;
    s.mtime = QDateTime::fromMSecsSinceEpoch(mtimeMs, Qt::UTC);
    s.firstPrompt = facts.firstPrompt;
    s.lastUser = facts.lastPrompt;
    s.lastAssistant = facts.lastAssistant;
    s.lastModel = facts.lastAssistantModel;
    s.turnComplete = facts.turnComplete || nowMs - mtimeMs > SessionScanner::quietSeconds * 1000;
    s.claudePid = process.pid;
    if (process.terminalBundleId)
        s.terminalBundleId = QString::fromStdString(*process.terminalBundleId);
    s.terminalPid = process.terminalPid;
    return s;
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
    std::map<std::string, std::vector<Alive>> alive; // by cwd, in the table's order
    for (RunningClaude& r : m_env.runningClaudes()) {
        auto id = recordedSession(m_env.sessionsRoot, r.pid);
        alive[r.cwd].push_back({std::move(r), std::move(id)});
    }
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
        const auto transcripts = liveTranscripts(folder, nowMs - liveWindowSeconds * 1000);
        std::set<std::string> ids;
        for (const Transcript& t : transcripts)
            ids.insert(t.name.substr(0, t.name.size() - 6));
        // Several sessions may run in one folder: each process claims one transcript, newest
        // first, until none waits for one.
        for (const Transcript& t : transcripts) {
            const std::string path = folder + '/' + t.name;
            auto reader = m_readers.extract(path);
            auto& kept = used[path];
            kept = reader ? std::move(reader.mapped()) : std::make_unique<TranscriptReader>(path);
            if (kept->update() == TranscriptReader::Outcome::vanished)
                continue; // deleted between listing and reading
            const TranscriptFacts& facts = kept->facts();
            const QString cwd =
                facts.cwd.value_or(cwdFromProjectFolder(QFile::decodeName(project.c_str())));
            const auto processes = alive.find(QFile::encodeName(cwd).toStdString());
            if (processes == alive.end())
                break; // nothing runs where this folder's sessions ran
            const std::string id = t.name.substr(0, t.name.size() - 6);
            auto waiting = [&](const Alive& a) {
                return !a.claimed && (!a.sessionId || ids.count(*a.sessionId));
            };
            auto owner =
                std::find_if(processes->second.begin(), processes->second.end(),
                             [&](const Alive& a) { return !a.claimed && a.sessionId == id; });
            if (owner == processes->second.end())
                owner = std::find_if(processes->second.begin(), processes->second.end(),
                                     [](const Alive& a) { return !a.claimed && !a.sessionId; });
            if (owner != processes->second.end()) {
                owner->claimed = true;
                found.push_back(record(QFile::decodeName(id.c_str()), cwd, t.mtimeMs, nowMs, facts,
                                       owner->process));
            }
            if (std::none_of(processes->second.begin(), processes->second.end(), waiting))
                break;
        }
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
