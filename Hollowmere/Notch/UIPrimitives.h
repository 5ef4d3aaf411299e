// SPDX-License-Identifier: MIT
// The small shared building blocks of the notch and settings views, as QML singletons: the
// palette, and the sizes and rules of ClaudeMark, IconBadge, NotchCardBackground, StatusPill,
// SettingRow and KeyHint. The QML files of those primitives only lay out what is here.
#pragma once

#include "Notch/NotchPalette.h"

#include <QColor>
#include <QObject>
#include <QString>
#include <QtQml/qqml.h>

class NotchPaletteObject : public QObject {
    Q_OBJECT
    QML_NAMED_ELEMENT(NotchPalette)
    QML_SINGLETON
    Q_PROPERTY(QColor accent READ accent CONSTANT)
    Q_PROPERTY(QColor cardFill READ cardFill CONSTANT)
    Q_PROPERTY(QColor cardStroke READ cardStroke CONSTANT)
    Q_PROPERTY(QColor codeFill READ codeFill CONSTANT)
    Q_PROPERTY(QColor codeStroke READ codeStroke CONSTANT)
    Q_PROPERTY(QColor mutedText READ mutedText CONSTANT)
    Q_PROPERTY(QColor dimText READ dimText CONSTANT)
    Q_PROPERTY(QColor chipFill READ chipFill CONSTANT)
    Q_PROPERTY(QColor red READ red CONSTANT)
    Q_PROPERTY(QColor green READ green CONSTANT)
    Q_PROPERTY(QColor orange READ orange CONSTANT)
public:
    using QObject::QObject;
    static QColor accent() { return NotchPalette::accent(); }
    static QColor cardFill() { return NotchPalette::cardFill(); }
    static QColor cardStroke() { return NotchPalette::cardStroke(); }
    static QColor codeFill() { return NotchPalette::codeFill(); }
    static QColor codeStroke() { return NotchPalette::codeStroke(); }
    static QColor mutedText() { return NotchPalette::mutedText(); }
    static QColor dimText() { return NotchPalette::dimText(); }
    static QColor chipFill() { return NotchPalette::chipFill(); }
    static QColor red() { return NotchPalette::red(); }
    static QColor green() { return NotchPalette::green(); }
    static QColor orange() { return NotchPalette::orange(); }
    // `color` at another opacity ("accent at 0.15").
    Q_INVOKABLE static QColor opacity(const QColor& color, qreal alpha) {
        return NotchPalette::opacity(color, float(alpha));
    }
};

class UIPrimitives : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON
    // NotchCardBackground
    Q_PROPERTY(qreal cardCorner MEMBER cardCorner CONSTANT)
    Q_PROPERTY(qreal cardStrokeWidth MEMBER cardStrokeWidth CONSTANT)
    // IconBadge
    Q_PROPERTY(qreal badgeShadowOpacity MEMBER badgeShadowOpacity CONSTANT)
    // StatusPill
    Q_PROPERTY(int pillSymbolSize MEMBER pillSymbolSize CONSTANT)
    Q_PROPERTY(int pillTextSize MEMBER pillTextSize CONSTANT)
    Q_PROPERTY(qreal pillFillOpacity MEMBER pillFillOpacity CONSTANT)
    Q_PROPERTY(qreal pillPaddingH MEMBER pillPaddingH CONSTANT)
    Q_PROPERTY(qreal pillPaddingV MEMBER pillPaddingV CONSTANT)
    Q_PROPERTY(qreal pillSpacing MEMBER pillSpacing CONSTANT)
    // SettingRow
    Q_PROPERTY(qreal rowWellWidth MEMBER rowWellWidth CONSTANT)
    Q_PROPERTY(qreal rowWellCorner MEMBER rowWellCorner CONSTANT)
    Q_PROPERTY(int rowCheckSize MEMBER rowCheckSize CONSTANT)
    Q_PROPERTY(int rowTitleSize MEMBER rowTitleSize CONSTANT)
    Q_PROPERTY(int rowDetailSize MEMBER rowDetailSize CONSTANT)
    Q_PROPERTY(qreal rowCorner MEMBER rowCorner CONSTANT)
    Q_PROPERTY(qreal rowPaddingH MEMBER rowPaddingH CONSTANT)
    Q_PROPERTY(qreal rowPaddingV MEMBER rowPaddingV CONSTANT)
    Q_PROPERTY(qreal rowSpacing MEMBER rowSpacing CONSTANT)
    Q_PROPERTY(QColor rowFill READ rowFill CONSTANT)
    Q_PROPERTY(QColor rowWellFill READ rowWellFill CONSTANT)
    Q_PROPERTY(QColor rowWellOnFill READ rowWellOnFill CONSTANT)
    // KeyHint
    Q_PROPERTY(int keyHintTextSize MEMBER keyHintTextSize CONSTANT)
    Q_PROPERTY(qreal keyHintPaddingH MEMBER keyHintPaddingH CONSTANT)
    Q_PROPERTY(qreal keyHintPaddingV MEMBER keyHintPaddingV CONSTANT)
    Q_PROPERTY(qreal keyHintCorner MEMBER keyHintCorner CONSTANT)
    Q_PROPERTY(qreal keyHintBorderWidth MEMBER keyHintBorderWidth CONSTANT)
    Q_PROPERTY(QColor keyHintText READ keyHintText CONSTANT)
    Q_PROPERTY(QColor keyHintFill READ keyHintFill CONSTANT)
    Q_PROPERTY(QColor keyHintBorder READ keyHintBorder CONSTANT)
public:
    static constexpr qreal cardCorner = 16;
    static constexpr qreal cardStrokeWidth = 1;
    static constexpr qreal badgeShadowOpacity = 0.45;
    // Fonts in whole pixels: the system's 9- and 11-point text.
    static constexpr int pillSymbolSize = 9;
    static constexpr int pillTextSize = 11;
    static constexpr qreal pillFillOpacity = 0.18;
    static constexpr qreal pillPaddingH = 8;
    static constexpr qreal pillPaddingV = 3;
    static constexpr qreal pillSpacing = 4;
    static constexpr qreal rowWellWidth = 30;
    static constexpr qreal rowWellCorner = 8;
    static constexpr int rowCheckSize = 13;
    static constexpr int rowTitleSize = 13;
    static constexpr int rowDetailSize = 11;
    static constexpr qreal rowCorner = 10;
    static constexpr qreal rowPaddingH = 12;
    static constexpr qreal rowPaddingV = 10;
    static constexpr qreal rowSpacing = 10;
    static constexpr int keyHintTextSize = 10;
    static constexpr qreal keyHintPaddingH = 5;
    static constexpr qreal keyHintPaddingV = 1;
    static constexpr qreal keyHintCorner = 4;
    static constexpr qreal keyHintBorderWidth = 1;

    using QObject::QObject;

    static QColor rowFill() { return NotchPalette::opacity(Qt::white, 0.03f); }
    static QColor rowWellFill() { return NotchPalette::opacity(Qt::white, 0.06f); }
    static QColor rowWellOnFill() { return NotchPalette::opacity(NotchPalette::green(), 0.15f); }
    static QColor keyHintText() { return NotchPalette::opacity(Qt::white, 0.85f); }
    static QColor keyHintFill() { return NotchPalette::opacity(Qt::white, 0.10f); }
    static QColor keyHintBorder() { return NotchPalette::opacity(Qt::white, 0.18f); }

    // The product mark as an image source in `color`: our bundled "claude-logo" drawing, or the
    // "sparkle" symbol when the build carries no such resource.
    Q_INVOKABLE static QString claudeMarkSource(const QColor& color);
    // An image source of a system symbol in a colour.
    Q_INVOKABLE static QString symbolSource(const QString& name, const QColor& color);
    // IconBadge: the white mark is 0.55 of the badge, its glow 0.4 of it.
    Q_INVOKABLE static qreal badgeMarkSize(qreal size) { return 0.55 * size; }
    Q_INVOKABLE static qreal badgeShadowRadius(qreal size) { return 0.4 * size; }

    // Where the mark's artwork lives; a test may point it elsewhere.
    static QString claudeLogoResource();
    static void setClaudeLogoResource(const QString& path);
};
