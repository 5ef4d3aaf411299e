// SPDX-License-Identifier: MIT
// A window without a title bar that still takes the keyboard, moves by dragging its background
// (startSystemMove from the view) and sits at the normal window level.
#pragma once

#include <QQuickView>

class KeyableBorderlessWindow : public QQuickView {
    Q_OBJECT
public:
    explicit KeyableBorderlessWindow(const QSize& size, QWindow* parent = nullptr);

    // Shows the window centred on the primary screen and asks for the keyboard.
    void present();
};
