// SPDX-License-Identifier: MIT
#pragma once

class QRect;
class QWindow;

// Window-system treatment of the notch panel: borderless, transparent, above everything
// including the menu bar, on every workspace, never activating the application.
namespace PanelWindow {

// Before the first show: flags and, where the window system has them, level and
// workspace behaviour.
void prepare(QWindow* window);

// After the window is on screen: whatever only a mapped window accepts.
void didShow(QWindow* window);

// Whether the panel may take keyboard focus (only while expanded; it still never activates
// the application by itself).
void setKeyable(QWindow* window, bool keyable);

// Pointer input lands only inside `region` (window coordinates); elsewhere it reaches the
// windows below, as over any transparent area of the panel.
void setInputRegion(QWindow* window, const QRect& region);

} // namespace PanelWindow
