// SPDX-License-Identifier: MIT
#pragma once

#include <QtGlobal>

class QRegion;
class QWindow;

// Window-system treatment of the notch panel: borderless, transparent, above everything
// including the menu bar, on every workspace, never activating the application.
namespace PanelWindow {

// Before the first show: flags and, where the window system has them, level and
// workspace behaviour. The panel starts unable to take keyboard focus.
void prepare(QWindow* window);

// After the window is on screen: whatever only a mapped window accepts.
void didShow(QWindow* window);

// Pointer input lands only inside `region` (native pixels of the window); elsewhere it reaches
// the windows below, as over any transparent area of the panel.
void setInputRegion(QWindow* window, const QRegion& region);

// Where nothing composites the desktop, transparent pixels are drawn opaque: the window is cut
// to `region` (native pixels), what is drawn. `whole` shows all of it again.
void setVisibleRegion(QWindow* window, const QRegion& region, bool whole);

// Who holds the keyboard focus in the window system (a window or an application), so that it
// can be given back; 0 when nobody or unknown.
using FocusOwner = quintptr;
FocusOwner focusOwner();

// The user clicked the panel: it takes the keyboard, still without activating the application.
void makeKey(QWindow* window);

// The panel gives the keyboard up and no longer accepts it; when it held it, `previous` gets it
// back. Without a focus to return (0, or gone), the window system chooses.
void resignKey(QWindow* window, FocusOwner previous);

} // namespace PanelWindow
