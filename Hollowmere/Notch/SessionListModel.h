// SPDX-License-Identifier: MIT
#pragma once

#include "Notch/SessionPresentation.h"
#include "NotchAnimation.h"
#include "Sessions/SessionStore.h"

#include <QAbstractListModel>
#include <QPointer>
#include <QTimer>
#include <QtQml/qqml.h>

#include <functional>
#include <vector>

// The rows of the expanded session list, newest first, each with every text, symbol and colour
// it shows, and the one row that is open. Rows are updated in place, so a row keeps its view
// (hover, animation) while its session changes.
class SessionListModel : public QAbstractListModel {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(SessionStore* store READ store WRITE setStore NOTIFY storeChanged)
    Q_PROPERTY(QString expandedSessionId READ expandedSessionId NOTIFY expandedSessionIdChanged)
    Q_PROPERTY(int count READ count NOTIFY countChanged)

    // The layout.
    Q_PROPERTY(qreal maxListHeight MEMBER maxListHeight CONSTANT)
    Q_PROPERTY(NotchAnimation openAnimation READ openAnimation CONSTANT)
    Q_PROPERTY(qreal badgeSize MEMBER badgeSize CONSTANT)
    Q_PROPERTY(qreal badgeCorner MEMBER badgeCorner CONSTANT)
    Q_PROPERTY(int badgeSymbolSize MEMBER badgeSymbolSize CONSTANT)
    Q_PROPERTY(int projectSize MEMBER projectSize CONSTANT)
    Q_PROPERTY(int chipTextSize MEMBER chipTextSize CONSTANT)
    Q_PROPERTY(qreal chipPaddingH MEMBER chipPaddingH CONSTANT)
    Q_PROPERTY(qreal chipPaddingV MEMBER chipPaddingV CONSTANT)
    Q_PROPERTY(qreal chipFillOpacity MEMBER chipFillOpacity CONSTANT)
    Q_PROPERTY(int metaSymbolSize MEMBER metaSymbolSize CONSTANT)
    Q_PROPERTY(int metaTextSize MEMBER metaTextSize CONSTANT)
    Q_PROPERTY(QColor metaColor READ metaColor CONSTANT)
    Q_PROPERTY(int timeAgoSize MEMBER timeAgoSize CONSTANT)
    Q_PROPERTY(int previewSize MEMBER previewSize CONSTANT)
    Q_PROPERTY(QColor previewColor READ previewColor CONSTANT)
    Q_PROPERTY(int openHintSymbolSize MEMBER openHintSymbolSize CONSTANT)
    Q_PROPERTY(int openHintTextSize MEMBER openHintTextSize CONSTANT)
    Q_PROPERTY(QString openHint READ openHint CONSTANT)
    Q_PROPERTY(qreal collapseSize MEMBER collapseSize CONSTANT)
    Q_PROPERTY(int collapseSymbolSize MEMBER collapseSymbolSize CONSTANT)
    Q_PROPERTY(qreal collapseInset MEMBER collapseInset CONSTANT)
    Q_PROPERTY(QColor collapseSymbolColor READ collapseSymbolColor CONSTANT)
    Q_PROPERTY(QColor collapseFill READ collapseFill CONSTANT)
    Q_PROPERTY(QString collapseHelp READ collapseHelp CONSTANT)
    Q_PROPERTY(qreal rowCorner MEMBER rowCorner CONSTANT)
    Q_PROPERTY(qreal rowBorderWidth MEMBER rowBorderWidth CONSTANT)
    Q_PROPERTY(qreal rowPaddingH MEMBER rowPaddingH CONSTANT)
    Q_PROPERTY(qreal openRowPaddingV MEMBER openRowPaddingV CONSTANT)
    Q_PROPERTY(qreal closedRowPaddingV MEMBER closedRowPaddingV CONSTANT)
public:
    enum Role {
        SessionIdRole = Qt::UserRole + 1,
        ProjectRole,
        StatusRole,
        BadgeSymbolRole,
        SymbolColorRole,
        BadgeFillRole,
        BadgeShadowRole,
        ShadowRadiusRole,
        ShadowOffsetYRole,
        ChipLabelRole,
        ChipColorRole,
        TypingDotsRole,
        PulseDotRole,
        TerminalLabelRole,
        TerminalIconRole,
        TimeAgoRole,
        PreviewRole,
        HelpTextRole,
        OpenHelpTextRole,
        AccessibleNameRole,
    };

    static constexpr qreal maxListHeight = 320;
    static constexpr qreal badgeSize = 28;
    static constexpr qreal badgeCorner = 8;
    static constexpr int badgeSymbolSize = 12;
    static constexpr int projectSize = 13;
    static constexpr int chipTextSize = 10;
    static constexpr qreal chipPaddingH = 7;
    static constexpr qreal chipPaddingV = 2;
    static constexpr qreal chipFillOpacity = 0.14;
    static constexpr int metaSymbolSize = 9;
    static constexpr int metaTextSize = 10;
    static constexpr int timeAgoSize = 10;
    // 11.5-point text in whole pixels.
    static constexpr int previewSize = 12;
    static constexpr int openHintSymbolSize = 9;
    static constexpr int openHintTextSize = 10;
    static constexpr qreal collapseSize = 18;
    static constexpr int collapseSymbolSize = 10;
    static constexpr qreal collapseInset = 8;
    static constexpr qreal rowCorner = 12;
    static constexpr qreal rowBorderWidth = 1;
    static constexpr qreal rowPaddingH = 12;
    static constexpr qreal openRowPaddingV = 10;
    static constexpr qreal closedRowPaddingV = 8;

    // Seams for tests; an empty member takes the default.
    struct Environment {
        std::function<QDateTime()> now;           // the system clock
        std::function<void(const Session&)> jump; // TerminalFocusService::jump
    };

    explicit SessionListModel(QObject* parent = nullptr);
    SessionListModel(Environment env, QObject* parent = nullptr);

    SessionStore* store() const { return m_store; }
    void setStore(SessionStore* store);
    QString expandedSessionId() const { return m_expandedSessionId; }
    int count() const { return int(m_rows.size()); }

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

    // A tap on a row: a closed row opens (closing the open one); the open row brings its
    // session's terminal forward and stays open.
    Q_INVOKABLE void tap(const QString& sessionId);
    // The open row's chevron: the only way to close it.
    Q_INVOKABLE void collapse();
    // Reads the store and the clock again.
    Q_INVOKABLE void refresh();

    // Opening or closing a row.
    static NotchAnimation openAnimation() { return NotchAnimation::easeOut(0.18); }
    static QColor metaColor();
    static QColor previewColor();
    static QColor collapseSymbolColor();
    static QColor collapseFill();
    static QString openHint() { return QStringLiteral("Click to open"); }
    static QString collapseHelp() { return QStringLiteral("Collapse"); }
    Q_INVOKABLE static QColor rowFill(bool expanded, bool hovered);
    Q_INVOKABLE static QColor rowBorder(bool expanded, bool hovered);

signals:
    void storeChanged();
    void expandedSessionIdChanged();
    void countChanged();

private:
    struct Row {
        QString sessionId;
        QString project;
        SessionPresentation::UIStatus status = SessionPresentation::UIStatus::idle;
        std::optional<QString> terminalLabel;
        QString terminalIcon;
        QString timeAgo;
        QString preview;
        bool operator==(const Row&) const = default;
    };
    Row rowFor(const Session& session, const QDateTime& now) const;
    void apply(std::vector<Row> rows);
    void scheduleAgeRefresh(const QDateTime& now);
    void setExpandedSessionId(const QString& id);

    Environment m_env;
    QPointer<SessionStore> m_store;
    std::vector<Row> m_rows;
    QString m_expandedSessionId;
    // Fires when the next time-ago text is due to change, and only then.
    QTimer m_ageTimer;
};
