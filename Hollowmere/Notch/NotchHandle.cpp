// SPDX-License-Identifier: MIT
#include "Notch/NotchHandle.h"

#include "NotchPanel.h"
#include "NotchSurface.h"
#include "Platform/SymbolImageProvider.h"

#include <QGuiApplication>
#include <QQmlEngine>
#include <QScreen>

namespace {

void prepareSharedEngine() {
    QQmlEngine* engine = NotchPanel::sharedEngine();
    if (!engine->imageProvider(QLatin1String(SymbolImageProvider::providerId)))
        engine->addImageProvider(QLatin1String(SymbolImageProvider::providerId),
                                 new SymbolImageProvider);
}

class SurfaceNotch final : public NotchHandle {
public:
    explicit SurfaceNotch(const NotchSetup& setup)
        : m_surface(setup.hoverBehavior, setup.style, setup.expanded, setup.compactLeading,
                    setup.compactTrailing) {
        m_surface.setTransitionConfiguration(setup.transitions);
        connect(&m_surface, &NotchSurface::isHoveringChanged, this,
                [this] { emit hoveringChanged(m_surface.isHovering()); });
        connect(&m_surface, &NotchSurface::contextMenuRequested, this,
                &NotchHandle::contextMenuRequested);
    }

    void expand() override {
        if (QScreen* screen = primary())
            m_surface.expand(screen);
    }
    void compact() override {
        if (QScreen* screen = primary())
            m_surface.compact(screen);
    }
    void hide(std::function<void()> done) override { m_surface.hide(std::move(done)); }
    bool isHovering() const override { return m_surface.isHovering(); }
    NotchSurface* surface() const override { return const_cast<NotchSurface*>(&m_surface); }

private:
    // The first screen; none at all means there is nowhere to show.
    static QScreen* primary() { return QGuiApplication::primaryScreen(); }

    NotchSurface m_surface;
};

} // namespace

std::unique_ptr<NotchHandle> makeSurfaceNotch(const NotchSetup& setup,
                                              std::function<ScreenMetrics(QScreen*)> metrics) {
    prepareSharedEngine();
    auto notch = std::make_unique<SurfaceNotch>(setup);
    if (metrics)
        notch->surface()->setScreenMetricsProvider(std::move(metrics));
    return notch;
}
