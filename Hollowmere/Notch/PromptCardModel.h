// SPDX-License-Identifier: MIT
// Everything the prompt card shows and does for one session's pending prompt.
//
// Use from QML (the expanded notch hosts the card for the first pending prompt):
//     PromptCard { store: theStore; sessionId: "<id of the first pending session>" }
// PromptCard creates this model and passes both inputs on; `model` exposes it. The card follows
// the store by itself: the session's current prompt, the number of prompts pending, the model
// name. Once the prompt is answered (here or anywhere else) `hasPrompt` turns false and the host
// moves on to the next pending prompt or back to the session list.
//
// Answers: Approve and Deny go to SessionStore::resolve, Always to SessionStore::resolveAlways,
// a question's option to resolve (approve with `picked` = the option's label, which the hook
// turns into Claude Code's answer). Jump brings the session's terminal forward and a suggestion
// chip sends its text to it (TerminalFocusService); both then leave the hook to Claude Code.
// Only the prompt on screen is ever answered: a prompt that replaced it is not.
//
// A prompt that is not the store's (a notification or a stop shown on purpose, or a picture of
// the card) is given with show(); its answer goes to its own `respond`.
#pragma once

#include "Notch/PromptCardRules.h"
#include "Sessions/Session.h"
#include "Sessions/SessionStore.h"

#include <QColor>
#include <QObject>
#include <QPointer>
#include <QTimer>
#include <QVariantList>
#include <QtQml/qqml.h>

#include <functional>
#include <optional>

class PromptCardModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(SessionStore* store READ store WRITE setStore NOTIFY inputsChanged)
    Q_PROPERTY(QString sessionId READ sessionId WRITE setSessionId NOTIFY inputsChanged)

    Q_PROPERTY(bool hasPrompt READ hasPrompt NOTIFY changed)
    Q_PROPERTY(QString kind READ kind NOTIFY changed)
    Q_PROPERTY(int pendingCount READ pendingCount NOTIFY changed)
    Q_PROPERTY(QString headerTitle READ headerTitle NOTIFY changed)
    Q_PROPERTY(QString headerSubtitle READ headerSubtitle NOTIFY changed)
    Q_PROPERTY(QString timeAgo READ timeAgo NOTIFY timeAgoChanged)
    Q_PROPERTY(bool hasBody READ hasBody NOTIFY changed)
    // "none", "message", "question", "diff", "write", "bash" or "path".
    Q_PROPERTY(QString bodyKind READ bodyKind NOTIFY changed)
    Q_PROPERTY(QString message READ message NOTIFY changed)
    Q_PROPERTY(QString path READ path NOTIFY changed)
    Q_PROPERTY(QString description READ description NOTIFY changed)
    // One map per line: lineNumber (text, empty for a note), marker, markerColor, text, tint
    // (transparent when the line has none).
    Q_PROPERTY(QVariantList codeLines READ codeLines NOTIFY changed)
    Q_PROPERTY(QStringList options READ options NOTIFY changed)
    Q_PROPERTY(QStringList chips READ chips NOTIFY changed)
    // One map per button: label, primary, shortcutLabel ("⌥A", "Alt+A"), sequence ("Alt+A").
    Q_PROPERTY(QVariantList buttons READ buttons NOTIFY changed)
    // What a screen reader says for the card as a whole.
    Q_PROPERTY(QString accessibleName READ accessibleName NOTIFY changed)

    // The layout's sizes and colours.
    Q_PROPERTY(qreal spacing MEMBER spacing CONSTANT)
    Q_PROPERTY(qreal badgeSize MEMBER badgeSize CONSTANT)
    Q_PROPERTY(qreal badgeCorner MEMBER badgeCorner CONSTANT)
    Q_PROPERTY(int titleSize MEMBER titleSize CONSTANT)
    Q_PROPERTY(int subtitleSize MEMBER subtitleSize CONSTANT)
    Q_PROPERTY(int messageSize MEMBER messageSize CONSTANT)
    Q_PROPERTY(int messageLineLimit MEMBER messageLineLimit CONSTANT)
    Q_PROPERTY(int pathSize MEMBER pathSize CONSTANT)
    Q_PROPERTY(qreal codeMaxHeight MEMBER codeMaxHeight CONSTANT)
    Q_PROPERTY(qreal codePadding MEMBER codePadding CONSTANT)
    Q_PROPERTY(qreal codeCorner MEMBER codeCorner CONSTANT)
    Q_PROPERTY(qreal lineNumberWidth MEMBER lineNumberWidth CONSTANT)
    Q_PROPERTY(int lineNumberSize MEMBER lineNumberSize CONSTANT)
    Q_PROPERTY(int markerSize MEMBER markerSize CONSTANT)
    Q_PROPERTY(int codeTextSize MEMBER codeTextSize CONSTANT)
    Q_PROPERTY(qreal linePaddingH MEMBER linePaddingH CONSTANT)
    Q_PROPERTY(qreal linePaddingV MEMBER linePaddingV CONSTANT)
    Q_PROPERTY(qreal lineTintOpacity MEMBER lineTintOpacity CONSTANT)
    Q_PROPERTY(qreal optionCircle MEMBER optionCircle CONSTANT)
    Q_PROPERTY(int optionNumberSize MEMBER optionNumberSize CONSTANT)
    Q_PROPERTY(int optionLabelSize MEMBER optionLabelSize CONSTANT)
    Q_PROPERTY(QColor optionCircleFill READ optionCircleFill CONSTANT)
    Q_PROPERTY(int chipTextSize MEMBER chipTextSize CONSTANT)
    Q_PROPERTY(qreal chipPaddingH MEMBER chipPaddingH CONSTANT)
    Q_PROPERTY(qreal chipPaddingV MEMBER chipPaddingV CONSTANT)
    Q_PROPERTY(int buttonTextSize MEMBER buttonTextSize CONSTANT)
    Q_PROPERTY(qreal buttonCorner MEMBER buttonCorner CONSTANT)
    Q_PROPERTY(qreal buttonPaddingH MEMBER buttonPaddingH CONSTANT)
    Q_PROPERTY(qreal buttonPaddingV MEMBER buttonPaddingV CONSTANT)
    Q_PROPERTY(qreal buttonSpacing MEMBER buttonSpacing CONSTANT)
    Q_PROPERTY(qreal pressedOpacity MEMBER pressedOpacity CONSTANT)
    Q_PROPERTY(QColor buttonFill READ buttonFill CONSTANT)
    Q_PROPERTY(QColor buttonBorder READ buttonBorder CONSTANT)
    Q_PROPERTY(QColor messageColor READ messageColor CONSTANT)
    Q_PROPERTY(QColor lineNumberColor READ lineNumberColor CONSTANT)
    Q_PROPERTY(QString codeFontFamily READ codeFontFamily CONSTANT)
public:
    static constexpr qreal spacing = 10;
    static constexpr qreal badgeSize = 28;
    static constexpr qreal badgeCorner = 8;
    // Fonts in whole pixels; the half-point sizes (11.5, 12.5) round up.
    static constexpr int titleSize = 14;
    static constexpr int subtitleSize = 11;
    static constexpr int messageSize = 12;
    static constexpr int messageLineLimit = 6;
    static constexpr int pathSize = 11;
    static constexpr qreal codeMaxHeight = 160;
    static constexpr qreal codePadding = 10;
    static constexpr qreal codeCorner = 10;
    static constexpr qreal lineNumberWidth = 24;
    static constexpr int lineNumberSize = 11;
    static constexpr int markerSize = 11;
    static constexpr int codeTextSize = 12;
    static constexpr qreal linePaddingH = 8;
    static constexpr qreal linePaddingV = 4;
    static constexpr qreal lineTintOpacity = 0.1;
    static constexpr qreal optionCircle = 20;
    static constexpr int optionNumberSize = 11;
    static constexpr int optionLabelSize = 12;
    static constexpr int chipTextSize = 11;
    static constexpr qreal chipPaddingH = 10;
    static constexpr qreal chipPaddingV = 5;
    static constexpr int buttonTextSize = 13;
    static constexpr qreal buttonCorner = 10;
    static constexpr qreal buttonPaddingH = 10;
    static constexpr qreal buttonPaddingV = 5;
    static constexpr qreal buttonSpacing = 8;
    static constexpr qreal pressedOpacity = 0.75;

    // Seams for tests; an empty member takes the default.
    struct Environment {
        std::function<QDateTime()> now;                                          // system clock
        std::function<void(const Session&)> jump;                                // terminal focus
        std::function<void(const QString& text, const Session&)> sendKeystrokes; // terminal focus
        QString home;                                                            // QDir::homePath()
        bool mac = false;                                                        // this platform
    };

    explicit PromptCardModel(QObject* parent = nullptr);
    PromptCardModel(Environment env, QObject* parent = nullptr);

    SessionStore* store() const { return m_store; }
    void setStore(SessionStore* store);
    QString sessionId() const { return m_sessionId; }
    void setSessionId(const QString& sessionId);
    // Shows a prompt that is not the store's; the store's prompt for the session takes over again
    // once this one is answered.
    void show(const Session& session, const PendingPrompt& prompt);

    bool hasPrompt() const { return m_prompt.has_value(); }
    QString kind() const;
    int pendingCount() const { return m_pendingCount; }
    QString headerTitle() const;
    QString headerSubtitle() const;
    QString timeAgo() const { return m_timeAgo; }
    bool hasBody() const;
    QString bodyKind() const;
    QString message() const { return m_body.message; }
    QString path() const { return m_body.path; }
    QString description() const { return m_body.description; }
    QVariantList codeLines() const;
    QStringList options() const { return m_body.options; }
    QStringList chips() const { return m_body.chips; }
    QVariantList buttons() const;
    QString accessibleName() const;
    const PromptCardRules::Body& body() const { return m_body; }
    const std::vector<PromptCardRules::ActionButton>& actions() const { return m_actions; }

    static QColor optionCircleFill();
    static QColor buttonFill();
    static QColor buttonBorder();
    static QColor messageColor();
    static QColor lineNumberColor();
    // The system's fixed-pitch family, for commands and file contents.
    static QString codeFontFamily();

    // The buttons left to right; an index out of range does nothing.
    Q_INVOKABLE void press(int index);
    Q_INVOKABLE void chooseOption(int index);
    Q_INVOKABLE void chooseSuggestion(int index);
    // When the age text is next looked at; -1 while there is no prompt.
    int nextAgeCheckMs() const { return m_ageTimer.isActive() ? m_ageTimer.interval() : -1; }
    // Reads the store and the clock again (also done on every store change and when the age text
    // is due to change).
    Q_INVOKABLE void refresh();

signals:
    void inputsChanged();
    void changed();
    void timeAgoChanged();
    // The prompt on screen was answered from the card.
    void answered();

private:
    PromptCardRules::Context context() const;
    void answer(const HookDecision& decision, bool always = false);
    void updateTimeAgo();

    Environment m_env;
    QPointer<SessionStore> m_store;
    QString m_sessionId;
    std::optional<std::pair<Session, PendingPrompt>> m_shown; // given with show()

    Session m_session;
    std::optional<PendingPrompt> m_prompt;
    int m_pendingCount = 0;
    PromptCardRules::Body m_body;
    std::vector<PromptCardRules::ActionButton> m_actions;
    QString m_timeAgo;
    QTimer m_ageTimer;
};

// The store as a property type in QML; made by the app, never there.
struct SessionStoreForeign {
    Q_GADGET
    QML_FOREIGN(SessionStore)
    QML_NAMED_ELEMENT(SessionStore)
    QML_UNCREATABLE("made by the app at start-up")
};
