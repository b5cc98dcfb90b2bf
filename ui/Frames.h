#pragma once
// Window frames as the settings keep them (floats, edges inclusive: a frame of width w covers
// w + 1 pixels) and as Qt places windows.

#include <QRect>

#include "support/Geometry.h"

inline QRect toQRect(const Rect& frame) {
    return QRect(int(frame.left), int(frame.top), int(frame.right - frame.left) + 1,
                 int(frame.bottom - frame.top) + 1);
}

inline Rect toRect(const QRect& rect) {
    return Rect{float(rect.left()), float(rect.top()), float(rect.right()), float(rect.bottom())};
}
