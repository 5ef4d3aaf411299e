// SPDX-License-Identifier: MIT
#pragma once

#include "NotchAnimation.h"
#include "NotchSurface.h"

#include <QColor>
#include <QObject>
#include <QPainterPath>
#include <QPointer>
#include <QRectF>
#include <QtQml/qqmlregistration.h>

// Every number the notch views draw with, derived from the surface and the sizes the views
// measure: body width and offset, corner radii, padding, shadow, the floating card. The QML
// views only lay out what this says.
class NotchLayout : public QObject {
    Q_OBJECT
    QML_ELEMENT
    // Inputs: the surface and what the views measure.
    Q_PROPERTY(NotchSurface* surface READ surface WRITE setSurface NOTIFY layoutChanged)
    Q_PROPERTY(double panelWidth MEMBER m_panelWidth WRITE setPanelWidth NOTIFY layoutChanged)
    Q_PROPERTY(double compactLeadingWidth READ compactLeadingWidth WRITE setCompactLeadingWidth
                   NOTIFY layoutChanged)
    Q_PROPERTY(double compactTrailingWidth READ compactTrailingWidth WRITE setCompactTrailingWidth
                   NOTIFY layoutChanged)
    Q_PROPERTY(double compactContentHeight MEMBER m_compactContentHeight WRITE
                   setCompactContentHeight NOTIFY layoutChanged)
    Q_PROPERTY(QSizeF expandedContentSize MEMBER m_expandedContentSize WRITE setExpandedContentSize
                   NOTIFY layoutChanged)
    // Notch style.
    Q_PROPERTY(bool usesNotchView READ usesNotchView NOTIFY layoutChanged)
    Q_PROPERTY(double notchWidth READ notchWidth NOTIFY layoutChanged)
    Q_PROPERTY(double notchHeight READ notchHeight NOTIFY layoutChanged)
    Q_PROPERTY(double minWidth READ minWidth NOTIFY layoutChanged)
    Q_PROPERTY(double topCornerRadius READ topCornerRadius NOTIFY layoutChanged)
    Q_PROPERTY(double bottomCornerRadius READ bottomCornerRadius NOTIFY layoutChanged)
    Q_PROPERTY(double xOffset READ xOffset NOTIFY layoutChanged)
    Q_PROPERTY(double horizontalPadding READ horizontalPadding NOTIFY layoutChanged)
    Q_PROPERTY(double compactRowHeight READ compactRowHeight NOTIFY layoutChanged)
    Q_PROPERTY(bool showsCompact READ showsCompact NOTIFY layoutChanged)
    Q_PROPERTY(bool showsLeading READ showsLeading NOTIFY layoutChanged)
    Q_PROPERTY(bool showsTrailing READ showsTrailing NOTIFY layoutChanged)
    Q_PROPERTY(bool showsExpanded READ showsExpanded NOTIFY layoutChanged)
    Q_PROPERTY(QRectF bodyRect READ bodyRect NOTIFY layoutChanged)
    // Shadow of the whole content.
    Q_PROPERTY(double shadowOpacity READ shadowOpacity NOTIFY layoutChanged)
    Q_PROPERTY(double shadowRadius READ shadowRadius NOTIFY layoutChanged)
    // Floating style.
    Q_PROPERTY(double floatingPadding READ floatingPadding CONSTANT)
    Q_PROPERTY(double floatingCornerRadius READ floatingCornerRadius NOTIFY layoutChanged)
    Q_PROPERTY(double windowHeight READ windowHeight NOTIFY layoutChanged)
    Q_PROPERTY(QRectF floatingRect READ floatingRect NOTIFY layoutChanged)
    Q_PROPERTY(double hairlineInset READ hairlineInset CONSTANT)
    Q_PROPERTY(QColor hairlineColor READ hairlineColor CONSTANT)
    Q_PROPERTY(QColor floatingMaterialColor READ floatingMaterialColor CONSTANT)
    Q_PROPERTY(QColor bodyColor READ bodyColor CONSTANT)
    // Where pointer input is taken, in panel coordinates (empty while hidden).
    Q_PROPERTY(QRectF hitRect READ hitRect NOTIFY layoutChanged)
    // The body (or floating card) as drawn at this frame, animations included; the views
    // report it.
    Q_PROPERTY(QRectF drawnRect MEMBER m_drawnRect WRITE setDrawnRect NOTIFY drawnShapeChanged)
    Q_PROPERTY(double drawnTopRadius MEMBER m_drawnTopRadius WRITE setDrawnTopRadius NOTIFY
                   drawnShapeChanged)
    Q_PROPERTY(double drawnBottomRadius MEMBER m_drawnBottomRadius WRITE setDrawnBottomRadius NOTIFY
                   drawnShapeChanged)
    // Animations and transitions.
    Q_PROPERTY(NotchAnimation bodyAnimation READ bodyAnimation CONSTANT)
    Q_PROPERTY(NotchAnimation hoverAnimation READ hoverAnimation CONSTANT)
    Q_PROPERTY(double transitionBlur READ transitionBlur CONSTANT)
    Q_PROPERTY(double compactTransitionScale READ compactTransitionScale CONSTANT)
    Q_PROPERTY(double expandedTransitionScale READ expandedTransitionScale CONSTANT)
public:
    explicit NotchLayout(QObject* parent = nullptr);

    NotchSurface* surface() const { return m_surface; }
    void setSurface(NotchSurface* surface);
    void setPanelWidth(double width);
    double compactLeadingWidth() const { return m_compactLeadingWidth; }
    void setCompactLeadingWidth(double width);
    double compactTrailingWidth() const { return m_compactTrailingWidth; }
    void setCompactTrailingWidth(double width);
    void setCompactContentHeight(double height);
    void setExpandedContentSize(const QSizeF& size);

    bool usesNotchView() const;
    double notchWidth() const;
    double notchHeight() const;
    double minWidth() const;
    double topCornerRadius() const;
    double bottomCornerRadius() const;
    double xOffset() const;
    double horizontalPadding() const;
    double compactRowHeight() const;
    bool showsCompact() const;
    bool showsLeading() const;
    bool showsTrailing() const;
    bool showsExpanded() const;
    QRectF bodyRect() const;

    double shadowOpacity() const;
    double shadowRadius() const;

    double floatingPadding() const { return 20; }
    double floatingCornerRadius() const;
    double windowHeight() const;
    QRectF floatingRect() const;
    double hairlineInset() const { return 0.5; }
    QColor hairlineColor() const;
    QColor floatingMaterialColor() const;
    QColor bodyColor() const { return Qt::black; }

    QRectF hitRect() const;

    void setDrawnRect(const QRectF& rect);
    void setDrawnTopRadius(double radius);
    void setDrawnBottomRadius(double radius);
    // The outline as drawn at this frame, in panel coordinates: what is visible of the panel.
    QPainterPath drawnOutline() const;

    NotchAnimation bodyAnimation() const { return m_bodyAnimation; }
    NotchAnimation hoverAnimation() const { return m_hoverAnimation; }
    double transitionBlur() const { return 10; }
    double compactTransitionScale() const { return 0.6; }
    double expandedTransitionScale() const { return 0.9; }

    // The notch outline for a body of the given size, as SVG path data.
    Q_INVOKABLE QString outlinePath(double width, double height, double topRadius,
                                    double bottomRadius) const;

signals:
    void layoutChanged();
    void drawnShapeChanged();

private:
    bool configuredAsNotch() const;

    QPointer<NotchSurface> m_surface;
    double m_panelWidth = 0;
    double m_compactLeadingWidth = 0;
    double m_compactTrailingWidth = 0;
    double m_compactContentHeight = 0;
    QSizeF m_expandedContentSize;
    QRectF m_drawnRect;
    double m_drawnTopRadius = 0;
    double m_drawnBottomRadius = 0;
    NotchAnimation m_bodyAnimation;
    NotchAnimation m_hoverAnimation;
};
