// SPDX-License-Identifier: MIT
#include "OnboardingWindow.h"

#include "KeyableBorderlessWindow.h"
#include "Platform/AppActivation.h"
#include "ViewEngine.h"

#include <QQmlEngine>

OnboardingWindow::OnboardingWindow(QObject* parent) : QObject(parent) {
    m_poll.setInterval(pollMs);
}

OnboardingWindow::~OnboardingWindow() = default;

void OnboardingWindow::show(SessionStore* sessions, std::function<void()> onComplete,
                            OnboardingFlow::Environment env) {
    if (m_window) {
        m_window->present();
        return;
    }
    m_onComplete = std::move(onComplete);
    m_flow = std::make_unique<OnboardingFlow>(sessions, std::move(env));
    qInfo("Hollowmere: onboarding opened at step %d", int(m_flow->step()));
    m_window = std::make_unique<KeyableBorderlessWindow>(QSize(720, 520));
    m_window->setTitle(QStringLiteral("Welcome to Hollowmere"));
    ViewEngine::prepare(m_window->engine());
    m_window->setInitialProperties({{"flow", QVariant::fromValue(m_flow.get())}});
    m_window->setSource(
        QUrl(QStringLiteral("qrc:/qt/qml/Hollowmere/Onboarding/OnboardingView.qml")));
    for (const auto& error : m_window->errors())
        qWarning("Hollowmere: onboarding view: %s", qPrintable(error.toString()));

    connect(&m_poll, &QTimer::timeout, m_flow.get(), &OnboardingFlow::refreshStatus,
            Qt::UniqueConnection);
    connect(m_flow.get(), &OnboardingFlow::completed, this, [this] {
        auto done = std::move(m_onComplete);
        dismiss();
        if (done)
            done();
    });
    // Closed by the window manager: nothing completes.
    connect(m_window.get(), &QWindow::visibleChanged, this, [this](bool visible) {
        if (!visible)
            QMetaObject::invokeMethod(this, &OnboardingWindow::dismiss, Qt::QueuedConnection);
    });

    AppActivation::setRegular(true);
    m_window->present();
    m_poll.start();
}

void OnboardingWindow::dismiss() {
    if (!m_window)
        return;
    m_poll.stop();
    m_window->hide();
    // The view may still be inside one of the flow's signals: both go once control is back.
    m_window.release()->deleteLater();
    m_flow.release()->deleteLater();
    AppActivation::setRegular(false);
    emit closed();
}
