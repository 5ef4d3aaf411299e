// SPDX-License-Identifier: MIT
#include "Notch/SessionPresentation.h"

#include "Notch/NotchPalette.h"

namespace SessionPresentation {

namespace {

using NotchPalette::opacity;

QColor white(float alpha) {
    return opacity(Qt::white, alpha);
}

} // namespace

UIStatus uiStatus(const Session& session) {
    switch (session.status.kind) {
    case Status::Kind::waitingForUser:
        return UIStatus::waiting;
    case Status::Kind::working:
        return UIStatus::working;
    case Status::Kind::idle:
        break;
    }
    return session.justFinishedAt ? UIStatus::done : UIStatus::idle;
}

QString statusName(UIStatus status) {
    switch (status) {
    case UIStatus::waiting:
        return QStringLiteral("waiting");
    case UIStatus::working:
        return QStringLiteral("working");
    case UIStatus::done:
        return QStringLiteral("done");
    case UIStatus::idle:
        break;
    }
    return QStringLiteral("idle");
}

StatusStyle statusStyle(UIStatus status) {
    const QColor accent = NotchPalette::accent();
    const QColor green = NotchPalette::green();
    switch (status) {
    case UIStatus::waiting:
        return {QStringLiteral("exclamationmark"),
                Qt::white,
                opacity(accent, 0.95f),
                opacity(accent, 0.5f),
                6,
                QPointF(0, 1),
                QStringLiteral("Waiting for input"),
                accent,
                false,
                true};
    case UIStatus::working:
        return {QStringLiteral("sparkle"),
                Qt::white,
                opacity(accent, 0.95f),
                opacity(accent, 0.5f),
                6,
                QPointF(0, 1),
                QStringLiteral("Working"),
                accent,
                true,
                false};
    case UIStatus::done:
        return {QStringLiteral("checkmark"),
                green,
                opacity(green, 0.15f),
                Qt::transparent,
                0,
                QPointF(),
                QStringLiteral("Done"),
                green,
                false,
                false};
    case UIStatus::idle:
        break;
    }
    // "White at 0.5, that colour again at 0.15": the fill is the symbol colour made fainter.
    const QColor symbol = white(0.5f);
    return {QStringLiteral("pause.fill"),
            symbol,
            opacity(symbol, 0.5f * 0.15f),
            Qt::transparent,
            0,
            QPointF(),
            QStringLiteral("Idle"),
            white(0.45f),
            false,
            false};
}

QString projectName(const QString& cwd) {
    QString path = cwd;
    const qsizetype slash = path.lastIndexOf(u'/');
    const QString last = slash < 0 ? path : path.mid(slash + 1);
    return last.isEmpty() ? cwd : last;
}

QString helpText(const QString& project, const std::optional<QString>& terminalLabel,
                 bool expanded) {
    const QString terminal = terminalLabel.value_or(QStringLiteral("the terminal"));
    if (expanded)
        return QStringLiteral("Click anywhere to open ") + project + QStringLiteral(" in ") +
               terminal;
    return QStringLiteral("Click to expand · click again to open in ") + terminal;
}

std::optional<QString> activityPreview(const Session& session) {
    if (session.lastUserMessage && !session.lastUserMessage->isEmpty())
        return session.lastUserMessage;
    if (session.firstUserPrompt && !session.firstUserPrompt->isEmpty())
        return session.firstUserPrompt;
    return std::nullopt;
}

QString subtitle(int pending, int working, int sessions) {
    const QString workingText = QString::number(working) + QStringLiteral(" working");
    if (pending == 0 && working > 0)
        return workingText;
    if (pending == 0)
        return QString::number(sessions) +
               (sessions == 1 ? QStringLiteral(" session") : QStringLiteral(" sessions"));
    if (working > 0)
        return QString::number(pending) + QStringLiteral(" waiting · ") + workingText;
    return QString::number(pending) + QStringLiteral(" waiting for input");
}

QColor compactAccent(bool anyPending, bool anyJustFinished) {
    if (anyPending)
        return NotchPalette::orange();
    if (anyJustFinished)
        return NotchPalette::green();
    // Deliberately a shade off the palette's accent (0.98, 0.55, 0.30).
    return QColor::fromRgbF(0.95f, 0.55f, 0.30f, 1.0f);
}

Trailing trailing(bool anyPending, bool anyWorking, bool anyJustFinished) {
    if (anyPending)
        return Trailing::bell;
    if (anyWorking)
        return Trailing::working;
    if (anyJustFinished)
        return Trailing::finished;
    return Trailing::ellipsis;
}

QString trailingSymbol(Trailing trailing) {
    switch (trailing) {
    case Trailing::bell:
        return QStringLiteral("bell.badge.fill");
    case Trailing::working:
        return {};
    case Trailing::finished:
        return QStringLiteral("checkmark.circle.fill");
    case Trailing::ellipsis:
        break;
    }
    return QStringLiteral("ellipsis");
}

QColor trailingColor(Trailing trailing) {
    switch (trailing) {
    case Trailing::finished:
        return NotchPalette::green();
    case Trailing::ellipsis:
        return white(0.6f);
    case Trailing::bell:
    case Trailing::working:
        break;
    }
    // The bell keeps the ordinary foreground; the working chip draws its own.
    return Qt::white;
}

QColor rowFill(bool expanded, bool hovered) {
    if (expanded)
        return opacity(NotchPalette::accent(), 0.10f);
    if (hovered)
        return opacity(NotchPalette::accent(), 0.06f);
    return white(0.03f);
}

QColor rowBorder(bool expanded, bool hovered) {
    if (expanded)
        return opacity(NotchPalette::accent(), 0.45f);
    if (hovered)
        return opacity(NotchPalette::accent(), 0.3f);
    return white(0.06f);
}

QString rowAccessibleName(const QString& project, UIStatus status) {
    return project + QStringLiteral(", ") + statusStyle(status).chipLabel;
}

QString notchAccessibleName(int pending, int working, int sessions) {
    return QStringLiteral("Claude Code, ") + subtitle(pending, working, sessions);
}

} // namespace SessionPresentation
