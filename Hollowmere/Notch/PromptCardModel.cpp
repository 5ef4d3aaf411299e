// SPDX-License-Identifier: MIT
#include "Notch/PromptCardModel.h"

#include "ClaudeIntegration/TerminalFocusService.h"
#include "Notch/NotchPalette.h"
#include "Notch/RelativeTime.h"

#include <QDir>
#include <QFontDatabase>

using namespace PromptCardRules;

namespace {

PromptCardModel::Environment withDefaults(PromptCardModel::Environment env) {
    if (!env.now)
        env.now = [] { return QDateTime::currentDateTimeUtc(); };
    if (!env.jump)
        env.jump = [](const Session& s) { TerminalFocusService::jump(s); };
    if (!env.sendKeystrokes)
        env.sendKeystrokes = [](const QString& text, const Session& s) {
            TerminalFocusService::sendKeystrokes(text, s);
        };
    if (env.home.isEmpty())
        env.home = QDir::homePath();
    return env;
}

const char* bodyKindName(BodyKind kind) {
    switch (kind) {
    case BodyKind::none:
        return "none";
    case BodyKind::message:
        return "message";
    case BodyKind::question:
        return "question";
    case BodyKind::diff:
        return "diff";
    case BodyKind::write:
        return "write";
    case BodyKind::bash:
        return "bash";
    case BodyKind::path:
        return "path";
    }
    return "none";
}

} // namespace

PromptCardModel::PromptCardModel(QObject* parent) : PromptCardModel(Environment{}, parent) {}

PromptCardModel::PromptCardModel(Environment env, QObject* parent)
    : QObject(parent), m_env(withDefaults(std::move(env))) {
#ifdef Q_OS_MACOS
    m_env.mac = true;
#endif
    m_ageTimer.setSingleShot(true);
    connect(&m_ageTimer, &QTimer::timeout, this, &PromptCardModel::updateTimeAgo);
}

void PromptCardModel::setStore(SessionStore* store) {
    if (store == m_store)
        return;
    if (m_store)
        disconnect(m_store, nullptr, this, nullptr);
    m_store = store;
    if (store)
        connect(store, &SessionStore::sessionsChanged, this, &PromptCardModel::refresh);
    emit inputsChanged();
    refresh();
}

void PromptCardModel::setSessionId(const QString& sessionId) {
    if (sessionId == m_sessionId)
        return;
    m_sessionId = sessionId;
    emit inputsChanged();
    refresh();
}

void PromptCardModel::show(const Session& session, const PendingPrompt& prompt) {
    m_shown.emplace(session, prompt);
    refresh();
}

void PromptCardModel::refresh() {
    std::optional<PendingPrompt> prompt;
    Session session;
    if (m_shown) {
        session = m_shown->first;
        prompt = m_shown->second;
    } else if (const Session* s = m_store ? m_store->session(m_sessionId) : nullptr) {
        session = *s;
        if (s->status.isWaiting())
            prompt = s->status.prompt;
    }
    const int pending = m_store ? int(m_store->pending().size()) : (prompt ? 1 : 0);

    const bool samePrompt =
        prompt.has_value() == m_prompt.has_value() && (!prompt || prompt->id == m_prompt->id);
    if (samePrompt && pending == m_pendingCount && session.cwd == m_session.cwd &&
        session.lastModel == m_session.lastModel && session.sessionId == m_session.sessionId) {
        m_session = session; // terminal facts may have moved on; nothing shown did
        updateTimeAgo();
        return;
    }
    m_session = std::move(session);
    m_prompt = std::move(prompt);
    m_pendingCount = pending;
    if (m_prompt) {
        m_body = PromptCardRules::body(m_prompt->event, context());
        m_actions = PromptCardRules::actions(m_prompt->event);
    } else {
        m_body = {};
        m_actions.clear();
    }
    emit changed();
    updateTimeAgo();
}

Context PromptCardModel::context() const {
    return {m_session.cwd, m_env.home, m_session.lastModel, std::max(m_pendingCount, 1)};
}

void PromptCardModel::updateTimeAgo() {
    m_ageTimer.stop();
    QString text;
    if (m_prompt) {
        const qint64 age =
            RelativeTime::elapsedSeconds(dateFromWire(m_prompt->event.timestamp), m_env.now());
        text = RelativeTime::text(age);
        // Look again when the text would change, not before: an idle card costs nothing.
        m_ageTimer.start(
            int(std::min<qint64>(RelativeTime::secondsUntilChange(age), 86400) * 1000));
    }
    if (text != m_timeAgo) {
        m_timeAgo = text;
        emit timeAgoChanged();
    }
}

QString PromptCardModel::kind() const {
    return m_prompt ? QString::fromUtf8(toString(m_prompt->event.kind)) : QString();
}

QString PromptCardModel::headerTitle() const {
    return m_prompt ? PromptCardRules::headerTitle(m_prompt->event) : QString();
}

QString PromptCardModel::headerSubtitle() const {
    return m_prompt ? PromptCardRules::headerSubtitle(m_prompt->event, context()) : QString();
}

bool PromptCardModel::hasBody() const {
    return m_prompt && PromptCardRules::hasBody(m_body);
}

QString PromptCardModel::bodyKind() const {
    return QString::fromLatin1(bodyKindName(m_body.kind));
}

QVariantList PromptCardModel::codeLines() const {
    QVariantList lines;
    lines.reserve(qsizetype(m_body.lines.size()));
    for (const DiffLine& line : m_body.lines)
        lines << QVariantMap{{QStringLiteral("lineNumber"),
                              line.lineNumber > 0 ? QString::number(line.lineNumber) : QString()},
                             {QStringLiteral("marker"), line.marker},
                             {QStringLiteral("markerColor"), line.markerColor},
                             {QStringLiteral("text"), line.text},
                             {QStringLiteral("textColor"),
                              line.lineNumber > 0 ? QColor(Qt::white) : NotchPalette::dimText()},
                             {QStringLiteral("tint"),
                              line.backgroundTint ? NotchPalette::opacity(*line.backgroundTint,
                                                                          float(lineTintOpacity))
                                                  : QColor(Qt::transparent)}};
    return lines;
}

QVariantList PromptCardModel::buttons() const {
    QVariantList list;
    for (const ActionButton& b : m_actions)
        list << QVariantMap{
            {QStringLiteral("label"), b.label},
            {QStringLiteral("primary"), b.primary},
            {QStringLiteral("shortcutLabel"),
             b.shortcut ? b.shortcut->displayLabel(m_env.mac) : QString()},
            {QStringLiteral("sequence"), b.shortcut ? b.shortcut->sequence() : QString()}};
    return list;
}

QString PromptCardModel::accessibleName() const {
    if (!m_prompt)
        return {};
    return headerTitle() + QStringLiteral(": ") + headerSubtitle();
}

QColor PromptCardModel::optionCircleFill() {
    return NotchPalette::opacity(NotchPalette::accent(), 0.15f);
}
QColor PromptCardModel::buttonFill() {
    return NotchPalette::opacity(NotchPalette::accent(), 0.95f);
}
QColor PromptCardModel::buttonBorder() {
    return NotchPalette::opacity(Qt::white, 0.35f);
}
QColor PromptCardModel::messageColor() {
    return NotchPalette::opacity(Qt::white, 0.85f);
}
QColor PromptCardModel::lineNumberColor() {
    return NotchPalette::dimText();
}

QString PromptCardModel::codeFontFamily() {
    return QFontDatabase::systemFont(QFontDatabase::FixedFont).family();
}

void PromptCardModel::answer(const HookDecision& decision, bool always) {
    if (!m_prompt)
        return;
    const PendingPrompt prompt = *m_prompt;
    if (m_shown) {
        m_shown.reset();
        if (prompt.respond)
            prompt.respond(decision);
    } else if (m_store) {
        // Only the prompt on screen: a newer one on the same session waits for its own answer.
        const Session* s = m_store->session(m_sessionId);
        if (!s || !s->status.isWaiting() || s->status.prompt->id != prompt.id)
            return;
        if (always)
            m_store->resolveAlways(m_sessionId);
        else
            m_store->resolve(m_sessionId, decision);
    }
    emit answered();
    refresh();
}

void PromptCardModel::press(int index) {
    if (index < 0 || index >= int(m_actions.size()) || !m_prompt)
        return;
    const Action action = m_actions[size_t(index)].action;
    if (action == Action::jump)
        m_env.jump(m_session);
    answer(PromptCardRules::decision(action), action == Action::always);
}

void PromptCardModel::chooseOption(int index) {
    if (index < 0 || index >= m_body.options.size() || !m_prompt)
        return;
    answer(optionDecision(m_body.options[index]));
}

void PromptCardModel::chooseSuggestion(int index) {
    if (index < 0 || index >= m_body.chips.size() || !m_prompt)
        return;
    const QString text = m_body.chips[index];
    m_env.sendKeystrokes(chipKeystrokes(text), m_session);
    answer(chipDecision(text));
}
