// SPDX-License-Identifier: MIT
// Opens the first-run flow in its 720×520 borderless window and polls the flow's status every
// 0.5 s while it is open. Completion runs the caller's callback and closes the window; closing it
// any other way leaves onboarding to be shown again at the next start.
#pragma once

#include "OnboardingFlow.h"

#include <QObject>
#include <QTimer>

#include <functional>
#include <memory>

class KeyableBorderlessWindow;
class SessionStore;

class OnboardingWindow : public QObject {
    Q_OBJECT
public:
    static constexpr int pollMs = 500;

    explicit OnboardingWindow(QObject* parent = nullptr);
    ~OnboardingWindow() override;

    // Shows the flow, or raises it when it is already open.
    void show(SessionStore* sessions, std::function<void()> onComplete,
              OnboardingFlow::Environment env = {});
    bool isOpen() const { return m_window != nullptr; }
    OnboardingFlow* flow() const { return m_flow.get(); }
    KeyableBorderlessWindow* window() const { return m_window.get(); }

signals:
    void closed();

private:
    void dismiss();

    std::unique_ptr<OnboardingFlow> m_flow;
    std::unique_ptr<KeyableBorderlessWindow> m_window;
    std::function<void()> m_onComplete;
    QTimer m_poll;
};
