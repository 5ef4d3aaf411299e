// SPDX-License-Identifier: MIT
#pragma once

#include "Sessions/Session.h"

#include <QColor>
#include <QDateTime>
#include <QPointF>
#include <QString>

#include <optional>

// Every text, symbol and colour the session views show, as plain functions of the sessions.
namespace SessionPresentation {

// The four-way display status of a session.
enum class UIStatus { waiting, working, done, idle };
UIStatus uiStatus(const Session& session);
QString statusName(UIStatus status); // "waiting", "working", "done", "idle"

// The status badge and the row's status chip.
struct StatusStyle {
    QString badgeSymbol;
    QColor symbolColor;
    QColor badgeFill;
    QColor badgeShadow; // transparent: no shadow
    qreal shadowRadius = 0;
    QPointF shadowOffset;
    QString chipLabel;
    QColor chipColor;
    bool typingDots = false;
    bool pulseDot = false;
};
StatusStyle statusStyle(UIStatus status);

// The last path component of the session's cwd, or the whole cwd when that is empty.
QString projectName(const QString& cwd);
// The row's tooltip, closed or open; a missing terminal reads "the terminal".
QString helpText(const QString& project, const std::optional<QString>& terminalLabel,
                 bool expanded);
// The latest user message, else the first prompt, else nothing.
std::optional<QString> activityPreview(const Session& session);
// The list card's subtitle from P pending prompts, W working and N sessions.
QString subtitle(int pending, int working, int sessions);

// The compact leading mark's colour.
QColor compactAccent(bool anyPending, bool anyJustFinished);

// What the compact trailing side shows, by the first rule that applies.
enum class Trailing { bell, working, finished, ellipsis };
Trailing trailing(bool anyPending, bool anyWorking, bool anyJustFinished);
QString trailingSymbol(Trailing trailing); // empty for `working`, drawn as the working chip
QColor trailingColor(Trailing trailing);

// The row's background: fill and border for open, hovered or plain rows.
QColor rowFill(bool expanded, bool hovered);
QColor rowBorder(bool expanded, bool hovered);

// What a screen reader says: "<project>, <chip label>", and for the notch as a whole.
QString rowAccessibleName(const QString& project, UIStatus status);
QString notchAccessibleName(int pending, int working, int sessions);

} // namespace SessionPresentation
