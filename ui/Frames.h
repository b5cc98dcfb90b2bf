#pragma once
// Window frames as the settings keep them (floats, edges inclusive: a frame of width w covers
// w + 1 pixels) and as Qt places windows, and where a window may go on the screens there are.

#include <QRect>
#include <vector>

#include "support/Geometry.h"

inline QRect toQRect(const Rect& frame) {
    return QRect(int(frame.left), int(frame.top), int(frame.right - frame.left) + 1,
                 int(frame.bottom - frame.top) + 1);
}

inline Rect toRect(const QRect& rect) {
    return Rect{float(rect.left()), float(rect.top()), float(rect.right()), float(rect.bottom())};
}

// `frame` moved so that it lies on one of `screens` (their available areas; the first is the
// primary). A frame stored for a screen that is gone (its top-left on none of them) comes
// back 60 pixels from the primary's corner; one that hangs over its screen's edge, grown for
// a larger picture, say, is pushed back in, its top-left first when it is larger than the
// screen. The size never changes.
QRect keptOnScreen(QRect frame, const std::vector<QRect>& screens);
// The same on this desktop's screens.
QRect keptOnScreen(const QRect& frame);

// Where a preview window of `size` goes on the first start: beside the main window's `main`
// frame (right of it, else left of it) at its top, `below` pixels under the top for the second
// preview, when that fits on `screen`; else `fallback`, where the settings put it.
QRect besideMainWindow(const QRect& main, const QSize& size, int below, const QRect& screen,
                       const QRect& fallback);
